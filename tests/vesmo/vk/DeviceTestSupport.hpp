#pragma once
// What the device tests share: a renderer on lavapipe with validation on (or a skip that says why), the
// known picture (a coloured triangle and a textured quad) drawn in the frame's render step, and its check.

#include "vesmo/graphics/Texture.hpp"
#include "vesmo/renderer/VesmoRenderer.hpp"
#include "vesmo/vk/Vk.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

namespace devicetest {

using vesmo::graphics::VulkanRenderer;

// Draws the known picture on every frame, into the output image.
class PictureRenderer : public vesmo::renderer::VesmoRenderer {
public:
    PictureRenderer(vesmo::graphics::Window* window, uint32_t flags,
                    const vesmo::vk::PhysicalDevice::Features& features = {});
    ~PictureRenderer() override;

    void CreateSwapchainDependantObjects() override;
    void DestroySwapchainDependantObjects() override;
    void FrameRenderCommands(VkCommandBuffer commandBuffer) override;

    int renderCalls = 0;

private:
    vesmo::vk::PipelineLayout _layout;
    vesmo::vk::Sampler _nearest;
    std::unique_ptr<vesmo::vk::Renderpass> _pass;
    vesmo::vk::GraphicsPipeline _triangle;
    vesmo::vk::GraphicsPipeline _quad;
};

// A picture read back, RGBA rows from the top.
struct Picture {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> rgba;
    uint32_t Pixel(uint32_t x, uint32_t y) const; // 0xAABBGGRR
};

// Checks the known picture pixel by pixel where it is exactly known, and near the triangle's corners.
void ExpectKnownPicture(const Picture& picture);

// Reads a PNG written by the tests.
Picture ReadPng(const std::string& path);

// The folder where the tests write their pictures: build/test-pictures.
std::string PictureFolder();

// A renderer on the machine's Vulkan device with validation on, or null with `skip` saying why there is
// no usable device.
std::unique_ptr<PictureRenderer> MakeRenderer(vesmo::graphics::Window* window, uint32_t flags, std::string& skip,
                                              const vesmo::vk::PhysicalDevice::Features& features = {});

} // namespace devicetest
