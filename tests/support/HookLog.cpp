#include "HookLog.hpp"

#include <algorithm>
#include <mutex>

namespace hooklog {

namespace {
std::mutex mutex;
std::vector<Entry> entries;
} // namespace

void Record(const std::string& hook, double value) {
    std::lock_guard guard(mutex);
    entries.push_back({hook, value});
}

void Clear() {
    std::lock_guard guard(mutex);
    entries.clear();
}

std::vector<Entry> Entries() {
    std::lock_guard guard(mutex);
    return entries;
}

std::vector<std::string> Hooks() { return HooksWithPrefix(""); }

std::vector<std::string> HooksWithPrefix(const std::string& prefix) {
    std::lock_guard guard(mutex);
    std::vector<std::string> names;
    for (const Entry& entry : entries)
        if (entry.hook.compare(0, prefix.size(), prefix) == 0)
            names.push_back(entry.hook);
    return names;
}

size_t CountOf(const std::string& hook) {
    std::lock_guard guard(mutex);
    return static_cast<size_t>(
        std::count_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.hook == hook; }));
}

} // namespace hooklog
