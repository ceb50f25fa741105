#include "vesmo/vk/Sampler.hpp"

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#include <utility>

namespace vesmo::vk {

Sampler::Sampler(Device* device, const VkSamplerCreateInfo& info, const std::string& name) : _device(device) {
    if (!device)
        return;
    VkSamplerCreateInfo filled = info;
    filled.sType = VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO;
    Check(vkCreateSampler(device->Handle(), &filled, nullptr, &_sampler), "vkCreateSampler");
    device->SetName(VK_OBJECT_TYPE_SAMPLER, _sampler, name);
}

Sampler::~Sampler() { Destroy(); }

Sampler::Sampler(Sampler&& other) noexcept { *this = std::move(other); }

Sampler& Sampler::operator=(Sampler&& other) noexcept {
    if (this != &other) {
        Destroy();
        _device = other._device;
        _sampler = std::exchange(other._sampler, VK_NULL_HANDLE);
    }
    return *this;
}

void Sampler::Destroy() {
    if (_sampler) {
        vkDestroySampler(_device->Handle(), _sampler, nullptr);
        _sampler = VK_NULL_HANDLE;
    }
}

VkSamplerCreateInfo Sampler::LinearClamp() {
    VkSamplerCreateInfo info{VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO};
    info.magFilter = VK_FILTER_LINEAR;
    info.minFilter = VK_FILTER_LINEAR;
    info.addressModeU = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
    info.addressModeV = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
    info.addressModeW = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
    return info;
}

} // namespace vesmo::vk
