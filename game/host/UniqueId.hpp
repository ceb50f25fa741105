#pragma once
// A 128-bit identity for entities, UI objects and graph nodes, unique across processes and files.
//
//   first word:  low 32 bits  four ASCII tag characters in memory order ("ENTT", "NODE", ...)
//                high 32 bits owner: _this_owner at generation (the launcher or a module sets it)
//   second word: low 50 bits  system clock in microseconds, truncated
//                high 14 bits random, 1..16383
//
// Null when either word is 0. The text form has exactly 28 characters: the four tag characters, the four
// owner bytes and then the eight bytes of the second word, each byte as two upper-case hexadecimal digits,
// low byte first. The empty text is the null id.

#include <cstdint>
#include <functional>
#include <string>

namespace game {

class UniqueId {
public:
    UniqueId() = default;
    constexpr UniqueId(uint64_t first, uint64_t second) : _first(first), _second(second) {}
    // Parses the text form. "" gives the null id; another length than 28 throws std::runtime_error
    // "UniqueId string length should be 28"; a bad digit throws std::invalid_argument "not a hex digit".
    explicit UniqueId(const std::string& text);

    // Not locked: ids are generated on one thread at a time.
    static UniqueId Generate(const char (&tag)[5]);

    static uint32_t _this_owner;

    uint64_t First() const { return _first; }
    uint64_t Second() const { return _second; }
    bool IsNull() const { return _first == 0 || _second == 0; }
    explicit operator bool() const { return !IsNull(); }

    // The 28-character text form; empty for a null id.
    operator std::string() const;
    std::string ToString() const { return static_cast<std::string>(*this); }

    bool operator==(const UniqueId&) const = default;

private:
    uint64_t _first = 0;
    uint64_t _second = 0;
};

} // namespace game

template <> struct std::hash<game::UniqueId> {
    // The second word alone: time and random bits already spread well.
    size_t operator()(const game::UniqueId& id) const noexcept { return static_cast<size_t>(id.Second()); }
};
