// The program text view: text in and out, colouring, and selection and copy made with mouse and keys.
#include "game/graphics/ui/TextEditor.hpp"

#include "support/ImGuiHarness.hpp"

#include <gtest/gtest.h>

namespace {

using game::graphics::ui::TextEditor;
using Colour = TextEditor::PaletteIndex;

TEST(TextEditor, TextComesBackAsSet) {
    TextEditor view;
    for (const std::string text : {"", "one line", "a\nb\n", "\n\n", "#NODES {}\n\nupdate\n\tprint(1)\n"}) {
        view.SetText(text);
        EXPECT_EQ(view.GetText(), text);
    }
    view.SetText("a\nb\n");
    EXPECT_EQ(view.GetLineCount(), 3);
    EXPECT_EQ(view.GetLine(1), "b");
}

// The text of every span of one colour, in order.
std::vector<std::string> Runs(const std::string& line, Colour colour) {
    std::vector<std::string> runs;
    for (const auto& span : TextEditor::Colorize(line))
        if (span.colour == colour)
            runs.push_back(line.substr(static_cast<size_t>(span.begin), static_cast<size_t>(span.end - span.begin)));
    return runs;
}

TEST(TextEditor, ColouringOfAProgramLine) {
    const std::string line = "\tvar $_p_x = input_number(0, 2.5) + @_p_pid1(\"a b\") // note";
    using V = std::vector<std::string>;
    EXPECT_EQ(Runs(line, Colour::Keyword), V{"var"});
    EXPECT_EQ(Runs(line, Colour::Identifier), V{"$_p_x"});
    EXPECT_EQ(Runs(line, Colour::KnownIdentifier), (V{"input_number", "@_p_pid1"}));
    EXPECT_EQ(Runs(line, Colour::Number), (V{"0", "2.5"}));
    EXPECT_EQ(Runs(line, Colour::String), V{"\"a b\""});
    EXPECT_EQ(Runs(line, Colour::Comment), V{"// note"});
    EXPECT_EQ(Runs("#NODES {\"nodes\":[]}", Colour::Preprocessor), V{"#NODES {\"nodes\":[]}"});

    // The spans cover the line without gaps.
    int end = 0;
    for (const auto& span : TextEditor::Colorize(line)) {
        EXPECT_EQ(span.begin, end);
        end = span.end;
    }
    EXPECT_EQ(end, static_cast<int>(line.size()));
}

TEST(TextEditor, MouseSelectionAndCopy) {
    test::ImGuiHarness ui;
    TextEditor view;
    view.SetText("abc\nhello world\nxyz");
    ui.SetBody([&] { view.Render("program", ImVec2(600.0f, 400.0f)); });
    ui.Step();

    float advance = 0.0f; // of one glyph
    float digit = 0.0f;   // of a digit as ImGui lays out text, rounded up to whole pixels
    float lineHeight = 0.0f;
    ui.Frame([&] {
        advance = ImGui::GetFont()->CalcTextSizeA(ImGui::GetFontSize(), FLT_MAX, 0.0f, "0").x;
        digit = ImGui::CalcTextSize("0").x;
        lineHeight = ImGui::GetTextLineHeightWithSpacing();
    });
    // The view starts at the window's padding; its gutter holds the line numbers and two spaces.
    const ImVec2 origin(ui.windowPos.x + ImGui::GetStyle().WindowPadding.x,
                        ui.windowPos.y + ImGui::GetStyle().WindowPadding.y);
    const float gutter = digit * 3.0f;
    auto at = [&](int line, int column) {
        return ImVec2(origin.x + gutter + advance * static_cast<float>(column) + 0.2f * advance,
                      origin.y + lineHeight * (static_cast<float>(line) + 0.5f));
    };

    ui.Drag(at(1, 0), at(1, 5));
    EXPECT_TRUE(view.HasSelection());
    EXPECT_EQ(view.GetSelectedText(), "hello");
    ui.Shortcut(test::key::C);
    EXPECT_STREQ(ImGui::GetClipboardText(), "hello");

    ui.Drag(at(2, 2), at(0, 1));
    EXPECT_EQ(view.GetSelectedText(), "bc\nhello world\nxy");

    ui.Key(test::key::LeftControl, true);
    ui.Key(test::key::A, true);
    ui.Step();
    ui.Key(test::key::A, false);
    ui.Key(test::key::LeftControl, false);
    ui.Shortcut(test::key::C);
    EXPECT_STREQ(ImGui::GetClipboardText(), "abc\nhello world\nxyz");
}

} // namespace
