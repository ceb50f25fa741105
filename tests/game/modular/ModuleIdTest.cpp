#include "vesmo/modular/ModuleID.hpp"

#include <gtest/gtest.h>

using vesmo::modular::ModuleID;

namespace {
// Index in the 37-symbol alphabets: blank 0, digits 1..10, letters 11..36.
constexpr uint64_t Index(char c) {
    return c == ' ' ? 0 : (c >= '0' && c <= '9') ? uint64_t(c - '0' + 1) : uint64_t((c | 0x20) - 'a' + 11);
}
} // namespace

TEST(ModuleId, PacksFirstCharacterIntoLowestDigit) {
    ModuleID id("ABC_def");
    EXPECT_EQ(id.vendor, Index('A') + 37 * Index('B') + 37 * 37 * Index('C'));
    EXPECT_EQ(id.name, Index('d') + 37 * Index('e') + 37 * 37 * Index('f'));
    EXPECT_EQ(id.String(), "ABC_def");
}

TEST(ModuleId, RoundTripsAndFoldsCase) {
    for (const char* text : {"ACME_rocket", "A_b", "Z9_y0", "ABCDEFGHIJKL_abcdefghijkl", "A B_c d", " X_y"}) {
        ModuleID id(text);
        std::string expected = text;
        const size_t split = expected.find('_');
        for (size_t i = 0; i < expected.size(); ++i)
            expected[i] = static_cast<char>(i < split ? std::toupper(expected[i]) : std::tolower(expected[i]));
        EXPECT_EQ(id.String(), expected) << text;
        EXPECT_EQ(ModuleID(id.String()), id) << text;
    }
    EXPECT_EQ(ModuleID("abc_DEF"), ModuleID("ABC_def"));
    EXPECT_EQ(ModuleID("abc_DEF").String(), "ABC_def");
    // Trailing blanks are high zero digits: they vanish from the text.
    EXPECT_EQ(ModuleID("AB _cd  ").String(), "AB_cd");
    // The text splits at the first '_': the rest, '_' included, is the name, and '_' isn't in the alphabet.
    ModuleID twoSplits("AB_c_d");
    EXPECT_NE(twoSplits.vendor, 0u);
    EXPECT_EQ(std::tuple(twoSplits.name, twoSplits.String()), std::tuple(0u, ""));
}

TEST(ModuleId, RefusedTextsWriteNothing) {
    for (const char* text :
         {"", "nounderscore", "1BC_def", "ABC_1ef", "_def", "ABC_", "ABCDEFGHIJKLM_a", "A_abcdefghijklm"}) {
        ModuleID id(7, 9);
        EXPECT_FALSE(id.Assign(text)) << text;
        EXPECT_EQ(std::tuple(id.vendor, id.name), std::tuple(7u, 9u)) << text;
        EXPECT_TRUE(ModuleID(text).IsNull()) << text;
    }
}

TEST(ModuleId, BadCharacterZeroesItsWordOnly) {
    ModuleID id("AB-C_def");
    EXPECT_EQ(std::tuple(id.vendor, id.name, id.String()), std::tuple(0u, ModuleID("X_def").name, ""));
}
