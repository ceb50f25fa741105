// The controller read through a HeadlessWindow, scripted controllers and a live ImGui context.

#include "game/input/Controller.hpp"

#include "game/Game.hpp"
#include "game/host/GameSettings.hpp"
#include "game/input/Joystick.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"

#include "TestSupport.hpp"
#include "support/ImGuiHarness.hpp"

#include <gtest/gtest.h>
#include <imgui.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

using game::input::Controller;
using game::input::Joystick;
using vesmo::graphics::HeadlessWindow;

namespace {

// GLFW's codes used below.
constexpr int KEY_W = 87, KEY_S = 83, KEY_R = 82, KEY_J = 74, KEY_C = 67, KEY_TAB = 258, KEY_ENTER = 257,
              KEY_ESCAPE = 256, KEY_LEFT_CONTROL = 341, KEY_UP = 265, KEY_T = 84;
constexpr int MOUSE_LEFT = 0;
constexpr int PAD_A = 0, PAD_B = 1, PAD_X = 2, PAD_START = 7, PAD_LEFT_THUMB = 9, PAD_RIGHT_THUMB = 10;
constexpr int AXIS_LEFT_X = 0, AXIS_LEFT_Y = 1, AXIS_RIGHT_X = 2, AXIS_RIGHT_Y = 3, AXIS_RIGHT_TRIGGER = 5;

class ControllerTest : public ::testing::Test {
protected:
    void SetUp() override {
        Game::window = &window;
        // A file that doesn't exist: every binding at its default. No reload thread.
        Game::settings = std::make_unique<game::GameSettings>(folder.File("settings.ini"), 0);
        Game::_mouseLook = false;
        Game::_inputMode = Game::InputMode_Ui;
        Controller::state = {};
        Controller::previousState = {};
        Controller::vehicleGamepadLookMode = true;
    }
    void TearDown() override {
        Game::_joysticks.clear();
        HeadlessWindow::DisconnectAllJoysticks();
        Game::settings.reset();
        Game::window = nullptr;
        Game::_mouseLook = false;
        Game::_inputMode = Game::InputMode_Ui;
    }

    void Tick(double deltaTime = 1.0 / 60.0) {
        for (auto& [id, device] : Game::_joysticks)
            device->InputUpdate();
        Controller::InputUpdate(deltaTime);
    }
    void Mode(Game::InputMode mode, bool mouseLook) {
        Game::_inputMode = mode;
        Game::_mouseLook = mouseLook;
    }
    // Plugs in a device and gives Game an entry for it, as the launcher does.
    void Connect(int id, const std::string& guid, int axes, bool gamepad) {
        HeadlessWindow::ConnectJoystick(id, {.guid = guid,
                                             .name = "device",
                                             .axisCount = axes,
                                             .buttonCount = 12,
                                             .hatCount = 0,
                                             .isGamepad = gamepad});
        Game::_joysticks[id] = std::make_shared<Joystick>(id);
    }
    void ConnectGamepad(int id = 0) { Connect(id, "030000005e0400008e02000010010000", 6, true); }
    // One ImGui frame in which a window appears, and so takes focus.
    void FocusAnImGuiWindow() {
        ImGui::NewFrame();
        ImGui::Begin("Panel");
        ImGui::End();
        ImGui::EndFrame();
        ASSERT_TRUE(ImGui::IsWindowFocused(ImGuiFocusedFlags_AnyWindow));
    }

    test::ImGuiHarness ui; // a live ImGui context, for what it captures and focuses
    testing_support::TempDir folder;
    HeadlessWindow window{1280, 720};
};

} // namespace

TEST_F(ControllerTest, EscapeAndChatAreReadInEveryModeWhateverImGuiWants) {
    FocusAnImGuiWindow();
    ImGui::GetIO().WantCaptureKeyboard = true;
    ImGui::GetIO().WantCaptureMouse = true;
    window.SetKey(KEY_ESCAPE, true);
    window.SetKey(KEY_ENTER, true);
    for (auto mode : {Game::InputMode_Ui, Game::InputMode_Play, Game::InputMode_Station}) {
        Mode(mode, mode != Game::InputMode_Ui);
        Tick();
        EXPECT_TRUE(Controller::GetEscape()) << int(mode);
        EXPECT_TRUE(Controller::GetInputChat()) << int(mode);
    }
    window.ReleaseAll();
    ConnectGamepad();
    HeadlessWindow::SetGamepadButton(0, PAD_START, true);
    Tick();
    EXPECT_TRUE(Controller::GetEscape());
    EXPECT_FALSE(Controller::GetInputChat());
}

TEST_F(ControllerTest, UiModeWithEveryKeyAndButtonDownReadsOnlyEscapeAndChat) {
    for (int key = 32; key <= 348; ++key)
        window.SetKey(key, true);
    for (int button = 0; button <= 7; ++button)
        window.SetMouseButton(button, true);
    window.SetCursorPos(300.0, 300.0);
    Mode(Game::InputMode_Ui, true);
    Tick();
    Controller::State expected;
    expected.Escape = true;
    expected.InputChat = true;
#define EXPECT_FIELD(Name) EXPECT_EQ(Controller::state.Name, expected.Name) << #Name;
    GAME_INPUT_ACTIONS(EXPECT_FIELD, EXPECT_FIELD, EXPECT_FIELD)
#undef EXPECT_FIELD
    EXPECT_FALSE(Controller::state.VehicleGamepadLookToggle);
}

TEST_F(ControllerTest, EachModeTakesOnlyItsOwnGamepadBindings) {
    ConnectGamepad();
    for (int button = 0; button < 15; ++button)
        HeadlessWindow::SetGamepadButton(0, button, true);
    for (int axis = 0; axis < 6; ++axis)
        HeadlessWindow::SetGamepadAxis(0, axis, 1.0f);

    Mode(Game::InputMode_Ui, false);
    Tick();
    EXPECT_TRUE(Controller::GetGetInfo());
    EXPECT_FALSE(Controller::GetAvatarJetpack());
    EXPECT_EQ(Controller::GetAvatarJump(), 0.0);
    EXPECT_EQ(Controller::state.AvatarYaw, 0.0);
    EXPECT_FALSE(Controller::GetVehicleAux0());

    Mode(Game::InputMode_Play, true);
    Tick();
    EXPECT_TRUE(Controller::GetAvatarJetpack());
    EXPECT_TRUE(Controller::GetAvatarInventory());
    EXPECT_GT(Controller::GetAvatarJump(), 0.0);
    EXPECT_NE(Controller::state.AvatarYaw, 0.0);
    EXPECT_FALSE(Controller::GetVehicleAux0());
    EXPECT_EQ(Controller::GetVehicleTranslateUp(), 0.0);
    EXPECT_EQ(Controller::GetVehicleMainThrust(), 0.0);
    EXPECT_EQ(Controller::GetVehicleRollRight(), 0.0);

    Mode(Game::InputMode_Station, true);
    Tick();
    EXPECT_FALSE(Controller::GetAvatarJetpack());
    EXPECT_FALSE(Controller::GetAvatarInventory());
    EXPECT_EQ(Controller::GetAvatarJump(), 0.0);
    EXPECT_EQ(Controller::GetAvatarTranslateRight(), 0.0);
    EXPECT_TRUE(Controller::GetVehicleAux0());
    EXPECT_EQ(Controller::GetVehicleTranslateUp(), 1.0);
    EXPECT_EQ(Controller::GetVehicleMainThrust(), 1.0);
    EXPECT_EQ(Controller::GetVehicleRollRight(), 1.0);
    // Every mode: these three, light and get info.
    EXPECT_TRUE(Controller::GetSit());
    EXPECT_TRUE(Controller::GetAvatarLight());
    EXPECT_TRUE(Controller::GetGetInfo());
}

TEST_F(ControllerTest, KeyboardReadsEveryBindingOutsideUiTheGamepadOnlyItsMode) {
    ConnectGamepad();
    window.SetKey(KEY_W, true);                                  // avatar and vehicle forward share W
    HeadlessWindow::SetGamepadAxis(0, AXIS_LEFT_X, 1.0f);        // right, on both avatar and vehicle
    HeadlessWindow::SetGamepadAxis(0, AXIS_RIGHT_TRIGGER, 1.0f); // main thrust

    Mode(Game::InputMode_Play, true);
    Tick();
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 1.0);
    EXPECT_EQ(Controller::GetVehicleTranslateForward(), 1.0);
    EXPECT_FLOAT_EQ(Controller::GetAvatarTranslateRight(), 1.0);
    EXPECT_EQ(Controller::GetVehicleTranslateRight(), 0.0);
    EXPECT_EQ(Controller::GetVehicleMainThrust(), 0.0);

    Mode(Game::InputMode_Station, true);
    Tick();
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 1.0);
    EXPECT_EQ(Controller::GetAvatarTranslateRight(), 0.0);
    EXPECT_FLOAT_EQ(Controller::GetVehicleTranslateRight(), 1.0);
    EXPECT_FLOAT_EQ(Controller::GetVehicleMainThrust(), 1.0);
}

TEST_F(ControllerTest, ImGuiCapturesKeyboardAndMouseSeparately) {
    ConnectGamepad();
    Mode(Game::InputMode_Play, true);
    window.SetKey(KEY_W, true);
    window.SetMouseButton(MOUSE_LEFT, true);
    HeadlessWindow::SetGamepadButton(0, PAD_B, true); // sit

    ImGui::GetIO().WantCaptureKeyboard = true;
    Tick();
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 0.0);
    EXPECT_EQ(Controller::GetAvatarToolPrimary(), 1.0);
    EXPECT_TRUE(Controller::GetSit());

    ImGui::GetIO().WantCaptureKeyboard = false;
    ImGui::GetIO().WantCaptureMouse = true;
    Tick();
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 1.0);
    EXPECT_EQ(Controller::GetAvatarToolPrimary(), 0.0);
}

TEST_F(ControllerTest, AFocusedImGuiWindowLeavesOnlyInventoryAndLookToTheKeyboard) {
    Mode(Game::InputMode_Play, true);
    FocusAnImGuiWindow();
    window.SetKey(KEY_TAB, true);
    window.SetKey(KEY_W, true);
    window.SetCursorPos(64.0, 0.0);
    Tick();
    EXPECT_TRUE(Controller::GetAvatarInventory());
    EXPECT_GT(Controller::GetAvatarYaw(), 0.0);
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 0.0);
}

TEST_F(ControllerTest, MouseButtonsCountOnlyWhileTheCursorIsCaptured) {
    window.SetMouseButton(MOUSE_LEFT, true);
    Mode(Game::InputMode_Play, false);
    Tick();
    EXPECT_EQ(Controller::GetAvatarToolPrimary(), 0.0);
    Mode(Game::InputMode_Play, true);
    Tick();
    EXPECT_EQ(Controller::GetAvatarToolPrimary(), 1.0);
}

TEST_F(ControllerTest, InputsOnOneAnalogActionAddUpAndClampToOne) {
    ConnectGamepad();
    Mode(Game::InputMode_Play, true);
    Game::settings->input_binding_avatar_translate_forward.mouseButton = MOUSE_LEFT;
    window.SetKey(KEY_W, true);
    window.SetMouseButton(MOUSE_LEFT, true);
    HeadlessWindow::SetGamepadAxis(0, AXIS_LEFT_Y, -1.0f);
    Tick();
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 1.0);
    // The opposite stick direction subtracts, and the sum is never below 0.
    window.ReleaseAll();
    Tick();
    EXPECT_EQ(Controller::GetAvatarTranslateBackward(), 0.0);
    HeadlessWindow::SetGamepadAxis(0, AXIS_LEFT_Y, 1.0f);
    Tick();
    EXPECT_EQ(Controller::GetAvatarTranslateForward(), 0.0);
    EXPECT_FLOAT_EQ(Controller::GetAvatarTranslateBackward(), 1.0);
}

TEST_F(ControllerTest, MouseLookGivesDeltasScaledBySensitivityAndUnclamped) {
    Mode(Game::InputMode_Play, true);
    Game::settings->look_sensitivity = 2.0f;
    window.SetCursorPos(128.0, -64.0);
    Tick();
    // x / width × 0.5 = 0.05, × 2; y likewise -0.025, × 2.
    EXPECT_DOUBLE_EQ(Controller::state.AvatarYaw, 0.05);
    EXPECT_DOUBLE_EQ(Controller::GetAvatarYaw(), 0.1);
    EXPECT_DOUBLE_EQ(Controller::GetAvatarPitch(), -0.05);
    EXPECT_DOUBLE_EQ(Controller::GetAvatarYaw_Delta(), 0.1);
    double x = 1.0, y = 1.0;
    window.GetCursorPos(&x, &y);
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);

    // Without motion the delta is 0: the value is this tick's movement, not a position.
    Tick();
    EXPECT_EQ(Controller::GetAvatarYaw(), 0.0);
    EXPECT_TRUE(Controller::GetAvatarYaw_Released());

    // Large motions aren't clamped either way; inverted Y flips pitch.
    Game::settings->avatar_mouselook_invert_y = true;
    window.SetCursorPos(-5120.0, 2560.0);
    Tick();
    EXPECT_DOUBLE_EQ(Controller::GetAvatarYaw(), -4.0);
    EXPECT_DOUBLE_EQ(Controller::GetAvatarPitch(), -2.0);
    EXPECT_TRUE(Controller::GetAvatarYaw_Pressed());

    // No capture, no look: the cursor is a pointer then.
    Mode(Game::InputMode_Play, false);
    window.SetCursorPos(100.0, 100.0);
    Tick();
    EXPECT_EQ(Controller::GetAvatarYaw(), 0.0);
    window.GetCursorPos(&x, &y);
    EXPECT_EQ(x, 100.0);
}

TEST_F(ControllerTest, GamepadLooksAroundOnASquaredCurve) {
    ConnectGamepad();
    Mode(Game::InputMode_Play, true);
    Game::settings->look_sensitivity = 1.0f;
    HeadlessWindow::SetGamepadAxis(0, AXIS_RIGHT_X, 0.5f);
    HeadlessWindow::SetGamepadAxis(0, AXIS_RIGHT_Y, -0.5f);
    Tick(0.1);
    EXPECT_NEAR(Controller::GetAvatarYaw(), 0.25 * 0.15, 1e-9);   // yaw turns 1.5 times as fast
    EXPECT_NEAR(Controller::GetAvatarPitch(), -0.25 * 0.1, 1e-9); // stick up: pitch down
    // Inside the dead zone nothing moves.
    HeadlessWindow::SetGamepadAxis(0, AXIS_RIGHT_X, 0.05f);
    HeadlessWindow::SetGamepadAxis(0, AXIS_RIGHT_Y, 0.0f);
    Tick(0.1);
    EXPECT_EQ(Controller::GetAvatarYaw(), 0.0);
}

TEST_F(ControllerTest, StationLookModeDecidesWhatTheRightStickDoes) {
    ConnectGamepad();
    Mode(Game::InputMode_Station, true);
    HeadlessWindow::SetGamepadAxis(0, AXIS_RIGHT_Y, 1.0f);
    Tick(0.1);
    EXPECT_EQ(Controller::GetVehiclePitchUp(), 0.0);
    EXPECT_NEAR(Controller::state.AvatarPitch, 0.1, 1e-9);

    // A click of the right stick leaves look mode: the stick steers now.
    HeadlessWindow::SetGamepadButton(0, PAD_RIGHT_THUMB, true);
    Tick(0.1);
    EXPECT_FALSE(Controller::vehicleGamepadLookMode);
    Tick(0.1); // held: no second flip
    EXPECT_FALSE(Controller::vehicleGamepadLookMode);
    EXPECT_FLOAT_EQ(Controller::GetVehiclePitchUp(), 1.0);
    EXPECT_EQ(Controller::state.AvatarPitch, 0.0);
    HeadlessWindow::SetGamepadButton(0, PAD_RIGHT_THUMB, false);
    Tick(0.1);
    HeadlessWindow::SetGamepadButton(0, PAD_RIGHT_THUMB, true);
    Tick(0.1);
    EXPECT_TRUE(Controller::vehicleGamepadLookMode);

    // The keyboard steers in either mode.
    window.SetKey(KEY_UP, true);
    HeadlessWindow::SetGamepadAxis(0, AXIS_RIGHT_Y, 0.0f);
    Tick(0.1);
    EXPECT_EQ(Controller::GetVehiclePitchDown(), 1.0);
}

TEST_F(ControllerTest, AStickClickSprintsUntilTheAvatarStops) {
    ConnectGamepad();
    Mode(Game::InputMode_Play, true);
    HeadlessWindow::SetGamepadAxis(0, AXIS_LEFT_Y, -0.8f);
    Tick();
    EXPECT_FALSE(Controller::GetAvatarSprint());
    HeadlessWindow::SetGamepadButton(0, PAD_LEFT_THUMB, true);
    Tick();
    EXPECT_TRUE(Controller::GetAvatarSprint());
    HeadlessWindow::SetGamepadButton(0, PAD_LEFT_THUMB, false);
    Tick();
    EXPECT_TRUE(Controller::GetAvatarSprint()); // latched while moving
    HeadlessWindow::SetGamepadAxis(0, AXIS_LEFT_Y, 0.0f);
    Tick();
    EXPECT_FALSE(Controller::GetAvatarSprint());
    HeadlessWindow::SetGamepadAxis(0, AXIS_LEFT_Y, -0.8f);
    Tick();
    EXPECT_FALSE(Controller::GetAvatarSprint()); // moving again doesn't bring it back
}

TEST_F(ControllerTest, JoystickBindingsReadTheFirstPlainJoystick) {
    ConnectGamepad(0);
    Connect(1, "030000006d04000015c2000010010000", 4, false);
    Mode(Game::InputMode_Station, true);
    HeadlessWindow::SetJoystickAxis(1, 0, -0.8f); // roll: axis 0
    HeadlessWindow::SetJoystickAxis(1, 2, -1.0f); // main thrust: axis 2, unipolar, at rest
    Tick();
    EXPECT_FLOAT_EQ(Controller::GetVehicleRollLeft(), 0.8);
    EXPECT_EQ(Controller::GetVehicleRollRight(), 0.0);
    EXPECT_EQ(Controller::GetVehicleMainThrust(), 0.0);
    HeadlessWindow::SetJoystickAxis(1, 2, 1.0f);
    Tick();
    EXPECT_FLOAT_EQ(Controller::GetVehicleMainThrust(), 1.0);

    // With look mode on, pitch and yaw come from the joystick alone.
    HeadlessWindow::SetJoystickAxis(1, 1, 0.6f);
    HeadlessWindow::SetGamepadAxis(0, AXIS_RIGHT_Y, 1.0f);
    Tick();
    EXPECT_FLOAT_EQ(Controller::GetVehiclePitchUp(), 0.6);

    // A joystick button counts when the binding has no joystick axis.
    Game::settings->input_binding_vehicle_aux_7.joystickButton = 4;
    HeadlessWindow::SetJoystickButton(1, 4, true);
    Tick();
    EXPECT_TRUE(Controller::GetVehicleAux7());
}

TEST_F(ControllerTest, PressedReleasedAndDeltaFollowTheTwoRecords) {
    Mode(Game::InputMode_Play, true);
    window.SetKey(KEY_C, true); // tool configure: a flag
    window.SetKey(KEY_S, true); // backward: analog
    Tick();
    EXPECT_TRUE(Controller::GetAvatarToolConfigure_Pressed());
    EXPECT_EQ(Controller::GetAvatarToolConfigure_Delta(), 1);
    EXPECT_TRUE(Controller::GetAvatarTranslateBackward_Pressed());
    EXPECT_EQ(Controller::GetAvatarTranslateBackward_Delta(), 1.0);
    Tick();
    EXPECT_TRUE(Controller::GetAvatarToolConfigure());
    EXPECT_FALSE(Controller::GetAvatarToolConfigure_Pressed());
    EXPECT_EQ(Controller::GetAvatarToolConfigure_Delta(), 0);
    window.ReleaseAll();
    Tick();
    EXPECT_TRUE(Controller::GetAvatarToolConfigure_Released());
    EXPECT_EQ(Controller::GetAvatarToolConfigure_Delta(), -1);
    EXPECT_TRUE(Controller::GetAvatarTranslateBackward_Released());
    EXPECT_EQ(Controller::GetAvatarTranslateBackward_Delta(), -1.0);
}

TEST_F(ControllerTest, HoldOrToggleLatchesATapAndFollowsALongPress) {
    Mode(Game::InputMode_Play, true);
    int trues = 0;
    auto tick = [&](bool down) {
        window.SetKey(KEY_J, down);
        Tick();
        trues += Controller::GetAvatarJetpack_HoldOrToggle(30) ? 1 : 0;
    };
    // A tap: true once, at the press.
    tick(true);
    EXPECT_EQ(trues, 1);
    tick(false);
    tick(false);
    EXPECT_EQ(trues, 1);

    // A long press: true at the press and at the release.
    trues = 0;
    tick(true);
    for (int i = 0; i < 4; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(12));
        tick(true);
    }
    EXPECT_EQ(trues, 1);
    tick(false);
    EXPECT_EQ(trues, 2);
}

TEST_F(ControllerTest, HoldFiresOnceAfterMinOrAtTheReleaseOfAShortPress) {
    Mode(Game::InputMode_Play, true);
    auto step = [&](int key, bool down) {
        window.SetKey(key, down);
        Tick();
    };
    // Hold(min, 0): never at the press, once during the hold after min, never at the release.
    step(KEY_LEFT_CONTROL, true);
    EXPECT_FALSE(Controller::GetAvatarCrouch_Hold(20, 0));
    int fired = 0;
    for (int i = 0; i < 6; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(8));
        step(KEY_LEFT_CONTROL, true);
        fired += Controller::GetAvatarCrouch_Hold(20, 0) ? 1 : 0;
    }
    EXPECT_EQ(fired, 1);
    step(KEY_LEFT_CONTROL, false);
    EXPECT_FALSE(Controller::GetAvatarCrouch_Hold(20, 0));

    // Hold(0, max) on an analog action: a tap fires at the release; a long press doesn't.
    step(KEY_T, true);
    EXPECT_FALSE(Controller::GetVehicleMainThrust_Hold(0, 1000));
    step(KEY_T, false);
    EXPECT_TRUE(Controller::GetVehicleMainThrust_Hold(0, 1000));

    step(KEY_T, true);
    EXPECT_FALSE(Controller::GetVehicleMainThrust_Hold(0, 10));
    for (int i = 0; i < 4; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        step(KEY_T, true);
        EXPECT_FALSE(Controller::GetVehicleMainThrust_Hold(0, 10));
    }
    step(KEY_T, false);
    EXPECT_FALSE(Controller::GetVehicleMainThrust_Hold(0, 10));

    // Fewer than three ticks count as short, however long they took.
    step(KEY_T, true);
    Controller::GetVehicleMainThrust_Hold(0, 10);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    step(KEY_T, false);
    EXPECT_TRUE(Controller::GetVehicleMainThrust_Hold(0, 10));
}

TEST_F(ControllerTest, HoldWithBothOrNeitherLimitEndsTheProcess) {
    EXPECT_DEATH(
        Controller::GetSit_Hold(0, 0),
        "Assertion failed: \\(millisecondsMin == 0\\) != \\(millisecondsMax == 0\\), file game/input/Controller");
    EXPECT_DEATH(Controller::GetSit_Hold(10, 10), "Assertion failed");
}

TEST_F(ControllerTest, WithoutWindowOrSettingsOnlyTheFixedBindingsRead) {
    ConnectGamepad();
    HeadlessWindow::SetGamepadButton(0, PAD_START, true);
    HeadlessWindow::SetGamepadButton(0, PAD_X, true);
    Game::window = nullptr;
    Mode(Game::InputMode_Play, true);
    Tick();
    EXPECT_TRUE(Controller::GetEscape());
    EXPECT_TRUE(Controller::GetGetInfo()); // devices need no window
    Game::settings.reset();
    Tick();
    EXPECT_TRUE(Controller::GetEscape());
    EXPECT_FALSE(Controller::GetGetInfo());
}

TEST(ControllerBindingStr, FirstPartSetDecides) {
    // Each row sets one more part over the last; a part set before it (to the left) loses to it.
    vesmo::filesystem::ConfigFile::InputBinding b;
    const std::pair<std::function<void()>, const char*> steps[] = {
        {[] {}, "[NONE]"},
        {[&] { b.joystickButton = 15; }, "JOYSTICK_BUTTON_16"},
        {[&] { b.joystickAxis = 0; }, "JOYSTICK_AXIS_1"},
        {[&] { b.gamepadButton = 11; }, "GAMEPAD_BUTTON_DPAD_UP"},
        {[&] { b.gamepadAxis = 4; }, "GAMEPAD_AXIS_LEFT_TRIGGER"},
        {[&] { b.mouseButton = 2; }, "MOUSE_MIDDLE"},
        {[&] { b.mouseButton = 8; }, "[NONE]"},
        {[&] { b.key = KEY_ENTER; }, "ENTER"},
        {[&] { b.key = 91; }, "LEFT_BRACKET"},
        {[&] { b.key = 1000; }, "NONE"}};
    for (const auto& [set, name] : steps) {
        set();
        EXPECT_STREQ(Controller::BindingStr(b), name);
    }
}

TEST_F(ControllerTest, GameInputUpdateRunsTheControllerTick) {
    window.SetKey(KEY_ESCAPE, true);
    Game::InputUpdate(1.0 / 60.0);
    EXPECT_TRUE(Controller::GetEscape_Pressed());
}

// The setting, a focused panel and a free cursor are GameUiStyle's cases; here the tools the controller reads.
TEST_F(ControllerTest, HelpTooltipGivesWayToTools) {
    // One frame; ImGui's own fallback window is kept from focus.
    auto shown = [] {
        ImGui::NewFrame();
        ImGui::SetWindowFocus(nullptr);
        const bool result = Game::ShowHelpTooltip();
        ImGui::EndFrame();
        return result;
    };
    Mode(Game::InputMode_Play, true);
    EXPECT_TRUE(shown());

    window.SetMouseButton(MOUSE_LEFT, true);
    Tick();
    EXPECT_FALSE(shown()); // a tool in use
    window.ReleaseAll();
    window.SetKey(KEY_C, true);
    Tick();
    EXPECT_FALSE(shown()); // configuring a tool
    window.ReleaseAll();
    Tick();
    EXPECT_TRUE(shown());
}
