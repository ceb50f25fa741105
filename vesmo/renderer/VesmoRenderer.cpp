#include "vesmo/renderer/VesmoRenderer.hpp"

namespace vesmo::renderer {

VesmoRenderer::VesmoRenderer(vesmo::graphics::Window* window, const char* name, uint32_t flags)
    : VulkanRenderer(window, name, flags) {}

VesmoRenderer::~VesmoRenderer() = default;

void VesmoRenderer::BeginFrame() {}

void VesmoRenderer::EndFrame() { ++_frames; }

void VesmoRenderer::Frame() {
    if (!IsRendering())
        return;
    BeginFrame();
    VkCommandBuffer commands = nullptr; // no device, nothing to record into
    FrameCollectGarbage();
    FrameInit();
    FrameBeforeUpdate();
    FrameUpdate();
    FrameAfterUpdate();
    FrameUpdateDescriptorSets();
    FrameUpdateUi();
    FrameBeforeRender();
    FramePushCommands(commands);
    FrameBuildCommands(commands);
    FrameRenderCommands(commands);
    FrameAfterRender();
    FrameBeforePost();
    FrameResolveCommands(commands);
    FramePostCommands(commands);
    FrameBlitCommands(commands);
    FrameOverlayCommands(commands);
    EndFrame();
}

} // namespace vesmo::renderer
