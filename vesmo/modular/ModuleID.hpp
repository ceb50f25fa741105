#pragma once
// A module's identity: two 64-bit words, vendor and name, packed in base 37 from "VENDOR_module".
//
// Interim copy so that entities build before the module host lands; the host's header replaces it.

#include "vesmo/core/Base36.hpp"

#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>

namespace vesmo::modular {

struct ModuleID {
    uint64_t vendor = 0;
    uint64_t name = 0;

    ModuleID() = default;
    constexpr ModuleID(uint64_t v, uint64_t n) : vendor(v), name(n) {}
    explicit ModuleID(const std::string& text) { Parse(text); }

    bool IsNull() const { return vendor == 0 || name == 0; }
    bool operator==(const ModuleID&) const = default;

    std::string String() const {
        if (vendor == 0 || name == 0)
            return {};
        return Unpack(vendor, BASE36_UPPER_CHARS) + "_" + Unpack(name, BASE36_LOWER_CHARS);
    }

private:
    void Parse(const std::string& text) {
        const size_t split = text.find('_');
        if (text.empty() || split == std::string::npos)
            return;
        std::string left = text.substr(0, split), right = text.substr(split + 1);
        for (char& c : left)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        for (char& c : right)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (left.empty() || left.size() > 12 || right.empty() || right.size() > 12)
            return;
        if (!std::strchr(" ABCDEFGHIJKLMNOPQRSTUVWXYZ", left[0]) ||
            !std::strchr(" abcdefghijklmnopqrstuvwxyz", right[0]))
            return;
        vendor = Pack(left, BASE36_UPPER_CHARS);
        name = Pack(right, BASE36_LOWER_CHARS);
    }
    static uint64_t Pack(const std::string& half, const char* alphabet) {
        uint64_t value = 0;
        for (size_t i = half.size(); i-- > 0;) {
            const char* at = std::strchr(alphabet, half[i]);
            if (!at || half[i] == '\0')
                return 0;
            value = value * 37 + static_cast<uint64_t>(at - alphabet);
        }
        return value;
    }
    static std::string Unpack(uint64_t value, const char* alphabet) {
        std::string text;
        while (value) {
            text += alphabet[value % 37];
            value /= 37;
        }
        return text;
    }
};

} // namespace vesmo::modular
