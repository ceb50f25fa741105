#pragma once
// vesmo::vk::Renderpass: a render pass over one colour image and a depth buffer of its own, with the
// framebuffers it needs.
//
//     vesmo::vk::Renderpass overlay(device, renderer->GetOutputImageFormat(), width, height,
//                                   renderer->GetOutputImageUsage());
//     overlay.Begin(commandBuffer, renderer->GetOutputVkImageView());   // loads what is there
//     pipeline.Bind(commandBuffer, renderer->GetDescriptorSet());
//     pipeline.Draw(commandBuffer, 3, 1);
//     overlay.End(commandBuffer);
//
// The colour attachment is loaded (not cleared, unless `clear` is given to Begin) and stored; it is in
// VK_IMAGE_LAYOUT_GENERAL before and after the pass, the layout in which the engine keeps its frame images.
// `usage` is the colour image's usage: the engine's output image and swapchain images have Swapchain's
// default usage (27). The depth buffer (VK_FORMAT_D32_SFLOAT) is cleared to 1.0 at each Begin.
// Begin sets the viewport and scissor to the whole extent (they are dynamic in every GraphicsPipeline).
//
// A framebuffer is made on first use for each target view and kept; the pass is made again (new object)
// when the extent or format changes, which is what the renderer's RefreshViewport does.
//
// Without a device the pass is an empty object that keeps its format and extent; Begin and End do nothing.

#include "vesmo/vk/Image.hpp"

#include <vulkan/vulkan.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vesmo::vk {

class Device;

class Renderpass {
public:
    Renderpass() = default;
    Renderpass(Device* device, VkFormat format, uint32_t width, uint32_t height, VkImageUsageFlags usage,
               bool depth = true, const std::string& name = {});
    ~Renderpass();

    Renderpass(Renderpass&& other) noexcept;
    Renderpass& operator=(Renderpass&& other) noexcept;
    Renderpass(const Renderpass&) = delete;
    Renderpass& operator=(const Renderpass&) = delete;

    VkRenderPass Handle() const { return _renderpass; }
    VkFormat Format() const { return _format; }
    uint32_t Width() const { return _width; }
    uint32_t Height() const { return _height; }
    VkExtent2D Extent() const { return {_width, _height}; }
    VkImageUsageFlags Usage() const { return _usage; }
    bool HasDepth() const { return _depth; }

    // `target` must be a view of an image of Format(), Width() x Height(), in VK_IMAGE_LAYOUT_GENERAL.
    // With `clear` the colour is cleared to `clearColor` instead of loaded.
    void Begin(VkCommandBuffer commandBuffer, VkImageView target, bool clear = false,
               VkClearColorValue clearColor = {});
    void End(VkCommandBuffer commandBuffer);

    void Destroy();

private:
    Device* _device = nullptr;
    VkRenderPass _renderpass = VK_NULL_HANDLE;   // loads colour
    VkRenderPass _clearingPass = VK_NULL_HANDLE; // clears colour; compatible with _renderpass
    VkFormat _format = VK_FORMAT_UNDEFINED;
    uint32_t _width = 0, _height = 0;
    VkImageUsageFlags _usage = 0;
    bool _depth = true;
    Image _depthImage;
    ImageView _depthView;
    std::vector<std::pair<VkImageView, VkFramebuffer>> _framebuffers;
};

} // namespace vesmo::vk
