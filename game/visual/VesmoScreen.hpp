#pragma once
// VesmoScreen: a small software framebuffer of 32-bit pixels that in-game programs draw on, with text and
// a compressed form for sending the picture around. No GPU work; modules upload `pixels`.
//
// Colours. 32 bits, alpha in the top byte; the three lower bytes are treated alike (by convention red in
// the lowest byte, so the bytes in memory are R, G, B, A as an R8G8B8A8 texture expects). Blending with
// source alpha a: a == 255 overwrites; otherwise each lower byte becomes (src * a + dst * (255 - a)) / 255
// and the alpha byte becomes min(255, dst alpha + a). Colour 0 means "nothing" to DrawPoint, DrawRect,
// DrawTriangle, DrawCircle and Write.
//
// Clipping is deliberately uneven and programs depend on it:
//  - DrawPoint drops points outside the screen.
//  - Draw clamps negative rows and columns to 0 per pixel, so the part of a rectangle above or left of the
//    screen is painted again and again onto row or column 0 and a translucent colour builds up there.
//  - DrawLine gives up on lines longer than 8 * (width + height) and truncates its points toward zero,
//    so a point at -0.5 lands on column 0.
//  - WriteLine stops a bitmap row once its row index plus y reaches `height`, and a column once its
//    column index plus the pen reaches `width`, before scaling and offsets are applied.
//
// Text uses one font shared by all screens (Font(), created on first use). Write splits at real line
// feeds and at the two characters '\' 'n', then aligns by `textAlign`: 1 left, 2 right, 4 top, 8 bottom,
// 16 centre on each axis where no other bit decides (left wins over right, top over bottom).
//
// Compressed form: one zlib stream of the raw bytes of `pixels` (four per pixel, memory order), nothing
// else; the size travels separately. A stream must inflate to exactly the target's size: anything else
// is a programmer error and ends the process. Damage is caught only where it leaves input unread or
// the target short (or zlib reports its state broken): a stream whose only fault is its trailing
// checksum fills the target and is accepted. zlib never writes past the target. Serialize keeps 256 bytes of margin
// over the raw size, which covers any picture a program draws; incompressible noise of more than about 800 KB would not
// fit and trips the assertion.
//
// Not locked: a screen belongs to one thread at a time.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vesmo::graphics {
class FontRenderer;
}

class VesmoScreen {
public:
    // Line height in pixels of the shared font.
    static constexpr int kFontPixelHeight = 16;

    // A screen of `width` by `height` pixels, all 0, whose character metrics are those of Font(). Loading
    // the font on first use throws std::runtime_error if its file is missing (Debian: fonts-dejavu-core).
    VesmoScreen(int width, int height);
    // A screen with explicit character metrics, for callers that bring their own idea of the font cell.
    VesmoScreen(int width, int height, int charWidth, int charHeight);

    int32_t charWidth = 0;  // horizontal advance of a character, before textScale
    int32_t charHeight = 0; // height of a text line, before textScale
    int32_t width = 0;
    int32_t height = 0;
    int32_t textScale = 1;        // each font pixel is a square of this many screen pixels
    int32_t textAlign = 0;        // bit set, see above
    std::vector<uint32_t> pixels; // row-major, index x + y * width
    bool dirty = false;           // set by drawing; the owner clears it after uploading

    // Every pixel becomes `color`, no blending.
    void Blank(uint32_t color);
    // The pixel at index x + y * width, or 0 outside `pixels`. x isn't checked against the row: x == width
    // reads the first pixel of the next row.
    uint32_t GetPixel(int x, int y) const;

    void DrawPoint(int x, int y, uint32_t color);
    // Filled rectangle of w by h pixels at (x, y), blended; see the clipping notes above.
    void Draw(int x, int y, uint32_t color, int w, int h);
    // From (x1, y1) toward (x2, y2); the end point itself is not drawn.
    void DrawLine(int x1, int y1, int x2, int y2, uint32_t color);
    // The rectangle covering columns x1..x2-1 and rows y1..y2-1 (corners in any order). With a stroke that
    // differs from the fill, the outline takes the outermost pixels and the fill the inside.
    void DrawRect(int x1, int y1, int x2, int y2, uint32_t stroke, uint32_t fill);
    // Fill takes the pixels strictly inside the triangle (never those exactly on an edge); the stroke
    // is three lines drawn after the fill.
    void DrawTriangle(int x1, int y1, int x2, int y2, int x3, int y3, uint32_t stroke, uint32_t fill);
    // Pixels with squared distance d < radius²; those with d >= (radius - 1)² form the ring.
    void DrawCircle(int x, int y, int radius, uint32_t stroke, uint32_t fill);
    // A block of text, split into lines and aligned by textAlign.
    void Write(int x, int y, uint32_t color, const std::string_view& text);
    // One line at (x, y), no splitting, no alignment; only the first 1024 bytes count.
    void WriteLine(int x, int y, uint32_t color, const std::string_view& text);

    // Compresses `pixels` into `out`. Throws std::runtime_error "ZLIB ERROR" if zlib can't start.
    void Serialize(std::vector<unsigned char>& out);
    // Decompresses into `pixels`, whose size must match the stream exactly.
    void Deserialize(const std::vector<unsigned char>& in);
    // Decompresses into `size` bytes at `buffer`, which must match the stream exactly.
    static void Deserialize(const std::vector<unsigned char>& in, uint8_t* buffer, size_t size);

    // Writes the picture as a PNG file (see vesmo/graphics/ImageFile.hpp); false if it can't be written.
    bool SavePng(const std::string& path) const;

    // The font shared by every screen: DejaVu Sans Mono at kFontPixelHeight.
    static vesmo::graphics::FontRenderer& Font();
};
