#include "game/input/Controller.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/host/GameSettings.hpp"
#include "game/input/Joystick.hpp"
#include "vesmo/graphics/Window.hpp"
#include "vesmo/input/CodeNames.hpp"

#include <imgui.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>

namespace game::input {

Controller::State Controller::state;
Controller::State Controller::previousState;
bool Controller::vehicleGamepadLookMode = true;

namespace {

using Binding = vesmo::filesystem::ConfigFile::InputBinding;

using vesmo::input::GAMEPAD_BUTTON_START;
using vesmo::input::KEY_ESCAPE;
// The triggers (this axis and the next) rest at -1 and always read 0 to 1.
constexpr int FIRST_TRIGGER_AXIS = vesmo::input::GAMEPAD_AXIS_LEFT_TRIGGER;

// One axis term of a device binding. Plain: direction × the axis (triggers as 0 to 1). Unipolar: the
// axis as 0 to 1, or its complement for direction -1.
template <class ReadAxis> double axisTerm(ReadAxis read, int direction, bool unipolar, bool plainAsUnipolar) {
    if (!unipolar)
        return direction * static_cast<double>(read(plainAsUnipolar));
    if (direction < 0)
        return 1.0 - read(true);
    return read(true);
}

// What one tick may read, fixed at its start.
struct Reader {
    const vesmo::graphics::Window* window = nullptr;
    bool keys = false;  // ImGui doesn't want the keyboard
    bool mouse = false; // ImGui doesn't want the mouse, and the cursor is captured
    float gamepadDeadzone = 0.0f;
    float joystickDeadzone = 0.0f;

    double KeyboardAndMouse(const Binding& binding) const {
        double value = 0.0;
        if (binding.key >= 0 && keys)
            value += window->GetKey(binding.key) ? 1.0 : 0.0;
        if (binding.mouseButton >= 0 && mouse)
            value += window->GetMouseButton(binding.mouseButton) ? 1.0 : 0.0;
        return value;
    }
    void Read(bool& value, const Binding& binding) const { value = value || KeyboardAndMouse(binding) != 0.0; }
    void Read(double& value, const Binding& binding) const { value += KeyboardAndMouse(binding); }

    // The gamepad part (when `gamepad` is set) and the joystick part of a binding.
    double Devices(const Joystick* gamepad, const Binding& binding, bool unipolar) const {
        double value = 0.0;
        if (gamepad) {
            if (binding.gamepadAxis >= 0)
                value += axisTerm(
                    [&](bool asUnipolar) {
                        return gamepad->GetGamepadAxis(binding.gamepadAxis, gamepadDeadzone, false, asUnipolar);
                    },
                    binding.gamepadAxisDirection, unipolar, binding.gamepadAxis >= FIRST_TRIGGER_AXIS);
            if (binding.gamepadButton >= 0)
                value += gamepad->GetGamepadButton(binding.gamepadButton) ? 1.0 : 0.0;
        }
        if (binding.joystickButton >= 0 || binding.joystickAxis >= 0) {
            if (auto joystick = Game::GetJoystick(binding.joystickGuid, binding.joystickIndex)) {
                if (binding.joystickAxis >= 0)
                    value += axisTerm(
                        [&](bool asUnipolar) {
                            return joystick->GetAxis(binding.joystickAxis, joystickDeadzone, false, asUnipolar);
                        },
                        binding.joystickAxisDirection, unipolar, false);
                else
                    value += joystick->GetButton(binding.joystickButton) ? 1.0 : 0.0;
            }
        }
        return value;
    }
    // A flag reads any device as 0 to 1, whatever the binding's table says.
    void Read(bool& value, const Joystick* gamepad, const Binding& binding, bool = true) const {
        value = (value ? 1.0 : 0.0) + Devices(gamepad, binding, true) != 0.0;
    }
    void Read(double& value, const Joystick* gamepad, const Binding& binding, bool unipolar) const {
        value += Devices(gamepad, binding, unipolar);
    }
};

} // namespace

void Controller::InputUpdate(double deltaTime) {
    State next;
    const vesmo::graphics::Window* window = Game::window;
    GameSettings* settings = Game::settings.get();
    const Game::InputMode mode = Game::_inputMode;

    // 1. Fixed and chat keys, in every mode and whatever ImGui wants.
    if (window)
        next.Escape = window->GetKey(KEY_ESCAPE);

    if (settings) {
        // Bindings hold GUID strings that the settings' reload and panel replace under this mutex.
        std::lock_guard guard(settings->mutex);
        const GameSettings& s = *settings;

        const bool hasImGui = ImGui::GetCurrentContext() != nullptr;
        Reader reader;
        reader.window = window;
        reader.keys = !(hasImGui && ImGui::GetIO().WantCaptureKeyboard);
        reader.mouse = !(hasImGui && ImGui::GetIO().WantCaptureMouse) && Game::_mouseLook;
        reader.gamepadDeadzone = s.input_gamepad_axis_deadzone;
        reader.joystickDeadzone = s.input_joystick_axis_deadzone;
        const bool imguiWindowFocused = hasImGui && ImGui::IsWindowFocused(ImGuiFocusedFlags_AnyWindow);

        // One pass over the binding table (game/host/GameSettings.hpp) for each column value. Every action
        // is fed by one binding, once per pass, so the passes' order inside a step changes no sum.
        auto keyboard = [&](KeyboardRead pass) {
#define GAME_INPUT_READ_KEYBOARD(name, initial, action, keyboardRead, devices, unipolar)                               \
    if (KeyboardRead::keyboardRead == pass)                                                                            \
        reader.Read(next.action, s.input_binding_##name);
            GAME_SETTINGS_BINDINGS(GAME_INPUT_READ_KEYBOARD)
#undef GAME_INPUT_READ_KEYBOARD
        };
        auto devices = [&](DeviceRead pass, const Joystick* pad) {
#define GAME_INPUT_READ_DEVICES(name, initial, action, keyboard, deviceRead, unipolar)                                 \
    if (DeviceRead::deviceRead == pass)                                                                                \
        reader.Read(next.action, pad, s.input_binding_##name, unipolar);
            GAME_SETTINGS_BINDINGS(GAME_INPUT_READ_DEVICES)
#undef GAME_INPUT_READ_DEVICES
        };

        if (window)
            next.InputChat = window->GetKey(s.input_binding_input_chat.key);

        // 2. Keyboard and mouse, except in Ui mode.
        if (window && mode != Game::InputMode_Ui) {
            keyboard(KeyboardRead::Always);

            if (Game::_mouseLook) {
                // The cursor goes back to the origin each tick, so its position is this tick's motion.
                // Both directions are divided by the width, so that looking is as fast either way.
                double x = 0.0, y = 0.0;
                Game::window->GetCursorPos(&x, &y);
                Game::window->SetCursorPos(0.0, 0.0);
                const double width = window->width;
                if (width > 0.0) {
                    next.AvatarYaw += x / width * 0.5;
                    next.AvatarPitch += (s.avatar_mouselook_invert_y ? -1.0 : 1.0) * (y / width * 0.5);
                }
            }

            if (!imguiWindowFocused)
                keyboard(KeyboardRead::Unfocused);
        }

        // 3. Gamepad and joysticks, in every mode and whatever ImGui wants.
        const std::shared_ptr<Joystick> gamepadHolder = Game::GetFirstGamepad();
        const Joystick* gamepad = gamepadHolder.get();
        if (gamepad && gamepad->GetGamepadButton(GAMEPAD_BUTTON_START))
            next.Escape = true;
        devices(DeviceRead::AnyMode, gamepad);
        if (mode == Game::InputMode_Play) {
            devices(DeviceRead::Play, gamepad);
            devices(DeviceRead::PlayJoysticksOnly, nullptr);
        }
        if (mode == Game::InputMode_Station) {
            devices(DeviceRead::Station, gamepad);
            // With look mode on, the gamepad's sticks look around (step 4) instead of steering.
            devices(DeviceRead::StationSteering, vehicleGamepadLookMode ? nullptr : gamepad);
        }

        // 4. The gamepad looks around. Squaring the stick gives fine control near the centre; yaw turns
        // half again as fast as pitch.
        if (gamepad && (mode == Game::InputMode_Play || (mode == Game::InputMode_Station && vehicleGamepadLookMode))) {
            auto look = [&](double& field, const Binding& binding, double sign, double timeScale) {
                if (binding.gamepadAxis >= 0) {
                    const double v = binding.gamepadAxisDirection *
                                     static_cast<double>(gamepad->GetGamepadAxis(binding.gamepadAxis,
                                                                                 reader.gamepadDeadzone, false, false));
                    if (v > 0.0)
                        field += sign * v * v * timeScale;
                } else if (binding.gamepadButton >= 0) {
                    field += sign * (gamepad->GetGamepadButton(binding.gamepadButton) ? 1.0 : 0.0) * deltaTime;
                }
            };
            look(next.AvatarPitch, s.input_binding_avatar_pitch_down, -1.0, deltaTime);
            look(next.AvatarPitch, s.input_binding_avatar_pitch_up, +1.0, deltaTime);
            look(next.AvatarYaw, s.input_binding_avatar_yaw_left, -1.0, 1.5 * deltaTime);
            look(next.AvatarYaw, s.input_binding_avatar_yaw_right, +1.0, 1.5 * deltaTime);
        }

        // 5. The gamepad's sprint. On a button it latches: a click of the stick starts sprinting, which
        // lasts until the avatar stops moving.
        if (gamepad && mode == Game::InputMode_Play) {
            static bool isSprinting = false;
            const Binding& sprint = s.input_binding_avatar_sprint;
            if (sprint.gamepadAxis >= 0) {
                const double axis = sprint.gamepadAxisDirection *
                                    static_cast<double>(gamepad->GetGamepadAxis(sprint.gamepadAxis,
                                                                                reader.gamepadDeadzone, false, true));
                next.AvatarSprint = axis + (next.AvatarSprint ? 1.0 : 0.0) != 0.0;
            }
            if (sprint.gamepadButton >= 0) {
                const double moving = std::abs(next.AvatarTranslateForward) + std::abs(next.AvatarTranslateBackward) +
                                      std::abs(next.AvatarTranslateRight) + std::abs(next.AvatarTranslateLeft);
                if (moving < 0.1)
                    isSprinting = false;
                const bool down = gamepad->GetGamepadButton(sprint.gamepadButton);
                if (down)
                    isSprinting = true;
                if (down || isSprinting)
                    next.AvatarSprint = true;
            }
        }
    } else if (const auto gamepad = Game::GetFirstGamepad();
               gamepad && gamepad->GetGamepadButton(GAMEPAD_BUTTON_START)) {
        next.Escape = true;
    }

    // 6. Analog actions read 0 to 1, however many inputs add to them; look deltas stay free.
#define GAME_INPUT_IGNORE(Name)
#define GAME_INPUT_CLAMP(Name) next.Name = std::clamp(next.Name, 0.0, 1.0);
    GAME_INPUT_ACTIONS(GAME_INPUT_IGNORE, GAME_INPUT_CLAMP, GAME_INPUT_IGNORE)
#undef GAME_INPUT_IGNORE
#undef GAME_INPUT_CLAMP

    // 7. The new record becomes current. 8. A press of the look toggle flips look mode.
    previousState = state;
    state = next;
    if (state.VehicleGamepadLookToggle && !previousState.VehicleGamepadLookToggle)
        vehicleGamepadLookMode = !vehicleGamepadLookMode;
}

const char* Controller::BindingStr(const vesmo::filesystem::ConfigFile::InputBinding& binding) {
    static const char* const mouseButtons[] = {"MOUSE_LEFT", "MOUSE_RIGHT", "MOUSE_MIDDLE", "MOUSE_4",
                                               "MOUSE_5",    "MOUSE_6",     "MOUSE_7",      "MOUSE_8"};
    if (binding.key >= 0) {
        const char* name = vesmo::input::code_to_string("KEY", binding.key);
        // "KEY_ENTER" shows as "ENTER"; an unknown code stays "NONE".
        return name[0] == 'K' ? name + 4 : name;
    }
    if (binding.mouseButton >= 0)
        return binding.mouseButton <= 7 ? mouseButtons[binding.mouseButton] : "[NONE]";
    if (binding.gamepadAxis >= 0)
        return vesmo::input::code_to_string("GAMEPAD_AXIS", binding.gamepadAxis);
    if (binding.gamepadButton >= 0)
        return vesmo::input::code_to_string("GAMEPAD_BUTTON", binding.gamepadButton);
    if (binding.joystickAxis >= 0)
        return vesmo::input::code_to_string("JOYSTICK_AXIS", binding.joystickAxis);
    if (binding.joystickButton >= 0)
        return vesmo::input::code_to_string("JOYSTICK_BUTTON", binding.joystickButton);
    return "[NONE]";
}

// ---- the accessors, written from the table

namespace {

double lookSensitivity() { return Game::settings ? static_cast<double>(Game::settings->look_sensitivity) : 1.0; }

// The state of one X_Hold accessor.
class HoldTimer {
public:
    bool Step(bool pressed, bool released, bool down, double millisecondsMin, double millisecondsMax) {
        GAME_ASSERT((millisecondsMin == 0) != (millisecondsMax == 0));
        if (pressed) {
            Start();
            _ticks = 0;
            return false;
        }
        if (released) {
            if (millisecondsMax == 0) {
                Stop();
                return false;
            }
            if (_running && _ticks >= 3 && Elapsed() > millisecondsMax) {
                Stop();
                return false;
            }
            Stop();
            _ticks = 0;
            return true;
        }
        if (down) {
            if (millisecondsMin == 0) {
                ++_ticks;
                return false;
            }
            if (_running && _ticks >= 3 && Elapsed() >= millisecondsMin) {
                Stop();
                return true;
            }
            ++_ticks;
            return false;
        }
        Stop();
        return false;
    }

private:
    using Clock = std::chrono::steady_clock;
    void Start() {
        _running = true;
        _start = Clock::now();
    }
    void Stop() { _running = false; }
    double Elapsed() const { return std::chrono::duration<double, std::milli>(Clock::now() - _start).count(); }

    bool _running = false;
    Clock::time_point _start;
    int _ticks = 0;
};

// True at the press; for a press longer than `milliseconds` also at the release.
bool holdOrToggle(bool shortPressReleased, bool pressed, bool released) {
    if (shortPressReleased)
        return pressed;
    return released || pressed;
}

} // namespace

#define GAME_INPUT_HOLD_ACCESSORS(Name)                                                                                \
    bool Controller::Get##Name##_Hold(double millisecondsMin, double millisecondsMax) {                                \
        static HoldTimer timer;                                                                                        \
        return timer.Step(Get##Name##_Pressed(), Get##Name##_Released(), Get##Name() != 0, millisecondsMin,            \
                          millisecondsMax);                                                                            \
    }                                                                                                                  \
    bool Controller::Get##Name##_HoldOrToggle(double milliseconds) {                                                   \
        const bool shortPressReleased = Get##Name##_Hold(0, milliseconds);                                             \
        return holdOrToggle(shortPressReleased, Get##Name##_Pressed(), Get##Name##_Released());                        \
    }

#define GAME_INPUT_FLAG_ACCESSORS(Name)                                                                                \
    bool Controller::Get##Name() { return state.Name; }                                                                \
    bool Controller::Get##Name##_Pressed() { return state.Name && !previousState.Name; }                               \
    bool Controller::Get##Name##_Released() { return previousState.Name && !state.Name; }                              \
    int Controller::Get##Name##_Delta() {                                                                              \
        return static_cast<int>(state.Name) - static_cast<int>(previousState.Name);                                    \
    }                                                                                                                  \
    GAME_INPUT_HOLD_ACCESSORS(Name)

#define GAME_INPUT_SCALED_ACCESSORS(Name, scale)                                                                       \
    double Controller::Get##Name() { return state.Name * (scale); }                                                    \
    bool Controller::Get##Name##_Pressed() { return state.Name * (scale) != 0 && previousState.Name * (scale) == 0; }  \
    bool Controller::Get##Name##_Released() { return state.Name * (scale) == 0 && previousState.Name * (scale) != 0; } \
    double Controller::Get##Name##_Delta() { return state.Name * (scale)-previousState.Name * (scale); }               \
    GAME_INPUT_HOLD_ACCESSORS(Name)

#define GAME_INPUT_ANALOG_ACCESSORS(Name) GAME_INPUT_SCALED_ACCESSORS(Name, 1.0)
#define GAME_INPUT_LOOK_ACCESSORS(Name) GAME_INPUT_SCALED_ACCESSORS(Name, lookSensitivity())

GAME_INPUT_ACTIONS(GAME_INPUT_FLAG_ACCESSORS, GAME_INPUT_ANALOG_ACCESSORS, GAME_INPUT_LOOK_ACCESSORS)

#undef GAME_INPUT_HOLD_ACCESSORS
#undef GAME_INPUT_FLAG_ACCESSORS
#undef GAME_INPUT_SCALED_ACCESSORS
#undef GAME_INPUT_ANALOG_ACCESSORS
#undef GAME_INPUT_LOOK_ACCESSORS

} // namespace game::input
