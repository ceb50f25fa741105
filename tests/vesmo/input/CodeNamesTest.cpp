#include "vesmo/input/CodeNames.hpp"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

using vesmo::input::code_to_string;

TEST(CodeNames, KeysCoverGlfwCodesAndNothingElse) {
    const std::pair<int, const char*> named[] = {{32, "KEY_SPACE"},   {48, "KEY_0"},         {57, "KEY_9"},
                                                 {65, "KEY_A"},       {90, "KEY_Z"},         {96, "KEY_GRAVE_ACCENT"},
                                                 {256, "KEY_ESCAPE"}, {290, "KEY_F1"},       {314, "KEY_F25"},
                                                 {320, "KEY_KP_0"},   {336, "KEY_KP_EQUAL"}, {348, "KEY_MENU"}};
    for (const auto& [code, name] : named)
        EXPECT_STREQ(code_to_string("KEY", code), name);
    // Gaps between GLFW's codes and the ends of the range.
    for (int code : {-1, 31, 33, 58, 97, 163, 255, 270, 285, 315, 337, 349})
        EXPECT_STREQ(code_to_string("KEY", code), "NONE") << code;
}

TEST(CodeNames, IndexedTablesAndTheirEnds) {
    const std::tuple<const char*, int, const char*> cases[] = {{"MOUSE_BUTTON", 0, "MOUSE_BUTTON_LEFT"},
                                                               {"MOUSE_BUTTON", 7, "MOUSE_BUTTON_8"},
                                                               {"MOUSE_BUTTON", 8, "NONE"},
                                                               {"GAMEPAD_AXIS", 5, "GAMEPAD_AXIS_RIGHT_TRIGGER"},
                                                               {"GAMEPAD_AXIS", 6, "NONE"},
                                                               {"GAMEPAD_BUTTON", 7, "GAMEPAD_BUTTON_START"},
                                                               {"GAMEPAD_BUTTON", 14, "GAMEPAD_BUTTON_DPAD_LEFT"},
                                                               {"GAMEPAD_BUTTON", 15, "NONE"},
                                                               {"JOYSTICK_BUTTON", 0, "JOYSTICK_BUTTON_1"},
                                                               {"JOYSTICK_BUTTON", 15, "JOYSTICK_BUTTON_16"},
                                                               {"JOYSTICK_BUTTON", 16, "NONE"},
                                                               {"JOYSTICK_AXIS", 8, "JOYSTICK_AXIS_9"},
                                                               {"JOYSTICK_AXIS", -1, "NONE"},
                                                               {"KEYS", 65, "NONE"},
                                                               {"", 0, "NONE"}};
    for (const auto& [table, code, name] : cases)
        EXPECT_STREQ(code_to_string(table, code), name) << table << " " << code;
}
