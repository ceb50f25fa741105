#include "game/input/Joystick.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"

#include <gtest/gtest.h>

using game::input::Joystick;
using vesmo::graphics::HeadlessWindow;

namespace {

class JoystickTest : public ::testing::Test {
protected:
    void SetUp() override {
        HeadlessWindow::ConnectJoystick(0, {.guid = "030000006d04000015c2000010010000",
                                            .name = "Stick",
                                            .axisCount = 4,
                                            .buttonCount = 3,
                                            .hatCount = 1});
        HeadlessWindow::ConnectJoystick(1, {.guid = "030000005e0400008e02000010010000",
                                            .name = "Pad",
                                            .axisCount = 6,
                                            .buttonCount = 11,
                                            .isGamepad = true});
    }
    void TearDown() override { HeadlessWindow::DisconnectAllJoysticks(); }
};

} // namespace

TEST_F(JoystickTest, ConstructionReadsTheDevice) {
    Joystick stick(0);
    EXPECT_EQ(std::tie(stick.id, stick.connected, stick.guid, stick.name, stick.isGamepad),
              std::tuple(0, true, "030000006d04000015c2000010010000", "Stick", false));
    EXPECT_EQ(std::tie(stick.axisCount, stick.buttonCount, stick.hatCount), std::tuple(4, 3, 1));

    Joystick pad(1);
    EXPECT_TRUE(pad.isGamepad);
    EXPECT_EQ(pad.gamepadState.axes[5], -1.0f);
}

TEST_F(JoystickTest, ValuesAreThoseOfTheLastInputUpdate) {
    Joystick stick(0);
    HeadlessWindow::SetJoystickButton(0, 2, true);
    HeadlessWindow::SetJoystickHat(0, 0, 8);
    stick.InputUpdate();
    EXPECT_TRUE(stick.GetButton(2));
    EXPECT_EQ(stick.GetHat(0), 8);

    Joystick pad(1);
    HeadlessWindow::SetGamepadButton(1, 7, true);
    EXPECT_FALSE(pad.GetGamepadButton(7)); // not fetched yet
    pad.InputUpdate();
    EXPECT_TRUE(pad.GetGamepadButton(7));
}

TEST_F(JoystickTest, OutOfRangeAndDisconnectedReadZero) {
    Joystick stick(0);
    for (int axis = 0; axis < 4; ++axis)
        HeadlessWindow::SetJoystickAxis(0, axis, 0.9f);
    HeadlessWindow::SetJoystickButton(0, 0, true);
    stick.InputUpdate();
    EXPECT_FLOAT_EQ(stick.GetAxis(3, 0.1f, false, false), 0.9f);
    EXPECT_EQ(stick.GetAxis(-1, 0.1f, false, false), 0.0f);
    EXPECT_EQ(stick.GetAxis(4, 0.1f, false, false), 0.0f);
    EXPECT_FALSE(stick.GetButton(-1));
    EXPECT_FALSE(stick.GetButton(3));
    EXPECT_EQ(stick.GetHat(1), 0);
    EXPECT_FALSE(stick.GetButtonBinding(-1));

    // A device that isn't a gamepad has no mapped state.
    EXPECT_EQ(stick.GetGamepadAxis(0, 0.1f, false, false), 0.0f);
    EXPECT_FALSE(stick.GetGamepadButton(0));

    stick.connected = false;
    EXPECT_EQ(stick.GetAxis(3, 0.1f, false, false), 0.0f);
    EXPECT_FALSE(stick.GetButton(0));

    Joystick pad(1);
    HeadlessWindow::SetGamepadButton(1, 14, true);
    pad.InputUpdate();
    EXPECT_TRUE(pad.GetGamepadButton(14));
    EXPECT_FALSE(pad.GetGamepadButton(15));
    EXPECT_EQ(pad.GetGamepadAxis(6, 0.0f, false, false), 0.0f);
}

TEST_F(JoystickTest, DeadZoneAndUnipolarReading) {
    Joystick pad(1);
    auto read = [&](float raw, float deadzone, bool unipolar) {
        HeadlessWindow::SetGamepadAxis(1, 5, raw);
        pad.InputUpdate();
        return pad.GetGamepadAxis(5, deadzone, false, unipolar);
    };
    EXPECT_EQ(read(0.05f, 0.1f, false), 0.0f);
    EXPECT_EQ(read(-0.1f, 0.1f, false), 0.0f); // the dead zone's edge is inside
    EXPECT_FLOAT_EQ(read(-0.5f, 0.1f, false), -0.5f);
    // A trigger at rest (-1) reads 0 unipolar, full travel 1, half travel 0.5.
    EXPECT_EQ(read(-1.0f, 0.1f, true), 0.0f);
    EXPECT_EQ(read(-0.95f, 0.1f, true), 0.0f);
    EXPECT_FLOAT_EQ(read(1.0f, 0.1f, true), 1.0f);
    EXPECT_FLOAT_EQ(read(0.0f, 0.1f, true), 0.5f);
}

TEST_F(JoystickTest, CalibrationLearnsTheRangeAndAPlainReadingForgetsIt) {
    Joystick stick(0);
    auto read = [&](float raw, bool calibrate, bool unipolar) {
        HeadlessWindow::SetJoystickAxis(0, 1, raw);
        stick.InputUpdate();
        return stick.GetAxis(1, 0.05f, calibrate, unipolar);
    };
    // A throttle that only travels from 0.2 to 0.8.
    EXPECT_EQ(read(0.2f, true, true), 0.0f); // a single value is no range yet
    EXPECT_EQ(read(0.8f, true, true), 1.0f);
    EXPECT_EQ(std::tuple(stick.axisMin[1], stick.axisMax[1]), std::tuple(0.2f, 0.8f));
    EXPECT_FLOAT_EQ(read(0.5f, true, true), 0.5f);
    EXPECT_EQ(read(0.22f, true, true), 0.0f); // within the dead zone above the minimum
    // Not unipolar on a one-sided range: 2n - 1, the dead zone still above the minimum.
    EXPECT_FLOAT_EQ(read(0.8f, true, false), 1.0f);
    EXPECT_FLOAT_EQ(read(0.35f, true, false), -0.5f);
    // The range only widens.
    EXPECT_FLOAT_EQ(read(0.5f, true, true), 0.5f);

    // A plain reading puts the range back to [-1, 1]; calibrating from there centres the axis.
    EXPECT_FLOAT_EQ(read(0.5f, false, false), 0.5f);
    EXPECT_EQ(std::tuple(stick.axisMin[1], stick.axisMax[1]), std::tuple(-1.0f, 1.0f));
    EXPECT_FLOAT_EQ(read(0.5f, true, false), 0.5f);
    EXPECT_EQ(read(0.03f, true, false), 0.0f); // centred: the dead zone is around 0
    EXPECT_FLOAT_EQ(read(-0.6f, true, false), -0.6f);
}

TEST_F(JoystickTest, ButtonBindingFiresOnAPressSeenAfterTheFirstLook) {
    Joystick stick(0);
    HeadlessWindow::SetJoystickButton(0, 1, true);
    stick.InputUpdate();
    // Held while the capture screen opens: never binds until released and pressed again.
    EXPECT_FALSE(stick.GetButtonBinding(1));
    EXPECT_FALSE(stick.GetButtonBinding(1));
    HeadlessWindow::SetJoystickButton(0, 1, false);
    stick.InputUpdate();
    EXPECT_FALSE(stick.GetButtonBinding(1));
    HeadlessWindow::SetJoystickButton(0, 1, true);
    stick.InputUpdate();
    EXPECT_TRUE(stick.GetButtonBinding(1));
    EXPECT_FALSE(stick.GetButtonBinding(1)); // once per press

    // The mapped buttons keep edges of their own.
    Joystick pad(1);
    EXPECT_FALSE(pad.GetGamepadButtonBinding(0));
    HeadlessWindow::SetGamepadButton(1, 0, true);
    pad.InputUpdate();
    EXPECT_TRUE(pad.GetGamepadButtonBinding(0));
    EXPECT_FALSE(stick.GetGamepadButtonBinding(0));
}

TEST_F(JoystickTest, GuidComparisonIgnoresCaseButNotLength) {
    Joystick stick(0);
    EXPECT_TRUE(stick.IsSameGUID("030000006d04000015c2000010010000"));
    EXPECT_TRUE(stick.IsSameGUID("030000006D04000015C2000010010000"));
    EXPECT_FALSE(stick.IsSameGUID("030000006d04000015c2"));
    EXPECT_FALSE(stick.IsSameGUID("030000006d04000015c20000100100000"));
    EXPECT_FALSE(stick.IsSameGUID(""));
}
