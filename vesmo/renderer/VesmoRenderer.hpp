#pragma once
// The engine's frame pipeline on top of VulkanRenderer: one Frame() runs the frame's steps in a fixed
// order, and a derived renderer (the game's) turns each step into module hooks.
//
// Frame() between StartRendering() and StopRendering(), in this order:
//
//   BeginFrame                   (false: a minimised window, nothing else runs)
//   FrameCollectGarbage          objects dropped two frames ago may go now
//   FrameInit                    per-frame settings, camera, origin
//   FrameBeforeUpdate  FrameUpdate  FrameAfterUpdate
//   FrameUpdateDescriptorSets    (after it the engine writes the texture table and the render block)
//   ImGui's new frame, FrameUpdateUi, ImGui's render        (only with EnableImGui)
//   FrameBeforeRender
//   FramePushCommands  FrameBuildCommands  FrameRenderCommands      (command buffer)
//   FrameAfterRender
//   FrameBeforePost
//   FrameResolveCommands  FramePostCommands  FrameBlitCommands  FrameOverlayCommands   (command buffer)
//   ImGui's draw data onto the output image                 (only with EnableImGui and a device)
//   EndFrame
//
// The command buffer is the frame's (VulkanRenderer::GetCommandBuffer()), VK_NULL_HANDLE without a device.
// The output image is in VK_IMAGE_LAYOUT_GENERAL at each step and must be left so. It starts each frame
// cleared to `clearColor`.
//
// The camera matrices are the engine's: `inverseViewMatrix` (camera to world) and `cameraLocalTransform`
// (the camera's transform inside its own frame), both column-major, identity until the camera's owner
// writes them. Their product places the audio listener (Game::Update).
//
// The render block. `VesmoRendererData` (below) is a uniform record in a mapped buffer per frame in
// flight, binding 0 of the engine's descriptor set; the engine fills it from the public fields after
// FrameUpdateDescriptorSets, and GetRendererData() gives the current frame's record to read or adjust
// until the render steps.
//
// The engine's descriptor set (one layout, one set per frame in flight; GetDescriptorSetLayout(),
// GetDescriptorSet()), for every stage:
//   binding 0  uniform buffer     VesmoRendererData
//   binding 1  sampled images     the texture table, TextureCapacity() entries
//   binding 2  samplers           SamplerCapacity entries: the distinct samplers of the table
//   binding 3  storage buffer     uint per table slot: which of binding 2 samples that slot
// GLSL reads a slot as
//   texture(sampler2D(textures[i], samplers[textureSamplers[i]]), uv)
// (vesmo/renderer/shaders/textures.glsl declares all this). Lavapipe has no descriptor indexing, so the
// table is a plain array of fixed size (and, lacking shaderSampledImageArrayDynamicIndexing, lavapipe's
// shaders index it with constants only): TextureCapacity() is what the device allows per stage (about 120 on
// lavapipe, 4096 at most), every entry is written, and entries past the table show a 1 x 1 white texture.
// Textures added past the capacity stay in the table but aren't bound (a line on stderr says so once).
//
// The texture table. Everything that shaders sample by index (voxel materials, mesh textures, the font
// atlas, compute textures) sits in one table of (texture, sampler) slots, and an index into it is what GPU
// records carry. Slots are only appended, so an index stays valid until ClearTextures() empties the table
// (the game does so when it stops). AddTextures appends a group in one piece: its slots are contiguous and
// the result is the index of the first, which is how a voxel type finds all its textures from one number.
// Indices are 32-bit, but the records that carry them keep 16 bits, so a table is meant to stay below
// 65536 slots. The table has a lock of its own: any thread may add textures, also while a frame runs. On a
// device, adding uploads the texture (Texture::Upload) before the call returns, and the descriptor sets
// take it from the next frame on. Without a device a slot keeps the texture's host pixels and the sampler
// handle as given (null).
//
// Saving. SaveImage copies any image of the device to a file (screenshots, tests).

#include "vesmo/graphics/Texture.hpp"
#include "vesmo/graphics/VulkanRenderer.hpp"
#include "vesmo/renderer/Upscaler.hpp"
#include "vesmo/vk/MappedBuffer.hpp"
#include "vesmo/vk/Renderpass.hpp"
#include "vesmo/vk/Sampler.hpp"

#include <glm/mat4x4.hpp>
#include <glm/vec4.hpp>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

namespace vesmo::renderer {

// The render block, std140 (the GLSL declaration is in vesmo/renderer/shaders/textures.glsl). 368 bytes.
struct VesmoRendererData {
    glm::mat4 viewMatrix;              // world (relative to the origin the game keeps) to camera
    glm::mat4 projectionMatrix;        // camera to clip, Vulkan's depth 0 to 1, y down
    glm::mat4 inverseViewMatrix;       // camera to world
    glm::mat4 inverseProjectionMatrix; // clip to camera
    glm::ivec4 extent;                 // output width, height; render width, height
    uint32_t frameCount;               // frames ended before this one
    uint32_t frameIndex;               // slot in flight
    float time;                        // seconds since StartRendering
    float deltaTime;                   // seconds since the last frame
    int32_t renderFlags;               // the game's bit set
    float renderScale;
    float brightness;
    float contrast;
    float gamma;
    float fov; // vertical, degrees
    float upscalingSharpness;
    float finalUpscale;
    float debugValue;
    int32_t upscalingQualitySetting;
    int32_t upscalingAlgo; // Upscaler::Algo
    uint32_t textureCount; // slots bound (at most TextureCapacity())
    glm::vec4 clearColor;
    uint32_t vsync;
    uint32_t devTools;
    uint32_t pad0, pad1;
};
static_assert(sizeof(VesmoRendererData) == 368);

class VesmoRenderer : public vesmo::graphics::VulkanRenderer {
public:
    static constexpr uint32_t SamplerCapacity = 16;

    VesmoRenderer(vesmo::graphics::Window* window, const char* name, uint32_t flags,
                  const vesmo::vk::PhysicalDevice::Features& features = {}, bool vsync = true);
    ~VesmoRenderer() override;

    void CreateSwapchainDependantObjects() override;
    void DestroySwapchainDependantObjects() override;

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

    // ---- the texture table
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
    // The sampler that textures of materials (voxel types, meshes) are paired with: linear filters,
    // clamped to the edge. Null without a device.
    virtual VkSampler GetTextureSampler() const { return _textureSampler.Handle(); }
    // How many slots the descriptor set binds on this device (TextureCount() may be more).
    uint32_t TextureCapacity() const { return _textureCapacity; }

    // ---- the descriptor set and the render block
    // Null without a device.
    VkDescriptorSetLayout GetDescriptorSetLayout() const { return _setLayout; }
    // The set of the current frame slot.
    VkDescriptorSet GetDescriptorSet() const;
    // The current frame slot's render block (host memory without a device).
    VesmoRendererData& GetRendererData();
    // The buffer of the current slot's render block.
    VkBuffer GetRendererDataBuffer() const;

    // ---- saving images
    // Copies `extent` at `offset` of `image` (in `layout`, and left so) to a file (Texture::SaveFile; the
    // format follows the path's extension). The formats taken, by VkFormat number: R8 (9), R8G8 (16),
    // R8G8B8 (23), R8G8B8A8 (37), B8G8R8A8 (44; red and blue are put in their places), R32 float (100),
    // R32G32 float (103), R32G32B32A32 float (109). `forceOpaque` makes alpha 255 (1.0 for float) for
    // the four-channel formats. Returns 1 when written, 0 for another format or without a device.
    // SaveFile's exception passes through; the read-back buffer is freed in all cases.
    int SaveImage(VkImage image, VkOffset2D offset, VkExtent2D extent, VkFormat format, VkImageLayout layout,
                  const std::string& path, int quality = 0, bool forceOpaque = false);
    // The output image of the last frame, as SaveImage writes it.
    int SaveOutputImage(const std::string& path, bool forceOpaque = true);

    // ---- Dear ImGui
    // Makes Frame() run ImGui's frame around FrameUpdateUi (and, on a device, draw it last onto the output
    // image with Debian's imgui_impl_vulkan; with a GlfwWindow, imgui_impl_glfw feeds it input, its
    // callbacks chained to GlfwWindow's). The caller made the ImGui context before and keeps it until
    // StopRendering. Call once, before StartRendering.
    void EnableImGui();
    bool ImGuiEnabled() const { return _imgui; }

    // ---- the engine's fields that feed the render block; the game writes them each frame
    glm::dmat4 inverseViewMatrix{1.0};
    glm::dmat4 cameraLocalTransform{1.0};
    glm::mat4 projectionMatrix{1.0f};
    float renderScale = 1.0f;
    int upscalingQualitySetting = 1;
    float upscalingSharpness = 0.0f;
    float finalUpscale = 0.0f;
    float brightness = 0.0f;
    float contrast = 1.0f;
    float gamma = 1.0f;
    float fov = 70.0f;
    bool devTools = false;
    float debugValue = 0.0f;
    int renderFlags = 0;
    Upscaler::Algo upscalingAlgo = Upscaler::Algo::NONE;
    glm::vec4 clearColor{0.0f, 0.0f, 0.0f, 1.0f};

private:
    void CreateDescriptors();
    void DestroyDescriptors();
    void WriteDescriptors();
    void FillRendererData();
    void StartImGui();
    void StopImGui();
    void BeginImGuiFrame();
    void EndImGuiFrame();
    void DrawImGui(VkCommandBuffer commandBuffer);

    mutable std::mutex _texturesMutex; // guards _textures and _texturesChanged
    std::vector<TextureSlot> _textures;
    uint32_t _texturesChanged = 0; // bit per frame slot whose set is behind the table

    vesmo::vk::Sampler _textureSampler;
    uint32_t _textureCapacity = 0;
    bool _capacityWarned = false;
    vesmo::graphics::TextureRef _white; // what unused entries show
    VkDescriptorSetLayout _setLayout = VK_NULL_HANDLE;
    VkDescriptorPool _pool = VK_NULL_HANDLE;
    std::array<VkDescriptorSet, FRAMES_IN_FLIGHT> _sets{};
    std::vector<vesmo::vk::MappedBuffer<VesmoRendererData, VMA_MEMORY_USAGE_CPU_TO_GPU, 256, 256>> _data;
    std::vector<vesmo::vk::MappedBuffer<uint32_t, VMA_MEMORY_USAGE_CPU_TO_GPU, 256, 16>> _slotSamplers;
    uint32_t _frameIndexForWrite = 0;
    std::vector<VkDescriptorImageInfo> _imageInfos;   // scratch for WriteDescriptors, sized once
    std::vector<VkDescriptorImageInfo> _samplerInfos; // scratch
    std::vector<VkSampler> _boundSamplers;            // scratch
    bool _imgui = false;
    bool _imguiStarted = false;
    VkDescriptorPool _imguiPool = VK_NULL_HANDLE;
    std::unique_ptr<vesmo::vk::Renderpass> _imguiPass;
    double _startTime = 0.0, _lastTime = 0.0;
};

} // namespace vesmo::renderer
