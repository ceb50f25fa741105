#include "vesmo/graphics/VulkanRenderer.hpp"

namespace vesmo::graphics {

VulkanRenderer::VulkanRenderer(Window* window, const char* name, uint32_t flags)
    : _window(window), _name(name ? name : ""), _flags(flags) {}

VulkanRenderer::~VulkanRenderer() = default;

void VulkanRenderer::ReCreateSwapchain() {
    DestroySwapchainDependantObjects();
    CreateSwapchainDependantObjects();
    RefreshViewport();
}

void VulkanRenderer::StartRendering() {
    CreateSwapchainDependantObjects();
    _rendering = true;
}

void VulkanRenderer::StopRendering() {
    _rendering = false;
    DestroySwapchainDependantObjects();
}

} // namespace vesmo::graphics
