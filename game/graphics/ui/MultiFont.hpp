#pragma once
// game::MultiFont: the ImGui text font with wide glyph coverage. The text font (Noto Sans: Latin, Greek,
// Cyrillic, Vietnamese) is added first, then the emoji font is merged into it, so one ImFont draws both.
//
//     game::MultiFont multiFont;               // the ImGui context exists; the atlas isn't built yet
//     ImGui::GetIO().FontDefault = multiFont.font;   // null when the text font file is missing
//
// Fonts are added at 48 pixels on purpose: panels scale them down. A missing file costs one line on the
// standard error stream, "Font file does not exist: <file>", and nothing else: ImGui's default font stays.
// The object keeps the glyph ranges that the atlas reads when it is built: keep it alive until then.
//
// Dear ImGui 1.86 as Debian builds it has 16-bit ImWchar, so emoji above U+FFFF are left out of the ranges,
// and it has no Greek range of its own: the Greek and Coptic block is added by hand.

#include <imgui.h>

#include <deque>
#include <vector>

namespace game {

class MultiFont {
public:
    MultiFont();

    // Adds `file` to the current atlas at 48 pixels with `config` and `ranges` (pairs, closed by 0).
    // Null, with the message, when the file doesn't exist.
    ImFont* AddFont(const char* file, const unsigned int* ranges);

    ImFont* font = nullptr;
    ImVector<ImWchar> ranges;
    ImFontConfig config;

private:
    std::deque<std::vector<ImWchar>> _convertedRanges; // what the atlas reads, kept alive
};

// Adds a font file to the current atlas; the message above and null when the file doesn't exist.
ImFont* AddFontFile(const char* file, float pixels, const ImFontConfig* config = nullptr,
                    const ImWchar* ranges = nullptr);

} // namespace game
