#pragma once
// FontRenderer: glyph bitmaps of a monospace TrueType font, one per code point, rasterised on first use
// and kept for the renderer's lifetime.
//
// Cell geometry. Every character occupies a cell of CharWidth() by CharHeight() pixels; the font's
// baseline lies Baseline() rows below the cell's top. A glyph's offsets are measured against the cell's
// bottom-left corner, the reference that text drawing uses:
//   left  columns from the pen position to the bitmap's first column (may be negative);
//   top   rows from the bitmap's first row down to the cell's bottom row, so bitmap row r lies on cell
//         row (CharHeight() - 1) + (r - top). Descenders therefore stay inside the cell and lines of
//         text never overlap.
//
// Bitmaps hold the rasterised coverage (0..255), row-major, width * height bytes. Coverage below the
// threshold given at construction is cleared to 0, so that "byte != 0" reads as a crisp pixel mask
// while the kept bytes still carry coverage for anti-aliased use. The default, a quarter, keeps the
// thin strokes of an unhinted 16-pixel font that a half would drop (the underscore covers 75 of 255).
//
// Text is UTF-8. Every byte that isn't a continuation byte (top bits 10) starts exactly one character,
// which is what callers that count characters by lead bytes rely on: a malformed or truncated sequence
// gives U+FFFD, and stray continuation bytes belong to no character. Control characters (below U+0020,
// and U+007F) and the space have empty glyphs; a code point the font lacks gets the font's missing-glyph
// box.
//
// Thread safety: operator[] may be called from any thread; the cache is guarded by a mutex and glyphs
// are never moved or freed before the renderer, so the returned pointers stay valid.

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vesmo::graphics {

struct Glyph {
    std::vector<unsigned char> bitmap; // row-major coverage, width * height bytes
    int width = 0;
    int height = 0;
    int top = 0;  // rows from the first bitmap row down to the cell's bottom row
    int left = 0; // columns from the pen to the first bitmap column
};

class FontRenderer {
public:
    // Debian's DejaVu Sans Mono (package fonts-dejavu-core).
    static constexpr const char* kDejaVuSansMono = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";

    // Loads the font file; the font is scaled so that its ascent plus descent is `pixelHeight` rows.
    // Throws std::runtime_error "Cannot read font file: <path>" or "Not a TrueType font: <path>".
    FontRenderer(const std::string& fontFile, int pixelHeight, int coverageThreshold = 64);
    ~FontRenderer();
    FontRenderer(const FontRenderer&) = delete;
    FontRenderer& operator=(const FontRenderer&) = delete;

    // One glyph per character of `text` (see above), in order.
    std::vector<const Glyph*> operator[](const std::string_view& text);
    // The glyph of one code point.
    const Glyph& operator[](char32_t codePoint);

    int CharWidth() const { return _charWidth; }
    int CharHeight() const { return _charHeight; }
    int Baseline() const { return _baseline; }

    // The code points of a UTF-8 text, one per lead byte, as described above.
    static std::u32string DecodeUtf8(std::string_view text);

private:
    const Glyph& GlyphLocked(char32_t codePoint);

    struct Face;
    std::unique_ptr<Face> _face;
    int _charWidth = 0;
    int _charHeight = 0;
    int _baseline = 0;
    int _threshold = 0;
    std::mutex _mutex;
    std::unordered_map<char32_t, Glyph> _glyphs;
};

} // namespace vesmo::graphics
