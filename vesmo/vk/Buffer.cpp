#include "vesmo/vk/Buffer.hpp"

#include "vesmo/core/Assert.hpp"
#include "vesmo/vk/CommandBuffer.hpp"
#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

namespace vesmo::vk {

namespace {

// Usage bits that belong to extensions the device may not have: asking for them there is an error, and a
// buffer meant for acceleration structures on a device without them is just a storage buffer.
VkBufferUsageFlags Supported(const Device& device, VkBufferUsageFlags usage) {
    using F = PhysicalDevice::Features;
    if (!(device.Enabled().chain & F::ACCELERATION_STRUCTURE))
        usage &= ~VkBufferUsageFlags(VK_BUFFER_USAGE_ACCELERATION_STRUCTURE_BUILD_INPUT_READ_ONLY_BIT_KHR |
                                     VK_BUFFER_USAGE_ACCELERATION_STRUCTURE_STORAGE_BIT_KHR);
    if (!(device.Enabled().chain & F::RAY_TRACING_PIPELINE))
        usage &= ~VkBufferUsageFlags(VK_BUFFER_USAGE_SHADER_BINDING_TABLE_BIT_KHR);
    return usage;
}

// The no-device face's memory. glibc maps every large block afresh and unmaps it on free, and a page touched
// for the first time costs a fault (about 12 us each on the virtual machines the servers run on), so a
// mesh reloaded into a buffer of the same size would pay a fault per 4 KiB every time. Like the device's
// allocator, which keeps its one empty block, the last large block released is kept for the next request
// it fits (within twice its size, so a small buffer never holds on to a large block).
class HostBlocks {
public:
    static constexpr size_t Large = size_t(1) << 20;

    void* Acquire(size_t bytes, size_t align) {
        if (bytes >= Large) {
            std::lock_guard lock(_mutex);
            if (_spare && _spareBytes >= bytes && _spareBytes <= 2 * bytes &&
                reinterpret_cast<uintptr_t>(_spare) % align == 0) {
                return std::exchange(_spare, nullptr);
            }
        }
        return std::aligned_alloc(align, bytes);
    }
    // `bytes`: what Acquire was asked for; a spare block may be larger, which only wastes its tail.
    void Release(void* memory, size_t bytes) {
        if (memory && bytes >= Large) {
            std::lock_guard lock(_mutex);
            std::free(_spare);
            _spare = memory;
            _spareBytes = bytes;
            return;
        }
        std::free(memory);
    }
    ~HostBlocks() { std::free(_spare); }

private:
    std::mutex _mutex;
    void* _spare = nullptr;
    size_t _spareBytes = 0;
};

HostBlocks& Host() {
    static HostBlocks blocks;
    return blocks;
}

} // namespace

Buffer::Buffer(Device* device, VkDeviceSize size, VkBufferUsageFlags usage, VmaMemoryUsage memoryUsage,
               VkDeviceSize alignment, const std::string& name, bool mapped, Contents contents)
    : _device(device), _size(size), _name(name) {
    if (size == 0)
        return;
    if (!device) {
        // The engine without a device: plain host memory, aligned as a device would align it.
        const size_t align = alignment > 16 ? static_cast<size_t>(alignment) : 16;
        const size_t bytes = (static_cast<size_t>(size) + align - 1) / align * align;
        _hostMemory = Host().Acquire(bytes, align);
        _hostBytes = bytes;
        VESMO_ASSERT(_hostMemory);
        if (contents == Contents::ZEROED)
            std::memset(_hostMemory, 0, bytes);
        _data = _hostMemory;
        _address = reinterpret_cast<VkDeviceAddress>(_hostMemory);
        return;
    }
    VkBufferCreateInfo info{VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO};
    info.size = size;
    info.usage = Supported(*device, usage) | VK_BUFFER_USAGE_SHADER_DEVICE_ADDRESS_BIT |
                 VK_BUFFER_USAGE_TRANSFER_SRC_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT;
    info.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
    Check(vkCreateBuffer(device->Handle(), &info, nullptr, &_buffer), "vkCreateBuffer");
    VkMemoryRequirements requirements;
    vkGetBufferMemoryRequirements(device->Handle(), _buffer, &requirements);
    try {
        _allocation =
            device->Memory().Allocate(requirements, memoryUsage, mapped || IsHostUsage(memoryUsage), alignment, false);
        Check(vkBindBufferMemory(device->Handle(), _buffer, _allocation.memory, _allocation.offset),
              "vkBindBufferMemory");
    } catch (...) {
        device->Memory().Free(_allocation);
        vkDestroyBuffer(device->Handle(), _buffer, nullptr);
        throw;
    }
    if (mapped || IsHostUsage(memoryUsage))
        _data = _allocation.mapped;
    VkBufferDeviceAddressInfo address{VK_STRUCTURE_TYPE_BUFFER_DEVICE_ADDRESS_INFO};
    address.buffer = _buffer;
    _address = vkGetBufferDeviceAddress(device->Handle(), &address);
    device->SetName(VK_OBJECT_TYPE_BUFFER, _buffer, name);
}

Buffer::~Buffer() { Destroy(); }

Buffer::Buffer(Buffer&& other) noexcept { *this = std::move(other); }

Buffer& Buffer::operator=(Buffer&& other) noexcept {
    if (this != &other) {
        Destroy();
        _device = other._device;
        _buffer = std::exchange(other._buffer, VK_NULL_HANDLE);
        _allocation = std::exchange(other._allocation, Allocation{});
        _size = std::exchange(other._size, 0);
        _address = std::exchange(other._address, 0);
        _data = std::exchange(other._data, nullptr);
        _hostMemory = std::exchange(other._hostMemory, nullptr);
        _hostBytes = std::exchange(other._hostBytes, 0);
        _name = std::move(other._name);
    }
    return *this;
}

void Buffer::Destroy() {
    if (_buffer) {
        vkDestroyBuffer(_device->Handle(), _buffer, nullptr);
        _device->Memory().Free(_allocation);
        _buffer = VK_NULL_HANDLE;
    }
    if (_hostMemory) // device buffers never touch the host blocks, not even while the program exits
        Host().Release(_hostMemory, _hostBytes);
    _hostMemory = nullptr;
    _hostBytes = 0;
    _data = nullptr;
    _address = 0;
    _size = 0;
}

void Buffer::Upload(const void* data, VkDeviceSize size, VkDeviceSize offset) {
    VESMO_ASSERT(offset + size <= _size);
    if (size == 0)
        return;
    if (_data) {
        std::memcpy(static_cast<char*>(_data) + offset, data, static_cast<size_t>(size));
        Flush(offset, size);
        return;
    }
    Buffer staging(_device, size, 0, VMA_MEMORY_USAGE_CPU_ONLY, 0, "Upload staging");
    std::memcpy(staging.Data(), data, static_cast<size_t>(size));
    CommandBuffer::Run(_device, "vk::Buffer::Upload", [&](VkCommandBuffer commandBuffer) {
        VkBufferCopy region{0, offset, size};
        vkCmdCopyBuffer(commandBuffer, staging.Handle(), _buffer, 1, &region);
    });
}

void Buffer::Flush(VkDeviceSize offset, VkDeviceSize size) {
    if (_buffer)
        _device->Memory().Flush(_allocation, offset, size);
}

} // namespace vesmo::vk
