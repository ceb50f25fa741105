#pragma once
// vesmo::input::code_to_string: the names of GLFW's input codes, as the settings panel shows them.
//
// The prefix selects the table: "KEY", "MOUSE_BUTTON", "GAMEPAD_AXIS", "GAMEPAD_BUTTON", "JOYSTICK_BUTTON"
// or "JOYSTICK_AXIS". An unknown prefix, or a code that its table lacks, gives "NONE". The text returned
// is a literal: it lives as long as the program and nothing is allocated.

#include <string>

namespace vesmo::input {

namespace detail {

inline const char* key_name(int code) {
    static const char* const digits[] = {"KEY_0", "KEY_1", "KEY_2", "KEY_3", "KEY_4",
                                         "KEY_5", "KEY_6", "KEY_7", "KEY_8", "KEY_9"};
    static const char* const letters[] = {"KEY_A", "KEY_B", "KEY_C", "KEY_D", "KEY_E", "KEY_F", "KEY_G",
                                          "KEY_H", "KEY_I", "KEY_J", "KEY_K", "KEY_L", "KEY_M", "KEY_N",
                                          "KEY_O", "KEY_P", "KEY_Q", "KEY_R", "KEY_S", "KEY_T", "KEY_U",
                                          "KEY_V", "KEY_W", "KEY_X", "KEY_Y", "KEY_Z"};
    static const char* const functions[] = {"KEY_F1",  "KEY_F2",  "KEY_F3",  "KEY_F4",  "KEY_F5",  "KEY_F6",  "KEY_F7",
                                            "KEY_F8",  "KEY_F9",  "KEY_F10", "KEY_F11", "KEY_F12", "KEY_F13", "KEY_F14",
                                            "KEY_F15", "KEY_F16", "KEY_F17", "KEY_F18", "KEY_F19", "KEY_F20", "KEY_F21",
                                            "KEY_F22", "KEY_F23", "KEY_F24", "KEY_F25"};
    static const char* const keypad[] = {"KEY_KP_0", "KEY_KP_1", "KEY_KP_2", "KEY_KP_3", "KEY_KP_4",
                                         "KEY_KP_5", "KEY_KP_6", "KEY_KP_7", "KEY_KP_8", "KEY_KP_9"};
    if (code >= 48 && code <= 57)
        return digits[code - 48];
    if (code >= 65 && code <= 90)
        return letters[code - 65];
    if (code >= 290 && code <= 314)
        return functions[code - 290];
    if (code >= 320 && code <= 329)
        return keypad[code - 320];
    switch (code) {
    case 32: return "KEY_SPACE";
    case 39: return "KEY_APOSTROPHE";
    case 44: return "KEY_COMMA";
    case 45: return "KEY_MINUS";
    case 46: return "KEY_PERIOD";
    case 47: return "KEY_SLASH";
    case 59: return "KEY_SEMICOLON";
    case 61: return "KEY_EQUAL";
    case 91: return "KEY_LEFT_BRACKET";
    case 92: return "KEY_BACKSLASH";
    case 93: return "KEY_RIGHT_BRACKET";
    case 96: return "KEY_GRAVE_ACCENT";
    case 161: return "KEY_WORLD_1";
    case 162: return "KEY_WORLD_2";
    case 256: return "KEY_ESCAPE";
    case 257: return "KEY_ENTER";
    case 258: return "KEY_TAB";
    case 259: return "KEY_BACKSPACE";
    case 260: return "KEY_INSERT";
    case 261: return "KEY_DELETE";
    case 262: return "KEY_RIGHT";
    case 263: return "KEY_LEFT";
    case 264: return "KEY_DOWN";
    case 265: return "KEY_UP";
    case 266: return "KEY_PAGE_UP";
    case 267: return "KEY_PAGE_DOWN";
    case 268: return "KEY_HOME";
    case 269: return "KEY_END";
    case 280: return "KEY_CAPS_LOCK";
    case 281: return "KEY_SCROLL_LOCK";
    case 282: return "KEY_NUM_LOCK";
    case 283: return "KEY_PRINT_SCREEN";
    case 284: return "KEY_PAUSE";
    case 330: return "KEY_KP_DECIMAL";
    case 331: return "KEY_KP_DIVIDE";
    case 332: return "KEY_KP_MULTIPLY";
    case 333: return "KEY_KP_SUBTRACT";
    case 334: return "KEY_KP_ADD";
    case 335: return "KEY_KP_ENTER";
    case 336: return "KEY_KP_EQUAL";
    case 340: return "KEY_LEFT_SHIFT";
    case 341: return "KEY_LEFT_CONTROL";
    case 342: return "KEY_LEFT_ALT";
    case 343: return "KEY_LEFT_SUPER";
    case 344: return "KEY_RIGHT_SHIFT";
    case 345: return "KEY_RIGHT_CONTROL";
    case 346: return "KEY_RIGHT_ALT";
    case 347: return "KEY_RIGHT_SUPER";
    case 348: return "KEY_MENU";
    default: return "NONE";
    }
}

template <int N> inline const char* indexed_name(const char* const (&names)[N], int code) {
    return code >= 0 && code < N ? names[code] : "NONE";
}

} // namespace detail

inline const char* code_to_string(const std::string& prefix, int code) {
    static const char* const mouseButtons[] = {"MOUSE_BUTTON_LEFT", "MOUSE_BUTTON_RIGHT", "MOUSE_BUTTON_MIDDLE",
                                               "MOUSE_BUTTON_4",    "MOUSE_BUTTON_5",     "MOUSE_BUTTON_6",
                                               "MOUSE_BUTTON_7",    "MOUSE_BUTTON_8"};
    static const char* const gamepadAxes[] = {"GAMEPAD_AXIS_LEFT_X",       "GAMEPAD_AXIS_LEFT_Y",
                                              "GAMEPAD_AXIS_RIGHT_X",      "GAMEPAD_AXIS_RIGHT_Y",
                                              "GAMEPAD_AXIS_LEFT_TRIGGER", "GAMEPAD_AXIS_RIGHT_TRIGGER"};
    static const char* const gamepadButtons[] = {
        "GAMEPAD_BUTTON_A",          "GAMEPAD_BUTTON_B",           "GAMEPAD_BUTTON_X",
        "GAMEPAD_BUTTON_Y",          "GAMEPAD_BUTTON_LEFT_BUMPER", "GAMEPAD_BUTTON_RIGHT_BUMPER",
        "GAMEPAD_BUTTON_BACK",       "GAMEPAD_BUTTON_START",       "GAMEPAD_BUTTON_GUIDE",
        "GAMEPAD_BUTTON_LEFT_THUMB", "GAMEPAD_BUTTON_RIGHT_THUMB", "GAMEPAD_BUTTON_DPAD_UP",
        "GAMEPAD_BUTTON_DPAD_RIGHT", "GAMEPAD_BUTTON_DPAD_DOWN",   "GAMEPAD_BUTTON_DPAD_LEFT"};
    static const char* const joystickButtons[] = {
        "JOYSTICK_BUTTON_1",  "JOYSTICK_BUTTON_2",  "JOYSTICK_BUTTON_3",  "JOYSTICK_BUTTON_4",
        "JOYSTICK_BUTTON_5",  "JOYSTICK_BUTTON_6",  "JOYSTICK_BUTTON_7",  "JOYSTICK_BUTTON_8",
        "JOYSTICK_BUTTON_9",  "JOYSTICK_BUTTON_10", "JOYSTICK_BUTTON_11", "JOYSTICK_BUTTON_12",
        "JOYSTICK_BUTTON_13", "JOYSTICK_BUTTON_14", "JOYSTICK_BUTTON_15", "JOYSTICK_BUTTON_16"};
    static const char* const joystickAxes[] = {"JOYSTICK_AXIS_1", "JOYSTICK_AXIS_2", "JOYSTICK_AXIS_3",
                                               "JOYSTICK_AXIS_4", "JOYSTICK_AXIS_5", "JOYSTICK_AXIS_6",
                                               "JOYSTICK_AXIS_7", "JOYSTICK_AXIS_8", "JOYSTICK_AXIS_9"};
    if (prefix == "KEY")
        return detail::key_name(code);
    if (prefix == "MOUSE_BUTTON")
        return detail::indexed_name(mouseButtons, code);
    if (prefix == "GAMEPAD_AXIS")
        return detail::indexed_name(gamepadAxes, code);
    if (prefix == "GAMEPAD_BUTTON")
        return detail::indexed_name(gamepadButtons, code);
    if (prefix == "JOYSTICK_BUTTON")
        return detail::indexed_name(joystickButtons, code);
    if (prefix == "JOYSTICK_AXIS")
        return detail::indexed_name(joystickAxes, code);
    return "NONE";
}

} // namespace vesmo::input
