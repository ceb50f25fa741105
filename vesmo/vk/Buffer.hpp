#pragma once
// vesmo::vk::Buffer: a VkBuffer with its memory, its device address and, when the host sees it, a
// persistent map.
//
//     vesmo::vk::Buffer buffer(vesmo::vk::Device::Current(), bytes, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
//                              VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 16, "Mesh buffer", true);
//     std::memcpy(buffer.Data(), source, bytes);            // mapped: write straight in
//     record.address = buffer.DeviceAddress() + offset;     // what shaders read through
//
// Every buffer gets VK_BUFFER_USAGE_SHADER_DEVICE_ADDRESS_BIT and TRANSFER_SRC/DST on top of `usage`, so
// its address is always there and Upload can always reach it.
//
// Mapping. A host usage (VMA_MEMORY_USAGE_CPU_TO_GPU, ...) or `mapped` = true gives a buffer that stays
// mapped as long as it lives: Data() is its first byte. Other buffers are device-only and Data() is null;
// Upload copies into them through a staging buffer. Upload works for both kinds.
//
// Without a device (device null) the buffer is host memory of the same size, aligned as asked, zeroed
// unless the caller says it fills the whole buffer itself (Contents::UNDEFINED, as device memory is: a
// mesh read from its file should not pay for clearing bytes it overwrites at once); Data() is never null,
// DeviceAddress() is the host address of the bytes (so address arithmetic stays testable; no GPU ever reads it) and
// Handle() is VK_NULL_HANDLE.
//
// A buffer is released where its owner drops it: code above the engine drops GPU objects into the game
// renderer's trash, so the frames in flight never see one vanish.

#include "vesmo/vk/MemoryAllocator.hpp"
#include "vesmo/vk/MemoryUsage.hpp"

#include <vulkan/vulkan.h>

#include <cstddef>
#include <string>

namespace vesmo::vk {

class Device;

class Buffer {
public:
    // What a new buffer holds before anyone writes it. Device memory is always UNDEFINED.
    enum class Contents { ZEROED, UNDEFINED };

    Buffer() = default;
    // `alignment` 0: the device's own for the usage. `size` 0 is allowed and makes an empty buffer (no
    // memory, address 0).
    Buffer(Device* device, VkDeviceSize size, VkBufferUsageFlags usage,
           VmaMemoryUsage memoryUsage = VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, VkDeviceSize alignment = 0,
           const std::string& name = {}, bool mapped = false, Contents contents = Contents::ZEROED);
    ~Buffer();

    Buffer(Buffer&& other) noexcept;
    Buffer& operator=(Buffer&& other) noexcept;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    VkBuffer Handle() const { return _buffer; }
    VkDeviceSize Size() const { return _size; }
    VkDeviceAddress DeviceAddress() const { return _address; }
    // First byte of the persistent map, or null for a device-only buffer.
    void* Data() const { return _data; }
    bool IsMapped() const { return _data != nullptr; }
    Device* GetDevice() const { return _device; }
    const std::string& Name() const { return _name; }

    // Copies `size` bytes to `offset`: a memcpy into the map, or through a staging buffer and
    // CommandBuffer::Run (waits until the copy is done) for a device-only buffer.
    void Upload(const void* data, VkDeviceSize size, VkDeviceSize offset = 0);
    // Makes host writes visible to the device on memory that isn't coherent (lavapipe's and most GPUs'
    // mappable memory is coherent; this is a no-op there).
    void Flush(VkDeviceSize offset = 0, VkDeviceSize size = VK_WHOLE_SIZE);

    // Releases now (normally the destructor does it).
    void Destroy();

private:
    Device* _device = nullptr;
    VkBuffer _buffer = VK_NULL_HANDLE;
    Allocation _allocation;
    VkDeviceSize _size = 0;
    VkDeviceAddress _address = 0;
    void* _data = nullptr;
    void* _hostMemory = nullptr; // the no-device face's bytes
    size_t _hostBytes = 0;
    std::string _name;
};

} // namespace vesmo::vk
