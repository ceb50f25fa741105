#pragma once
// vesmo::graphics::VulkanRenderer: the engine's renderer base. It owns the device, the window's swapchain
// or the offscreen output image, and the frames in flight; VesmoRenderer builds the frame chain on it.
//
// Two faces, one class; the `flags` of the constructor choose:
//   - without DEVICE: no device. There is no swapchain and no command recording; BeginFrame and EndFrame
//     only count, the command buffer of a frame is VK_NULL_HANDLE, output queries give the window's size
//     (1280 x 720 without one) and null handles. Servers and unit tests run so, on machines without Vulkan.
//   - with DEVICE: a Vulkan 1.3 device (vesmo/vk/Device.hpp). With a GlfwWindow the frames are shown
//     through a Swapchain; with a HeadlessWindow, no window, or the OFFSCREEN flag they stay in the output
//     image, which SaveImage (VesmoRenderer) can write to a file. The same frame chain runs in all cases.
//     When no usable device exists the constructor throws vk::NoDeviceError, whose what() is one sentence:
//     a program prints it and exits with a non-zero code.
// Code above the engine never asks which face it is on: it passes GetDevice() (null or not) to vesmo::vk.
//
// The output image. Every frame is drawn into one image of the engine: GetOutputImage(), in
// VK_IMAGE_LAYOUT_GENERAL during the frame, format VK_FORMAT_B8G8R8A8_UNORM (the usual swapchain format;
// with a swapchain of another format, that format), usage Swapchain::DefaultUsage | SAMPLED, at the
// swapchain's (or the window's) size. EndFrame copies it to the swapchain image and presents. So
// offscreen and on screen draw the same pixels, and overlay passes draw on GetOutputVkImageView().
//
// Frames in flight. FRAMES_IN_FLIGHT frames may be under way: BeginFrame waits until the frame slot's last
// use is done, then acquires the next swapchain image, and begins the slot's command buffer. Per-frame
// resources of callers are indexed by GetFrameIndex().
//
// Resize. BeginFrame notices a window whose size changed (or a swapchain that is out of date), waits for
// the device, and calls ReCreateSwapchain(): DestroySwapchainDependantObjects(), a new swapchain and output
// image, CreateSwapchainDependantObjects(), RefreshViewport(). A window of zero size (minimised) skips
// frames: BeginFrame returns false and the chain doesn't run.
//
// Threads: construction, StartRendering, StopRendering and the frame belong to the render thread.
// GetDevice and the output queries may be read from any thread.

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Image.hpp"
#include "vesmo/vk/PhysicalDevice.hpp"
#include "vesmo/vk/Swapchain.hpp"

#include <vulkan/vulkan.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vesmo::graphics {

class Window;

class VulkanRenderer {
public:
    // Bits of `flags`.
    static constexpr uint32_t DEVICE = 1u << 0;     // open a Vulkan device (the device face)
    static constexpr uint32_t VALIDATION = 1u << 1; // with DEVICE: VK_LAYER_KHRONOS_validation on
    static constexpr uint32_t OFFSCREEN = 1u << 2;  // with DEVICE: no swapchain even with a desktop window
    static constexpr uint32_t FRAMES_IN_FLIGHT = 2;
    static constexpr uint32_t DefaultWidth = 1280; // output size without a window
    static constexpr uint32_t DefaultHeight = 720;

    // `features` are asked for on top of the engine's own (PhysicalDevice::Features says how; what the
    // device lacks is dropped with one line naming it). `vsync`: present in step with the display.
    VulkanRenderer(Window* window, const char* name, uint32_t flags, const vk::PhysicalDevice::Features& features = {},
                   bool vsync = true);
    virtual ~VulkanRenderer();

    VulkanRenderer(const VulkanRenderer&) = delete;
    VulkanRenderer& operator=(const VulkanRenderer&) = delete;

    // Called once by the constructor's end, for derived renderers that load extension functions.
    virtual void LoadFunctionPointersInterface() {}
    // Objects that depend on the output's size and format. The base makes and destroys the output image.
    virtual void CreateSwapchainDependantObjects();
    virtual void DestroySwapchainDependantObjects();
    virtual void ReCreateSwapchain();
    virtual void RefreshViewport() {}

    // The output image of the frames: null and null handles without a device.
    virtual vk::Image* GetOutputImage();
    virtual VkExtent2D GetOutputImageExtent();
    virtual VkFormat GetOutputImageFormat();
    virtual VkImageUsageFlags GetOutputImageUsage();
    virtual VkImage GetOutputVkImage();
    virtual VkImageView GetOutputVkImageView();

    // Rendering is on between these two; a frame outside them does nothing. StartRendering makes the
    // swapchain-dependent objects; StopRendering waits for the device and destroys them.
    virtual void StartRendering();
    virtual void StopRendering();

    // Starts a frame: waits for the slot, handles a resize, acquires, begins the command buffer. False when
    // no frame can be drawn now (a minimised window); then EndFrame must not be called.
    virtual bool BeginFrame();
    // Ends the frame: `record` (when given) records last into the frame's command buffer, the output image
    // goes to the swapchain image, the buffer is submitted (waiting also on `waitSemaphores` and signalling
    // `signalSemaphores`, at all stages), and the image is presented. Counts the frame.
    virtual void EndFrame(const std::function<void(VkCommandBuffer)>& record = {},
                          const std::vector<VkSemaphore>& waitSemaphores = {},
                          const std::vector<VkSemaphore>& signalSemaphores = {});

    bool IsRendering() const { return _rendering.load(); }
    Window* GetWindow() const { return _window; }
    const std::string& Name() const { return _name; }
    uint32_t Flags() const { return _flags; }

    // The device, or null for the engine without one.
    vk::Device* GetDevice() const { return _device.get(); }
    bool HasDevice() const { return _device != nullptr; }
    // The swapchain, or null (offscreen, or no device).
    vk::Swapchain* GetSwapchain() const { return _swapchain.get(); }
    bool IsOffscreen() const { return _swapchain == nullptr; }
    // The command buffer of the frame being recorded (between BeginFrame and EndFrame), else null.
    VkCommandBuffer GetCommandBuffer() const { return _recording; }
    // Slot of the frame in flight, 0 to FRAMES_IN_FLIGHT - 1.
    uint32_t GetFrameIndex() const { return _frameIndex; }
    // Frames ended so far.
    uint64_t FrameCount() const { return _frames.load(); }
    // Validation messages so far (0 without validation or without a device).
    uint32_t ValidationMessageCount() const;

    // Presentation in step with the display; read at each swapchain creation.
    bool vsync = true;

protected:
    // Waits for the frames in flight (nothing without a device).
    void WaitIdle();
    // The output size the window asks for (DefaultWidth x DefaultHeight without one).
    VkExtent2D WantedExtent() const;

    Window* _window;
    std::string _name;
    uint32_t _flags;
    std::atomic<bool> _rendering = false;
    std::atomic<uint64_t> _frames = 0;

private:
    struct FrameSlot {
        VkCommandPool pool = VK_NULL_HANDLE;
        VkCommandBuffer commands = VK_NULL_HANDLE;
        VkFence done = VK_NULL_HANDLE;
        VkSemaphore acquired = VK_NULL_HANDLE;
    };

    void CreateOutput();
    void DestroyOutput();

    std::unique_ptr<vk::Device> _device;
    VkSurfaceKHR _surface = VK_NULL_HANDLE;
    std::unique_ptr<vk::Swapchain> _swapchain;
    std::vector<VkSemaphore> _presentReady; // one per swapchain image
    std::unique_ptr<vk::Image> _output;
    std::unique_ptr<vk::ImageView> _outputView;
    VkExtent2D _outputExtent{0, 0};
    std::array<FrameSlot, FRAMES_IN_FLIGHT> _slots{};
    uint32_t _frameIndex = 0;
    uint32_t _imageIndex = 0;
    VkCommandBuffer _recording = VK_NULL_HANDLE;
    bool _outOfDate = false;
};

} // namespace vesmo::graphics
