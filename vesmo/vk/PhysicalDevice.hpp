#pragma once
// vesmo::vk::PhysicalDevice: one device the Vulkan driver offers, and PhysicalDevice::Features, the set of
// features a renderer asks for.
//
// Features is a plain value: VkPhysicalDeviceFeatures (core 1.0) and one member for each structure of the
// feature chain, plus `chain`, the set of structures that are asked for. A structure takes part only when
// its bit is in `chain`; the engine links the pNext pointers itself when it creates the device, so callers
// never touch pNext.
//
//     vesmo::vk::PhysicalDevice::Features wanted{};
//     wanted.features.fragmentStoresAndAtomics = VK_TRUE;
//     wanted.chain |= Features::RAY_TRACING_PIPELINE | Features::ACCELERATION_STRUCTURE | Features::RAY_QUERY;
//     wanted.rayQuery.rayQuery = VK_TRUE;
//
// What is asked for:
//   - A member set to VK_TRUE in a chained structure (or in `features`) asks for that feature.
//   - A chained structure in which no member is set asks for all of it: every feature of the structure
//     that the device has. This is how a renderer "asks for the whole chain".
// A feature the device lacks, or a structure whose extension it lacks (ray tracing pipelines, acceleration
// structures and ray queries on lavapipe), is dropped, never a failure: the device opens without it and
// prints one line per structure that names each dropped feature ("Vulkan: dropped, not on llvmpipe (...):
// VkPhysicalDeviceRayQueryFeaturesKHR.rayQuery"). Device::Enabled() tells what was granted.
//
// The engine always adds what it needs itself (Vulkan 1.3, bufferDeviceAddress, synchronization2,
// dynamicRendering, timelineSemaphore); a device without those is
// no usable device (NoDeviceError).
//
// VkPhysicalDevice16BitStorageFeatures repeats members of VkPhysicalDeviceVulkan11Features; the engine
// hands the driver the Vulkan 1.1 structure with those members, as Vulkan requires.

#include <vulkan/vulkan.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vesmo::vk {

class PhysicalDevice {
public:
    struct Features {
        // Bits of `chain`, one per structure.
        enum Structure : uint32_t {
            SHADER_CLOCK = 1u << 0,           // VkPhysicalDeviceShaderClockFeaturesKHR (VK_KHR_shader_clock)
            STORAGE_16BIT = 1u << 1,          // VkPhysicalDevice16BitStorageFeatures
            VULKAN_12 = 1u << 2,              // VkPhysicalDeviceVulkan12Features
            RAY_TRACING_PIPELINE = 1u << 3,   // VkPhysicalDeviceRayTracingPipelineFeaturesKHR
            ACCELERATION_STRUCTURE = 1u << 4, // VkPhysicalDeviceAccelerationStructureFeaturesKHR
            RAY_QUERY = 1u << 5,              // VkPhysicalDeviceRayQueryFeaturesKHR
            VULKAN_13 = 1u << 6,              // VkPhysicalDeviceVulkan13Features
            ALL_STRUCTURES = (1u << 7) - 1,
        };

        // Zeroed with the right sType in every structure and no pNext.
        Features();

        // Ors every feature of `other` into this set, and its chain into this chain.
        Features& operator|=(const Features& other);
        // True when every feature (and chained structure) of `other` is in this set.
        bool Contains(const Features& other) const;

        VkPhysicalDeviceFeatures features;
        VkPhysicalDeviceShaderClockFeaturesKHR shaderClock;
        VkPhysicalDevice16BitStorageFeatures storage16Bit;
        VkPhysicalDeviceVulkan12Features vulkan12;
        VkPhysicalDeviceRayTracingPipelineFeaturesKHR rayTracingPipeline;
        VkPhysicalDeviceAccelerationStructureFeaturesKHR accelerationStructure;
        VkPhysicalDeviceRayQueryFeaturesKHR rayQuery;
        VkPhysicalDeviceVulkan13Features vulkan13;
        uint32_t chain = 0; // Structure bits
    };

    PhysicalDevice() = default;
    PhysicalDevice(VkInstance instance, VkPhysicalDevice device);

    // Every device the driver offers, in the driver's order.
    static std::vector<PhysicalDevice> Enumerate(VkInstance instance);

    VkPhysicalDevice Handle() const { return _device; }
    const VkPhysicalDeviceProperties& Properties() const { return _properties; }
    const VkPhysicalDeviceMemoryProperties& MemoryProperties() const { return _memory; }
    // "llvmpipe (LLVM 15.0.6, 256 bits)", "NVIDIA GeForce RTX 4090", ...
    std::string Name() const { return _properties.deviceName; }
    bool HasExtension(const char* name) const;
    // What the device has, all structures chained (structures whose extension is missing read all false).
    const Features& Supported() const { return _supported; }
    // A queue family with graphics, compute and transfer; UINT32_MAX when none.
    uint32_t GraphicsQueueFamily() const { return _graphicsFamily; }

private:
    VkPhysicalDevice _device = VK_NULL_HANDLE;
    VkPhysicalDeviceProperties _properties{};
    VkPhysicalDeviceMemoryProperties _memory{};
    std::vector<std::string> _extensions;
    Features _supported;
    uint32_t _graphicsFamily = UINT32_MAX;
};

} // namespace vesmo::vk
