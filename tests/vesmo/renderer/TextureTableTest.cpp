#include "vesmo/graphics/ImageFile.hpp"
#include "vesmo/graphics/Texture.hpp"
#include "vesmo/renderer/VesmoRenderer.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <tuple>
#include <vector>

using vesmo::graphics::Texture;
using vesmo::graphics::TextureRef;
using vesmo::renderer::VesmoRenderer;

namespace {

// A picture of `width` x `height` whose pixel (x, y) is red x, green y, blue `tag`, alpha 255.
std::string WritePicture(const testing_support::TempDir& dir, const std::string& name, int width, int height,
                         uint8_t tag) {
    std::vector<uint32_t> pixels;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels.push_back(0xFF000000u | uint32_t{tag} << 16 | static_cast<uint32_t>(y) << 8 |
                             static_cast<uint32_t>(x));
    const std::string path = dir.File(name);
    EXPECT_TRUE(vesmo::graphics::WritePng(path, width, height, pixels.data()));
    return path;
}

VkSampler FakeSampler(uintptr_t value) { return reinterpret_cast<VkSampler>(value); }

} // namespace

TEST(TextureTable, LoadsImageFilesIntoSlotsInTheOrderTheyCome) {
    testing_support::TempDir dir;
    VesmoRenderer renderer(nullptr, "textures", 0);
    EXPECT_EQ(renderer.TextureCount(), 0u);

    const std::string atlas = WritePicture(dir, "atlas.png", 3, 2, 7);
    EXPECT_EQ(renderer.AddTexture(atlas), 0u);
    EXPECT_EQ(renderer.AddTexture(WritePicture(dir, "second.png", 1, 1, 9)), 1u);

    const VesmoRenderer::TextureSlot slot = renderer.GetTexture(0);
    ASSERT_TRUE(slot.texture);
    EXPECT_EQ(std::tuple(slot.texture->Width(), slot.texture->Height(), slot.texture->Path()),
              std::tuple(3u, 2u, atlas));
    // Two pixels of the picture, and one outside it.
    EXPECT_EQ(std::tuple(slot.texture->Pixel(2, 1), slot.texture->Pixel(0, 0), slot.texture->Pixel(3, 0)),
              std::tuple(0xFF070102u, 0xFF070000u, 0u));
    EXPECT_EQ(slot.sampler, renderer.GetTextureSampler());
    EXPECT_EQ(renderer.GetTexture(1).texture->Pixel(0, 0), 0xFF090000u);
    EXPECT_FALSE(renderer.GetTexture(2).texture);

    // A missing file and a file that is no picture are refused, and the table does not change.
    EXPECT_THROW(renderer.AddTexture(dir.File("missing.png")), std::runtime_error);
    testing_support::WriteText(dir.File("text.png"), "not a picture");
    EXPECT_EQ(testing_support::ThrownMessage<std::runtime_error>([&] {
                  renderer.AddTexture(dir.File("text.png"));
              }).rfind("Cannot load texture " + dir.File("text.png") + ": ", 0),
              0u);
    EXPECT_EQ(renderer.TextureCount(), 2u);

    // Cleared, the table starts again at 0.
    renderer.ClearTextures();
    EXPECT_EQ(renderer.TextureCount(), 0u);
    EXPECT_EQ(renderer.AddTexture(atlas), 0u);
}

TEST(TextureTable, AGroupIsOnePieceAndItsFirstIndexIsReturned) {
    VesmoRenderer renderer(nullptr, "textures", 0);
    const TextureRef a = std::make_shared<Texture>(1, 1, std::vector<uint8_t>{1, 2, 3, 4});
    const TextureRef b = std::make_shared<Texture>(1, 1, std::vector<uint8_t>{5}); // padded with zeros
    EXPECT_EQ(b->Pixel(0, 0), 5u);
    EXPECT_EQ(renderer.AddTexture(a, FakeSampler(0x10)), 0u);
    EXPECT_EQ(renderer.AddTextures({{a, FakeSampler(0x20)}, {b, FakeSampler(0x30)}, {a, nullptr}}), 1u);
    EXPECT_EQ(renderer.TextureCount(), 4u);
    EXPECT_EQ(renderer.GetTexture(0).sampler, FakeSampler(0x10));
    EXPECT_EQ(std::tuple(renderer.GetTexture(2).texture, renderer.GetTexture(2).sampler),
              std::tuple(b, FakeSampler(0x30)));
    EXPECT_EQ(renderer.GetTexture(3).texture, a); // the same texture may sit in several slots
    // An empty group adds nothing and tells where the next slot goes.
    EXPECT_EQ(renderer.AddTextures({}), 4u);
    EXPECT_EQ(renderer.TextureCount(), 4u);
}

TEST(TextureTable, GroupsAddedFromManyThreadsStayWhole) {
    VesmoRenderer renderer(nullptr, "textures", 0);
    constexpr int kThreads = 6, kGroups = 200, kSize = 5;
    std::vector<TextureRef> mine;
    for (int t = 0; t < kThreads; ++t)
        mine.push_back(std::make_shared<Texture>(1, 1, std::vector<uint8_t>(4, static_cast<uint8_t>(t))));
    std::vector<std::vector<uint32_t>> starts(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            const std::vector<std::tuple<TextureRef, VkSampler>> group(kSize, {mine[t], nullptr});
            for (int g = 0; g < kGroups; ++g)
                starts[t].push_back(renderer.AddTextures(group));
        });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(renderer.TextureCount(), static_cast<uint32_t>(kThreads * kGroups * kSize));
    for (int t = 0; t < kThreads; ++t)
        for (uint32_t start : starts[t])
            for (uint32_t i = 0; i < kSize; ++i)
                EXPECT_EQ(renderer.GetTexture(start + i).texture, mine[t]);
}
