#include "game/webview/WebviewThreads.hpp"

#include "game/Game.hpp"
#include "game/webview/PipeTestSupport.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

using game::ElectronWebview;
using game::WebviewThreads;
using testing_support::PipeFolder;

namespace {

// The game is active for the life of the fixture's test body, as a launcher would have it.
class WebviewThreadsTest : public ::testing::Test {
protected:
    void SetUp() override { Game::isActive = true; }
    void TearDown() override { Game::isActive = false; }

    PipeFolder folder;
    ElectronWebview webview;
};

} // namespace

TEST_F(WebviewThreadsTest, RunElectronRunsTheCommandAndWaitsForTheGamesEnd) {
    std::thread browser([&] { webview.RunElectron("touch ../Orkalin-data/started; exit 3"); });
    while (!std::filesystem::exists(folder.Data("started")))
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    // The browser process has ended, but the thread stays until the game does.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(webview.IsRunning());
    Game::isActive = false;
    browser.join();
    EXPECT_FALSE(webview.IsRunning());
}

TEST_F(WebviewThreadsTest, StopEndsLoopsBlockedOnPipesNobodyOpens) {
    // The "browser" ends at once without touching the pipes: both loops wait in open() for good.
    WebviewThreads threads(webview, "view", "true");
    webview.Open("v", "about:blank", 1, 1, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Game::isActive = false;
    threads.Stop();
    threads.Stop();
    EXPECT_FALSE(webview.IsRunning());
}

TEST_F(WebviewThreadsTest, ABrowserThatEndsOnEndOfFileEndsWithTheGame) {
    // A stand-in browser: holds the frame pipe open without writing, and copies every command to a file
    // until the game closes the command pipe.
    webview.Open("v", "about:blank", 1, 1, 1);
    {
        WebviewThreads threads(webview, "view",
                               "exec 3> ../Orkalin-data/view.c2s; cat ../Orkalin-data/view.s2c > ../Orkalin-data/got");
        while (testing_support::ReadText(folder.Data("got")).find("ping ping ") == std::string::npos)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        Game::isActive = false;
    } // the destructor stops the threads
    EXPECT_FALSE(webview.IsRunning());
    EXPECT_EQ(testing_support::ReadText(folder.Data("got")).rfind("open v about:blank 1 1 1.000000ping ping ", 0), 0u);
}

TEST_F(WebviewThreadsTest, ABrowserStillStartingAtShutdownIsLetGo) {
    // The stand-in opens its pipes only after the game has ended: its opens find no partner and would wait
    // for good without the knock of Stop.
    WebviewThreads threads(webview, "view",
                           "sleep 0.3; exec 3> ../Orkalin-data/view.c2s; cat ../Orkalin-data/view.s2c > /dev/null");
    Game::isActive = false;
    threads.Stop();
    EXPECT_FALSE(webview.IsRunning());
}
