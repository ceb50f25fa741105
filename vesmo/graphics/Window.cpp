#include "vesmo/graphics/Window.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>

namespace vesmo::graphics {

namespace {

// One slot per device id, with fixed arrays so that the pointers handed out never dangle.
struct Device {
    std::atomic<bool> present{false};
    std::atomic<bool> isGamepad{false};
    std::atomic<int> axisCount{0};
    std::atomic<int> buttonCount{0};
    std::atomic<int> hatCount{0};
    std::string guid; // under Table::mutex
    std::string name; // under Table::mutex
    float axes[Window::MAX_JOYSTICK_AXES] = {};
    unsigned char buttons[Window::MAX_JOYSTICK_BUTTONS] = {};
    unsigned char hats[Window::MAX_JOYSTICK_HATS] = {};
    Window::GamepadState gamepad = {};
};

struct Table {
    std::mutex mutex; // connections and the text fields
    std::array<Device, Window::JOYSTICK_LAST + 1> devices;
};

Table& table() {
    static Table instance;
    return instance;
}

Device* device(int id) {
    if (id < 0 || id > Window::JOYSTICK_LAST)
        return nullptr;
    return &table().devices[static_cast<size_t>(id)];
}

Device* presentDevice(int id) {
    Device* d = device(id);
    return d && d->present.load(std::memory_order_acquire) ? d : nullptr;
}

void restGamepad(Window::GamepadState& state) {
    std::memset(state.buttons, 0, sizeof(state.buttons));
    for (int axis = 0; axis < Window::GAMEPAD_AXIS_COUNT; ++axis)
        state.axes[axis] = axis >= 4 ? -1.0f : 0.0f; // triggers rest at -1
}

} // namespace

Window::~Window() = default;

bool Window::JoystickPresent(int id) { return presentDevice(id) != nullptr; }

std::string Window::GetJoystickGUID(int id) {
    std::lock_guard guard(table().mutex);
    Device* d = presentDevice(id);
    return d ? d->guid : std::string();
}

std::string Window::GetJoystickName(int id) {
    std::lock_guard guard(table().mutex);
    Device* d = presentDevice(id);
    return d ? d->name : std::string();
}

bool Window::JoystickIsGamepad(int id) {
    Device* d = presentDevice(id);
    return d && d->isGamepad.load(std::memory_order_relaxed);
}

const float* Window::GetJoystickAxes(int id, int* count) {
    Device* d = presentDevice(id);
    if (count)
        *count = d ? d->axisCount.load(std::memory_order_relaxed) : 0;
    static const float none[1] = {};
    return d ? d->axes : none;
}

const unsigned char* Window::GetJoystickButtons(int id, int* count) {
    Device* d = presentDevice(id);
    if (count)
        *count = d ? d->buttonCount.load(std::memory_order_relaxed) : 0;
    static const unsigned char none[1] = {};
    return d ? d->buttons : none;
}

const unsigned char* Window::GetJoystickHats(int id, int* count) {
    Device* d = presentDevice(id);
    if (count)
        *count = d ? d->hatCount.load(std::memory_order_relaxed) : 0;
    static const unsigned char none[1] = {};
    return d ? d->hats : none;
}

bool Window::GetGamepadState(int id, GamepadState* state) {
    Device* d = presentDevice(id);
    if (!d || !d->isGamepad.load(std::memory_order_relaxed))
        return false;
    if (state)
        *state = d->gamepad;
    return true;
}

void Window::StoreJoystickConnected(int id, const JoystickInfo& info) {
    Device* d = device(id);
    if (!d)
        return;
    std::lock_guard guard(table().mutex);
    d->present.store(false, std::memory_order_release);
    d->guid = info.guid;
    d->name = info.name;
    d->isGamepad.store(info.isGamepad, std::memory_order_relaxed);
    d->axisCount.store(std::clamp(info.axisCount, 0, MAX_JOYSTICK_AXES), std::memory_order_relaxed);
    d->buttonCount.store(std::clamp(info.buttonCount, 0, MAX_JOYSTICK_BUTTONS), std::memory_order_relaxed);
    d->hatCount.store(std::clamp(info.hatCount, 0, MAX_JOYSTICK_HATS), std::memory_order_relaxed);
    std::fill(std::begin(d->axes), std::end(d->axes), 0.0f);
    std::fill(std::begin(d->buttons), std::end(d->buttons), static_cast<unsigned char>(0));
    std::fill(std::begin(d->hats), std::end(d->hats), static_cast<unsigned char>(0));
    restGamepad(d->gamepad);
    d->present.store(true, std::memory_order_release);
}

void Window::StoreJoystickDisconnected(int id) {
    Device* d = device(id);
    if (!d)
        return;
    std::lock_guard guard(table().mutex);
    d->present.store(false, std::memory_order_release);
    d->isGamepad.store(false, std::memory_order_relaxed);
    d->axisCount.store(0, std::memory_order_relaxed);
    d->buttonCount.store(0, std::memory_order_relaxed);
    d->hatCount.store(0, std::memory_order_relaxed);
    d->guid.clear();
    d->name.clear();
}

void Window::StoreJoystickState(int id, const float* axes, int axisCount, const unsigned char* buttons, int buttonCount,
                                const unsigned char* hats, int hatCount, const GamepadState* gamepad) {
    Device* d = presentDevice(id);
    if (!d)
        return;
    auto copy = [](auto* to, const auto* from, int count, int room) {
        if (from && count > 0)
            std::copy_n(from, std::min(count, room), to);
    };
    copy(d->axes, axes, std::min(axisCount, d->axisCount.load(std::memory_order_relaxed)), MAX_JOYSTICK_AXES);
    copy(d->buttons, buttons, std::min(buttonCount, d->buttonCount.load(std::memory_order_relaxed)),
         MAX_JOYSTICK_BUTTONS);
    copy(d->hats, hats, std::min(hatCount, d->hatCount.load(std::memory_order_relaxed)), MAX_JOYSTICK_HATS);
    if (gamepad && d->isGamepad.load(std::memory_order_relaxed))
        d->gamepad = *gamepad;
}

void Window::StoreJoystickAxis(int id, int axis, float value) {
    Device* d = presentDevice(id);
    if (d && axis >= 0 && axis < d->axisCount.load(std::memory_order_relaxed))
        d->axes[axis] = value;
}

void Window::StoreJoystickButton(int id, int button, bool down) {
    Device* d = presentDevice(id);
    if (d && button >= 0 && button < d->buttonCount.load(std::memory_order_relaxed))
        d->buttons[button] = down ? 1 : 0;
}

void Window::StoreJoystickHat(int id, int hat, unsigned char value) {
    Device* d = presentDevice(id);
    if (d && hat >= 0 && hat < d->hatCount.load(std::memory_order_relaxed))
        d->hats[hat] = value;
}

void Window::StoreGamepadButton(int id, int button, bool down) {
    Device* d = presentDevice(id);
    if (d && d->isGamepad.load(std::memory_order_relaxed) && button >= 0 && button < GAMEPAD_BUTTON_COUNT)
        d->gamepad.buttons[button] = down ? 1 : 0;
}

void Window::StoreGamepadAxis(int id, int axis, float value) {
    Device* d = presentDevice(id);
    if (d && d->isGamepad.load(std::memory_order_relaxed) && axis >= 0 && axis < GAMEPAD_AXIS_COUNT)
        d->gamepad.axes[axis] = value;
}

void Window::SetClipboardText(const char* text) {
    std::lock_guard guard(_clipboardMutex);
    _clipboard = text != nullptr ? text : "";
}

std::string Window::GetClipboardText() const {
    std::lock_guard guard(_clipboardMutex);
    return _clipboard;
}

} // namespace vesmo::graphics
