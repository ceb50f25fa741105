#pragma once
// Counts heap allocations made through operator new, so a benchmark can report allocations per
// operation beside its time. Every benchmark program links AllocationCounter.cpp, which replaces the
// global operator new and delete for the whole program.
//
//     AllocationCounter::Reset();
//     for (auto _ : state) { ... }
//     state.counters["allocs/op"] =
//         benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);

#include <atomic>

namespace AllocationCounter {
extern std::atomic<long long> count;
inline void Reset() { count.store(0, std::memory_order_relaxed); }
inline double Count() { return static_cast<double>(count.load(std::memory_order_relaxed)); }
} // namespace AllocationCounter
