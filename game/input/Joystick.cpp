#include "game/input/Joystick.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>

namespace game::input {

namespace {

using Window = vesmo::graphics::Window;

// An empty range: the first calibrated reading makes it that single value.
constexpr float kNothingLearntMin = std::numeric_limits<float>::infinity();
constexpr float kNothingLearntMax = -std::numeric_limits<float>::infinity();

float normalise(float v, float deadzone, bool calibrate, bool unipolar, float& min, float& max) {
    if (!calibrate) {
        min = -1.0f;
        max = 1.0f;
        if (unipolar)
            return v > -1.0f + deadzone ? v * 0.5f + 0.5f : 0.0f;
        return std::fabs(v) > deadzone ? v : 0.0f;
    }
    min = std::min(min, v);
    max = std::max(max, v);
    if (min == max)
        return 0.0f;
    float n = (v - min) / (max - min);
    if (!unipolar) {
        n = 2.0f * n - 1.0f;
        if (min < 0.0f && max > 0.0f)
            return std::fabs(v) > deadzone ? n : 0.0f;
    }
    return v > min + deadzone ? n : 0.0f;
}

bool edge(std::vector<std::pair<bool, bool>>& edges, int button, bool down) {
    auto& [last, seen] = edges[static_cast<size_t>(button)];
    bool pressed = seen && down && !last;
    last = down;
    seen = true;
    return pressed;
}

} // namespace

Joystick::Joystick(int deviceId)
    : id(deviceId), guid(Window::GetJoystickGUID(deviceId)), name(Window::GetJoystickName(deviceId)),
      isGamepad(Window::JoystickIsGamepad(deviceId)) {
    gamepadAxisMin.resize(Window::GAMEPAD_AXIS_COUNT, kNothingLearntMin);
    gamepadAxisMax.resize(Window::GAMEPAD_AXIS_COUNT, kNothingLearntMax);
    gamepadButtonEdges.resize(Window::GAMEPAD_BUTTON_COUNT);
    InputUpdate();
}

Joystick::~Joystick() = default;

void Joystick::InputUpdate() {
    axes = Window::GetJoystickAxes(id, &axisCount);
    buttons = Window::GetJoystickButtons(id, &buttonCount);
    hats = Window::GetJoystickHats(id, &hatCount);
    if (isGamepad)
        Window::GetGamepadState(id, &gamepadState);
    SizeVectors();
}

// A device reports its counts once; they only change if the window system re-reads it, and then the
// learnt state of the new entries starts empty.
void Joystick::SizeVectors() {
    if (axisMin.size() != static_cast<size_t>(axisCount)) {
        axisMin.resize(static_cast<size_t>(axisCount), kNothingLearntMin);
        axisMax.resize(static_cast<size_t>(axisCount), kNothingLearntMax);
    }
    if (buttonEdges.size() != static_cast<size_t>(buttonCount))
        buttonEdges.resize(static_cast<size_t>(buttonCount));
}

float Joystick::GetAxis(int axis, float deadzone, bool calibrate, bool unipolar) const {
    if (!connected || !axes || axis < 0 || axis >= axisCount || static_cast<size_t>(axis) >= axisMin.size())
        return 0.0f;
    return normalise(axes[axis], deadzone, calibrate, unipolar, axisMin[static_cast<size_t>(axis)],
                     axisMax[static_cast<size_t>(axis)]);
}

float Joystick::GetGamepadAxis(int axis, float deadzone, bool calibrate, bool unipolar) const {
    if (!connected || !isGamepad || axis < 0 || axis >= Window::GAMEPAD_AXIS_COUNT)
        return 0.0f;
    return normalise(gamepadState.axes[axis], deadzone, calibrate, unipolar, gamepadAxisMin[static_cast<size_t>(axis)],
                     gamepadAxisMax[static_cast<size_t>(axis)]);
}

bool Joystick::GetButton(int button) const {
    return connected && buttons && button >= 0 && button < buttonCount && buttons[button] != 0;
}

bool Joystick::GetGamepadButton(int button) const {
    return connected && isGamepad && button >= 0 && button < Window::GAMEPAD_BUTTON_COUNT &&
           gamepadState.buttons[button] != 0;
}

bool Joystick::GetButtonBinding(int button) const {
    if (!connected || button < 0 || static_cast<size_t>(button) >= buttonEdges.size())
        return false;
    return edge(buttonEdges, button, GetButton(button));
}

bool Joystick::GetGamepadButtonBinding(int button) const {
    if (!connected || !isGamepad || button < 0 || button >= Window::GAMEPAD_BUTTON_COUNT)
        return false;
    return edge(gamepadButtonEdges, button, GetGamepadButton(button));
}

unsigned char Joystick::GetHat(int hat) const {
    return connected && hats && hat >= 0 && hat < hatCount ? hats[hat] : 0;
}

bool Joystick::IsSameGUID(const std::string& other) const {
    return guid.size() == other.size() && std::equal(guid.begin(), guid.end(), other.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
           });
}

} // namespace game::input
