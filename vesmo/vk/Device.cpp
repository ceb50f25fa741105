#include "vesmo/vk/Device.hpp"

#include "vesmo/vk/FeatureNames.hpp"
#include "vesmo/vk/Vk.hpp"

#include <atomic>
#include <cstdio>
#include <cstring>

namespace vesmo::vk {

namespace {

std::atomic<Device*> current{nullptr};

template <typename S> VkBool32* Members(S& s) {
    return reinterpret_cast<VkBool32*>(reinterpret_cast<char*>(&s) + offsetof(VkBaseOutStructure, pNext) +
                                       sizeof(void*));
}

// Grants the members of one structure that were asked for and are there; names the rest in `dropped`.
// A structure in which nothing was asked for asks for all of it that the device has.
void Grant(VkBool32* granted, const VkBool32* wanted, const VkBool32* supported, unsigned count, const char* structure,
           const char* const* names, bool available, std::vector<std::string>& dropped) {
    if (!available) {
        dropped.emplace_back(structure);
        return;
    }
    bool any = false;
    for (unsigned i = 0; i < count; ++i)
        any = any || wanted[i];
    for (unsigned i = 0; i < count; ++i) {
        if (!any || wanted[i])
            granted[i] = supported[i];
        if (any && wanted[i] && !supported[i])
            dropped.push_back(std::string(structure) + "." + names[i]);
    }
}

template <typename S>
void GrantStructure(S& granted, const S& wanted, const S& supported, const char* structure, const char* const* names,
                    unsigned count, bool available, std::vector<std::string>& dropped) {
    Grant(Members(granted), Members(const_cast<S&>(wanted)), Members(const_cast<S&>(supported)), count, structure,
          names, available, dropped);
}

// What the engine needs of every device.
PhysicalDevice::Features EngineFeatures() {
    PhysicalDevice::Features f;
    f.chain = PhysicalDevice::Features::VULKAN_12 | PhysicalDevice::Features::VULKAN_13;
    f.vulkan12.bufferDeviceAddress = VK_TRUE;
    f.vulkan12.timelineSemaphore = VK_TRUE;
    f.vulkan13.synchronization2 = VK_TRUE;
    f.vulkan13.dynamicRendering = VK_TRUE;
    return f;
}

// Empty when usable, else why not.
std::string Unusable(const PhysicalDevice& device, VkSurfaceKHR surface) {
    if (device.Properties().apiVersion < VK_API_VERSION_1_3)
        return "no Vulkan 1.3";
    if (device.GraphicsQueueFamily() == UINT32_MAX)
        return "no graphics queue";
    const PhysicalDevice::Features& s = device.Supported();
    if (!s.vulkan12.bufferDeviceAddress || !s.vulkan12.timelineSemaphore || !s.vulkan13.synchronization2 ||
        !s.vulkan13.dynamicRendering)
        return "no buffer device addresses, timeline semaphores, synchronization2 or dynamic rendering";
    if (surface) {
        VkBool32 present = VK_FALSE;
        vkGetPhysicalDeviceSurfaceSupportKHR(device.Handle(), device.GraphicsQueueFamily(), surface, &present);
        if (!present || !device.HasExtension(VK_KHR_SWAPCHAIN_EXTENSION_NAME))
            return "cannot present to the window";
    }
    return {};
}

int Rank(const PhysicalDevice& device) {
    switch (device.Properties().deviceType) {
    case VK_PHYSICAL_DEVICE_TYPE_DISCRETE_GPU: return 0;
    case VK_PHYSICAL_DEVICE_TYPE_INTEGRATED_GPU: return 1;
    case VK_PHYSICAL_DEVICE_TYPE_VIRTUAL_GPU: return 2;
    case VK_PHYSICAL_DEVICE_TYPE_CPU: return 3;
    default: return 4;
    }
}

} // namespace

std::unique_ptr<Device> Device::Open(const Options& options) {
    auto instance = std::make_shared<Instance>(options.applicationName, options.validation);
    return std::make_unique<Device>(std::move(instance), options);
}

Device* Device::Current() { return current.load(); }
void Device::SetCurrent(Device* device) { current.store(device); }

Device::Device(std::shared_ptr<Instance> instance, const Options& options, VkSurfaceKHR surface)
    : _instance(std::move(instance)) {
    // The best usable device: GPUs before CPU devices, the driver's order among equals.
    const std::vector<PhysicalDevice> devices = PhysicalDevice::Enumerate(_instance->Handle());
    if (devices.empty())
        throw NoDeviceError("No usable Vulkan device: the Vulkan driver of this machine offers no device.");
    const PhysicalDevice* chosen = nullptr;
    std::string reasons;
    for (const PhysicalDevice& device : devices) {
        const std::string why = Unusable(device, surface);
        if (!why.empty()) {
            reasons += (reasons.empty() ? "" : "; ") + device.Name() + ": " + why;
            continue;
        }
        if (!chosen || Rank(device) < Rank(*chosen))
            chosen = &device;
    }
    if (!chosen)
        throw NoDeviceError("No usable Vulkan device: none of the devices of this machine's Vulkan can run the "
                            "engine (" +
                            reasons + ").");
    _physical = *chosen;
    _queueFamily = _physical.GraphicsQueueFamily();

    // What is asked for, and what is granted of it.
    using F = PhysicalDevice::Features;
    F wanted = EngineFeatures();
    wanted |= options.features;
    const F& supported = _physical.Supported();
    F& granted = _enabled;
    {
        const VkBool32* want = reinterpret_cast<const VkBool32*>(&wanted.features);
        const VkBool32* have = reinterpret_cast<const VkBool32*>(&supported.features);
        VkBool32* give = reinterpret_cast<VkBool32*>(&granted.features);
        for (unsigned i = 0; i < detail::featuresCount; ++i) {
            give[i] = want[i] && have[i];
            if (want[i] && !have[i])
                _dropped.push_back(std::string("VkPhysicalDeviceFeatures.") + detail::featuresNames[i]);
        }
    }
    const bool hasAS = _physical.HasExtension(VK_KHR_ACCELERATION_STRUCTURE_EXTENSION_NAME) &&
                       _physical.HasExtension(VK_KHR_DEFERRED_HOST_OPERATIONS_EXTENSION_NAME);
    auto chained = [&](uint32_t bit) { return (wanted.chain & bit) != 0; };
    if (chained(F::SHADER_CLOCK))
        GrantStructure(granted.shaderClock, wanted.shaderClock, supported.shaderClock,
                       "VkPhysicalDeviceShaderClockFeaturesKHR", detail::shaderClockNames, detail::shaderClockCount,
                       _physical.HasExtension(VK_KHR_SHADER_CLOCK_EXTENSION_NAME), _dropped);
    if (chained(F::STORAGE_16BIT))
        GrantStructure(granted.storage16Bit, wanted.storage16Bit, supported.storage16Bit,
                       "VkPhysicalDevice16BitStorageFeatures", detail::storage16BitNames, detail::storage16BitCount,
                       true, _dropped);
    GrantStructure(granted.vulkan12, wanted.vulkan12, supported.vulkan12, "VkPhysicalDeviceVulkan12Features",
                   detail::vulkan12Names, detail::vulkan12Count, true, _dropped);
    if (chained(F::ACCELERATION_STRUCTURE))
        GrantStructure(granted.accelerationStructure, wanted.accelerationStructure, supported.accelerationStructure,
                       "VkPhysicalDeviceAccelerationStructureFeaturesKHR", detail::accelerationStructureNames,
                       detail::accelerationStructureCount, hasAS, _dropped);
    // Ray tracing pipelines and ray queries trace against acceleration structures: without them, they go too.
    const bool asGranted = granted.accelerationStructure.accelerationStructure;
    if (chained(F::RAY_TRACING_PIPELINE))
        GrantStructure(granted.rayTracingPipeline, wanted.rayTracingPipeline, supported.rayTracingPipeline,
                       "VkPhysicalDeviceRayTracingPipelineFeaturesKHR", detail::rayTracingPipelineNames,
                       detail::rayTracingPipelineCount,
                       asGranted && _physical.HasExtension(VK_KHR_RAY_TRACING_PIPELINE_EXTENSION_NAME), _dropped);
    if (chained(F::RAY_QUERY))
        GrantStructure(granted.rayQuery, wanted.rayQuery, supported.rayQuery, "VkPhysicalDeviceRayQueryFeaturesKHR",
                       detail::rayQueryNames, detail::rayQueryCount,
                       asGranted && _physical.HasExtension(VK_KHR_RAY_QUERY_EXTENSION_NAME), _dropped);
    GrantStructure(granted.vulkan13, wanted.vulkan13, supported.vulkan13, "VkPhysicalDeviceVulkan13Features",
                   detail::vulkan13Names, detail::vulkan13Count, true, _dropped);
    granted.chain = wanted.chain | F::VULKAN_12 | F::VULKAN_13;
    if (!granted.accelerationStructure.accelerationStructure)
        granted.chain &= ~uint32_t(F::ACCELERATION_STRUCTURE);
    if (!granted.rayTracingPipeline.rayTracingPipeline)
        granted.chain &= ~uint32_t(F::RAY_TRACING_PIPELINE);
    if (!granted.rayQuery.rayQuery)
        granted.chain &= ~uint32_t(F::RAY_QUERY);
    if (!_physical.HasExtension(VK_KHR_SHADER_CLOCK_EXTENSION_NAME))
        granted.chain &= ~uint32_t(F::SHADER_CLOCK);
    for (const std::string& name : _dropped)
        std::printf("Vulkan: %s is not on %s, dropped\n", name.c_str(), _physical.Name().c_str());
    std::fflush(stdout);

    std::vector<const char*> extensions;
    if (surface || options.presentation)
        extensions.push_back(VK_KHR_SWAPCHAIN_EXTENSION_NAME);
    if (granted.chain & F::SHADER_CLOCK)
        extensions.push_back(VK_KHR_SHADER_CLOCK_EXTENSION_NAME);
    if (granted.chain & F::ACCELERATION_STRUCTURE) {
        extensions.push_back(VK_KHR_ACCELERATION_STRUCTURE_EXTENSION_NAME);
        extensions.push_back(VK_KHR_DEFERRED_HOST_OPERATIONS_EXTENSION_NAME);
    }
    if (granted.chain & F::RAY_TRACING_PIPELINE)
        extensions.push_back(VK_KHR_RAY_TRACING_PIPELINE_EXTENSION_NAME);
    if (granted.chain & F::RAY_QUERY)
        extensions.push_back(VK_KHR_RAY_QUERY_EXTENSION_NAME);

    // The chain as the driver reads it. The 16-bit storage members travel in the Vulkan 1.1 structure.
    F chain = granted;
    VkPhysicalDeviceVulkan11Features vulkan11{VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_1_FEATURES};
    vulkan11.storageBuffer16BitAccess = chain.storage16Bit.storageBuffer16BitAccess;
    vulkan11.uniformAndStorageBuffer16BitAccess = chain.storage16Bit.uniformAndStorageBuffer16BitAccess;
    vulkan11.storagePushConstant16 = chain.storage16Bit.storagePushConstant16;
    vulkan11.storageInputOutput16 = chain.storage16Bit.storageInputOutput16;
    VkPhysicalDeviceFeatures2 features2{VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_FEATURES_2};
    features2.features = chain.features;
    void** next = &features2.pNext;
    auto link = [&next](auto& structure) {
        *next = &structure;
        next = &structure.pNext;
    };
    link(vulkan11);
    link(chain.vulkan12);
    link(chain.vulkan13);
    if (chain.chain & F::SHADER_CLOCK)
        link(chain.shaderClock);
    if (chain.chain & F::ACCELERATION_STRUCTURE)
        link(chain.accelerationStructure);
    if (chain.chain & F::RAY_TRACING_PIPELINE)
        link(chain.rayTracingPipeline);
    if (chain.chain & F::RAY_QUERY)
        link(chain.rayQuery);

    const float priority = 1.0f;
    VkDeviceQueueCreateInfo queue{VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO};
    queue.queueFamilyIndex = _queueFamily;
    queue.queueCount = 1;
    queue.pQueuePriorities = &priority;
    VkDeviceCreateInfo info{VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO};
    info.pNext = &features2;
    info.queueCreateInfoCount = 1;
    info.pQueueCreateInfos = &queue;
    info.enabledExtensionCount = static_cast<uint32_t>(extensions.size());
    info.ppEnabledExtensionNames = extensions.data();
    Check(vkCreateDevice(_physical.Handle(), &info, nullptr, &_device), "vkCreateDevice");
    vkGetDeviceQueue(_device, _queueFamily, 0, &_queue);

    if (_instance->HasDebugUtils()) {
        VkInstance handle = _instance->Handle();
        _setName = reinterpret_cast<PFN_vkSetDebugUtilsObjectNameEXT>(
            vkGetInstanceProcAddr(handle, "vkSetDebugUtilsObjectNameEXT"));
        _beginLabel = reinterpret_cast<PFN_vkCmdBeginDebugUtilsLabelEXT>(
            vkGetInstanceProcAddr(handle, "vkCmdBeginDebugUtilsLabelEXT"));
        _endLabel = reinterpret_cast<PFN_vkCmdEndDebugUtilsLabelEXT>(
            vkGetInstanceProcAddr(handle, "vkCmdEndDebugUtilsLabelEXT"));
    }

    VkCommandPoolCreateInfo pool{VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO};
    pool.flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT | VK_COMMAND_POOL_CREATE_RESET_COMMAND_BUFFER_BIT;
    pool.queueFamilyIndex = _queueFamily;
    Check(vkCreateCommandPool(_device, &pool, nullptr, &_runPool), "vkCreateCommandPool");

    _memory = std::make_unique<MemoryAllocator>(*this);
}

Device::~Device() {
    if (Current() == this)
        SetCurrent(nullptr);
    if (_device) {
        vkDeviceWaitIdle(_device);
        _memory.reset();
        vkDestroyCommandPool(_device, _runPool, nullptr);
        vkDestroyDevice(_device, nullptr);
    }
}

bool Device::HasRayTracing() const {
    return _enabled.rayTracingPipeline.rayTracingPipeline && _enabled.accelerationStructure.accelerationStructure;
}

void Device::Submit(const VkSubmitInfo2& submit, VkFence fence) {
    std::lock_guard lock(_queueMutex);
    Check(vkQueueSubmit2(_queue, 1, &submit, fence), "vkQueueSubmit2");
}

VkResult Device::Present(const VkPresentInfoKHR& present) {
    std::lock_guard lock(_queueMutex);
    return vkQueuePresentKHR(_queue, &present);
}

void Device::WaitIdle() {
    std::lock_guard lock(_queueMutex);
    vkDeviceWaitIdle(_device);
}

void Device::SetName(VkObjectType type, uint64_t handle, const std::string& name) const {
    if (!_setName || name.empty() || !handle)
        return;
    VkDebugUtilsObjectNameInfoEXT info{VK_STRUCTURE_TYPE_DEBUG_UTILS_OBJECT_NAME_INFO_EXT};
    info.objectType = type;
    info.objectHandle = handle;
    info.pObjectName = name.c_str();
    _setName(_device, &info);
}

void Device::BeginLabel(VkCommandBuffer commandBuffer, const char* name) const {
    if (!_beginLabel)
        return;
    VkDebugUtilsLabelEXT label{VK_STRUCTURE_TYPE_DEBUG_UTILS_LABEL_EXT};
    label.pLabelName = name;
    _beginLabel(commandBuffer, &label);
}

void Device::EndLabel(VkCommandBuffer commandBuffer) const {
    if (_endLabel)
        _endLabel(commandBuffer);
}

} // namespace vesmo::vk
