#pragma once
// vesmo::vk::Instance: the Vulkan instance (API 1.3) and, when asked for, the validation layer.
//
// With validation on, VK_LAYER_KHRONOS_validation is enabled and every message it sends (warnings and
// errors, also performance warnings) is printed to stderr as one line "Vulkan validation: <message>" and
// counted. Tests read ValidationMessageCount() at the end: any message fails them. When the layer isn't
// installed the instance still opens, without validation, and says so on stdout.
//
// The instance asks for the surface extensions that GLFW needs when a desktop is there (or any window
// system extension the loader offers), so one instance serves a window and offscreen rendering alike.
//
// Ownership: an Instance is held by shared pointer; the Device and Swapchain made from it keep it alive.

#include <vulkan/vulkan.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace vesmo::vk {

class Instance {
public:
    // Throws NoDeviceError (vesmo/vk/Device.hpp) when there is no Vulkan loader or no driver at all.
    Instance(const std::string& applicationName, bool validation);
    ~Instance();

    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    VkInstance Handle() const { return _instance; }
    bool ValidationEnabled() const { return _messenger != VK_NULL_HANDLE; }
    // Messages the validation layer sent so far.
    uint32_t ValidationMessageCount() const { return _messages.load(); }
    // True when VK_EXT_debug_utils is on (object names and command labels reach tools and messages).
    bool HasDebugUtils() const { return _debugUtils; }

private:
    static VKAPI_ATTR VkBool32 VKAPI_CALL OnMessage(VkDebugUtilsMessageSeverityFlagBitsEXT severity,
                                                    VkDebugUtilsMessageTypeFlagsEXT types,
                                                    const VkDebugUtilsMessengerCallbackDataEXT* data, void* self);

    VkInstance _instance = VK_NULL_HANDLE;
    VkDebugUtilsMessengerEXT _messenger = VK_NULL_HANDLE;
    bool _debugUtils = false;
    std::atomic<uint32_t> _messages = 0;
};

} // namespace vesmo::vk
