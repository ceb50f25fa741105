#pragma once
// vesmo::vk::BlockRanges: the free ranges of one memory block, and how the allocator carves them.
//
// A block is one vkAllocateMemory of a fixed size. Pieces are whole granules of 16 bytes, aligned to 16
// at least (sizes are rounded up by Allocate and Free alike). Its free space is a list of ranges sorted by offset.
// Allocate takes the first range that can hold the size after aligning its start (first fit: blocks are
// large and buffers live long, so the cheap search wins over best fit), and splits off what is left on
// both sides. Free puts the range back and merges it with its neighbours, so a block whose allocations are
// all freed is one range again. No device is involved: this is plain arithmetic, tested and measured on
// its own.
//
// Not thread-safe; MemoryAllocator holds the lock.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vesmo::vk {

class BlockRanges {
public:
    static constexpr uint64_t NoSpace = UINT64_MAX;

    explicit BlockRanges(uint64_t size);

    // Offset of `size` bytes aligned to `alignment` (a power of two), or NoSpace.
    uint64_t Allocate(uint64_t size, uint64_t alignment);
    // Returns the piece that Allocate gave for `size` at `offset`.
    void Free(uint64_t offset, uint64_t size);

    uint64_t Size() const { return _size; }
    uint64_t FreeBytes() const { return _free; }
    bool Empty() const { return _free == _size; }
    // Free ranges, for tests: sorted, never touching.
    struct Range {
        uint64_t offset;
        uint64_t size;
    };
    const std::vector<Range>& FreeRanges() const { return _ranges; }

private:
    uint64_t _size;
    uint64_t _free;
    std::vector<Range> _ranges;
};

} // namespace vesmo::vk
