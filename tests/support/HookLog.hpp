#pragma once
// One log for every test module and the test itself: each hook a test module runs appends
// "<Module>.<Family>:<Hook>" and the value it was given. It lives in a shared object of its own so that
// modules opened with dlopen and the test binary write to the same instance.

#include <string>
#include <vector>

namespace hooklog {

struct Entry {
    std::string hook; // "<Module>.<Family>:<Hook>"
    double value;
};

void Record(const std::string& hook, double value = 0.0);
void Clear();
std::vector<Entry> Entries();
// The hook names only, in order of their calls.
std::vector<std::string> Hooks();
// The names that begin with `prefix`, in order.
std::vector<std::string> HooksWithPrefix(const std::string& prefix);
size_t CountOf(const std::string& hook);

} // namespace hooklog
