// Game's lookups of controllers in _joysticks.

#include "game/Game.hpp"
#include "game/input/Joystick.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"

#include <gtest/gtest.h>

#include <memory>

using game::input::Joystick;
using vesmo::graphics::HeadlessWindow;

namespace {

const std::string kStickGuid = "030000006d04000015c2000010010000";
const std::string kPadGuid = "030000005e0400008e02000010010000";

class GameJoysticks : public ::testing::Test {
protected:
    void TearDown() override {
        Game::_joysticks.clear();
        HeadlessWindow::DisconnectAllJoysticks();
    }
    std::shared_ptr<Joystick> Connect(int id, const std::string& guid, int axes, bool gamepad) {
        HeadlessWindow::ConnectJoystick(
            id,
            {.guid = guid, .name = "device", .axisCount = axes, .buttonCount = 4, .hatCount = 0, .isGamepad = gamepad});
        return Game::_joysticks[id] = std::make_shared<Joystick>(id);
    }
};

} // namespace

TEST_F(GameJoysticks, NothingConnectedFindsNothing) {
    EXPECT_EQ(Game::GetFirstJoystick(), nullptr);
    EXPECT_EQ(Game::GetFirstGamepad(), nullptr);
    EXPECT_EQ(Game::GetJoystick(0), nullptr);
    EXPECT_EQ(Game::GetJoystick("", 0), nullptr);
    EXPECT_EQ(Game::GetGamepad("", 0), nullptr);
}

TEST_F(GameJoysticks, PlainJoysticksSkipGamepadsAndOneAxisDevices) {
    auto pad = Connect(0, kPadGuid, 6, true);
    auto wheel = Connect(1, "0300000000000000000000000000000a", 1, false);
    auto stick = Connect(4, kStickGuid, 4, false);
    auto second = Connect(7, kStickGuid, 2, false);

    EXPECT_EQ(Game::GetFirstJoystick(), stick);
    EXPECT_EQ(Game::GetJoystick(0), stick);
    EXPECT_EQ(Game::GetJoystick(1), second);
    EXPECT_EQ(Game::GetJoystick(2), nullptr);
    EXPECT_EQ(Game::GetJoystick(-1), nullptr);
    EXPECT_EQ(Game::GetJoystick("", 0), stick);
    EXPECT_EQ(Game::GetJoystick("", 1), second);
    EXPECT_EQ(Game::GetFirstGamepad(), pad);

    // A device the launcher marked disconnected no longer counts.
    stick->connected = false;
    EXPECT_EQ(Game::GetFirstJoystick(), second);
    pad->connected = false;
    EXPECT_EQ(Game::GetFirstGamepad(), nullptr);
}

TEST_F(GameJoysticks, ByGuidCountsEveryDeviceWithItLetterCaseAside) {
    auto pad = Connect(0, kPadGuid, 6, true);
    auto stick = Connect(2, kStickGuid, 4, false);
    auto twin = Connect(3, kStickGuid, 4, false);

    EXPECT_EQ(Game::GetJoystick(kStickGuid, 0), stick);
    EXPECT_EQ(Game::GetJoystick("030000006D04000015C2000010010000", 1), twin);
    EXPECT_EQ(Game::GetJoystick(kStickGuid, 2), nullptr);
    EXPECT_EQ(Game::GetJoystick(kPadGuid, 0), pad); // a gamepad with the GUID counts
    EXPECT_EQ(Game::GetJoystick(kStickGuid.substr(0, 20), 0), nullptr);

    EXPECT_EQ(Game::GetGamepad(kPadGuid, 0), pad);
    EXPECT_EQ(Game::GetGamepad("", 0), pad);
    EXPECT_EQ(Game::GetGamepad(kStickGuid, 0), nullptr); // not a gamepad
    EXPECT_EQ(Game::GetGamepad(kPadGuid, 1), nullptr);
}
