#include "ScreenArt.hpp"
#include "TestSupport.hpp"

#include "vesmo/graphics/FontRenderer.hpp"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wsign-compare"
#define STBI_ONLY_PNG
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#include <stb/stb_image.h>
#pragma GCC diagnostic pop

#include <gtest/gtest.h>

#include <cstring>

using namespace screen_art;

namespace {

constexpr uint32_t kWhite = 0xFFFFFFFF;

VesmoScreen TextScreen(int width, int height) {
    VesmoScreen screen(width, height);
    screen.Blank(kBack);
    screen.dirty = false;
    return screen;
}

// A screen with `lines` written by WriteLine at the given pens: the reference for Write's layout.
struct Placed {
    int x;
    int y;
    const char* text;
};
VesmoScreen Reference(int width, int height, const std::vector<Placed>& lines, int textScale = 1) {
    VesmoScreen screen = TextScreen(width, height);
    screen.textScale = textScale;
    for (const Placed& line : lines)
        screen.WriteLine(line.x, line.y, kWhite, line.text);
    return screen;
}

VesmoScreen Written(int width, int height, int align, int x, int y, std::string_view text, int textScale = 1) {
    VesmoScreen screen = TextScreen(width, height);
    screen.textAlign = align;
    screen.textScale = textScale;
    screen.Write(x, y, kWhite, text);
    return screen;
}

int CountNot(const VesmoScreen& screen, uint32_t color) {
    int n = 0;
    for (uint32_t p : screen.pixels)
        n += p != color;
    return n;
}

uint64_t Fnv1a(const std::vector<uint32_t>& pixels) {
    uint64_t hash = 1469598103934665603ull;
    const auto* bytes = reinterpret_cast<const unsigned char*>(pixels.data());
    for (size_t i = 0; i < pixels.size() * 4; ++i)
        hash = (hash ^ bytes[i]) * 1099511628211ull;
    return hash;
}

} // namespace

// Write's layout, each row against the same text put line by line with WriteLine at the pens it should get.
TEST(VesmoScreenText, WriteSplitsLinesAndAlignsThemByTheirCharacters) {
    struct Row {
        int width, height, align, x, y;
        std::string_view text;
        int scale;
        std::vector<Placed> lines;
    };
    // clang-format off
    const Row rows[] = {
        // Line feeds and "\n" split; an empty line in the middle still moves the pen down.
        {64, 40, 0, 2, 1, "ab\ncd", 1, {{2, 1, "ab"}, {2, 17, "cd"}}}, {64, 40, 0, 2, 1, "ab\\ncd", 1, {{2, 1, "ab"}, {2, 17, "cd"}}},
        {64, 40, 0, 2, 1, "ab\\n\ncd", 1, {{2, 1, "ab"}, {2, 33, "cd"}}},
        // Bottom alignment shows the number of lines: a final line feed adds none, inner empty lines count.
        {40, 48, 8, 0, 0, "ab", 1, {{0, 48 - 16, "ab"}}},    {40, 48, 8, 0, 0, "ab\n", 1, {{0, 48 - 16, "ab"}}},
        {40, 48, 8, 0, 0, "ab\\n", 1, {{0, 48 - 16, "ab"}}}, {40, 48, 8, 0, 0, "ab\n\n", 1, {{0, 48 - 32, "ab"}}},
        // Horizontal bits, 64 wide, "ab" two advances of 8: left, right, both (left wins).
        {64, 20, 1, 3, 2, "ab", 1, {{4, 2, "ab"}}}, {64, 20, 2, 3, 2, "ab", 1, {{3 + 64 + 1 - 1 - 16, 2, "ab"}}},
        {64, 20, 3, 3, 2, "ab", 1, {{4, 2, "ab"}}},
        // Centre on both axes (x + 32 - 8, y + 10 - 8), never left of x + 1 even for text wider than the screen.
        {64, 20, 16, 3, 2, "ab", 1, {{27, 4, "ab"}}}, {64, 20, 16, 0, 0, "abcdefghij", 1, {{1, 2, "abcdefghij"}}},
        // Each line of a block is aligned by its own length.
        {64, 40, 2, 0, 0, "ab\nabc", 1, {{48, 0, "ab"}, {40, 16, "abc"}}},
        // Vertical bits: top, both (top wins), bottom.
        {40, 64, 4, 0, 5, "ab", 1, {{0, 6, "ab"}}}, {40, 64, 12, 0, 5, "ab", 1, {{0, 6, "ab"}}},
        {40, 64, 8, 0, -3, "ab\ncd", 1, {{0, 29, "ab"}, {0, 45, "cd"}}},
        // Left on x with centre deciding y (64 / 2 - 32 / 2); bottom with centre deciding x (40 / 2 - 16 / 2).
        {40, 64, 1 | 16, 0, 0, "ab\ncd", 1, {{1, 16, "ab"}, {1, 32, "cd"}}}, {40, 64, 8 | 16, 0, 0, "ab", 1, {{12, 48, "ab"}}},
        // With the text scale: right is x + width + scale - 1 - characters * 8 * scale; two lines of 32.
        {80, 40, 2, 0, 0, "ab", 2, {{80 + 2 - 1 - 32, 0, "ab"}}}, {80, 80, 8, 0, 0, "a\nb", 2, {{0, 16, "a"}, {0, 48, "b"}}},
        // UTF-8 code points count, not bytes: a two-byte and a three-byte character are one advance each.
        {40, 20, 2, 0, 0, "\xC3\xA9", 1, {{40 - 8, 0, "\xC3\xA9"}}}, {40, 20, 2, 0, 0, "a\xE2\x82\xAC", 1, {{40 - 16, 0, "a\xE2\x82\xAC"}}},
    };
    // clang-format on
    for (const Row& row : rows) {
        const VesmoScreen expected = Reference(row.width, row.height, row.lines, row.scale);
        ASSERT_GT(CountNot(expected, kBack), 10) << row.text;
        EXPECT_EQ(Written(row.width, row.height, row.align, row.x, row.y, row.text, row.scale).pixels, expected.pixels)
            << "align " << row.align << ": " << row.text;
    }
}

TEST(VesmoScreenText, ColourZeroAndEmptyText) {
    VesmoScreen screen = TextScreen(40, 20);
    screen.Write(0, 0, 0, "ab");
    screen.Write(0, 0, kWhite, "");
    EXPECT_FALSE(screen.dirty);
    screen.WriteLine(0, 0, kWhite, ""); // a line without glyphs still marks the screen
    EXPECT_TRUE(screen.dirty);
    EXPECT_EQ(CountNot(screen, kBack), 0);
}

TEST(VesmoScreenText, PenAdvancesByOneCellPerCharacter) {
    EXPECT_EQ(Reference(64, 20, {{5, 2, "iMW."}}).pixels,
              Reference(64, 20, {{5, 2, "i"}, {13, 2, "M"}, {21, 2, "W"}, {29, 2, "."}}).pixels);
}

TEST(VesmoScreenText, EveryPrintableAsciiGlyphStaysInsideItsLineCell) {
    // Glyphs are placed against the cell's bottom row: descenders included, a line never reaches into
    // the next one, and nothing strays more than a pixel beside its advance.
    for (char c = 0x21; c < 0x7F; ++c) {
        VesmoScreen screen = TextScreen(32, 48);
        screen.WriteLine(8, 16, kWhite, std::string(1, c));
        int drawn = 0;
        for (int y = 0; y < 48; ++y)
            for (int x = 0; x < 32; ++x)
                if (screen.pixels[x + y * 32] != kBack) {
                    ++drawn;
                    EXPECT_TRUE(y >= 16 && y < 32 && x >= 7 && x <= 16) << "'" << c << "' at " << x << "," << y;
                }
        EXPECT_GT(drawn, 0) << "'" << c << "'";
    }
}

TEST(VesmoScreenText, DescendersGoBelowTheBaselineCapitalsEndOnIt) {
    const int baseline = VesmoScreen::Font().Baseline();
    auto rows = [](const VesmoScreen& screen) {
        int first = screen.height, last = -1;
        for (int y = 0; y < screen.height; ++y)
            for (int x = 0; x < screen.width; ++x)
                if (screen.pixels[x + y * screen.width] != kBack)
                    first = std::min(first, y), last = std::max(last, y);
        return std::pair(first, last);
    };
    EXPECT_EQ(rows(Reference(16, 16, {{0, 0, "H"}})).second, baseline - 1);
    EXPECT_GT(rows(Reference(16, 16, {{0, 0, "g"}})).second, baseline);
    EXPECT_LT(rows(Reference(16, 16, {{0, 0, "H"}})).first, rows(Reference(16, 16, {{0, 0, "x"}})).first);
}

TEST(VesmoScreenText, TextScaleMakesEachFontPixelASquare) {
    const VesmoScreen small = Reference(40, 20, {{0, 0, "Ag"}});
    const VesmoScreen big = Reference(80, 40, {{0, 0, "Ag"}}, 2);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 80; ++x)
            ASSERT_EQ(big.pixels[x + y * 80], small.pixels[x / 2 + (y / 2) * 40]) << x << "," << y;
}

TEST(VesmoScreenText, TranslucentTextBlendsOpaqueTextOverwrites) {
    VesmoScreen screen = TextScreen(40, 20);
    screen.WriteLine(0, 0, 0x80FFFFFF, "Wg");
    for (uint32_t p : screen.pixels)
        EXPECT_TRUE(p == kBack || p == 0xFF808080u) << std::hex << p;
    VesmoScreen clear(40, 20); // all 0: opaque text doesn't add alpha, it replaces the pixel
    clear.WriteLine(0, 0, 0xFF123456, "Wg");
    for (uint32_t p : clear.pixels)
        EXPECT_TRUE(p == 0 || p == 0xFF123456u) << std::hex << p;
}

TEST(VesmoScreenText, OnlyTheFirst1024BytesOfALineCount) {
    const std::string spaces1023(1023, ' ');
    // The character after 1023 spaces is the 1024th byte: it is drawn at pen 0.
    VesmoScreen drawn = TextScreen(16, 16);
    drawn.WriteLine(-1023 * 8, 0, kWhite, spaces1023 + "X");
    EXPECT_EQ(drawn.pixels, Reference(16, 16, {{0, 0, "X"}}).pixels);
    // One space more pushes it past the limit.
    VesmoScreen cut = TextScreen(16, 16);
    cut.WriteLine(-1024 * 8, 0, kWhite, spaces1023 + " X");
    EXPECT_EQ(CountNot(cut, kBack), 0);
    EXPECT_TRUE(cut.dirty);
}

TEST(VesmoScreenText, ClippedTextIsACutOutOfTheSameTextOnALargerScreen) {
    // Text hanging over each edge at several scales: every pixel drawn on the small screen must be the
    // one the same text draws at that place on a screen with room around it, so nothing wraps into the
    // next row or lands beside its glyph. The row and column stops may cut more, never less.
    constexpr int kMargin = 100;
    for (int scale = 1; scale <= 3; ++scale)
        for (int x : {-30, -5, 0, 20, 38})
            for (int y : {-30, -9, 0, 10, 19}) {
                VesmoScreen small = TextScreen(40, 20);
                small.textScale = scale;
                small.WriteLine(x, y, kWhite, "Wg\xC3\x89q|");
                VesmoScreen roomy = TextScreen(40 + 2 * kMargin, 20 + 2 * kMargin);
                roomy.textScale = scale;
                roomy.WriteLine(x + kMargin, y + kMargin, kWhite, "Wg\xC3\x89q|");
                for (int py = 0; py < 20; ++py)
                    for (int px = 0; px < 40; ++px)
                        if (small.pixels[px + py * 40] != kBack) {
                            ASSERT_EQ(roomy.GetPixel(px + kMargin, py + kMargin), kWhite)
                                << "scale " << scale << " at " << x << "," << y << ": pixel " << px << "," << py;
                        }
            }
}

TEST(VesmoScreenText, RenderedLineMatchesItsPinnedPictureAndItsPng) {
    VesmoScreen screen = TextScreen(160, 36);
    screen.Write(2, 1, kWhite, "Hello, world! gjpqy\n\xC3\x89t\xC3\xA9 0123 {}[]");
    screen.DrawLine(0, 35, 160, 35, 0xFF3080FF);
    // Looked at once as a picture (two clean lines of DejaVu Sans Mono, descenders inside the first
    // line's cell), then pinned: a change here means the font, the rasteriser or the placement moved.
    EXPECT_EQ(Fnv1a(screen.pixels), 0x0613f185c26313beull) << std::hex << Fnv1a(screen.pixels);

    testing_support::TempDir dir;
    const std::string path = dir.File("text.png");
    ASSERT_TRUE(screen.SavePng(path));
    int w = 0, h = 0, channels = 0;
    unsigned char* image = stbi_load(path.c_str(), &w, &h, &channels, 4);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(w, 160);
    EXPECT_EQ(h, 36);
    EXPECT_EQ(std::memcmp(image, screen.pixels.data(), screen.pixels.size() * 4), 0);
    stbi_image_free(image);
    EXPECT_FALSE(screen.SavePng(dir.File("missing-folder/text.png")));
}
