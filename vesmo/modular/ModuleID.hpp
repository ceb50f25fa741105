#pragma once
// The identity of a module: two 64-bit words, vendor and name, packed from a text "VENDOR_module".
//
// Each half is a number in base 37 over an alphabet whose index 0 is the blank, then the ten digits,
// then the letters: upper case for the vendor (BASE36_UPPER_CHARS), lower case for the name
// (BASE36_LOWER_CHARS). The first character of a half is the lowest digit, so packing walks the text from
// its last character to its first.
//
// A text is accepted when it holds a '_', both halves have 1 to 12 characters and neither half begins
// with a digit. Case is folded: "abc_DEF" and "ABC_def" are the same id. A character outside the
// alphabet makes its word 0, which String() then shows as the empty text.
//
// Refused texts write nothing. The constructor starts from the null id (both words 0), so a refused
// text constructs the null id; Assign() keeps whatever the words held, for callers that reuse storage.

#include <cstdint>
#include <functional>
#include <string>

namespace vesmo::modular {

class ModuleID {
public:
    ModuleID() = default;
    constexpr ModuleID(uint64_t vendorWord, uint64_t nameWord) : vendor(vendorWord), name(nameWord) {}
    explicit ModuleID(const std::string& text) { Assign(text); }

    // Packs `text` into the two words; returns false, with the words untouched, if the text is refused.
    bool Assign(const std::string& text);

    // "VENDOR_module" again; empty if either word is 0. Blank digits inside a half stay as blanks.
    std::string String() const;

    bool IsNull() const { return vendor == 0 || name == 0; }
    bool operator==(const ModuleID&) const = default;

    uint64_t vendor = 0;
    uint64_t name = 0;
};

} // namespace vesmo::modular

template <> struct std::hash<vesmo::modular::ModuleID> {
    size_t operator()(const vesmo::modular::ModuleID& id) const noexcept {
        return static_cast<size_t>(id.vendor * 0x9E3779B97F4A7C15ull ^ id.name);
    }
};
