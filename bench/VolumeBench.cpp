// The gas model's tick: PressurizedVolume::Update over a ship's worth of tanks and cabins. Each Update
// builds one Molecule per composition entry (a table lookup and a copy of its atoms) for the molar mass and
// the liquid density, so the cost grows with the number of substances in a volume. Reported per volume.

#include "AllocationCounter.hpp"

#include "game/entity/PressurizedVolume.hpp"

#include <benchmark/benchmark.h>

#include <string>
#include <unordered_map>
#include <vector>

using game::entity::PressurizedVolume;

namespace {

constexpr int kVolumes = 10000;

const std::unordered_map<std::string, double> kAir = {{"N2", 0.92}, {"O2", 0.28}, {"Ar", 0.016}};
const std::unordered_map<std::string, double> kCabin = {{"N2", 0.92},    {"O2", 0.28},   {"Ar", 0.016},
                                                        {"CO2", 0.0008}, {"H2O", 0.012}, {"CH4", 0.0001}};

std::vector<PressurizedVolume> Volumes(const std::unordered_map<std::string, double>& composition) {
    std::vector<PressurizedVolume> volumes;
    volumes.reserve(kVolumes);
    for (int i = 0; i < kVolumes; ++i) {
        volumes.emplace_back(game::entity::Id(), game::entity::Id(), 1.0 + (i % 7), 288.0 + (i % 13));
        volumes.back().composition = composition;
        volumes.back().Update(0.0); // meets the formulas once: later lookups only read the tables
    }
    return volumes;
}

void UpdateAll(benchmark::State& state, const std::unordered_map<std::string, double>& composition) {
    std::vector<PressurizedVolume> volumes = Volumes(composition);
    AllocationCounter::Reset();
    for (auto _ : state) {
        for (PressurizedVolume& volume : volumes)
            volume.Update(1.0 / 60.0);
        benchmark::DoNotOptimize(volumes.data());
    }
    state.SetItemsProcessed(state.iterations() * kVolumes);
    state.counters["ns/volume"] = benchmark::Counter(static_cast<double>(state.iterations()) * kVolumes,
                                                     benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["allocs/volume"] =
        benchmark::Counter(AllocationCounter::Count() / kVolumes, benchmark::Counter::kAvgIterations);
}

} // namespace

// 10,000 volumes of three gases (air).
static void BM_VolumeUpdate_Air(benchmark::State& state) { UpdateAll(state, kAir); }
BENCHMARK(BM_VolumeUpdate_Air)->Unit(benchmark::kMicrosecond);

// 10,000 volumes of six substances (a lived-in cabin).
static void BM_VolumeUpdate_Cabin(benchmark::State& state) { UpdateAll(state, kCabin); }
BENCHMARK(BM_VolumeUpdate_Cabin)->Unit(benchmark::kMicrosecond);
