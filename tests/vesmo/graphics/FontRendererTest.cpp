#include "TestSupport.hpp"

#include "vesmo/graphics/FontRenderer.hpp"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <thread>

using vesmo::graphics::FontRenderer;
using vesmo::graphics::Glyph;

namespace {

FontRenderer& Mono16() {
    static FontRenderer font(FontRenderer::kDejaVuSansMono, 16);
    return font;
}

size_t LeadBytes(std::string_view text) {
    size_t n = 0;
    for (char c : text)
        n += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    return n;
}

} // namespace

TEST(FontRendererUtf8, DecodesOneCodePointPerCharacter) {
    EXPECT_EQ(FontRenderer::DecodeUtf8("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), U"a\u00E9\u20AC\U0001F600");
    EXPECT_EQ(FontRenderer::DecodeUtf8(""), U"");
}

TEST(FontRendererUtf8, MalformedSequencesGiveOneReplacementPerLeadByte) {
    EXPECT_EQ(FontRenderer::DecodeUtf8("\xC3"), U"\uFFFD");             // truncated at the end
    EXPECT_EQ(FontRenderer::DecodeUtf8("\xE2\x82z"), U"\uFFFDz");       // truncated before an ASCII byte
    EXPECT_EQ(FontRenderer::DecodeUtf8("\x80\xBFz"), U"z");             // stray continuation bytes
    EXPECT_EQ(FontRenderer::DecodeUtf8("\xC0\xAF"), U"\uFFFD");         // overlong
    EXPECT_EQ(FontRenderer::DecodeUtf8("\xED\xA0\x80"), U"\uFFFD");     // surrogate
    EXPECT_EQ(FontRenderer::DecodeUtf8("\xF4\x90\x80\x80"), U"\uFFFD"); // beyond U+10FFFF
    EXPECT_EQ(FontRenderer::DecodeUtf8("\xC3\xA9\xA9"), U"\uFFFD");     // too many continuations
    EXPECT_EQ(FontRenderer::DecodeUtf8("\xFF"
                                       "a"),
              U"\uFFFDa"); // never a lead byte
}

TEST(FontRendererUtf8, CharacterCountAlwaysEqualsLeadByteCount) {
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string text(random() % 24, '\0');
        for (char& c : text)
            c = static_cast<char>(random());
        EXPECT_EQ(FontRenderer::DecodeUtf8(text).size(), LeadBytes(text));
        EXPECT_EQ(Mono16()[text].size(), LeadBytes(text));
    }
}

TEST(FontRendererMetrics, DejaVuSansMonoAtSixteenPixels) {
    EXPECT_EQ(Mono16().CharHeight(), 16);
    EXPECT_EQ(Mono16().CharWidth(), 8); // 1233 / 2384 of the line height, rounded
    EXPECT_EQ(Mono16().Baseline(), 13);
    FontRenderer big(FontRenderer::kDejaVuSansMono, 32);
    EXPECT_EQ(big.CharHeight(), 32);
    EXPECT_EQ(big.CharWidth(), 17);
}

TEST(FontRendererGlyphs, CoverageBelowTheThresholdIsCleared) {
    FontRenderer soft(FontRenderer::kDejaVuSansMono, 16, 1);
    FontRenderer crisp(FontRenderer::kDejaVuSansMono, 16, 200);
    const Glyph& a = soft[U'@'];
    const Glyph& b = crisp[U'@'];
    ASSERT_EQ(a.bitmap.size(), b.bitmap.size());
    int softSet = 0, crispSet = 0;
    for (size_t i = 0; i < a.bitmap.size(); ++i) {
        softSet += a.bitmap[i] != 0;
        crispSet += b.bitmap[i] != 0;
        EXPECT_TRUE(b.bitmap[i] == 0 || b.bitmap[i] == a.bitmap[i]);
        EXPECT_TRUE(b.bitmap[i] == 0 || b.bitmap[i] >= 200);
    }
    EXPECT_LT(crispSet, softSet);
}

TEST(FontRendererGlyphs, SpaceAndControlCharactersAreEmptyMissingCodePointsAreNot) {
    FontRenderer& font = Mono16();
    for (char32_t cp : {U' ', U'\n', U'\t', U'\0', char32_t(0x7F)}) {
        EXPECT_EQ(font[cp].width, 0);
        EXPECT_TRUE(font[cp].bitmap.empty());
    }
    EXPECT_GT(font[char32_t(0xE000)].bitmap.size(), 0u); // private use: the missing-glyph box
}

TEST(FontRendererGlyphs, CachedGlyphsKeepTheirAddressAcrossThreads) {
    FontRenderer font(FontRenderer::kDejaVuSansMono, 16);
    const Glyph* first = &font[U'Q'];
    std::vector<std::thread> threads;
    std::vector<std::vector<const Glyph*>> seen(4);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                std::string text;
                for (int c = 0; c < 20; ++c)
                    text += static_cast<char>('!' + (c * 7 + i + t) % 90);
                text += "Q";
                seen[t] = font[text];
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& glyphs : seen)
        EXPECT_EQ(glyphs.back(), first);
    EXPECT_EQ(&font[U'Q'], first);
}

TEST(FontRendererErrors, UnreadableOrForeignFilesAreRefused) {
    testing_support::TempDir dir;
    auto refusal = [&](const std::string& path) {
        return testing_support::ThrownMessage<std::runtime_error>([&] { FontRenderer font(path, 16); });
    };
    EXPECT_EQ(refusal(dir.File("none.ttf")), "Cannot read font file: " + dir.File("none.ttf"));
    for (const std::string& junk : {std::string(), std::string(4096, '\0'), std::string(8, 'x')}) {
        testing_support::WriteText(dir.File("junk.ttf"), junk);
        EXPECT_EQ(refusal(dir.File("junk.ttf")), "Not a TrueType font: " + dir.File("junk.ttf"));
    }
}
