#include "ScreenArt.hpp"

#include <gtest/gtest.h>

using namespace screen_art;

// --- Pixels, blending, points ---

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
    EXPECT_EQ(screen.GetPixel(2, 1), 106u);
    EXPECT_EQ(screen.GetPixel(4, 0), 104u); // x == width reads the start of the next row
    EXPECT_EQ(screen.GetPixel(-1, 1), 103u);
    EXPECT_EQ(screen.GetPixel(3, 2), 111u);
    EXPECT_EQ(screen.GetPixel(4, 2), 0u);
    EXPECT_EQ(screen.GetPixel(-1, 0), 0u);
    EXPECT_EQ(screen.GetPixel(0, 3), 0u);
}

TEST(VesmoScreenPixels, DrawPointClipsAndIgnoresColourZero) {
    VesmoScreen screen = Blank(4, 3);
    screen.DrawPoint(4, 0, kF); // at width: nothing, although GetPixel(4, 0) is pixel (0, 1)
    screen.DrawPoint(0, 3, kF);
    screen.DrawPoint(-1, 0, kF);
    screen.DrawPoint(0, -1, kF);
    screen.DrawPoint(1, 1, 0);
    EXPECT_FALSE(screen.dirty);
    EXPECT_EQ(Art(screen), "....\n....\n....\n");
    screen.DrawPoint(3, 2, kF);
    EXPECT_TRUE(screen.dirty);
    EXPECT_EQ(Art(screen), "....\n....\n...F\n");
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

// --- Filled rectangles ---

TEST(VesmoScreenDraw, FillsRowsAndColumnsAndClipsAtTheFarEdges) {
    VesmoScreen screen = Blank(5, 4);
    screen.Draw(1, 1, kF, 2, 2);
    screen.Draw(3, 2, kS, 10, 10);
    EXPECT_EQ(Art(screen), ".....\n"
                           ".FF..\n"
                           ".FFSS\n"
                           "...SS\n");
}

TEST(VesmoScreenDraw, EmptySizeDrawsNothingButStillMarksDirty) {
    VesmoScreen screen = Blank(3, 3);
    screen.Draw(1, 1, kF, 0, 2);
    EXPECT_TRUE(screen.dirty);
    screen.dirty = false;
    screen.Draw(1, 1, kF, 2, -1);
    EXPECT_TRUE(screen.dirty);
    screen.Draw(5, 5, kF, 2, 2); // wholly beyond the screen
    EXPECT_EQ(Art(screen), "...\n...\n...\n");
}

TEST(VesmoScreenDraw, PartLeftOfTheScreenBuildsUpOnColumnZero) {
    VesmoScreen screen = Blank(4, 1);
    screen.Draw(-3, 0, 0x80FFFFFF, 5, 1); // columns -3..1: column 0 is painted four times
    // 0 -> 128 -> 191 -> 223 -> 239 in integer blending; column 1 once.
    EXPECT_EQ(screen.pixels, (std::vector<uint32_t>{0xFFEFEFEF, 0xFF808080, kBack, kBack}));
}

TEST(VesmoScreenDraw, BuildUpCornersMultiplyAndOpaqueColoursDoNotBuildUp) {
    VesmoScreen screen = Blank(3, 2);
    screen.Draw(-1, -1, 0x80FFFFFF, 3, 3); // (0,0) four times, (1,0) and (0,1) twice, (1,1) once
    EXPECT_EQ(screen.pixels, (std::vector<uint32_t>{0xFFEFEFEF, 0xFFBFBFBF, kBack, 0xFFBFBFBF, 0xFF808080, kBack}));
    VesmoScreen opaque = Blank(3, 2);
    opaque.Draw(-5, -5, kF, 6, 6);
    EXPECT_EQ(Art(opaque), "F..\n...\n");
}

TEST(VesmoScreenDraw, FarOffScreenRectangleSettlesColumnZeroAtTheBlendsFixedPoint) {
    VesmoScreen screen = Blank(3, 1);
    screen.Draw(-1000000000, 0, 0x80FFFFFF, 1000000002, 1);
    // Repeated 50% white over black stops moving at 254; the next column is blended once.
    EXPECT_EQ(screen.pixels, (std::vector<uint32_t>{0xFFFEFEFE, 0xFF808080, kBack}));
}

// --- Lines ---

TEST(VesmoScreenLine, PlotsLengthPointsFromTheStartAndLeavesTheEndOut) {
    VesmoScreen screen = Blank(5, 4);
    screen.DrawLine(0, 0, 3, 3, kF);
    screen.DrawLine(1, 3, 4, 3, kS);
    EXPECT_EQ(Art(screen), "F....\n"
                           ".F...\n"
                           "..F..\n"
                           ".SSS.\n");
}

TEST(VesmoScreenLine, StepsAlongTheLongerAxisFromThePixelCentre) {
    VesmoScreen steep = Blank(3, 4);
    steep.DrawLine(0, 0, 1, 3, kF); // x: 0.5, 0.83, 1.17
    EXPECT_EQ(Art(steep), "F..\nF..\n.F.\n...\n");
    VesmoScreen backwards = Blank(4, 1);
    backwards.DrawLine(3, 0, 0, 0, kF); // 3.5, 2.5, 1.5: the start is drawn, column 0 isn't
    EXPECT_EQ(Art(backwards), ".FFF\n");
}

TEST(VesmoScreenLine, TruncatesTowardZeroSoMinusHalfLandsOnColumnZero) {
    VesmoScreen screen = Blank(3, 1);
    screen.DrawLine(-1, 0, 2, 0, 0x80FFFFFF); // -0.5 and 0.5 both plot column 0
    EXPECT_EQ(screen.pixels, (std::vector<uint32_t>{0xFFBFBFBF, 0xFF808080, kBack}));
}

TEST(VesmoScreenLine, OverlongAndZeroLengthLinesDrawNothing) {
    VesmoScreen screen = Blank(4, 4); // width + height = 8: lines up to 64 long are drawn
    screen.DrawLine(0, 0, 65, 0, kF);
    screen.DrawLine(2, 2, 2, 2, kF);
    EXPECT_FALSE(screen.dirty);
    EXPECT_EQ(Art(screen), "....\n....\n....\n....\n");
    screen.DrawLine(0, 1, 64, 1, kF);
    EXPECT_EQ(Art(screen), "....\nFFFF\n....\n....\n");
    screen.DrawLine(-2000000000, 0, 2000000000, 3, kF); // far too long, and safe to reject
    EXPECT_EQ(Art(screen), "....\nFFFF\n....\n....\n");
}

// --- Rectangle outlines ---

TEST(VesmoScreenRect, OutlineTakesTheOuterPixelsAndFillTheInside) {
    VesmoScreen screen = Blank(6, 5);
    screen.DrawRect(5, 4, 1, 0, kS, kF); // corners in any order
    EXPECT_EQ(Art(screen), ".SSSS.\n"
                           ".SFFS.\n"
                           ".SFFS.\n"
                           ".SSSS.\n"
                           "......\n");
}

TEST(VesmoScreenRect, StrokeEqualToFillOrZeroLeavesTheOutlineOut) {
    VesmoScreen same = Blank(6, 5);
    same.DrawRect(1, 0, 5, 4, kF, kF);
    EXPECT_EQ(Art(same), ".FFFF.\n.FFFF.\n.FFFF.\n.FFFF.\n......\n");
    VesmoScreen noStroke = Blank(6, 5);
    noStroke.DrawRect(1, 0, 5, 4, 0, kF);
    EXPECT_EQ(Art(noStroke), Art(same));
    VesmoScreen outline = Blank(6, 5);
    outline.DrawRect(1, 0, 5, 4, kS, 0);
    EXPECT_EQ(Art(outline), ".SSSS.\n.S..S.\n.S..S.\n.SSSS.\n......\n");
    VesmoScreen nothing = Blank(6, 5);
    nothing.DrawRect(1, 0, 5, 4, 0, 0);
    EXPECT_FALSE(nothing.dirty);
}

TEST(VesmoScreenRect, TranslucentCornersAreStrokedTwice) {
    VesmoScreen screen = Blank(4, 3);
    screen.DrawRect(0, 0, 4, 3, 0x80FFFFFF, 0);
    EXPECT_EQ(screen.GetPixel(0, 0), 0xFFBFBFBFu);
    EXPECT_EQ(screen.GetPixel(3, 2), 0xFFBFBFBFu);
    EXPECT_EQ(screen.GetPixel(1, 0), 0xFF808080u);
    EXPECT_EQ(screen.GetPixel(1, 1), kBack);
}

// --- Triangles ---

TEST(VesmoScreenTriangle, FillLeavesPixelsOnEdgesOutInEitherOrientation) {
    const std::string expected = "......\n"
                                 ".FF...\n"
                                 ".F....\n"
                                 "......\n"
                                 "......\n";
    VesmoScreen clockwise = Blank(6, 5);
    clockwise.DrawTriangle(0, 0, 4, 0, 0, 4, 0, kF);
    EXPECT_EQ(Art(clockwise), expected);
    VesmoScreen counter = Blank(6, 5);
    counter.DrawTriangle(0, 0, 0, 4, 4, 0, 0, kF);
    EXPECT_EQ(Art(counter), expected);
}

TEST(VesmoScreenTriangle, StrokeIsThreeLinesAfterTheFill) {
    VesmoScreen screen = Blank(6, 5);
    screen.DrawTriangle(0, 0, 4, 0, 0, 4, kS, kF);
    EXPECT_EQ(Art(screen), "SSSSS.\n"
                           "SFFS..\n"
                           "SFS...\n"
                           "SS....\n"
                           "S.....\n");
}

TEST(VesmoScreenTriangle, DegenerateTrianglesPlotOnlyPixelsOnAllThreeEdges) {
    VesmoScreen line = Blank(5, 5);
    line.DrawTriangle(0, 0, 2, 2, 4, 4, 0, kF);
    EXPECT_EQ(Art(line), "F....\n.F...\n..F..\n...F.\n....F\n");
    VesmoScreen point = Blank(3, 3);
    point.DrawTriangle(1, 1, 1, 1, 1, 1, 0, kF);
    EXPECT_EQ(Art(point), "...\n.F.\n...\n");
}

TEST(VesmoScreenTriangle, ClipsToTheScreenWithoutShiftingTheEdges) {
    VesmoScreen screen = Blank(4, 4);
    screen.DrawTriangle(-2, -2, 5, -2, -2, 5, 0, kF); // inside: x + y < 3
    EXPECT_EQ(Art(screen), "FFF.\nFF..\nF...\n....\n");
    VesmoScreen huge = Blank(4, 4);
    huge.DrawTriangle(-2000000000, -10, 2000000000, -10, 0, 2000000000, 0, kF);
    EXPECT_EQ(Art(huge), "FFFF\nFFFF\nFFFF\nFFFF\n");
}

// --- Circles ---

TEST(VesmoScreenCircle, RingIsTheOutermostBandInsideTheRadius) {
    VesmoScreen screen = Blank(7, 7);
    screen.DrawCircle(3, 3, 3, kS, kF);
    EXPECT_EQ(Art(screen), ".......\n"
                           ".SSSSS.\n"
                           ".SFFFS.\n"
                           ".SFFFS.\n"
                           ".SFFFS.\n"
                           ".SSSSS.\n"
                           ".......\n");
}

TEST(VesmoScreenCircle, RadiusOneIsOnePixelInStrokeElseFill) {
    VesmoScreen stroke = Blank(3, 3);
    stroke.DrawCircle(1, 1, 1, kS, kF);
    EXPECT_EQ(Art(stroke), "...\n.S.\n...\n");
    VesmoScreen fill = Blank(3, 3);
    fill.DrawCircle(1, 1, 1, 0, kF);
    EXPECT_EQ(Art(fill), "...\n.F.\n...\n");
}

TEST(VesmoScreenCircle, ClipsAtTheScreenAndDrawsNothingWithoutColourOrArea) {
    VesmoScreen corner = Blank(3, 3);
    corner.DrawCircle(0, 0, 2, kS, kF);
    EXPECT_EQ(Art(corner), "FS.\nSS.\n...\n");
    VesmoScreen nothing = Blank(3, 3);
    nothing.DrawCircle(1, 1, 2, 0, 0);
    nothing.DrawCircle(1, 1, 0, kS, kF);
    nothing.DrawCircle(1, 1, -2, kS, kF);
    nothing.DrawCircle(-5, 1, 2, kS, kF);
    EXPECT_FALSE(nothing.dirty);
    EXPECT_EQ(Art(nothing), "...\n...\n...\n");
}
