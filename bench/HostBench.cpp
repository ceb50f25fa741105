// The module host's per-frame costs: a hook walk over 32 loaded modules (all modules, a sorted list, and the
// renderer's walks) against the floor of a plain loop over 32 function pointers; and a channel write to an
// existing key. Every result reports heap allocations per walk or call, counted exactly.

#include "AllocationCounter.hpp"

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/modular/Families.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

using game::modular::GAME_Mod;

namespace {

constexpr int kModules = 32;

// Loads M00..M31 once (short names: the walk's key copies stay within the short-string capacity) and sorts
// the lists the walks use.
void LoadModules() {
    static bool loaded = [] {
        std::filesystem::current_path(BENCH_MODULE_ROOT);
        char name[8];
        for (int i = 0; i < kModules; ++i) {
            std::snprintf(name, sizeof name, "M%02d", i);
            if (!GAME_Mod::LoadModule(name, true))
                std::abort();
        }
        for (const char* list : {"update", "render"})
            GAME_Mod::SortModules(list, [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
        return true;
    }();
    (void)loaded;
}

// Items are module visits. Allocations are counted over 10,000 walks outside the timed loop, where the
// benchmark framework allocates nothing of its own, so that the figure is exact.
template <class Walk> void Report(benchmark::State& state, Walk&& walk) {
    state.SetItemsProcessed(state.iterations() * kModules);
    constexpr int kWalks = 10000;
    AllocationCounter::Reset();
    for (int i = 0; i < kWalks; ++i)
        walk();
    state.counters["allocs/walk"] = AllocationCounter::Count() / kWalks;
}

} // namespace

// The floor: a null test and an indirect call per module, nothing else.
static void BM_HookFloor_PointerLoop(benchmark::State& state) {
    LoadModules();
    std::vector<void (*)(double)> hooks;
    GAME_Mod::ForEachModule([&](GAME_Mod::Ptr& module) { hooks.push_back(module->Game_Update); });
    auto walk = [&] {
        for (auto hook : hooks)
            if (hook)
                hook(0.016);
        benchmark::ClobberMemory();
    };
    for (auto _ : state)
        walk();
    Report(state, walk);
}
BENCHMARK(BM_HookFloor_PointerLoop);

static void BM_HookWalk_ForEachModule(benchmark::State& state) {
    LoadModules();
    double deltaTime = 0.016;
    auto walk = [&] {
        GAME_Mod::ForEachModule([&deltaTime](GAME_Mod::Ptr& module) {
            if (module->Game_Update)
                module->Game_Update(deltaTime);
        });
    };
    for (auto _ : state)
        walk();
    Report(state, walk);
}
BENCHMARK(BM_HookWalk_ForEachModule);

static void BM_HookWalk_ForEachSortedModule(benchmark::State& state) {
    LoadModules();
    double deltaTime = 0.016;
    auto walk = [&] {
        GAME_Mod::ForEachSortedModule("update", [&deltaTime](GAME_Mod::Ptr& module) {
            if (module->Game_Update)
                module->Game_Update(deltaTime);
        });
    };
    for (auto _ : state)
        walk();
    Report(state, walk);
}
BENCHMARK(BM_HookWalk_ForEachSortedModule);

// Game's own walk (ClientUpdate: every module) and two of the renderer's (sorted "update", and "render"
// with a command buffer).
static void BM_HookWalk_GameClientUpdate(benchmark::State& state) {
    LoadModules();
    for (auto _ : state)
        Game::ClientUpdate();
    Report(state, [] { Game::ClientUpdate(); });
}
BENCHMARK(BM_HookWalk_GameClientUpdate);

static void BM_HookWalk_RendererFrameUpdate(benchmark::State& state) {
    LoadModules();
    game::graphics::GameRenderer renderer(nullptr, "bench", 0);
    for (auto _ : state)
        renderer.FrameUpdate();
    Report(state, [&] { renderer.FrameUpdate(); });
}
BENCHMARK(BM_HookWalk_RendererFrameUpdate);

static void BM_HookWalk_RendererFrameRenderCommands(benchmark::State& state) {
    LoadModules();
    game::graphics::GameRenderer renderer(nullptr, "bench", 0);
    for (auto _ : state)
        renderer.FrameRenderCommands(nullptr);
    Report(state, [&] { renderer.FrameRenderCommands(nullptr); });
}
BENCHMARK(BM_HookWalk_RendererFrameRenderCommands);

// A steady-state channel write: the key exists, so only the shared lock and a bounded copy.
static void BM_SetIMC_ExistingKey(benchmark::State& state) {
    const std::string key = "bench.channel";
    const std::string value(static_cast<size_t>(state.range(0)), 'v');
    Game::SetIMC(key, value);
    for (auto _ : state)
        Game::SetIMC(key, value);
    AllocationCounter::Reset();
    for (int i = 0; i < 10000; ++i)
        Game::SetIMC(key, value);
    state.counters["allocs/op"] = AllocationCounter::Count() / 10000;
}
BENCHMARK(BM_SetIMC_ExistingKey)->Arg(8)->Arg(256);

static void BM_GetIMC_ExistingKey(benchmark::State& state) {
    const std::string key = "bench.channel";
    Game::SetIMC(key, std::string("12.5"));
    for (auto _ : state)
        benchmark::DoNotOptimize(Game::GetNumericIMC(key, 0.0));
    AllocationCounter::Reset();
    for (int i = 0; i < 10000; ++i)
        benchmark::DoNotOptimize(Game::GetNumericIMC(key, 0.0));
    state.counters["allocs/op"] = AllocationCounter::Count() / 10000;
}
BENCHMARK(BM_GetIMC_ExistingKey);
