#pragma once
// vesmo::graphics::ComputeTexture: a texture that lives on the device only, written by a compute shader
// and sampled by others.
//
//     auto noise = std::make_shared<vesmo::graphics::ComputeTexture>(renderer, 256, 256,
//                                                                    VK_FORMAT_R32G32_SFLOAT, 0);
//     uint16_t index = renderer->AddTexture(noise);
//     // a compute pass binds noise->GetStorageView() (VK_IMAGE_LAYOUT_GENERAL) and writes it
//
// The image has VK_IMAGE_USAGE_STORAGE_BIT | SAMPLED_BIT | TRANSFER_SRC_BIT | TRANSFER_DST_BIT and the
// extra `usage` given; it stays in VK_IMAGE_LAYOUT_GENERAL, where it can be written and sampled alike, and
// starts cleared to zero. It comes with a view and a linear, clamped sampler. Debug names begin with
// "ComputeTexture [" ("ComputeTexture [256x256 VK_FORMAT_R32G32_SFLOAT]").
//
// There is no file to read: Reload() is refused with the assertion "!\"Cannot reload a compute texture\"".
// Without a device (an engine that has none) the texture keeps its size and format, and has no image.

#include "vesmo/graphics/Texture.hpp"
#include "vesmo/vk/Sampler.hpp"

#include <vulkan/vulkan.h>

#include <cstdint>

namespace vesmo::graphics {
class VulkanRenderer;
}

namespace vesmo {
// The engine object that owns the device: the renderer.
using VulkanEngine = graphics::VulkanRenderer;
} // namespace vesmo

namespace vesmo::graphics {

class ComputeTexture : public Texture {
public:
    ComputeTexture(vesmo::VulkanEngine* engine, uint32_t width, uint32_t height, VkFormat format,
                   VkImageUsageFlags usage);
    ~ComputeTexture() override;

    VkFormat Format() const { return _format; }
    VkSampler GetSampler() const { return _sampler.Handle(); }
    // The same view as GetImageView(); in VK_IMAGE_LAYOUT_GENERAL.
    VkImageView GetStorageView() const { return GetImageView(); }

    // The image is made in the constructor: nothing to upload.
    void Upload(vk::Device* device) override;
    void Reload() override;

private:
    VkFormat _format;
    vk::Sampler _sampler;
};

} // namespace vesmo::graphics
