// Writes the monospace font atlas that the renderer puts at index 0 of the texture table
// ("game/graphics/ui/textures/monospace_font_atlas.png"), from Debian's DejaVu Sans Mono.
//
// Layout: 16 columns by 8 rows of cells of 32 x 64 pixels (512 x 512 in all); character code c (0 to 127)
// is the cell in column c % 16 and row c / 16, from the top left. Each glyph sits in its cell on a common
// baseline, centred across. Pixels are white; alpha is the glyph's coverage. Control characters and the
// space are empty cells.
//
// Usage: orkalin-fontatlas <output.png>

#include "vesmo/graphics/FontRenderer.hpp"
#include "vesmo/graphics/Texture.hpp"

#include <cstdio>
#include <exception>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: orkalin-fontatlas <output.png>\n");
        return 2;
    }
    constexpr int kColumns = 16, kRows = 8, kCellWidth = 32, kCellHeight = 64;
    constexpr int kWidth = kColumns * kCellWidth, kHeight = kRows * kCellHeight;
    try {
        // No coverage threshold: the atlas is sampled with linear filtering and wants the soft edges.
        vesmo::graphics::FontRenderer font(vesmo::graphics::FontRenderer::kDejaVuSansMono, 56, 0);
        std::vector<unsigned char> pixels(static_cast<size_t>(kWidth) * kHeight * 4, 0);
        for (size_t i = 0; i < pixels.size(); i += 4)
            pixels[i] = pixels[i + 1] = pixels[i + 2] = 255;
        const int offsetX = (kCellWidth - font.CharWidth()) / 2;
        const int offsetY = (kCellHeight - font.CharHeight()) / 2;
        for (char32_t c = 33; c < 127; ++c) {
            const vesmo::graphics::Glyph& glyph = font[c];
            const int cellX = static_cast<int>(c % kColumns) * kCellWidth;
            const int cellY = static_cast<int>(c / kColumns) * kCellHeight;
            // The font cell's bottom row inside the atlas cell; bitmap row r lies top rows above it, less r.
            const int bottom = cellY + offsetY + font.CharHeight() - 1;
            for (int r = 0; r < glyph.height; ++r) {
                for (int col = 0; col < glyph.width; ++col) {
                    const int x = cellX + offsetX + glyph.left + col;
                    const int y = bottom + (r - glyph.top);
                    if (x < cellX || x >= cellX + kCellWidth || y < cellY || y >= cellY + kCellHeight)
                        continue;
                    pixels[(static_cast<size_t>(y) * kWidth + x) * 4 + 3] =
                        glyph.bitmap[static_cast<size_t>(r) * glyph.width + col];
                }
            }
        }
        vesmo::graphics::Texture::SaveFile(argv[1], kWidth, kHeight, 4, false, pixels.data());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
