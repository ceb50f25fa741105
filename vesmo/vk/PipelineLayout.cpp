#include "vesmo/vk/PipelineLayout.hpp"

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#include <utility>

namespace vesmo::vk {

PipelineLayout::PipelineLayout(Device* device, const std::vector<VkDescriptorSetLayout>& setLayouts,
                               const std::vector<VkPushConstantRange>& pushConstants, const std::string& name)
    : _device(device) {
    for (const VkPushConstantRange& range : pushConstants)
        _pushStages |= range.stageFlags;
    if (!device)
        return;
    VkPipelineLayoutCreateInfo info{VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO};
    info.setLayoutCount = static_cast<uint32_t>(setLayouts.size());
    info.pSetLayouts = setLayouts.data();
    info.pushConstantRangeCount = static_cast<uint32_t>(pushConstants.size());
    info.pPushConstantRanges = pushConstants.data();
    Check(vkCreatePipelineLayout(device->Handle(), &info, nullptr, &_layout), "vkCreatePipelineLayout");
    device->SetName(VK_OBJECT_TYPE_PIPELINE_LAYOUT, _layout, name);
}

PipelineLayout::~PipelineLayout() { Destroy(); }

PipelineLayout::PipelineLayout(PipelineLayout&& other) noexcept { *this = std::move(other); }

PipelineLayout& PipelineLayout::operator=(PipelineLayout&& other) noexcept {
    if (this != &other) {
        Destroy();
        _device = other._device;
        _layout = std::exchange(other._layout, VK_NULL_HANDLE);
        _pushStages = other._pushStages;
    }
    return *this;
}

void PipelineLayout::Push(VkCommandBuffer commandBuffer, const void* data, uint32_t size, uint32_t offset) const {
    if (_layout && commandBuffer)
        vkCmdPushConstants(commandBuffer, _layout, _pushStages, offset, size, data);
}

void PipelineLayout::Destroy() {
    if (_layout) {
        vkDestroyPipelineLayout(_device->Handle(), _layout, nullptr);
        _layout = VK_NULL_HANDLE;
    }
}

} // namespace vesmo::vk
