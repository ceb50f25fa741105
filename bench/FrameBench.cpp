// One whole frame of the game renderer's chain with 32 modules that export every frame hook, on the engine
// without a device and on a device (lavapipe here: offscreen 1280 x 720, no validation), with the physics
// debug view of six crates on and off. CPU time per frame, and heap allocations per frame after warm-up,
// counted exactly over frames outside the timed loop.

#include "AllocationCounter.hpp"

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/modular/Families.hpp"
#include "vesmo/vk/Device.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <memory>

using game::modular::GAME_Mod;
using vesmo::graphics::VulkanRenderer;

namespace {

constexpr int kModules = 32;

// M00..M31 loaded once, every list sorted; the settings in a file of their own.
void Setup() {
    static bool done = [] {
        std::filesystem::current_path(BENCH_MODULE_ROOT);
        char name[8];
        for (int i = 0; i < kModules; ++i) {
            std::snprintf(name, sizeof name, "M%02d", i);
            if (!GAME_Mod::LoadModule(name, true))
                std::abort();
        }
        for (const char* list : {"update", "render", "post", "overlay", "ui"})
            GAME_Mod::SortModules(list, [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
        const std::string settings = (std::filesystem::temp_directory_path() / "orkalin-frame-bench.conf").string();
        std::filesystem::remove(settings);
        Game::settings = std::make_unique<game::GameSettings>(settings, 0);
        Game::settings->graphics_preset = 3;
        return true;
    }();
    (void)done;
}

// Six crates' colliders as the physics step publishes them, and a candidate line between two.
void PublishCrates() {
    Game::physicsDebugColliders_staging.clear();
    for (int i = 0; i < 6; ++i) {
        Game::PhysicsColliderDebug entry;
        game::entity::ConvexMeshCollider& c = entry.collider;
        c.vertexCount = 8;
        for (uint32_t v = 0; v < 8; ++v)
            c.vertices[v] = {(v & 4) ? 0.5f : -0.5f, (v & 2) ? 0.5f : -0.5f, (v & 1) ? 1.0f : 0.0f};
        static constexpr uint16_t kTriangles[12][3] = {{0, 1, 2}, {1, 3, 2}, {4, 5, 6}, {5, 7, 6},
                                                       {0, 1, 4}, {1, 5, 4}, {2, 3, 6}, {3, 7, 6},
                                                       {0, 2, 4}, {2, 6, 4}, {1, 3, 5}, {3, 7, 5}};
        c.triangleCount = 12;
        for (int t = 0; t < 12; ++t)
            c.triangles[t] = {kTriangles[t][0], kTriangles[t][1], kTriangles[t][2]};
        c.transform[3] = glm::dvec4((i % 3 - 1) * 2.5, (i / 3) * 2.5, 0.0, 1.0);
        entry.isDynamic = true;
        Game::physicsDebugColliders_staging.push_back(entry);
    }
    Game::physicsDebugLines_staging = {{{}, {0, 0, 0.5}, {2.5, 0, 0.5}, {0, 1, 0, 1}}};
    Game::physicsDebugCollidersUpdated = true;
}

void RunFrames(benchmark::State& state, uint32_t flags, bool debugView) {
    Setup();
    std::unique_ptr<game::graphics::GameRenderer> renderer;
    try {
        renderer = std::make_unique<game::graphics::GameRenderer>(nullptr, "frame bench", flags);
    } catch (const vesmo::vk::NoDeviceError& error) {
        state.SkipWithError(error.what());
        return;
    }
    Game::renderer = renderer.get();
    Game::debugServerSidePhysics = debugView;
    if (debugView)
        PublishCrates();
    renderer->StartRendering();
    for (int i = 0; i < 10; ++i) // warm-up: buffers, descriptor writes, the driver's first frames
        renderer->Frame();
    for (auto _ : state)
        renderer->Frame();
    constexpr int kFrames = 200;
    AllocationCounter::Reset();
    for (int i = 0; i < kFrames; ++i)
        renderer->Frame();
    state.counters["allocs/frame"] = AllocationCounter::Count() / kFrames;
    renderer->StopRendering();
    renderer->Cleanup();
    Game::debugServerSidePhysics = false;
    Game::renderer = nullptr;
}

} // namespace

static void BM_Frame_NoDevice(benchmark::State& state) { RunFrames(state, 0, false); }
BENCHMARK(BM_Frame_NoDevice);
static void BM_Frame_NoDevice_PhysicsDebug(benchmark::State& state) { RunFrames(state, 0, true); }
BENCHMARK(BM_Frame_NoDevice_PhysicsDebug);
static void BM_Frame_Device(benchmark::State& state) { RunFrames(state, VulkanRenderer::DEVICE, false); }
BENCHMARK(BM_Frame_Device)->Unit(benchmark::kMillisecond)->UseRealTime();
static void BM_Frame_Device_PhysicsDebug(benchmark::State& state) { RunFrames(state, VulkanRenderer::DEVICE, true); }
BENCHMARK(BM_Frame_Device_PhysicsDebug)->Unit(benchmark::kMillisecond)->UseRealTime();
