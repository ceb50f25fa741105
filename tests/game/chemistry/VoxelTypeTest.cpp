// Declaring voxel types while the table is open. Nothing here calls ForEach, which would close the table for
// the rest of the process; the closed table is tested in VoxelTypeLockTest.cpp.

#include "game/chemistry/VoxelType.hpp"

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

using game::VoxelType;
using vesmo::graphics::Texture;
using vesmo::graphics::TextureRef;

namespace {

TextureRef Solid(uint8_t red) { return std::make_shared<Texture>(2, 2, std::vector<uint8_t>(16, red)); }

size_t Rows() {
    std::lock_guard lock(VoxelType::mu);
    return VoxelType::allVoxelTypes.size();
}

// A renderer without a device as Game::renderer for the length of a test, its texture table emptied of the
// font atlas that the renderer puts first (made in the folder that has it).
class WithRenderer : public ::testing::Test {
protected:
    void SetUp() override {
        const std::filesystem::path previous = std::filesystem::current_path();
        std::filesystem::current_path(TEST_MODULE_ROOT);
        _renderer = std::make_unique<game::graphics::GameRenderer>(nullptr, "voxel test", 0);
        std::filesystem::current_path(previous);
        _renderer->ClearTextures();
        Game::renderer = _renderer.get();
    }
    void TearDown() override { Game::renderer = nullptr; }
    std::unique_ptr<game::graphics::GameRenderer> _renderer;
};

} // namespace

TEST(VoxelType, RowZeroIsTheEmptyTypeUnderTheBareFullStop) {
    const VoxelType& empty = VoxelType::_empty;
    EXPECT_EQ(std::tie(empty.id, empty.name, empty.textureIndex), std::tuple(0, "", 0u));
    EXPECT_TRUE(empty.moduleId.IsNull());
    EXPECT_EQ(VoxelType::allVoxelTypesByName.at("."), 0);
    EXPECT_EQ(VoxelType::allVoxelTypes.at(0).data, 0u);
    EXPECT_FALSE(VoxelType::locked);
    // Declaring it again finds row 0.
    EXPECT_EQ(VoxelType("", "", 0, {}).id, 0);
}

TEST(VoxelType, ADeclarationRegistersOnceAndReconcilesTheDataWord) {
    const size_t before = Rows();
    VoxelType first("ACME_rocks", "stone", 3, {});
    EXPECT_GE(first.id, 1);
    EXPECT_EQ(std::tie(first.moduleId, first.name, first.textureIndex),
              std::tuple(vesmo::modular::ModuleID("ACME_rocks"), "stone", 0u));
    EXPECT_EQ(Rows(), before + 1);

    // 0 reads the row's word back; any other word rewrites the row, and earlier objects keep their copy.
    VoxelType reader("ACME_rocks", "stone", 0, {});
    EXPECT_EQ(std::tie(reader.id, reader.data), std::tuple(first.id, 3u));
    VoxelType writer("ACME_rocks", "stone", 7, {});
    EXPECT_EQ(writer.id, first.id);
    EXPECT_EQ(VoxelType::allVoxelTypes[first.id].data, 7u);
    EXPECT_EQ(std::tie(first.data, reader.data), std::tuple(3u, 3u));
    EXPECT_EQ(Rows(), before + 1);

    // The row is a copy: changing the caller's object changes nothing in the table.
    first.name = "changed";
    EXPECT_EQ(VoxelType::allVoxelTypes[first.id].name, "stone");
    // A copy is a copy of all fields and registers nothing.
    const VoxelType copy(writer);
    EXPECT_EQ(std::tie(copy.id, copy.data), std::tuple(writer.id, 7u));
    EXPECT_EQ(Rows(), before + 1);
}

TEST(VoxelType, TheKeyIsNotEscaped) {
    VoxelType a("a.b", "c", 0, {});
    VoxelType b("a", "b.c", 0, {});
    EXPECT_EQ(a.id, b.id);
    EXPECT_EQ(VoxelType::allVoxelTypesByName.at("a.b.c"), a.id);
    // The row keeps the first declaration's module.
    EXPECT_EQ(VoxelType::allVoxelTypes[a.id].moduleId, a.moduleId);
}

TEST(VoxelType, ManyThreadsDeclareAtOnceAndEveryKeyGetsOneRow) {
    const size_t before = Rows();
    constexpr int kThreads = 8, kOwn = 150, kShared = 50;
    std::vector<std::vector<VoxelType>> declared(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &declared] {
            for (int i = 0; i < kOwn; ++i)
                declared[t].emplace_back("MANY_threads", "own" + std::to_string(t) + "_" + std::to_string(i),
                                         static_cast<uint32_t>(t + 1), std::vector<TextureRef>{});
            for (int i = 0; i < kShared; ++i)
                declared[t].emplace_back("MANY_threads", "shared" + std::to_string(i), 0, std::vector<TextureRef>{});
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(Rows(), before + kThreads * kOwn + kShared);
    std::set<uint16_t> ownIds;
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kOwn; ++i) {
            const VoxelType& type = declared[t][i];
            EXPECT_TRUE(ownIds.insert(type.id).second);
            EXPECT_EQ(VoxelType::allVoxelTypes[type.id].name, type.name);
            EXPECT_EQ(VoxelType::allVoxelTypes[type.id].data, static_cast<uint32_t>(t + 1));
        }
        for (int i = 0; i < kShared; ++i)
            EXPECT_EQ(declared[t][kOwn + i].id, declared[0][kOwn + i].id);
    }
    for (int i = 0; i < kShared; ++i)
        EXPECT_EQ(ownIds.count(declared[0][kOwn + i].id), 0u);
}

TEST_F(WithRenderer, TexturesGoToTheRendererAsOneGroupWithItsSampler) {
    _renderer->AddTexture(Solid(9)); // something before, so that the group does not start at 0
    const TextureRef top = Solid(1), side = Solid(2), bottom = Solid(3);
    VoxelType grass("ACME_rocks", "grass", 0, {top, side, bottom});
    EXPECT_EQ(grass.textureIndex, 1u);
    EXPECT_EQ(_renderer->TextureCount(), 4u);
    EXPECT_EQ(std::tuple(_renderer->GetTexture(1).texture, _renderer->GetTexture(2).texture,
                         _renderer->GetTexture(3).texture),
              std::tuple(top, side, bottom));
    EXPECT_EQ(_renderer->GetTexture(2).sampler, _renderer->GetTextureSampler());
    EXPECT_EQ(VoxelType::allVoxelTypes[grass.id].textureIndex, 1u);

    // A second declaration adds its textures again; only its own object shows where they went.
    VoxelType again("ACME_rocks", "grass", 0, {bottom});
    EXPECT_EQ(std::tie(again.id, again.textureIndex), std::tuple(grass.id, 4u));
    EXPECT_EQ(_renderer->TextureCount(), 5u);
    EXPECT_EQ(VoxelType::allVoxelTypes[grass.id].textureIndex, 1u);

    // Without textures the renderer is not asked, and the index is 0.
    VoxelType plain("ACME_rocks", "sand", 0, {});
    EXPECT_EQ(plain.textureIndex, 0u);
    EXPECT_EQ(_renderer->TextureCount(), 5u);
}

TEST_F(WithRenderer, TheIndexKeepsTheLow16BitsOfWhereTheGroupBegins) {
    const TextureRef filler = Solid(0);
    std::vector<std::tuple<TextureRef, VkSampler>> many(65537, {filler, nullptr});
    EXPECT_EQ(_renderer->AddTextures(many), 0u);
    VoxelType high("ACME_rocks", "deep", 0, {Solid(5)});
    EXPECT_EQ(high.textureIndex, 1u); // 65537 & 0xFFFF
    EXPECT_EQ(_renderer->GetTexture(65537).texture->Pixel(0, 0), 0x05050505u);
}

TEST(VoxelTypeDeathTest, BrokenInvariantsEndTheProcessWithTheirText) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ASSERT_EQ(Game::renderer, nullptr);
    EXPECT_DEATH(VoxelType("ACME_rocks", "early", 0, {Solid(1)}),
                 "Assertion failed: Game::renderer, file game/VoxelType");
    // The textureless declaration works at any time.
    EXPECT_EQ(VoxelType("ACME_rocks", "early", 0, {}).textureIndex, 0u);

    EXPECT_DEATH(
        {
            for (size_t i = Rows(); i < VoxelType::MAX_VOXEL_TYPES; ++i)
                VoxelType("FULL_table", std::to_string(i), 0, {});
            EXPECT_EQ(Rows(), VoxelType::MAX_VOXEL_TYPES);
            VoxelType("FULL_table", "one too many", 0, {}); // a known key would still be found
        },
        "Assertion failed: allVoxelTypes.size\\(\\) < MAX_VOXEL_TYPES, file game/VoxelType");
}
