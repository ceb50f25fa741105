#include "vesmo/cpu/Profiler.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace vesmo::cpu {

struct Profiler::Record {
    std::string name;
    std::atomic<uint64_t> count{0};
    std::atomic<uint64_t> totalNs{0};
    std::atomic<uint64_t> lastNs{0};
    std::atomic<uint64_t> maxNs{0};
};

namespace {

struct StringHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

// Records live as long as the process: threads keep raw pointers to them in their caches.
struct Registry {
    std::mutex mutex;
    std::unordered_map<std::string, std::unique_ptr<Profiler::Record>, StringHash, std::equal_to<>> records;

    Profiler::Record* Find(std::string_view name) {
        std::lock_guard guard(mutex);
        auto found = records.find(name);
        if (found != records.end())
            return found->second.get();
        auto record = std::make_unique<Profiler::Record>();
        record->name = std::string(name);
        Profiler::Record* raw = record.get();
        records.emplace(record->name, std::move(record));
        return raw;
    }
};

Registry& GetRegistry() {
    static Registry* registry = new Registry; // never destroyed: scopes may end during static teardown
    return *registry;
}

// Per-thread caches: literal names by address, other names by text. A cached address is checked against
// the record's name, because an unloaded module's literals may be reused by the next one loaded there.
Profiler::Record* LookUp(const char* literal) {
    thread_local std::unordered_map<const char*, Profiler::Record*> cache;
    Profiler::Record*& slot = cache[literal];
    if (slot == nullptr || std::strcmp(slot->name.c_str(), literal) != 0)
        slot = GetRegistry().Find(literal);
    return slot;
}

Profiler::Record* LookUp(const std::string& name) {
    thread_local std::unordered_map<std::string, Profiler::Record*, StringHash, std::equal_to<>> cache;
    auto found = cache.find(std::string_view(name));
    if (found != cache.end())
        return found->second;
    Profiler::Record* record = GetRegistry().Find(name);
    cache.emplace(name, record);
    return record;
}

double ToMs(uint64_t ns) { return static_cast<double>(ns) / 1e6; }

} // namespace

void Profiler::Begin(const char* name) {
    _record = LookUp(name);
    _start = std::chrono::steady_clock::now();
}

void Profiler::Begin(const std::string& name) {
    _record = LookUp(name);
    _start = std::chrono::steady_clock::now();
}

void Profiler::Finish() {
    const auto elapsed = std::chrono::steady_clock::now() - _start;
    const uint64_t ns = static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count());
    Record& record = *_record;
    _record = nullptr;
    record.count.fetch_add(1, std::memory_order_relaxed);
    record.totalNs.fetch_add(ns, std::memory_order_relaxed);
    record.lastNs.store(ns, std::memory_order_relaxed);
    uint64_t max = record.maxNs.load(std::memory_order_relaxed);
    while (ns > max && !record.maxNs.compare_exchange_weak(max, ns, std::memory_order_relaxed)) {
    }
}

std::vector<Profiler::Entry> Profiler::Snapshot() {
    Registry& registry = GetRegistry();
    std::vector<Entry> entries;
    {
        std::lock_guard guard(registry.mutex);
        entries.reserve(registry.records.size());
        for (const auto& [name, record] : registry.records) {
            Entry entry;
            entry.name = name;
            entry.count = record->count.load(std::memory_order_relaxed);
            entry.totalMs = ToMs(record->totalNs.load(std::memory_order_relaxed));
            entry.lastMs = ToMs(record->lastNs.load(std::memory_order_relaxed));
            entry.maxMs = ToMs(record->maxNs.load(std::memory_order_relaxed));
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

void Profiler::Reset() {
    Registry& registry = GetRegistry();
    std::lock_guard guard(registry.mutex);
    for (auto& [name, record] : registry.records) {
        record->count.store(0, std::memory_order_relaxed);
        record->totalNs.store(0, std::memory_order_relaxed);
        record->lastNs.store(0, std::memory_order_relaxed);
        record->maxNs.store(0, std::memory_order_relaxed);
    }
}

} // namespace vesmo::cpu
