#pragma once
// vesmo::vk::Sampler: a VkSampler made from a VkSamplerCreateInfo as the caller fills it.
//
// The caller's structure is taken as it is, except that sType is set: a structure of zeros is a valid
// sampler (nearest filters, repeat addressing, no anisotropy), which is what "a sampler of zeros" means.
// Without a device the sampler is an empty object (Handle() null).

#include <vulkan/vulkan.h>

#include <string>

namespace vesmo::vk {

class Device;

class Sampler {
public:
    Sampler() = default;
    Sampler(Device* device, const VkSamplerCreateInfo& info, const std::string& name = {});
    ~Sampler();

    Sampler(Sampler&& other) noexcept;
    Sampler& operator=(Sampler&& other) noexcept;
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    VkSampler Handle() const { return _sampler; }
    void Destroy();

    // Linear filters, clamped to the edge in U, V and W; everything else zero.
    static VkSamplerCreateInfo LinearClamp();

private:
    Device* _device = nullptr;
    VkSampler _sampler = VK_NULL_HANDLE;
};

} // namespace vesmo::vk
