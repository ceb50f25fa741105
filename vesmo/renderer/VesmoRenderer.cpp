#include "vesmo/renderer/VesmoRenderer.hpp"

#include "vesmo/vk/Vk.hpp"

#include <glm/gtc/matrix_inverse.hpp>

#include <chrono>
#include <cstdio>
#include <cstring>

namespace vesmo::renderer {

namespace {

double Seconds() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

} // namespace

VesmoRenderer::VesmoRenderer(vesmo::graphics::Window* window, const char* name, uint32_t flags,
                             const vesmo::vk::PhysicalDevice::Features& features, bool vsync)
    : VulkanRenderer(window, name, flags, features, vsync) {
    vesmo::vk::Device* device = GetDevice();
    if (!device) {
        _data.emplace_back(nullptr, 1, 0, "VesmoRendererData");
        return;
    }
    _textureSampler = vesmo::vk::Sampler(device, vesmo::vk::Sampler::LinearClamp(), "Texture sampler");
    const VkPhysicalDeviceLimits& limits = device->Physical().Properties().limits;
    uint32_t capacity = limits.maxPerStageDescriptorSampledImages;
    if (limits.maxDescriptorSetSampledImages < capacity)
        capacity = limits.maxDescriptorSetSampledImages;
    // A few sampled images are left to the passes' own sets; 4096 is plenty on any GPU.
    capacity = capacity > 8 ? capacity - 8 : capacity;
    _textureCapacity = capacity < 4096 ? capacity : 4096;
    const std::vector<uint8_t> white = {255, 255, 255, 255};
    _white = std::make_shared<vesmo::graphics::Texture>(1, 1, white, "");
    _white->Upload(device);
    CreateDescriptors();
}

VesmoRenderer::~VesmoRenderer() {
    WaitIdle();
    if (_imguiStarted)
        StopImGui();
    DestroyDescriptors();
}

void VesmoRenderer::CreateDescriptors() {
    vesmo::vk::Device* device = GetDevice();
    VkDevice handle = device->Handle();
    const VkDescriptorSetLayoutBinding bindings[] = {
        {0, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 1, VK_SHADER_STAGE_ALL, nullptr},
        {1, VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE, _textureCapacity, VK_SHADER_STAGE_ALL, nullptr},
        {2, VK_DESCRIPTOR_TYPE_SAMPLER, SamplerCapacity, VK_SHADER_STAGE_ALL, nullptr},
        {3, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, 1, VK_SHADER_STAGE_ALL, nullptr},
    };
    VkDescriptorSetLayoutCreateInfo layout{VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO};
    layout.bindingCount = 4;
    layout.pBindings = bindings;
    vesmo::vk::Check(vkCreateDescriptorSetLayout(handle, &layout, nullptr, &_setLayout), "vkCreateDescriptorSetLayout");
    const VkDescriptorPoolSize sizes[] = {
        {VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, FRAMES_IN_FLIGHT},
        {VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE, _textureCapacity * FRAMES_IN_FLIGHT},
        {VK_DESCRIPTOR_TYPE_SAMPLER, SamplerCapacity * FRAMES_IN_FLIGHT},
        {VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, FRAMES_IN_FLIGHT},
    };
    VkDescriptorPoolCreateInfo pool{VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO};
    pool.maxSets = FRAMES_IN_FLIGHT;
    pool.poolSizeCount = 4;
    pool.pPoolSizes = sizes;
    vesmo::vk::Check(vkCreateDescriptorPool(handle, &pool, nullptr, &_pool), "vkCreateDescriptorPool");
    VkDescriptorSetLayout layouts[FRAMES_IN_FLIGHT];
    for (VkDescriptorSetLayout& l : layouts)
        l = _setLayout;
    VkDescriptorSetAllocateInfo allocate{VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO};
    allocate.descriptorPool = _pool;
    allocate.descriptorSetCount = FRAMES_IN_FLIGHT;
    allocate.pSetLayouts = layouts;
    vesmo::vk::Check(vkAllocateDescriptorSets(handle, &allocate, _sets.data()), "vkAllocateDescriptorSets");
    for (uint32_t i = 0; i < FRAMES_IN_FLIGHT; ++i) {
        _data.emplace_back(device, 1, VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT, "VesmoRendererData");
        _slotSamplers.emplace_back(device, _textureCapacity, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                                   "Texture table samplers");
        device->SetName(VK_OBJECT_TYPE_DESCRIPTOR_SET, _sets[i], "VesmoRenderer set " + std::to_string(i));
    }
    _imageInfos.resize(_textureCapacity);
    _samplerInfos.resize(SamplerCapacity);
    _boundSamplers.reserve(SamplerCapacity);
    _texturesChanged = (1u << FRAMES_IN_FLIGHT) - 1;
    for (uint32_t i = 0; i < FRAMES_IN_FLIGHT; ++i) {
        _frameIndexForWrite = i;
        WriteDescriptors();
    }
    _frameIndexForWrite = 0;
}

void VesmoRenderer::DestroyDescriptors() {
    vesmo::vk::Device* device = GetDevice();
    if (!device)
        return;
    _data.clear();
    _slotSamplers.clear();
    if (_pool)
        vkDestroyDescriptorPool(device->Handle(), _pool, nullptr);
    if (_setLayout)
        vkDestroyDescriptorSetLayout(device->Handle(), _setLayout, nullptr);
    _pool = VK_NULL_HANDLE;
    _setLayout = VK_NULL_HANDLE;
}

// Writes the table into the set of the slot `_frameIndexForWrite`, whose last frame has finished.
void VesmoRenderer::WriteDescriptors() {
    const uint32_t slot = _frameIndexForWrite;
    VkDescriptorImageInfo* images = _imageInfos.data();
    VkDescriptorImageInfo* samplers = _samplerInfos.data();
    uint32_t* slotSampler = _slotSamplers[slot].Data();
    uint32_t bound = 0;
    {
        std::lock_guard lock(_texturesMutex);
        if (!(_texturesChanged & (1u << slot)))
            return;
        _texturesChanged &= ~(1u << slot);
        _boundSamplers.clear();
        _boundSamplers.push_back(_textureSampler.Handle());
        if (_textures.size() > _textureCapacity && !_capacityWarned) {
            _capacityWarned = true;
            std::fprintf(stderr, "Texture table: %zu textures, this device binds %u; the rest show white\n",
                         _textures.size(), _textureCapacity);
        }
        bound = static_cast<uint32_t>(_textures.size() < _textureCapacity ? _textures.size() : _textureCapacity);
        for (uint32_t i = 0; i < _textureCapacity; ++i) {
            const vesmo::graphics::Texture* texture = i < bound ? _textures[i].texture.get() : nullptr;
            VkImageView view = texture ? texture->GetImageView() : VK_NULL_HANDLE;
            if (!view)
                texture = _white.get();
            images[i] = {VK_NULL_HANDLE, texture->GetImageView(), texture->GetImageLayout()};
            VkSampler sampler = i < bound && _textures[i].sampler ? _textures[i].sampler : _textureSampler.Handle();
            uint32_t index = 0;
            while (index < _boundSamplers.size() && _boundSamplers[index] != sampler)
                ++index;
            if (index == _boundSamplers.size()) {
                if (_boundSamplers.size() < SamplerCapacity)
                    _boundSamplers.push_back(sampler);
                else
                    index = 0; // more distinct samplers than bindings: the texture sampler stands in
            }
            slotSampler[i] = index;
        }
    }
    for (uint32_t i = 0; i < SamplerCapacity; ++i)
        samplers[i] = {i < _boundSamplers.size() ? _boundSamplers[i] : _textureSampler.Handle(), VK_NULL_HANDLE,
                       VK_IMAGE_LAYOUT_UNDEFINED};
    _data[slot][0].textureCount = bound;
    const VkDescriptorBufferInfo data{_data[slot].Handle(), 0, sizeof(VesmoRendererData)};
    const VkDescriptorBufferInfo table{_slotSamplers[slot].Handle(), 0, _slotSamplers[slot].SizeBytes()};
    VkWriteDescriptorSet writes[4]{};
    for (uint32_t i = 0; i < 4; ++i) {
        writes[i] = {VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET};
        writes[i].dstSet = _sets[slot];
        writes[i].dstBinding = i;
    }
    writes[0].descriptorCount = 1;
    writes[0].descriptorType = VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER;
    writes[0].pBufferInfo = &data;
    writes[1].descriptorCount = _textureCapacity;
    writes[1].descriptorType = VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE;
    writes[1].pImageInfo = images;
    writes[2].descriptorCount = SamplerCapacity;
    writes[2].descriptorType = VK_DESCRIPTOR_TYPE_SAMPLER;
    writes[2].pImageInfo = samplers;
    writes[3].descriptorCount = 1;
    writes[3].descriptorType = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    writes[3].pBufferInfo = &table;
    vkUpdateDescriptorSets(GetDevice()->Handle(), 4, writes, 0, nullptr);
}

void VesmoRenderer::FillRendererData() {
    VesmoRendererData& d = GetRendererData();
    const double now = Seconds();
    const glm::dmat4 cameraToWorld = inverseViewMatrix * cameraLocalTransform;
    d.inverseViewMatrix = glm::mat4(cameraToWorld);
    d.viewMatrix = glm::mat4(glm::inverse(cameraToWorld));
    d.projectionMatrix = projectionMatrix;
    d.inverseProjectionMatrix = glm::inverse(projectionMatrix);
    const VkExtent2D output = GetOutputImageExtent();
    d.extent = glm::ivec4(output.width, output.height, static_cast<int>(output.width * renderScale),
                          static_cast<int>(output.height * renderScale));
    d.frameCount = static_cast<uint32_t>(FrameCount());
    d.frameIndex = GetFrameIndex();
    d.time = static_cast<float>(now - _startTime);
    d.deltaTime = static_cast<float>(now - _lastTime);
    _lastTime = now;
    d.renderFlags = renderFlags;
    d.renderScale = renderScale;
    d.brightness = brightness;
    d.contrast = contrast;
    d.gamma = gamma;
    d.fov = fov;
    d.upscalingSharpness = upscalingSharpness;
    d.finalUpscale = finalUpscale;
    d.debugValue = debugValue;
    d.upscalingQualitySetting = upscalingQualitySetting;
    d.upscalingAlgo = static_cast<int32_t>(upscalingAlgo);
    d.clearColor = clearColor;
    d.vsync = vsync ? 1u : 0u;
    d.devTools = devTools ? 1u : 0u;
}

void VesmoRenderer::Frame() {
    if (!IsRendering())
        return;
    if (!BeginFrame())
        return;
    if (_startTime == 0.0)
        _startTime = _lastTime = Seconds();
    VkCommandBuffer commands = GetCommandBuffer(); // null without a device: nothing to record into
    if (commands) {
        vesmo::vk::Image* output = GetOutputImage();
        const VkClearColorValue color{{clearColor.r, clearColor.g, clearColor.b, clearColor.a}};
        const VkImageSubresourceRange range{VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
        output->Transition(commands, VK_IMAGE_LAYOUT_GENERAL);
        vkCmdClearColorImage(commands, output->Handle(), VK_IMAGE_LAYOUT_GENERAL, &color, 1, &range);
        output->Transition(commands, VK_IMAGE_LAYOUT_GENERAL);
    }
    FrameCollectGarbage();
    FrameInit();
    FrameBeforeUpdate();
    FrameUpdate();
    FrameAfterUpdate();
    FrameUpdateDescriptorSets();
    if (commands) {
        _frameIndexForWrite = GetFrameIndex();
        WriteDescriptors();
    }
    FillRendererData();
    if (_imgui)
        BeginImGuiFrame();
    FrameUpdateUi();
    if (_imgui)
        EndImGuiFrame();
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
    if (_imgui && commands)
        DrawImGui(commands);
    EndFrame();
}

VkDescriptorSet VesmoRenderer::GetDescriptorSet() const {
    return GetDevice() ? _sets[GetFrameIndex()] : VK_NULL_HANDLE;
}

VesmoRendererData& VesmoRenderer::GetRendererData() { return _data[GetDevice() ? GetFrameIndex() : 0][0]; }

VkBuffer VesmoRenderer::GetRendererDataBuffer() const {
    return GetDevice() ? _data[GetFrameIndex()].Handle() : VK_NULL_HANDLE;
}

uint32_t VesmoRenderer::AddTexture(const std::string& path) {
    // Decoded before the lock: a large file must not hold up other threads' additions.
    return AddTexture(vesmo::graphics::Texture::Load(path), GetTextureSampler());
}

uint32_t VesmoRenderer::AddTexture(const vesmo::graphics::TextureRef& texture, VkSampler sampler) {
    if (texture)
        texture->Upload(GetDevice());
    std::lock_guard lock(_texturesMutex);
    _textures.push_back({texture, sampler ? sampler : GetTextureSampler()});
    _texturesChanged = (1u << FRAMES_IN_FLIGHT) - 1;
    return static_cast<uint32_t>(_textures.size() - 1);
}

uint32_t VesmoRenderer::AddTextures(const std::vector<std::tuple<vesmo::graphics::TextureRef, VkSampler>>& group) {
    for (const auto& [texture, sampler] : group)
        if (texture)
            texture->Upload(GetDevice());
    std::lock_guard lock(_texturesMutex);
    const auto first = static_cast<uint32_t>(_textures.size());
    for (const auto& [texture, sampler] : group)
        _textures.push_back({texture, sampler});
    _texturesChanged = (1u << FRAMES_IN_FLIGHT) - 1;
    return first;
}

void VesmoRenderer::ClearTextures() {
    std::lock_guard lock(_texturesMutex);
    _textures.clear();
    _texturesChanged = (1u << FRAMES_IN_FLIGHT) - 1;
}

uint32_t VesmoRenderer::TextureCount() const {
    std::lock_guard lock(_texturesMutex);
    return static_cast<uint32_t>(_textures.size());
}

VesmoRenderer::TextureSlot VesmoRenderer::GetTexture(uint32_t index) const {
    std::lock_guard lock(_texturesMutex);
    return index < _textures.size() ? _textures[index] : TextureSlot{};
}

int VesmoRenderer::SaveImage(VkImage image, VkOffset2D offset, VkExtent2D extent, VkFormat format, VkImageLayout layout,
                             const std::string& path, int quality, bool forceOpaque) {
    uint32_t channels = 0, bytesPerPixel = 0;
    bool isFloat = false, opaqueHonoured = false;
    switch (format) {
    case VK_FORMAT_R8_UNORM: channels = 1, bytesPerPixel = 1; break;
    case VK_FORMAT_R8G8_UNORM: channels = 2, bytesPerPixel = 2; break;
    case VK_FORMAT_R8G8B8_UNORM: channels = 3, bytesPerPixel = 3; break;
    case VK_FORMAT_R8G8B8A8_UNORM:
    case VK_FORMAT_B8G8R8A8_UNORM: channels = 4, bytesPerPixel = 4, opaqueHonoured = true; break;
    case VK_FORMAT_R32_SFLOAT: channels = 1, bytesPerPixel = 4, isFloat = true; break;
    case VK_FORMAT_R32G32_SFLOAT: channels = 2, bytesPerPixel = 8, isFloat = true; break;
    case VK_FORMAT_R32G32B32A32_SFLOAT: channels = 4, bytesPerPixel = 16, isFloat = true, opaqueHonoured = true; break;
    default: return 0;
    }
    vesmo::vk::Device* device = GetDevice();
    if (!device || !image)
        return 0;
    const VkDeviceSize bytes = static_cast<VkDeviceSize>(extent.width) * extent.height * bytesPerPixel;
    vesmo::vk::Buffer buffer(device, bytes, VK_BUFFER_USAGE_TRANSFER_DST_BIT, VMA_MEMORY_USAGE_GPU_TO_CPU, 0,
                             "SaveImage Tmp Buffer", true);
    vesmo::vk::CommandBuffer::Run(device, "renderer::SaveImage", [&](VkCommandBuffer commandBuffer) {
        // The copy reads from TRANSFER_SRC: the image goes there and back to its layout.
        const VkImageLayout from = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
        VkImageMemoryBarrier2 barrier{VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER_2};
        barrier.srcStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT;
        barrier.srcAccessMask = VK_ACCESS_2_MEMORY_WRITE_BIT;
        barrier.dstStageMask = VK_PIPELINE_STAGE_2_COPY_BIT;
        barrier.dstAccessMask = VK_ACCESS_2_TRANSFER_READ_BIT;
        barrier.oldLayout = layout;
        barrier.newLayout = from;
        barrier.srcQueueFamilyIndex = barrier.dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
        barrier.image = image;
        barrier.subresourceRange = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};
        VkDependencyInfo dependency{VK_STRUCTURE_TYPE_DEPENDENCY_INFO};
        dependency.imageMemoryBarrierCount = 1;
        dependency.pImageMemoryBarriers = &barrier;
        vkCmdPipelineBarrier2(commandBuffer, &dependency);
        VkBufferImageCopy region{};
        region.bufferOffset = 0;
        region.bufferRowLength = 0;
        region.bufferImageHeight = 0;
        region.imageSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
        region.imageOffset = {offset.x, offset.y, 0};
        region.imageExtent = {extent.width, extent.height, 1};
        vkCmdCopyImageToBuffer(commandBuffer, image, from, buffer.Handle(), 1, &region);
        barrier.srcStageMask = VK_PIPELINE_STAGE_2_COPY_BIT;
        barrier.srcAccessMask = 0;
        barrier.dstStageMask = VK_PIPELINE_STAGE_2_ALL_COMMANDS_BIT;
        barrier.dstAccessMask = VK_ACCESS_2_MEMORY_READ_BIT | VK_ACCESS_2_MEMORY_WRITE_BIT;
        barrier.oldLayout = from;
        barrier.newLayout = layout;
        vkCmdPipelineBarrier2(commandBuffer, &dependency);
        // The host reads the buffer after the fence.
        VkMemoryBarrier2 host{VK_STRUCTURE_TYPE_MEMORY_BARRIER_2};
        host.srcStageMask = VK_PIPELINE_STAGE_2_COPY_BIT;
        host.srcAccessMask = VK_ACCESS_2_TRANSFER_WRITE_BIT;
        host.dstStageMask = VK_PIPELINE_STAGE_2_HOST_BIT;
        host.dstAccessMask = VK_ACCESS_2_HOST_READ_BIT;
        VkDependencyInfo toHost{VK_STRUCTURE_TYPE_DEPENDENCY_INFO};
        toHost.memoryBarrierCount = 1;
        toHost.pMemoryBarriers = &host;
        vkCmdPipelineBarrier2(commandBuffer, &toHost);
    });
    if (!buffer.GetDevice() || !buffer.Data())
        return 0;
    auto* pixels = static_cast<uint8_t*>(buffer.Data());
    const size_t count = static_cast<size_t>(extent.width) * extent.height;
    if (format == VK_FORMAT_B8G8R8A8_UNORM)
        for (size_t i = 0; i < count; ++i)
            std::swap(pixels[i * 4], pixels[i * 4 + 2]);
    if (forceOpaque && opaqueHonoured) {
        for (size_t i = 0; i < count; ++i) {
            if (isFloat)
                reinterpret_cast<float*>(pixels)[i * 4 + 3] = 1.0f;
            else
                pixels[i * 4 + 3] = 255;
        }
    }
    vesmo::graphics::Texture::SaveFile(path, extent.width, extent.height, channels, isFloat, pixels, quality);
    return 1;
}

int VesmoRenderer::SaveOutputImage(const std::string& path, bool forceOpaque) {
    vesmo::vk::Image* output = GetOutputImage();
    if (!output)
        return 0;
    WaitIdle();
    return SaveImage(output->Handle(), {0, 0}, output->Extent(), output->Format(), VK_IMAGE_LAYOUT_GENERAL, path, 0,
                     forceOpaque);
}

} // namespace vesmo::renderer
