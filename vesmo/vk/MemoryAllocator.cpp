#include "vesmo/vk/MemoryAllocator.hpp"

#include "vesmo/core/Assert.hpp"
#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#include <stdexcept>
#include <string>

namespace vesmo::vk {

MemoryAllocator::MemoryAllocator(Device& device) : _device(device) {}

MemoryAllocator::~MemoryAllocator() {
    for (Block& block : _blocks)
        if (block.memory)
            vkFreeMemory(_device.Handle(), block.memory, nullptr);
}

uint32_t MemoryAllocator::FindType(uint32_t typeBits, VmaMemoryUsage usage, bool mapped) const {
    const VkPhysicalDeviceMemoryProperties& memory = _device.Physical().MemoryProperties();
    VkMemoryPropertyFlags required = 0;
    VkMemoryPropertyFlags preferred = 0;
    if (usage == VMA_MEMORY_USAGE_GPU_TO_CPU) {
        required = VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT;
        preferred = VK_MEMORY_PROPERTY_HOST_CACHED_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
    } else if (IsHostUsage(usage)) {
        required = VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
    } else if (mapped) {
        required = VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT;
        preferred = VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;
    } else {
        preferred = VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT;
    }
    // The type with every required property and the most preferred ones; the driver's order breaks ties.
    uint32_t best = UINT32_MAX;
    int bestScore = -1;
    for (uint32_t i = 0; i < memory.memoryTypeCount; ++i) {
        if (!(typeBits & (1u << i)))
            continue;
        const VkMemoryPropertyFlags flags = memory.memoryTypes[i].propertyFlags;
        if ((flags & required) != required)
            continue;
        const int score = __builtin_popcount(flags & preferred);
        if (score > bestScore) {
            best = i;
            bestScore = score;
        }
    }
    return best;
}

VkDeviceMemory MemoryAllocator::AllocateMemory(uint32_t type, VkDeviceSize size, void** mapped) {
    // Buffers in any block may want their device address.
    VkMemoryAllocateFlagsInfo flags{VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_FLAGS_INFO};
    flags.flags = VK_MEMORY_ALLOCATE_DEVICE_ADDRESS_BIT;
    VkMemoryAllocateInfo info{VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO};
    info.pNext = &flags;
    info.allocationSize = size;
    info.memoryTypeIndex = type;
    VkDeviceMemory memory = VK_NULL_HANDLE;
    const VkResult result = vkAllocateMemory(_device.Handle(), &info, nullptr, &memory);
    if (result != VK_SUCCESS)
        throw std::runtime_error("Out of device memory: " + std::to_string(size) + " bytes of memory type " +
                                 std::to_string(type) + " (" + ResultName(result) + ")");
    *mapped = nullptr;
    const VkMemoryPropertyFlags properties = _device.Physical().MemoryProperties().memoryTypes[type].propertyFlags;
    if (properties & VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT)
        Check(vkMapMemory(_device.Handle(), memory, 0, VK_WHOLE_SIZE, 0, mapped), "vkMapMemory");
    return memory;
}

Allocation MemoryAllocator::Allocate(const VkMemoryRequirements& requirements, VmaMemoryUsage usage, bool mapped,
                                     VkDeviceSize alignment, bool image) {
    uint32_t type = FindType(requirements.memoryTypeBits, usage, mapped);
    if (type == UINT32_MAX && !mapped && IsHostUsage(usage) == false)
        type = FindType(requirements.memoryTypeBits, VMA_MEMORY_USAGE_UNKNOWN, false);
    if (type == UINT32_MAX)
        throw std::runtime_error("Out of device memory: no memory type fits (usage " + std::to_string(usage) + ")");
    const VkMemoryPropertyFlags properties = _device.Physical().MemoryProperties().memoryTypes[type].propertyFlags;
    VkDeviceSize align = requirements.alignment > alignment ? requirements.alignment : alignment;
    if (align == 0)
        align = 1;

    Allocation allocation;
    allocation.size = requirements.size;
    allocation.memoryType = type;
    allocation.coherent = (properties & VK_MEMORY_PROPERTY_HOST_COHERENT_BIT) != 0;

    std::lock_guard lock(_mutex);
    if (requirements.size > BlockSize / 4) {
        allocation.memory = AllocateMemory(type, requirements.size, &allocation.mapped);
        allocation.block = -1;
        _stats.dedicated++;
        _stats.reservedBytes += requirements.size;
        _stats.allocatedBytes += requirements.size;
        _stats.allocations++;
        return allocation;
    }
    int32_t index = -1;
    VkDeviceSize offset = BlockRanges::NoSpace;
    for (size_t i = 0; i < _blocks.size() && index < 0; ++i) {
        Block& block = _blocks[i];
        if (!block.memory || block.memoryType != type || block.image != image)
            continue;
        offset = block.ranges->Allocate(requirements.size, align);
        if (offset != BlockRanges::NoSpace)
            index = static_cast<int32_t>(i);
    }
    if (index < 0) {
        Block block;
        block.memoryType = type;
        block.image = image;
        block.memory = AllocateMemory(type, BlockSize, &block.mapped);
        block.ranges = std::make_unique<BlockRanges>(BlockSize);
        offset = block.ranges->Allocate(requirements.size, align);
        VESMO_ASSERT(offset != BlockRanges::NoSpace);
        for (size_t i = 0; i < _blocks.size() && index < 0; ++i)
            if (!_blocks[i].memory) {
                _blocks[i] = std::move(block);
                index = static_cast<int32_t>(i);
            }
        if (index < 0) {
            _blocks.push_back(std::move(block));
            index = static_cast<int32_t>(_blocks.size() - 1);
        }
        _stats.blocks++;
        _stats.reservedBytes += BlockSize;
    }
    Block& block = _blocks[static_cast<size_t>(index)];
    allocation.memory = block.memory;
    allocation.offset = offset;
    allocation.block = index;
    allocation.mapped = block.mapped ? static_cast<char*>(block.mapped) + offset : nullptr;
    _stats.allocatedBytes += requirements.size;
    _stats.allocations++;
    return allocation;
}

void MemoryAllocator::Free(Allocation& allocation) {
    if (!allocation.memory)
        return;
    std::lock_guard lock(_mutex);
    _stats.allocatedBytes -= allocation.size;
    _stats.allocations--;
    if (allocation.block < 0) {
        vkFreeMemory(_device.Handle(), allocation.memory, nullptr);
        _stats.dedicated--;
        _stats.reservedBytes -= allocation.size;
    } else {
        Block& block = _blocks[static_cast<size_t>(allocation.block)];
        VESMO_ASSERT(block.memory == allocation.memory);
        block.ranges->Free(allocation.offset, allocation.size);
        if (block.ranges->Empty()) {
            // Kept while it is the only block of its kind, so a buffer made and dropped every frame doesn't
            // cost a vkAllocateMemory each time.
            bool another = false;
            for (const Block& other : _blocks)
                another = another || (&other != &block && other.memory && other.memoryType == block.memoryType &&
                                      other.image == block.image);
            if (another) {
                vkFreeMemory(_device.Handle(), block.memory, nullptr);
                block = Block{};
                _stats.blocks--;
                _stats.reservedBytes -= BlockSize;
            }
        }
    }
    allocation = Allocation{};
}

void MemoryAllocator::Flush(const Allocation& allocation, VkDeviceSize offset, VkDeviceSize size) {
    if (!allocation.memory || allocation.coherent || !allocation.mapped)
        return;
    const VkDeviceSize atom = _device.Physical().Properties().limits.nonCoherentAtomSize;
    const VkDeviceSize start = (allocation.offset + offset) / atom * atom;
    VkDeviceSize end = size == VK_WHOLE_SIZE ? allocation.offset + allocation.size : allocation.offset + offset + size;
    end = (end + atom - 1) / atom * atom;
    VkMappedMemoryRange range{VK_STRUCTURE_TYPE_MAPPED_MEMORY_RANGE};
    range.memory = allocation.memory;
    range.offset = start;
    range.size = end - start;
    vkFlushMappedMemoryRanges(_device.Handle(), 1, &range);
}

MemoryAllocator::Stats MemoryAllocator::GetStats() const {
    std::lock_guard lock(_mutex);
    return _stats;
}

} // namespace vesmo::vk
