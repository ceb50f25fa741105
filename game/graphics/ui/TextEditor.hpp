#pragma once
// A small read-only ImGui text view for program text: coloured by a 22-entry palette, with line
// numbers, mouse selection and copy (Ctrl+C, Ctrl+A selects all).
//
// Colouring is per line and needs no parser: a line starting with '#' is a preprocessor line, "//" starts
// a comment, double quotes delimit strings, digits start numbers, words of the keyword list are
// keywords, and words that start with '$' or '@' are the language's variable and function names.
//
// Palette entries are 32-bit colours with red in the highest byte (0xRRGGBBAA), in PaletteIndex order.
// Keys are read from ImGuiIO::KeysDown[] with GLFW key codes (ImGui 1.86 predates named keys).

#include <imgui.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace game::graphics::ui {

class TextEditor {
public:
    enum class PaletteIndex {
        Default,
        Keyword,
        Number,
        String,
        CharLiteral,
        Punctuation,
        Preprocessor,
        Identifier,      // '$' names
        KnownIdentifier, // '@' names and built-in functions
        PreprocIdentifier,
        Comment,
        MultiLineComment,
        Background,
        Cursor,
        Selection,
        ErrorMarker,
        Whitespace, // visible blanks; this view doesn't draw them
        Breakpoint,
        LineNumber,
        CurrentLineFill,
        CurrentLineFillInactive,
        CurrentLineEdge,
        Max
    };
    static constexpr size_t PALETTE_SIZE = static_cast<size_t>(PaletteIndex::Max);
    using Palette = std::array<uint32_t, PALETTE_SIZE>;

    // A position in the text: line and byte column.
    struct Coordinates {
        int line = 0;
        int column = 0;
        auto operator<=>(const Coordinates&) const = default;
    };

    TextEditor();

    void SetText(const std::string& text);
    void SetText(std::string&& text);
    // The text as set.
    const std::string& GetText() const { return _text; }
    int GetLineCount() const { return static_cast<int>(_lines.size()); }
    // One line without its line feed; valid until the text changes.
    std::string_view GetLine(int line) const {
        const Extent& extent = _lines[static_cast<size_t>(line)];
        return std::string_view(_text).substr(extent.begin, extent.length);
    }

    void SetPalette(const Palette& palette) { _palette = palette; }
    const Palette& GetPalette() const { return _palette; }
    static const Palette& GetDefaultPalette();

    // Draws the view as a child window of `size` and handles selection and copy.
    void Render(const char* title, ImVec2 size = ImVec2(0.0f, 0.0f));

    void SetSelection(Coordinates start, Coordinates end);
    void SelectAll();
    bool HasSelection() const { return _selectionStart != _selectionEnd; }
    std::string GetSelectedText() const;
    // Puts the selection, or the whole text when nothing is selected, on the clipboard.
    void Copy() const;

    // One coloured run of a line: [begin, end) bytes in `colour`.
    struct Span {
        int begin;
        int end;
        PaletteIndex colour;
    };
    // The colouring of one line, spans in order and covering it.
    static std::vector<Span> Colorize(std::string_view line);

private:
    ImU32 Colour(PaletteIndex index) const;
    Coordinates ScreenToText(ImVec2 point, ImVec2 origin, float lineHeight, float gutter) const;

    struct Extent {
        size_t begin;
        size_t length;
    };
    void SplitLines();

    std::string _text;
    std::vector<Extent> _lines;            // one per line, into _text: a set text is split without copies
    std::vector<std::vector<Span>> _spans; // per line, computed when the line is first drawn
    std::vector<bool> _coloured;
    Palette _palette;
    Coordinates _selectionStart;
    Coordinates _selectionEnd;
    Coordinates _anchor;
    bool _selecting = false;
    bool _copyArmed = true;
};

} // namespace game::graphics::ui
