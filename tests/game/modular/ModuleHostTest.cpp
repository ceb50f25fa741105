// The module host against real shared objects built by the test tree (see tests/CMakeLists.txt).

#include "game/modular/Families.hpp"
#include "game/modular/ServerHooks.hpp"

#include "HookLog.hpp"
#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

using namespace game::modular;

namespace {

class ModuleHost : public ::testing::Test {
protected:
    static void SetUpTestSuite() { std::filesystem::current_path(TEST_MODULE_ROOT); }

    void SetUp() override { hooklog::Clear(); }

    void TearDown() override {
        GAME_Mod::ModulesSetLoadCallback([](GAME_Mod::Ptr) {});
        GAME_Mod::ModulesSetUnloadCallback([](GAME_Mod::Ptr) {});
        GAME_Mod::ModulesSetLoadErrorCallback([](const char* text) { std::cerr << text << std::endl; });
        GAME_Mod::UnloadModules();
        SERVER_Mod::UnloadModules();
        ORKALIN_Mod::UnloadModules();
        GAME_Init::UnloadModules();
    }

    static std::vector<std::string> Walk(const char* list) {
        std::vector<std::string> names;
        GAME_Mod::ForEachSortedModule(list, [&](GAME_Mod::Ptr& module) { names.push_back(module->name); });
        return names;
    }

    static bool IsMapped(const std::string& path) {
        void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
        if (handle)
            dlclose(handle);
        return handle != nullptr;
    }

    static void SortByName(const char* list) {
        GAME_Mod::SortModules(list, [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
    }
};

} // namespace

TEST_F(ModuleHost, LoadsOnceAndFillsTheRecord) {
    int callbacks = 0;
    GAME_Mod::ModulesSetLoadCallback([&](GAME_Mod::Ptr module) {
        ++callbacks;
        EXPECT_EQ(module->name, "ACME_rocket");
    });
    GAME_Mod::Ptr first = GAME_Mod::LoadModule("ACME_rocket", true);
    ASSERT_TRUE(first);
    GAME_Mod::Ptr second = GAME_Mod::LoadModule("ACME_rocket", true);
    EXPECT_EQ(first, second);
    EXPECT_EQ(callbacks, 1);
    EXPECT_EQ(hooklog::CountOf("ACME_rocket.GAME_Mod:ModuleLoad"), 1u);
    EXPECT_EQ(first->id, vesmo::modular::ModuleID("ACME_rocket"));
    EXPECT_EQ(first->path, "modules/ACME_rocket/ACME_rocket.GAME_Mod.so");
    EXPECT_NE(first->fileTime, 0.0);
    EXPECT_NE(first->handle, nullptr);
    EXPECT_EQ(first->loadError, nullptr);
    EXPECT_EQ(GAME_Mod::GetModule("ACME_rocket"), first);
    EXPECT_EQ(GAME_Mod::Count(), 1u);
    // The same name in another family is another record.
    EXPECT_FALSE(SERVER_Mod::GetModule("ACME_rocket"));
}

TEST_F(ModuleHost, MissingHooksStayNull) {
    GAME_Mod::Ptr partial = GAME_Mod::LoadModule("Partial", true);
    GAME_Mod::Ptr bare = GAME_Mod::LoadModule("Bare", true);
    ASSERT_TRUE(partial);
    ASSERT_TRUE(bare); // a file that opens is a module, even with no symbol at all
    EXPECT_NE(partial->Game_Start, nullptr);
    EXPECT_NE(partial->Game_Update, nullptr);
    EXPECT_EQ(partial->Game_Stop, nullptr);
    EXPECT_EQ(partial->Renderer_FrameInit, nullptr);
    EXPECT_EQ(partial->ModuleSort, nullptr);
    EXPECT_EQ(bare->ModuleLoad, nullptr);
    EXPECT_EQ(bare->ModuleUnload, nullptr);
    EXPECT_EQ(bare->Game_Start, nullptr);
    EXPECT_EQ(GAME_Mod::Count(), 2u);

    GAME_Mod::Ptr alpha = GAME_Mod::LoadModule("Alpha", true);
    EXPECT_NE(alpha->Renderer_FrameOverlayCommands, nullptr);
    alpha->Renderer_FrameOverlayCommands(nullptr);
    EXPECT_EQ(hooklog::CountOf("Alpha.GAME_Mod:Renderer_FrameOverlayCommands"), 1u);

    ORKALIN_Mod::Ptr mod = ORKALIN_Mod::LoadModule("Alpha", true);
    ASSERT_TRUE(mod);
    EXPECT_NE(mod->_ORKALIN_Mod_VERSION, nullptr);
    EXPECT_EQ(*static_cast<int*>(mod->_ORKALIN_Mod_VERSION), 1);
    SERVER_Mod::Ptr server = SERVER_Mod::LoadModule("Partial", true);
    EXPECT_NE(server->Server_BeforeUpdate, nullptr);
    EXPECT_EQ(server->Server_GameUpdate, nullptr);
    // The common hooks are found in every family: the rank a server sorts its modules by.
    SERVER_Mod::Ptr ranked = SERVER_Mod::LoadModule("Alpha", true);
    ASSERT_NE(ranked->ModuleSort, nullptr);
    EXPECT_EQ(reinterpret_cast<ModuleSortHook>(ranked->ModuleSort)(), 7);
    GAME_Init::Ptr init = GAME_Init::LoadModule("Alpha", true);
    EXPECT_NE(init->SplashBegin, nullptr);
    EXPECT_EQ(init->SplashEnd, nullptr);
}

TEST_F(ModuleHost, FailedLoadReportsAndStoresNothing) {
    std::vector<std::string> errors;
    GAME_Mod::ModulesSetLoadErrorCallback([&](const char* text) { errors.emplace_back(text); });
    EXPECT_FALSE(GAME_Mod::LoadModule("Missing", false));
    EXPECT_TRUE(errors.empty());
    EXPECT_FALSE(GAME_Mod::LoadModule("Missing", true));
    ASSERT_EQ(errors.size(), 1u);
    const std::string prefix = "Module 'modules/Missing/Missing.GAME_Mod' failed to load with error: ";
    EXPECT_EQ(errors[0].substr(0, prefix.size()), prefix);
    EXPECT_GT(errors[0].size(), prefix.size()); // dlerror's text follows
    EXPECT_EQ(GAME_Mod::Count(), 0u);
    EXPECT_FALSE(GAME_Mod::GetModule("Missing"));

    // The default callback writes the text to the error stream.
    GAME_Mod::ModulesSetLoadErrorCallback([](const char* text) { std::cerr << text << std::endl; });
    EXPECT_EQ(testing_support::StderrOf([] { GAME_Mod::LoadModule("Missing", true); }).substr(0, prefix.size()),
              prefix);
}

TEST_F(ModuleHost, LoadModuleLibTakesAnyPathAndKey) {
    const std::string path = std::string(TEST_MODULE_ROOT) + "/modules/Alpha/Alpha.GAME_Mod";
    GAME_Mod::Ptr module = GAME_Mod::LoadModuleLib<GAME_Mod>("Other", "Custom", true, path);
    ASSERT_TRUE(module);
    EXPECT_EQ(module->path, path + ".so");
    EXPECT_EQ(GAME_Mod::_loadedModules.count("Other.Custom"), 1u);
    EXPECT_FALSE(GAME_Mod::GetModule("Other")); // GetModule looks under the family's own key
    EXPECT_EQ(GAME_Mod::LoadModuleLib<GAME_Mod>("Other", "Custom", true, "nowhere"), module);
}

TEST_F(ModuleHost, UnloadModuleCallsBackAndLeavesEveryList) {
    std::vector<std::string> unloaded;
    GAME_Mod::ModulesSetUnloadCallback([&](GAME_Mod::Ptr module) {
        unloaded.push_back(module->name);
        // Still registered while the callback runs, and the registry is locked exclusively.
        EXPECT_FALSE(GAME_Mod::_mutexForLoadedModules.try_lock_shared());
    });
    for (const char* name : {"Alpha", "Beta", "Partial"})
        GAME_Mod::LoadModule(name, true);
    SortByName("update");
    SortByName("render");
    GAME_Mod::UnloadModule("Nobody");
    EXPECT_TRUE(unloaded.empty());

    GAME_Mod::UnloadModule("Beta");
    EXPECT_EQ(unloaded, std::vector<std::string>{"Beta"});
    EXPECT_EQ(hooklog::CountOf("Beta.GAME_Mod:ModuleUnload"), 1u);
    EXPECT_FALSE(GAME_Mod::GetModule("Beta"));
    EXPECT_EQ(Walk("update"), (std::vector<std::string>{"Alpha", "Partial"}));
    EXPECT_EQ(Walk("render"), (std::vector<std::string>{"Alpha", "Partial"}));
    EXPECT_FALSE(IsMapped("modules/Beta/Beta.GAME_Mod.so"));
}

TEST_F(ModuleHost, UnloadModulesEmptiesEverythingWithoutCallbacks) {
    int callbacks = 0;
    GAME_Mod::ModulesSetUnloadCallback([&](GAME_Mod::Ptr) { ++callbacks; });
    GAME_Mod::LoadModule("Alpha", true);
    GAME_Mod::LoadModule("Beta", true);
    SortByName("update");
    GAME_Mod::UnloadModules();
    EXPECT_EQ(callbacks, 0);
    EXPECT_EQ(GAME_Mod::Count(), 0u);
    EXPECT_EQ(hooklog::CountOf("Alpha.GAME_Mod:ModuleUnload"), 1u);
    EXPECT_EQ(hooklog::CountOf("Beta.GAME_Mod:ModuleUnload"), 1u);
    EXPECT_TRUE(Walk("update").empty());
}

TEST_F(ModuleHost, SortedListsHoldWhatWasLoadedAtSortTime) {
    GAME_Mod::LoadModule("Beta", true);
    GAME_Mod::LoadModule("Alpha", true);
    EXPECT_TRUE(Walk("update").empty()); // never sorted: walks nothing
    GAME_Mod::SortModules("update", [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name > b->name; });
    GAME_Mod::LoadModule("Partial", true);
    EXPECT_EQ(Walk("update"), (std::vector<std::string>{"Beta", "Alpha"}));
    SortByName("update");
    EXPECT_EQ(Walk("update"), (std::vector<std::string>{"Alpha", "Beta", "Partial"}));
    EXPECT_TRUE(Walk("post").empty());

    size_t walked = 0;
    GAME_Mod::ForEachModule([&](GAME_Mod::Ptr&) { ++walked; });
    EXPECT_EQ(walked, 3u);
}

TEST_F(ModuleHost, HolderKeepsUnloadedLibraryMapped) {
    GAME_Mod::Ptr held = GAME_Mod::LoadModule("Alpha", true);
    std::atomic<bool> unloaded = false;
    std::thread holder([&, module = held] {
        while (!unloaded)
            std::this_thread::yield();
        module->Game_Update(0.5); // still callable: the library stays open
    });
    held.reset();
    GAME_Mod::UnloadModule("Alpha");
    unloaded = true;
    holder.join();
    EXPECT_EQ(hooklog::CountOf("Alpha.GAME_Mod:Game_Update"), 1u);
    EXPECT_EQ(hooklog::CountOf("Alpha.GAME_Mod:ModuleUnload"), 1u);
    EXPECT_FALSE(IsMapped("modules/Alpha/Alpha.GAME_Mod.so"));

    // The same, observed from here: the copy keeps the record and the mapping.
    GAME_Mod::Ptr again = GAME_Mod::LoadModule("Alpha", true);
    GAME_Mod::UnloadModule("Alpha");
    EXPECT_TRUE(IsMapped("modules/Alpha/Alpha.GAME_Mod.so"));
    EXPECT_EQ(hooklog::CountOf("Alpha.GAME_Mod:ModuleUnload"), 1u);
    again.reset();
    EXPECT_EQ(hooklog::CountOf("Alpha.GAME_Mod:ModuleUnload"), 2u);
    EXPECT_FALSE(IsMapped("modules/Alpha/Alpha.GAME_Mod.so"));
}

TEST_F(ModuleHost, LocksOfWalksLoadsAndGetLock) {
    GAME_Mod::ModulesSetLoadCallback(
        [](GAME_Mod::Ptr) { EXPECT_FALSE(GAME_Mod::_mutexForLoadedModules.try_lock_shared()); });
    GAME_Mod::LoadModule("Alpha", true);
    GAME_Mod::LoadModule("Beta", true);

    // A walk holds the shared side: other readers and nested walks pass, a writer doesn't.
    size_t nested = 0;
    GAME_Mod::ForEachModule([&](GAME_Mod::Ptr&) {
        EXPECT_FALSE(GAME_Mod::_mutexForLoadedModules.try_lock());
        GAME_Mod::ForEachModule([&](GAME_Mod::Ptr&) { ++nested; });
        EXPECT_EQ(GAME_Mod::Count(), 2u);
    });
    EXPECT_EQ(nested, 4u);

    // GetLock hands out the exclusive side: a reader on another thread waits for its release.
    std::atomic<bool> counted = false;
    std::thread reader;
    {
        auto lock = GAME_Mod::GetLock();
        EXPECT_TRUE(lock.owns_lock());
        reader = std::thread([&] {
            GAME_Mod::Count();
            counted = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(counted);
    }
    reader.join();
    EXPECT_TRUE(counted);
    // Other families have their own lock.
    auto serverLock = SERVER_Mod::GetLock();
    EXPECT_EQ(GAME_Mod::Count(), 2u);
}

TEST_F(ModuleHost, WalksRunConcurrentlyWithLoadsAndUnloads) {
    GAME_Mod::LoadModule("Alpha", true);
    GAME_Mod::LoadModule("Partial", true);
    std::atomic<bool> stop = false;
    std::atomic<long> calls = 0;
    std::vector<std::thread> walkers;
    for (int i = 0; i < 3; ++i)
        walkers.emplace_back([&] {
            while (!stop) {
                GAME_Mod::ForEachModule([&](GAME_Mod::Ptr& module) {
                    if (module->Game_Start) {
                        ++calls;
                        module->Game_Start();
                    }
                });
                // The engine's lock has no writer preference: readers that never pause starve the loader.
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
    for (int i = 0; i < 50; ++i) {
        GAME_Mod::LoadModule("Beta", true);
        SortByName("update");
        GAME_Mod::UnloadModule("Beta");
    }
    stop = true;
    for (auto& walker : walkers)
        walker.join();
    EXPECT_EQ(static_cast<size_t>(calls.load()), hooklog::Hooks().size() - 102);
    EXPECT_EQ(hooklog::CountOf("Beta.GAME_Mod:ModuleLoad"), 50u);
    EXPECT_EQ(hooklog::CountOf("Beta.GAME_Mod:ModuleUnload"), 50u);
    EXPECT_EQ(Walk("update"), (std::vector<std::string>{"Alpha", "Partial"}));
}

TEST_F(ModuleHost, EmptyCallbackThrowsAtNextUse) {
    GAME_Mod::ModulesSetLoadCallback(std::function<void(GAME_Mod::Ptr)>());
    EXPECT_THROW(GAME_Mod::LoadModule("Alpha", true), std::bad_function_call);
    GAME_Mod::ModulesSetLoadErrorCallback(std::function<void(const char*)>());
    EXPECT_THROW(GAME_Mod::LoadModule("Missing", true), std::bad_function_call);
    EXPECT_NO_THROW(GAME_Mod::LoadModule("Missing", false));
}
