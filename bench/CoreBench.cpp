// Engine core costs: profiler scopes (enabled and disabled), the reader/writer lock, and saving files
// plainly versus crash-safely (single and batched), to show what durability costs.

#include "AllocationCounter.hpp"

#include "vesmo/core/SharedMutex.hpp"
#include "vesmo/cpu/Profiler.hpp"
#include "vesmo/filesystem/AtomicFile.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <shared_mutex>
#include <string>

// 0: a disabled scope; 1: an enabled one while nobody captures (how a server runs); 2: one that is timed.
static void BM_ProfilerScope(benchmark::State& state) {
    const bool enabled = state.range(0) != 0;
    vesmo::cpu::Profiler::SetCapturing(state.range(0) == 2);
    AllocationCounter::Reset();
    for (auto _ : state) {
        vesmo::cpu::Profiler scope("bench::scope", enabled);
        benchmark::DoNotOptimize(&scope);
    }
    state.counters["allocs/op"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
    vesmo::cpu::Profiler::SetCapturing(false);
}
BENCHMARK(BM_ProfilerScope)->Arg(0)->Arg(1)->Arg(2);

static void BM_SharedMutexShared(benchmark::State& state) {
    static vesmo::SharedMutex mutex;
    for (auto _ : state) {
        std::shared_lock lock(mutex);
        benchmark::DoNotOptimize(&lock);
    }
}
BENCHMARK(BM_SharedMutexShared)->Threads(1)->Threads(2);

namespace {
struct Folder {
    std::filesystem::path path = std::filesystem::temp_directory_path() / "orkalin-bench-files";
    Folder() {
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~Folder() { std::filesystem::remove_all(path); }
    std::string File(int i) const { return (path / ("f" + std::to_string(i))).string(); }
};
constexpr int kFiles = 1000;
const std::string kBytes(300, 'x');
} // namespace

// The floor: fopen/fwrite/fclose with no durability at all.
static void BM_SaveFilesPlain(benchmark::State& state) {
    Folder folder;
    for (auto _ : state) {
        for (int i = 0; i < kFiles; ++i) {
            FILE* file = std::fopen(folder.File(i).c_str(), "wb");
            std::fwrite(kBytes.data(), 1, kBytes.size(), file);
            std::fclose(file);
        }
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}
BENCHMARK(BM_SaveFilesPlain)->Unit(benchmark::kMillisecond)->Iterations(3);

static void BM_SaveFilesAtomicEach(benchmark::State& state) {
    Folder folder;
    for (auto _ : state)
        for (int i = 0; i < kFiles; ++i)
            vesmo::filesystem::WriteFileAtomic(folder.File(i), kBytes);
    state.SetItemsProcessed(state.iterations() * kFiles);
}
BENCHMARK(BM_SaveFilesAtomicEach)->Unit(benchmark::kMillisecond)->Iterations(3);

static void BM_SaveFilesBatch(benchmark::State& state) {
    Folder folder;
    for (auto _ : state) {
        vesmo::filesystem::WriteBatch batch;
        for (int i = 0; i < kFiles; ++i)
            batch.Add(folder.File(i), kBytes.data(), kBytes.size());
        batch.Commit();
    }
    state.SetItemsProcessed(state.iterations() * kFiles);
}
BENCHMARK(BM_SaveFilesBatch)->Unit(benchmark::kMillisecond)->Iterations(3);
