#include "vesmo/vk/Swapchain.hpp"

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#define GLFW_INCLUDE_VULKAN
#include <GLFW/glfw3.h>

#include <algorithm>
#include <stdexcept>

namespace vesmo::vk {

VkSurfaceKHR Swapchain::CreateSurface(VkInstance instance, GLFWwindow* window) {
    VkSurfaceKHR surface = VK_NULL_HANDLE;
    const VkResult result = glfwCreateWindowSurface(instance, window, nullptr, &surface);
    if (result != VK_SUCCESS)
        throw std::runtime_error(std::string("Cannot make a Vulkan surface for the window: ") + ResultName(result));
    return surface;
}

Swapchain::Swapchain(Device* device, VkSurfaceKHR surface, uint32_t width, uint32_t height, bool vsync,
                     VkImageUsageFlags usage, Swapchain* old)
    : _device(device) {
    VkPhysicalDevice physical = device->PhysicalHandle();
    VkSurfaceCapabilitiesKHR capabilities;
    Check(vkGetPhysicalDeviceSurfaceCapabilitiesKHR(physical, surface, &capabilities),
          "vkGetPhysicalDeviceSurfaceCapabilitiesKHR");
    uint32_t count = 0;
    vkGetPhysicalDeviceSurfaceFormatsKHR(physical, surface, &count, nullptr);
    std::vector<VkSurfaceFormatKHR> formats(count);
    vkGetPhysicalDeviceSurfaceFormatsKHR(physical, surface, &count, formats.data());
    vkGetPhysicalDeviceSurfacePresentModesKHR(physical, surface, &count, nullptr);
    std::vector<VkPresentModeKHR> modes(count);
    vkGetPhysicalDeviceSurfacePresentModesKHR(physical, surface, &count, modes.data());
    if (formats.empty())
        throw std::runtime_error("The window's surface offers no format");

    VkSurfaceFormatKHR format = formats[0];
    for (const VkSurfaceFormatKHR& candidate : formats)
        if (candidate.format == VK_FORMAT_B8G8R8A8_UNORM) {
            format = candidate;
            break;
        }
    VkPresentModeKHR mode = VK_PRESENT_MODE_FIFO_KHR;
    if (!vsync)
        for (VkPresentModeKHR wanted : {VK_PRESENT_MODE_MAILBOX_KHR, VK_PRESENT_MODE_IMMEDIATE_KHR})
            if (std::find(modes.begin(), modes.end(), wanted) != modes.end()) {
                mode = wanted;
                break;
            }
    if (capabilities.currentExtent.width != UINT32_MAX) {
        _extent = capabilities.currentExtent;
    } else {
        _extent.width = std::clamp(width, capabilities.minImageExtent.width, capabilities.maxImageExtent.width);
        _extent.height = std::clamp(height, capabilities.minImageExtent.height, capabilities.maxImageExtent.height);
    }
    _format = format.format;
    _usage = usage & capabilities.supportedUsageFlags;
    uint32_t images = capabilities.minImageCount + 1;
    if (capabilities.maxImageCount > 0)
        images = std::min(images, capabilities.maxImageCount);
    if (_extent.width == 0 || _extent.height == 0)
        return; // a minimised window: no images until it comes back

    VkSwapchainCreateInfoKHR info{VK_STRUCTURE_TYPE_SWAPCHAIN_CREATE_INFO_KHR};
    info.surface = surface;
    info.minImageCount = images;
    info.imageFormat = format.format;
    info.imageColorSpace = format.colorSpace;
    info.imageExtent = _extent;
    info.imageArrayLayers = 1;
    info.imageUsage = _usage;
    info.imageSharingMode = VK_SHARING_MODE_EXCLUSIVE;
    info.preTransform = capabilities.currentTransform;
    info.compositeAlpha = VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR;
    info.presentMode = mode;
    info.clipped = VK_TRUE;
    info.oldSwapchain = old ? old->Handle() : VK_NULL_HANDLE;
    Check(vkCreateSwapchainKHR(device->Handle(), &info, nullptr, &_swapchain), "vkCreateSwapchainKHR");

    vkGetSwapchainImagesKHR(device->Handle(), _swapchain, &count, nullptr);
    _images.resize(count);
    vkGetSwapchainImagesKHR(device->Handle(), _swapchain, &count, _images.data());
    for (uint32_t i = 0; i < count; ++i) {
        device->SetName(VK_OBJECT_TYPE_IMAGE, _images[i], "Swapchain image " + std::to_string(i));
        _views.emplace_back(device, _images[i], _format, "Swapchain image view " + std::to_string(i));
    }
}

Swapchain::~Swapchain() {
    _views.clear();
    if (_swapchain)
        vkDestroySwapchainKHR(_device->Handle(), _swapchain, nullptr);
}

bool Swapchain::Acquire(VkSemaphore acquired, uint32_t* index) {
    if (!_swapchain)
        return false;
    const VkResult result =
        vkAcquireNextImageKHR(_device->Handle(), _swapchain, UINT64_MAX, acquired, VK_NULL_HANDLE, index);
    if (result == VK_ERROR_OUT_OF_DATE_KHR)
        return false;
    // Suboptimal still acquired the image (and signals the semaphore): draw this frame, make it again after.
    if (result != VK_SUBOPTIMAL_KHR)
        Check(result, "vkAcquireNextImageKHR");
    return true;
}

bool Swapchain::Present(uint32_t index, VkSemaphore waitFor) {
    VkPresentInfoKHR info{VK_STRUCTURE_TYPE_PRESENT_INFO_KHR};
    info.waitSemaphoreCount = 1;
    info.pWaitSemaphores = &waitFor;
    info.swapchainCount = 1;
    info.pSwapchains = &_swapchain;
    info.pImageIndices = &index;
    const VkResult result = _device->Present(info);
    if (result == VK_ERROR_OUT_OF_DATE_KHR || result == VK_SUBOPTIMAL_KHR)
        return false;
    Check(result, "vkQueuePresentKHR");
    return true;
}

} // namespace vesmo::vk
