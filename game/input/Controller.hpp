#pragma once
// game::input::Controller: keyboard, mouse, gamepad and joystick turned into one set of named actions.
//
// Once an input tick, InputUpdate reads every device through the bindings of Game::settings into one
// record, `state`, and keeps the record of the tick before in `previousState`. Everything else asks by
// action name. The class is one table (GAME_INPUT_ACTIONS below): each row is a field of the record and
// six accessors, all written from the row. A row `Name` gives the field `Name` and the accessors
//
//     GetName()                          the value: bool for a flag, double for an analog action
//     GetName_Pressed()                  it became true (flag) or non-zero (analog) this tick
//     GetName_Released()                 it became false or zero this tick
//     GetName_Delta()                    state minus previousState: int -1, 0 or +1 for a flag, double
//     GetName_Hold(minMs, maxMs)         a hold longer than minMs (fires during the hold), or a press no
//                                        longer than maxMs (fires at the release); give exactly one
//     GetName_HoldOrToggle(ms)           true at the press, and at the release of a press longer than ms
//
// so the action "get info" reads GetGetInfo(). AvatarPitch and AvatarYaw are look deltas, not positions:
// their accessors (the value, _Delta, _Pressed and _Released) scale both records by the setting
// `look_sensitivity`, and they are never clamped. Every other analog action is clamped to [0, 1].
//
// What a tick reads, by Game::_inputMode (Ui, Play, Station):
//  - every mode, whatever ImGui wants: escape (key 256, gamepad START) and the chat key;
//  - Play and Station, from keyboard and mouse: the inventory keys and mouse look always; every other
//    binding unless an ImGui window has focus. Keys count unless ImGui wants the keyboard, mouse buttons
//    only while the cursor is captured (Game::_mouseLook) and ImGui doesn't want the mouse;
//  - gamepad (the first one) and joysticks, every mode, whatever ImGui wants: sit, third person, zoom,
//    get info, light, look toggle and the tools; in Play also the avatar's moves, jump, inventory and
//    the rest of its flags; in Station the vehicle's actions;
//  - the gamepad's look bindings turn the avatar (squared stick, yaw 1.5 times as fast) in Play, and in
//    Station while vehicleGamepadLookMode; in Play a click of the sprint button latches sprint until the
//    avatar stops moving.
//
// X_Hold keeps a timer and a tick counter per accessor (function-local statics): one caller, with one
// pair of arguments, once per tick. Its timer is monotonic milliseconds, so a clock change can't fire or
// cancel a hold.
//
// Threads. InputUpdate runs on the input loop; other loops read `state` without a lock, and may see a
// record half copied for one tick. X_Hold isn't for several threads at once.
//
// Where there is nothing to read: without Game::window only the controllers are read; without
// Game::settings only the fixed bindings (escape on the keyboard and the gamepad's START); without an
// ImGui context ImGui wants neither keyboard nor mouse and no ImGui window has focus.

#include "vesmo/filesystem/ConfigFile.hpp"

namespace game::input {

// FLAG(Name): a bool action. ANALOG(Name): a double action clamped to [0, 1]. LOOK(Name): a double look
// delta, scaled by look_sensitivity when read and never clamped. In the record's order.
#define GAME_INPUT_ACTIONS(FLAG, ANALOG, LOOK)                                                                         \
    FLAG(Escape)                                                                                                       \
    FLAG(InputChat)                                                                                                    \
    FLAG(Sit)                                                                                                          \
    FLAG(ThirdPerson)                                                                                                  \
    FLAG(Zoom)                                                                                                         \
    FLAG(AvatarLight)                                                                                                  \
    FLAG(AvatarSprint)                                                                                                 \
    FLAG(AvatarCrouch)                                                                                                 \
    FLAG(AvatarJetpack)                                                                                                \
    FLAG(AvatarInteract)                                                                                               \
    FLAG(AvatarInventory)                                                                                              \
    FLAG(AvatarInventorySelectNext)                                                                                    \
    FLAG(AvatarInventorySelectPrev)                                                                                    \
    FLAG(AvatarInventorySelect1)                                                                                       \
    FLAG(AvatarInventorySelect2)                                                                                       \
    FLAG(AvatarInventorySelect3)                                                                                       \
    FLAG(AvatarInventorySelect4)                                                                                       \
    FLAG(AvatarInventorySelect5)                                                                                       \
    FLAG(AvatarInventorySelect6)                                                                                       \
    FLAG(AvatarInventorySelect7)                                                                                       \
    FLAG(AvatarInventorySelect8)                                                                                       \
    FLAG(AvatarInventorySelect9)                                                                                       \
    FLAG(AvatarInventoryDeselect)                                                                                      \
    FLAG(AvatarToolConfigure)                                                                                          \
    FLAG(AvatarToolSpecialMode)                                                                                        \
    FLAG(GetInfo)                                                                                                      \
    FLAG(AvatarLookToggle)                                                                                             \
    LOOK(AvatarPitch)                                                                                                  \
    LOOK(AvatarYaw)                                                                                                    \
    ANALOG(AvatarJump)                                                                                                 \
    ANALOG(AvatarTranslateForward)                                                                                     \
    ANALOG(AvatarTranslateBackward)                                                                                    \
    ANALOG(AvatarTranslateRight)                                                                                       \
    ANALOG(AvatarTranslateLeft)                                                                                        \
    ANALOG(AvatarRollLeft)                                                                                             \
    ANALOG(AvatarRollRight)                                                                                            \
    ANALOG(AvatarToolPrimary)                                                                                          \
    ANALOG(AvatarToolSecondary)                                                                                        \
    FLAG(VehicleAux0)                                                                                                  \
    FLAG(VehicleAux1)                                                                                                  \
    FLAG(VehicleAux2)                                                                                                  \
    FLAG(VehicleAux3)                                                                                                  \
    FLAG(VehicleAux4)                                                                                                  \
    FLAG(VehicleAux5)                                                                                                  \
    FLAG(VehicleAux6)                                                                                                  \
    FLAG(VehicleAux7)                                                                                                  \
    FLAG(VehicleAux8)                                                                                                  \
    FLAG(VehicleAux9)                                                                                                  \
    ANALOG(VehicleTranslateForward)                                                                                    \
    ANALOG(VehicleTranslateBackward)                                                                                   \
    ANALOG(VehicleTranslateRight)                                                                                      \
    ANALOG(VehicleTranslateLeft)                                                                                       \
    ANALOG(VehicleTranslateUp)                                                                                         \
    ANALOG(VehicleTranslateDown)                                                                                       \
    ANALOG(VehicleMainThrust)                                                                                          \
    ANALOG(VehicleRollRight)                                                                                           \
    ANALOG(VehicleRollLeft)                                                                                            \
    ANALOG(VehiclePitchUp)                                                                                             \
    ANALOG(VehiclePitchDown)                                                                                           \
    ANALOG(VehicleYawRight)                                                                                            \
    ANALOG(VehicleYawLeft)

class Controller {
public:
    Controller() = delete;

    struct State {
#define GAME_INPUT_FLAG_FIELD(Name) bool Name = false;
#define GAME_INPUT_ANALOG_FIELD(Name) double Name = 0.0;
        GAME_INPUT_ACTIONS(GAME_INPUT_FLAG_FIELD, GAME_INPUT_ANALOG_FIELD, GAME_INPUT_ANALOG_FIELD)
#undef GAME_INPUT_FLAG_FIELD
#undef GAME_INPUT_ANALOG_FIELD
        // The binding input_binding_vehicle_gamepad_look_toggle; it has no accessors, and its press
        // flips vehicleGamepadLookMode.
        bool VehicleGamepadLookToggle = false;
    };

    static State state;
    static State previousState;
    // In Station mode, true: the gamepad's right stick looks around and the vehicle's pitch and yaw
    // come from the keyboard and joystick only; false: the stick steers the vehicle.
    static bool vehicleGamepadLookMode;

    // One input tick: reads every device into a fresh record, which becomes `state`.
    static void InputUpdate(double deltaTime);

    // The text the settings panel shows for a binding: the first part set of key ("ENTER"), mouse button
    // ("MOUSE_LEFT"), gamepad axis, gamepad button, joystick axis, joystick button; "[NONE]" if none.
    static const char* BindingStr(const vesmo::filesystem::ConfigFile::InputBinding& binding);

#define GAME_INPUT_FLAG_ACCESSORS(Name)                                                                                \
    static bool Get##Name();                                                                                           \
    static bool Get##Name##_Pressed();                                                                                 \
    static bool Get##Name##_Released();                                                                                \
    static int Get##Name##_Delta();                                                                                    \
    static bool Get##Name##_Hold(double millisecondsMin, double millisecondsMax);                                      \
    static bool Get##Name##_HoldOrToggle(double milliseconds);
#define GAME_INPUT_ANALOG_ACCESSORS(Name)                                                                              \
    static double Get##Name();                                                                                         \
    static bool Get##Name##_Pressed();                                                                                 \
    static bool Get##Name##_Released();                                                                                \
    static double Get##Name##_Delta();                                                                                 \
    static bool Get##Name##_Hold(double millisecondsMin, double millisecondsMax);                                      \
    static bool Get##Name##_HoldOrToggle(double milliseconds);
    GAME_INPUT_ACTIONS(GAME_INPUT_FLAG_ACCESSORS, GAME_INPUT_ANALOG_ACCESSORS, GAME_INPUT_ANALOG_ACCESSORS)
#undef GAME_INPUT_FLAG_ACCESSORS
#undef GAME_INPUT_ANALOG_ACCESSORS
};

} // namespace game::input
