#pragma once
// vesmo::vk::Device: the logical device, its one queue, and its memory.
//
// Getting one. A renderer made with the DEVICE flag opens its own (VulkanRenderer::GetDevice()); code that
// needs a device without a renderer (tools, tests) calls Device::Open. Open picks the first device that is
// usable: Vulkan 1.3 with buffer device addresses, synchronization2, dynamic rendering and timeline
// semaphores, and one queue family with graphics, compute and transfer (and presentation to `surface`, when
// one is given). A discrete GPU is preferred over an integrated one, and both over a CPU device. When none
// is usable, Open throws NoDeviceError with one sentence that says so; a program prints that sentence
// (what()) and exits with a non-zero code.
//
// The device face and the other one. Everything in vesmo::vk takes a `Device*`. A null device is the
// engine without a device: buffers and mapped buffers are host memory with the same checked access, images
// and pipelines are empty objects, CommandBuffer::Run runs nothing. Device::Current() is the device of the
// renderer that is running (null when none runs, or when it runs without a device), so code above the
// engine passes Device::Current() or renderer->GetDevice() and never asks which face it is on.
//
// Threads: all operations may be called from any thread. Submissions to the queue are serialised by the
// device (Submit); the memory allocator has a lock of its own.

#include "vesmo/vk/Instance.hpp"
#include "vesmo/vk/MemoryAllocator.hpp"
#include "vesmo/vk/PhysicalDevice.hpp"

#include <vulkan/vulkan.h>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace vesmo::vk {

// No Vulkan driver, or none of its devices is usable. what() is one sentence for the user.
class NoDeviceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Device {
public:
    struct Options {
        std::string applicationName = "vesmo";
        bool validation = false;           // VK_LAYER_KHRONOS_validation, see Instance
        PhysicalDevice::Features features; // wanted on top of the engine's own
        bool presentation = false;         // ask for VK_KHR_swapchain (a window will be shown)
    };

    // Opens a new instance and device. Throws NoDeviceError.
    static std::unique_ptr<Device> Open(const Options& options);
    // Opens a device on an existing instance; `surface` (may be null) must be presentable from its queue.
    Device(std::shared_ptr<Instance> instance, const Options& options, VkSurfaceKHR surface = VK_NULL_HANDLE);
    ~Device();

    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    // The device of the running renderer, or null. Set by VulkanRenderer while it lives.
    static Device* Current();
    static void SetCurrent(Device* device);

    VkDevice Handle() const { return _device; }
    VkInstance InstanceHandle() const { return _instance->Handle(); }
    const std::shared_ptr<Instance>& GetInstance() const { return _instance; }
    const PhysicalDevice& Physical() const { return _physical; }
    VkPhysicalDevice PhysicalHandle() const { return _physical.Handle(); }
    VkQueue Queue() const { return _queue; }
    uint32_t QueueFamily() const { return _queueFamily; }
    MemoryAllocator& Memory() { return *_memory; }

    // What was granted: the engine's own features and what was asked and found.
    const PhysicalDevice::Features& Enabled() const { return _enabled; }
    // One entry per dropped feature, "VkPhysicalDeviceRayQueryFeaturesKHR.rayQuery"; a structure whose
    // extension is missing is named whole ("VkPhysicalDeviceRayQueryFeaturesKHR").
    const std::vector<std::string>& Dropped() const { return _dropped; }
    bool HasRayTracing() const;

    // vkQueueSubmit2 under the queue's lock.
    void Submit(const VkSubmitInfo2& submit, VkFence fence);
    // vkQueuePresentKHR under the queue's lock; returns its result (VK_ERROR_OUT_OF_DATE_KHR and
    // VK_SUBOPTIMAL_KHR are the caller's to handle).
    VkResult Present(const VkPresentInfoKHR& present);
    void WaitIdle();

    // Names an object for validation messages and debuggers (a no-op without VK_EXT_debug_utils).
    void SetName(VkObjectType type, uint64_t handle, const std::string& name) const;
    template <typename Handle> void SetName(VkObjectType type, Handle handle, const std::string& name) const {
        SetName(type, reinterpret_cast<uint64_t>(handle), name);
    }
    // Command labels around recorded work (no-ops without VK_EXT_debug_utils).
    void BeginLabel(VkCommandBuffer commandBuffer, const char* name) const;
    void EndLabel(VkCommandBuffer commandBuffer) const;

    // Validation messages so far on this device's instance.
    uint32_t ValidationMessageCount() const { return _instance->ValidationMessageCount(); }

private:
    friend class CommandBuffer;

    std::shared_ptr<Instance> _instance;
    PhysicalDevice _physical;
    VkDevice _device = VK_NULL_HANDLE;
    VkQueue _queue = VK_NULL_HANDLE;
    uint32_t _queueFamily = 0;
    PhysicalDevice::Features _enabled;
    std::vector<std::string> _dropped;
    std::unique_ptr<MemoryAllocator> _memory;
    std::mutex _queueMutex; // guards _queue
    std::mutex _runMutex;   // guards _runPool (CommandBuffer::Run)
    VkCommandPool _runPool = VK_NULL_HANDLE;
    PFN_vkSetDebugUtilsObjectNameEXT _setName = nullptr;
    PFN_vkCmdBeginDebugUtilsLabelEXT _beginLabel = nullptr;
    PFN_vkCmdEndDebugUtilsLabelEXT _endLabel = nullptr;
};

} // namespace vesmo::vk
