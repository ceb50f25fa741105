#include "game/host/Config.hpp"

#include "game/Assert.hpp"

#include <yaml.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <utility>
#include <vector>

namespace game {

// ---- the tree -------------------------------------------------------------------------------------

struct Config::Tree {
    enum Flag : uint8_t { KEY = 1, VAL = 2, MAP = 4, SEQ = 8 };

    struct Entry {
        uint8_t flags = 0;
        std::string key;
        std::string value;
        size_t parent = NONE;
        size_t firstChild = NONE;
        size_t lastChild = NONE;
        size_t prev = NONE;
        size_t next = NONE;
        size_t position = 0; // among the siblings
        size_t childCount = 0;
    };

    std::vector<Entry> nodes;
    size_t textBytes = 0; // of all keys and values, to bound what aliases can make of a short text

    // Adds a node as the last child of `parent` (NONE for the root) and returns its index.
    size_t Append(size_t parent, uint8_t flags, std::string key, std::string value) {
        const size_t index = nodes.size();
        Entry entry;
        entry.flags = flags;
        textBytes += key.size() + value.size();
        entry.key = std::move(key);
        entry.value = std::move(value);
        entry.parent = parent;
        if (parent != NONE) {
            Entry& owner = nodes[parent];
            entry.prev = owner.lastChild;
            entry.position = owner.childCount;
            if (owner.lastChild != NONE)
                nodes[owner.lastChild].next = index;
            else
                owner.firstChild = index;
            owner.lastChild = index;
            ++owner.childCount;
        }
        nodes.push_back(std::move(entry));
        return index;
    }

    // Appends copies of the children of `from`'s node `source` under this tree's node `target`, depth
    // first and in order. A loop with its own stack, not recursion: nesting depth is the text's to choose.
    // `from` must not be this tree: a copy into its own source would walk what it adds.
    void CopyChildren(const Tree& from, size_t source, size_t target) {
        std::vector<std::pair<size_t, size_t>> pending; // (child in `from`, its new parent here)
        auto pushChildren = [&](size_t of, size_t under) {
            const size_t first = pending.size();
            for (size_t child = from.nodes[of].firstChild; child != NONE; child = from.nodes[child].next)
                pending.emplace_back(child, under);
            std::reverse(pending.begin() + static_cast<std::ptrdiff_t>(first), pending.end());
        };
        pushChildren(source, target);
        while (!pending.empty()) {
            const auto [child, under] = pending.back();
            pending.pop_back();
            const Entry& entry = from.nodes[child];
            pushChildren(child, Append(under, entry.flags, entry.key, entry.value));
        }
    }

    // The nodes and text bytes of `index` and everything below it.
    std::pair<size_t, size_t> Weigh(size_t index) const {
        size_t count = 0, bytes = 0;
        std::vector<size_t> pending{index};
        while (!pending.empty()) {
            const Entry& entry = nodes[pending.back()];
            pending.pop_back();
            ++count;
            bytes += entry.key.size() + entry.value.size();
            for (size_t child = entry.firstChild; child != NONE; child = nodes[child].next)
                pending.push_back(child);
        }
        return {count, bytes};
    }
};

namespace {

using Tree = Config::Tree;
constexpr size_t NONE = Config::NONE;

// What aliases may expand one text into. Far above any configuration a game reads, far below what
// would take the machine's memory: ten short lines of nested aliases otherwise make billions of nodes.
constexpr size_t kMaxNodes = 100000;
constexpr size_t kMaxTextBytes = size_t(8) << 20;

// Bad YAML and impossible conversions end the process, as a parser without an error handler does.
[[noreturn]] void Fatal(const std::string& message) { detail::EndProcess(message); }

[[noreturn]] void FatalAt(const yaml_mark_t& mark, const std::string& message) {
    Fatal("Config: bad YAML at line " + std::to_string(mark.line + 1) + ", column " + std::to_string(mark.column + 1) +
          ": " + message);
}

std::string Text(const yaml_char_t* text) {
    return text ? std::string(reinterpret_cast<const char*>(text)) : std::string();
}

// Builds one Tree per document from the parser's events.
class Builder {
public:
    std::vector<Tree> documents;

    void DocumentStart() {
        documents.emplace_back();
        _stack.clear();
        _anchors.clear();
        _anchorKeys.clear();
    }

    void Event(const yaml_event_t& event) {
        const yaml_mark_t& mark = event.start_mark;
        switch (event.type) {
        case YAML_DOCUMENT_START_EVENT: DocumentStart(); break;
        case YAML_SCALAR_EVENT:
            Scalar(Text(event.data.scalar.anchor),
                   std::string(reinterpret_cast<const char*>(event.data.scalar.value), event.data.scalar.length));
            break;
        case YAML_SEQUENCE_START_EVENT: Open(mark, Text(event.data.sequence_start.anchor), Tree::SEQ); break;
        case YAML_MAPPING_START_EVENT: Open(mark, Text(event.data.mapping_start.anchor), Tree::MAP); break;
        case YAML_SEQUENCE_END_EVENT:
        case YAML_MAPPING_END_EVENT: _stack.pop_back(); break;
        case YAML_ALIAS_EVENT: Alias(mark, Text(event.data.alias.anchor)); break;
        default: // stream start and end, document end: nothing to build
            break;
        }
    }

private:
    struct Frame {
        size_t node;
        bool isMap;
        bool haveKey = false;
        std::string key;
    };

    bool WantsKey() const { return !_stack.empty() && _stack.back().isMap && !_stack.back().haveKey; }

    void SetKey(std::string key) {
        _stack.back().key = std::move(key);
        _stack.back().haveKey = true;
    }

    // Adds a node where the document stands now: the root, the value of the pending key, or the next
    // item of a sequence.
    size_t Place(uint8_t flags, std::string value) {
        Tree& tree = documents.back();
        if (_stack.empty())
            return tree.Append(NONE, flags, {}, std::move(value));
        Frame& frame = _stack.back();
        if (frame.isMap) {
            frame.haveKey = false;
            return tree.Append(frame.node, flags | Tree::KEY, std::move(frame.key), std::move(value));
        }
        return tree.Append(frame.node, flags, {}, std::move(value));
    }

    void Scalar(const std::string& anchor, std::string value) {
        if (WantsKey()) {
            if (!anchor.empty())
                _anchorKeys[anchor] = value;
            SetKey(std::move(value));
            return;
        }
        const size_t node = Place(Tree::VAL, std::move(value));
        if (!anchor.empty())
            _anchors[anchor] = node;
    }

    void Open(const yaml_mark_t& mark, const std::string& anchor, uint8_t flags) {
        if (WantsKey())
            FatalAt(mark, "a key must be a scalar");
        const size_t node = Place(flags, {});
        if (!anchor.empty())
            _anchors[anchor] = node;
        _stack.push_back(Frame{node, flags == Tree::MAP, false, {}});
    }

    void Alias(const yaml_mark_t& mark, const std::string& anchor) {
        if (WantsKey()) {
            auto key = _anchorKeys.find(anchor);
            if (key != _anchorKeys.end()) {
                SetKey(key->second);
                return;
            }
        }
        auto found = _anchors.find(anchor);
        if (found == _anchors.end()) {
            // A key's anchor used as a value: the key's text is a scalar like any other.
            auto key = _anchorKeys.find(anchor);
            if (key == _anchorKeys.end())
                FatalAt(mark, "unknown alias");
            Scalar({}, key->second);
            return;
        }
        const Tree& tree = documents.back();
        const Tree::Entry& source = tree.nodes[found->second];
        if (WantsKey()) {
            if (!(source.flags & Tree::VAL))
                FatalAt(mark, "a key must be a scalar");
            SetKey(source.value);
            return;
        }
        const auto [count, bytes] = tree.Weigh(found->second);
        if (tree.nodes.size() + count > kMaxNodes || tree.textBytes + bytes > kMaxTextBytes)
            FatalAt(mark, "aliases expand the document past " + std::to_string(kMaxNodes) + " nodes or " +
                              std::to_string(kMaxTextBytes >> 20) + " MiB of text");
        // Copied through a separate tree: the anchored node may be an ancestor still being filled.
        Tree copy;
        copy.Append(NONE, source.flags & ~Tree::KEY, {}, source.value);
        copy.CopyChildren(tree, found->second, 0);
        const size_t placed = Place(copy.nodes[0].flags, copy.nodes[0].value);
        documents.back().CopyChildren(copy, 0, placed);
    }

    std::vector<Frame> _stack;
    std::unordered_map<std::string, size_t> _anchors;         // anchored nodes
    std::unordered_map<std::string, std::string> _anchorKeys; // anchored keys
};

// The parser and its current event, released however the parse ends (a fuzzing build unwinds from Fatal).
struct Parser {
    yaml_parser_t parser;
    yaml_event_t event;
    bool haveEvent = false;

    explicit Parser(std::string_view text) {
        if (!yaml_parser_initialize(&parser))
            Fatal("Config: out of memory");
        yaml_parser_set_input_string(&parser, reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
    ~Parser() {
        DropEvent();
        yaml_parser_delete(&parser);
    }
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    void DropEvent() {
        if (haveEvent)
            yaml_event_delete(&event);
        haveEvent = false;
    }

    // The next event, or the end of the process with the parser's message where the text goes wrong.
    const yaml_event_t& Next() {
        DropEvent();
        if (!yaml_parser_parse(&parser, &event)) {
            std::string problem = parser.problem ? parser.problem : "unknown error";
            if (parser.context)
                problem += std::string(" ") + parser.context;
            FatalAt(parser.problem_mark, problem);
        }
        haveEvent = true;
        return event;
    }
};

// ---- number text ----------------------------------------------------------------------------------

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

size_t SignLength(std::string_view text) { return !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0; }

bool IsIntegerText(std::string_view text) {
    text.remove_prefix(SignLength(text));
    if (text.empty())
        return false;
    for (char c : text)
        if (!IsDigit(c))
            return false;
    return true;
}

bool IsRealText(std::string_view text) {
    text.remove_prefix(SignLength(text));
    if (text == "inf" || text == "infinity" || text == "nan")
        return true;
    size_t i = 0, digits = 0;
    while (i < text.size() && IsDigit(text[i]))
        ++i, ++digits;
    if (i < text.size() && text[i] == '.') {
        ++i;
        while (i < text.size() && IsDigit(text[i]))
            ++i, ++digits;
    }
    if (digits == 0)
        return false;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < text.size() && (text[i] == '+' || text[i] == '-'))
            ++i;
        const size_t exponentStart = i;
        while (i < text.size() && IsDigit(text[i]))
            ++i;
        if (i == exponentStart)
            return false;
    }
    return i == text.size();
}

// std::from_chars takes no '+'; the scanners above have already vetted the text.
std::string_view WithoutPlus(std::string_view text) {
    if (!text.empty() && text[0] == '+')
        text.remove_prefix(1);
    return text;
}

[[noreturn]] void CannotConvert(const Config::Node& node, const char* type) {
    std::string where = node.Key().empty() ? std::string() : " of key \"" + node.Key() + "\"";
    Fatal("Config: cannot convert \"" + node.AsString() + "\"" + where + " to " + type);
}

// A scalar read as a number of type T: the text must pass its scanner and be read whole.
template <class T> T ConvertNumber(const Config::Node& node, const char* type) {
    const std::string text = node.AsString();
    bool valid;
    if constexpr (std::is_integral_v<T>)
        valid = IsIntegerText(text) && !(std::is_unsigned_v<T> && text[0] == '-');
    else
        valid = IsRealText(text);
    if (!valid)
        CannotConvert(node, type);
    const std::string_view digits = WithoutPlus(text);
    T value{};
    auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || end != digits.data() + digits.size())
        CannotConvert(node, type);
    return value;
}

} // namespace

// ---- Config ---------------------------------------------------------------------------------------

Config& Config::operator=(Config&& other) noexcept {
    if (this != &other) {
        Clear();
        _tree = other._tree;
        other._tree = nullptr;
    }
    return *this;
}

void Config::Clear() {
    delete _tree;
    _tree = nullptr;
}

void Config::Parse(char* text) {
    Clear();
    if (text == nullptr || *text == '\0')
        return;
    Builder builder;
    {
        Parser parser{std::string_view(text)};
        for (;;) {
            const yaml_event_t& event = parser.Next();
            if (event.type == YAML_STREAM_END_EVENT)
                break;
            builder.Event(event);
        }
    }

    std::vector<Tree>& documents = builder.documents;
    if (documents.empty() || documents.front().nodes.empty())
        return;
    if (documents.size() == 1) {
        _tree = new Tree(std::move(documents.front()));
        return;
    }
    auto* stream = new Tree;
    stream->Append(NONE, Tree::SEQ, {}, {});
    for (const Tree& document : documents) {
        const Tree::Entry& top = document.nodes[0];
        const size_t placed = stream->Append(0, top.flags, {}, top.value);
        stream->CopyChildren(document, 0, placed);
    }
    _tree = stream;
}

Config::Node Config::Root() const { return _tree ? Node(_tree, 0) : Node(); }

// ---- Node -----------------------------------------------------------------------------------------

size_t Config::Node::Size() const { return *this ? _tree->nodes.size() : 0; }

long Config::Node::Index() const { return *this ? static_cast<long>(_tree->nodes[_index].position) : -1; }

Config::Node Config::Node::operator[](const char* key) const {
    if (!*this || key == nullptr || !(_tree->nodes[_index].flags & Tree::MAP))
        return Node();
    for (size_t child = _tree->nodes[_index].firstChild; child != NONE; child = _tree->nodes[child].next)
        if (_tree->nodes[child].key == key)
            return Node(_tree, child);
    return Node();
}

Config::Node Config::Node::operator[](unsigned long index) const {
    if (!*this || index >= _tree->nodes[_index].childCount)
        return Node();
    size_t child = _tree->nodes[_index].firstChild;
    for (unsigned long i = 0; i < index; ++i)
        child = _tree->nodes[child].next;
    return Node(_tree, child);
}

Config::Iterator Config::Node::begin() const {
    return *this ? Iterator(_tree, _tree->nodes[_index].firstChild) : Iterator(_tree, NONE);
}

Config::Iterator Config::Node::end() const { return Iterator(_tree, NONE); }

bool Config::Node::HasKey() const { return *this && (_tree->nodes[_index].flags & Tree::KEY); }
bool Config::Node::IsMap() const { return *this && (_tree->nodes[_index].flags & Tree::MAP); }
bool Config::Node::IsArray() const { return *this && (_tree->nodes[_index].flags & Tree::SEQ); }
bool Config::Node::IsValue() const { return *this && (_tree->nodes[_index].flags & Tree::VAL); }

bool Config::Node::IsInt() const { return IsValue() && IsIntegerText(_tree->nodes[_index].value); }
bool Config::Node::IsFloat() const { return IsValue() && IsRealText(_tree->nodes[_index].value); }
bool Config::Node::IsNumeric() const { return IsInt() || IsFloat(); }
bool Config::Node::IsString() const { return IsValue() && !IsNumeric(); }

int Config::Node::AsInt() const { return ConvertNumber<int>(*this, "int"); }
int64_t Config::Node::AsInt64() const { return ConvertNumber<int64_t>(*this, "int64"); }
uint64_t Config::Node::AsUInt64() const { return ConvertNumber<uint64_t>(*this, "uint64"); }
float Config::Node::AsFloat() const { return ConvertNumber<float>(*this, "float"); }
double Config::Node::AsDouble() const { return ConvertNumber<double>(*this, "double"); }

std::string Config::Node::AsString() const { return IsValue() ? _tree->nodes[_index].value : std::string(); }

std::string Config::Node::Key() const { return HasKey() ? _tree->nodes[_index].key : std::string(); }

bool Config::Node::operator==(const char* text) const { return AsString() == (text ? text : ""); }

// ---- Iterator -------------------------------------------------------------------------------------

Config::Iterator& Config::Iterator::operator++() {
    if (_tree != nullptr && _index != NONE)
        _index = _tree->nodes[_index].next;
    return *this;
}

Config::Iterator& Config::Iterator::operator--() {
    if (_tree != nullptr && _index != NONE)
        _index = _tree->nodes[_index].prev;
    return *this;
}

} // namespace game
