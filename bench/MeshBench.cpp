// Meshes and the client walk.
//
// Loading: one glTF of about 1,000,000 triangles (a 708 x 708 grid of quads, 502,681 vertices with normals
// and texture coordinates, 32-bit indices; 28 MB of buffer), written once into a temporary folder. Our
// Mesh::Load into host memory (no device) and into device buffers (lavapipe, when there is a Vulkan
// driver) beside Debian's tinygltf parsing the same file (LoadASCIIFromFile: JSON, buffers into
// std::vector) in the same binary.
//
// The client walk: 10,000 client-side entities of one type (a renderable and a collider each, half of them
// free bodies easing towards a moving target) through one frame's walks, as Game::Update makes them:
// every Update, PhysicsUpdate, every AfterUpdate. Reports CPU time per frame and heap allocations per frame.

#define TINYGLTF_IMPLEMENTATION
#define TINYGLTF_NO_STB_IMAGE
#define TINYGLTF_NO_STB_IMAGE_WRITE
#include <tiny_gltf.h>

#include "AllocationCounter.hpp"

#include "game/Game.hpp"
#include "game/entity/ClientSideEntity.hpp"
#include "game/entity/EntityConfig.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/Mesh.hpp"
#include "game/graphics/RenderableInstance.hpp"
#include "vesmo/vk/Device.hpp"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr uint32_t kGrid = 708; // quads per side: 2 * 708^2 = 1,002,528 triangles

struct BenchFolder {
    std::filesystem::path path;
    BenchFolder() {
        path =
            std::filesystem::temp_directory_path() / ("orkalin-mesh-bench-" + std::to_string(std::random_device()()));
        std::filesystem::create_directories(path);
    }
    ~BenchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

BenchFolder& Folder() {
    static BenchFolder folder;
    return folder;
}

// Writes the grid once and returns the .gltf's path.
const std::string& BigMesh() {
    static const std::string file = [] {
        const uint32_t side = kGrid + 1;
        const uint32_t vertices = side * side;
        std::vector<float> positions, normals, uvs;
        positions.reserve(vertices * 3);
        for (uint32_t y = 0; y < side; ++y) {
            for (uint32_t x = 0; x < side; ++x) {
                positions.insert(positions.end(), {float(x), 0.01f * float((x * y) % 17), float(y)});
                normals.insert(normals.end(), {0.0f, 1.0f, 0.0f});
                uvs.insert(uvs.end(), {float(x) / kGrid, float(y) / kGrid});
            }
        }
        std::vector<uint32_t> indices;
        indices.reserve(size_t(kGrid) * kGrid * 6);
        for (uint32_t y = 0; y < kGrid; ++y)
            for (uint32_t x = 0; x < kGrid; ++x) {
                const uint32_t a = y * side + x;
                indices.insert(indices.end(), {a, a + side, a + 1, a + 1, a + side, a + side + 1});
            }
        const size_t pBytes = positions.size() * 4, nBytes = normals.size() * 4, uBytes = uvs.size() * 4,
                     iBytes = indices.size() * 4;
        std::ofstream bin(Folder().path / "grid.bin", std::ios::binary);
        bin.write(reinterpret_cast<const char*>(positions.data()), std::streamsize(pBytes));
        bin.write(reinterpret_cast<const char*>(normals.data()), std::streamsize(nBytes));
        bin.write(reinterpret_cast<const char*>(uvs.data()), std::streamsize(uBytes));
        bin.write(reinterpret_cast<const char*>(indices.data()), std::streamsize(iBytes));
        using nlohmann::json;
        const json gltf = {
            {"asset", {{"version", "2.0"}}},
            {"nodes", {{{"name", "grid"}, {"mesh", 0}}}},
            {"meshes",
             {{{"primitives",
                {{{"attributes", {{"POSITION", 0}, {"NORMAL", 1}, {"TEXCOORD_0", 2}}},
                  {"indices", 3},
                  {"material", 0}}}}}}},
            {"materials", {{{"name", "ground"}, {"pbrMetallicRoughness", {{"roughnessFactor", 0.5}}}}}},
            {"buffers", {{{"uri", "grid.bin"}, {"byteLength", pBytes + nBytes + uBytes + iBytes}}}},
            {"bufferViews",
             {{{"buffer", 0}, {"byteOffset", 0}, {"byteLength", pBytes}},
              {{"buffer", 0}, {"byteOffset", pBytes}, {"byteLength", nBytes}},
              {{"buffer", 0}, {"byteOffset", pBytes + nBytes}, {"byteLength", uBytes}},
              {{"buffer", 0}, {"byteOffset", pBytes + nBytes + uBytes}, {"byteLength", iBytes}}}},
            {"accessors",
             {{{"bufferView", 0}, {"componentType", 5126}, {"count", vertices}, {"type", "VEC3"}},
              {{"bufferView", 1}, {"componentType", 5126}, {"count", vertices}, {"type", "VEC3"}},
              {{"bufferView", 2}, {"componentType", 5126}, {"count", vertices}, {"type", "VEC2"}},
              {{"bufferView", 3}, {"componentType", 5125}, {"count", indices.size()}, {"type", "SCALAR"}}}},
        };
        const std::string path = (Folder().path / "grid.gltf").string();
        std::ofstream(path) << gltf.dump();
        return path;
    }();
    return file;
}

void LoadInto(benchmark::State& state, uint32_t flags) {
    const std::string& file = BigMesh();
    std::unique_ptr<game::graphics::GameRenderer> renderer;
    try {
        renderer = std::make_unique<game::graphics::GameRenderer>(nullptr, "mesh bench", flags);
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
        return;
    }
    Game::renderer = renderer.get();
    for (auto _ : state) {
        game::graphics::Mesh mesh(file);
        mesh.Load();
        benchmark::DoNotOptimize(mesh.geometries[0]->indicesAddr);
        state.PauseTiming();
        renderer->CollectAllTrash(); // the released buffers are not the load's cost
        state.ResumeTiming();
    }
    state.counters["MB/s"] = benchmark::Counter(double(std::filesystem::file_size(Folder().path / "grid.bin")) / 1e6,
                                                benchmark::Counter::kIsIterationInvariantRate);
    Game::renderer = nullptr;
}

void BM_MeshLoad_HostMemory(benchmark::State& state) { LoadInto(state, 0); }
void BM_MeshLoad_DeviceBuffers(benchmark::State& state) { LoadInto(state, vesmo::graphics::VulkanRenderer::DEVICE); }

void BM_TinyGltf_Parse(benchmark::State& state) {
    const std::string& file = BigMesh();
    for (auto _ : state) {
        tinygltf::Model model;
        tinygltf::TinyGLTF loader;
        std::string error, warning;
        if (!loader.LoadASCIIFromFile(&model, &error, &warning, file)) {
            state.SkipWithError(error.c_str());
            return;
        }
        benchmark::DoNotOptimize(model.buffers[0].data.data());
    }
    state.counters["MB/s"] = benchmark::Counter(double(std::filesystem::file_size(Folder().path / "grid.bin")) / 1e6,
                                                benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK(BM_MeshLoad_HostMemory)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_MeshLoad_DeviceBuffers)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_TinyGltf_Parse)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// ---- the client walk

constexpr int kEntities = 10000;
constexpr const char* kModule = "BENCH_client";

void BM_ClientWalk(benchmark::State& state) {
    using game::entity::ClientSideEntity;
    const std::filesystem::path folder = Folder().path / "client";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "rover.conf") << "[ENTITY rover]\nmass 400\n[RENDERABLE chassis]\n[COLLIDER chassis]\n"
                                            "parent chassis\nbox_min -1.5 -1 -0.3\nbox_max 1.5 1 0.3\n";
    std::filesystem::copy_file(BENCH_SAMPLE_ENTITIES "/rover.gltf", folder / "rover.gltf",
                               std::filesystem::copy_options::overwrite_existing);
    std::filesystem::copy_file(BENCH_SAMPLE_ENTITIES "/rover.bin", folder / "rover.bin",
                               std::filesystem::copy_options::overwrite_existing);

    auto renderer = std::make_unique<game::graphics::GameRenderer>(nullptr, "walk bench", 0);
    Game::renderer = renderer.get();
    auto config = std::make_shared<game::entity::EntityConfig>((folder / "rover.conf").string());
    ClientSideEntity::_registered_interfaces[kModule]["rover"] = {
        vesmo::modular::ModuleID(kModule), "rover", config,
        [] { return std::make_shared<ClientSideEntity::Interface>(); }};
    std::vector<ClientSideEntity::Ptr> entities;
    for (int i = 0; i < kEntities; ++i) {
        auto entity = ClientSideEntity::Create(game::UniqueId::Generate("ENTT"), vesmo::modular::ModuleID(kModule),
                                               std::string("rover"));
        entity->position = {i % 100 * 4.0, 0.0, i / 100 * 4.0};
        entity->targetPosition = entity->position;
        entity->isDynamic = i % 2;
        entity->interpolate = true;
        entity->interpolationRate = 10.0f;
        entities.push_back(entity);
    }
    const double dt = 1.0 / 60.0;
    double time = 0.0;
    AllocationCounter::Reset();
    for (auto _ : state) {
        time += dt;
        for (int i = 1; i < kEntities; i += 2)
            entities[i]->targetPosition.y = std::sin(time + i);
        ClientSideEntity::UpdateAll(dt);
        ClientSideEntity::PhysicsUpdate(dt);
        ClientSideEntity::AfterUpdateAll(dt);
    }
    state.counters["allocs/frame"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
    state.counters["ns/entity"] = benchmark::Counter(double(kEntities) * double(state.iterations()),
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    for (auto& entity : entities)
        ClientSideEntity::Remove(entity->GetID());
    entities.clear();
    ClientSideEntity::_registered_interfaces.clear();
    config.reset();
    renderer->CollectAllTrash();
    Game::renderer = nullptr;
}

BENCHMARK(BM_ClientWalk)->Unit(benchmark::kMillisecond);

} // namespace
