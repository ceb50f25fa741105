#include "vesmo/graphics/ComputeTexture.hpp"

#include "vesmo/core/Assert.hpp"
#include "vesmo/graphics/VulkanRenderer.hpp"
#include "vesmo/vk/CommandBuffer.hpp"
#include "vesmo/vk/Vk.hpp"

#include <string>

namespace vesmo::graphics {

namespace {

std::string FormatName(VkFormat format) {
    switch (format) {
    case VK_FORMAT_R8G8B8A8_UNORM: return "VK_FORMAT_R8G8B8A8_UNORM";
    case VK_FORMAT_R32_SFLOAT: return "VK_FORMAT_R32_SFLOAT";
    case VK_FORMAT_R32G32_SFLOAT: return "VK_FORMAT_R32G32_SFLOAT";
    case VK_FORMAT_R32G32B32A32_SFLOAT: return "VK_FORMAT_R32G32B32A32_SFLOAT";
    case VK_FORMAT_R16G16B16A16_SFLOAT: return "VK_FORMAT_R16G16B16A16_SFLOAT";
    default: return "VkFormat " + std::to_string(static_cast<int>(format));
    }
}

} // namespace

ComputeTexture::ComputeTexture(vesmo::VulkanEngine* engine, uint32_t width, uint32_t height, VkFormat format,
                               VkImageUsageFlags usage)
    : Texture(width, height, std::string()), _format(format) {
    vk::Device* device = engine ? engine->GetDevice() : nullptr;
    const std::string name =
        "ComputeTexture [" + std::to_string(width) + "x" + std::to_string(height) + " " + FormatName(format) + "]";
    _path = name;
    _sampledLayout = VK_IMAGE_LAYOUT_GENERAL;
    _sampler = vk::Sampler(device, vk::Sampler::LinearClamp(), name + " sampler");
    if (!device)
        return;
    _image = std::make_unique<vk::Image>(device, width, height, format,
                                         usage | VK_IMAGE_USAGE_STORAGE_BIT | VK_IMAGE_USAGE_SAMPLED_BIT |
                                             VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT,
                                         name);
    _view = std::make_unique<vk::ImageView>(device, *_image, name + " view");
    // Zero, in the layout where compute writes and shaders sample.
    vk::CommandBuffer::Run(device, "ComputeTexture clear", [&](VkCommandBuffer commandBuffer) {
        _image->Transition(commandBuffer, VK_IMAGE_LAYOUT_GENERAL);
        const VkClearColorValue zero{};
        const VkImageSubresourceRange range{VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
        vkCmdClearColorImage(commandBuffer, _image->Handle(), VK_IMAGE_LAYOUT_GENERAL, &zero, 1, &range);
        _image->Transition(commandBuffer, VK_IMAGE_LAYOUT_GENERAL);
    });
}

ComputeTexture::~ComputeTexture() = default;

void ComputeTexture::Upload(vk::Device*) {}

void ComputeTexture::Reload() { VESMO_ASSERT(!"Cannot reload a compute texture"); }

} // namespace vesmo::graphics
