#pragma once
// vesmo::vk::GraphicsPipeline: a vertex and a fragment shader drawn into a Renderpass.
//
//     vesmo::vk::GraphicsPipeline::Description description;           // triangle list, no depth, no blend
//     description.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP;
//     description.blend = true;                                       // src alpha, one minus src alpha
//     vesmo::vk::GraphicsPipeline box(device, layout, "game/graphics/ui/shaders/box", overlayRenderpass,
//                                     description);
//     ...
//     box.Bind(commandBuffer, renderer->GetDescriptorSet());
//     box.Push(commandBuffer, data, 128);
//     box.Draw(commandBuffer, 4, 1);
//
// The shaders are "<shader>.vert" and "<shader>.frag" (vesmo/vk/Shader.hpp says where they are found).
// There is no vertex input unless the description gives bindings: shaders read their vertices through
// push constants and buffer device addresses, or make them from gl_VertexIndex. Viewport and scissor are
// dynamic, set by Renderpass::Begin to the pass's extent, so a resize needs no new pipeline:
// RefreshViewport only makes the pipeline again when the new pass's format differs.
//
// Without a device the pipeline is an empty object; Bind, Push and Draw do nothing, RefreshViewport
// keeps the extent.

#include "vesmo/vk/Pipeline.hpp"
#include "vesmo/vk/PipelineLayout.hpp"
#include "vesmo/vk/Renderpass.hpp"
#include "vesmo/vk/Shader.hpp"

#include <vulkan/vulkan.h>

#include <string>
#include <vector>

namespace vesmo::vk {

// What a VkGraphicsPipelineCreateInfo says, in the terms the engine's pipelines vary in.
struct GraphicsPipelineDescription {
    VkPrimitiveTopology topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
    VkPolygonMode polygonMode = VK_POLYGON_MODE_FILL;
    VkCullModeFlags cullMode = VK_CULL_MODE_NONE;
    VkFrontFace frontFace = VK_FRONT_FACE_COUNTER_CLOCKWISE;
    float lineWidth = 1.0f;
    VkSampleCountFlagBits samples = VK_SAMPLE_COUNT_1_BIT;
    float minSampleShading = 0.0f;
    bool depthTest = false;
    bool depthWrite = false;
    VkCompareOp depthCompare = VK_COMPARE_OP_LESS;
    bool depthBoundsTest = false; // lavapipe has no depth bounds test: dropped there, with a line
    float minDepthBounds = 0.0f;
    float maxDepthBounds = 1.0f;
    bool blend = false;
    VkBlendFactor srcColor = VK_BLEND_FACTOR_SRC_ALPHA;
    VkBlendFactor dstColor = VK_BLEND_FACTOR_ONE_MINUS_SRC_ALPHA;
    VkBlendFactor srcAlpha = VK_BLEND_FACTOR_ONE;
    VkBlendFactor dstAlpha = VK_BLEND_FACTOR_ZERO;
    VkColorComponentFlags colorWriteMask = 15;
    bool logicOpEnable = false;
    VkLogicOp logicOp = VK_LOGIC_OP_COPY;
    std::vector<VkVertexInputBindingDescription> vertexBindings;
    std::vector<VkVertexInputAttributeDescription> vertexAttributes;
};

class GraphicsPipeline : public Pipeline {
public:
    using Description = GraphicsPipelineDescription;

    GraphicsPipeline() = default;
    // Loads "<shader>.vert" and "<shader>.frag".
    GraphicsPipeline(Device* device, const PipelineLayout& layout, const std::string& shader,
                     const Renderpass& renderpass, const Description& description = {});
    GraphicsPipeline(Device* device, const PipelineLayout& layout, const Shader& vertex, const Shader& fragment,
                     const Renderpass& renderpass, const Description& description = {}, const std::string& name = {});

    GraphicsPipeline(GraphicsPipeline&&) noexcept = default;
    GraphicsPipeline& operator=(GraphicsPipeline&&) noexcept = default;

    // For a render pass made again (after a resize): keeps the pipeline when the format is the same.
    void RefreshViewport(const Renderpass& renderpass);
    // vkCmdDraw(vertexCount, instanceCount, 0, 0).
    void Draw(VkCommandBuffer commandBuffer, uint32_t vertexCount, uint32_t instanceCount) const;

    const Description& GetDescription() const { return _description; }
    VkExtent2D Extent() const { return _extent; }

private:
    void Create(const Renderpass& renderpass);

    Description _description;
    VkExtent2D _extent{0, 0};
    VkFormat _format = VK_FORMAT_UNDEFINED;
    std::string _name;
    std::vector<uint32_t> _vertexSpirv, _fragmentSpirv; // kept to make the pipeline again
};

} // namespace vesmo::vk
