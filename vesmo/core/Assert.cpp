#include "vesmo/core/Assert.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vesmo::detail {

void AssertionFailed(const char* text, const char* file) noexcept {
    // "vesmo/vk/MappedBuffer.hpp" -> "vesmo/vk/MappedBuffer": only the last dot of the last path element counts.
    const char* slash = std::strrchr(file, '/');
    const char* dot = std::strrchr(slash ? slash : file, '.');
    const int length = dot ? static_cast<int>(dot - file) : static_cast<int>(std::strlen(file));
    std::fflush(stdout);
    std::fprintf(stderr, "Assertion failed: %s, file %.*s\n", text, length, file);
    std::fflush(stderr);
    std::abort();
}

} // namespace vesmo::detail
