#include "game/graphics/ui/MultiFont.hpp"

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace game {

namespace {

constexpr const char* TextFontFile = "game/graphics/ui/fonts/NotoSans-Regular.ttf";
constexpr const char* EmojiFontFile = "game/graphics/ui/fonts/NotoEmoji-Regular.ttf";

// Greek and Coptic (ImGui 1.86 has no GetGlyphRangesGreek).
constexpr ImWchar GreekRanges[] = {0x0370, 0x03FF, 0};

} // namespace

ImFont* AddFontFile(const char* file, float pixels, const ImFontConfig* config, const ImWchar* ranges) {
    if (!std::filesystem::exists(file)) {
        std::cerr << "Font file does not exist: " << file << std::endl;
        return nullptr;
    }
    return ImGui::GetIO().Fonts->AddFontFromFileTTF(file, pixels, config, ranges);
}

MultiFont::MultiFont() {
    static const unsigned int emoji_ranges[] = {
        0x9,     0xA,     0xD,     0xD,     0x20,    0x20,    0x23,    0x23,    0x2A,    0x2A,    0x30,
        0x39,    0xA9,    0xA9,    0xAE,    0xAE,    0x203C,  0x203C,  0x2049,  0x2049,  0x2122,  0x2122,
        0x2139,  0x2139,  0x2194,  0x2199,  0x21A9,  0x21AA,  0x231A,  0x231B,  0x2328,  0x2328,  0x23CF,
        0x23CF,  0x23E9,  0x23F3,  0x23F8,  0x23FA,  0x24C2,  0x24C2,  0x25AA,  0x25AB,  0x25B6,  0x25B6,
        0x25C0,  0x25C0,  0x25FB,  0x25FE,  0x2600,  0x27BF,  0x2934,  0x2935,  0x2B05,  0x2B07,  0x2B1B,
        0x2B1C,  0x2B50,  0x2B50,  0x2B55,  0x2B55,  0x3030,  0x3030,  0x303D,  0x303D,  0x3297,  0x3297,
        0x3299,  0x3299,  0x1F000, 0x1F02F, 0x1F0A0, 0x1F0FF, 0x1F100, 0x1F1FF, 0x1F200, 0x1F2FF, 0x1F300,
        0x1F5FF, 0x1F600, 0x1F64F, 0x1F680, 0x1F6FF, 0x1F900, 0x1F9FF, 0x1FA70, 0x1FAFF, 0};

    ImFontGlyphRangesBuilder builder;
    ImFontAtlas* atlas = ImGui::GetIO().Fonts;
    builder.AddRanges(atlas->GetGlyphRangesDefault());
    builder.AddRanges(GreekRanges);
    builder.AddRanges(atlas->GetGlyphRangesCyrillic());
    builder.AddRanges(atlas->GetGlyphRangesVietnamese());
    builder.BuildRanges(&ranges);

    font = AddFontFile(TextFontFile, 48.0f, &config, ranges.Data);
    config.MergeMode = true;
    AddFont(EmojiFontFile, emoji_ranges);
}

ImFont* MultiFont::AddFont(const char* file, const unsigned int* ranges_) {
    std::vector<ImWchar>& converted = _convertedRanges.emplace_back();
    for (const unsigned int* pair = ranges_; pair != nullptr && pair[0] != 0; pair += 2) {
        if (pair[0] > 0xFFFF) // beyond a 16-bit ImWchar
            continue;
        converted.push_back(static_cast<ImWchar>(pair[0]));
        converted.push_back(static_cast<ImWchar>(std::min(pair[1], 0xFFFFu)));
    }
    converted.push_back(0);
    return AddFontFile(file, 48.0f, &config, converted.data());
}

} // namespace game
