#pragma once
// The engine's frame pipeline on top of VulkanRenderer: one Frame() runs the frame's steps in a fixed
// order, and a derived renderer (the game's) turns each step into module hooks.
//
// Frame() between StartRendering() and StopRendering(), in this order:
//
//   BeginFrame
//   FrameCollectGarbage          objects dropped two frames ago may go now
//   FrameInit                    per-frame settings, camera, origin
//   FrameBeforeUpdate  FrameUpdate  FrameAfterUpdate
//   FrameUpdateDescriptorSets
//   FrameUpdateUi
//   FrameBeforeRender
//   FramePushCommands  FrameBuildCommands  FrameRenderCommands      (command buffer)
//   FrameAfterRender
//   FrameBeforePost
//   FrameResolveCommands  FramePostCommands  FrameBlitCommands  FrameOverlayCommands   (command buffer)
//   EndFrame
//
// Without a device the command buffer is VK_NULL_HANDLE and BeginFrame/EndFrame only count frames.
//
// The camera matrices are the engine's: `inverseViewMatrix` (camera to world) and `cameraLocalTransform`
// (the camera's transform inside its own frame), both column-major, identity until the camera's owner
// writes them. Their product places the audio listener (Game::Update).

#include "vesmo/graphics/VulkanRenderer.hpp"

#include <glm/mat4x4.hpp>

#include <atomic>
#include <cstdint>

namespace vesmo::renderer {

class VesmoRenderer : public vesmo::graphics::VulkanRenderer {
public:
    VesmoRenderer(vesmo::graphics::Window* window, const char* name, uint32_t flags);
    ~VesmoRenderer() override;

    virtual void BeginFrame();
    virtual void EndFrame();

    virtual void FrameCollectGarbage() {}
    virtual void FrameUpdateDescriptorSets() {}
    virtual void FrameBeforePost() {}
    virtual void FrameInit() {}
    virtual void FrameUpdateUi() {}
    virtual void FrameBeforeUpdate() {}
    virtual void FrameUpdate() {}
    virtual void FrameBeforeRender() {}
    virtual void FrameAfterRender() {}
    virtual void FrameAfterUpdate() {}
    virtual void FramePushCommands(VkCommandBuffer) {}
    virtual void FrameBuildCommands(VkCommandBuffer) {}
    virtual void FrameRenderCommands(VkCommandBuffer) {}
    virtual void FrameResolveCommands(VkCommandBuffer) {}
    virtual void FrameBlitCommands(VkCommandBuffer) {}
    virtual void FramePostCommands(VkCommandBuffer) {}
    virtual void FrameOverlayCommands(VkCommandBuffer) {}
    // One frame; does nothing while rendering is off.
    virtual void Frame();

    uint64_t FrameCount() const { return _frames.load(); }

    glm::dmat4 inverseViewMatrix{1.0};
    glm::dmat4 cameraLocalTransform{1.0};

private:
    std::atomic<uint64_t> _frames = 0;
};

} // namespace vesmo::renderer
