// The sample meshes on a Vulkan device (lavapipe in CI, validation on): each buffer is uploaded, copied back
// by the GPU into a host buffer, and compared with the .bin file beside the glTF.

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/Mesh.hpp"
#include "vesmo/vk/CommandBuffer.hpp"
#include "vesmo/vk/Device.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

namespace {

TEST(MeshDevice, SampleMeshesReadBackEqualToTheirFiles) {
    std::unique_ptr<game::graphics::GameRenderer> renderer;
    try {
        renderer = std::make_unique<game::graphics::GameRenderer>(nullptr, "mesh device test",
                                                                  vesmo::graphics::VulkanRenderer::DEVICE |
                                                                      vesmo::graphics::VulkanRenderer::VALIDATION);
    } catch (const vesmo::vk::NoDeviceError& error) {
        GTEST_SKIP() << error.what();
    }
    vesmo::vk::Device* device = renderer->GetDevice();
    ASSERT_NE(device, nullptr);
    Game::renderer = renderer.get();

    for (const char* name : {"crate", "rover"}) {
        SCOPED_TRACE(name);
        const std::string folder = ORKALIN_SOURCE_DIR "/modules/Planet/entities/";
        game::graphics::Mesh mesh(folder + name + ".gltf");
        mesh.Load();
        ASSERT_EQ(mesh.buffers.size(), 1u);
        const vesmo::vk::Buffer& buffer = *mesh.buffers[0];
        ASSERT_NE(buffer.Handle(), VK_NULL_HANDLE);
        ASSERT_NE(buffer.DeviceAddress(), 0u);
        const std::string file = testing_support::ReadText(folder + name + ".bin");
        ASSERT_EQ(buffer.Size(), file.size());
        for (const auto& geometry : mesh.geometries) {
            EXPECT_GE(geometry->positionsAddr, buffer.DeviceAddress());
            EXPECT_LE(geometry->indicesAddr + geometry->indexCount * geometry->indexStride,
                      buffer.DeviceAddress() + buffer.Size());
            EXPECT_NE(geometry->normalsAddr, 0u);
        }

        vesmo::vk::Buffer readBack(device, buffer.Size(), VK_BUFFER_USAGE_TRANSFER_DST_BIT, VMA_MEMORY_USAGE_GPU_TO_CPU,
                                   0, "mesh read back", true);
        vesmo::vk::CommandBuffer::Run(device, "mesh read back", [&](VkCommandBuffer commandBuffer) {
            const VkBufferCopy region{0, 0, buffer.Size()};
            vkCmdCopyBuffer(commandBuffer, buffer.Handle(), readBack.Handle(), 1, &region);
        });
        ASSERT_NE(readBack.Data(), nullptr);
        EXPECT_EQ(std::memcmp(readBack.Data(), file.data(), file.size()), 0);
    }

    renderer->CollectAllTrash();
    EXPECT_EQ(renderer->ValidationMessageCount(), 0u);
    Game::renderer = nullptr;
}

} // namespace
