#include "ScreenArt.hpp"

#include <gtest/gtest.h>

using namespace screen_art;

// --- Pixels and blending ---

TEST(VesmoScreenPixels, BlankFillsEverythingWithoutBlendingAndMarksDirty) {
    VesmoScreen screen(3, 2, 8, 16);
    EXPECT_EQ(screen.pixels, std::vector<uint32_t>(6, 0u));
    EXPECT_FALSE(screen.dirty);
    screen.Blank(0x10203040); // translucent, yet copied as it is
    EXPECT_EQ(screen.pixels, std::vector<uint32_t>(6, 0x10203040u));
    EXPECT_TRUE(screen.dirty);
}

TEST(VesmoScreenPixels, GetPixelReadsByLinearIndexAndZeroOutside) {
    VesmoScreen screen(4, 3, 8, 16);
    for (size_t i = 0; i < screen.pixels.size(); ++i)
        screen.pixels[i] = static_cast<uint32_t>(100 + i);
    // x == width reads the start of the next row, x == -1 the end of the one before; outside the pixels, 0.
    EXPECT_EQ(std::tuple(screen.GetPixel(2, 1), screen.GetPixel(4, 0), screen.GetPixel(-1, 1), screen.GetPixel(3, 2)),
              std::tuple(106u, 104u, 103u, 111u));
    EXPECT_EQ(std::tuple(screen.GetPixel(4, 2), screen.GetPixel(-1, 0), screen.GetPixel(0, 3)), std::tuple(0u, 0u, 0u));
}

TEST(VesmoScreenPixels, BlendingMixesLowerBytesAndAddsAlpha) {
    VesmoScreen screen(3, 1, 8, 16);
    screen.pixels = {0xFF000000, 0x00000000, 0x40FFFFFF};
    screen.DrawPoint(0, 0, 0x80FFFFFF);
    screen.DrawPoint(1, 0, 0x80FF4020);
    screen.DrawPoint(2, 0, 0xFF123456);
    EXPECT_EQ(screen.pixels[0], 0xFF808080u); // 255 * 128 / 255, alpha capped at 255
    EXPECT_EQ(screen.pixels[1], 0x80802010u); // each byte * 128 / 255, truncated; alpha 0 + 128
    EXPECT_EQ(screen.pixels[2], 0xFF123456u); // alpha 255 overwrites
    screen.DrawPoint(2, 0, 0x01000000);       // alpha 1 of black: bytes barely move, alpha grows by 1
    EXPECT_EQ(screen.pixels[2], 0xFF113355u);
}

TEST(VesmoScreenDraw, PartLeftOfTheScreenBuildsUpOnColumnZero) {
    VesmoScreen screen = Blank(4, 1);
    screen.Draw(-3, 0, 0x80FFFFFF, 5, 1); // columns -3..1: column 0 is painted four times
    // 0 -> 128 -> 191 -> 223 -> 239 in integer blending; column 1 once.
    EXPECT_EQ(screen.pixels, (std::vector<uint32_t>{0xFFEFEFEF, 0xFF808080, kBack, kBack}));
}

TEST(VesmoScreenDraw, BuildUpCornersMultiply) {
    VesmoScreen screen = Blank(3, 2);
    screen.Draw(-1, -1, 0x80FFFFFF, 3, 3); // (0,0) four times, (1,0) and (0,1) twice, (1,1) once
    EXPECT_EQ(screen.pixels, (std::vector<uint32_t>{0xFFEFEFEF, 0xFFBFBFBF, kBack, 0xFFBFBFBF, 0xFF808080, kBack}));
}

TEST(VesmoScreenDraw, FarOffScreenRectangleSettlesColumnZeroAtTheBlendsFixedPoint) {
    VesmoScreen screen = Blank(3, 1);
    screen.Draw(-1000000000, 0, 0x80FFFFFF, 1000000002, 1);
    // Repeated 50% white over black stops moving at 254; the next column is blended once.
    EXPECT_EQ(screen.pixels, (std::vector<uint32_t>{0xFFFEFEFE, 0xFF808080, kBack}));
}

TEST(VesmoScreenLine, TruncatesTowardZeroSoMinusHalfLandsOnColumnZero) {
    VesmoScreen screen = Blank(3, 1);
    screen.DrawLine(-1, 0, 2, 0, 0x80FFFFFF); // -0.5 and 0.5 both plot column 0
    EXPECT_EQ(screen.pixels, (std::vector<uint32_t>{0xFFBFBFBF, 0xFF808080, kBack}));
}

TEST(VesmoScreenRect, TranslucentCornersAreStrokedTwice) {
    VesmoScreen screen = Blank(4, 3);
    screen.DrawRect(0, 0, 4, 3, 0x80FFFFFF, 0);
    EXPECT_EQ(std::tuple(screen.GetPixel(0, 0), screen.GetPixel(3, 2), screen.GetPixel(1, 0), screen.GetPixel(1, 1)),
              std::tuple(0xFFBFBFBFu, 0xFFBFBFBFu, 0xFF808080u, kBack));
}

// --- Shapes as pictures: one fresh screen per case ---

namespace {

struct Shape {
    const char* what;
    int width, height;
    void (*draw)(VesmoScreen&);
    const char* art;
    int dirty; // 1 or 0: whether the drawing marks the screen dirty; -1: not asked
};

const Shape kShapes[] = {
    // Points
    {"points off the screen or of colour zero: nothing, although GetPixel(4, 0) is pixel (0, 1)", 4, 3,
     [](VesmoScreen& s) {
         s.DrawPoint(4, 0, kF);
         s.DrawPoint(0, 3, kF);
         s.DrawPoint(-1, 0, kF);
         s.DrawPoint(0, -1, kF);
         s.DrawPoint(1, 1, 0);
     },
     "....\n....\n....\n", 0},
    {"a point in the last corner", 4, 3, [](VesmoScreen& s) { s.DrawPoint(3, 2, kF); }, "....\n....\n...F\n", 1},
    // Filled rectangles
    {"fills rows and columns and clips at the far edges", 5, 4,
     [](VesmoScreen& s) {
         s.Draw(1, 1, kF, 2, 2);
         s.Draw(3, 2, kS, 10, 10);
     },
     ".....\n.FF..\n.FFSS\n...SS\n", 1},
    {"an empty width draws nothing but marks dirty", 3, 3, [](VesmoScreen& s) { s.Draw(1, 1, kF, 0, 2); },
     "...\n...\n...\n", 1},
    {"an empty height too", 3, 3, [](VesmoScreen& s) { s.Draw(1, 1, kF, 2, -1); }, "...\n...\n...\n", 1},
    {"wholly beyond the screen", 3, 3, [](VesmoScreen& s) { s.Draw(5, 5, kF, 2, 2); }, "...\n...\n...\n", -1},
    {"opaque colours do not build up", 3, 2, [](VesmoScreen& s) { s.Draw(-5, -5, kF, 6, 6); }, "F..\n...\n", 1},
    // Lines
    {"length points from the start, the end left out", 5, 4,
     [](VesmoScreen& s) {
         s.DrawLine(0, 0, 3, 3, kF);
         s.DrawLine(1, 3, 4, 3, kS);
     },
     "F....\n.F...\n..F..\n.SSS.\n", 1},
    {"steps along the longer axis from the pixel centre: x 0.5, 0.83, 1.17", 3, 4,
     [](VesmoScreen& s) { s.DrawLine(0, 0, 1, 3, kF); }, "F..\nF..\n.F.\n...\n", 1},
    {"backwards: 3.5, 2.5, 1.5, the start drawn and column 0 not", 4, 1,
     [](VesmoScreen& s) { s.DrawLine(3, 0, 0, 0, kF); }, ".FFF\n", 1},
    {"width + height = 8: lines longer than 64, or of length zero, draw nothing", 4, 4,
     [](VesmoScreen& s) {
         s.DrawLine(0, 0, 65, 0, kF);
         s.DrawLine(2, 2, 2, 2, kF);
         s.DrawLine(-2000000000, 0, 2000000000, 3, kF); // far too long, and safe to reject
     },
     "....\n....\n....\n....\n", 0},
    {"64 long on a 4 x 4 screen is drawn", 4, 4, [](VesmoScreen& s) { s.DrawLine(0, 1, 64, 1, kF); },
     "....\nFFFF\n....\n....\n", 1},
    // Rectangle outlines
    {"the outline takes the outer pixels, the fill the inside; corners in any order", 6, 5,
     [](VesmoScreen& s) { s.DrawRect(5, 4, 1, 0, kS, kF); }, ".SSSS.\n.SFFS.\n.SFFS.\n.SSSS.\n......\n", 1},
    {"a stroke equal to the fill leaves the outline out", 6, 5, [](VesmoScreen& s) { s.DrawRect(1, 0, 5, 4, kF, kF); },
     ".FFFF.\n.FFFF.\n.FFFF.\n.FFFF.\n......\n", 1},
    {"so does a stroke of colour zero", 6, 5, [](VesmoScreen& s) { s.DrawRect(1, 0, 5, 4, 0, kF); },
     ".FFFF.\n.FFFF.\n.FFFF.\n.FFFF.\n......\n", 1},
    {"an outline alone", 6, 5, [](VesmoScreen& s) { s.DrawRect(1, 0, 5, 4, kS, 0); },
     ".SSSS.\n.S..S.\n.S..S.\n.SSSS.\n......\n", 1},
    {"neither stroke nor fill", 6, 5, [](VesmoScreen& s) { s.DrawRect(1, 0, 5, 4, 0, 0); },
     "......\n......\n......\n......\n......\n", 0},
    // Triangles
    {"the fill leaves pixels on edges out, clockwise", 6, 5,
     [](VesmoScreen& s) { s.DrawTriangle(0, 0, 4, 0, 0, 4, 0, kF); }, "......\n.FF...\n.F....\n......\n......\n", 1},
    {"and counter-clockwise", 6, 5, [](VesmoScreen& s) { s.DrawTriangle(0, 0, 0, 4, 4, 0, 0, kF); },
     "......\n.FF...\n.F....\n......\n......\n", 1},
    {"the stroke is three lines after the fill", 6, 5, [](VesmoScreen& s) { s.DrawTriangle(0, 0, 4, 0, 0, 4, kS, kF); },
     "SSSSS.\nSFFS..\nSFS...\nSS....\nS.....\n", 1},
    {"a degenerate triangle plots only pixels on all three edges: a line", 5, 5,
     [](VesmoScreen& s) { s.DrawTriangle(0, 0, 2, 2, 4, 4, 0, kF); }, "F....\n.F...\n..F..\n...F.\n....F\n", 1},
    {"and a point", 3, 3, [](VesmoScreen& s) { s.DrawTriangle(1, 1, 1, 1, 1, 1, 0, kF); }, "...\n.F.\n...\n", 1},
    {"clipped to the screen without shifting the edges: inside, x + y < 3", 4, 4,
     [](VesmoScreen& s) { s.DrawTriangle(-2, -2, 5, -2, -2, 5, 0, kF); }, "FFF.\nFF..\nF...\n....\n", 1},
    {"a huge triangle covers the screen", 4, 4,
     [](VesmoScreen& s) { s.DrawTriangle(-2000000000, -10, 2000000000, -10, 0, 2000000000, 0, kF); },
     "FFFF\nFFFF\nFFFF\nFFFF\n", 1},
    // Circles
    {"the ring is the outermost band inside the radius", 7, 7, [](VesmoScreen& s) { s.DrawCircle(3, 3, 3, kS, kF); },
     ".......\n.SSSSS.\n.SFFFS.\n.SFFFS.\n.SFFFS.\n.SSSSS.\n.......\n", 1},
    {"radius one is one pixel of stroke", 3, 3, [](VesmoScreen& s) { s.DrawCircle(1, 1, 1, kS, kF); },
     "...\n.S.\n...\n", 1},
    {"or of fill without a stroke", 3, 3, [](VesmoScreen& s) { s.DrawCircle(1, 1, 1, 0, kF); }, "...\n.F.\n...\n", 1},
    {"clipped at the screen", 3, 3, [](VesmoScreen& s) { s.DrawCircle(0, 0, 2, kS, kF); }, "FS.\nSS.\n...\n", 1},
    {"nothing without colour, area or a place on the screen", 3, 3,
     [](VesmoScreen& s) {
         s.DrawCircle(1, 1, 2, 0, 0);
         s.DrawCircle(1, 1, 0, kS, kF);
         s.DrawCircle(1, 1, -2, kS, kF);
         s.DrawCircle(-5, 1, 2, kS, kF);
     },
     "...\n...\n...\n", 0},
};

} // namespace

TEST(VesmoScreenShapes, DrawTheirPicturesAndClip) {
    for (const Shape& shape : kShapes) {
        SCOPED_TRACE(shape.what);
        VesmoScreen screen = Blank(shape.width, shape.height);
        shape.draw(screen);
        EXPECT_EQ(Art(screen), shape.art);
        if (shape.dirty >= 0) {
            EXPECT_EQ(screen.dirty, shape.dirty == 1);
        }
    }
}
