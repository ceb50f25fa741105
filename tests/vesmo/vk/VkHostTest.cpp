// The parts of vesmo::vk that need no device: the free-range arithmetic of the memory allocator, the
// no-device face of buffers, the feature set, and the GLSL compiler's errors.

#include "vesmo/vk/BlockRanges.hpp"
#include "vesmo/vk/MappedBuffer.hpp"
#include "vesmo/vk/PhysicalDevice.hpp"
#include "vesmo/vk/Shader.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>

using vesmo::vk::BlockRanges;

TEST(BlockRanges, AlignsSplitsAndMergesBackToOneRange) {
    struct Step {
        bool allocate;
        uint64_t size, alignment;
        uint64_t expectedOffset; // for allocations
    };
    BlockRanges block(1024);
    // Pieces are whole granules of 16 bytes.
    const Step steps[] = {
        {true, 100, 1, 0},   // [0, 112)
        {true, 50, 64, 128}, // [128, 192); the padding 112..128 stays free
        {true, 10, 4, 112},  // first fit takes the padding
        {true, 1000, 1, BlockRanges::NoSpace},
        {true, 832, 1, 192}, // exactly what is left
        {true, 1, 1, BlockRanges::NoSpace},
    };
    for (const Step& step : steps)
        EXPECT_EQ(block.Allocate(step.size, step.alignment), step.expectedOffset) << step.size;
    EXPECT_EQ(block.FreeBytes(), 0u);
    // Freed in an order that merges on the left, on the right and on both sides.
    block.Free(128, 50);
    block.Free(0, 100);
    EXPECT_EQ(block.FreeRanges().size(), 2u);
    block.Free(112, 10);
    ASSERT_EQ(block.FreeRanges().size(), 1u);
    block.Free(192, 832);
    EXPECT_TRUE(block.Empty());
    ASSERT_EQ(block.FreeRanges().size(), 1u);
    EXPECT_EQ(block.FreeRanges()[0].size, 1024u);
}

TEST(BlockRanges, RandomWorkNeverOverlapsAndAlwaysMergesBack) {
    BlockRanges block(1 << 20);
    std::mt19937 random(7);
    std::vector<std::pair<uint64_t, uint64_t>> live;
    for (int i = 0; i < 20000; ++i) {
        if (live.empty() || random() % 3 != 0) {
            const uint64_t size = 1 + random() % 4096, alignment = uint64_t{1} << (random() % 9);
            const uint64_t offset = block.Allocate(size, alignment);
            if (offset == BlockRanges::NoSpace)
                continue;
            ASSERT_EQ(offset % alignment, 0u);
            live.emplace_back(offset, (size + 15) / 16 * 16);
        } else {
            const size_t pick = random() % live.size();
            block.Free(live[pick].first, live[pick].second);
            live.erase(live.begin() + static_cast<std::ptrdiff_t>(pick));
        }
    }
    std::sort(live.begin(), live.end());
    for (size_t i = 1; i < live.size(); ++i)
        ASSERT_LE(live[i - 1].first + live[i - 1].second, live[i].first);
    for (const auto& [offset, size] : live)
        block.Free(offset, size);
    EXPECT_TRUE(block.Empty());
    EXPECT_EQ(block.FreeRanges().size(), 1u);
}

struct Record {
    float value[4];
};

TEST(MappedBufferWithoutDevice, IsHostMemoryWithTheSameChecks) {
    vesmo::vk::MappedBuffer<Record, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 1024, 16> records(nullptr, 3, 0x20, "records");
    EXPECT_EQ(std::tuple(records.Count(), records.DeviceAddress() % 16), std::tuple(3u, VkDeviceAddress(0)));
    EXPECT_EQ(records.DeviceAddress(), reinterpret_cast<VkDeviceAddress>(records.Data()));
    EXPECT_EQ(records.Handle(), VK_NULL_HANDLE);
    records[2].value[3] = 5.0f;
    EXPECT_EQ(records.Data()[2].value[3], 5.0f);
    EXPECT_EQ(records[0].value[0], 0.0f); // zeroed
    EXPECT_DEATH(records[3], "Assertion failed: index < _count, file vesmo/vk/MappedBuffer");
    vesmo::vk::MappedBuffer<Record> empty;
    EXPECT_DEATH(empty[0], "Assertion failed: _data, file vesmo/vk/MappedBuffer");
    EXPECT_DEATH((vesmo::vk::MappedBuffer<Record>(nullptr, 0, 0)), "Assertion failed: count > 0");
}

// A large block released is handed to the next buffer it fits: that buffer must still start zeroed when it
// asks to be, however the previous owner left the bytes.
TEST(BufferWithoutDevice, ReusedLargeMemoryIsZeroedUnlessTheCallerFillsIt) {
    using vesmo::vk::Buffer;
    constexpr VkDeviceSize size = 3 << 20;
    const void* first = nullptr;
    {
        Buffer filled(nullptr, size, 0, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 16, "filled", true,
                      Buffer::Contents::UNDEFINED);
        first = filled.Data();
        std::memset(filled.Data(), 0xab, size);
    }
    Buffer zeroed(nullptr, size - 100, 0, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 16, "zeroed", true);
    EXPECT_EQ(zeroed.Data(), first); // the same memory, no new pages to fault in
    const auto* bytes = static_cast<const unsigned char*>(zeroed.Data());
    EXPECT_EQ(std::count(bytes, bytes + zeroed.Size(), 0), std::ptrdiff_t(zeroed.Size()));
}

TEST(Features, OrJoinsMembersAndChainsAndContainsTellsSubsets) {
    using Features = vesmo::vk::PhysicalDevice::Features;
    Features a, b;
    a.features.fragmentStoresAndAtomics = VK_TRUE;
    a.chain = Features::VULKAN_12;
    b.vulkan13.dynamicRendering = VK_TRUE;
    b.rayQuery.rayQuery = VK_TRUE;
    b.chain = Features::RAY_QUERY | Features::VULKAN_13;
    EXPECT_FALSE(a.Contains(b));
    a |= b;
    EXPECT_TRUE(a.Contains(b));
    EXPECT_EQ(std::tuple(a.features.fragmentStoresAndAtomics, a.vulkan13.dynamicRendering, a.rayQuery.rayQuery),
              std::tuple(VK_TRUE, VK_TRUE, VK_TRUE));
    EXPECT_EQ(a.chain, uint32_t(Features::VULKAN_12 | Features::RAY_QUERY | Features::VULKAN_13));
    EXPECT_EQ(std::tuple(a.vulkan13.sType, a.vulkan13.pNext),
              std::tuple(VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_VULKAN_1_3_FEATURES, static_cast<void*>(nullptr)));
}

TEST(ShaderCompiler, ErrorsNameTheFileAndCarryTheCompilersMessage) {
    const std::string message = testing_support::ThrownMessage<std::runtime_error>([] {
        vesmo::vk::Shader::CompileGlsl("#version 460\nvoid main() { undeclared = 1; }\n", VK_SHADER_STAGE_FRAGMENT_BIT,
                                       "game/broken.frag");
    });
    EXPECT_EQ(message.rfind("Shader compilation failed: game/broken.frag: ", 0), 0u) << message;
    EXPECT_NE(message.find("game/broken.frag:2: error: 'undeclared'"), std::string::npos) << message;
    // A stage named on the first line, no version: a complete, empty callable shader.
    const vesmo::vk::Shader callable =
        vesmo::vk::Shader::FromSource(nullptr, "#rcall\nvoid main(){}", VK_SHADER_STAGE_FRAGMENT_BIT, "empty callable");
    EXPECT_EQ(callable.Stage(), VK_SHADER_STAGE_CALLABLE_BIT_KHR);
    ASSERT_GT(callable.Spirv().size(), 5u);
    EXPECT_EQ(callable.Spirv()[0], 0x07230203u); // SPIR-V's magic number
    EXPECT_THROW(vesmo::vk::Shader(nullptr, "no/such/shader", VK_SHADER_STAGE_VERTEX_BIT), std::runtime_error);
}
