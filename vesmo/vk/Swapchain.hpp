#pragma once
// vesmo::vk::Swapchain: the images a window shows, on a GLFW window's surface.
//
// The engine's renderer makes and re-makes it; others only read its format, extent, usage and images.
// Format: B8G8R8A8_UNORM when the surface offers it (the usual case on X11 and Wayland), else the first
// format the surface lists. Present mode: FIFO with vsync, MAILBOX or IMMEDIATE without when offered.
// Usage: DefaultUsage (27 = TRANSFER_SRC | TRANSFER_DST | STORAGE | COLOR_ATTACHMENT), less any bit the
// surface doesn't allow; GetUsage() tells what the images really have.
//
// Acquire returns false when the swapchain no longer fits the surface (out of date, or the window is
// minimised to zero size): the renderer then makes it again (VulkanRenderer::ReCreateSwapchain).

#include "vesmo/vk/Image.hpp"

#include <vulkan/vulkan.h>

#include <cstdint>
#include <vector>

struct GLFWwindow;

namespace vesmo::vk {

class Device;

class Swapchain {
public:
    static constexpr VkImageUsageFlags DefaultUsage = VK_IMAGE_USAGE_TRANSFER_SRC_BIT |
                                                      VK_IMAGE_USAGE_TRANSFER_DST_BIT | VK_IMAGE_USAGE_STORAGE_BIT |
                                                      VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT;
    static_assert(DefaultUsage == 27);

    // The surface of a GLFW window on `instance`. Throws std::runtime_error when GLFW can't make one.
    static VkSurfaceKHR CreateSurface(VkInstance instance, GLFWwindow* window);

    // `width` x `height` is used when the surface leaves the extent to the application. `old` (may be null)
    // is the swapchain being replaced.
    Swapchain(Device* device, VkSurfaceKHR surface, uint32_t width, uint32_t height, bool vsync,
              VkImageUsageFlags usage = DefaultUsage, Swapchain* old = nullptr);
    ~Swapchain();

    Swapchain(const Swapchain&) = delete;
    Swapchain& operator=(const Swapchain&) = delete;

    VkSwapchainKHR Handle() const { return _swapchain; }
    VkFormat GetFormat() const { return _format; }
    VkExtent2D GetExtent() const { return _extent; }
    uint32_t Width() const { return _extent.width; }
    uint32_t Height() const { return _extent.height; }
    VkImageUsageFlags GetUsage() const { return _usage; }
    uint32_t ImageCount() const { return static_cast<uint32_t>(_images.size()); }
    VkImage Image(uint32_t index) const { return _images[index]; }
    VkImageView ImageView(uint32_t index) const { return _views[index].Handle(); }

    // Next image, signalling `acquired` when it is ready. False: make the swapchain again.
    bool Acquire(VkSemaphore acquired, uint32_t* index);
    // Presents `index` after `waitFor`. False: make the swapchain again.
    bool Present(uint32_t index, VkSemaphore waitFor);

private:
    Device* _device;
    VkSwapchainKHR _swapchain = VK_NULL_HANDLE;
    VkFormat _format = VK_FORMAT_UNDEFINED;
    VkExtent2D _extent{0, 0};
    VkImageUsageFlags _usage = 0;
    std::vector<VkImage> _images;
    std::vector<vesmo::vk::ImageView> _views;
};

} // namespace vesmo::vk
