#include "vesmo/vk/Instance.hpp"

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define VESMO_LEAK_CHECKED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VESMO_LEAK_CHECKED 1
#endif
#endif
#ifdef VESMO_LEAK_CHECKED
#include <dlfcn.h>
#include <link.h>

#include <string>
#include <string_view>
#endif

namespace vesmo::vk {

namespace {

bool HasLayer(const char* name) {
    uint32_t count = 0;
    vkEnumerateInstanceLayerProperties(&count, nullptr);
    std::vector<VkLayerProperties> layers(count);
    vkEnumerateInstanceLayerProperties(&count, layers.data());
    for (const VkLayerProperties& layer : layers)
        if (std::strcmp(layer.layerName, name) == 0)
            return true;
    return false;
}

#ifdef VESMO_LEAK_CHECKED
// Only in builds checked by LeakSanitizer. The loader unloads the drivers and layers when the last instance
// goes, and memory that a driver still holds in its globals then looks lost, allocated from an unknown
// module: lavapipe leaves some 280 bytes per instance that way. Pinned for the rest of the process, their
// globals, and that memory, stay reachable, and a leak report means one of ours.
void PinVulkanLibraries() {
    std::vector<std::string> names;
    dl_iterate_phdr(
        [](dl_phdr_info* library, size_t, void* found) {
            const std::string_view name = library->dlpi_name ? library->dlpi_name : "";
            if (name.find("/libvulkan_") != name.npos || name.find("/libVkLayer_") != name.npos)
                static_cast<std::vector<std::string>*>(found)->emplace_back(name);
            return 0;
        },
        &names);
    // dlopen takes the loader's lock, which dl_iterate_phdr holds: outside the walk.
    for (const std::string& name : names)
        dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}
#endif

} // namespace

Instance::Instance(const std::string& applicationName, bool validation) {
    uint32_t version = 0;
    if (vkEnumerateInstanceVersion(&version) != VK_SUCCESS || version < VK_API_VERSION_1_3)
        throw NoDeviceError("No usable Vulkan device: this machine's Vulkan loader is older than Vulkan 1.3.");

    uint32_t count = 0;
    vkEnumerateInstanceExtensionProperties(nullptr, &count, nullptr);
    std::vector<VkExtensionProperties> available(count);
    vkEnumerateInstanceExtensionProperties(nullptr, &count, available.data());
    auto has = [&](const char* name) {
        for (const VkExtensionProperties& extension : available)
            if (std::strcmp(extension.extensionName, name) == 0)
                return true;
        return false;
    };
    // Every window system the loader knows: GLFW picks one of them for its surface, and an instance with
    // all of them serves a window and offscreen rendering alike.
    // Wayland's only where a Wayland desktop runs: its client library complains on stderr elsewhere.
    std::vector<const char*> extensions;
    const bool wayland = std::getenv("WAYLAND_DISPLAY") != nullptr;
    for (const char* name : {VK_KHR_SURFACE_EXTENSION_NAME, "VK_KHR_xcb_surface", "VK_KHR_xlib_surface",
                             "VK_KHR_wayland_surface", VK_EXT_DEBUG_UTILS_EXTENSION_NAME})
        if (has(name) && (wayland || std::strcmp(name, "VK_KHR_wayland_surface") != 0))
            extensions.push_back(name);
    _debugUtils = has(VK_EXT_DEBUG_UTILS_EXTENSION_NAME);

    std::vector<const char*> layers;
    const char* validationLayer = "VK_LAYER_KHRONOS_validation";
    if (validation) {
        if (HasLayer(validationLayer) && _debugUtils) {
            layers.push_back(validationLayer);
        } else {
            std::printf("Vulkan: %s is not installed; running without validation\n", validationLayer);
            std::fflush(stdout);
            validation = false;
        }
    }

    VkApplicationInfo application{VK_STRUCTURE_TYPE_APPLICATION_INFO};
    application.pApplicationName = applicationName.c_str();
    application.pEngineName = "vesmo";
    application.apiVersion = VK_API_VERSION_1_3;

    VkDebugUtilsMessengerCreateInfoEXT messenger{VK_STRUCTURE_TYPE_DEBUG_UTILS_MESSENGER_CREATE_INFO_EXT};
    messenger.messageSeverity =
        VK_DEBUG_UTILS_MESSAGE_SEVERITY_WARNING_BIT_EXT | VK_DEBUG_UTILS_MESSAGE_SEVERITY_ERROR_BIT_EXT;
    messenger.messageType = VK_DEBUG_UTILS_MESSAGE_TYPE_GENERAL_BIT_EXT |
                            VK_DEBUG_UTILS_MESSAGE_TYPE_VALIDATION_BIT_EXT |
                            VK_DEBUG_UTILS_MESSAGE_TYPE_PERFORMANCE_BIT_EXT;
    messenger.pfnUserCallback = &Instance::OnMessage;
    messenger.pUserData = this;

    VkInstanceCreateInfo info{VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO};
    info.pApplicationInfo = &application;
    info.enabledExtensionCount = static_cast<uint32_t>(extensions.size());
    info.ppEnabledExtensionNames = extensions.data();
    info.enabledLayerCount = static_cast<uint32_t>(layers.size());
    info.ppEnabledLayerNames = layers.data();
    // The messenger also watches instance creation and destruction.
    info.pNext = validation ? &messenger : nullptr;
    const VkResult result = vkCreateInstance(&info, nullptr, &_instance);
    if (result == VK_ERROR_INCOMPATIBLE_DRIVER || result == VK_ERROR_INITIALIZATION_FAILED)
        throw NoDeviceError("No usable Vulkan device: this machine has no Vulkan driver.");
    Check(result, "vkCreateInstance");
#ifdef VESMO_LEAK_CHECKED
    PinVulkanLibraries();
#endif

    if (validation) {
        auto create = reinterpret_cast<PFN_vkCreateDebugUtilsMessengerEXT>(
            vkGetInstanceProcAddr(_instance, "vkCreateDebugUtilsMessengerEXT"));
        Check(create(_instance, &messenger, nullptr, &_messenger), "vkCreateDebugUtilsMessengerEXT");
    }
}

Instance::~Instance() {
    if (_messenger) {
        auto destroy = reinterpret_cast<PFN_vkDestroyDebugUtilsMessengerEXT>(
            vkGetInstanceProcAddr(_instance, "vkDestroyDebugUtilsMessengerEXT"));
        destroy(_instance, _messenger, nullptr);
    }
    if (_instance)
        vkDestroyInstance(_instance, nullptr);
}

VKAPI_ATTR VkBool32 VKAPI_CALL Instance::OnMessage(VkDebugUtilsMessageSeverityFlagBitsEXT severity,
                                                   VkDebugUtilsMessageTypeFlagsEXT types,
                                                   const VkDebugUtilsMessengerCallbackDataEXT* data, void* self) {
    // The loader's own general warnings (a missing runtime folder, ...) are about the machine, not our use of
    // Vulkan; only its errors count.
    if (types == VK_DEBUG_UTILS_MESSAGE_TYPE_GENERAL_BIT_EXT &&
        severity < VK_DEBUG_UTILS_MESSAGE_SEVERITY_ERROR_BIT_EXT)
        return VK_FALSE;
    static_cast<Instance*>(self)->_messages++;
    std::fprintf(stderr, "Vulkan validation: %s\n", data->pMessage ? data->pMessage : "");
    std::fflush(stderr);
    return VK_FALSE;
}

} // namespace vesmo::vk
