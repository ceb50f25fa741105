#pragma once
// Decoding of encoded images (PNG, JPEG, BMP, TGA, GIF's first frame, ...) into 8-bit RGBA pixels.

#include <cstdint>
#include <vector>

namespace vesmo::graphics {

struct DecodedImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<unsigned char> pixels; // width * height * 4 bytes, RGBA, rows from the top
};

// Decodes `size` bytes into `image`. False, with `image` untouched, when the bytes are no image we read.
bool DecodeImageRgba8(const unsigned char* data, unsigned long size, DecodedImage& image);

} // namespace vesmo::graphics
