#include "vesmo/graphics/DynamicAsyncTexture.hpp"

#include "vesmo/graphics/ImageDecoder.hpp"

#include <cstring>
#include <utility>

namespace vesmo::graphics {

DynamicAsyncTexture::DynamicAsyncTexture(std::uint32_t width, std::uint32_t height)
    : _width(width), _height(height), _pixels(static_cast<std::size_t>(width) * height * Channels, 0) {}

bool DynamicAsyncTexture::Load(const unsigned char* data, unsigned long size) {
    DecodedImage image;
    if (!DecodeImageRgba8(data, size, image))
        return false;

    std::vector<unsigned char> pixels;
    if (image.width == _width && image.height == _height) {
        pixels = std::move(image.pixels);
    } else {
        pixels.resize(static_cast<std::size_t>(_width) * _height * Channels);
        for (std::uint32_t y = 0; y < _height; ++y) {
            const std::uint64_t sourceY = static_cast<std::uint64_t>(y) * image.height / _height;
            for (std::uint32_t x = 0; x < _width; ++x) {
                const std::uint64_t sourceX = static_cast<std::uint64_t>(x) * image.width / _width;
                std::memcpy(&pixels[(static_cast<std::size_t>(y) * _width + x) * Channels],
                            &image.pixels[(sourceY * image.width + sourceX) * Channels], Channels);
            }
        }
    }

    std::lock_guard guard(_mutex);
    _pixels.swap(pixels);
    ++_generation;
    return true; // the old content is freed after the lock is released
}

std::uint64_t DynamicAsyncTexture::Generation() const {
    std::lock_guard guard(_mutex);
    return _generation;
}

std::uint64_t DynamicAsyncTexture::CopyPixels(std::vector<unsigned char>& out) const {
    std::lock_guard guard(_mutex);
    out = _pixels;
    return _generation;
}

std::array<unsigned char, 4> DynamicAsyncTexture::Pixel(std::uint32_t x, std::uint32_t y) const {
    std::array<unsigned char, 4> pixel{};
    if (x >= _width || y >= _height)
        return pixel;
    std::lock_guard guard(_mutex);
    std::memcpy(pixel.data(), &_pixels[(static_cast<std::size_t>(y) * _width + x) * Channels], Channels);
    return pixel;
}

} // namespace vesmo::graphics
