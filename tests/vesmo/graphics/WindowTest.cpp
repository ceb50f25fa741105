#include "vesmo/graphics/GlfwWindow.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>

using vesmo::graphics::GlfwWindow;
using vesmo::graphics::HeadlessWindow;
using vesmo::graphics::Window;

namespace {

class ControllerTable : public ::testing::Test {
protected:
    void TearDown() override { HeadlessWindow::DisconnectAllJoysticks(); }
};

} // namespace

TEST(HeadlessWindow, KeysAndButtonsAreWhatCodeSetsWithinGlfwRanges) {
    HeadlessWindow window;
    window.SetKey(87, true);  // W
    window.SetKey(348, true); // the last key
    window.SetMouseButton(7, true);
    EXPECT_EQ(std::tuple(window.GetKey(87), window.GetKey(348), window.GetKey(83)), std::tuple(true, true, false));
    EXPECT_EQ(std::tuple(window.GetMouseButton(7), window.GetMouseButton(0)), std::tuple(true, false));

    // Codes outside GLFW's ranges are neither stored nor read.
    window.SetKey(-1, true);
    window.SetKey(349, true);
    window.SetMouseButton(8, true);
    EXPECT_FALSE(window.GetKey(-1) || window.GetKey(31) || window.GetKey(349));
    EXPECT_FALSE(window.GetMouseButton(-1) || window.GetMouseButton(8));

    window.SetKey(87, false);
    EXPECT_FALSE(window.GetKey(87));
    window.ReleaseAll();
    EXPECT_FALSE(window.GetKey(348) || window.GetMouseButton(7));
}

TEST(HeadlessWindow, CursorFocusModeAndSize) {
    HeadlessWindow window(800, 600);
    EXPECT_EQ(std::tuple(window.width.load(), window.height.load()), std::tuple(800, 600));
    EXPECT_TRUE(window.IsFocused());
    window.SetFocused(false);
    EXPECT_FALSE(window.IsFocused());

    EXPECT_EQ(window.GetInputMode(Window::CURSOR), Window::CURSOR_NORMAL);
    window.SetInputMode(208897, 212995); // GLFW_CURSOR, GLFW_CURSOR_DISABLED
    EXPECT_EQ(window.GetInputMode(Window::CURSOR), Window::CURSOR_DISABLED);

    double x = -1.0, y = -1.0;
    window.GetCursorPos(&x, &y);
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);
    window.SetCursorPos(10.0, 20.0);
    window.MoveCursor(-15.0, 5.0);
    window.GetCursorPos(&x, nullptr);
    window.GetCursorPos(nullptr, &y);
    EXPECT_EQ(x, -5.0);
    EXPECT_EQ(y, 25.0);
}

TEST_F(ControllerTable, ConnectedDeviceReportsItsDescriptionAndRestingState) {
    HeadlessWindow::ConnectJoystick(3, {.guid = "03000000de280000ff11000001000000",
                                        .name = "Pad",
                                        .axisCount = 6,
                                        .buttonCount = 17,
                                        .hatCount = 1,
                                        .isGamepad = true});
    EXPECT_TRUE(Window::JoystickPresent(3));
    EXPECT_EQ(Window::GetJoystickGUID(3), "03000000de280000ff11000001000000");
    EXPECT_EQ(Window::GetJoystickName(3), "Pad");
    EXPECT_TRUE(Window::JoystickIsGamepad(3));

    int count = -1;
    const float* axes = Window::GetJoystickAxes(3, &count);
    EXPECT_EQ(count, 6);
    EXPECT_EQ(axes[5], 0.0f);
    Window::GetJoystickButtons(3, &count);
    EXPECT_EQ(count, 17);
    Window::GetJoystickHats(3, &count);
    EXPECT_EQ(count, 1);

    Window::GamepadState state;
    ASSERT_TRUE(Window::GetGamepadState(3, &state));
    EXPECT_EQ(std::tuple(state.axes[0], state.axes[4], state.axes[5]),
              std::tuple(0.0f, -1.0f, -1.0f)); // triggers at -1
    EXPECT_EQ(state.buttons[7], 0);
}

TEST_F(ControllerTable, ValuesChangeInPlaceAndPointersOutliveTheDevice) {
    HeadlessWindow::ConnectJoystick(0, {.guid = "a", .name = "Stick", .axisCount = 3, .buttonCount = 2, .hatCount = 1});
    int count = 0;
    const float* axes = Window::GetJoystickAxes(0, &count);
    const unsigned char* buttons = Window::GetJoystickButtons(0, &count);
    const unsigned char* hats = Window::GetJoystickHats(0, &count);

    HeadlessWindow::SetJoystickAxis(0, 2, -0.5f);
    HeadlessWindow::SetJoystickButton(0, 1, true);
    HeadlessWindow::SetJoystickHat(0, 0, 4);
    EXPECT_EQ(axes[2], -0.5f);
    EXPECT_EQ(buttons[1], 1);
    EXPECT_EQ(hats[0], 4);

    // Writes beyond the device's counts are ignored; a plain joystick has no mapped state.
    HeadlessWindow::SetJoystickAxis(0, 3, 1.0f);
    HeadlessWindow::SetJoystickButton(0, -1, true);
    HeadlessWindow::SetGamepadButton(0, 0, true);
    EXPECT_EQ(axes[3], 0.0f);
    Window::GamepadState state{};
    EXPECT_FALSE(Window::GetGamepadState(0, &state));
    EXPECT_FALSE(Window::JoystickIsGamepad(0));

    HeadlessWindow::DisconnectJoystick(0);
    EXPECT_FALSE(Window::JoystickPresent(0));
    EXPECT_EQ(Window::GetJoystickGUID(0), "");
    EXPECT_NE(Window::GetJoystickAxes(0, &count), nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(axes[2], -0.5f); // the old array is still readable memory

    // A reconnection starts at rest.
    HeadlessWindow::ConnectJoystick(0, {.guid = "b", .name = "Other", .axisCount = 3});
    EXPECT_EQ(Window::GetJoystickAxes(0, &count), axes);
    EXPECT_EQ(axes[2], 0.0f);
}

TEST_F(ControllerTable, UnknownIdsReadEmpty) {
    for (int id : {-1, 16, 5}) {
        int count = 7;
        EXPECT_FALSE(Window::JoystickPresent(id));
        EXPECT_EQ(Window::GetJoystickName(id), "");
        EXPECT_NE(Window::GetJoystickButtons(id, &count), nullptr);
        EXPECT_EQ(count, 0);
        EXPECT_FALSE(Window::GetGamepadState(id, nullptr));
    }
    HeadlessWindow::ConnectJoystick(16, {.guid = "x", .name = "", .axisCount = 2}); // ignored
    EXPECT_FALSE(Window::JoystickPresent(16));
}

// Runs only where a display is reachable (a desktop, or `Xvfb :99 & DISPLAY=:99 ctest ...`).
TEST(GlfwWindow, OpensOnADesktopAndCarriesOutRequestsAtPollEvents) {
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY"))
        GTEST_SKIP() << "no display";
    GlfwWindow window(640, 480, "test");
    ASSERT_NE(window.Handle(), nullptr);
    EXPECT_EQ(std::tuple(window.width.load(), window.height.load()), std::tuple(640, 480));
    EXPECT_FALSE(window.ShouldClose());

    // Requests are visible at once and reach the window at the next PollEvents.
    window.SetInputMode(Window::CURSOR, Window::CURSOR_HIDDEN);
    window.SetCursorPos(12.0, 34.0);
    EXPECT_EQ(window.GetInputMode(Window::CURSOR), Window::CURSOR_HIDDEN);
    double x = 0.0, y = 0.0;
    window.GetCursorPos(&x, &y);
    EXPECT_EQ(x, 12.0);
    EXPECT_EQ(y, 34.0);
    GlfwWindow::PollEvents();
    window.GetCursorPos(&x, &y);
    EXPECT_EQ(x, 12.0);
    EXPECT_EQ(y, 34.0);

    EXPECT_FALSE(window.GetKey(87));
    EXPECT_FALSE(window.GetMouseButton(0));
    window.SetShouldClose(true);
    EXPECT_TRUE(window.ShouldClose());
}

TEST(GlfwWindow, WithoutADesktopConstructionThrows) {
    // No display server to talk to: GLFW can't start, and the window says so instead of crashing.
    const char* display = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    const std::string savedDisplay = display ? display : "", savedWayland = wayland ? wayland : "";
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    const std::string message =
        testing_support::ThrownMessage<std::runtime_error>([] { GlfwWindow window(640, 480, "test"); });
    EXPECT_EQ(message.rfind("Could not open a window: ", 0), 0u) << message;
    // Polling without a window does nothing.
    GlfwWindow::PollEvents();
    if (display)
        setenv("DISPLAY", savedDisplay.c_str(), 1);
    if (wayland)
        setenv("WAYLAND_DISPLAY", savedWayland.c_str(), 1);
}
