#pragma once
// VESMO_ASSERT(expr): a broken invariant of the engine ends the process, in every build type.
//
// It prints "Assertion failed: <expr text>, file <source path>" to stderr and aborts, the same line as the
// library's GAME_ASSERT, so a test that watches for one watches for both. The source path is the file's
// path inside the source tree without its extension ("vesmo/vk/MappedBuffer"). VESMO_ASSERT_TEXT prints
// `text` instead of the expression, for invariants whose documented wording differs from the code.

namespace vesmo::detail {
[[noreturn]] void AssertionFailed(const char* text, const char* file) noexcept;
}

#define VESMO_ASSERT(expr) ((expr) ? static_cast<void>(0) : ::vesmo::detail::AssertionFailed(#expr, __FILE__))
#define VESMO_ASSERT_TEXT(expr, text) ((expr) ? static_cast<void>(0) : ::vesmo::detail::AssertionFailed(text, __FILE__))
