#pragma once
// A minimal PNG writer for tests: 8-bit RGBA, one IDAT chunk, no filtering.

#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

namespace testing_support {

inline void AppendBigEndian(std::string& out, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<char>((value >> shift) & 0xFF));
}

inline void AppendChunk(std::string& out, const char* type, const std::string& data) {
    AppendBigEndian(out, static_cast<std::uint32_t>(data.size()));
    const std::string body = std::string(type, 4) + data;
    out += body;
    AppendBigEndian(out, static_cast<std::uint32_t>(
                             crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()))));
}

// `rgba` holds width * height * 4 bytes, rows from the top.
inline std::string EncodePng(std::uint32_t width, std::uint32_t height, const std::vector<unsigned char>& rgba) {
    std::string raw;
    for (std::uint32_t y = 0; y < height; ++y) {
        raw.push_back('\0'); // filter type: none
        raw.append(reinterpret_cast<const char*>(&rgba[static_cast<std::size_t>(y) * width * 4]), width * 4);
    }
    uLongf packedSize = compressBound(static_cast<uLong>(raw.size()));
    std::string packed(packedSize, '\0');
    compress(reinterpret_cast<Bytef*>(packed.data()), &packedSize, reinterpret_cast<const Bytef*>(raw.data()),
             static_cast<uLong>(raw.size()));
    packed.resize(packedSize);

    std::string header;
    AppendBigEndian(header, width);
    AppendBigEndian(header, height);
    header += std::string("\x08\x06\x00\x00\x00", 5); // 8 bits, RGBA, deflate, no filter, no interlace

    std::string png("\x89PNG\r\n\x1a\n", 8);
    AppendChunk(png, "IHDR", header);
    AppendChunk(png, "IDAT", packed);
    AppendChunk(png, "IEND", "");
    return png;
}

// A width x height image of one colour.
inline std::string SolidPng(std::uint32_t width, std::uint32_t height, unsigned char r, unsigned char g,
                            unsigned char b, unsigned char a = 255) {
    std::vector<unsigned char> rgba;
    for (std::uint32_t i = 0; i < width * height; ++i)
        rgba.insert(rgba.end(), {r, g, b, a});
    return EncodePng(width, height, rgba);
}

} // namespace testing_support
