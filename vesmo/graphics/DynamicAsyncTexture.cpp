#include "vesmo/graphics/DynamicAsyncTexture.hpp"

#include "vesmo/graphics/ImageDecoder.hpp"
#include "vesmo/graphics/VulkanRenderer.hpp"
#include "vesmo/vk/Device.hpp"

#include <cstring>
#include <utility>

namespace vesmo::graphics {

DynamicAsyncTexture::DynamicAsyncTexture(std::uint32_t width, std::uint32_t height)
    : Texture(width, height, std::string()), _content(static_cast<std::size_t>(width) * height * Channels, 0) {}

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
    _content.swap(pixels);
    ++_generation;
    return true; // the old content is freed after the lock is released
}

std::uint64_t DynamicAsyncTexture::Generation() const {
    std::lock_guard guard(_mutex);
    return _generation;
}

std::uint64_t DynamicAsyncTexture::CopyPixels(std::vector<unsigned char>& out) const {
    std::lock_guard guard(_mutex);
    out = _content;
    return _generation;
}

std::array<unsigned char, 4> DynamicAsyncTexture::Pixel(std::uint32_t x, std::uint32_t y) const {
    std::array<unsigned char, 4> pixel{};
    if (x >= _width || y >= _height)
        return pixel;
    std::lock_guard guard(_mutex);
    std::memcpy(pixel.data(), &_content[(static_cast<std::size_t>(y) * _width + x) * Channels], Channels);
    return pixel;
}

void DynamicAsyncTexture::Upload(vk::Device* device) {
    if (!device)
        return;
    std::vector<unsigned char> content;
    const std::uint64_t generation = CopyPixels(content);
    std::lock_guard lock(_deviceMutex);
    if (_image)
        return;
    auto image = std::make_unique<vk::Image>(device, _width, _height, VK_FORMAT_R8G8B8A8_UNORM,
                                             VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT |
                                                 VK_IMAGE_USAGE_TRANSFER_SRC_BIT,
                                             "DynamicAsyncTexture");
    image->Upload(content.data(), content.size(), VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    _view = std::make_unique<vk::ImageView>(device, *image, "DynamicAsyncTexture view");
    _image = std::move(image);
    _pushedGeneration = generation;
    const VkDeviceSize bytes = static_cast<VkDeviceSize>(_width) * _height * Channels;
    for (std::uint32_t i = 0; i < VulkanRenderer::FRAMES_IN_FLIGHT; ++i)
        _staging.emplace_back(device, bytes, 0, VMA_MEMORY_USAGE_CPU_TO_GPU, 0, "DynamicAsyncTexture staging");
}

void DynamicAsyncTexture::Push(VkCommandBuffer commandBuffer) {
    if (!commandBuffer || _staging.empty())
        return;
    vk::Buffer& staging = _staging[_nextStaging];
    {
        std::lock_guard guard(_mutex);
        if (_generation == _pushedGeneration)
            return;
        std::memcpy(staging.Data(), _content.data(), _content.size());
        _pushedGeneration = _generation;
    }
    _nextStaging = (_nextStaging + 1) % static_cast<std::uint32_t>(_staging.size());
    _image->Transition(commandBuffer, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
    VkBufferImageCopy region{};
    region.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
    region.imageExtent = {_width, _height, 1};
    vkCmdCopyBufferToImage(commandBuffer, staging.Handle(), _image->Handle(), VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1,
                           &region);
    _image->Transition(commandBuffer, VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
}

} // namespace vesmo::graphics
