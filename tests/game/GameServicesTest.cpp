// Game's services that need no module: input modes, Quit, Synchronize, channels, monitors, the UI style.

#include "game/Game.hpp"

#include "game/host/Options.hpp"

#include "vesmo/graphics/HeadlessWindow.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>
#include <imgui.h>
#include <imgui_internal.h>

#include <atomic>
#include <thread>

using vesmo::graphics::HeadlessWindow;
using vesmo::graphics::Window;

namespace {

class GameInput : public ::testing::Test {
protected:
    void SetUp() override {
        Game::window = &window;
        Game::_mouseLook = false;
        Game::_inputMode = Game::InputMode_Ui;
    }
    void TearDown() override {
        Game::window = nullptr;
        Game::_mouseLook = false;
        Game::_inputMode = Game::InputMode_Ui;
    }
    HeadlessWindow window;
};

} // namespace

TEST_F(GameInput, PlayCapturesTheCursorOfAFocusedWindow) {
    window.SetCursorPos(40, 50);
    Game::SetInputMode_Play();
    EXPECT_EQ(Game::_inputMode, Game::InputMode_Play);
    EXPECT_TRUE(Game::_mouseLook);
    EXPECT_EQ(window.GetInputMode(208897), 212995);
    double x = -1, y = -1;
    window.GetCursorPos(&x, &y);
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);

    Game::SetInputMode_Station();
    EXPECT_EQ(Game::_inputMode, Game::InputMode_Station);
    Game::SetInputMode_Ui();
    EXPECT_EQ(Game::_inputMode, Game::InputMode_Ui);
    EXPECT_FALSE(Game::_mouseLook);
    EXPECT_EQ(window.GetInputMode(208897), 212993);
}

TEST_F(GameInput, AnUnfocusedWindowKeepsItsCursorButTheModeChanges) {
    window.SetFocused(false);
    Game::SetInputMode_Play();
    EXPECT_EQ(Game::_inputMode, Game::InputMode_Play);
    EXPECT_FALSE(Game::_mouseLook);
    EXPECT_EQ(window.GetInputMode(208897), 212993);
    // Asking again once focused captures it.
    window.SetFocused(true);
    Game::SetMouseLook(true);
    EXPECT_TRUE(Game::_mouseLook);
    // Asking for what already holds touches nothing.
    window.SetCursorPos(9, 9);
    Game::SetMouseLook(true);
    double x = 0, y = 0;
    window.GetCursorPos(&x, &y);
    EXPECT_EQ(x, 9.0);
}

TEST_F(GameInput, WithoutAWindowOnlyTheModeChanges) {
    Game::window = nullptr;
    Game::SetInputMode_Play();
    EXPECT_EQ(Game::_inputMode, Game::InputMode_Play);
    EXPECT_FALSE(Game::_mouseLook);
}

TEST_F(GameInput, QuitReleasesClearsAndDeactivates) {
    Game::Play();
    EXPECT_EQ(Game::_inputMode, Game::InputMode_Play);
    Game::isActive = true;
    game::Options::Set("world_origin_reset_distance_threshold", 5.0);
    Game::Pause();
    EXPECT_TRUE(Game::isActive);
    EXPECT_TRUE(Game::_mouseLook);
    Game::Quit();
    EXPECT_FALSE(Game::isActive);
    EXPECT_FALSE(Game::_mouseLook);
    EXPECT_EQ(window.GetInputMode(208897), 212993);
    EXPECT_EQ(game::Options::Get("world_origin_reset_distance_threshold", 1000.0), 1000.0);
}

TEST(GameChannels, TextsByName) {
    EXPECT_EQ(Game::GetIMC("channels.unset", "fallback"), "fallback");
    EXPECT_EQ(Game::GetNumericIMC("channels.unset", 3.5), 3.5);
    Game::SetIMC("channels.empty", std::string());
    EXPECT_EQ(Game::GetIMC("channels.empty", "fallback"), "");
    EXPECT_EQ(Game::GetNumericIMC("channels.empty", 3.5), 0.0);

    Game::SetIMC("channels.text", std::string("a longer first value"));
    Game::SetIMC("channels.text", std::string("short"));
    EXPECT_EQ(Game::GetIMC("channels.text", ""), "short"); // no tail of the old text

    const std::string huge(5000, 'x');
    Game::SetIMC("channels.huge", huge);
    EXPECT_EQ(Game::GetIMC("channels.huge", ""), huge.substr(0, 4095));
    Game::SetIMC("channels.huge", std::string(5000, 'y')); // an overwrite keeps as much, to the last byte
    EXPECT_EQ(Game::GetIMC("channels.huge", ""), std::string(4095, 'y'));

    Game::SetIMC("channels.number", 2.5);
    EXPECT_EQ(Game::GetNumericIMC("channels.number", 0), 2.5);
    Game::SetIMC("channels.number", -1234.0625);
    EXPECT_EQ(Game::GetNumericIMC("channels.number", 0), -1234.0625);
    Game::SetIMC("channels.number", 0.1f);
    EXPECT_FLOAT_EQ(static_cast<float>(Game::GetNumericIMC("channels.number", 0)), 0.1f);
    Game::SetIMC("channels.number", std::string("not a number"));
    EXPECT_EQ(Game::GetNumericIMC("channels.number", 7), 0.0);
}

TEST(GameChannels, ConcurrentReadersAndWriters) {
    // Each writer owns its channels (one writer per channel, as modules agree), creating them while the
    // others write and readers read: creation takes the exclusive side, everything else the shared side.
    constexpr int kWriters = 3;
    constexpr int kChannels = 2000; // enough first writes to make the map rehash while others read
    constexpr int kRounds = 3;
    std::atomic<bool> stop = false;
    std::atomic<long> badReads = 0;
    std::vector<std::thread> readers;
    for (int r = 0; r < 2; ++r)
        readers.emplace_back([&] {
            while (!stop) {
                for (int w = 0; w < kWriters; ++w)
                    for (int c = 0; c < kChannels; c += 7) {
                        const std::string value =
                            Game::GetIMC("race." + std::to_string(w) + "." + std::to_string(c), "unset");
                        if (value != "unset" && value.rfind("w" + std::to_string(w), 0) != 0)
                            ++badReads;
                    }
            }
        });
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; ++w)
        writers.emplace_back([w] {
            for (int round = 0; round < kRounds; ++round)
                for (int c = 0; c < kChannels; ++c)
                    Game::SetIMC("race." + std::to_string(w) + "." + std::to_string(c),
                                 "w" + std::to_string(w) + " round " + std::to_string(round));
        });
    for (auto& writer : writers)
        writer.join();
    stop = true;
    for (auto& reader : readers)
        reader.join();
    EXPECT_EQ(badReads.load(), 0);
    for (int w = 0; w < kWriters; ++w)
        for (int c = 0; c < kChannels; ++c)
            EXPECT_EQ(Game::GetIMC("race." + std::to_string(w) + "." + std::to_string(c), ""),
                      "w" + std::to_string(w) + " round " + std::to_string(kRounds - 1));
}

TEST(GameMonitors, NamesByAimedMonitor) {
    Game::currentMonitorID = 0;
    EXPECT_EQ(Game::GetMonitor(), "");
    Game::AssignMonitor(3, "Engine");
    Game::currentMonitorID = 3;
    EXPECT_EQ(Game::GetMonitor(), "Engine");
    Game::currentMonitorID = 7;
    EXPECT_EQ(Game::GetMonitor(), "");
    Game::AssignMonitor(0, "Bridge");
    Game::currentMonitorID = 0;
    EXPECT_EQ(Game::GetMonitor(), "Bridge");
}

TEST(GameUiStyle, ScalesStyleAndFontsBySetting) {
    testing_support::TempDir folder;
    Game::settings = std::make_unique<game::GameSettings>(folder.File("settings.conf"), 0);
    EXPECT_EQ(Game::GetUiScaling(), 1.0f); // no ImGui context yet
    ImGui::CreateContext();
    Game::settings->ui_scaling = 1.5f;
    Game::SetupUiStyle();
    const ImGuiStyle& style = ImGui::GetStyle();
    EXPECT_FLOAT_EQ(style.Alpha, 0.8f);
    EXPECT_FLOAT_EQ(style.WindowPadding.x, 15.0f);
    EXPECT_FLOAT_EQ(style.FrameRounding, 6.0f);
    EXPECT_FLOAT_EQ(ImGui::GetIO().FontGlobalScale, 0.75f);
    EXPECT_FLOAT_EQ(Game::GetUiScaling(), 1.5f);
    EXPECT_FLOAT_EQ(style.Colors[ImGuiCol_TabActive].z, 0.5f);
    EXPECT_FLOAT_EQ(style.Colors[ImGuiCol_PlotLines].y, 0.3f);
    ImGui::DestroyContext();
    Game::settings.reset();
}

TEST(GameUiStyle, HelpTooltipOnlyWhileLookingAroundWithTheSettingOn) {
    testing_support::TempDir folder;
    Game::settings = std::make_unique<game::GameSettings>(folder.File("settings.conf"), 0);
    ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.DisplaySize = ImVec2(800, 600);
    unsigned char* pixels = nullptr;
    int width = 0, height = 0;
    io.Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);
    ImGui::NewFrame();
    ImGui::SetWindowFocus(nullptr); // as capturing the mouse does

    Game::_mouseLook = false;
    EXPECT_FALSE(Game::ShowHelpTooltip());
    Game::_mouseLook = true;
    Game::settings->show_help_tooltips = false;
    EXPECT_FALSE(Game::ShowHelpTooltip());
    Game::settings->show_help_tooltips = true;
    ImGui::Begin("Panel"); // a focused panel silences the tooltip
    ImGui::End();
    EXPECT_FALSE(Game::ShowHelpTooltip());
    ImGui::SetWindowFocus(nullptr);
    EXPECT_TRUE(Game::ShowHelpTooltip());
    // A new window learns its size in its first frame; the pivot places it from the second on.
    ImGui::EndFrame();
    ImGui::NewFrame();
    EXPECT_TRUE(Game::ShowHelpTooltip());
    ImGuiWindow* tooltip = ImGui::FindWindowByName("Help Tooltips");
    ASSERT_NE(tooltip, nullptr);
    EXPECT_FLOAT_EQ(tooltip->Pos.x + tooltip->Size.x, 800.0f); // pinned to the top right
    EXPECT_FLOAT_EQ(tooltip->Pos.y, 0.0f);

    ImGui::EndFrame();
    ImGui::DestroyContext();
    Game::_mouseLook = false;
    Game::settings.reset();
}
