// orkalin: the game client. A window (or an offscreen image), sound, the settings, the renderer, the main
// menu, and the world simulated in the same process: the server loop runs beside the client's loops, and
// the world's files are the dedicated server's, so a world opens in either.
// With --connect HOST[:PORT] there is no world here: the Net GAME_Mod module joins that server and mirrors
// its entities, and the server loop's thread only asks it to join and watches for the server going away.
//
// Working directory: the run directory (build/game/), or --game-dir. From there modules are
// modules/<Name>/<Name>.<Family>.so, the settings file is ../Orkalin-data/settings.conf and worlds are under
// ../Orkalin-data/server/worlds/.
//
// Threads and rates (the four loops of a game run):
//   rendering   the process's main thread: the window's events, then renderer->Frame(), as fast as the
//               device presents (v-sync on a window, or the settings' frame-rate limit)
//   main        Game::Update and Game::ClientUpdate once per rendered frame (it waits for the next frame,
//               or 1/30 s at most)
//   input       Game::InputUpdate and, by the input mode, InputUpdate_Play or InputUpdate_Station at 120 Hz;
//               also the panels' keys and a two-second ESCAPE (quit); the renderer polls F12 (screenshot)
//   server      Game::ServerUpdate at the world's tick rate (60 Hz, 4 physics sub-steps by default), once
//               "PLAY" has loaded the world
// GLFW wants its calls on the main thread, and ImGui's GLFW backend reads the window in its new frame:
// that is why rendering, not the main loop, keeps the process's main thread.
//
// The web view's browser process and its three threads (game/webview/WebviewThreads.hpp) start only when a
// module first asks for a view: the main loop looks, once a turn, at ElectronWebview::ViewAsked. They end
// after Game::Quit, before Game::Stop, as a view's images feed textures that the modules and the renderer own.

#include "ClientRenderer.hpp"
#include "FrameStats.hpp"
#include "WorldSession.hpp"

#include "NetClientLink.hpp"
#include "Protocol.hpp"

#include "game/Game.hpp"
#include "game/graphics/ui/Panels.hpp"
#include "game/modular/Families.hpp"
#include "game/modular/ServerHooks.hpp"
#include "game/webview/WebviewThreads.hpp"
#include "vesmo/audio/Studio.hpp"
#include "vesmo/graphics/GlfwWindow.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"
#include "vesmo/vk/Device.hpp"

#include <imgui.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace server; // the exit codes
using Clock = std::chrono::steady_clock;
using game::modular::GAME_Init;
using game::modular::GAME_Mod;

constexpr int kKeyEscape = 256;

std::atomic<bool> g_stopRequested{false};
void OnStopSignal(int) { g_stopRequested.store(true); }

struct Options {
    std::string world = "demo";
    std::vector<std::string> modules; // for a new world; default Planet
    std::string gameDir;
    std::string settings = "../Orkalin-data/settings.conf";
    std::string screenshot;
    std::string connect; // HOST[:PORT]: join that server instead of simulating a world here
    std::string connectHost;
    uint16_t connectPort = 0;
    long long frames = -1; // frames of the playing world, then quit; -1: until quit
    int width = 1280;
    int height = 720;
    bool offscreen = false;
    bool play = false;
    bool validation = false;
    bool stats = false;
    bool traceUi = false;
    bool silent = false;
};

void PrintHelp() {
    std::printf(
        "Usage: orkalin [options]\n"
        "\n"
        "The game client of the Orkalin sandbox: a window with the main menu; \"PLAY\" opens the world (\"demo\"\n"
        "unless --world says otherwise; made with the Planet module when it does not exist) and simulates it in\n"
        "this process. Worlds are the dedicated server's: one saved by orkalin-server opens here, and the\n"
        "reverse. On quitting (QUIT, the window's close button, or ESCAPE held for two seconds) the world is\n"
        "saved.\n"
        "\n"
        "The web view's browser process (node tools/webview/webview.mjs, with /usr/bin/chromium) starts the\n"
        "first time a module asks for a view; without node or chromium the game goes on without it.\n"
        "\n"
        "Run it with build/game/ as the working directory (or give --game-dir). From there, modules are\n"
        "  modules/<Name>/<Name>.GAME_Init.so, .GAME_Mod.so, .SERVER_Mod.so\n"
        "the settings file is ../Orkalin-data/settings.conf and worlds are in ../Orkalin-data/server/worlds/.\n"
        "\n"
        "Keys: the bindings of the settings file move the free camera (W A S D, SPACE up, LEFT_CONTROL down,\n"
        "the mouse looks); TAB backpack, F1 settings, F3 overlays, F4 admin panel, F7 debug window, F12\n"
        "screenshot (into ../Orkalin-data/screenshots/), ESCAPE closes the panels, held two seconds it quits.\n"
        "\n"
        "Options:\n"
        "  --world NAME        the world that PLAY opens (default demo)\n"
        "  --connect HOST[:PORT]\n"
        "                      PLAY joins the dedicated server there (port default 29170) instead of opening\n"
        "                      a world here; the modules (--modules, default Planet) draw its entities. When\n"
        "                      the server is lost the client says so and returns to the main menu (with\n"
        "                      --screenshot it exits 1)\n"
        "  --modules A,B       the modules of a new world (default Planet)\n"
        "  --game-dir DIR      the run directory (default: the working directory)\n"
        "  --settings PATH     the settings file (default ../Orkalin-data/settings.conf)\n"
        "  --size WxH          the window's (or the offscreen image's) size (default 1280x720)\n"
        "  --offscreen         no window: render into an image (also chosen when there is no display)\n"
        "  --play              press PLAY at once\n"
        "  --frames N          quit after N frames of the playing world\n"
        "  --screenshot PATH   press PLAY, render --frames frames (default 120), write the last one as PNG and\n"
        "                      quit; offscreen when there is no display\n"
        "  --stats             print frames per second, CPU time per frame (game.so, the module's pass, the\n"
        "                      driver) and heap allocations per frame (and per server tick) at the end\n"
        "  --validation        run with Vulkan's validation layer; the number of its messages is printed\n"
        "  --silent            no sound device\n"
        "  --trace-ui          print where the menu's and the panels' controls are (for scripted clicks)\n"
        "  -h, --help          show this text\n"
        "\n"
        "Exit codes: 0 done (world saved); 1 a frame, a tick or the save failed; 2 bad command line; 3 no such\n"
        "world; 4 a module failed to load; 5 a saved entity file is damaged; 6 no Vulkan device or no window.\n");
}

bool ParseNumber(const char* text, long long& value) {
    char* end = nullptr;
    value = std::strtoll(text, &end, 10);
    return end != text && *end == '\0';
}

// "HOST" or "HOST:PORT" (ENet speaks IPv4: a name or a dotted address).
bool ParseAddress(const std::string& text, std::string& host, uint16_t& port) {
    port = net::DefaultPort;
    const size_t colon = text.find(':');
    host = text.substr(0, colon);
    if (host.empty())
        return false;
    if (colon == std::string::npos)
        return true;
    long long value = 0;
    if (!ParseNumber(text.c_str() + colon + 1, value) || value < 1 || value > 65535)
        return false;
    port = static_cast<uint16_t>(value);
    return true;
}

// Fills `options`; returns -1 to go on, else the exit code.
int ParseArguments(int argc, char** argv, Options& options) {
    bool connectGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto value = [&]() -> const char* {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "orkalin: %s needs a value (see --help)\n", arg.c_str());
                return nullptr;
            }
            return argv[++i];
        };
        if (arg == "-h" || arg == "--help") {
            PrintHelp();
            return kExitOk;
        } else if (arg == "--offscreen") {
            options.offscreen = true;
        } else if (arg == "--play") {
            options.play = true;
        } else if (arg == "--stats") {
            options.stats = true;
        } else if (arg == "--validation") {
            options.validation = true;
        } else if (arg == "--trace-ui") {
            options.traceUi = true;
        } else if (arg == "--silent") {
            options.silent = true;
        } else if (arg == "--world" || arg == "--game-dir" || arg == "--settings" || arg == "--screenshot" ||
                   arg == "--modules" || arg == "--connect") {
            const char* text = value();
            if (!text)
                return kExitUsage;
            if (arg == "--world")
                options.world = text;
            else if (arg == "--game-dir")
                options.gameDir = text;
            else if (arg == "--settings")
                options.settings = text;
            else if (arg == "--screenshot")
                options.screenshot = text;
            else if (arg == "--connect") {
                options.connect = text;
                connectGiven = true;
            } else
                options.modules = SplitNames(text);
        } else if (arg == "--frames") {
            const char* text = value();
            long long n = 0;
            if (!text || !ParseNumber(text, n) || n < 1) {
                std::fprintf(stderr, "orkalin: --frames wants a number of at least 1\n");
                return kExitUsage;
            }
            options.frames = n;
        } else if (arg == "--size") {
            const char* text = value();
            if (!text || std::sscanf(text, "%dx%d", &options.width, &options.height) != 2 || options.width < 64 ||
                options.height < 64 || options.width > 8192 || options.height > 8192) {
                std::fprintf(stderr, "orkalin: --size wants WxH, each 64 to 8192\n");
                return kExitUsage;
            }
        } else {
            std::fprintf(stderr, "orkalin: unknown option '%s' (see --help)\n", arg.c_str());
            return kExitUsage;
        }
    }
    if (options.world.empty() || options.world.find('/') != std::string::npos || options.world[0] == '.') {
        std::fprintf(stderr, "orkalin: --world wants a plain folder name\n");
        return kExitUsage;
    }
    if (connectGiven && !ParseAddress(options.connect, options.connectHost, options.connectPort)) {
        std::fprintf(stderr, "orkalin: --connect wants HOST or HOST:PORT (a port from 1 to 65535)\n");
        return kExitUsage;
    }
    if (!options.screenshot.empty()) {
        options.play = true;
        if (options.frames < 0)
            options.frames = 120;
    }
    return -1;
}

// What the loops share besides Game's statics.
struct Client {
    Options options;
    WorldSession session{"orkalin"};
    client::ClientRenderer* renderer = nullptr;
    client::FrameStats stats;

    std::atomic<bool> playRequested{false}; // PLAY was pressed: the server loop loads the world
    std::atomic<bool> playing{false};       // the world is loaded and ticking (or the server joined)
    std::atomic<bool> backToMenu{false};    // the joined server was lost: the rendering loop shows the menu
    std::atomic<int> exitCode{kExitOk};

    // The web view's threads, made by the main loop when a module first asks for a view.
    std::unique_ptr<game::WebviewThreads> webview;

    std::mutex frameMutex;
    std::condition_variable frameDone;
    uint64_t framesRendered = 0; // under frameMutex
};

void Fail(Client& c, int code) {
    int expected = kExitOk;
    c.exitCode.compare_exchange_strong(expected, code);
    Game::Quit();
}

bool OnPath(const char* program) {
    const char* path = std::getenv("PATH");
    std::string folders = path ? path : "";
    for (size_t begin = 0; begin <= folders.size();) {
        size_t end = folders.find(':', begin);
        if (end == std::string::npos)
            end = folders.size();
        const std::string folder = end > begin ? folders.substr(begin, end - begin) : ".";
        if (access((folder + "/" + program).c_str(), X_OK) == 0)
            return true;
        begin = end + 1;
    }
    return false;
}

// Starts the browser process of the build tree (the client runs from there) and the web view's threads;
// with a piece missing, says so and lets the game go on without a browser.
void StartWebview(Client& c) {
    const std::filesystem::path script = ORKALIN_WEBVIEW_SCRIPT;
    const char* missing = !OnPath("node")                                 ? "node"
                          : !std::filesystem::exists("/usr/bin/chromium") ? "/usr/bin/chromium"
                          : !std::filesystem::exists(script.parent_path() / "node_modules" / "playwright-core")
                              ? "the npm packages of tools/webview"
                              : nullptr;
    if (missing) {
        std::fprintf(stderr,
                     "orkalin: a module asked for a web view, but %s is missing, so the game goes on "
                     "without one (./run installs it)\n",
                     missing);
        return;
    }
    try {
        std::filesystem::create_directories("../Orkalin-data");
        c.webview = std::make_unique<game::WebviewThreads>(
            Game::electronWebview, "webview", "node '" + script.string() + "' --pipe ../Orkalin-data/webview");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orkalin: the web view could not start (%s), so the game goes on without one\n",
                     error.what());
        return;
    }
    std::printf("orkalin: a module asked for a web view: the browser process starts\n");
    std::fflush(stdout);
}

// ---- the main loop
void MainLoop(Client& c) {
    uint64_t seen = 0;
    bool webviewLooked = false;
    try {
        while (Game::isActive.load()) {
            {
                std::unique_lock lock(c.frameMutex);
                c.frameDone.wait_for(lock, std::chrono::milliseconds(33), [&] { return c.framesRendered != seen; });
                seen = c.framesRendered;
            }
            if (!Game::isActive.load())
                break;
            const bool measuring = c.stats.measuring.load();
            const double cpu = measuring ? client::ThreadCpuSeconds() : 0.0;
            const uint64_t allocations = client::ThreadAllocations();
            Game::gameFramerate.BeginWork();
            Game::Update(0.0);
            Game::ClientUpdate();
            if (!webviewLooked && Game::electronWebview.ViewAsked()) {
                webviewLooked = true;
                StartWebview(c);
            }
            Game::gameFramerate.Tick();
            if (measuring) {
                c.stats.mainCpuNanoseconds += static_cast<uint64_t>(1e9 * (client::ThreadCpuSeconds() - cpu));
                c.stats.mainAllocations += client::ThreadAllocations() - allocations;
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orkalin: the main loop failed: %s\n", error.what());
        Fail(c, kExitRunFailed);
    }
}

// ---- the input loop
void InputLoop(Client& c) {
    const auto period = std::chrono::microseconds(1000000 / 120);
    Clock::time_point next = Clock::now(), escapeSince{};
    bool escapeDown = false, panelsTookCursor = false;
    try {
        while (Game::isActive.load()) {
            const double cpu = client::ThreadCpuSeconds();
            Game::inputFramerate.BeginWork();
            const double deltaTime = 1.0 / 120.0;
            Game::InputUpdate(deltaTime);
            if (Game::_inputMode == Game::InputMode_Play)
                Game::InputUpdate_Play(deltaTime);
            else if (Game::_inputMode == Game::InputMode_Station)
                Game::InputUpdate_Station(deltaTime);
            game::graphics::ui::Panels::InputUpdate();
            if (Game::window && c.renderer->MenuVisible()) {
                double x = 0.0, y = 0.0;
                Game::window->GetCursorPos(&x, &y);
                c.renderer->FeedMenuMouse(glm::ivec2(static_cast<int>(x), static_cast<int>(y)),
                                          glm::ivec2(Game::window->width.load(), Game::window->height.load()),
                                          Game::window->GetMouseButton(0));
            }

            // Panels want the cursor; the world gets it back when they close.
            const bool panels = game::graphics::ui::Panels::AnyOpen();
            if (c.playing.load()) {
                if (panels && Game::_inputMode == Game::InputMode_Play) {
                    Game::SetInputMode_Ui();
                    panelsTookCursor = true;
                } else if (!panels && panelsTookCursor) {
                    Game::SetInputMode_Play();
                    panelsTookCursor = false;
                }
            }

            const bool escape = Game::window && Game::window->GetKey(kKeyEscape);
            if (escape && !escapeDown) {
                escapeSince = Clock::now();
                game::graphics::ui::Panels::CloseAll();
            }
            if (escape && Clock::now() - escapeSince >= std::chrono::seconds(2)) {
                std::printf("orkalin: ESCAPE held, quitting\n");
                std::fflush(stdout);
                Game::Quit();
            }
            escapeDown = escape;
            Game::inputFramerate.Tick();
            if (c.stats.measuring.load())
                c.stats.inputCpuNanoseconds += static_cast<uint64_t>(1e9 * (client::ThreadCpuSeconds() - cpu));
            next += period;
            if (Clock::now() - next > std::chrono::milliseconds(250))
                next = Clock::now();
            std::this_thread::sleep_until(next);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orkalin: the input loop failed: %s\n", error.what());
        Fail(c, kExitRunFailed);
    }
}

// ---- joining a server (--connect): the server loop's place. The Net GAME_Mod module does the talking on
// the main loop; this thread asks it to join when PLAY is pressed and watches for the server going away.
net::ClientLink* FindClientLink() {
    GAME_Mod::Ptr module = GAME_Mod::GetModule("Net");
    if (!module || !module->ModuleGetCustomPtr)
        return nullptr;
    return reinterpret_cast<net::GetClientLinkHook>(module->ModuleGetCustomPtr)();
}

// The modules of a client that joins: those that draw the server's entities, and the network's.
void AddJoiningModules(std::vector<std::string>& modules) {
    if (std::find(modules.begin(), modules.end(), "Net") == modules.end())
        modules.push_back("Net");
}

void ReportJoin(Client& c) {
    if (net::ClientLink* link = FindClientLink())
        std::printf("Net: left %s with %zu entities\n", c.options.connect.c_str(), link->EntityCount());
    std::fflush(stdout);
}

void JoinLoop(Client& c) {
    net::ClientLink* link = FindClientLink();
    if (!link) {
        std::fprintf(stderr, "orkalin: --connect needs the Net module (modules/Net/Net.GAME_Mod.so)\n");
        Fail(c, kExitModule);
        return;
    }
    const auto waitWhile = [](auto condition) {
        while (Game::isActive.load() && condition())
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    };
    while (Game::isActive.load()) {
        waitWhile([&] { return !c.playRequested.load(); });
        if (!Game::isActive.load())
            return;
        link->Join(c.options.connectHost.c_str(), c.options.connectPort);
        waitWhile([&] { return link->State() == net::LinkState::Joining; });
        const bool joined = link->State() == net::LinkState::Joined;
        if (joined) {
            c.playing = true;
            waitWhile([&] { return link->State() == net::LinkState::Joined; });
        }
        if (!Game::isActive.load())
            return;
        c.playing = false;
        c.playRequested = false;
        const std::string what = "the server at " + c.options.connect + (joined ? " was lost" : " did not answer");
        if (!c.options.screenshot.empty()) {
            std::fprintf(stderr, "orkalin: %s\n", what.c_str());
            Fail(c, kExitRunFailed);
            return;
        }
        std::printf("orkalin: %s; back to the main menu\n", what.c_str());
        std::fflush(stdout);
        c.backToMenu = true;
    }
}

// ---- the server loop
void ServerLoop(Client& c) {
    if (!c.options.connect.empty()) {
        JoinLoop(c);
        return;
    }
    while (Game::isActive.load() && !c.playRequested.load())
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (!Game::isActive.load())
        return;
    if (const int code = c.session.LoadEntities(); code != kExitOk) {
        Fail(c, code);
        return;
    }
    std::printf("orkalin: world '%s' (%s) playing\n", c.session.world.c_str(), c.session.existed ? "saved" : "new");
    std::fflush(stdout);
    c.playing = true;
    const double deltaTime = c.session.DeltaTime();
    const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(deltaTime));
    Clock::time_point next = Clock::now();
    try {
        while (Game::isActive.load()) {
            const double cpu = client::ThreadCpuSeconds();
            const uint64_t allocations = client::ThreadAllocations();
            Game::serverFramerate.BeginWork();
            Game::ServerUpdate(deltaTime, c.session.file.substeps);
            Game::serverFramerate.Tick();
            c.session.Advance();
            if (c.stats.measuring.load()) {
                c.stats.serverCpuNanoseconds += static_cast<uint64_t>(1e9 * (client::ThreadCpuSeconds() - cpu));
                c.stats.serverAllocations += client::ThreadAllocations() - allocations;
                ++c.stats.serverTicks;
            }
            next += period;
            if (Clock::now() - next > std::chrono::milliseconds(250))
                next = Clock::now(); // far behind: don't catch up in a burst
            std::this_thread::sleep_until(next);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orkalin: tick %llu failed: %s; the world is not saved\n",
                     static_cast<unsigned long long>(c.session.file.ticks + 1), error.what());
        c.playing = false;
        Fail(c, kExitRunFailed);
    }
}

// ---- the rendering loop, on the process's main thread
void RenderLoop(Client& c, vesmo::graphics::GlfwWindow* glfwWindow) {
    uint64_t menuFrames = 0, playFrames = 0;
    Clock::time_point measureStart{}, lastReport = Clock::now();
    uint64_t reportFrames = 0;
    while (Game::isActive.load()) {
        if (g_stopRequested.load()) {
            std::printf("orkalin: stop requested, quitting\n");
            Game::Quit();
            break;
        }
        if (glfwWindow) {
            vesmo::graphics::GlfwWindow::PollEvents();
            if (glfwWindow->ShouldClose()) {
                Game::Quit();
                break;
            }
        }
        const Clock::time_point begin = Clock::now();
        const bool measuring = c.stats.measuring.load();
        const double cpu = measuring ? client::ThreadCpuSeconds() : 0.0;
        const uint64_t allocations = client::ThreadAllocations();
        Game::mainRenderingFramerate.BeginWork();
        c.renderer->Frame();
        Game::mainRenderingFramerate.Tick();
        if (measuring) {
            c.stats.renderCpu += client::ThreadCpuSeconds() - cpu;
            c.stats.renderAllocations += client::ThreadAllocations() - allocations;
            c.stats.wallSeconds = std::chrono::duration<double>(Clock::now() - measureStart).count();
            ++c.stats.frames;
        }
        {
            std::lock_guard lock(c.frameMutex);
            ++c.framesRendered;
        }
        c.frameDone.notify_one();

        if (c.backToMenu.exchange(false)) {
            Game::SetInputMode_Ui();
            c.renderer->SetMenuVisible(true);
        }
        // The menu's PLAY (or --play, which presses it once the menu has been on screen).
        if (c.renderer->MenuVisible()) {
            ++menuFrames;
            if (c.options.play && menuFrames == 3)
                c.renderer->PressPlay();
            if (Game::_inputMode != Game::InputMode_Ui) {
                c.renderer->SetMenuVisible(false);
                c.playRequested = true;
            }
        }
        if (c.playing.load()) {
            ++playFrames;
            ++reportFrames;
            // The first frames of the world build its meshes: measure from the tenth on.
            if (c.options.stats && playFrames == 10) {
                measureStart = Clock::now();
                c.stats.processCpuStart = client::ProcessCpuSeconds();
                c.stats.measuring = true;
            }
            const auto sinceReport = begin - lastReport;
            if (playFrames % 120 == 0 || sinceReport >= std::chrono::seconds(10)) {
                const double span = std::chrono::duration<double>(Clock::now() - lastReport).count();
                std::printf("orkalin: %s '%s', frame %llu of play, %.1f frames per second\n",
                            c.options.connect.empty() ? "world" : "server",
                            c.options.connect.empty() ? c.session.world.c_str() : c.options.connect.c_str(),
                            static_cast<unsigned long long>(playFrames), static_cast<double>(reportFrames) / span);
                std::fflush(stdout);
                lastReport = Clock::now();
                reportFrames = 0;
            }
            if (c.options.frames > 0 && static_cast<long long>(playFrames) >= c.options.frames) {
                if (!c.options.screenshot.empty()) {
                    if (c.renderer->TakeScreenshot(c.options.screenshot))
                        std::printf("orkalin: screenshot in %s\n",
                                    std::filesystem::absolute(c.options.screenshot).lexically_normal().c_str());
                    else {
                        std::fprintf(stderr, "orkalin: could not write %s\n", c.options.screenshot.c_str());
                        Fail(c, kExitRunFailed);
                    }
                }
                Game::Quit();
            }
        }
        const int limit = Game::settings->framerate_limit_main_rendering;
        if (limit > 0)
            std::this_thread::sleep_until(begin + std::chrono::microseconds(1000000 / limit));
    }
    if (c.stats.measuring.exchange(false))
        c.stats.processCpu = client::ProcessCpuSeconds() - c.stats.processCpuStart;
}

// Loads one module of `family` per name where its file exists; names without one are skipped quietly.
template <class Family> void LoadOptionalModules(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        const std::string path = "modules/" + name + "/" + name + "." + Family::Family + ".so";
        if (!std::filesystem::exists(path))
            continue;
        if (!Family::LoadModule(name, true))
            throw std::runtime_error("module '" + name + "' (" + path + ") failed to load");
    }
}

void SortGameModules() {
    for (const char* list : {"update", "render", "post", "overlay", "ui"})
        GAME_Mod::SortModules(list, [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) {
            auto rank = [](const GAME_Mod::Ptr& m) {
                return m->ModuleSort ? reinterpret_cast<game::modular::ModuleSortHook>(m->ModuleSort)() : 0;
            };
            const int ra = rank(a), rb = rank(b);
            return ra != rb ? ra < rb : a->name < b->name;
        });
}

bool HasDisplay() {
    const char* x = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x && *x) || (wayland && *wayland);
}

} // namespace

int main(int argc, char** argv) {
    Client c;
    if (const int code = ParseArguments(argc, argv, c.options); code >= 0)
        return code;
    Options& options = c.options;
    if (!options.gameDir.empty()) {
        std::error_code error;
        std::filesystem::current_path(options.gameDir, error);
        if (error) {
            std::fprintf(stderr, "orkalin: cannot enter the run directory %s: %s\n", options.gameDir.c_str(),
                         error.message().c_str());
            return kExitUsage;
        }
    }
    struct sigaction action {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    // ---- the window: a desktop one, or none (offscreen) when asked or when there is no display
    std::unique_ptr<vesmo::graphics::Window> window;
    vesmo::graphics::GlfwWindow* glfwWindow = nullptr;
    bool offscreen = options.offscreen || !HasDisplay();
    if (!offscreen) {
        try {
            auto desktop = std::make_unique<vesmo::graphics::GlfwWindow>(options.width, options.height, "Orkalin");
            glfwWindow = desktop.get();
            window = std::move(desktop);
        } catch (const std::exception& error) {
            if (options.screenshot.empty()) {
                std::fprintf(stderr, "orkalin: %s (--offscreen renders without one)\n", error.what());
                return kExitNoDevice;
            }
            offscreen = true;
        }
    }
    if (offscreen)
        window = std::make_unique<vesmo::graphics::HeadlessWindow>(options.width, options.height);

    // ---- sound and settings
    std::filesystem::create_directories(std::filesystem::path(options.settings).parent_path().empty()
                                            ? std::filesystem::path(".")
                                            : std::filesystem::path(options.settings).parent_path());
    auto audio = std::make_unique<vesmo::audio::Studio>(
        options.silent || offscreen ? vesmo::audio::Studio::Output::Silent : vesmo::audio::Studio::Output::Device);
    Game::settings = std::make_unique<game::GameSettings>(options.settings, std::nullopt);

    // ---- ImGui and the renderer
    ImGui::CreateContext();
    ImGui::GetIO().IniFilename = nullptr; // panels are placed by the code, not by a file in the run directory
    Game::LoadFonts();
    if (ImGui::GetIO().Fonts->Fonts.empty()) {
        // The panels scale fonts by half: the built-in font is taken at twice its size to stay readable.
        ImFontConfig config;
        config.SizePixels = 26.0f;
        ImGui::GetIO().Fonts->AddFontDefault(&config);
    }
    uint32_t flags = vesmo::graphics::VulkanRenderer::DEVICE;
    if (options.validation)
        flags |= vesmo::graphics::VulkanRenderer::VALIDATION;
    if (offscreen)
        flags |= vesmo::graphics::VulkanRenderer::OFFSCREEN;
    std::unique_ptr<client::ClientRenderer> renderer;
    try {
        renderer = std::make_unique<client::ClientRenderer>(window.get(), flags);
    } catch (const vesmo::vk::NoDeviceError& error) {
        std::fprintf(stderr, "orkalin: %s\n", error.what());
        ImGui::DestroyContext();
        return kExitNoDevice;
    }
    renderer->EnableImGui();
    renderer->resetUiStyle = true;
    renderer->traceUi = options.traceUi;
    renderer->stats = &c.stats;
    renderer->clearColor = {0.45f, 0.62f, 0.85f, 1.0f};
    game::graphics::ui::Panels::traceUi = options.traceUi;
    c.renderer = renderer.get();

    Game::window = window.get();
    Game::renderer = renderer.get();
    renderer->InitMenu();
    Game::audio = audio.get();
    Game::_is_server = options.connect.empty(); // a joining client has no world of its own
    Game::_mode = 0;

    // ---- modules: the world's SERVER_Mod ones, and the GAME_Init and GAME_Mod parts of the same names
    std::vector<std::string> modules = options.modules.empty() ? std::vector<std::string>{"Planet"} : options.modules;
    if (!options.connect.empty())
        AddJoiningModules(modules);
    else if (const int code = c.session.ReadFile(options.world, true, modules); code != kExitOk)
        return code;
    if (!options.modules.empty() || !c.session.existed)
        c.session.file.modules = modules;
    try {
        LoadOptionalModules<GAME_Init>(c.session.file.modules);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orkalin: %s\n", error.what());
        return kExitModule;
    }
    if (const int code = options.connect.empty() ? c.session.LoadModules() : kExitOk; code != kExitOk)
        return code;
    try {
        LoadOptionalModules<GAME_Mod>(c.session.file.modules);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orkalin: %s\n", error.what());
        c.session.Abandon();
        return kExitModule;
    }
    SortGameModules();
    std::printf("orkalin: %s %ux%u on %s; %s '%s', modules:", offscreen ? "offscreen" : "window",
                renderer->GetOutputImageExtent().width, renderer->GetOutputImageExtent().height,
                renderer->GetDevice() ? renderer->GetDevice()->Physical().Name().c_str() : "no device",
                options.connect.empty() ? "world" : "server",
                options.connect.empty() ? c.session.world.c_str() : options.connect.c_str());
    for (const std::string& name : c.session.file.modules)
        std::printf(" %s", name.c_str());
    std::printf("\n");
    std::fflush(stdout);

    // ---- one game run
    Game::Start();
    Game::isActive = true;
    Game::Ready();
    std::thread mainLoop(MainLoop, std::ref(c));
    std::thread inputLoop(InputLoop, std::ref(c));
    std::thread serverLoop(ServerLoop, std::ref(c));
    try {
        RenderLoop(c, glfwWindow);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orkalin: a frame failed: %s\n", error.what());
        Fail(c, kExitRunFailed);
    }
    Game::Quit();
    c.frameDone.notify_all();
    mainLoop.join();
    inputLoop.join();
    serverLoop.join();
    if (!options.connect.empty())
        ReportJoin(c);
    // The browser thread waits for the game's end (Quit, above); the read thread may be handing an image to
    // a texture of a module's, which Game::Stop and the unloading below let go. The views' callbacks go
    // too, started or not: one may hold the last weak reference to a module's texture, and dropping that
    // runs code of the module's, which must still be loaded.
    if (c.webview) {
        c.webview->Stop();
        c.webview.reset();
    }
    Game::electronWebview.ClearCallbacks();
    Game::Stop();

    int exitCode = c.exitCode.load();
    if (options.stats)
        std::printf(
            "%s",
            c.stats.Report(renderer->GetOutputImageExtent().width, renderer->GetOutputImageExtent().height).c_str());
    if (options.validation)
        std::printf("orkalin: %u validation messages\n", renderer->ValidationMessageCount());

    // ---- the world: saved when it played and nothing failed
    if (c.playing.load() && exitCode == kExitOk && options.connect.empty()) {
        if (!c.session.Save())
            exitCode = kExitRunFailed;
    } else if (exitCode != kExitOk) {
        c.session.Abandon();
    }
    c.session.UnloadModules();
    GAME_Mod::UnloadModules();
    GAME_Init::UnloadModules();

    Game::renderer = nullptr;
    renderer.reset();
    ImGui::DestroyContext();
    Game::window = nullptr;
    window.reset();
    Game::audio = nullptr;
    audio.reset();
    Game::settings.reset();
    std::fflush(stdout);
    return exitCode;
}
