#include "game/graphics/ui/TextEditor.hpp"

#include "game/graphics/ui/UiHost.hpp"
#include "vesmo/input/CodeNames.hpp"

#include <algorithm>
#include <cctype>
#include <unordered_set>

namespace game::graphics::ui {

namespace {

// The window reports GLFW's key codes into ImGuiIO::KeysDown[] (ImGui 1.86 has no named keys).
using vesmo::input::KEY_A;
using vesmo::input::KEY_C;
using vesmo::input::KEY_LEFT_CONTROL;
using vesmo::input::KEY_RIGHT_CONTROL;

bool IsWordStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_'; }
bool IsWordChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

const std::unordered_set<std::string>& Keywords() {
    static const std::unordered_set<std::string> keywords = {
        "var", "const",  "if",   "elseif", "else", "function", "return",   "update",  "include", "and",  "or",    "xor",
        "not", "number", "text", "while",  "for",  "break",    "continue", "foreach", "init",    "tick", "repeat"};
    return keywords;
}

const std::unordered_set<std::string>& Builtins() {
    static const std::unordered_set<std::string> builtins = {
        "input_number", "input_text", "output_number", "output_text", "text",  "print", "time", "delta_time", "lerp",
        "smoothstep",   "step",       "clamp",         "abs",         "sign",  "sin",   "cos",  "tan",        "asin",
        "acos",         "atan",       "floor",         "ceil",        "round", "fract", "sqrt", "pow",        "log"};
    return builtins;
}

} // namespace

TextEditor::TextEditor() : _palette(GetDefaultPalette()) { SetText(""); }

const TextEditor::Palette& TextEditor::GetDefaultPalette() {
    static const Palette palette = {0xFFFFFFFF, 0x569CD6FF, 0xB5CEA8FF, 0xCE9178FF, 0xCE9178FF, 0xD4D4D4FF,
                                    0xC586C0FF, 0x9CDCFEFF, 0x4EC9B0FF, 0xC586C0FF, 0x6A9955FF, 0x6A9955FF,
                                    0x1E1E1EFF, 0xE0E0E0FF, 0x264F78A0, 0xFF2000A0, 0x40404040, 0x50505050,
                                    0x858585FF, 0x40404040, 0x40404020, 0x606060A0};
    return palette;
}

void TextEditor::SetText(const std::string& text) {
    _text = text;
    SplitLines();
}

void TextEditor::SetText(std::string&& text) {
    _text = std::move(text);
    SplitLines();
}

void TextEditor::SplitLines() {
    _lines.clear();
    size_t start = 0;
    while (true) {
        const size_t end = _text.find('\n', start);
        _lines.push_back({start, (end == std::string::npos ? _text.size() : end) - start});
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    // Lines are coloured when first drawn: a generated program is set far more often than it is read.
    _spans.assign(_lines.size(), {});
    _coloured.assign(_lines.size(), false);
    _selectionStart = _selectionEnd = _anchor = Coordinates{};
}

std::vector<TextEditor::Span> TextEditor::Colorize(std::string_view line) {
    std::vector<Span> spans;
    const int n = static_cast<int>(line.size());
    auto add = [&](int begin, int end, PaletteIndex colour) {
        if (!spans.empty() && spans.back().colour == colour && spans.back().end == begin)
            spans.back().end = end;
        else
            spans.push_back({begin, end, colour});
    };
    if (n > 0 && line[0] == '#') {
        add(0, n, PaletteIndex::Preprocessor);
        return spans;
    }
    int i = 0;
    while (i < n) {
        const char c = line[static_cast<size_t>(i)];
        int j = i + 1;
        if (c == '/' && i + 1 < n && line[static_cast<size_t>(i + 1)] == '/') {
            add(i, n, PaletteIndex::Comment);
            break;
        }
        if (c == '"') {
            while (j < n && line[static_cast<size_t>(j)] != '"')
                ++j;
            j = std::min(j + 1, n);
            add(i, j, PaletteIndex::String);
        } else if (std::isdigit(static_cast<unsigned char>(c)) ||
                   (c == '.' && j < n && std::isdigit(static_cast<unsigned char>(line[static_cast<size_t>(j)])))) {
            while (j < n && (std::isalnum(static_cast<unsigned char>(line[static_cast<size_t>(j)])) ||
                             line[static_cast<size_t>(j)] == '.'))
                ++j;
            add(i, j, PaletteIndex::Number);
        } else if ((c == '$' || c == '@') && j < n && IsWordChar(line[static_cast<size_t>(j)])) {
            while (j < n && IsWordChar(line[static_cast<size_t>(j)]))
                ++j;
            add(i, j, c == '$' ? PaletteIndex::Identifier : PaletteIndex::KnownIdentifier);
        } else if (IsWordStart(c)) {
            while (j < n && IsWordChar(line[static_cast<size_t>(j)]))
                ++j;
            const std::string word(line.substr(static_cast<size_t>(i), static_cast<size_t>(j - i)));
            PaletteIndex colour = PaletteIndex::Default;
            if (Keywords().contains(word))
                colour = PaletteIndex::Keyword;
            else if (Builtins().contains(word))
                colour = PaletteIndex::KnownIdentifier;
            add(i, j, colour);
        } else if (std::ispunct(static_cast<unsigned char>(c))) {
            add(i, j, PaletteIndex::Punctuation);
        } else {
            add(i, j, PaletteIndex::Default);
        }
        i = j;
    }
    return spans;
}

ImU32 TextEditor::Colour(PaletteIndex index) const {
    const uint32_t c = _palette[static_cast<size_t>(index)];
    return IM_COL32((c >> 24) & 0xFF, (c >> 16) & 0xFF, (c >> 8) & 0xFF, c & 0xFF);
}

void TextEditor::SetSelection(Coordinates start, Coordinates end) {
    auto clampCoordinates = [&](Coordinates c) {
        c.line = std::clamp(c.line, 0, static_cast<int>(_lines.size()) - 1);
        c.column = std::clamp(c.column, 0, static_cast<int>(GetLine(c.line).size()));
        return c;
    };
    start = clampCoordinates(start);
    end = clampCoordinates(end);
    _selectionStart = std::min(start, end);
    _selectionEnd = std::max(start, end);
}

void TextEditor::SelectAll() {
    SetSelection({0, 0}, {static_cast<int>(_lines.size()) - 1, static_cast<int>(GetLine(GetLineCount() - 1).size())});
}

std::string TextEditor::GetSelectedText() const {
    std::string text;
    for (int line = _selectionStart.line; line <= _selectionEnd.line; ++line) {
        const std::string_view content = GetLine(line);
        const size_t from = line == _selectionStart.line ? static_cast<size_t>(_selectionStart.column) : 0;
        const size_t to = line == _selectionEnd.line ? static_cast<size_t>(_selectionEnd.column) : content.size();
        if (line != _selectionStart.line)
            text += '\n';
        text += content.substr(from, to - from);
    }
    return text;
}

void TextEditor::Copy() const {
    const std::string text = HasSelection() ? GetSelectedText() : GetText();
    host::SetClipboardText(text.c_str());
}

TextEditor::Coordinates TextEditor::ScreenToText(ImVec2 point, ImVec2 origin, float lineHeight, float gutter) const {
    Coordinates c;
    c.line = std::clamp(static_cast<int>((point.y - origin.y) / lineHeight), 0, static_cast<int>(_lines.size()) - 1);
    const std::string_view line = GetLine(c.line);
    const float x = point.x - origin.x - gutter;
    ImFont* font = ImGui::GetFont();
    const float size = ImGui::GetFontSize();
    // The column whose left half holds x: walk the advances of the line's characters.
    float left = 0.0f;
    c.column = static_cast<int>(line.size());
    for (size_t i = 0; i < line.size(); ++i) {
        const float advance = font->CalcTextSizeA(size, FLT_MAX, 0.0f, &line[i], &line[i] + 1).x;
        if (x < left + advance * 0.5f) {
            c.column = static_cast<int>(i);
            break;
        }
        left += advance;
    }
    return c;
}

void TextEditor::Render(const char* title, ImVec2 size) {
    ImGui::PushStyleColor(ImGuiCol_ChildBg, ImGui::ColorConvertU32ToFloat4(Colour(PaletteIndex::Background)));
    ImGui::BeginChild(title, size, false, ImGuiWindowFlags_HorizontalScrollbar);
    ImDrawList* drawList = ImGui::GetWindowDrawList();
    const float lineHeight = ImGui::GetTextLineHeightWithSpacing();
    const float digit = ImGui::CalcTextSize("0").x;
    const std::string lastNumber = std::to_string(_lines.size());
    const float gutter = digit * static_cast<float>(lastNumber.size() + 2);
    const ImVec2 origin = ImGui::GetCursorScreenPos();
    ImFont* font = ImGui::GetFont();
    const float fontSize = ImGui::GetFontSize();

    // Mouse selection: press sets the anchor, drag extends, shift-click extends from the anchor.
    const ImGuiIO& io = ImGui::GetIO();
    if (ImGui::IsWindowHovered()) {
        if (ImGui::IsMouseClicked(ImGuiMouseButton_Left)) {
            const Coordinates at = ScreenToText(io.MousePos, origin, lineHeight, gutter);
            if (!io.KeyShift)
                _anchor = at;
            SetSelection(_anchor, at);
            _selecting = true;
        }
    }
    if (_selecting) {
        if (ImGui::IsMouseDown(ImGuiMouseButton_Left))
            SetSelection(_anchor, ScreenToText(io.MousePos, origin, lineHeight, gutter));
        else
            _selecting = false;
    }
    if (ImGui::IsWindowFocused()) {
        const bool ctrl = io.KeysDown[KEY_LEFT_CONTROL] || io.KeysDown[KEY_RIGHT_CONTROL];
        if (ctrl && io.KeysDown[KEY_A])
            SelectAll();
        const bool copyKeys = ctrl && io.KeysDown[KEY_C];
        if (copyKeys && _copyArmed)
            Copy();
        _copyArmed = !copyKeys;
    }

    // Only the visible lines are drawn.
    const float scrollY = ImGui::GetScrollY();
    const float height = ImGui::GetWindowHeight();
    const int first = std::max(0, static_cast<int>(scrollY / lineHeight) - 1);
    const int last = std::min(static_cast<int>(_lines.size()), static_cast<int>((scrollY + height) / lineHeight) + 1);
    float widest = 0.0f;
    for (int line = first; line < last; ++line) {
        const std::string_view content = GetLine(line);
        const ImVec2 start(origin.x, origin.y + lineHeight * static_cast<float>(line));
        const std::string number = std::to_string(line + 1);
        drawList->AddText(ImVec2(start.x + gutter - digit * static_cast<float>(number.size() + 1), start.y),
                          Colour(PaletteIndex::LineNumber), number.c_str());
        const float textX = start.x + gutter;
        auto xOf = [&](int column) {
            return textX + font->CalcTextSizeA(fontSize, FLT_MAX, 0.0f, content.data(), content.data() + column).x;
        };
        if (HasSelection() && line >= _selectionStart.line && line <= _selectionEnd.line) {
            const float x0 = line == _selectionStart.line ? xOf(_selectionStart.column) : textX;
            const float x1 =
                line == _selectionEnd.line ? xOf(_selectionEnd.column) : xOf(static_cast<int>(content.size())) + digit;
            drawList->AddRectFilled(ImVec2(x0, start.y), ImVec2(x1, start.y + lineHeight),
                                    Colour(PaletteIndex::Selection));
        }
        if (!_coloured[static_cast<size_t>(line)]) {
            _spans[static_cast<size_t>(line)] = Colorize(content);
            _coloured[static_cast<size_t>(line)] = true;
        }
        for (const Span& span : _spans[static_cast<size_t>(line)]) {
            drawList->AddText(font, fontSize, ImVec2(xOf(span.begin), start.y), Colour(span.colour),
                              content.data() + span.begin, content.data() + span.end);
        }
        widest = std::max(widest, xOf(static_cast<int>(content.size())) - origin.x);
    }
    ImGui::Dummy(ImVec2(std::max(widest, 1.0f), lineHeight * static_cast<float>(_lines.size())));
    ImGui::EndChild();
    ImGui::PopStyleColor();
}

} // namespace game::graphics::ui
