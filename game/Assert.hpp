#pragma once
// GAME_ASSERT(expr): a broken invariant ends the process, in every build type.
//
// On failure it prints "Assertion failed: <expr text>, file <source path>" to stderr and aborts. The
// source path is the file's path inside the source tree without its extension ("game/Chemistry"): the
// build maps the tree's root away from __FILE__. GAME_ASSERT_TEXT(expr, text) prints `text` instead of
// the expression, for the few invariants whose documented wording differs from the code that tests them.

namespace game::detail {
[[noreturn]] void AssertionFailed(const char* text, const char* file) noexcept;
}

#define GAME_ASSERT(expr) ((expr) ? static_cast<void>(0) : ::game::detail::AssertionFailed(#expr, __FILE__))
#define GAME_ASSERT_TEXT(expr, text) ((expr) ? static_cast<void>(0) : ::game::detail::AssertionFailed(text, __FILE__))
