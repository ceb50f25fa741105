#pragma once
// vesmo::vk::CommandBuffer::Run: record a few commands, submit them, and wait until they are done.
//
//     vesmo::vk::CommandBuffer::Run(device, "renderer::SaveImage", [&](VkCommandBuffer commandBuffer) {
//         vkCmdCopyImageToBuffer(commandBuffer, image, layout, buffer.Handle(), 1, &region);
//     });
//
// For uploads, read-backs and one-time set-up, never per frame: it waits for the queue. Any thread; the
// submission shares the device's queue under its lock. `name` labels the commands for validation messages
// and debuggers. Without a device (null) nothing is recorded and `record` is not called.

#include <vulkan/vulkan.h>

#include <functional>
#include <string>

namespace vesmo::vk {

class Device;

class CommandBuffer {
public:
    static void Run(Device* device, const std::string& name, const std::function<void(VkCommandBuffer)>& record);
};

} // namespace vesmo::vk
