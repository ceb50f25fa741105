#pragma once
// The engine's vk area (VesmoVk.so): thin, owning wrappers of Vulkan objects, each in its own header.
//
//   Instance.hpp        instance and the validation layer
//   PhysicalDevice.hpp  PhysicalDevice and PhysicalDevice::Features (the feature chain, operator|=)
//   Device.hpp          Device, NoDeviceError, Device::Current()
//   MemoryUsage.hpp     the VMA_MEMORY_USAGE_* values
//   MemoryAllocator.hpp device memory in blocks (BlockRanges.hpp: the free-list arithmetic)
//   Buffer.hpp          Buffer (device address, persistent map)
//   MappedBuffer.hpp    MappedBuffer<T, Usage, Granule, Alignment> (checked records)
//   Image.hpp           Image, ImageView
//   Sampler.hpp         Sampler
//   Renderpass.hpp      Renderpass
//   PipelineLayout.hpp  PipelineLayout
//   Pipeline.hpp        Pipeline (compute, or adopted)
//   GraphicsPipeline.hpp GraphicsPipeline
//   Shader.hpp          Shader (build-time SPIR-V, run-time GLSL)
//   Swapchain.hpp       Swapchain (GLFW surface, usage 27)
//   CommandBuffer.hpp   CommandBuffer::Run
//
// Every class takes a `Device*`; a null device is the engine without a device (see Device.hpp). All
// objects are move-only and release their Vulkan objects in their destructor.

#include "vesmo/vk/Buffer.hpp"
#include "vesmo/vk/CommandBuffer.hpp"
#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/GraphicsPipeline.hpp"
#include "vesmo/vk/Image.hpp"
#include "vesmo/vk/MappedBuffer.hpp"
#include "vesmo/vk/MemoryUsage.hpp"
#include "vesmo/vk/PhysicalDevice.hpp"
#include "vesmo/vk/Pipeline.hpp"
#include "vesmo/vk/PipelineLayout.hpp"
#include "vesmo/vk/Renderpass.hpp"
#include "vesmo/vk/Sampler.hpp"
#include "vesmo/vk/Shader.hpp"
#include "vesmo/vk/Swapchain.hpp"

#include <vulkan/vulkan.h>

#include <string>

namespace vesmo::vk {

// Name of the shared object that holds this area, for diagnostics.
const char* LibraryName();

// Throws std::runtime_error "Vulkan: <what> failed: <result name>" unless `result` is VK_SUCCESS.
void Check(VkResult result, const char* what);
// "VK_ERROR_OUT_OF_DATE_KHR" and so on.
const char* ResultName(VkResult result);

} // namespace vesmo::vk
