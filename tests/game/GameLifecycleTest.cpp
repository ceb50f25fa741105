// Game's entry points, driven as a launcher drives them, against real test modules (see tests/CMakeLists.txt)
// on the engine without a device. Every case starts from a fresh launcher setup and ends with Stop.

#include "game/Game.hpp"

#include "game/audio/EnvironmentAudio.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/host/Options.hpp"
#include "game/modular/Families.hpp"

#include "vesmo/audio/Studio.hpp"
#include "vesmo/cpu/Profiler.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"

#include "HookLog.hpp"
#include "TestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/type_ptr.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

using game::modular::GAME_Mod;
using game::modular::ORKALIN_Mod;
using game::modular::SERVER_Mod;

namespace {

using Hooks = std::vector<std::string>;

// Position of the first and last entry of `hook` in `log`; asserts it is there.
size_t First(const Hooks& log, const std::string& hook) {
    auto found = std::find(log.begin(), log.end(), hook);
    EXPECT_NE(found, log.end()) << hook;
    return static_cast<size_t>(found - log.begin());
}
size_t Last(const Hooks& log, const std::string& hook) {
    auto found = std::find(log.rbegin(), log.rend(), hook);
    EXPECT_NE(found, log.rend()) << hook;
    return static_cast<size_t>(log.rend() - found) - 1;
}
bool Has(const Hooks& log, const std::string& hook) { return std::find(log.begin(), log.end(), hook) != log.end(); }

class GameLifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::current_path(TEST_MODULE_ROOT);
        Game::window = &window;
        Game::audio = &studio;
        Game::settings = std::make_unique<game::GameSettings>(folder.File("settings.conf"), 0);
        renderer = std::make_unique<game::graphics::GameRenderer>(&window, "test", 0);
        Game::renderer = renderer.get();
        Game::_mods = {"Alpha", "Missing", "Partial"};
        // "update" holds Alpha and Partial only: Beta and Bare are loaded after the sort.
        GAME_Mod::LoadModule("Alpha", true);
        GAME_Mod::LoadModule("Partial", true);
        GAME_Mod::SortModules("update", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
        GAME_Mod::LoadModule("Beta", true);
        GAME_Mod::LoadModule("Bare", true);
        SERVER_Mod::LoadModule("Alpha", true);
        SERVER_Mod::LoadModule("Partial", true);
        Game::isActive = true;
        hooklog::Clear();
    }

    void TearDown() override {
        if (started)
            Game::Stop();
        GAME_Mod::UnloadModules();
        SERVER_Mod::UnloadModules();
        ORKALIN_Mod::UnloadModules();
        Game::renderer = nullptr;
        Game::audio = nullptr;
        Game::window = nullptr;
        Game::settings.reset();
        Game::_mods.clear();
        Game::timeActive = true;
        Game::serverSideEntityPerformanceMetrics = false;
        game::Options::Clear();
    }

    void Start() {
        startOutput = testing_support::StdoutOf([] { Game::Start(); });
        started = true;
    }

    void Stop() {
        Game::Stop();
        started = false;
    }

    testing_support::TempDir folder;
    vesmo::graphics::HeadlessWindow window;
    vesmo::audio::Studio studio;
    std::unique_ptr<game::graphics::GameRenderer> renderer;
    std::string startOutput;
    bool started = false;
};

} // namespace

TEST_F(GameLifecycle, StartReachesGameModsThenRendererThenOrkalinMods) {
    Start();
    const Hooks log = hooklog::Hooks();
    // Game_Start of every GAME_Mod module that exports it, while the renderer isn't running yet.
    const size_t lastGameStart =
        std::max({Last(log, "Alpha.GAME_Mod:Game_Start"), Last(log, "Beta.GAME_Mod:Game_Start"),
                  Last(log, "Partial.GAME_Mod:Game_Start")});
    const size_t firstRenderer = std::min(First(log, "Alpha.GAME_Mod:Renderer_StartRendering"),
                                          First(log, "Beta.GAME_Mod:Renderer_StartRendering"));
    EXPECT_LT(lastGameStart, firstRenderer);
    // ORKALIN_Mod modules are loaded in the order of _mods, the missing one silently skipped, then Load.
    const size_t alphaLoaded = First(log, "Alpha.ORKALIN_Mod:ModuleLoad");
    const size_t partialLoaded = First(log, "Partial.ORKALIN_Mod:ModuleLoad");
    EXPECT_LT(firstRenderer, alphaLoaded);
    EXPECT_LT(alphaLoaded, partialLoaded);
    EXPECT_LT(partialLoaded, First(log, "Alpha.ORKALIN_Mod:Load"));
    EXPECT_LT(partialLoaded, First(log, "Partial.ORKALIN_Mod:Load"));
    EXPECT_EQ(ORKALIN_Mod::Count(), 2u);
    EXPECT_EQ(startOutput, "Shader compilation may take several minutes before starting the game the first time or "
                           "after an update...\n");
    EXPECT_TRUE(renderer->IsRendering());

    // The environment audio runs on Game::audio.
    ASSERT_NE(Game::environmentAudio, nullptr);
    EXPECT_EQ(studio.LoadedBanks(),
              (std::vector<std::string>{"game/audio/banks/Master.bank", "game/audio/banks/Master.strings.bank",
                                        "game/audio/banks/environment.bank"}));
    EXPECT_EQ(Game::environmentAudio->Path(), "event:/game/environment/planet surface");
    EXPECT_TRUE(Game::environmentAudio->IsPlaying());

    hooklog::Clear();
    EXPECT_EQ(testing_support::StdoutOf([] { Game::Ready(); }), "Starting game...\n");
    Hooks ready = hooklog::Hooks();
    std::sort(ready.begin(), ready.end());
    EXPECT_EQ(ready, (Hooks{"Alpha.GAME_Mod:Game_Ready", "Beta.GAME_Mod:Game_Ready"}));
}

TEST_F(GameLifecycle, UpdateWalksOnlyTheSortedListWithTheSmoothedFrameTime) {
    Start();
    hooklog::Clear();
    Game::mainRenderingFramerate.deltaTime = 0.04;
    Game::Update(0.1);
    const auto first = hooklog::Entries();
    ASSERT_EQ(first.size(), 2u);
    EXPECT_EQ(first[0].hook, "Alpha.GAME_Mod:Game_Update");
    EXPECT_EQ(first[1].hook, "Partial.GAME_Mod:Game_Update"); // Beta exports it but isn't in "update"
    EXPECT_EQ(first[0].value, first[1].value);

    // avg = 0.5 * frame delta + 0.5 * avg; the argument plays no part.
    hooklog::Clear();
    Game::mainRenderingFramerate.deltaTime = 0.01;
    Game::Update(1000.0);
    const double second = hooklog::Entries().at(0).value;
    EXPECT_DOUBLE_EQ(second, 0.5 * 0.01 + 0.5 * first[0].value);
    hooklog::Clear();
    Game::Update(0.1);
    EXPECT_DOUBLE_EQ(hooklog::Entries().at(0).value, 0.5 * 0.01 + 0.5 * second);

    // Converges on a steady frame time.
    for (int i = 0; i < 60; ++i)
        Game::Update(0.0);
    hooklog::Clear();
    Game::Update(0.0);
    EXPECT_NEAR(hooklog::Entries().at(0).value, 0.01, 1e-12);
}

TEST_F(GameLifecycle, UpdateSetsVolumeAndListenerFromTheRenderer) {
    Start();
    Game::settings->master_volume = 0.8f;
    renderer->inverseViewMatrix = glm::translate(glm::dmat4(1.0), glm::dvec3(10, 0, 0));
    glm::dmat4 local = glm::translate(glm::dmat4(1.0), glm::dvec3(0, 5, -1));
    local[1] = glm::dvec4(0, 3, 0, 0); // up, unnormalised
    local[2] = glm::dvec4(0, 0, 2, 0); // forward, unnormalised
    renderer->cameraLocalTransform = local;
    const uint64_t updates = studio.UpdateCount();
    Game::Update(0.0);
    EXPECT_FLOAT_EQ(studio.GetVolume("bus:/"), 0.4f);
    const auto listener = studio.GetListenerAttributes();
    EXPECT_EQ(glm::make_vec3(listener.position), glm::vec3(10.0f, 5.0f, -1.0f));
    EXPECT_EQ(glm::make_vec3(listener.velocity), glm::vec3(0.0f));
    EXPECT_FLOAT_EQ(listener.forward[2], 1.0f);
    EXPECT_FLOAT_EQ(listener.up[1], 1.0f);
    EXPECT_EQ(studio.UpdateCount(), updates + 1);
}

TEST_F(GameLifecycle, ServerUpdateWrapsEntitiesWithServerHooks) {
    vesmo::cpu::Profiler::SetCapturing(true); // the scopes are part of what is checked
    for (bool timed : {false, true}) {
        Game::serverSideEntityPerformanceMetrics = timed;
        hooklog::Clear();
        const auto before = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
        Game::timeOffset = 100.0;
        Game::ServerUpdate(0.25, 4);
        const Hooks log = hooklog::Hooks();
        ASSERT_EQ(log.size(), 3u) << "timed " << timed;
        // Every module's BeforeUpdate, then every module's GameUpdate (Partial exports only the first).
        EXPECT_EQ(log[2], "Alpha.SERVER_Mod:Server_GameUpdate");
        for (const auto& entry : hooklog::Entries())
            EXPECT_EQ(entry.value, 0.25);
        EXPECT_GE(Game::timestamp, before + 100.0);
        EXPECT_LT(Game::timestamp, before + 101.0);
        EXPECT_TRUE(Game::_serverSideEntityPerformance_timers.empty());
        EXPECT_TRUE(Game::serverSideEntityPerformance_avg_time.empty());
    }
    Game::timeActive = false;
    Game::timestamp = 42.0;
    Game::ServerUpdate(0.25, 4);
    EXPECT_EQ(Game::timestamp, 42.0);

    auto count = [](const std::string& name) {
        for (const auto& entry : vesmo::cpu::Profiler::Snapshot())
            if (entry.name == name)
                return entry.count;
        return uint64_t(0);
    };
    EXPECT_EQ(count("ServerUpdate"), 3u);
    EXPECT_EQ(count("ForEachModule::Server_BeforeUpdate"), 6u);
    EXPECT_EQ(count("ForEachModule::Server_AfterUpdate"), 6u);
    vesmo::cpu::Profiler::SetCapturing(false);
}

TEST_F(GameLifecycle, ClientAndInputHooksReachEveryModuleThatExportsThem) {
    Game::ClientUpdate();
    Game::InputUpdate(0.5);
    Game::InputUpdate_Play(0.25);
    Game::InputUpdate_Station(0.125);
    Hooks log = hooklog::Hooks();
    std::sort(log.begin(), log.end());
    EXPECT_EQ(log, (Hooks{"Alpha.GAME_Mod:Game_ClientUpdate", "Alpha.GAME_Mod:Input_Update",
                          "Alpha.GAME_Mod:Input_Update_Play", "Alpha.GAME_Mod:Input_Update_Station",
                          "Beta.GAME_Mod:Game_ClientUpdate", "Beta.GAME_Mod:Input_Update",
                          "Beta.GAME_Mod:Input_Update_Play", "Beta.GAME_Mod:Input_Update_Station"}));
    for (const auto& entry : hooklog::Entries())
        EXPECT_EQ(entry.value, entry.hook.ends_with("Input_Update") ? 0.5
                               : entry.hook.ends_with("Play")       ? 0.25
                               : entry.hook.ends_with("Station")    ? 0.125
                                                                    : entry.value)
            << entry.hook;
}

TEST_F(GameLifecycle, StopEndsTheRunAndStartRunsAgain) {
    Start();
    Game::uiVisible = false;
    Game::settingsWindowOpen = true;
    Game::adminWindowOpen = true;
    Game::environmentIsLoaded = true;
    Game::parentEnvironmentId = 5;
    Game::relativeEnvironmentId = 6;
    Game::_inputMode = Game::InputMode_Station;
    Game::_mouseLook = true;
    Game::_joysticks[3] = nullptr;
    std::string yaml = "a: 1\n";
    Game::config.Parse(yaml.data());
    window.SetInputMode(vesmo::graphics::Window::CURSOR, vesmo::graphics::Window::CURSOR_DISABLED);
    auto trashed = std::make_shared<int>(1);
    std::weak_ptr<int> watch = trashed;
    renderer->Trash(std::move(trashed));
    const std::weak_ptr<const vesmo::audio::Studio::EventState> event = studio.EventInstances().at(0);
    hooklog::Clear();

    Stop();
    const Hooks log = hooklog::Hooks();
    const size_t stopRendering = Last(log, "Alpha.GAME_Mod:Renderer_StopRendering");
    EXPECT_LT(Last(log, "Beta.GAME_Mod:Renderer_StopRendering"), First(log, "Alpha.ORKALIN_Mod:Unload"));
    EXPECT_LT(stopRendering, First(log, "Alpha.ORKALIN_Mod:Unload"));
    EXPECT_LT(First(log, "Alpha.ORKALIN_Mod:Unload"), First(log, "Alpha.ORKALIN_Mod:ModuleUnload"));
    EXPECT_LT(First(log, "Alpha.ORKALIN_Mod:Unload"), First(log, "Partial.ORKALIN_Mod:ModuleUnload"));
    EXPECT_LT(Last(log, "Partial.ORKALIN_Mod:ModuleUnload"), First(log, "Alpha.GAME_Mod:Game_Stop"));
    EXPECT_LT(Last(log, "Alpha.ORKALIN_Mod:ModuleUnload"), First(log, "Beta.GAME_Mod:Game_Stop"));
    EXPECT_FALSE(Has(log, "Alpha.GAME_Mod:ModuleUnload")); // GAME_Mod modules stay
    EXPECT_FALSE(Has(log, "Alpha.SERVER_Mod:ModuleUnload"));

    EXPECT_EQ(ORKALIN_Mod::Count(), 0u);
    EXPECT_EQ(GAME_Mod::Count(), 4u);
    EXPECT_FALSE(renderer->IsRendering());
    EXPECT_TRUE(watch.expired()); // Cleanup collected all the trash
    EXPECT_TRUE(renderer->trashNew.empty() && renderer->trashOld.empty());
    EXPECT_EQ(Game::environmentAudio, nullptr);
    EXPECT_TRUE(studio.EventInstances().empty());
    // The session's state is back at its start: UI shown, windows closed, no environment, Ui mode, no look.
    EXPECT_EQ(std::tuple(Game::uiVisible, Game::settingsWindowOpen, Game::adminWindowOpen, Game::environmentIsLoaded),
              std::tuple(true, false, false, false));
    EXPECT_EQ(std::tuple(Game::parentEnvironmentId, Game::relativeEnvironmentId, Game::_inputMode, Game::_mouseLook),
              std::tuple(0u, 0u, Game::InputMode_Ui, false));
    // Ui mode is forced without asking the window.
    EXPECT_EQ(window.GetInputMode(vesmo::graphics::Window::CURSOR), vesmo::graphics::Window::CURSOR_DISABLED);
    EXPECT_TRUE(Game::_joysticks.empty());
    EXPECT_TRUE(Game::config.Empty());

    // A second run in the same process.
    hooklog::Clear();
    Start();
    for (const char* hook : {"Alpha.ORKALIN_Mod:ModuleLoad", "Alpha.ORKALIN_Mod:Load", "Beta.GAME_Mod:Game_Start"})
        EXPECT_EQ(hooklog::CountOf(hook), 1u) << hook;
    EXPECT_NE(Game::environmentAudio, nullptr);
    EXPECT_TRUE(renderer->IsRendering());
    Game::Update(0.0);
    EXPECT_EQ(hooklog::CountOf("Alpha.GAME_Mod:Game_Update"), 1u);
}

TEST_F(GameLifecycle, FrameWalksHooksInModuleOrder) {
    renderer->Frame(); // not rendering yet: nothing
    EXPECT_TRUE(hooklog::Hooks().empty());
    Start();
    hooklog::Clear();
    renderer->Frame();
    Hooks alpha = hooklog::HooksWithPrefix("Alpha.GAME_Mod:");
    // All-module hooks reach Alpha and Beta; sorted hooks only the lists' members ("update": Alpha, Partial).
    EXPECT_EQ(alpha,
              (Hooks{"Alpha.GAME_Mod:Renderer_FrameCollectGarbage", "Alpha.GAME_Mod:Renderer_FrameInit",
                     "Alpha.GAME_Mod:Renderer_FrameBeforeUpdate", "Alpha.GAME_Mod:Renderer_FrameUpdate",
                     "Alpha.GAME_Mod:Renderer_FrameAfterUpdate", "Alpha.GAME_Mod:Renderer_FrameUpdateDescriptorSets",
                     "Alpha.GAME_Mod:Renderer_FramePushCommands", "Alpha.GAME_Mod:Renderer_FrameBuildCommands",
                     "Alpha.GAME_Mod:Renderer_FrameBeforePost"}));
    Hooks beta = hooklog::HooksWithPrefix("Beta.GAME_Mod:");
    EXPECT_EQ(beta,
              (Hooks{"Beta.GAME_Mod:Renderer_FrameCollectGarbage", "Beta.GAME_Mod:Renderer_FrameInit",
                     "Beta.GAME_Mod:Renderer_FrameUpdateDescriptorSets", "Beta.GAME_Mod:Renderer_FramePushCommands",
                     "Beta.GAME_Mod:Renderer_FrameBuildCommands", "Beta.GAME_Mod:Renderer_FrameBeforePost"}));

    // Once the launcher sorts the other lists, their hooks follow the lists' order.
    auto byNameDescending = [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name > b->name; };
    for (const char* list : {"render", "post", "overlay", "ui"})
        GAME_Mod::SortModules(list, byNameDescending);
    hooklog::Clear();
    renderer->Frame();
    const Hooks log = hooklog::Hooks();
    for (const char* hook : {"Renderer_FrameUpdateUi", "Renderer_FrameBeforeRender", "Renderer_FrameRenderCommands",
                             "Renderer_FrameAfterRender", "Renderer_FrameResolveCommands", "Renderer_FramePostCommands",
                             "Renderer_FrameBlitCommands", "Renderer_FrameOverlayCommands"}) {
        EXPECT_LT(First(log, std::string("Beta.GAME_Mod:") + hook), First(log, std::string("Alpha.GAME_Mod:") + hook))
            << hook;
    }
    EXPECT_EQ(renderer->FrameCount(), 2u);
}

TEST_F(GameLifecycle, TrashLivesThroughTwoCollections) {
    auto object = std::make_shared<int>(7);
    std::weak_ptr<int> watch = object;
    renderer->Trash(std::move(object));
    renderer->CollectTrash(); // the frame it was dropped in
    EXPECT_FALSE(watch.expired());
    renderer->CollectTrash();
    EXPECT_TRUE(watch.expired());

    // A holder elsewhere keeps the object regardless.
    auto held = std::make_shared<int>(8);
    renderer->Trash(held);
    renderer->CollectAllTrash();
    EXPECT_EQ(held.use_count(), 1);

    // Pushes from several threads at once, then one collection pass per frame.
    std::vector<std::thread> threads;
    std::vector<std::weak_ptr<int>> watches(400);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 100; ++i) {
                auto item = std::make_shared<int>(i);
                watches[static_cast<size_t>(t * 100 + i)] = item;
                renderer->Trash(std::move(item));
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(renderer->trashNew.size(), 400u);
    Start();
    renderer->Frame();
    EXPECT_EQ(renderer->trashOld.size(), 400u);
    renderer->Frame();
    EXPECT_TRUE(std::all_of(watches.begin(), watches.end(), [](auto& w) { return w.expired(); }));
}

TEST_F(GameLifecycle, SynchronizedWorkRunsOnTheUpdateThreadInOrder) {
    Start();
    constexpr int kThreads = 3;
    constexpr int kItems = 300;
    std::vector<std::vector<int>> seen(kThreads);
    const auto updateThread = std::this_thread::get_id();
    std::atomic<int> wrongThread = 0;
    std::atomic<int> producing = kThreads;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kItems; ++i)
                Game::Synchronize([&, t, i] {
                    if (std::this_thread::get_id() != updateThread)
                        ++wrongThread;
                    seen[static_cast<size_t>(t)].push_back(i);
                });
            --producing;
        });
    while (producing > 0)
        Game::Update(0.0); // drains whatever has arrived, between frames
    for (auto& thread : threads)
        thread.join();
    Game::Update(0.0);
    EXPECT_EQ(wrongThread.load(), 0);
    for (const auto& items : seen) {
        ASSERT_EQ(items.size(), static_cast<size_t>(kItems));
        EXPECT_TRUE(std::is_sorted(items.begin(), items.end()));
    }
    EXPECT_TRUE(Game::_syncQueue.empty());

    // An empty function throws out of Update; the work before it ran, and the queue stays as it was.
    int ran = 0;
    Game::Synchronize([&] { ++ran; });
    Game::Synchronize(std::function<void()>());
    EXPECT_THROW(Game::Update(0.0), std::bad_function_call);
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(Game::_syncQueue.size(), 2u);
    std::lock_guard guard(Game::_syncMutex); // released by the throw
    Game::_syncQueue.clear();
}
