#include "vesmo/core/Base16.hpp"

#include <stdexcept>
#include <string>

namespace vesmo {

namespace {
int DigitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    throw std::invalid_argument("not a hex digit");
}
} // namespace

std::vector<unsigned char> Base16::Decode(std::string_view text) {
    if (text.size() % 2 != 0)
        throw std::invalid_argument("odd number of hex digits");
    std::vector<unsigned char> bytes(text.size() / 2);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(DigitValue(text[2 * i]) << 4 | DigitValue(text[2 * i + 1]));
    return bytes;
}

std::string Base16::Encode(const unsigned char* data, size_t size, bool upper) {
    const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string text(size * 2, '0');
    for (size_t i = 0; i < size; ++i) {
        text[2 * i] = digits[data[i] >> 4];
        text[2 * i + 1] = digits[data[i] & 15];
    }
    return text;
}

} // namespace vesmo
