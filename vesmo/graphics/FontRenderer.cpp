#include "vesmo/graphics/FontRenderer.hpp"

#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>

// The rasteriser is compiled into this file only, with internal linkage, so that it can never clash
// with another copy of the same library linked elsewhere in the process (ImGui brings one).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wsign-compare"
#define STBTT_STATIC
#define STB_TRUETYPE_IMPLEMENTATION
#include <stb/stb_truetype.h>
#pragma GCC diagnostic pop

namespace vesmo::graphics {

struct FontRenderer::Face {
    std::vector<unsigned char> data; // stbtt_fontinfo points into this
    stbtt_fontinfo info{};
    float scale = 0.0f;
};

FontRenderer::FontRenderer(const std::string& fontFile, int pixelHeight, int coverageThreshold)
    : _face(std::make_unique<Face>()), _threshold(coverageThreshold) {
    std::ifstream in(fontFile, std::ios::binary);
    if (!in)
        throw std::runtime_error("Cannot read font file: " + fontFile);
    _face->data.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    // The rasteriser trusts its input beyond the header: fonts come from the system or the game's own files.
    if (_face->data.size() < 12 || stbtt_GetFontOffsetForIndex(_face->data.data(), 0) != 0 ||
        !stbtt_InitFont(&_face->info, _face->data.data(), 0))
        throw std::runtime_error("Not a TrueType font: " + fontFile);

    _face->scale = stbtt_ScaleForPixelHeight(&_face->info, static_cast<float>(pixelHeight));
    int ascent = 0, descent = 0, lineGap = 0;
    stbtt_GetFontVMetrics(&_face->info, &ascent, &descent, &lineGap);
    int advance = 0, bearing = 0;
    // A monospace font has one advance; 'M' stands for all of them.
    stbtt_GetCodepointHMetrics(&_face->info, 'M', &advance, &bearing);
    _charWidth = std::max(1, static_cast<int>(std::lround(advance * _face->scale)));
    _charHeight = pixelHeight;
    _baseline = static_cast<int>(std::lround(ascent * _face->scale));
}

FontRenderer::~FontRenderer() = default;

std::u32string FontRenderer::DecodeUtf8(std::string_view text) {
    std::u32string out;
    out.reserve(text.size());
    const size_t n = text.size();
    size_t i = 0;
    while (i < n) {
        const auto lead = static_cast<unsigned char>(text[i++]);
        if ((lead & 0xC0) == 0x80)
            continue; // a stray continuation byte starts no character
        if (lead < 0x80) {
            out.push_back(lead);
            continue;
        }
        int extra = 0;
        char32_t cp = 0;
        char32_t minimum = 0;
        if ((lead & 0xE0) == 0xC0) {
            extra = 1, cp = lead & 0x1F, minimum = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            extra = 2, cp = lead & 0x0F, minimum = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            extra = 3, cp = lead & 0x07, minimum = 0x10000;
        } else {
            extra = -1; // 0xF8..0xFF never lead
        }
        int taken = 0;
        // Continuation bytes after the lead belong to it, even too many of them: every character
        // begins at a lead byte.
        while (i < n && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) {
            if (taken < extra)
                cp = (cp << 6) | (static_cast<unsigned char>(text[i]) & 0x3F);
            ++taken;
            ++i;
        }
        const bool valid =
            extra > 0 && taken == extra && cp >= minimum && cp <= 0x10FFFF && !(cp >= 0xD800 && cp <= 0xDFFF);
        out.push_back(valid ? cp : U'\uFFFD');
    }
    return out;
}

std::vector<const Glyph*> FontRenderer::operator[](const std::string_view& text) {
    const std::u32string codePoints = DecodeUtf8(text);
    std::vector<const Glyph*> glyphs;
    glyphs.reserve(codePoints.size());
    std::lock_guard lock(_mutex);
    for (char32_t cp : codePoints)
        glyphs.push_back(&GlyphLocked(cp));
    return glyphs;
}

const Glyph& FontRenderer::operator[](char32_t codePoint) {
    std::lock_guard lock(_mutex);
    return GlyphLocked(codePoint);
}

const Glyph& FontRenderer::GlyphLocked(char32_t codePoint) {
    auto found = _glyphs.find(codePoint);
    if (found != _glyphs.end())
        return found->second;
    Glyph& glyph = _glyphs[codePoint];
    if (codePoint < 0x20 || codePoint == 0x7F)
        return glyph;
    int width = 0, height = 0, xoff = 0, yoff = 0;
    unsigned char* bitmap = stbtt_GetCodepointBitmap(&_face->info, _face->scale, _face->scale,
                                                     static_cast<int>(codePoint), &width, &height, &xoff, &yoff);
    if (bitmap && width > 0 && height > 0) {
        glyph.bitmap.assign(bitmap, bitmap + static_cast<size_t>(width) * height);
        for (unsigned char& coverage : glyph.bitmap)
            if (coverage < _threshold)
                coverage = 0;
        glyph.width = width;
        glyph.height = height;
        glyph.left = xoff;
        // yoff is the first row's offset from the baseline (negative above it); see the header for top.
        glyph.top = _charHeight - 1 - _baseline - yoff;
    }
    stbtt_FreeBitmap(bitmap, nullptr);
    return glyph;
}

} // namespace vesmo::graphics
