#pragma once
// vesmo::vk::MemoryAllocator: device memory in large blocks, handed out in aligned pieces.
//
// Vulkan allows few memory objects (4096 on many drivers) and a vkAllocateMemory is slow, while a game
// makes thousands of small buffers (one record buffer per entity). So memory comes in blocks of
// BlockSize (64 MiB) per memory type, and each buffer or image gets a piece of a block (BlockRanges). A
// request larger than a quarter of a block gets a memory object of its own. An empty block is kept while it
// is the only one of its type, and released otherwise, so a level load and unload doesn't keep its peak.
//
// Choosing the memory type from a VmaMemoryUsage (vesmo/vk/MemoryUsage.hpp): device-local first for
// device usages, host-visible and coherent for host usages, host-cached for GPU_TO_CPU. `mapped` asks for a
// host-visible type as well and keeps the block mapped for its whole life (a persistent map: Allocation::
// mapped points at the piece). Blocks are mapped once, never per allocation.
//
// Alignment honours the resource's own alignment, the caller's, and bufferImageGranularity between linear
// and optimal resources (blocks hold either buffers or images, never both, so the granularity never
// applies inside a block).
//
// Threads: Allocate and Free may be called from any thread.

#include "vesmo/vk/BlockRanges.hpp"
#include "vesmo/vk/MemoryUsage.hpp"

#include <vulkan/vulkan.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace vesmo::vk {

class Device;

struct Allocation {
    VkDeviceMemory memory = VK_NULL_HANDLE;
    VkDeviceSize offset = 0;
    VkDeviceSize size = 0;
    void* mapped = nullptr; // host address of the piece, when host-visible
    uint32_t memoryType = 0;
    bool coherent = true; // false: host writes need Flush
    int32_t block = -1;   // index of the block; -1 for a dedicated memory object
    explicit operator bool() const { return memory != VK_NULL_HANDLE; }
};

class MemoryAllocator {
public:
    static constexpr VkDeviceSize BlockSize = 64ull << 20;

    MemoryAllocator(Device& device);
    ~MemoryAllocator();

    MemoryAllocator(const MemoryAllocator&) = delete;
    MemoryAllocator& operator=(const MemoryAllocator&) = delete;

    // Memory for `requirements`, aligned at least to `alignment`. `image`: the piece is for an image (kept
    // apart from buffers). `deviceAddress`: the memory must allow buffer device addresses. Throws
    // std::runtime_error "Out of device memory: ..." when no type can hold it.
    Allocation Allocate(const VkMemoryRequirements& requirements, VmaMemoryUsage usage, bool mapped,
                        VkDeviceSize alignment, bool image);
    void Free(Allocation& allocation);
    // Makes host writes of a non-coherent piece visible to the device (a no-op for coherent memory).
    void Flush(const Allocation& allocation, VkDeviceSize offset, VkDeviceSize size);

    struct Stats {
        uint32_t blocks = 0;         // block memory objects
        uint32_t dedicated = 0;      // memory objects of their own
        uint64_t reservedBytes = 0;  // all memory objects together
        uint64_t allocatedBytes = 0; // pieces handed out
        uint32_t allocations = 0;    // pieces handed out
    };
    Stats GetStats() const;

private:
    struct Block {
        VkDeviceMemory memory = VK_NULL_HANDLE;
        uint32_t memoryType = 0;
        bool image = false;
        void* mapped = nullptr;
        std::unique_ptr<BlockRanges> ranges;
    };

    uint32_t FindType(uint32_t typeBits, VmaMemoryUsage usage, bool mapped) const;
    VkDeviceMemory AllocateMemory(uint32_t type, VkDeviceSize size, void** mapped);

    Device& _device;
    mutable std::mutex _mutex;  // guards everything below
    std::vector<Block> _blocks; // a freed block leaves an empty slot, reused by the next one
    Stats _stats;
};

} // namespace vesmo::vk
