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

uint32_t VesmoRenderer::AddTexture(const std::string& path) {
    // Decoded before the lock: a large file must not hold up other threads' additions.
    return AddTexture(vesmo::graphics::Texture::Load(path), GetTextureSampler());
}

uint32_t VesmoRenderer::AddTexture(const vesmo::graphics::TextureRef& texture, VkSampler sampler) {
    std::lock_guard lock(_texturesMutex);
    _textures.push_back({texture, sampler ? sampler : GetTextureSampler()});
    return static_cast<uint32_t>(_textures.size() - 1);
}

uint32_t VesmoRenderer::AddTextures(const std::vector<std::tuple<vesmo::graphics::TextureRef, VkSampler>>& group) {
    std::lock_guard lock(_texturesMutex);
    const auto first = static_cast<uint32_t>(_textures.size());
    for (const auto& [texture, sampler] : group)
        _textures.push_back({texture, sampler});
    return first;
}

void VesmoRenderer::ClearTextures() {
    std::lock_guard lock(_texturesMutex);
    _textures.clear();
}

uint32_t VesmoRenderer::TextureCount() const {
    std::lock_guard lock(_texturesMutex);
    return static_cast<uint32_t>(_textures.size());
}

VesmoRenderer::TextureSlot VesmoRenderer::GetTexture(uint32_t index) const {
    std::lock_guard lock(_texturesMutex);
    return index < _textures.size() ? _textures[index] : TextureSlot{};
}

} // namespace vesmo::renderer
