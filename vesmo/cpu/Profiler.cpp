#include "vesmo/cpu/Profiler.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

#if defined(__x86_64__)
#include <cpuid.h>
#include <x86intrin.h>
#endif

namespace vesmo::cpu {

// The figures of one name on one thread. Only the owning thread writes them, with plain relaxed stores
// (no locked read-modify-write on the hot path); readers sum the threads' records. Reset does not touch
// them: it advances the epoch, and a record of an older epoch counts as zero until its thread restarts it.
struct Profiler::Record {
    std::atomic<uint64_t> count{0};
    std::atomic<uint64_t> totalTicks{0};
    std::atomic<uint64_t> lastTicks{0};
    std::atomic<uint64_t> maxTicks{0};
    std::atomic<uint64_t> lastEnd{0}; // tick at which `lastTicks` ended, to find the latest across threads
    std::atomic<uint32_t> epoch{0};
};

namespace {
bool CaptureFromEnvironment() {
    const char* value = std::getenv("VESMO_PROFILE");
    return value != nullptr && std::strcmp(value, "0") != 0;
}
} // namespace

std::atomic<bool> Profiler::_capturing{CaptureFromEnvironment()};

namespace {
struct NameRecords {
    std::string name;
    std::vector<std::unique_ptr<Profiler::Record>> threads;
};
std::atomic<uint32_t> gEpoch{1};
} // namespace

namespace {

struct StringHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

// Records live as long as the process: threads keep raw pointers to them in their caches.
struct Registry {
    std::mutex mutex;
    std::unordered_map<std::string, NameRecords, StringHash, std::equal_to<>> records;

    // A new record of `name` for the calling thread (each thread asks once per name, through its cache).
    Profiler::Record* Add(std::string_view name) {
        std::lock_guard guard(mutex);
        auto found = records.find(name);
        if (found == records.end())
            found = records.emplace(std::string(name), NameRecords{std::string(name), {}}).first;
        found->second.threads.push_back(std::make_unique<Profiler::Record>());
        return found->second.threads.back().get();
    }
};

Registry& GetRegistry() {
    static Registry* registry = new Registry; // never destroyed: scopes may end during static teardown
    return *registry;
}

// ---- the clock ----------------------------------------------------------------------------------

uint64_t SteadyNanoseconds() {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}

#if defined(__x86_64__)
bool HasInvariantTsc() {
    unsigned eax, ebx, ecx, edx;
    if (__get_cpuid(0x80000000, &eax, &ebx, &ecx, &edx) == 0 || eax < 0x80000007)
        return false;
    __get_cpuid(0x80000007, &eax, &ebx, &ecx, &edx);
    return (edx & (1u << 8)) != 0;
}
const bool kUseTsc = HasInvariantTsc();
inline uint64_t Ticks() { return kUseTsc ? __rdtsc() : SteadyNanoseconds(); }
#else
inline uint64_t Ticks() { return SteadyNanoseconds(); }
#endif

// Ticks become nanoseconds by the rate observed between the first use and the moment of reading, so no
// start-up calibration is needed; by the time anyone reads a table the interval is long enough.
struct ClockOrigin {
    uint64_t ticks = Ticks();
    uint64_t nanoseconds = SteadyNanoseconds();
};
const ClockOrigin& Origin() {
    static const ClockOrigin origin;
    return origin;
}
[[maybe_unused]] const ClockOrigin& gOriginAtLoad = Origin(); // taken when the engine library loads

double NanosecondsPerTick() {
    const ClockOrigin& origin = Origin();
    // Under a millisecond the ratio is mostly noise: a reader that early waits the rest of it out.
    while (SteadyNanoseconds() - origin.nanoseconds < 1000000) {
    }
    const uint64_t ticks = Ticks() - origin.ticks;
    const uint64_t ns = SteadyNanoseconds() - origin.nanoseconds;
    return ticks == 0 ? 0.0 : static_cast<double>(ns) / static_cast<double>(ticks);
}

// ---- name lookup ------------------------------------------------------------------------------------

std::atomic<uint32_t> gAddressGeneration{1};

// Per-thread caches. Literal names by address in a small direct-mapped table (one compare on a hit);
// other names by text.
Profiler::Record* LookUp(const char* literal) {
    struct Slot {
        const char* name = nullptr;
        Profiler::Record* record = nullptr;
        uint32_t generation = 0;
    };
    thread_local Slot cache[256];
    Slot& slot = cache[(reinterpret_cast<uintptr_t>(literal) >> 3) & 255];
    const uint32_t generation = gAddressGeneration.load(std::memory_order_relaxed);
    if (slot.name != literal || slot.generation != generation) {
        slot.name = literal;
        slot.record = GetRegistry().Add(literal);
        slot.generation = generation;
    }
    return slot.record;
}

Profiler::Record* LookUp(const std::string& name) {
    thread_local std::unordered_map<std::string, Profiler::Record*, StringHash, std::equal_to<>> cache;
    auto found = cache.find(std::string_view(name));
    if (found != cache.end())
        return found->second;
    Profiler::Record* record = GetRegistry().Add(name);
    cache.emplace(name, record);
    return record;
}

double ToMs(uint64_t ticks, double nsPerTick) { return static_cast<double>(ticks) * nsPerTick / 1e6; }

} // namespace

void Profiler::Begin(const char* name) {
    _record = LookUp(name);
    _start = Ticks();
}

void Profiler::Begin(const std::string& name) {
    _record = LookUp(name);
    _start = Ticks();
}

void Profiler::Finish() {
    const uint64_t now = Ticks();
    const uint64_t ticks = now > _start ? now - _start : 0;
    Record& record = *_record;
    _record = nullptr;
    constexpr auto relaxed = std::memory_order_relaxed;
    const uint32_t epoch = gEpoch.load(relaxed);
    if (record.epoch.load(relaxed) != epoch) { // first scope since a Reset
        record.count.store(0, relaxed);
        record.totalTicks.store(0, relaxed);
        record.maxTicks.store(0, relaxed);
        record.epoch.store(epoch, relaxed);
    }
    record.count.store(record.count.load(relaxed) + 1, relaxed);
    record.totalTicks.store(record.totalTicks.load(relaxed) + ticks, relaxed);
    record.lastTicks.store(ticks, relaxed);
    record.lastEnd.store(now, relaxed);
    if (ticks > record.maxTicks.load(relaxed))
        record.maxTicks.store(ticks, relaxed);
}

void Profiler::ForgetNameAddresses() { gAddressGeneration.fetch_add(1, std::memory_order_relaxed); }

std::vector<Profiler::Entry> Profiler::Snapshot() {
    Registry& registry = GetRegistry();
    const double nsPerTick = NanosecondsPerTick();
    std::vector<Entry> entries;
    {
        std::lock_guard guard(registry.mutex);
        entries.reserve(registry.records.size());
        const uint32_t epoch = gEpoch.load(std::memory_order_relaxed);
        for (const auto& [name, records] : registry.records) {
            uint64_t count = 0, total = 0, last = 0, lastEnd = 0, max = 0;
            for (const auto& record : records.threads) {
                if (record->epoch.load(std::memory_order_relaxed) != epoch)
                    continue;
                count += record->count.load(std::memory_order_relaxed);
                total += record->totalTicks.load(std::memory_order_relaxed);
                max = std::max(max, record->maxTicks.load(std::memory_order_relaxed));
                const uint64_t end = record->lastEnd.load(std::memory_order_relaxed);
                if (end >= lastEnd) {
                    lastEnd = end;
                    last = record->lastTicks.load(std::memory_order_relaxed);
                }
            }
            Entry entry;
            entry.name = name;
            entry.count = count;
            entry.totalMs = ToMs(total, nsPerTick);
            entry.lastMs = ToMs(last, nsPerTick);
            entry.maxMs = ToMs(max, nsPerTick);
            entries.push_back(std::move(entry));
        }
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return entries;
}

std::string Profiler::Table() {
    const std::vector<Entry> entries = Snapshot();
    size_t width = 4;
    for (const Entry& entry : entries)
        width = std::max(width, entry.name.size());

    std::string table;
    char line[160];
    std::snprintf(line, sizeof line, "%-*s %10s %12s %10s %10s %10s\n", static_cast<int>(width), "name", "count",
                  "total ms", "avg ms", "last ms", "max ms");
    table += line;
    for (const Entry& entry : entries) {
        table += entry.name;
        table.append(width - entry.name.size(), ' ');
        std::snprintf(line, sizeof line, " %10llu %12.3f %10.4f %10.4f %10.4f\n",
                      static_cast<unsigned long long>(entry.count), entry.totalMs, entry.AverageMs(), entry.lastMs,
                      entry.maxMs);
        table += line;
    }
    return table;
}

void Profiler::Reset() { gEpoch.fetch_add(1, std::memory_order_relaxed); }

} // namespace vesmo::cpu
