#include "game/visual/VesmoScreen.hpp"

#include "game/Assert.hpp"
#include "vesmo/graphics/FontRenderer.hpp"
#include "vesmo/graphics/ImageFile.hpp"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace {

uint32_t Blend(uint32_t dst, uint32_t src) {
    const uint32_t a = src >> 24;
    if (a == 255)
        return src;
    const uint32_t keep = 255 - a;
    const uint32_t c0 = ((src & 0xFF) * a + (dst & 0xFF) * keep) / 255;
    const uint32_t c1 = (((src >> 8) & 0xFF) * a + ((dst >> 8) & 0xFF) * keep) / 255;
    const uint32_t c2 = (((src >> 16) & 0xFF) * a + ((dst >> 16) & 0xFF) * keep) / 255;
    const uint32_t alpha = std::min<uint32_t>(255, (dst >> 24) + a);
    return c0 | (c1 << 8) | (c2 << 16) | (alpha << 24);
}

// Repeating a blend moves every byte at least one step toward its fixed point or leaves it there, so
// after 255 repetitions nothing changes any more; longer runs are cut to this without changing a pixel.
constexpr int64_t kBlendRepeatLimit = 256;

// How often Draw's clamped loop visits index 0 and where its visible run ends, for one axis: the loop
// covers [start, start + length), negative indices clamp to 0, and it stops at `size`.
struct AxisRun {
    int64_t firstRepeat = 0; // visits of the first visible index (index 0 when start <= 0)
    int64_t begin = 0;       // first visible index
    int64_t end = 0;         // one past the last visible index
};

AxisRun ClampedRun(int64_t start, int64_t length, int64_t size) {
    AxisRun run;
    const int64_t stop = start + length;
    if (size <= 0 || length <= 0 || start >= size)
        return run;
    if (start <= 0) {
        run.begin = 0;
        run.firstRepeat = std::min<int64_t>(stop, 1) - start;
    } else {
        run.begin = start;
        run.firstRepeat = 1;
    }
    run.end = std::clamp<int64_t>(stop, run.begin + 1, size);
    return run;
}

// Truncation toward zero without the undefined behaviour of out-of-range float conversion; values beyond
// int's range land where DrawPoint rejects them.
int TruncateToInt(float value) {
    if (!(value > -2147483648.0f))
        return -1;
    if (!(value < 2147483647.0f))
        return 2147483647;
    return static_cast<int>(value);
}

} // namespace

VesmoScreen::VesmoScreen(int width, int height) : VesmoScreen(width, height, Font().CharWidth(), Font().CharHeight()) {}

VesmoScreen::VesmoScreen(int width, int height, int charWidth, int charHeight)
    : charWidth(charWidth), charHeight(charHeight), width(width), height(height) {
    GAME_ASSERT(width >= 0 && height >= 0);
    pixels.assign(static_cast<size_t>(width) * static_cast<size_t>(height), 0u);
}

vesmo::graphics::FontRenderer& VesmoScreen::Font() {
    static vesmo::graphics::FontRenderer font(vesmo::graphics::FontRenderer::kDejaVuSansMono, kFontPixelHeight);
    return font;
}

void VesmoScreen::Blank(uint32_t color) {
    std::fill(pixels.begin(), pixels.end(), color);
    dirty = true;
}

uint32_t VesmoScreen::GetPixel(int x, int y) const {
    const int64_t index = static_cast<int64_t>(x) + static_cast<int64_t>(y) * width;
    if (index < 0 || index >= static_cast<int64_t>(pixels.size()))
        return 0;
    return pixels[static_cast<size_t>(index)];
}

void VesmoScreen::DrawPoint(int x, int y, uint32_t color) {
    if (color == 0 || x < 0 || y < 0 || x >= width || y >= height)
        return;
    uint32_t& pixel = pixels[static_cast<size_t>(x) + static_cast<size_t>(y) * width];
    pixel = Blend(pixel, color);
    dirty = true;
}

void VesmoScreen::Draw(int x, int y, uint32_t color, int w, int h) {
    dirty = true;
    if (w <= 0 || h <= 0)
        return;
    const AxisRun cols = ClampedRun(x, w, width);
    const AxisRun rows = ClampedRun(y, h, height);
    if (cols.begin >= cols.end || rows.begin >= rows.end)
        return;
    if ((color >> 24) == 255) {
        for (int64_t r = rows.begin; r < rows.end; ++r) {
            uint32_t* row = pixels.data() + r * width;
            std::fill(row + cols.begin, row + cols.end, color);
        }
        return;
    }
    for (int64_t r = rows.begin; r < rows.end; ++r) {
        uint32_t* row = pixels.data() + r * width;
        const int64_t rowRepeat = r == rows.begin ? rows.firstRepeat : 1;
        for (int64_t c = cols.begin; c < cols.end; ++c) {
            const int64_t colRepeat = c == cols.begin ? cols.firstRepeat : 1;
            int64_t times = rowRepeat == 1 && colRepeat == 1 ? 1 : std::min(rowRepeat * colRepeat, kBlendRepeatLimit);
            uint32_t value = row[c];
            while (times-- > 0)
                value = Blend(value, color);
            row[c] = value;
        }
    }
}

void VesmoScreen::DrawLine(int x1, int y1, int x2, int y2, uint32_t color) {
    const float dx = static_cast<float>(x2) - static_cast<float>(x1);
    const float dy = static_cast<float>(y2) - static_cast<float>(y1);
    const float length = std::max(std::fabs(dx), std::fabs(dy));
    if (length * 0.125f > static_cast<float>(width + height))
        return;
    if (length == 0.0f || color == 0)
        return;
    const float stepX = dx / length;
    const float stepY = dy / length;
    float px = static_cast<float>(x1) + 0.5f;
    float py = static_cast<float>(y1) + 0.5f;
    const int points = static_cast<int>(length);
    for (int i = 0; i < points; ++i) {
        DrawPoint(TruncateToInt(px), TruncateToInt(py), color);
        px += stepX;
        py += stepY;
    }
}

void VesmoScreen::DrawRect(int x1, int y1, int x2, int y2, uint32_t stroke, uint32_t fill) {
    if (x1 > x2)
        std::swap(x1, x2);
    if (y1 > y2)
        std::swap(y1, y2);
    if (stroke != 0 && stroke != fill) {
        DrawLine(x1, y1, x2, y1, stroke);
        DrawLine(x1, y2 - 1, x2, y2 - 1, stroke);
        DrawLine(x1, y1, x1, y2, stroke);
        DrawLine(x2 - 1, y1, x2 - 1, y2, stroke);
        ++x1, ++y1, --x2, --y2;
    }
    if (fill != 0)
        Draw(x1, y1, fill, x2 - x1, y2 - y1);
}

namespace {

// The fill of DrawTriangle over the screen-clipped bounding box, with the edge functions stepped
// incrementally. `Wide` must hold products of two coordinate differences.
template <typename Wide>
void FillTriangle(VesmoScreen& screen, int64_t x1, int64_t y1, int64_t x2, int64_t y2, int64_t x3, int64_t y3,
                  uint32_t fill) {
    const int64_t minX = std::max<int64_t>(std::min({x1, x2, x3}), 0);
    const int64_t maxX = std::min<int64_t>(std::max({x1, x2, x3}), screen.width - 1);
    const int64_t minY = std::max<int64_t>(std::min({y1, y2, y3}), 0);
    const int64_t maxY = std::min<int64_t>(std::max({y1, y2, y3}), screen.height - 1);
    if (minX > maxX || minY > maxY)
        return;
    // Edge a->b at p: (bx - ax) * (py - ay) - (by - ay) * (px - ax); all three share the sign of the
    // doubled area for points strictly inside.
    auto edge = [](int64_t ax, int64_t ay, int64_t bx, int64_t by, int64_t px, int64_t py) {
        return static_cast<Wide>(bx - ax) * static_cast<Wide>(py - ay) -
               static_cast<Wide>(by - ay) * static_cast<Wide>(px - ax);
    };
    const Wide area = edge(x1, y1, x2, y2, x3, y3);
    const int orientation = area > 0 ? 1 : area < 0 ? -1 : 0;
    Wide row0 = edge(x1, y1, x2, y2, minX, minY);
    Wide row1 = edge(x2, y2, x3, y3, minX, minY);
    Wide row2 = edge(x3, y3, x1, y1, minX, minY);
    const Wide stepX0 = -(static_cast<Wide>(y2) - y1), stepY0 = static_cast<Wide>(x2) - x1;
    const Wide stepX1 = -(static_cast<Wide>(y3) - y2), stepY1 = static_cast<Wide>(x3) - x2;
    const Wide stepX2 = -(static_cast<Wide>(y1) - y3), stepY2 = static_cast<Wide>(x1) - x3;
    for (int64_t y = minY; y <= maxY; ++y) {
        Wide e0 = row0, e1 = row1, e2 = row2;
        for (int64_t x = minX; x <= maxX; ++x) {
            bool inside;
            if (orientation > 0)
                inside = e0 > 0 && e1 > 0 && e2 > 0;
            else if (orientation < 0)
                inside = e0 < 0 && e1 < 0 && e2 < 0;
            else
                inside = e0 == 0 && e1 == 0 && e2 == 0;
            if (inside) {
                // Same as DrawPoint: the box is already inside the screen and the colour isn't 0.
                screen.DrawPoint(static_cast<int>(x), static_cast<int>(y), fill);
            }
            e0 += stepX0, e1 += stepX1, e2 += stepX2;
        }
        row0 += stepY0, row1 += stepY1, row2 += stepY2;
    }
}

} // namespace

void VesmoScreen::DrawTriangle(int x1, int y1, int x2, int y2, int x3, int y3, uint32_t stroke, uint32_t fill) {
    if (fill != 0) {
        // Differences of coordinates within ±2^30 multiply safely in 64 bits; beyond that, 128.
        constexpr int kSafe = 1 << 30;
        auto small = [](int v) { return v > -kSafe && v < kSafe; };
        if (small(x1) && small(y1) && small(x2) && small(y2) && small(x3) && small(y3)) {
            FillTriangle<int64_t>(*this, x1, y1, x2, y2, x3, y3, fill);
        } else {
            __extension__ typedef __int128 Int128;
            FillTriangle<Int128>(*this, x1, y1, x2, y2, x3, y3, fill);
        }
    }
    if (stroke != 0) {
        DrawLine(x1, y1, x2, y2, stroke);
        DrawLine(x2, y2, x3, y3, stroke);
        DrawLine(x3, y3, x1, y1, stroke);
    }
}

void VesmoScreen::DrawCircle(int x, int y, int radius, uint32_t stroke, uint32_t fill) {
    const int64_t r = radius;
    const int64_t minX = std::max<int64_t>(x - r, 0), maxX = std::min<int64_t>(x + r, int64_t{width} - 1);
    const int64_t minY = std::max<int64_t>(y - r, 0), maxY = std::min<int64_t>(y + r, int64_t{height} - 1);
    if (minX > maxX || minY > maxY)
        return;
    if (stroke == 0 && fill == 0)
        return;
    const int64_t outer = r * r;
    const int64_t inner = (r - 1) * (r - 1);
    for (int64_t py = minY; py <= maxY; ++py) {
        const int64_t dy = py - y;
        uint32_t* row = pixels.data() + py * width;
        for (int64_t px = minX; px <= maxX; ++px) {
            const int64_t dx = px - x;
            const int64_t d = dx * dx + dy * dy;
            if (d >= outer)
                continue;
            const uint32_t color = (d >= inner && stroke != 0) ? stroke : fill;
            if (color == 0)
                continue;
            row[px] = Blend(row[px], color);
            dirty = true;
        }
    }
}

void VesmoScreen::Write(int x, int y, uint32_t color, const std::string_view& text) {
    if (color == 0)
        return;
    std::vector<std::string_view> lines;
    if (text.size() < 2) {
        lines.push_back(text);
    } else {
        size_t start = 0;
        size_t i = 0;
        while (i < text.size()) {
            if (text[i] == '\n') {
                lines.push_back(text.substr(start, i - start));
                start = ++i;
            } else if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == 'n') {
                lines.push_back(text.substr(start, i - start));
                i += 2;
                start = i;
            } else {
                ++i;
            }
        }
        // What follows the last split is a line only if there is something: a final line feed adds none.
        if (start < text.size())
            lines.push_back(text.substr(start));
    }

    const int lineHeight = charHeight * textScale;
    const int count = static_cast<int>(lines.size());
    int lineY = y;
    if (textAlign & 4)
        lineY = y + 1;
    else if (textAlign & 8)
        lineY = height + y - lineHeight * count;
    else if (textAlign & 16)
        lineY = y + std::max(1, height / 2 - (lineHeight * count) / 2);

    const int advance = charWidth * textScale;
    for (const std::string_view& line : lines) {
        const int characters = static_cast<int>(std::count_if(
            line.begin(), line.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
        int lineX = x;
        if (textAlign & 1)
            lineX = x + 1;
        else if (textAlign & 2)
            lineX = x + width + textScale - 1 - characters * advance;
        else if (textAlign & 16)
            lineX = x + std::max(1, width / 2 - (characters * advance) / 2);
        if (!line.empty())
            WriteLine(lineX, lineY, color, line);
        lineY += lineHeight;
    }
}

void VesmoScreen::WriteLine(int x, int y, uint32_t color, const std::string_view& text) {
    const std::vector<const vesmo::graphics::Glyph*> glyphs = Font()[text.substr(0, 1024)];
    const bool opaque = (color >> 24) == 255;
    const int64_t scale = textScale;
    const int64_t baseline = int64_t{y} + (int64_t{charHeight} - 1) * scale;
    int64_t pen = x;
    for (const vesmo::graphics::Glyph* glyph : glyphs) {
        for (int r = 0; r < glyph->height && int64_t{r} + y < height; ++r) {
            const unsigned char* bits = glyph->bitmap.data() + static_cast<size_t>(r) * glyph->width;
            const int64_t top = baseline + (int64_t{r} - glyph->top) * scale;
            for (int c = 0; c < glyph->width && int64_t{c} + pen < width; ++c) {
                if (bits[c] == 0)
                    continue;
                const int64_t left = pen + (int64_t{glyph->left} + c) * scale;
                const int64_t rowBegin = std::max<int64_t>(top, 0), rowEnd = std::min<int64_t>(top + scale, height);
                const int64_t colBegin = std::max<int64_t>(left, 0), colEnd = std::min<int64_t>(left + scale, width);
                for (int64_t py = rowBegin; py < rowEnd; ++py) {
                    uint32_t* row = pixels.data() + py * width;
                    for (int64_t px = colBegin; px < colEnd; ++px)
                        row[px] = opaque ? color : Blend(row[px], color);
                }
            }
        }
        pen += int64_t{charWidth} * scale;
    }
    dirty = true;
}

namespace {

// A zlib stream ended on every way out of its scope: where a failed assertion throws instead of ending the
// process (the fuzzing build), the stream's buffers would otherwise be lost. Ending a stream whose init
// failed is harmless.
template <int (*End)(z_streamp)> struct Stream {
    z_stream strm{};
    Stream() = default;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() { End(&strm); }
};

} // namespace

void VesmoScreen::Serialize(std::vector<unsigned char>& out) {
    const size_t bytes = pixels.size() * sizeof(uint32_t);
    out.resize(bytes + 256);
    Stream<deflateEnd> stream;
    z_stream& strm = stream.strm;
    if (deflateInit(&strm, Z_DEFAULT_COMPRESSION) != Z_OK)
        throw std::runtime_error("ZLIB ERROR");
    strm.next_in = reinterpret_cast<Bytef*>(pixels.data());
    strm.avail_in = static_cast<uInt>(bytes);
    strm.next_out = out.data();
    strm.avail_out = static_cast<uInt>(out.size());
    const int ret = deflate(&strm, Z_FINISH);
    GAME_ASSERT(ret == Z_STREAM_END);
    out.resize(out.size() - strm.avail_out);
}

void VesmoScreen::Deserialize(const std::vector<unsigned char>& in) {
    Deserialize(in, reinterpret_cast<uint8_t*>(pixels.data()), pixels.size() * sizeof(uint32_t));
}

void VesmoScreen::Deserialize(const std::vector<unsigned char>& in, uint8_t* buffer, size_t size) {
    Stream<inflateEnd> stream;
    z_stream& strm = stream.strm;
    if (inflateInit(&strm) != Z_OK)
        throw std::runtime_error("ZLIB ERROR");
    // zlib never writes to its input; the cast only meets its C interface.
    strm.next_in = const_cast<Bytef*>(in.data());
    strm.avail_in = static_cast<uInt>(in.size());
    strm.next_out = buffer;
    strm.avail_out = static_cast<uInt>(size);
    const int ret = inflate(&strm, Z_SYNC_FLUSH);
    GAME_ASSERT(ret != Z_STREAM_ERROR);
    GAME_ASSERT(strm.avail_in == 0);
    GAME_ASSERT(strm.avail_out == 0);
}

bool VesmoScreen::SavePng(const std::string& path) const {
    return vesmo::graphics::WritePng(path, width, height, pixels.data());
}
