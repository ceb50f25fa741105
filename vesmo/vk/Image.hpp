#pragma once
// vesmo::vk::Image and vesmo::vk::ImageView: a 2D image with its memory, and a view of it.
//
// An Image knows its layout: Transition records a barrier from the layout it was left in to the new one
// and remembers the new one, so code that passes images between passes only says where it wants them.
// Layouts changed behind its back (by a render pass's final layout, by other code) are told with
// SetLayout. Images of the engine's frame stay in VK_IMAGE_LAYOUT_GENERAL between steps.
//
// Without a device (device null) both are empty objects that keep their size, format and usage, so code
// that asks for extents and formats runs the same.

#include "vesmo/vk/MemoryAllocator.hpp"

#include <vulkan/vulkan.h>

#include <cstdint>
#include <string>

namespace vesmo::vk {

class Device;

class Image {
public:
    Image() = default;
    Image(Device* device, uint32_t width, uint32_t height, VkFormat format, VkImageUsageFlags usage,
          const std::string& name = {}, VmaMemoryUsage memoryUsage = VMA_MEMORY_USAGE_GPU_ONLY, uint32_t mipLevels = 1);
    ~Image();

    Image(Image&& other) noexcept;
    Image& operator=(Image&& other) noexcept;
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    VkImage Handle() const { return _image; }
    uint32_t Width() const { return _extent.width; }
    uint32_t Height() const { return _extent.height; }
    VkExtent2D Extent() const { return _extent; }
    VkFormat Format() const { return _format; }
    VkImageUsageFlags Usage() const { return _usage; }
    uint32_t MipLevels() const { return _mipLevels; }
    VkImageLayout Layout() const { return _layout; }
    Device* GetDevice() const { return _device; }

    // Records a full barrier (all commands before and after) for the colour (or depth) aspect, all mips.
    void Transition(VkCommandBuffer commandBuffer, VkImageLayout newLayout);
    void SetLayout(VkImageLayout layout) { _layout = layout; }

    // Fills mip 0 with `bytes` (tightly packed rows, Width() * Height() texels) through a staging buffer,
    // waits, and leaves the image in `finalLayout`.
    void Upload(const void* bytes, VkDeviceSize size, VkImageLayout finalLayout);

    void Destroy();

    // Bytes per texel of the formats the engine uploads and saves (0 for others).
    static uint32_t TexelSize(VkFormat format);
    static bool IsDepthFormat(VkFormat format);

private:
    Device* _device = nullptr;
    VkImage _image = VK_NULL_HANDLE;
    Allocation _allocation;
    VkExtent2D _extent{0, 0};
    VkFormat _format = VK_FORMAT_UNDEFINED;
    VkImageUsageFlags _usage = 0;
    uint32_t _mipLevels = 1;
    VkImageLayout _layout = VK_IMAGE_LAYOUT_UNDEFINED;
};

class ImageView {
public:
    ImageView() = default;
    // A 2D view of all mips; the aspect follows the format (depth or colour).
    ImageView(Device* device, const Image& image, const std::string& name = {});
    // A 2D view of a foreign image (a swapchain's).
    ImageView(Device* device, VkImage image, VkFormat format, const std::string& name = {});
    ~ImageView();

    ImageView(ImageView&& other) noexcept;
    ImageView& operator=(ImageView&& other) noexcept;
    ImageView(const ImageView&) = delete;
    ImageView& operator=(const ImageView&) = delete;

    VkImageView Handle() const { return _view; }
    void Destroy();

private:
    Device* _device = nullptr;
    VkImageView _view = VK_NULL_HANDLE;
};

} // namespace vesmo::vk
