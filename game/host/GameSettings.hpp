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

#include <memory>
#include <optional>
#include <string>

namespace game {

class GameSettings : public vesmo::filesystem::ConfigFile {
private:
    // Default codes, GLFW's numbers: keyboard keys, mouse buttons, gamepad buttons and gamepad axes.
    enum Code : int {
        KEY_SPACE = 32,
        KEY_MINUS = 45,
        KEY_0 = 48,
        KEY_1,
        KEY_2,
        KEY_3,
        KEY_4,
        KEY_5,
        KEY_6,
        KEY_7,
        KEY_8,
        KEY_9,
        KEY_EQUAL = 61,
        KEY_A = 65,
        KEY_C = 67,
        KEY_D = 68,
        KEY_E = 69,
        KEY_F = 70,
        KEY_J = 74,
        KEY_K = 75,
        KEY_L = 76,
        KEY_Q = 81,
        KEY_R = 82,
        KEY_S = 83,
        KEY_T = 84,
        KEY_V = 86,
        KEY_W = 87,
        KEY_X = 88,
        KEY_Z = 90,
        KEY_GRAVE_ACCENT = 96,
        KEY_ENTER = 257,
        KEY_TAB = 258,
        KEY_RIGHT = 262,
        KEY_LEFT = 263,
        KEY_DOWN = 264,
        KEY_UP = 265,
        KEY_LEFT_SHIFT = 340,
        KEY_LEFT_CONTROL = 341,
        KEY_LEFT_ALT = 342,

        MOUSE_LEFT = 0,
        MOUSE_RIGHT = 1,

        BUTTON_A = 0,
        BUTTON_B = 1,
        BUTTON_X = 2,
        BUTTON_Y = 3,
        BUTTON_LEFT_BUMPER = 4,
        BUTTON_RIGHT_BUMPER = 5,
        BUTTON_LEFT_THUMB = 9,
        BUTTON_RIGHT_THUMB = 10,
        BUTTON_DPAD_UP = 11,
        BUTTON_DPAD_RIGHT = 12,
        BUTTON_DPAD_DOWN = 13,
        BUTTON_DPAD_LEFT = 14,

        AXIS_LEFT_X = 0,
        AXIS_LEFT_Y = 1,
        AXIS_RIGHT_X = 2,
        AXIS_RIGHT_Y = 3,
        AXIS_RIGHT_TRIGGER = 5,
    };

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

    // A binding's parts left out here are "none". Gamepad axes carry their direction (-1 or +1).
    // (The GUID strings have no initialiser in the engine's struct and start empty, which is meant here,
    // so the warning about designated initialisers that leave them out is silenced for this block.)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
    InputBinding input_binding_input_chat{.key = KEY_ENTER};
    InputBinding input_binding_sit{.key = KEY_R, .gamepadButton = BUTTON_B};
    InputBinding input_binding_third_person{.key = KEY_K};
    InputBinding input_binding_zoom{.key = KEY_Z};
    InputBinding input_binding_avatar_jump{.key = KEY_SPACE, .gamepadButton = BUTTON_A};
    InputBinding input_binding_avatar_look_toggle{.key = KEY_LEFT_ALT};
    InputBinding input_binding_get_info{.key = KEY_V, .gamepadButton = BUTTON_X};
    InputBinding input_binding_avatar_interact{.key = KEY_F, .gamepadButton = BUTTON_Y};
    InputBinding input_binding_avatar_light{.key = KEY_L, .gamepadButton = BUTTON_RIGHT_BUMPER};
    InputBinding input_binding_avatar_sprint{.key = KEY_LEFT_SHIFT, .gamepadButton = BUTTON_LEFT_THUMB};
    InputBinding input_binding_avatar_crouch{.key = KEY_LEFT_CONTROL, .gamepadButton = BUTTON_RIGHT_THUMB};
    InputBinding input_binding_avatar_jetpack{.key = KEY_J, .gamepadButton = BUTTON_LEFT_BUMPER};
    InputBinding input_binding_avatar_inventory_toggle{.key = KEY_TAB, .gamepadButton = BUTTON_DPAD_UP};
    InputBinding input_binding_avatar_inventory_select_prev{.key = KEY_MINUS, .gamepadButton = BUTTON_DPAD_LEFT};
    InputBinding input_binding_avatar_inventory_select_next{.key = KEY_EQUAL, .gamepadButton = BUTTON_DPAD_RIGHT};
    InputBinding input_binding_avatar_inventory_select_1{.key = KEY_1};
    InputBinding input_binding_avatar_inventory_select_2{.key = KEY_2};
    InputBinding input_binding_avatar_inventory_select_3{.key = KEY_3};
    InputBinding input_binding_avatar_inventory_select_4{.key = KEY_4};
    InputBinding input_binding_avatar_inventory_select_5{.key = KEY_5};
    InputBinding input_binding_avatar_inventory_select_6{.key = KEY_6};
    InputBinding input_binding_avatar_inventory_select_7{.key = KEY_7};
    InputBinding input_binding_avatar_inventory_select_8{.key = KEY_8};
    InputBinding input_binding_avatar_inventory_select_9{.key = KEY_9};
    InputBinding input_binding_avatar_inventory_deselect{.key = KEY_GRAVE_ACCENT, .gamepadButton = BUTTON_DPAD_DOWN};
    InputBinding input_binding_avatar_tool_primary{.mouseButton = MOUSE_LEFT};
    InputBinding input_binding_avatar_tool_secondary{.mouseButton = MOUSE_RIGHT};
    InputBinding input_binding_avatar_tool_configure{.key = KEY_C};
    InputBinding input_binding_avatar_tool_special_mode{.key = KEY_X};
    InputBinding input_binding_avatar_translate_forward{
        .key = KEY_W, .gamepadAxis = AXIS_LEFT_Y, .gamepadAxisDirection = -1};
    InputBinding input_binding_avatar_translate_backward{.key = KEY_S, .gamepadAxis = AXIS_LEFT_Y};
    InputBinding input_binding_avatar_translate_left{
        .key = KEY_A, .gamepadAxis = AXIS_LEFT_X, .gamepadAxisDirection = -1};
    InputBinding input_binding_avatar_translate_right{.key = KEY_D, .gamepadAxis = AXIS_LEFT_X};
    InputBinding input_binding_avatar_roll_left{.key = KEY_Q};
    InputBinding input_binding_avatar_roll_right{.key = KEY_E};
    InputBinding input_binding_avatar_pitch_up{.gamepadAxis = AXIS_RIGHT_Y};
    InputBinding input_binding_avatar_pitch_down{.gamepadAxis = AXIS_RIGHT_Y, .gamepadAxisDirection = -1};
    InputBinding input_binding_avatar_yaw_left{.gamepadAxis = AXIS_RIGHT_X, .gamepadAxisDirection = -1};
    InputBinding input_binding_avatar_yaw_right{.gamepadAxis = AXIS_RIGHT_X};
    InputBinding input_binding_vehicle_gamepad_look_toggle{.gamepadButton = BUTTON_RIGHT_THUMB};
    InputBinding input_binding_vehicle_aux_0{.key = KEY_0, .gamepadButton = BUTTON_A};
    InputBinding input_binding_vehicle_aux_1{.key = KEY_1, .gamepadButton = BUTTON_X};
    InputBinding input_binding_vehicle_aux_2{.key = KEY_2, .gamepadButton = BUTTON_Y};
    InputBinding input_binding_vehicle_aux_3{.key = KEY_3, .gamepadButton = BUTTON_RIGHT_BUMPER};
    InputBinding input_binding_vehicle_aux_4{.key = KEY_4, .gamepadButton = BUTTON_LEFT_BUMPER};
    InputBinding input_binding_vehicle_aux_5{.key = KEY_5, .gamepadButton = BUTTON_LEFT_THUMB};
    InputBinding input_binding_vehicle_aux_6{.key = KEY_6};
    InputBinding input_binding_vehicle_aux_7{.key = KEY_7};
    InputBinding input_binding_vehicle_aux_8{.key = KEY_8};
    InputBinding input_binding_vehicle_aux_9{.key = KEY_9};
    InputBinding input_binding_vehicle_translate_up{.key = KEY_SPACE, .gamepadButton = BUTTON_DPAD_UP};
    InputBinding input_binding_vehicle_translate_down{.key = KEY_LEFT_CONTROL, .gamepadButton = BUTTON_DPAD_DOWN};
    InputBinding input_binding_vehicle_roll_left{
        .key = KEY_Q, .gamepadButton = BUTTON_DPAD_LEFT, .joystickAxis = 0, .joystickAxisDirection = -1};
    InputBinding input_binding_vehicle_roll_right{.key = KEY_E, .gamepadButton = BUTTON_DPAD_RIGHT, .joystickAxis = 0};
    InputBinding input_binding_vehicle_translate_forward{
        .key = KEY_W, .gamepadAxis = AXIS_LEFT_Y, .gamepadAxisDirection = -1};
    InputBinding input_binding_vehicle_translate_backward{.key = KEY_S, .gamepadAxis = AXIS_LEFT_Y};
    InputBinding input_binding_vehicle_translate_left{
        .key = KEY_A, .gamepadAxis = AXIS_LEFT_X, .gamepadAxisDirection = -1};
    InputBinding input_binding_vehicle_translate_right{.key = KEY_D, .gamepadAxis = AXIS_LEFT_X};
    InputBinding input_binding_vehicle_pitch_up{.key = KEY_DOWN, .gamepadAxis = AXIS_RIGHT_Y, .joystickAxis = 1};
    InputBinding input_binding_vehicle_pitch_down{.key = KEY_UP,
                                                  .gamepadAxis = AXIS_RIGHT_Y,
                                                  .gamepadAxisDirection = -1,
                                                  .joystickAxis = 1,
                                                  .joystickAxisDirection = -1};
    InputBinding input_binding_vehicle_yaw_left{.key = KEY_LEFT,
                                                .gamepadAxis = AXIS_RIGHT_X,
                                                .gamepadAxisDirection = -1,
                                                .joystickAxis = 3,
                                                .joystickAxisDirection = -1};
    InputBinding input_binding_vehicle_yaw_right{.key = KEY_RIGHT, .gamepadAxis = AXIS_RIGHT_X, .joystickAxis = 3};
    InputBinding input_binding_vehicle_main_thrust{.key = KEY_T, .gamepadAxis = AXIS_RIGHT_TRIGGER, .joystickAxis = 2};

#pragma GCC diagnostic pop
    float input_gamepad_axis_deadzone = 0.1f;
    float input_joystick_axis_deadzone = 0.1f;
};

} // namespace game
