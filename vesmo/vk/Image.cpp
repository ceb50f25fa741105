#include "vesmo/vk/Image.hpp"

#include "vesmo/vk/Buffer.hpp"
#include "vesmo/vk/CommandBuffer.hpp"
#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#include <cstring>
#include <utility>

namespace vesmo::vk {

Image::Image(Device* device, uint32_t width, uint32_t height, VkFormat format, VkImageUsageFlags usage,
             const std::string& name, VmaMemoryUsage memoryUsage, uint32_t mipLevels)
    : _device(device), _extent{width, height}, _format(format), _usage(usage), _mipLevels(mipLevels) {
    if (!device)
        return;
    VkImageCreateInfo info{VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO};
    info.imageType = VK_IMAGE_TYPE_2D;
    info.format = format;
    info.extent = {width, height, 1};
    info.mipLevels = mipLevels;
    info.arrayLayers = 1;
    info.samples = VK_SAMPLE_COUNT_1_BIT;
    info.tiling = VK_IMAGE_TILING_OPTIMAL;
    info.usage = usage;
    info.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
    info.initialLayout = VK_IMAGE_LAYOUT_UNDEFINED;
    Check(vkCreateImage(device->Handle(), &info, nullptr, &_image), "vkCreateImage");
    VkMemoryRequirements requirements;
    vkGetImageMemoryRequirements(device->Handle(), _image, &requirements);
    try {
        _allocation = device->Memory().Allocate(requirements, memoryUsage, false, 0, true);
        Check(vkBindImageMemory(device->Handle(), _image, _allocation.memory, _allocation.offset), "vkBindImageMemory");
    } catch (...) {
        device->Memory().Free(_allocation);
        vkDestroyImage(device->Handle(), _image, nullptr);
        throw;
    }
    device->SetName(VK_OBJECT_TYPE_IMAGE, _image, name);
}

Image::~Image() { Destroy(); }

Image::Image(Image&& other) noexcept { *this = std::move(other); }

Image& Image::operator=(Image&& other) noexcept {
    if (this != &other) {
        Destroy();
        _device = other._device;
        _image = std::exchange(other._image, VK_NULL_HANDLE);
        _allocation = std::exchange(other._allocation, Allocation{});
        _extent = other._extent;
        _format = other._format;
        _usage = other._usage;
        _mipLevels = other._mipLevels;
        _layout = other._layout;
    }
    return *this;
}

void Image::Destroy() {
    if (_image) {
        vkDestroyImage(_device->Handle(), _image, nullptr);
        _device->Memory().Free(_allocation);
        _image = VK_NULL_HANDLE;
    }
}

bool Image::IsDepthFormat(VkFormat format) {
    return format == VK_FORMAT_D32_SFLOAT || format == VK_FORMAT_D16_UNORM || format == VK_FORMAT_D24_UNORM_S8_UINT ||
           format == VK_FORMAT_D32_SFLOAT_S8_UINT || format == VK_FORMAT_X8_D24_UNORM_PACK32;
}

uint32_t Image::TexelSize(VkFormat format) {
    switch (format) {
    case VK_FORMAT_R8_UNORM: return 1;
    case VK_FORMAT_R8G8_UNORM: return 2;
    case VK_FORMAT_R8G8B8_UNORM: return 3;
    case VK_FORMAT_R8G8B8A8_UNORM:
    case VK_FORMAT_R8G8B8A8_SRGB:
    case VK_FORMAT_B8G8R8A8_UNORM:
    case VK_FORMAT_B8G8R8A8_SRGB:
    case VK_FORMAT_R32_SFLOAT:
    case VK_FORMAT_D32_SFLOAT: return 4;
    case VK_FORMAT_R32G32_SFLOAT: return 8;
    case VK_FORMAT_R32G32B32A32_SFLOAT: return 16;
    default: return 0;
    }
}

void Image::Transition(VkCommandBuffer commandBuffer, VkImageLayout newLayout) {
    if (!_image)
        return;
    VkImageMemoryBarrier2 barrier{VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER_2};
    barrier.srcStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT;
    barrier.srcAccessMask = VK_ACCESS_2_MEMORY_WRITE_BIT;
    barrier.dstStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT;
    barrier.dstAccessMask = VK_ACCESS_2_MEMORY_READ_BIT | VK_ACCESS_2_MEMORY_WRITE_BIT;
    barrier.oldLayout = _layout;
    barrier.newLayout = newLayout;
    barrier.srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    barrier.dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    barrier.image = _image;
    barrier.subresourceRange = {
        static_cast<VkImageAspectFlags>(IsDepthFormat(_format) ? VK_IMAGE_ASPECT_DEPTH_BIT : VK_IMAGE_ASPECT_COLOR_BIT),
        0, _mipLevels, 0, 1};
    VkDependencyInfo dependency{VK_STRUCTURE_TYPE_DEPENDENCY_INFO};
    dependency.imageMemoryBarrierCount = 1;
    dependency.pImageMemoryBarriers = &barrier;
    vkCmdPipelineBarrier2(commandBuffer, &dependency);
    _layout = newLayout;
}

void Image::Upload(const void* bytes, VkDeviceSize size, VkImageLayout finalLayout) {
    if (!_image)
        return;
    Buffer staging(_device, size, 0, VMA_MEMORY_USAGE_CPU_ONLY, 0, "Image upload staging");
    std::memcpy(staging.Data(), bytes, static_cast<size_t>(size));
    CommandBuffer::Run(_device, "vk::Image::Upload", [&](VkCommandBuffer commandBuffer) {
        Transition(commandBuffer, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
        VkBufferImageCopy region{};
        region.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
        region.imageExtent = {_extent.width, _extent.height, 1};
        vkCmdCopyBufferToImage(commandBuffer, staging.Handle(), _image, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1,
                               &region);
        Transition(commandBuffer, finalLayout);
    });
}

ImageView::ImageView(Device* device, const Image& image, const std::string& name)
    : ImageView(device, image.Handle(), image.Format(), name) {}

ImageView::ImageView(Device* device, VkImage image, VkFormat format, const std::string& name) : _device(device) {
    if (!device || !image)
        return;
    VkImageViewCreateInfo info{VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO};
    info.image = image;
    info.viewType = VK_IMAGE_VIEW_TYPE_2D;
    info.format = format;
    info.subresourceRange = {static_cast<VkImageAspectFlags>(Image::IsDepthFormat(format) ? VK_IMAGE_ASPECT_DEPTH_BIT
                                                                                          : VK_IMAGE_ASPECT_COLOR_BIT),
                             0, VK_REMAINING_MIP_LEVELS, 0, 1};
    Check(vkCreateImageView(device->Handle(), &info, nullptr, &_view), "vkCreateImageView");
    device->SetName(VK_OBJECT_TYPE_IMAGE_VIEW, _view, name);
}

ImageView::~ImageView() { Destroy(); }

ImageView::ImageView(ImageView&& other) noexcept { *this = std::move(other); }

ImageView& ImageView::operator=(ImageView&& other) noexcept {
    if (this != &other) {
        Destroy();
        _device = other._device;
        _view = std::exchange(other._view, VK_NULL_HANDLE);
    }
    return *this;
}

void ImageView::Destroy() {
    if (_view) {
        vkDestroyImageView(_device->Handle(), _view, nullptr);
        _view = VK_NULL_HANDLE;
    }
}

} // namespace vesmo::vk
