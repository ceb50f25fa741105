#pragma once
// vesmo::vk::MappedBuffer<T, Usage, Granule, Alignment>: an array of GPU records that the host writes in
// place, with every element access checked.
//
//     using Records = vesmo::vk::MappedBuffer<RenderableData, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 1024, 16>;
//     auto records = std::make_shared<Records>(vesmo::vk::Device::Current(), geometryCount,
//                                              VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, "RenderableData");
//     (*records)[i].color = color;       // "index < _count" is asserted
//     gpuRecord.address = records->DeviceAddress();
//
// Template arguments:
//   T          the record; trivially copyable, its GPU layout is the caller's (static_assert on size).
//   Usage      a VmaMemoryUsage. Whatever it is, the buffer is mapped for its whole life: device-local
//              memory the host sees where there is some, host memory the device reads otherwise.
//   Granule    bytes: the buffer's size is rounded up to a multiple of this, so buffers of nearby sizes take
//              pieces of the same size and a freed piece fits the next buffer of the kind exactly.
//   Alignment  bytes: the first record's device address is a multiple of this (8 for the boxes of
//              acceleration structures, 16 for records read as vec4).
//
// Element access is checked by assertion in every build type: an index at or past Count() ends the process
// with "Assertion failed: index < _count", and access to a buffer that has no storage (default-constructed
// or moved from) with "_data". The count must be positive ("count > 0").
//
// Without a device (device null) the records are host memory with the same layout and the same checks;
// DeviceAddress() is then the host address of the first record.

#include "vesmo/core/Assert.hpp"
#include "vesmo/vk/Buffer.hpp"
#include "vesmo/vk/MemoryUsage.hpp"

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

namespace vesmo::vk {

template <typename T, VmaMemoryUsage Usage = VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, size_t Granule = 256,
          size_t Alignment = alignof(T)>
class MappedBuffer {
    static_assert(std::is_trivially_copyable_v<T>, "GPU records are plain bytes");
    static_assert(Granule > 0 && Alignment > 0 && (Alignment & (Alignment - 1)) == 0);

public:
    using value_type = T;

    MappedBuffer() = default;
    // `count` records, zeroed. `usage` is the VkBufferUsageFlags the records are read with (storage,
    // acceleration structure input, ...); device address and transfers are always added.
    MappedBuffer(Device* device, size_t count, VkBufferUsageFlags usage, const std::string& name = {}) : _count(count) {
        VESMO_ASSERT(count > 0);
        const size_t bytes = (count * sizeof(T) + Granule - 1) / Granule * Granule;
        _buffer = Buffer(device, bytes, usage, Usage, Alignment, name, true);
        _data = static_cast<T*>(_buffer.Data());
        std::memset(static_cast<void*>(_data), 0, bytes);
    }

    MappedBuffer(MappedBuffer&& other) noexcept { *this = std::move(other); }
    MappedBuffer& operator=(MappedBuffer&& other) noexcept {
        _buffer = std::move(other._buffer);
        _data = other._data;
        _count = other._count;
        other._data = nullptr;
        other._count = 0;
        return *this;
    }

    T& operator[](size_t index) {
        VESMO_ASSERT(_data);
        VESMO_ASSERT(index < _count);
        return _data[index];
    }
    const T& operator[](size_t index) const {
        VESMO_ASSERT(_data);
        VESMO_ASSERT(index < _count);
        return _data[index];
    }

    size_t Count() const { return _count; }
    // The records as one array (null without storage). Unchecked: for memcpy of whole arrays.
    T* Data() const { return _data; }
    VkDeviceAddress DeviceAddress() const { return _buffer.DeviceAddress(); }
    VkBuffer Handle() const { return _buffer.Handle(); }
    VkDeviceSize SizeBytes() const { return _count * sizeof(T); }
    Buffer& GetBuffer() { return _buffer; }
    const Buffer& GetBuffer() const { return _buffer; }

private:
    Buffer _buffer;
    T* _data = nullptr;
    size_t _count = 0;
};

} // namespace vesmo::vk
