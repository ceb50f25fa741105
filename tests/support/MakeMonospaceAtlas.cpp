// Test tool: rasterises a monospace TrueType font into an atlas of the layout that the UI text shader
// samples at texture index 0, for device tests of renderers that don't put the game's own atlas there.
//
//     MakeMonospaceAtlas <font.ttf> <atlas.png>
//
// The atlas is 512 x 512 RGBA: 16 x 8 cells of 32 x 64 pixels, cell n (row n / 16, column n % 16) holding
// the character n for the printable ASCII range, each glyph centred in its cell on a common baseline. Every channel holds the glyph's coverage: the shader reads alpha, and a viewer shows
// white glyphs on black.

#include <stb/stb_image_write.h>
#include <stb/stb_truetype.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: MakeMonospaceAtlas <font.ttf> <atlas.png>\n");
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    stbtt_fontinfo font;
    if (bytes.empty() || !stbtt_InitFont(&font, bytes.data(), stbtt_GetFontOffsetForIndex(bytes.data(), 0))) {
        std::fprintf(stderr, "MakeMonospaceAtlas: cannot read the font %s\n", argv[1]);
        return 1;
    }
    constexpr int CellWidth = 32, CellHeight = 64, Width = CellWidth * 16, Height = CellHeight * 8;
    const float scale = stbtt_ScaleForPixelHeight(&font, 52.0f);
    int ascent = 0, descent = 0, lineGap = 0;
    stbtt_GetFontVMetrics(&font, &ascent, &descent, &lineGap);
    const int baseline = static_cast<int>((CellHeight - (ascent - descent) * scale) * 0.5f + ascent * scale);

    std::vector<unsigned char> rgba(static_cast<size_t>(Width) * Height * 4, 0);
    std::vector<unsigned char> glyph(static_cast<size_t>(CellWidth) * CellHeight);
    for (int c = 33; c < 127; ++c) {
        int advance = 0, bearing = 0, x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        stbtt_GetCodepointHMetrics(&font, c, &advance, &bearing);
        stbtt_GetCodepointBitmapBox(&font, c, scale, scale, &x0, &y0, &x1, &y1);
        const int penX = static_cast<int>((CellWidth - advance * scale) * 0.5f);
        std::fill(glyph.begin(), glyph.end(), 0);
        const int w = std::min(x1 - x0, CellWidth), h = std::min(y1 - y0, CellHeight);
        stbtt_MakeCodepointBitmap(&font, glyph.data(), w, h, CellWidth, scale, scale, c);
        const int cellX = (c % 16) * CellWidth, cellY = (c / 16) * CellHeight;
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                const int px = penX + x0 + x, py = baseline + y0 + y;
                if (px < 0 || px >= CellWidth || py < 0 || py >= CellHeight)
                    continue;
                unsigned char* out = &rgba[(static_cast<size_t>(cellY + py) * Width + cellX + px) * 4];
                out[0] = out[1] = out[2] = out[3] = glyph[static_cast<size_t>(y) * CellWidth + x];
            }
        }
    }
    if (!stbi_write_png(argv[2], Width, Height, 4, rgba.data(), Width * 4)) {
        std::fprintf(stderr, "MakeMonospaceAtlas: cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}
