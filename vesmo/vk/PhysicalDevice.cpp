#include "vesmo/vk/PhysicalDevice.hpp"

#include "vesmo/vk/FeatureNames.hpp"

#include <cstring>

namespace vesmo::vk {

namespace {

// The VkBool32 members of a feature structure: they follow sType and pNext, and nothing else does.
template <typename S> VkBool32* Members(S& s) {
    return reinterpret_cast<VkBool32*>(reinterpret_cast<char*>(&s) + offsetof(VkBaseOutStructure, pNext) +
                                       sizeof(void*));
}
// The member count comes from the name tables: sizeof would count the padding at the end.
template <typename S> void OrInto(S& into, const S& from, unsigned count) {
    VkBool32* to = Members(into);
    const VkBool32* source = Members(const_cast<S&>(from));
    for (unsigned i = 0; i < count; ++i)
        to[i] = (to[i] || source[i]) ? VK_TRUE : VK_FALSE;
}

template <typename S> bool ContainsAll(const S& set, const S& other, unsigned count) {
    const VkBool32* a = Members(const_cast<S&>(set));
    const VkBool32* b = Members(const_cast<S&>(other));
    for (unsigned i = 0; i < count; ++i)
        if (b[i] && !a[i])
            return false;
    return true;
}

} // namespace

PhysicalDevice::Features::Features() {
    std::memset(&features, 0, sizeof(features));
    shaderClock = {VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_SHADER_CLOCK_FEATURES_KHR};
    storage16Bit = {VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_16BIT_STORAGE_FEATURES};
    vulkan12 = {VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_2_FEATURES};
    rayTracingPipeline = {VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_RAY_TRACING_PIPELINE_FEATURES_KHR};
    accelerationStructure = {VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_ACCELERATION_STRUCTURE_FEATURES_KHR};
    rayQuery = {VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_RAY_QUERY_FEATURES_KHR};
    vulkan13 = {VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES};
}

PhysicalDevice::Features& PhysicalDevice::Features::operator|=(const Features& other) {
    VkBool32* to = reinterpret_cast<VkBool32*>(&features);
    const VkBool32* from = reinterpret_cast<const VkBool32*>(&other.features);
    for (unsigned i = 0; i < detail::featuresCount; ++i)
        to[i] = (to[i] || from[i]) ? VK_TRUE : VK_FALSE;
    OrInto(shaderClock, other.shaderClock, detail::shaderClockCount);
    OrInto(storage16Bit, other.storage16Bit, detail::storage16BitCount);
    OrInto(vulkan12, other.vulkan12, detail::vulkan12Count);
    OrInto(rayTracingPipeline, other.rayTracingPipeline, detail::rayTracingPipelineCount);
    OrInto(accelerationStructure, other.accelerationStructure, detail::accelerationStructureCount);
    OrInto(rayQuery, other.rayQuery, detail::rayQueryCount);
    OrInto(vulkan13, other.vulkan13, detail::vulkan13Count);
    chain |= other.chain;
    return *this;
}

bool PhysicalDevice::Features::Contains(const Features& other) const {
    const VkBool32* a = reinterpret_cast<const VkBool32*>(&features);
    const VkBool32* b = reinterpret_cast<const VkBool32*>(&other.features);
    for (unsigned i = 0; i < detail::featuresCount; ++i)
        if (b[i] && !a[i])
            return false;
    return (other.chain & ~chain) == 0 && ContainsAll(shaderClock, other.shaderClock, detail::shaderClockCount) &&
           ContainsAll(storage16Bit, other.storage16Bit, detail::storage16BitCount) &&
           ContainsAll(vulkan12, other.vulkan12, detail::vulkan12Count) &&
           ContainsAll(rayTracingPipeline, other.rayTracingPipeline, detail::rayTracingPipelineCount) &&
           ContainsAll(accelerationStructure, other.accelerationStructure, detail::accelerationStructureCount) &&
           ContainsAll(rayQuery, other.rayQuery, detail::rayQueryCount) &&
           ContainsAll(vulkan13, other.vulkan13, detail::vulkan13Count);
}

PhysicalDevice::PhysicalDevice(VkInstance, VkPhysicalDevice device) : _device(device) {
    vkGetPhysicalDeviceProperties(device, &_properties);
    vkGetPhysicalDeviceMemoryProperties(device, &_memory);

    uint32_t count = 0;
    vkEnumerateDeviceExtensionProperties(device, nullptr, &count, nullptr);
    std::vector<VkExtensionProperties> extensions(count);
    vkEnumerateDeviceExtensionProperties(device, nullptr, &count, extensions.data());
    for (const VkExtensionProperties& extension : extensions)
        _extensions.emplace_back(extension.extensionName);

    vkGetPhysicalDeviceQueueFamilyProperties(device, &count, nullptr);
    std::vector<VkQueueFamilyProperties> families(count);
    vkGetPhysicalDeviceQueueFamilyProperties(device, &count, families.data());
    const VkQueueFlags wanted = VK_QUEUE_GRAPHICS_BIT | VK_QUEUE_COMPUTE_BIT;
    for (uint32_t i = 0; i < count; ++i)
        if ((families[i].queueFlags & wanted) == wanted) {
            _graphicsFamily = i;
            break;
        }

    // What the device has, each structure queried only where the device knows it.
    Features& s = _supported;
    VkPhysicalDeviceVulkan11Features vulkan11{VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_1_FEATURES};
    VkPhysicalDeviceFeatures2 features2{VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2};
    void** next = &features2.pNext;
    auto link = [&next](auto& structure) {
        *next = &structure;
        next = &structure.pNext;
    };
    const bool is13 = _properties.apiVersion >= VK_API_VERSION_1_3;
    if (is13) {
        link(vulkan11);
        link(s.vulkan12);
        link(s.vulkan13);
    }
    if (HasExtension(VK_KHR_SHADER_CLOCK_EXTENSION_NAME))
        link(s.shaderClock);
    if (HasExtension(VK_KHR_RAY_TRACING_PIPELINE_EXTENSION_NAME))
        link(s.rayTracingPipeline);
    if (HasExtension(VK_KHR_ACCELERATION_STRUCTURE_EXTENSION_NAME))
        link(s.accelerationStructure);
    if (HasExtension(VK_KHR_RAY_QUERY_EXTENSION_NAME))
        link(s.rayQuery);
    vkGetPhysicalDeviceFeatures2(device, &features2);
    s.features = features2.features;
    s.storage16Bit.storageBuffer16BitAccess = vulkan11.storageBuffer16BitAccess;
    s.storage16Bit.uniformAndStorageBuffer16BitAccess = vulkan11.uniformAndStorageBuffer16BitAccess;
    s.storage16Bit.storagePushConstant16 = vulkan11.storagePushConstant16;
    s.storage16Bit.storageInputOutput16 = vulkan11.storageInputOutput16;
    // Back to plain values: the pNext pointers pointed into this function's frame.
    s.shaderClock.pNext = s.vulkan12.pNext = s.vulkan13.pNext = nullptr;
    s.rayTracingPipeline.pNext = s.accelerationStructure.pNext = s.rayQuery.pNext = nullptr;
    s.chain = Features::ALL_STRUCTURES;
}

std::vector<PhysicalDevice> PhysicalDevice::Enumerate(VkInstance instance) {
    uint32_t count = 0;
    vkEnumeratePhysicalDevices(instance, &count, nullptr);
    std::vector<VkPhysicalDevice> handles(count);
    vkEnumeratePhysicalDevices(instance, &count, handles.data());
    std::vector<PhysicalDevice> devices;
    for (VkPhysicalDevice handle : handles)
        devices.emplace_back(instance, handle);
    return devices;
}

bool PhysicalDevice::HasExtension(const char* name) const {
    for (const std::string& extension : _extensions)
        if (extension == name)
            return true;
    return false;
}

} // namespace vesmo::vk
