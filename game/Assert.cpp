#include "game/Assert.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace game::detail {

void AssertionFailed(const char* text, const char* file) GAME_NOEXCEPT_UNLESS_FUZZING {
    // "game/Chemistry.cpp" -> "game/Chemistry": only the last dot of the last path element counts.
    const char* slash = std::strrchr(file, '/');
    const char* dot = std::strrchr(slash ? slash : file, '.');
    const size_t length = dot ? static_cast<size_t>(dot - file) : std::strlen(file);
    EndProcess("Assertion failed: " + std::string(text) + ", file " + std::string(file, length));
}

void EndProcess(const std::string& message) GAME_NOEXCEPT_UNLESS_FUZZING {
    std::fflush(stdout);
#ifdef GAME_FUZZING
    throw SpecifiedEnd{message};
#else
    std::fprintf(stderr, "%s\n", message.c_str());
    std::fflush(stderr);
    std::abort();
#endif
}

} // namespace game::detail
