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
#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>
#pragma GCC diagnostic pop

#include "vesmo/vk/Device.hpp"

#include <algorithm>
#include <cstring>

namespace vesmo::graphics {

Texture::Texture(uint32_t width, uint32_t height, std::vector<uint8_t> pixels, std::string path)
    : _width(width), _height(height), _pixels(std::move(pixels)), _path(std::move(path)) {
    _pixels.resize(static_cast<size_t>(width) * height * Channels, 0);
}

Texture::Texture(uint32_t width, uint32_t height, std::string path)
    : _width(width), _height(height), _path(std::move(path)) {}

Texture::~Texture() = default;

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

void Texture::SaveFile(const std::string& path, uint32_t width, uint32_t height, uint32_t channels, bool isFloat,
                       const void* data, int quality) {
    const size_t count = static_cast<size_t>(width) * height * channels;
    const std::string extension = path.size() >= 4 ? path.substr(path.size() - 4) : std::string();
    const int w = static_cast<int>(width), h = static_cast<int>(height), c = static_cast<int>(channels);
    int ok = 0;
    if (extension == ".hdr") {
        if (isFloat) {
            ok = stbi_write_hdr(path.c_str(), w, h, c, static_cast<const float*>(data));
        } else {
            std::vector<float> values(count);
            for (size_t i = 0; i < count; ++i)
                values[i] = static_cast<const uint8_t*>(data)[i] / 255.0f;
            ok = stbi_write_hdr(path.c_str(), w, h, c, values.data());
        }
    } else {
        // 8-bit formats: float data is clamped to [0, 1] and scaled.
        std::vector<uint8_t> bytes;
        const uint8_t* source = static_cast<const uint8_t*>(data);
        if (isFloat) {
            bytes.resize(count);
            const float* values = static_cast<const float*>(data);
            for (size_t i = 0; i < count; ++i)
                bytes[i] = static_cast<uint8_t>(std::clamp(values[i], 0.0f, 1.0f) * 255.0f + 0.5f);
            source = bytes.data();
        }
        if (extension == ".png")
            ok = stbi_write_png(path.c_str(), w, h, c, source, w * c);
        else if (extension == ".jpg" || extension == "jpeg")
            ok = stbi_write_jpg(path.c_str(), w, h, c, source, quality > 0 ? quality : 90);
        else if (extension == ".bmp")
            ok = stbi_write_bmp(path.c_str(), w, h, c, source);
        else if (extension == ".tga")
            ok = stbi_write_tga(path.c_str(), w, h, c, source);
    }
    if (!ok)
        throw std::runtime_error("Cannot save image " + path);
}

void Texture::Upload(vk::Device* device) {
    if (!device)
        return;
    std::lock_guard lock(_deviceMutex);
    if (_image)
        return;
    auto image = std::make_unique<vk::Image>(device, _width, _height, VK_FORMAT_R8G8B8A8_UNORM,
                                             VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT |
                                                 VK_IMAGE_USAGE_TRANSFER_SRC_BIT,
                                             _path.empty() ? std::string("Texture") : "Texture " + _path);
    image->Upload(_pixels.data(), _pixels.size(), VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    _view = std::make_unique<vk::ImageView>(device, *image, "Texture view " + _path);
    _image = std::move(image);
}

void Texture::Push(VkCommandBuffer) {}

void Texture::Reload() {
    if (_path.empty())
        return;
    std::shared_ptr<Texture> loaded = Load(_path);
    std::lock_guard lock(_deviceMutex);
    _width = loaded->_width;
    _height = loaded->_height;
    _pixels = std::move(loaded->_pixels);
    if (_image) {
        // A file of another size needs an image of another size; the old one may still be read by frames in
        // flight, so the device waits first.
        vk::Device* device = _image->GetDevice();
        device->WaitIdle();
        _view.reset();
        _image.reset();
        auto image = std::make_unique<vk::Image>(device, _width, _height, VK_FORMAT_R8G8B8A8_UNORM,
                                                 VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT |
                                                     VK_IMAGE_USAGE_TRANSFER_SRC_BIT,
                                                 "Texture " + _path);
        image->Upload(_pixels.data(), _pixels.size(), VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
        _view = std::make_unique<vk::ImageView>(device, *image, "Texture view " + _path);
        _image = std::move(image);
    }
}

VkImageView Texture::GetImageView() const {
    std::lock_guard lock(_deviceMutex);
    return _view ? _view->Handle() : VK_NULL_HANDLE;
}

} // namespace vesmo::graphics
