// vesmo-vkcheck: opens the Vulkan device the engine would use and says which it is.
//
// Exit code 0 with one line naming the device (and the engine's lines about dropped features before it);
// on a machine whose Vulkan has no usable device, one sentence on stderr and exit code 1.
//
//     vesmo-vkcheck [--ray-tracing]     --ray-tracing asks for the whole ray-tracing feature chain

#include "vesmo/vk/Device.hpp"

#include <cstdio>
#include <cstring>
#include <exception>

int main(int argc, char** argv) {
    vesmo::vk::Device::Options options;
    options.applicationName = "vesmo-vkcheck";
    if (argc > 1 && std::strcmp(argv[1], "--ray-tracing") == 0)
        options.features.chain = vesmo::vk::PhysicalDevice::Features::ALL_STRUCTURES;
    try {
        auto device = vesmo::vk::Device::Open(options);
        const VkPhysicalDeviceProperties& properties = device->Physical().Properties();
        std::printf("Vulkan %u.%u.%u on %s%s\n", VK_API_VERSION_MAJOR(properties.apiVersion),
                    VK_API_VERSION_MINOR(properties.apiVersion), VK_API_VERSION_PATCH(properties.apiVersion),
                    properties.deviceName, device->HasRayTracing() ? ", with ray tracing" : "");
        return 0;
    } catch (const vesmo::vk::NoDeviceError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "No usable Vulkan device: %s\n", error.what());
        return 1;
    }
}
