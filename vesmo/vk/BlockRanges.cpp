#include "vesmo/vk/BlockRanges.hpp"

#include "vesmo/core/Assert.hpp"

namespace vesmo::vk {

BlockRanges::BlockRanges(uint64_t size) : _size(size), _free(size) {
    if (size > 0)
        _ranges.push_back({0, size});
}

namespace {

// Pieces are whole granules: sizes that aren't would leave gaps of a few bytes between neighbours, which
// nobody can use and which every later search would walk past.
constexpr uint64_t Granule = 16;
uint64_t Round(uint64_t size) { return (size + Granule - 1) & ~(Granule - 1); }

} // namespace

uint64_t BlockRanges::Allocate(uint64_t size, uint64_t alignment) {
    VESMO_ASSERT(alignment > 0 && (alignment & (alignment - 1)) == 0);
    size = Round(size);
    if (alignment < Granule)
        alignment = Granule;
    if (size == 0 || size > _free)
        return NoSpace;
    for (size_t i = 0; i < _ranges.size(); ++i) {
        Range& range = _ranges[i];
        const uint64_t start = (range.offset + alignment - 1) & ~(alignment - 1);
        const uint64_t end = range.offset + range.size;
        if (start > end || end - start < size)
            continue;
        const uint64_t before = start - range.offset;
        const uint64_t after = end - (start + size);
        // The padding before stays free in place; what is after becomes a range of its own.
        if (before > 0 && after > 0) {
            range.size = before;
            _ranges.insert(_ranges.begin() + static_cast<std::ptrdiff_t>(i) + 1, Range{start + size, after});
        } else if (before > 0) {
            range.size = before;
        } else if (after > 0) {
            range = {start + size, after};
        } else {
            _ranges.erase(_ranges.begin() + static_cast<std::ptrdiff_t>(i));
        }
        _free -= size;
        return start;
    }
    return NoSpace;
}

void BlockRanges::Free(uint64_t offset, uint64_t size) {
    size = Round(size);
    VESMO_ASSERT(size > 0 && offset + size <= _size);
    // First range that starts after the freed one.
    size_t i = 0;
    size_t lo = 0, hi = _ranges.size();
    while (lo < hi) {
        const size_t mid = (lo + hi) / 2;
        if (_ranges[mid].offset < offset)
            lo = mid + 1;
        else
            hi = mid;
    }
    i = lo;
    VESMO_ASSERT(i == _ranges.size() || offset + size <= _ranges[i].offset);
    VESMO_ASSERT(i == 0 || _ranges[i - 1].offset + _ranges[i - 1].size <= offset);
    const bool joinsBefore = i > 0 && _ranges[i - 1].offset + _ranges[i - 1].size == offset;
    const bool joinsAfter = i < _ranges.size() && offset + size == _ranges[i].offset;
    if (joinsBefore && joinsAfter) {
        _ranges[i - 1].size += size + _ranges[i].size;
        _ranges.erase(_ranges.begin() + static_cast<std::ptrdiff_t>(i));
    } else if (joinsBefore) {
        _ranges[i - 1].size += size;
    } else if (joinsAfter) {
        _ranges[i].offset = offset;
        _ranges[i].size += size;
    } else {
        _ranges.insert(_ranges.begin() + static_cast<std::ptrdiff_t>(i), Range{offset, size});
    }
    _free += size;
}

} // namespace vesmo::vk
