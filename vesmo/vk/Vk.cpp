#include "vesmo/vk/Vk.hpp"

#include <stdexcept>
#include <string>

namespace vesmo::vk {

const char* LibraryName() { return "VesmoVk.so"; }

const char* ResultName(VkResult result) {
    switch (result) {
#define VESMO_RESULT(name)                                                                                             \
    case name: return #name;
        VESMO_RESULT(VK_SUCCESS)
        VESMO_RESULT(VK_NOT_READY)
        VESMO_RESULT(VK_TIMEOUT)
        VESMO_RESULT(VK_EVENT_SET)
        VESMO_RESULT(VK_EVENT_RESET)
        VESMO_RESULT(VK_INCOMPLETE)
        VESMO_RESULT(VK_ERROR_OUT_OF_HOST_MEMORY)
        VESMO_RESULT(VK_ERROR_OUT_OF_DEVICE_MEMORY)
        VESMO_RESULT(VK_ERROR_INITIALIZATION_FAILED)
        VESMO_RESULT(VK_ERROR_DEVICE_LOST)
        VESMO_RESULT(VK_ERROR_MEMORY_MAP_FAILED)
        VESMO_RESULT(VK_ERROR_LAYER_NOT_PRESENT)
        VESMO_RESULT(VK_ERROR_EXTENSION_NOT_PRESENT)
        VESMO_RESULT(VK_ERROR_FEATURE_NOT_PRESENT)
        VESMO_RESULT(VK_ERROR_INCOMPATIBLE_DRIVER)
        VESMO_RESULT(VK_ERROR_TOO_MANY_OBJECTS)
        VESMO_RESULT(VK_ERROR_FORMAT_NOT_SUPPORTED)
        VESMO_RESULT(VK_ERROR_FRAGMENTED_POOL)
        VESMO_RESULT(VK_ERROR_UNKNOWN)
        VESMO_RESULT(VK_ERROR_OUT_OF_POOL_MEMORY)
        VESMO_RESULT(VK_ERROR_SURFACE_LOST_KHR)
        VESMO_RESULT(VK_ERROR_NATIVE_WINDOW_IN_USE_KHR)
        VESMO_RESULT(VK_SUBOPTIMAL_KHR)
        VESMO_RESULT(VK_ERROR_OUT_OF_DATE_KHR)
#undef VESMO_RESULT
    default: return "VkResult";
    }
}

void Check(VkResult result, const char* what) {
    if (result != VK_SUCCESS)
        throw std::runtime_error(std::string("Vulkan: ") + what + " failed: " + ResultName(result) + " (" +
                                 std::to_string(static_cast<int>(result)) + ")");
}

} // namespace vesmo::vk
