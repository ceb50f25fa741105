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
//
// The texture table. Everything that shaders sample by index (voxel materials, mesh textures, the font
// atlas, compute textures) sits in one table of (texture, sampler) slots, and an index into it is what GPU
// records carry. Slots are only appended, so an index stays valid until ClearTextures() empties the table
// (the game does so when it stops). AddTextures appends a group in one piece: its slots are contiguous and
// the result is the index of the first, which is how a voxel type finds all its textures from one number.
// Indices are 32-bit, but the records that carry them keep 16 bits, so a table is meant to stay below
// 65536 slots. The table has a lock of its own: any thread may add textures, also while a frame runs.
// Without a device a slot keeps the texture's host pixels and the sampler handle as given; the device face
// uploads the pixels and binds the slots to the bindless descriptor array.

#include "vesmo/graphics/Texture.hpp"
#include "vesmo/graphics/VulkanRenderer.hpp"

#include <glm/mat4x4.hpp>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

// As Vulkan declares it on 64-bit targets, so that this header needs no Vulkan header.
typedef struct VkSampler_T* VkSampler;

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

    // One slot of the texture table.
    struct TextureSlot {
        vesmo::graphics::TextureRef texture;
        VkSampler sampler = nullptr;
    };

    // Loads an image file (vesmo::graphics::Texture::Load, which throws for a file it can't read) and
    // appends it with GetTextureSampler(). Returns its index.
    uint32_t AddTexture(const std::string& path);
    // Appends `texture` with `sampler` (null: GetTextureSampler()). Returns its index.
    uint32_t AddTexture(const vesmo::graphics::TextureRef& texture, VkSampler sampler = nullptr);
    // Appends the group in the given order, in one piece, samplers as given, and returns the index of its
    // first slot. An empty group appends nothing and returns the index that the next slot will have.
    uint32_t AddTextures(const std::vector<std::tuple<vesmo::graphics::TextureRef, VkSampler>>& group);
    // Empties the table; the next texture gets index 0 again.
    void ClearTextures();
    uint32_t TextureCount() const;
    // A copy of slot `index`; an empty slot past the end.
    TextureSlot GetTexture(uint32_t index) const;
    // The sampler that textures of materials (voxel types, meshes) are paired with. Without a device there
    // is none and the handle is null; the device face returns its linear, clamped texture sampler.
    virtual VkSampler GetTextureSampler() const { return nullptr; }

    glm::dmat4 inverseViewMatrix{1.0};
    glm::dmat4 cameraLocalTransform{1.0};

private:
    std::atomic<uint64_t> _frames = 0;
    mutable std::mutex _texturesMutex; // guards _textures
    std::vector<TextureSlot> _textures;
};

} // namespace vesmo::renderer
