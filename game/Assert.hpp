#pragma once
// GAME_ASSERT(expr): a broken invariant ends the process, in every build type.
//
// On failure it prints "Assertion failed: <expr text>, file <source path>" to stderr and aborts. The
// source path is the file's path inside the source tree without its extension ("game/Chemistry"): the
// build maps the tree's root away from __FILE__. GAME_ASSERT_TEXT(expr, text) prints `text` instead of
// the expression, for the few invariants whose documented wording differs from the code that tests them.
//
// Fuzzing builds (GAME_FUZZING defined) throw game::detail::SpecifiedEnd carrying that line instead of
// printing it and aborting: a specified end of the process is not a finding, so a harness catches it and
// goes on with the next input.

#include <string>

#ifdef GAME_FUZZING
#define GAME_NOEXCEPT_UNLESS_FUZZING
#else
#define GAME_NOEXCEPT_UNLESS_FUZZING noexcept
#endif

namespace game::detail {

// What a fuzzing build throws where every other build aborts.
struct SpecifiedEnd {
    std::string message;
};

[[noreturn]] void AssertionFailed(const char* text, const char* file) GAME_NOEXCEPT_UNLESS_FUZZING;
// Prints `message` and a line end to stderr and ends the process: the documented end of operations that
// have no way to refuse (bad YAML in the config tree, for one).
[[noreturn]] void EndProcess(const std::string& message) GAME_NOEXCEPT_UNLESS_FUZZING;

} // namespace game::detail

#define GAME_ASSERT(expr) ((expr) ? static_cast<void>(0) : ::game::detail::AssertionFailed(#expr, __FILE__))
#define GAME_ASSERT_TEXT(expr, text) ((expr) ? static_cast<void>(0) : ::game::detail::AssertionFailed(text, __FILE__))
