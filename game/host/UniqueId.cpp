#include "game/host/UniqueId.hpp"

#include "vesmo/core/Base16.hpp"
#include "vesmo/core/Random.hpp"

#include <chrono>
#include <stdexcept>

namespace game {

uint32_t UniqueId::_this_owner = 0;

namespace {
uint64_t LittleEndian(const std::vector<unsigned char>& bytes) {
    uint64_t value = 0;
    for (size_t i = 0; i < bytes.size(); ++i)
        value |= static_cast<uint64_t>(bytes[i]) << (8 * i);
    return value;
}

void AppendHex(std::string& text, uint64_t value, int bytes) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    for (int i = 0; i < bytes; ++i) {
        const unsigned byte = static_cast<unsigned>(value >> (8 * i)) & 0xff;
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
}
} // namespace

UniqueId::UniqueId(const std::string& text) {
    if (text.empty())
        return;
    if (text.size() != 28)
        throw std::runtime_error("UniqueId string length should be 28");
    const std::vector<unsigned char> owner = vesmo::Base16::Decode(std::string_view(text).substr(4, 8));
    const std::vector<unsigned char> second = vesmo::Base16::Decode(std::string_view(text).substr(12, 16));
    if (owner.size() != 4 || second.size() != 8)
        throw std::invalid_argument("invalid size");
    uint64_t tag = 0;
    for (int i = 0; i < 4; ++i)
        tag |= static_cast<uint64_t>(static_cast<unsigned char>(text[i])) << (8 * i);
    _first = tag | LittleEndian(owner) << 32;
    _second = LittleEndian(second);
}

UniqueId UniqueId::Generate(const char (&tag)[5]) {
    uint64_t first = 0;
    for (int i = 0; i < 4; ++i)
        first |= static_cast<uint64_t>(static_cast<unsigned char>(tag[i])) << (8 * i);
    first |= static_cast<uint64_t>(_this_owner) << 32;

    const auto nanoseconds =
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    const uint64_t micros = static_cast<uint64_t>(nanoseconds / 1000) & ((uint64_t(1) << 50) - 1);
    static vesmo::RandomGenerator<unsigned int, 1, 16383> random;
    const uint64_t noise = static_cast<uint64_t>(random()) << 50;
    return UniqueId(first, micros | noise);
}

UniqueId::operator std::string() const {
    if (IsNull())
        return {};
    std::string text;
    text.reserve(28);
    for (int i = 0; i < 4; ++i)
        text += static_cast<char>((_first >> (8 * i)) & 0xff);
    AppendHex(text, _first >> 32, 4);
    AppendHex(text, _second, 8);
    return text;
}

} // namespace game
