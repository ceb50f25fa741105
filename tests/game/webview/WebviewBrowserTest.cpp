// The web view from end to end: the browser process of tools/webview, started through RunElectron's
// command by the launcher's helper, renders a local page into textures and takes clicks and typing.
// Needs Node.js, tools/webview's npm packages and Debian's Chromium; nothing leaves the machine.

#include "game/webview/ElectronWebview.hpp"
#include "game/Game.hpp"
#include "game/webview/PipeTestSupport.hpp"
#include "game/webview/WebviewThreads.hpp"
#include "vesmo/graphics/DynamicAsyncTexture.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <thread>

using game::ElectronWebview;
using game::WebviewThreads;
using testing_support::PipeFolder;
using vesmo::graphics::DynamicAsyncTexture;

namespace {

const std::string SourceDir = ORKALIN_SOURCE_DIR;

// A red block at CSS (10, 10) to (40, 30) that turns blue when clicked and green when the text field
// beside it is typed into.
const char* const Page = R"html(<!doctype html>
<html><body style="margin:0;background:#ffffff">
<div id="block" style="position:absolute;left:10px;top:10px;width:30px;height:20px;background:rgb(255,0,0)"
     onclick="this.style.background='rgb(0,0,255)'"></div>
<input id="field" style="position:absolute;left:50px;top:10px;width:40px"
       oninput="document.getElementById('block').style.background='rgb(0,255,0)'">
</body></html>
)html";

bool Near(const std::array<unsigned char, 4>& pixel, int r, int g, int b) {
    return std::abs(pixel[0] - r) <= 8 && std::abs(pixel[1] - g) <= 8 && std::abs(pixel[2] - b) <= 8 && pixel[3] == 255;
}

// Polls until `done` holds; false after a minute, which only a broken browser process takes.
bool WaitFor(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

} // namespace

TEST(WebviewBrowser, RendersALocalPageAndTakesClicksAndTyping) {
    if (!std::filesystem::exists("/usr/bin/chromium") || std::system("command -v node > /dev/null") != 0)
        GTEST_SKIP() << "needs /usr/bin/chromium and node (./run test installs them)";
    ASSERT_TRUE(std::filesystem::exists(SourceDir + "/tools/webview/node_modules/playwright-core"))
        << "run `npm ci` in tools/webview (./run test does)";

    PipeFolder folder;
    testing_support::WriteText(folder.Data("page.html"), Page);
    const std::string url = "file://" + folder.Data("page.html");

    ElectronWebview webview;
    Game::isActive = true;
    WebviewThreads threads(webview, "browser",
                           "node '" + SourceDir +
                               "/tools/webview/webview.mjs' --pipe ../Orkalin-data/browser --verbose");
    // A failed assertion leaves early: the game must end before the threads are stopped, as it would.
    struct GameEnds {
        ~GameEnds() { Game::isActive = false; }
    } gameEnds;

    // Twice the device scale: the page is laid out 100 by 50 CSS pixels and its frames are 200 by 100.
    auto sharp = std::make_shared<DynamicAsyncTexture>(200, 100);
    auto plain = std::make_shared<DynamicAsyncTexture>(100, 50);
    webview.Texture(sharp, "sharp", url, 2.0);
    webview.Texture(plain, "plain", url, 1.0);

    ASSERT_TRUE(WaitFor([&] { return Near(sharp->Pixel(50, 40), 255, 0, 0); })) << "no frame of the page came";
    EXPECT_TRUE(Near(sharp->Pixel(15, 15), 255, 255, 255));
    EXPECT_TRUE(Near(sharp->Pixel(21, 21), 255, 0, 0));
    ASSERT_TRUE(WaitFor([&] { return Near(plain->Pixel(25, 20), 255, 0, 0); }));

    // A click on the block, in CSS pixels.
    webview.MouseMove("sharp", 25, 20);
    webview.MouseButton("sharp", 0, 1, 25, 20);
    webview.MouseButton("sharp", 0, 0, 25, 20);
    EXPECT_TRUE(WaitFor([&] { return Near(sharp->Pixel(50, 40), 0, 0, 255); })) << "the click changed nothing";

    // Focus the field of the other view, then type into it: input goes to the view under the mouse.
    webview.MouseMove("plain", 60, 18);
    webview.MouseButton("plain", 0, 1, 60, 18);
    webview.MouseButton("plain", 0, 0, 60, 18);
    webview.InputChar('x');
    EXPECT_TRUE(WaitFor([&] { return Near(plain->Pixel(25, 20), 0, 255, 0); })) << "typing changed nothing";
    EXPECT_TRUE(Near(sharp->Pixel(50, 40), 0, 0, 255)); // the views are separate pages

    Game::isActive = false;
    threads.Stop();
    EXPECT_FALSE(webview.IsRunning()); // the browser process ended with the game
}
