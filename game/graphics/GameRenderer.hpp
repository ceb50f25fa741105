#pragma once
// game::graphics::GameRenderer: the one renderer of the client, reached through Game::renderer.
//
// It turns every step of the engine's frame into a module hook, walked in the module host's order: all
// GAME_Mod modules for some steps, a sorted list ("update", "render", "post", "overlay", "ui") for others.
// A module that doesn't export a hook is skipped. It also owns the trash: GPU objects may still be used by
// the frames in flight, so nobody destroys one where it is dropped; it goes to Trash() and is released two
// collections later.
//
// This class grows with the rendering work (presets, the settings carried into the render block, the
// world origin, the aim table, overlay pipelines, shaders). What stands here is the hook table, the trash
// and the frame entry, on the engine's renderer without a device.
//
// Threads: the Frame operations run on the render thread one at a time. Trash() may be called from any
// thread; CollectTrash() and CollectAllTrash() run on the render thread and take no lock, so a Trash()
// from another thread must not meet a collection (trashMutex orders pushes against pushes only).

#include "vesmo/renderer/VesmoRenderer.hpp"
#include "vesmo/vk/PipelineLayout.hpp"
#include "vesmo/vk/Renderpass.hpp"

#include <memory>
#include <mutex>
#include <vector>

namespace game::graphics {

class GameRenderer : public vesmo::renderer::VesmoRenderer {
public:
    GameRenderer(vesmo::graphics::Window* window, const char* name, uint32_t flags);
    ~GameRenderer() override;

    void RefreshViewport() override; // base, then "Renderer_RefreshViewport" (all modules)
    // The overlay pass over the output image, then the UI pipelines for it; unloaded in reverse.
    void CreateSwapchainDependantObjects() override;
    void DestroySwapchainDependantObjects() override;
    void StartRendering() override;            // base, then "Renderer_StartRendering" (all modules)
    void StopRendering() override;             // "Renderer_StopRendering" (all modules), then base
    void FrameCollectGarbage() override;       // "Renderer_FrameCollectGarbage" (all), then CollectTrash()
    void FrameUpdateDescriptorSets() override; // all modules
    void FrameBeforePost() override;           // all modules
    void FrameInit() override;                 // all modules
    void FrameUpdateUi() override;             // sorted "ui"
    void FrameBeforeUpdate() override;         // sorted "update"
    void FrameUpdate() override;               // sorted "update"
    void FrameBeforeRender() override;         // sorted "render"
    void FrameAfterRender() override;          // sorted "render"
    void FrameAfterUpdate() override;          // sorted "update"
    void FramePushCommands(VkCommandBuffer commandBuffer) override;    // all modules
    void FrameBuildCommands(VkCommandBuffer commandBuffer) override;   // all modules
    void FrameRenderCommands(VkCommandBuffer commandBuffer) override;  // sorted "render"
    void FrameResolveCommands(VkCommandBuffer commandBuffer) override; // sorted "post"
    void FrameBlitCommands(VkCommandBuffer commandBuffer) override;    // sorted "post"
    void FramePostCommands(VkCommandBuffer commandBuffer) override;    // sorted "post"
    void FrameOverlayCommands(VkCommandBuffer commandBuffer) override; // sorted "overlay"
    // Rebuilds the UI style first when `resetUiStyle` is set, then the engine's frame.
    void Frame() override;

    // Runs once before the device goes away: releases everything the trash holds.
    void Cleanup();

    // Keeps `object` until two collections have passed. Any thread.
    void Trash(std::shared_ptr<void> object);
    // Releases what was trashed before the previous collection; what was trashed since moves up a
    // generation. Render thread only.
    void CollectTrash();
    // Collects until nothing is left.
    void CollectAllTrash();

    // The pass of FrameOverlayCommands, where the UI elements draw, and the layout of its pipelines: the
    // engine's descriptor set and 128 bytes of push constants for all stages.
    vesmo::vk::Renderpass overlayRenderpass;
    vesmo::vk::PipelineLayout overlayPipelineLayout;

    bool resetUiStyle = false;
    std::mutex trashMutex;
    std::vector<std::shared_ptr<void>> trashNew;
    std::vector<std::shared_ptr<void>> trashOld;
};

} // namespace game::graphics
