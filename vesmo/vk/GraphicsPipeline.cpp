#include "vesmo/vk/GraphicsPipeline.hpp"

#include "vesmo/vk/Device.hpp"
#include "vesmo/vk/Vk.hpp"

#include <cstdio>

namespace vesmo::vk {

GraphicsPipeline::GraphicsPipeline(Device* device, const PipelineLayout& layout, const std::string& shader,
                                   const Renderpass& renderpass, const Description& description)
    : GraphicsPipeline(device, layout, Shader(nullptr, shader, VK_SHADER_STAGE_VERTEX_BIT),
                       Shader(nullptr, shader, VK_SHADER_STAGE_FRAGMENT_BIT), renderpass, description, shader) {}

GraphicsPipeline::GraphicsPipeline(Device* device, const PipelineLayout& layout, const Shader& vertex,
                                   const Shader& fragment, const Renderpass& renderpass, const Description& description,
                                   const std::string& name)
    : _description(description), _extent(renderpass.Extent()), _format(renderpass.Format()),
      _name(name.empty() ? vertex.Name() : name), _vertexSpirv(vertex.Spirv()), _fragmentSpirv(fragment.Spirv()) {
    _device = device;
    _layout = layout.Handle();
    _pushStages = layout.PushStages();
    _bindPoint = VK_PIPELINE_BIND_POINT_GRAPHICS;
    Create(renderpass);
}

void GraphicsPipeline::Create(const Renderpass& renderpass) {
    if (!_device || !renderpass.Handle())
        return;
    Shader vertex(_device, _vertexSpirv, VK_SHADER_STAGE_VERTEX_BIT, _name + ".vert");
    Shader fragment(_device, _fragmentSpirv, VK_SHADER_STAGE_FRAGMENT_BIT, _name + ".frag");
    const VkPipelineShaderStageCreateInfo stages[] = {vertex.StageInfo(), fragment.StageInfo()};
    const Description& d = _description;

    VkPipelineVertexInputStateCreateInfo vertexInput{VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO};
    vertexInput.vertexBindingDescriptionCount = static_cast<uint32_t>(d.vertexBindings.size());
    vertexInput.pVertexBindingDescriptions = d.vertexBindings.data();
    vertexInput.vertexAttributeDescriptionCount = static_cast<uint32_t>(d.vertexAttributes.size());
    vertexInput.pVertexAttributeDescriptions = d.vertexAttributes.data();
    VkPipelineInputAssemblyStateCreateInfo assembly{VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO};
    assembly.topology = d.topology;
    VkPipelineViewportStateCreateInfo viewport{VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO};
    viewport.viewportCount = 1;
    viewport.scissorCount = 1;
    VkPipelineRasterizationStateCreateInfo raster{VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO};
    raster.polygonMode = d.polygonMode;
    raster.cullMode = d.cullMode;
    raster.frontFace = d.frontFace;
    // Wide lines are an optional feature; a width of 1 is what every device draws.
    raster.lineWidth = _device->Enabled().features.wideLines ? d.lineWidth : 1.0f;
    VkPipelineMultisampleStateCreateInfo multisample{VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO};
    multisample.rasterizationSamples = d.samples;
    // Sample shading means nothing with one sample, and needs a feature that not every device has.
    multisample.sampleShadingEnable =
        d.samples != VK_SAMPLE_COUNT_1_BIT && _device->Enabled().features.sampleRateShading;
    multisample.minSampleShading = d.minSampleShading;
    VkPipelineDepthStencilStateCreateInfo depth{VK_STRUCTURE_TYPE_PIPELINE_DEPTH_STENCIL_STATE_CREATE_INFO};
    depth.depthTestEnable = d.depthTest && renderpass.HasDepth();
    depth.depthWriteEnable = d.depthWrite && renderpass.HasDepth();
    depth.depthCompareOp = d.depthCompare;
    depth.depthBoundsTestEnable = d.depthBoundsTest && _device->Enabled().features.depthBounds;
    if (d.depthBoundsTest && !depth.depthBoundsTestEnable) {
        static bool said = false;
        if (!said) {
            said = true;
            std::printf("Vulkan: depth bounds test is not on %s, pipelines draw without it\n",
                        _device->Physical().Name().c_str());
            std::fflush(stdout);
        }
    }
    depth.minDepthBounds = d.minDepthBounds;
    depth.maxDepthBounds = d.maxDepthBounds;
    VkPipelineColorBlendAttachmentState attachment{};
    attachment.blendEnable = d.blend;
    attachment.srcColorBlendFactor = d.srcColor;
    attachment.dstColorBlendFactor = d.dstColor;
    attachment.colorBlendOp = VK_BLEND_OP_ADD;
    attachment.srcAlphaBlendFactor = d.srcAlpha;
    attachment.dstAlphaBlendFactor = d.dstAlpha;
    attachment.alphaBlendOp = VK_BLEND_OP_ADD;
    attachment.colorWriteMask = d.colorWriteMask;
    VkPipelineColorBlendStateCreateInfo blend{VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO};
    blend.logicOpEnable = d.logicOpEnable && _device->Enabled().features.logicOp;
    blend.logicOp = d.logicOp;
    blend.attachmentCount = 1;
    blend.pAttachments = &attachment;
    const VkDynamicState dynamics[] = {VK_DYNAMIC_STATE_VIEWPORT, VK_DYNAMIC_STATE_SCISSOR};
    VkPipelineDynamicStateCreateInfo dynamic{VK_STRUCTURE_TYPE_PIPELINE_DYNAMIC_STATE_CREATE_INFO};
    dynamic.dynamicStateCount = 2;
    dynamic.pDynamicStates = dynamics;

    VkGraphicsPipelineCreateInfo info{VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO};
    info.stageCount = 2;
    info.pStages = stages;
    info.pVertexInputState = &vertexInput;
    info.pInputAssemblyState = &assembly;
    info.pViewportState = &viewport;
    info.pRasterizationState = &raster;
    info.pMultisampleState = &multisample;
    info.pDepthStencilState = &depth;
    info.pColorBlendState = &blend;
    info.pDynamicState = &dynamic;
    info.layout = _layout;
    info.renderPass = renderpass.Handle();
    info.subpass = 0;
    Check(vkCreateGraphicsPipelines(_device->Handle(), VK_NULL_HANDLE, 1, &info, nullptr, &_pipeline),
          "vkCreateGraphicsPipelines");
    _device->SetName(VK_OBJECT_TYPE_PIPELINE, _pipeline, _name);
}

void GraphicsPipeline::RefreshViewport(const Renderpass& renderpass) {
    _extent = renderpass.Extent();
    if (renderpass.Format() == _format && _pipeline)
        return;
    _format = renderpass.Format();
    Destroy();
    Create(renderpass);
}

void GraphicsPipeline::Draw(VkCommandBuffer commandBuffer, uint32_t vertexCount, uint32_t instanceCount) const {
    if (_pipeline && commandBuffer)
        vkCmdDraw(commandBuffer, vertexCount, instanceCount, 0, 0);
}

} // namespace vesmo::vk
