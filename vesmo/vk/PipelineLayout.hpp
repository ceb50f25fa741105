#pragma once
// vesmo::vk::PipelineLayout: descriptor set layouts and push-constant ranges of a pipeline.
//
//     vesmo::vk::PipelineLayout layout(device, {renderer->GetDescriptorSetLayout()},
//                                      {{VK_SHADER_STAGE_ALL, 0, 128}});
//
// Without a device the layout is an empty object.

#include <vulkan/vulkan.h>

#include <string>
#include <vector>

namespace vesmo::vk {

class Device;

class PipelineLayout {
public:
    PipelineLayout() = default;
    PipelineLayout(Device* device, const std::vector<VkDescriptorSetLayout>& setLayouts,
                   const std::vector<VkPushConstantRange>& pushConstants, const std::string& name = {});
    ~PipelineLayout();

    PipelineLayout(PipelineLayout&& other) noexcept;
    PipelineLayout& operator=(PipelineLayout&& other) noexcept;
    PipelineLayout(const PipelineLayout&) = delete;
    PipelineLayout& operator=(const PipelineLayout&) = delete;

    VkPipelineLayout Handle() const { return _layout; }
    // The stages of the push-constant ranges together: what Push uses.
    VkShaderStageFlags PushStages() const { return _pushStages; }
    // vkCmdPushConstants over the stages of the ranges.
    void Push(VkCommandBuffer commandBuffer, const void* data, uint32_t size, uint32_t offset = 0) const;
    void Destroy();

private:
    Device* _device = nullptr;
    VkPipelineLayout _layout = VK_NULL_HANDLE;
    VkShaderStageFlags _pushStages = 0;
};

} // namespace vesmo::vk
