#pragma once
// How a piece of device memory will be used: the values of the usual Vulkan memory allocator, kept under
// their usual names, so that code written against that allocator reads the same here. Debian packages no
// such allocator; the engine's own (vesmo/vk/MemoryAllocator.hpp) takes these values.
//
// What each value means on this engine:
//   VMA_MEMORY_USAGE_GPU_ONLY, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, VMA_MEMORY_USAGE_AUTO
//       device-local memory. A buffer or image asked to be mapped (MappedBuffer, Buffer's `mapped`) gets
//       device-local memory that the host also sees where the device has it (a CPU device such as
//       lavapipe, a GPU with a resizable window), and host memory the device reads otherwise.
//   VMA_MEMORY_USAGE_CPU_ONLY, VMA_MEMORY_USAGE_CPU_TO_GPU, VMA_MEMORY_USAGE_AUTO_PREFER_HOST,
//   VMA_MEMORY_USAGE_CPU_COPY
//       host-visible, coherent memory, always mapped (staging buffers, per-frame records).
//   VMA_MEMORY_USAGE_GPU_TO_CPU
//       host-visible memory, cached where the device offers it (read-backs such as SaveImage).
//   VMA_MEMORY_USAGE_UNKNOWN, VMA_MEMORY_USAGE_GPU_LAZILY_ALLOCATED
//       treated as device-local.

#ifndef AMD_VULKAN_MEMORY_ALLOCATOR_H
enum VmaMemoryUsage {
    VMA_MEMORY_USAGE_UNKNOWN = 0,
    VMA_MEMORY_USAGE_GPU_ONLY = 1,
    VMA_MEMORY_USAGE_CPU_ONLY = 2,
    VMA_MEMORY_USAGE_CPU_TO_GPU = 3,
    VMA_MEMORY_USAGE_GPU_TO_CPU = 4,
    VMA_MEMORY_USAGE_CPU_COPY = 5,
    VMA_MEMORY_USAGE_GPU_LAZILY_ALLOCATED = 6,
    VMA_MEMORY_USAGE_AUTO = 7,
    VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE = 8,
    VMA_MEMORY_USAGE_AUTO_PREFER_HOST = 9,
};
#endif

namespace vesmo::vk {

// True for the usages whose memory the host must see (and that are therefore always mapped).
constexpr bool IsHostUsage(VmaMemoryUsage usage) {
    return usage == VMA_MEMORY_USAGE_CPU_ONLY || usage == VMA_MEMORY_USAGE_CPU_TO_GPU ||
           usage == VMA_MEMORY_USAGE_GPU_TO_CPU || usage == VMA_MEMORY_USAGE_CPU_COPY ||
           usage == VMA_MEMORY_USAGE_AUTO_PREFER_HOST;
}

} // namespace vesmo::vk
