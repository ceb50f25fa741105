#include "vesmo/vk/Pipeline.hpp"

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/PipelineLayout.hpp"
#include "vesmo/vk/Shader.hpp"
#include "vesmo/vk/Vk.hpp"

#include <utility>

namespace vesmo::vk {

Pipeline::Pipeline(Device* device, const PipelineLayout& layout, const Shader& compute, const std::string& name)
    : _device(device), _layout(layout.Handle()), _pushStages(layout.PushStages()),
      _bindPoint(VK_PIPELINE_BIND_POINT_COMPUTE) {
    if (!device)
        return;
    VkComputePipelineCreateInfo info{VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO};
    info.stage = compute.StageInfo();
    info.layout = _layout;
    Check(vkCreateComputePipelines(device->Handle(), VK_NULL_HANDLE, 1, &info, nullptr, &_pipeline),
          "vkCreateComputePipelines");
    device->SetName(VK_OBJECT_TYPE_PIPELINE, _pipeline, name.empty() ? compute.Name() : name);
}

Pipeline::~Pipeline() { Destroy(); }

Pipeline::Pipeline(Pipeline&& other) noexcept { *this = std::move(other); }

Pipeline& Pipeline::operator=(Pipeline&& other) noexcept {
    if (this != &other) {
        Destroy();
        _device = other._device;
        _pipeline = std::exchange(other._pipeline, VK_NULL_HANDLE);
        _layout = other._layout;
        _pushStages = other._pushStages;
        _bindPoint = other._bindPoint;
    }
    return *this;
}

void Pipeline::Adopt(Device* device, VkPipeline pipeline, VkPipelineLayout layout, VkPipelineBindPoint bindPoint) {
    Destroy();
    _device = device;
    _pipeline = pipeline;
    _layout = layout;
    _bindPoint = bindPoint;
    // An adopted pipeline's push constants are pushed for every stage: its layout's range must say so.
    _pushStages = VK_SHADER_STAGE_ALL;
}

void Pipeline::Bind(VkCommandBuffer commandBuffer, VkDescriptorSet descriptorSet) const {
    if (!_pipeline || !commandBuffer)
        return;
    vkCmdBindPipeline(commandBuffer, _bindPoint, _pipeline);
    if (descriptorSet)
        vkCmdBindDescriptorSets(commandBuffer, _bindPoint, _layout, 0, 1, &descriptorSet, 0, nullptr);
}

void Pipeline::Push(VkCommandBuffer commandBuffer, const void* data, uint32_t size, uint32_t offset) const {
    if (_pipeline && commandBuffer && _pushStages)
        vkCmdPushConstants(commandBuffer, _layout, _pushStages, offset, size, data);
}

void Pipeline::Destroy() {
    if (_pipeline) {
        vkDestroyPipeline(_device->Handle(), _pipeline, nullptr);
        _pipeline = VK_NULL_HANDLE;
    }
}

} // namespace vesmo::vk
