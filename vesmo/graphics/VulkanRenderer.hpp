#pragma once
// The engine's renderer base: a window, a swapchain and the frame loop's virtual steps.
//
// This is the renderer without a device: there is no swapchain and no command recording, the command
// buffer handed to the recording steps is VK_NULL_HANDLE, and the steps are plain virtual calls that
// derived renderers fill. The device-backed face (Vulkan instance, device, swapchain, images) arrives with
// the rendering work and keeps these operations and their order.

#include <atomic>
#include <cstdint>
#include <string>

// As Vulkan declares it, so that this header needs no Vulkan header.
typedef struct VkCommandBuffer_T* VkCommandBuffer;

namespace vesmo::graphics {

class Window;

class VulkanRenderer {
public:
    VulkanRenderer(Window* window, const char* name, uint32_t flags);
    virtual ~VulkanRenderer();

    VulkanRenderer(const VulkanRenderer&) = delete;
    VulkanRenderer& operator=(const VulkanRenderer&) = delete;

    virtual void LoadFunctionPointersInterface() {}
    virtual void CreateSwapchainDependantObjects() {}
    virtual void DestroySwapchainDependantObjects() {}
    virtual void ReCreateSwapchain();
    virtual void RefreshViewport() {}
    // Rendering is on between these two; a frame outside them does nothing.
    virtual void StartRendering();
    virtual void StopRendering();

    bool IsRendering() const { return _rendering.load(); }
    Window* GetWindow() const { return _window; }
    const std::string& Name() const { return _name; }

protected:
    Window* _window;
    std::string _name;
    uint32_t _flags;
    std::atomic<bool> _rendering = false;
};

} // namespace vesmo::graphics
