#pragma once
// game::GameSettings: every user setting of the client, as one record of public fields.
//
// The renderer, the input layer and the audio layer read the fields directly. The file itself (reading,
// writing, the text of each value, watching for changes) belongs to the engine's ConfigFile; this class
// adds the keys, their sections, their defaults and the grouping. Each field is named as its key. The
// fields stand in the order game, graphics, audio, ide, input; the file's sections are written in the
// order "game", "graphics", "ide", "audio", "input", each with its keys in field order.
//
// Lifecycle: the constructor reads the file at once (a missing file or key leaves the defaults below),
// then starts the base's reload thread, which calls ReadConfig() whenever the file changes on disk.
// Nothing is written back until WriteConfig() is called; it rewrites the sections it owns and keeps
// anything else a person put in the file, except keys it does not own inside those sections.
//
// "debug_window" and "dev_tools" are read only: someone may add them by hand to the "game" section,
// they take effect, and the next WriteConfig() drops them again.
//
// Threads. The reload thread writes bools, ints and floats while other threads read them, without a
// lock: each is a single word, and an old or a new value are both fine. Strings and bindings (which hold
// device GUIDs) are different: a reload never writes them in place while it reads the file, it replaces
// the ones that changed afterwards, under the base's `mutex`. A reader on another thread that needs
// `upscaling_algo` or a binding's GUID copies it under `mutex`; code that edits a string or a binding
// (the settings panel) does so under `mutex` too. WriteConfig() takes its copies under `mutex` and
// writes the file without holding it.

#include "vesmo/filesystem/ConfigFile.hpp"
#include "vesmo/filesystem/FilePath.hpp"
#include "vesmo/input/CodeNames.hpp"

#include <memory>
#include <optional>
#include <string>

namespace game {

// When the controller (game/input/Controller.hpp) reads a binding's keyboard and mouse part: never, in
// Play and Station always, or in Play and Station unless an ImGui window has focus.
enum class KeyboardRead { Never, Always, Unfocused };
// When it reads the gamepad and joystick part: never, in every mode, in Play, in Play from joysticks only
// (the gamepad's part is its own latch), in Station, or in Station while the gamepad steers (look mode off).
enum class DeviceRead { Never, AnyMode, Play, PlayJoysticksOnly, Station, StationSteering };

// Every binding, once, in the settings file's order: its name (the field is input_binding_<name>), its
// default (InputBinding's parts left out are "none"; gamepad axes carry their direction), the controller's
// action it feeds, when the controller reads its keyboard and device parts, and whether a device's axis
// reads 0 to 1 (a flag always does). Bindings that no pass reads (chat, the avatar's look) are read by the
// controller's own steps.
#define GAME_SETTINGS_BINDINGS(BINDING)                                                                                \
    BINDING(input_chat, (InputBinding{.key = KEY_ENTER}), InputChat, Never, Never, true)                               \
    BINDING(sit, (InputBinding{.key = KEY_R, .gamepadButton = GAMEPAD_BUTTON_B}), Sit, Unfocused, AnyMode, true)       \
    BINDING(third_person, (InputBinding{.key = KEY_K}), ThirdPerson, Unfocused, AnyMode, true)                         \
    BINDING(zoom, (InputBinding{.key = KEY_Z}), Zoom, Unfocused, AnyMode, true)                                        \
    BINDING(avatar_jump, (InputBinding{.key = KEY_SPACE, .gamepadButton = GAMEPAD_BUTTON_A}), AvatarJump, Unfocused,   \
            Play, true)                                                                                                \
    BINDING(avatar_look_toggle, (InputBinding{.key = KEY_LEFT_ALT}), AvatarLookToggle, Unfocused, AnyMode, true)       \
    BINDING(get_info, (InputBinding{.key = KEY_V, .gamepadButton = GAMEPAD_BUTTON_X}), GetInfo, Unfocused, AnyMode,    \
            true)                                                                                                      \
    BINDING(avatar_interact, (InputBinding{.key = KEY_F, .gamepadButton = GAMEPAD_BUTTON_Y}), AvatarInteract,          \
            Unfocused, Play, true)                                                                                     \
    BINDING(avatar_light, (InputBinding{.key = KEY_L, .gamepadButton = GAMEPAD_BUTTON_RIGHT_BUMPER}), AvatarLight,     \
            Unfocused, AnyMode, true)                                                                                  \
    BINDING(avatar_sprint, (InputBinding{.key = KEY_LEFT_SHIFT, .gamepadButton = GAMEPAD_BUTTON_LEFT_THUMB}),          \
            AvatarSprint, Unfocused, PlayJoysticksOnly, true)                                                          \
    BINDING(avatar_crouch, (InputBinding{.key = KEY_LEFT_CONTROL, .gamepadButton = GAMEPAD_BUTTON_RIGHT_THUMB}),       \
            AvatarCrouch, Unfocused, Play, true)                                                                       \
    BINDING(avatar_jetpack, (InputBinding{.key = KEY_J, .gamepadButton = GAMEPAD_BUTTON_LEFT_BUMPER}), AvatarJetpack,  \
            Unfocused, Play, true)                                                                                     \
    BINDING(avatar_inventory_toggle, (InputBinding{.key = KEY_TAB, .gamepadButton = GAMEPAD_BUTTON_DPAD_UP}),          \
            AvatarInventory, Always, Play, true)                                                                       \
    BINDING(avatar_inventory_select_prev, (InputBinding{.key = KEY_MINUS, .gamepadButton = GAMEPAD_BUTTON_DPAD_LEFT}), \
            AvatarInventorySelectPrev, Always, Play, true)                                                             \
    BINDING(avatar_inventory_select_next,                                                                              \
            (InputBinding{.key = KEY_EQUAL, .gamepadButton = GAMEPAD_BUTTON_DPAD_RIGHT}), AvatarInventorySelectNext,   \
            Always, Play, true)                                                                                        \
    BINDING(avatar_inventory_select_1, (InputBinding{.key = KEY_1}), AvatarInventorySelect1, Always, Play, true)       \
    BINDING(avatar_inventory_select_2, (InputBinding{.key = KEY_2}), AvatarInventorySelect2, Always, Play, true)       \
    BINDING(avatar_inventory_select_3, (InputBinding{.key = KEY_3}), AvatarInventorySelect3, Always, Play, true)       \
    BINDING(avatar_inventory_select_4, (InputBinding{.key = KEY_4}), AvatarInventorySelect4, Always, Play, true)       \
    BINDING(avatar_inventory_select_5, (InputBinding{.key = KEY_5}), AvatarInventorySelect5, Always, Play, true)       \
    BINDING(avatar_inventory_select_6, (InputBinding{.key = KEY_6}), AvatarInventorySelect6, Always, Play, true)       \
    BINDING(avatar_inventory_select_7, (InputBinding{.key = KEY_7}), AvatarInventorySelect7, Always, Play, true)       \
    BINDING(avatar_inventory_select_8, (InputBinding{.key = KEY_8}), AvatarInventorySelect8, Always, Play, true)       \
    BINDING(avatar_inventory_select_9, (InputBinding{.key = KEY_9}), AvatarInventorySelect9, Always, Play, true)       \
    BINDING(avatar_inventory_deselect,                                                                                 \
            (InputBinding{.key = KEY_GRAVE_ACCENT, .gamepadButton = GAMEPAD_BUTTON_DPAD_DOWN}),                        \
            AvatarInventoryDeselect, Always, Play, true)                                                               \
    BINDING(avatar_tool_primary, (InputBinding{.mouseButton = MOUSE_BUTTON_LEFT}), AvatarToolPrimary, Unfocused,       \
            AnyMode, true)                                                                                             \
    BINDING(avatar_tool_secondary, (InputBinding{.mouseButton = MOUSE_BUTTON_RIGHT}), AvatarToolSecondary, Unfocused,  \
            AnyMode, true)                                                                                             \
    BINDING(avatar_tool_configure, (InputBinding{.key = KEY_C}), AvatarToolConfigure, Unfocused, Play, true)           \
    BINDING(avatar_tool_special_mode, (InputBinding{.key = KEY_X}), AvatarToolSpecialMode, Unfocused, Play, true)      \
    BINDING(avatar_translate_forward,                                                                                  \
            (InputBinding{.key = KEY_W, .gamepadAxis = GAMEPAD_AXIS_LEFT_Y, .gamepadAxisDirection = -1}),              \
            AvatarTranslateForward, Unfocused, Play, false)                                                            \
    BINDING(avatar_translate_backward, (InputBinding{.key = KEY_S, .gamepadAxis = GAMEPAD_AXIS_LEFT_Y}),               \
            AvatarTranslateBackward, Unfocused, Play, false)                                                           \
    BINDING(avatar_translate_left,                                                                                     \
            (InputBinding{.key = KEY_A, .gamepadAxis = GAMEPAD_AXIS_LEFT_X, .gamepadAxisDirection = -1}),              \
            AvatarTranslateLeft, Unfocused, Play, false)                                                               \
    BINDING(avatar_translate_right, (InputBinding{.key = KEY_D, .gamepadAxis = GAMEPAD_AXIS_LEFT_X}),                  \
            AvatarTranslateRight, Unfocused, Play, false)                                                              \
    BINDING(avatar_roll_left, (InputBinding{.key = KEY_Q}), AvatarRollLeft, Unfocused, Play, false)                    \
    BINDING(avatar_roll_right, (InputBinding{.key = KEY_E}), AvatarRollRight, Unfocused, Play, false)                  \
    BINDING(avatar_pitch_up, (InputBinding{.gamepadAxis = GAMEPAD_AXIS_RIGHT_Y}), AvatarPitch, Never, Never, false)    \
    BINDING(avatar_pitch_down, (InputBinding{.gamepadAxis = GAMEPAD_AXIS_RIGHT_Y, .gamepadAxisDirection = -1}),        \
            AvatarPitch, Never, Never, false)                                                                          \
    BINDING(avatar_yaw_left, (InputBinding{.gamepadAxis = GAMEPAD_AXIS_RIGHT_X, .gamepadAxisDirection = -1}),          \
            AvatarYaw, Never, Never, false)                                                                            \
    BINDING(avatar_yaw_right, (InputBinding{.gamepadAxis = GAMEPAD_AXIS_RIGHT_X}), AvatarYaw, Never, Never, false)     \
    BINDING(vehicle_gamepad_look_toggle, (InputBinding{.gamepadButton = GAMEPAD_BUTTON_RIGHT_THUMB}),                  \
            VehicleGamepadLookToggle, Never, Station, true)                                                            \
    BINDING(vehicle_aux_0, (InputBinding{.key = KEY_0, .gamepadButton = GAMEPAD_BUTTON_A}), VehicleAux0, Unfocused,    \
            Station, true)                                                                                             \
    BINDING(vehicle_aux_1, (InputBinding{.key = KEY_1, .gamepadButton = GAMEPAD_BUTTON_X}), VehicleAux1, Unfocused,    \
            Station, true)                                                                                             \
    BINDING(vehicle_aux_2, (InputBinding{.key = KEY_2, .gamepadButton = GAMEPAD_BUTTON_Y}), VehicleAux2, Unfocused,    \
            Station, true)                                                                                             \
    BINDING(vehicle_aux_3, (InputBinding{.key = KEY_3, .gamepadButton = GAMEPAD_BUTTON_RIGHT_BUMPER}), VehicleAux3,    \
            Unfocused, Station, true)                                                                                  \
    BINDING(vehicle_aux_4, (InputBinding{.key = KEY_4, .gamepadButton = GAMEPAD_BUTTON_LEFT_BUMPER}), VehicleAux4,     \
            Unfocused, Station, true)                                                                                  \
    BINDING(vehicle_aux_5, (InputBinding{.key = KEY_5, .gamepadButton = GAMEPAD_BUTTON_LEFT_THUMB}), VehicleAux5,      \
            Unfocused, Station, true)                                                                                  \
    BINDING(vehicle_aux_6, (InputBinding{.key = KEY_6}), VehicleAux6, Unfocused, Station, true)                        \
    BINDING(vehicle_aux_7, (InputBinding{.key = KEY_7}), VehicleAux7, Unfocused, Station, true)                        \
    BINDING(vehicle_aux_8, (InputBinding{.key = KEY_8}), VehicleAux8, Unfocused, Station, true)                        \
    BINDING(vehicle_aux_9, (InputBinding{.key = KEY_9}), VehicleAux9, Unfocused, Station, true)                        \
    BINDING(vehicle_translate_up, (InputBinding{.key = KEY_SPACE, .gamepadButton = GAMEPAD_BUTTON_DPAD_UP}),           \
            VehicleTranslateUp, Unfocused, Station, false)                                                             \
    BINDING(vehicle_translate_down,                                                                                    \
            (InputBinding{.key = KEY_LEFT_CONTROL, .gamepadButton = GAMEPAD_BUTTON_DPAD_DOWN}), VehicleTranslateDown,  \
            Unfocused, Station, false)                                                                                 \
    BINDING(                                                                                                           \
        vehicle_roll_left,                                                                                             \
        (InputBinding{                                                                                                 \
            .key = KEY_Q, .gamepadButton = GAMEPAD_BUTTON_DPAD_LEFT, .joystickAxis = 0, .joystickAxisDirection = -1}), \
        VehicleRollLeft, Unfocused, Station, false)                                                                    \
    BINDING(vehicle_roll_right,                                                                                        \
            (InputBinding{.key = KEY_E, .gamepadButton = GAMEPAD_BUTTON_DPAD_RIGHT, .joystickAxis = 0}),               \
            VehicleRollRight, Unfocused, Station, false)                                                               \
    BINDING(vehicle_translate_forward,                                                                                 \
            (InputBinding{.key = KEY_W, .gamepadAxis = GAMEPAD_AXIS_LEFT_Y, .gamepadAxisDirection = -1}),              \
            VehicleTranslateForward, Unfocused, Station, false)                                                        \
    BINDING(vehicle_translate_backward, (InputBinding{.key = KEY_S, .gamepadAxis = GAMEPAD_AXIS_LEFT_Y}),              \
            VehicleTranslateBackward, Unfocused, Station, false)                                                       \
    BINDING(vehicle_translate_left,                                                                                    \
            (InputBinding{.key = KEY_A, .gamepadAxis = GAMEPAD_AXIS_LEFT_X, .gamepadAxisDirection = -1}),              \
            VehicleTranslateLeft, Unfocused, Station, false)                                                           \
    BINDING(vehicle_translate_right, (InputBinding{.key = KEY_D, .gamepadAxis = GAMEPAD_AXIS_LEFT_X}),                 \
            VehicleTranslateRight, Unfocused, Station, false)                                                          \
    BINDING(vehicle_pitch_up, (InputBinding{.key = KEY_DOWN, .gamepadAxis = GAMEPAD_AXIS_RIGHT_Y, .joystickAxis = 1}), \
            VehiclePitchUp, Unfocused, StationSteering, false)                                                         \
    BINDING(vehicle_pitch_down,                                                                                        \
            (InputBinding{.key = KEY_UP,                                                                               \
                          .gamepadAxis = GAMEPAD_AXIS_RIGHT_Y,                                                         \
                          .gamepadAxisDirection = -1,                                                                  \
                          .joystickAxis = 1,                                                                           \
                          .joystickAxisDirection = -1}),                                                               \
            VehiclePitchDown, Unfocused, StationSteering, false)                                                       \
    BINDING(vehicle_yaw_left,                                                                                          \
            (InputBinding{.key = KEY_LEFT,                                                                             \
                          .gamepadAxis = GAMEPAD_AXIS_RIGHT_X,                                                         \
                          .gamepadAxisDirection = -1,                                                                  \
                          .joystickAxis = 3,                                                                           \
                          .joystickAxisDirection = -1}),                                                               \
            VehicleYawLeft, Unfocused, StationSteering, false)                                                         \
    BINDING(vehicle_yaw_right,                                                                                         \
            (InputBinding{.key = KEY_RIGHT, .gamepadAxis = GAMEPAD_AXIS_RIGHT_X, .joystickAxis = 3}), VehicleYawRight, \
            Unfocused, StationSteering, false)                                                                         \
    BINDING(vehicle_main_thrust,                                                                                       \
            (InputBinding{.key = KEY_T, .gamepadAxis = GAMEPAD_AXIS_RIGHT_TRIGGER, .joystickAxis = 2}),                \
            VehicleMainThrust, Unfocused, Station, true)

class GameSettings : public vesmo::filesystem::ConfigFile {
private:
    // The default codes are GLFW's numbers, by the engine's names.
    using enum vesmo::input::Key;
    using enum vesmo::input::MouseButton;
    using enum vesmo::input::GamepadButton;
    using enum vesmo::input::GamepadAxis;

public:
    // Reads `path` (a missing file leaves every default), then watches it every `interval` milliseconds
    // (the engine's default when none is given; 0 or less: no watching).
    GameSettings(const std::string& path, std::optional<int> interval);
    // Stops the reload thread before any field goes away.
    ~GameSettings() override;

    GameSettings(const GameSettings&) = delete;
    GameSettings& operator=(const GameSettings&) = delete;

    // The one live object for this path: while someone holds it, every call with the same path text
    // returns it (a later `interval` is ignored); once the last holder lets go, the next call reads the
    // file afresh. Safe from any thread. Game::settings is a separate object that the launcher owns.
    static std::shared_ptr<GameSettings> Instance(vesmo::filesystem::FilePath path, std::optional<int> interval);

    void ReadConfig() override;
    void WriteConfig() override;

    // ---- game
    bool show_help_tooltips = true; // Game::ShowHelpTooltip is active
    bool admin_privileges = false;  // the admin panel is offered
    bool debug_window = false;      // the debug window is shown; read only, never written
    bool dev_tools = false;         // developer tools; read only, never written

    // ---- graphics
    int graphics_preset = -1;               // a preset's index; -1: none
    int framerate_limit_main_rendering = 0; // frames per second; 0: no limit
    bool vsync = false;
    float fov = 70.0f; // degrees
    bool taa = true;   // temporal anti-aliasing
    float render_scale = 1.0f;
    float ui_scaling = 1.0f;
    std::string upscaling_algo = "AUTO"; // an upscaler algorithm's name, spelled as the engine spells it
    int upscaling_quality_setting = 1;
    float upscaling_sharpness = 0.675f;
    float final_upscale = 0.0f;
    bool tone_mapping = true;
    bool dithering = true;
    float brightness = 1.0f;
    float contrast = 1.0f;
    float gamma = 2.4f;
    bool terrain_clutter = true;
    float terrain_detail = 1.0f;

    // ---- audio
    float master_volume = 0.5f; // the master bus gets half of it
    float entities_volume = 0.5f;
    float interface_volume = 1.0f;
    float environment_volume = 0.5f;

    // ---- ide: the code editor
    float ide_zoom = 1.0f;
    float ide_opacity = 0.7f;

    // ---- input
    float look_sensitivity = 2.0f;
    bool avatar_mouselook_invert_y = false;

    // The bindings of the table above. (The GUID strings have no initialiser in the engine's struct and start
    // empty, which is meant here, so the warning about designated initialisers that leave them out is
    // silenced for the table.)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#define GAME_SETTINGS_BINDING_FIELD(name, initial, action, keyboard, devices, unipolar)                                \
    InputBinding input_binding_##name = initial;
    GAME_SETTINGS_BINDINGS(GAME_SETTINGS_BINDING_FIELD)
#undef GAME_SETTINGS_BINDING_FIELD
#pragma GCC diagnostic pop
    float input_gamepad_axis_deadzone = 0.1f;
    float input_joystick_axis_deadzone = 0.1f;
};

} // namespace game
