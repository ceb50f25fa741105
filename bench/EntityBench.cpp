// Server-side entities: the plain path of a server tick over entities whose interfaces override nothing,
// and a world save and load (UnloadAllEntities + LoadAllEntities) beside the floor of writing and reading
// the same bytes as plain files.

#include "AllocationCounter.hpp"

#include "game/Game.hpp"
#include "game/entity/EntityConfig.hpp"
#include "game/entity/ServerSideEntity.hpp"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

using game::entity::ServerSideEntity;
namespace fs = std::filesystem;

namespace {

constexpr int kEntities = 10000;
const char* const kModule = "BENCH_entities";

// A module's interface that keeps 64 bytes of its own state and overrides no hook of the tick.
class Crate : public ServerSideEntity::Interface {
public:
    void Serialize(vesmo::filesystem::WriteOnlyStream& out) override {
        out.Write(reinterpret_cast<const unsigned char*>(state), sizeof(state));
    }
    void Deserialize(vesmo::filesystem::ReadOnlyStream& in) override {
        if (!in.AtEnd())
            in.Read(reinterpret_cast<unsigned char*>(state), sizeof(state));
    }
    double state[8] = {1, 2, 3, 4, 5, 6, 7, 8};
};

// The same, with an Update hook of its own: the cost of one module call and its profiler scope.
class Ticker : public Crate {
public:
    void Update(double deltaTime) override { state[0] += deltaTime; }
};

// A working folder of its own (state files go to "../Orkalin-data/..." from it) and the bench's type.
class World {
public:
    World() {
        _previous = fs::current_path();
        _root = fs::temp_directory_path() / "orkalin-bench-entities";
        fs::remove_all(_root);
        fs::create_directories(_root / "run");
        fs::current_path(_root / "run");
        Game::_current_world = "bench";
        const vesmo::modular::ModuleID module(kModule);
        ServerSideEntity::_registered_interfaces[module.String()]["crate"] = {
            module, "crate", std::make_shared<game::entity::EntityConfig>(BENCH_ENTITY_CONFIGS "/block.conf"),
            [] { return std::make_shared<Crate>(); }};
        ServerSideEntity::_registered_interfaces[module.String()]["ticker"] = {
            module, "ticker", ServerSideEntity::_registered_interfaces[module.String()]["crate"].config,
            [] { return std::make_shared<Ticker>(); }};
    }
    ~World() {
        ServerSideEntity::ForEach([](ServerSideEntity::Ptr entity) { entity->saveCounter = 0; });
        ServerSideEntity::UnloadAllEntities();
        ServerSideEntity::_registered_interfaces.erase(vesmo::modular::ModuleID(kModule).String());
        fs::current_path(_previous);
        fs::remove_all(_root);
    }
    void Populate(int count, bool save, const char* type = "crate") {
        for (int i = 0; i < count; ++i) {
            auto entity = ServerSideEntity::Create<ServerSideEntity>(vesmo::modular::ModuleID(kModule),
                                                                     game::entity::Type(type), game::entity::Id());
            entity->_interface->ready = true;
            entity->position = {i, 0, 0};
            entity->saveCounter = save ? 1 : 0;
        }
    }
    fs::path Root() const { return _root; }

private:
    fs::path _previous;
    fs::path _root;
};

} // namespace

// One server tick (Game::ServerUpdate, no modules loaded) over 10,000 entities whose interfaces override
// nothing (arg 0), or override Update (arg 1).
static void BM_ServerUpdatePlain(benchmark::State& state) {
    World world;
    world.Populate(kEntities, false, state.range(0) ? "ticker" : "crate");
    Game::ServerUpdate(1.0 / 60.0, 1); // warm: profiler names and lookups seen once
    // Counted over plain ticks outside the timing loop, so that the harness's own allocations stay out.
    AllocationCounter::Reset();
    for (int tick = 0; tick < 100; ++tick)
        Game::ServerUpdate(1.0 / 60.0, 1);
    const double allocationsPerTick = AllocationCounter::Count() / 100.0;
    for (auto _ : state)
        Game::ServerUpdate(1.0 / 60.0, 1);
    state.counters["ns/entity"] = benchmark::Counter(static_cast<double>(kEntities) * state.iterations(),
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["allocs/tick"] = allocationsPerTick;
}
BENCHMARK(BM_ServerUpdatePlain)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// A world save and load of 10,000 entities: every state file through one WriteBatch, then read back.
static void BM_UnloadLoadEntities(benchmark::State& state) {
    World world;
    world.Populate(kEntities, true);
    double unloadSeconds = 0.0, loadSeconds = 0.0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        ServerSideEntity::UnloadAllEntities();
        const auto saved = std::chrono::steady_clock::now();
        ServerSideEntity::LoadAllEntities();
        const auto loaded = std::chrono::steady_clock::now();
        unloadSeconds += std::chrono::duration<double>(saved - start).count();
        loadSeconds += std::chrono::duration<double>(loaded - saved).count();
    }
    state.counters["write_s"] = unloadSeconds / static_cast<double>(state.iterations());
    state.counters["read_s"] = loadSeconds / static_cast<double>(state.iterations());
    size_t bytes = 0;
    for (const auto& entry : fs::directory_iterator(ServerSideEntity::GetCheckpointDir()))
        bytes += entry.file_size();
    state.counters["files"] = static_cast<double>(kEntities);
    state.counters["bytes/file"] = static_cast<double>(bytes) / kEntities;
}
BENCHMARK(BM_UnloadLoadEntities)->Unit(benchmark::kMillisecond)->Iterations(3);

namespace {
// The bytes of the state files of a saved world, to write and read again without entities.
std::vector<std::string> SavedStateFiles(World& world) {
    world.Populate(kEntities, true);
    ServerSideEntity::UnloadAllEntities();
    std::vector<std::string> contents;
    for (const auto& entry : fs::directory_iterator(ServerSideEntity::GetCheckpointDir())) {
        FILE* file = std::fopen(entry.path().c_str(), "rb");
        std::string bytes(entry.file_size(), '\0');
        benchmark::DoNotOptimize(std::fread(bytes.data(), 1, bytes.size(), file));
        std::fclose(file);
        contents.push_back(std::move(bytes));
    }
    return contents;
}
} // namespace

// The saved state files' bytes written by `write` into a folder of their own and read back as plain files,
// timed apart.
template <class Write> void WriteThenRead(benchmark::State& state, const char* folderName, Write&& write) {
    World world;
    const std::vector<std::string> contents = SavedStateFiles(world);
    const fs::path folder = world.Root() / folderName;
    fs::create_directories(folder);
    std::vector<std::string> names;
    for (size_t i = 0; i < contents.size(); ++i)
        names.push_back((folder / ("f" + std::to_string(i))).string());
    std::string buffer;
    double writeSeconds = 0.0, readSeconds = 0.0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        write(names, contents);
        const auto written = std::chrono::steady_clock::now();
        writeSeconds += std::chrono::duration<double>(written - start).count();
        for (size_t i = 0; i < contents.size(); ++i) {
            FILE* file = std::fopen(names[i].c_str(), "rb");
            buffer.resize(contents[i].size());
            benchmark::DoNotOptimize(std::fread(buffer.data(), 1, buffer.size(), file));
            std::fclose(file);
        }
        readSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - written).count();
    }
    state.counters["write_s"] = writeSeconds / static_cast<double>(state.iterations());
    state.counters["read_s"] = readSeconds / static_cast<double>(state.iterations());
}

// The floor: the same bytes as 10,000 plain files, written (no durability) and read back.
static void BM_PlainFilesWriteRead(benchmark::State& state) {
    WriteThenRead(state, "plain", [](const std::vector<std::string>& names, const std::vector<std::string>& contents) {
        for (size_t i = 0; i < contents.size(); ++i) {
            FILE* file = std::fopen(names[i].c_str(), "wb");
            std::fwrite(contents[i].data(), 1, contents[i].size(), file);
            std::fclose(file);
        }
    });
}
BENCHMARK(BM_PlainFilesWriteRead)->Unit(benchmark::kMillisecond)->Iterations(3);

// The same bytes through one WriteBatch and read back: the durability part of a world save on its own.
static void BM_BatchFilesWriteRead(benchmark::State& state) {
    WriteThenRead(state, "batch", [](const std::vector<std::string>& names, const std::vector<std::string>& contents) {
        vesmo::filesystem::WriteBatch batch;
        for (size_t i = 0; i < contents.size(); ++i)
            batch.Add(names[i], contents[i].data(), contents[i].size());
        batch.Commit();
    });
}
BENCHMARK(BM_BatchFilesWriteRead)->Unit(benchmark::kMillisecond)->Iterations(3);
