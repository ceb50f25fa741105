#pragma once
// GLFW's input codes by name, once for the whole program, and vesmo::input::code_to_string: the names of
// those codes as the settings panel shows them.
//
// The codes are GLFW's numbers (the windows report them as they are), so code above the engine names a key
// without including GLFW: vesmo::input::KEY_ESCAPE, MOUSE_BUTTON_LEFT, GAMEPAD_BUTTON_START,
// GAMEPAD_AXIS_RIGHT_TRIGGER. The cursor modes are vesmo::graphics::Window's.
//
// code_to_string: the prefix selects the table: "KEY", "MOUSE_BUTTON", "GAMEPAD_AXIS", "GAMEPAD_BUTTON",
// "JOYSTICK_BUTTON" or "JOYSTICK_AXIS". An unknown prefix, or a code that its table lacks, gives "NONE". The
// text returned is a literal: it lives as long as the program and nothing is allocated.

#include <string>

namespace vesmo::input {

// Every keyboard key GLFW knows, as (name after "KEY_", code), in GLFW's order.
#define VESMO_INPUT_KEYS(KEY)                                                                                          \
    KEY(SPACE, 32)                                                                                                     \
    KEY(APOSTROPHE, 39)                                                                                                \
    KEY(COMMA, 44)                                                                                                     \
    KEY(MINUS, 45)                                                                                                     \
    KEY(PERIOD, 46)                                                                                                    \
    KEY(SLASH, 47)                                                                                                     \
    KEY(0, 48)                                                                                                         \
    KEY(1, 49)                                                                                                         \
    KEY(2, 50)                                                                                                         \
    KEY(3, 51)                                                                                                         \
    KEY(4, 52)                                                                                                         \
    KEY(5, 53)                                                                                                         \
    KEY(6, 54)                                                                                                         \
    KEY(7, 55)                                                                                                         \
    KEY(8, 56)                                                                                                         \
    KEY(9, 57)                                                                                                         \
    KEY(SEMICOLON, 59)                                                                                                 \
    KEY(EQUAL, 61)                                                                                                     \
    KEY(A, 65)                                                                                                         \
    KEY(B, 66)                                                                                                         \
    KEY(C, 67)                                                                                                         \
    KEY(D, 68)                                                                                                         \
    KEY(E, 69)                                                                                                         \
    KEY(F, 70)                                                                                                         \
    KEY(G, 71)                                                                                                         \
    KEY(H, 72)                                                                                                         \
    KEY(I, 73)                                                                                                         \
    KEY(J, 74)                                                                                                         \
    KEY(K, 75)                                                                                                         \
    KEY(L, 76)                                                                                                         \
    KEY(M, 77)                                                                                                         \
    KEY(N, 78)                                                                                                         \
    KEY(O, 79)                                                                                                         \
    KEY(P, 80)                                                                                                         \
    KEY(Q, 81)                                                                                                         \
    KEY(R, 82)                                                                                                         \
    KEY(S, 83)                                                                                                         \
    KEY(T, 84)                                                                                                         \
    KEY(U, 85)                                                                                                         \
    KEY(V, 86)                                                                                                         \
    KEY(W, 87)                                                                                                         \
    KEY(X, 88)                                                                                                         \
    KEY(Y, 89)                                                                                                         \
    KEY(Z, 90)                                                                                                         \
    KEY(LEFT_BRACKET, 91)                                                                                              \
    KEY(BACKSLASH, 92)                                                                                                 \
    KEY(RIGHT_BRACKET, 93)                                                                                             \
    KEY(GRAVE_ACCENT, 96)                                                                                              \
    KEY(WORLD_1, 161)                                                                                                  \
    KEY(WORLD_2, 162)                                                                                                  \
    KEY(ESCAPE, 256)                                                                                                   \
    KEY(ENTER, 257)                                                                                                    \
    KEY(TAB, 258)                                                                                                      \
    KEY(BACKSPACE, 259)                                                                                                \
    KEY(INSERT, 260)                                                                                                   \
    KEY(DELETE, 261)                                                                                                   \
    KEY(RIGHT, 262)                                                                                                    \
    KEY(LEFT, 263)                                                                                                     \
    KEY(DOWN, 264)                                                                                                     \
    KEY(UP, 265)                                                                                                       \
    KEY(PAGE_UP, 266)                                                                                                  \
    KEY(PAGE_DOWN, 267)                                                                                                \
    KEY(HOME, 268)                                                                                                     \
    KEY(END, 269)                                                                                                      \
    KEY(CAPS_LOCK, 280)                                                                                                \
    KEY(SCROLL_LOCK, 281)                                                                                              \
    KEY(NUM_LOCK, 282)                                                                                                 \
    KEY(PRINT_SCREEN, 283)                                                                                             \
    KEY(PAUSE, 284)                                                                                                    \
    KEY(F1, 290)                                                                                                       \
    KEY(F2, 291)                                                                                                       \
    KEY(F3, 292)                                                                                                       \
    KEY(F4, 293)                                                                                                       \
    KEY(F5, 294)                                                                                                       \
    KEY(F6, 295)                                                                                                       \
    KEY(F7, 296)                                                                                                       \
    KEY(F8, 297)                                                                                                       \
    KEY(F9, 298)                                                                                                       \
    KEY(F10, 299)                                                                                                      \
    KEY(F11, 300)                                                                                                      \
    KEY(F12, 301)                                                                                                      \
    KEY(F13, 302)                                                                                                      \
    KEY(F14, 303)                                                                                                      \
    KEY(F15, 304)                                                                                                      \
    KEY(F16, 305)                                                                                                      \
    KEY(F17, 306)                                                                                                      \
    KEY(F18, 307)                                                                                                      \
    KEY(F19, 308)                                                                                                      \
    KEY(F20, 309)                                                                                                      \
    KEY(F21, 310)                                                                                                      \
    KEY(F22, 311)                                                                                                      \
    KEY(F23, 312)                                                                                                      \
    KEY(F24, 313)                                                                                                      \
    KEY(F25, 314)                                                                                                      \
    KEY(KP_0, 320)                                                                                                     \
    KEY(KP_1, 321)                                                                                                     \
    KEY(KP_2, 322)                                                                                                     \
    KEY(KP_3, 323)                                                                                                     \
    KEY(KP_4, 324)                                                                                                     \
    KEY(KP_5, 325)                                                                                                     \
    KEY(KP_6, 326)                                                                                                     \
    KEY(KP_7, 327)                                                                                                     \
    KEY(KP_8, 328)                                                                                                     \
    KEY(KP_9, 329)                                                                                                     \
    KEY(KP_DECIMAL, 330)                                                                                               \
    KEY(KP_DIVIDE, 331)                                                                                                \
    KEY(KP_MULTIPLY, 332)                                                                                              \
    KEY(KP_SUBTRACT, 333)                                                                                              \
    KEY(KP_ADD, 334)                                                                                                   \
    KEY(KP_ENTER, 335)                                                                                                 \
    KEY(KP_EQUAL, 336)                                                                                                 \
    KEY(LEFT_SHIFT, 340)                                                                                               \
    KEY(LEFT_CONTROL, 341)                                                                                             \
    KEY(LEFT_ALT, 342)                                                                                                 \
    KEY(LEFT_SUPER, 343)                                                                                               \
    KEY(RIGHT_SHIFT, 344)                                                                                              \
    KEY(RIGHT_CONTROL, 345)                                                                                            \
    KEY(RIGHT_ALT, 346)                                                                                                \
    KEY(RIGHT_SUPER, 347)                                                                                              \
    KEY(MENU, 348)

#define VESMO_INPUT_KEY_CODE(name, code) KEY_##name = code,
enum Key : int { VESMO_INPUT_KEYS(VESMO_INPUT_KEY_CODE) };
#undef VESMO_INPUT_KEY_CODE

enum MouseButton : int {
    MOUSE_BUTTON_LEFT = 0,
    MOUSE_BUTTON_RIGHT = 1,
    MOUSE_BUTTON_MIDDLE = 2,
    MOUSE_BUTTON_LAST = 7
};

enum GamepadButton : int {
    GAMEPAD_BUTTON_A = 0,
    GAMEPAD_BUTTON_B = 1,
    GAMEPAD_BUTTON_X = 2,
    GAMEPAD_BUTTON_Y = 3,
    GAMEPAD_BUTTON_LEFT_BUMPER = 4,
    GAMEPAD_BUTTON_RIGHT_BUMPER = 5,
    GAMEPAD_BUTTON_BACK = 6,
    GAMEPAD_BUTTON_START = 7,
    GAMEPAD_BUTTON_GUIDE = 8,
    GAMEPAD_BUTTON_LEFT_THUMB = 9,
    GAMEPAD_BUTTON_RIGHT_THUMB = 10,
    GAMEPAD_BUTTON_DPAD_UP = 11,
    GAMEPAD_BUTTON_DPAD_RIGHT = 12,
    GAMEPAD_BUTTON_DPAD_DOWN = 13,
    GAMEPAD_BUTTON_DPAD_LEFT = 14,
};

// The triggers (4 and 5) rest at -1.
enum GamepadAxis : int {
    GAMEPAD_AXIS_LEFT_X = 0,
    GAMEPAD_AXIS_LEFT_Y = 1,
    GAMEPAD_AXIS_RIGHT_X = 2,
    GAMEPAD_AXIS_RIGHT_Y = 3,
    GAMEPAD_AXIS_LEFT_TRIGGER = 4,
    GAMEPAD_AXIS_RIGHT_TRIGGER = 5,
};

namespace detail {

inline const char* key_name(int code) {
    switch (code) {
#define VESMO_INPUT_KEY_NAME(name, code)                                                                               \
    case code: return "KEY_" #name;
        VESMO_INPUT_KEYS(VESMO_INPUT_KEY_NAME)
#undef VESMO_INPUT_KEY_NAME
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
