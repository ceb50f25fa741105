#pragma once
// vesmo::vk::Pipeline: a VkPipeline with the layout and bind point it is used with. The base of
// GraphicsPipeline, and on its own a compute pipeline:
//
//     vesmo::vk::Shader noise(device, "game/graphics/plasmaNoise", VK_SHADER_STAGE_COMPUTE_BIT);
//     vesmo::vk::Pipeline pipeline(device, layout, noise);
//     pipeline.Bind(commandBuffer, renderer->GetDescriptorSet());
//     vkCmdDispatch(commandBuffer, 16, 16, 1);
//
// A ray-tracing module that builds its own VkPipeline hands it over with Adopt, so it is bound and
// destroyed the same way.
//
// Without a device the pipeline is an empty object and Bind does nothing.

#include <vulkan/vulkan.h>

#include <string>

namespace vesmo::vk {

class Device;
class PipelineLayout;
class Shader;

class Pipeline {
public:
    Pipeline() = default;
    // A compute pipeline.
    Pipeline(Device* device, const PipelineLayout& layout, const Shader& compute, const std::string& name = {});
    virtual ~Pipeline();

    Pipeline(Pipeline&& other) noexcept;
    Pipeline& operator=(Pipeline&& other) noexcept;
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    // Takes ownership of a pipeline made elsewhere.
    void Adopt(Device* device, VkPipeline pipeline, VkPipelineLayout layout, VkPipelineBindPoint bindPoint);

    VkPipeline Handle() const { return _pipeline; }
    VkPipelineLayout Layout() const { return _layout; }
    VkPipelineBindPoint BindPoint() const { return _bindPoint; }
    explicit operator bool() const { return _pipeline != VK_NULL_HANDLE; }

    // Binds the pipeline and, when not null, `descriptorSet` as set 0.
    void Bind(VkCommandBuffer commandBuffer, VkDescriptorSet descriptorSet = VK_NULL_HANDLE) const;
    // vkCmdPushConstants over every stage of the layout's ranges.
    void Push(VkCommandBuffer commandBuffer, const void* data, uint32_t size, uint32_t offset = 0) const;

    void Destroy();

protected:
    Device* _device = nullptr;
    VkPipeline _pipeline = VK_NULL_HANDLE;
    VkPipelineLayout _layout = VK_NULL_HANDLE; // not owned
    VkShaderStageFlags _pushStages = 0;
    VkPipelineBindPoint _bindPoint = VK_PIPELINE_BIND_POINT_COMPUTE;
};

} // namespace vesmo::vk
