#pragma once
// Hexadecimal text to bytes.

#include <string_view>
#include <vector>

namespace vesmo {

struct Base16 {
    // Two digits per byte, first digit high; both letter cases. A character that is no hexadecimal
    // digit throws std::invalid_argument("not a hex digit"); an odd count of digits throws
    // std::invalid_argument("odd number of hex digits").
    static std::vector<unsigned char> Decode(std::string_view text);
    static std::string Encode(const unsigned char* data, size_t size, bool upper = false);
};

} // namespace vesmo
