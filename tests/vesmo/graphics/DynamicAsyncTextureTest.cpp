#include "vesmo/graphics/DynamicAsyncTexture.hpp"

#include "PngEncoder.hpp"

#include <gtest/gtest.h>

using vesmo::graphics::DynamicAsyncTexture;
using Pixel = std::array<unsigned char, 4>;

namespace {
const unsigned char* Bytes(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }
} // namespace

TEST(DynamicAsyncTexture, StartsTransparentAndTakesADecodedImageOfItsSize) {
    DynamicAsyncTexture texture(3, 2);
    EXPECT_EQ(texture.Generation(), 0u);
    EXPECT_EQ(texture.Pixel(2, 1), (Pixel{0, 0, 0, 0}));

    // Each pixel distinct, so a swapped axis or a row order error shows.
    std::vector<unsigned char> rgba;
    for (unsigned char i = 0; i < 6; ++i)
        rgba.insert(rgba.end(), {static_cast<unsigned char>(10 * i), static_cast<unsigned char>(100 + i), 7, 255});
    const std::string png = testing_support::EncodePng(3, 2, rgba);
    ASSERT_TRUE(texture.Load(Bytes(png), png.size()));

    EXPECT_EQ(texture.Generation(), 1u);
    EXPECT_EQ(std::tuple(texture.Pixel(0, 0), texture.Pixel(2, 0), texture.Pixel(0, 1)),
              std::tuple(Pixel{0, 100, 7, 255}, Pixel{20, 102, 7, 255}, Pixel{30, 103, 7, 255}));
    std::vector<unsigned char> copy;
    EXPECT_EQ(texture.CopyPixels(copy), 1u);
    EXPECT_EQ(copy, rgba);
}

TEST(DynamicAsyncTexture, ScalesAnImageOfAnotherSizeToNearestPixels) {
    DynamicAsyncTexture texture(4, 4);
    // Left half red, right half blue, 2 x 1.
    const std::string png = testing_support::EncodePng(2, 1, {255, 0, 0, 255, 0, 0, 255, 255});
    ASSERT_TRUE(texture.Load(Bytes(png), png.size()));
    const Pixel red{255, 0, 0, 255}, blue{0, 0, 255, 255};
    EXPECT_EQ(std::tuple(texture.Pixel(0, 0), texture.Pixel(1, 3), texture.Pixel(2, 0), texture.Pixel(3, 3)),
              std::tuple(red, red, blue, blue));
}

TEST(DynamicAsyncTexture, BytesThatArentAnImageLeaveTheContentAlone) {
    DynamicAsyncTexture texture(2, 2);
    const std::string green = testing_support::SolidPng(2, 2, 0, 255, 0);
    ASSERT_TRUE(texture.Load(Bytes(green), green.size()));

    const std::string garbage = "not an image at all";
    // Words, a PNG cut short inside its header, nothing.
    EXPECT_FALSE(texture.Load(Bytes(garbage), garbage.size()) || texture.Load(Bytes(green), 20) ||
                 texture.Load(nullptr, 0));

    EXPECT_EQ(texture.Generation(), 1u);
    EXPECT_EQ(texture.Pixel(1, 1), (Pixel{0, 255, 0, 255}));
    EXPECT_EQ(texture.Pixel(2, 0), (Pixel{0, 0, 0, 0})); // outside reads as transparent
}
