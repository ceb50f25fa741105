#include "vesmo/graphics/Texture.hpp"

#include <stdexcept>

// stb_image with internal linkage and only the decoders in this file: other parts of the process may carry
// their own copy of stb_image, and static functions keep the copies from meeting at link or load time.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wunused-but-set-variable"
#pragma GCC diagnostic ignored "-Wpedantic"
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_NO_HDR
#define STBI_NO_LINEAR
#define STBI_NO_PSD
#define STBI_NO_PIC
#define STBI_NO_PNM
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

namespace vesmo::graphics {

Texture::Texture(uint32_t width, uint32_t height, std::vector<uint8_t> pixels, std::string path)
    : _width(width), _height(height), _pixels(std::move(pixels)), _path(std::move(path)) {
    _pixels.resize(static_cast<size_t>(width) * height * Channels, 0);
}

std::shared_ptr<Texture> Texture::Load(const std::string& path) {
    int width = 0, height = 0, channels = 0;
    stbi_uc* data = stbi_load(path.c_str(), &width, &height, &channels, static_cast<int>(Channels));
    if (!data)
        throw std::runtime_error("Cannot load texture " + path + ": " + stbi_failure_reason());
    std::vector<uint8_t> pixels(data, data + static_cast<size_t>(width) * height * Channels);
    stbi_image_free(data);
    return std::make_shared<Texture>(static_cast<uint32_t>(width), static_cast<uint32_t>(height), std::move(pixels),
                                     path);
}

uint32_t Texture::Pixel(uint32_t x, uint32_t y) const {
    if (x >= _width || y >= _height)
        return 0;
    const uint8_t* p = &_pixels[(static_cast<size_t>(y) * _width + x) * Channels];
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

} // namespace vesmo::graphics
