#include "vesmo/input/CodeNames.hpp"

#include <gtest/gtest.h>

#include <string>

using vesmo::input::code_to_string;

TEST(CodeNames, KeysCoverGlfwCodesAndNothingElse) {
    EXPECT_STREQ(code_to_string("KEY", 32), "KEY_SPACE");
    EXPECT_STREQ(code_to_string("KEY", 48), "KEY_0");
    EXPECT_STREQ(code_to_string("KEY", 57), "KEY_9");
    EXPECT_STREQ(code_to_string("KEY", 65), "KEY_A");
    EXPECT_STREQ(code_to_string("KEY", 90), "KEY_Z");
    EXPECT_STREQ(code_to_string("KEY", 96), "KEY_GRAVE_ACCENT");
    EXPECT_STREQ(code_to_string("KEY", 256), "KEY_ESCAPE");
    EXPECT_STREQ(code_to_string("KEY", 290), "KEY_F1");
    EXPECT_STREQ(code_to_string("KEY", 314), "KEY_F25");
    EXPECT_STREQ(code_to_string("KEY", 320), "KEY_KP_0");
    EXPECT_STREQ(code_to_string("KEY", 336), "KEY_KP_EQUAL");
    EXPECT_STREQ(code_to_string("KEY", 348), "KEY_MENU");
    // Gaps between GLFW's codes and the ends of the range.
    for (int code : {-1, 31, 33, 58, 97, 163, 255, 270, 285, 315, 337, 349})
        EXPECT_STREQ(code_to_string("KEY", code), "NONE") << code;
}

TEST(CodeNames, IndexedTablesAndTheirEnds) {
    EXPECT_STREQ(code_to_string("MOUSE_BUTTON", 0), "MOUSE_BUTTON_LEFT");
    EXPECT_STREQ(code_to_string("MOUSE_BUTTON", 7), "MOUSE_BUTTON_8");
    EXPECT_STREQ(code_to_string("MOUSE_BUTTON", 8), "NONE");
    EXPECT_STREQ(code_to_string("GAMEPAD_AXIS", 5), "GAMEPAD_AXIS_RIGHT_TRIGGER");
    EXPECT_STREQ(code_to_string("GAMEPAD_AXIS", 6), "NONE");
    EXPECT_STREQ(code_to_string("GAMEPAD_BUTTON", 7), "GAMEPAD_BUTTON_START");
    EXPECT_STREQ(code_to_string("GAMEPAD_BUTTON", 14), "GAMEPAD_BUTTON_DPAD_LEFT");
    EXPECT_STREQ(code_to_string("GAMEPAD_BUTTON", 15), "NONE");
    EXPECT_STREQ(code_to_string("JOYSTICK_BUTTON", 0), "JOYSTICK_BUTTON_1");
    EXPECT_STREQ(code_to_string("JOYSTICK_BUTTON", 15), "JOYSTICK_BUTTON_16");
    EXPECT_STREQ(code_to_string("JOYSTICK_BUTTON", 16), "NONE");
    EXPECT_STREQ(code_to_string("JOYSTICK_AXIS", 8), "JOYSTICK_AXIS_9");
    EXPECT_STREQ(code_to_string("JOYSTICK_AXIS", -1), "NONE");
    EXPECT_STREQ(code_to_string("KEYS", 65), "NONE");
    EXPECT_STREQ(code_to_string("", 0), "NONE");
}
