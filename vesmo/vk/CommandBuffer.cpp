#include "vesmo/vk/CommandBuffer.hpp"

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

namespace vesmo::vk {

void CommandBuffer::Run(Device* device, const std::string& name, const std::function<void(VkCommandBuffer)>& record) {
    if (!device)
        return;
    std::lock_guard lock(device->_runMutex);
    VkCommandBufferAllocateInfo allocate{VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO};
    allocate.commandPool = device->_runPool;
    allocate.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
    allocate.commandBufferCount = 1;
    VkCommandBuffer commandBuffer = VK_NULL_HANDLE;
    Check(vkAllocateCommandBuffers(device->Handle(), &allocate, &commandBuffer), "vkAllocateCommandBuffers");
    VkFenceCreateInfo fenceInfo{VK_STRUCTURE_TYPE_FENCE_CREATE_INFO};
    VkFence fence = VK_NULL_HANDLE;
    Check(vkCreateFence(device->Handle(), &fenceInfo, nullptr, &fence), "vkCreateFence");

    struct Cleanup {
        Device* device;
        VkCommandBuffer commandBuffer;
        VkFence fence;
        ~Cleanup() {
            vkDestroyFence(device->Handle(), fence, nullptr);
            vkFreeCommandBuffers(device->Handle(), device->_runPool, 1, &commandBuffer);
        }
    } cleanup{device, commandBuffer, fence};

    VkCommandBufferBeginInfo begin{VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO};
    begin.flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT;
    Check(vkBeginCommandBuffer(commandBuffer, &begin), "vkBeginCommandBuffer");
    device->BeginLabel(commandBuffer, name.c_str());
    record(commandBuffer);
    device->EndLabel(commandBuffer);
    Check(vkEndCommandBuffer(commandBuffer), "vkEndCommandBuffer");

    VkCommandBufferSubmitInfo commands{VK_STRUCTURE_TYPE_COMMAND_BUFFER_SUBMIT_INFO};
    commands.commandBuffer = commandBuffer;
    VkSubmitInfo2 submit{VK_STRUCTURE_TYPE_SUBMIT_INFO_2};
    submit.commandBufferInfoCount = 1;
    submit.pCommandBufferInfos = &commands;
    device->Submit(submit, fence);
    Check(vkWaitForFences(device->Handle(), 1, &fence, VK_TRUE, UINT64_MAX), "vkWaitForFences");
}

} // namespace vesmo::vk
