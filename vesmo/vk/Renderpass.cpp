#include "vesmo/vk/Renderpass.hpp"

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#include <utility>

namespace vesmo::vk {

namespace {

constexpr VkFormat DepthFormat = VK_FORMAT_D32_SFLOAT;

VkRenderPass MakePass(Device& device, VkFormat format, bool depth, VkAttachmentLoadOp colorLoad) {
    VkAttachmentDescription attachments[2]{};
    attachments[0].format = format;
    attachments[0].samples = VK_SAMPLE_COUNT_1_BIT;
    attachments[0].loadOp = colorLoad;
    attachments[0].storeOp = VK_ATTACHMENT_STORE_OP_STORE;
    attachments[0].stencilLoadOp = VK_ATTACHMENT_LOAD_OP_DONT_CARE;
    attachments[0].stencilStoreOp = VK_ATTACHMENT_STORE_OP_DONT_CARE;
    attachments[0].initialLayout = VK_IMAGE_LAYOUT_GENERAL;
    attachments[0].finalLayout = VK_IMAGE_LAYOUT_GENERAL;
    attachments[1].format = DepthFormat;
    attachments[1].samples = VK_SAMPLE_COUNT_1_BIT;
    attachments[1].loadOp = VK_ATTACHMENT_LOAD_OP_CLEAR;
    attachments[1].storeOp = VK_ATTACHMENT_STORE_OP_DONT_CARE;
    attachments[1].stencilLoadOp = VK_ATTACHMENT_LOAD_OP_DONT_CARE;
    attachments[1].stencilStoreOp = VK_ATTACHMENT_STORE_OP_DONT_CARE;
    attachments[1].initialLayout = VK_IMAGE_LAYOUT_UNDEFINED;
    attachments[1].finalLayout = VK_IMAGE_LAYOUT_DEPTH_STENCIL_ATTACHMENT_OPTIMAL;
    VkAttachmentReference color{0, VK_IMAGE_LAYOUT_GENERAL};
    VkAttachmentReference depthReference{1, VK_IMAGE_LAYOUT_DEPTH_STENCIL_ATTACHMENT_OPTIMAL};
    VkSubpassDescription subpass{};
    subpass.pipelineBindPoint = VK_PIPELINE_BIND_POINT_GRAPHICS;
    subpass.colorAttachmentCount = 1;
    subpass.pColorAttachments = &color;
    subpass.pDepthStencilAttachment = depth ? &depthReference : nullptr;
    // Whatever ran before (compute, transfers, other passes) is finished before the pass, and the pass is
    // finished before whatever follows: the frame's steps don't have to know each other.
    VkSubpassDependency dependencies[2]{};
    dependencies[0].srcSubpass = VK_SUBPASS_EXTERNAL;
    dependencies[0].dstSubpass = 0;
    dependencies[0].srcStageMask = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;
    dependencies[0].dstStageMask = VK_PIPELINE_STAGE_ALL_GRAPHICS_BIT;
    dependencies[0].srcAccessMask = VK_ACCESS_MEMORY_WRITE_BIT;
    dependencies[0].dstAccessMask = VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT;
    dependencies[1].srcSubpass = 0;
    dependencies[1].dstSubpass = VK_SUBPASS_EXTERNAL;
    dependencies[1].srcStageMask = VK_PIPELINE_STAGE_ALL_GRAPHICS_BIT;
    dependencies[1].dstStageMask = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;
    dependencies[1].srcAccessMask = VK_ACCESS_MEMORY_WRITE_BIT;
    dependencies[1].dstAccessMask = VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT;
    VkRenderPassCreateInfo info{VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO};
    info.attachmentCount = depth ? 2 : 1;
    info.pAttachments = attachments;
    info.subpassCount = 1;
    info.pSubpasses = &subpass;
    info.dependencyCount = 2;
    info.pDependencies = dependencies;
    VkRenderPass pass = VK_NULL_HANDLE;
    Check(vkCreateRenderPass(device.Handle(), &info, nullptr, &pass), "vkCreateRenderPass");
    return pass;
}

} // namespace

Renderpass::Renderpass(Device* device, VkFormat format, uint32_t width, uint32_t height, VkImageUsageFlags usage,
                       bool depth, const std::string& name)
    : _device(device), _format(format), _width(width), _height(height), _usage(usage), _depth(depth) {
    if (!device)
        return;
    _renderpass = MakePass(*device, format, depth, VK_ATTACHMENT_LOAD_OP_LOAD);
    _clearingPass = MakePass(*device, format, depth, VK_ATTACHMENT_LOAD_OP_CLEAR);
    device->SetName(VK_OBJECT_TYPE_RENDER_PASS, _renderpass, name);
    if (depth) {
        _depthImage =
            Image(device, width, height, DepthFormat, VK_IMAGE_USAGE_DEPTH_STENCIL_ATTACHMENT_BIT, name + " depth");
        _depthView = ImageView(device, _depthImage, name + " depth");
    }
}

Renderpass::~Renderpass() { Destroy(); }

Renderpass::Renderpass(Renderpass&& other) noexcept { *this = std::move(other); }

Renderpass& Renderpass::operator=(Renderpass&& other) noexcept {
    if (this != &other) {
        Destroy();
        _device = other._device;
        _renderpass = std::exchange(other._renderpass, VK_NULL_HANDLE);
        _clearingPass = std::exchange(other._clearingPass, VK_NULL_HANDLE);
        _format = other._format;
        _width = other._width;
        _height = other._height;
        _usage = other._usage;
        _depth = other._depth;
        _depthImage = std::move(other._depthImage);
        _depthView = std::move(other._depthView);
        _framebuffers = std::move(other._framebuffers);
        other._framebuffers.clear();
    }
    return *this;
}

void Renderpass::Begin(VkCommandBuffer commandBuffer, VkImageView target, bool clear, VkClearColorValue clearColor) {
    if (!_renderpass || !commandBuffer)
        return;
    VkFramebuffer framebuffer = VK_NULL_HANDLE;
    for (const auto& [view, made] : _framebuffers)
        if (view == target)
            framebuffer = made;
    if (!framebuffer) {
        const VkImageView views[] = {target, _depthView.Handle()};
        VkFramebufferCreateInfo info{VK_STRUCTURE_TYPE_FRAMEBUFFER_CREATE_INFO};
        info.renderPass = _renderpass;
        info.attachmentCount = _depth ? 2 : 1;
        info.pAttachments = views;
        info.width = _width;
        info.height = _height;
        info.layers = 1;
        Check(vkCreateFramebuffer(_device->Handle(), &info, nullptr, &framebuffer), "vkCreateFramebuffer");
        _framebuffers.emplace_back(target, framebuffer);
    }
    VkClearValue clears[2]{};
    clears[0].color = clearColor;
    clears[1].depthStencil = {1.0f, 0};
    VkRenderPassBeginInfo begin{VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO};
    begin.renderPass = clear ? _clearingPass : _renderpass;
    begin.framebuffer = framebuffer;
    begin.renderArea = {{0, 0}, {_width, _height}};
    begin.clearValueCount = _depth ? 2 : 1;
    begin.pClearValues = clears;
    vkCmdBeginRenderPass(commandBuffer, &begin, VK_SUBPASS_CONTENTS_INLINE);
    const VkViewport viewport{0.0f, 0.0f, static_cast<float>(_width), static_cast<float>(_height), 0.0f, 1.0f};
    const VkRect2D scissor{{0, 0}, {_width, _height}};
    vkCmdSetViewport(commandBuffer, 0, 1, &viewport);
    vkCmdSetScissor(commandBuffer, 0, 1, &scissor);
}

void Renderpass::End(VkCommandBuffer commandBuffer) {
    if (_renderpass && commandBuffer)
        vkCmdEndRenderPass(commandBuffer);
}

void Renderpass::Destroy() {
    if (!_device)
        return;
    for (const auto& framebuffer : _framebuffers)
        vkDestroyFramebuffer(_device->Handle(), framebuffer.second, nullptr);
    _framebuffers.clear();
    _depthView.Destroy();
    _depthImage.Destroy();
    if (_renderpass)
        vkDestroyRenderPass(_device->Handle(), _renderpass, nullptr);
    if (_clearingPass)
        vkDestroyRenderPass(_device->Handle(), _clearingPass, nullptr);
    _renderpass = _clearingPass = VK_NULL_HANDLE;
}

} // namespace vesmo::vk
