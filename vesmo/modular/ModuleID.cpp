#include "vesmo/modular/ModuleID.hpp"

#include "vesmo/core/Base36.hpp"

#include <cctype>
#include <cstring>

namespace vesmo::modular {

namespace {

constexpr size_t kMaxHalf = 12;
constexpr uint64_t kBase = 37;
// 2^64: the packing tests its bound in double arithmetic, where this value is exact.
constexpr double kWordLimit = 18446744073709551616.0;

// Last character first, so that the first character lands in the lowest digit. Any character outside the
// alphabet, or a value beyond 64 bits, gives 0.
uint64_t Pack(const std::string& half, const char* alphabet) {
    uint64_t value = 0;
    for (size_t i = half.size(); i-- > 0;) {
        const char* found = half[i] != '\0' ? std::strchr(alphabet, half[i]) : nullptr;
        if (!found)
            return 0;
        const auto index = static_cast<uint64_t>(found - alphabet);
        if (static_cast<double>(value) * static_cast<double>(kBase) > kWordLimit)
            return 0;
        value *= kBase;
        if (static_cast<double>(value) + static_cast<double>(index) > kWordLimit)
            return 0;
        value += index;
    }
    return value;
}

void Unpack(uint64_t value, const char* alphabet, std::string& text) {
    while (value != 0) {
        text += alphabet[value % kBase];
        value /= kBase;
    }
}

} // namespace

bool ModuleID::Assign(const std::string& text) {
    const size_t split = text.find('_');
    if (text.empty() || split == std::string::npos)
        return false;
    std::string left = text.substr(0, split);
    std::string right = text.substr(split + 1);
    for (char& c : left)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (char& c : right)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (left.empty() || left.size() > kMaxHalf || right.empty() || right.size() > kMaxHalf)
        return false;
    if (!std::strchr(" ABCDEFGHIJKLMNOPQRSTUVWXYZ", left[0]) || left[0] == '\0')
        return false;
    if (!std::strchr(" abcdefghijklmnopqrstuvwxyz", right[0]) || right[0] == '\0')
        return false;
    vendor = Pack(left, BASE36_UPPER_CHARS);
    name = Pack(right, BASE36_LOWER_CHARS);
    return true;
}

std::string ModuleID::String() const {
    if (vendor == 0 || name == 0)
        return {};
    std::string text;
    Unpack(vendor, BASE36_UPPER_CHARS, text);
    text += '_';
    Unpack(name, BASE36_LOWER_CHARS, text);
    return text;
}

} // namespace vesmo::modular
