#pragma once
// game::Config: a small read-only view of a parsed YAML text.
//
// Modules read configuration through these three classes and never see the YAML parser, whose headers
// stay inside Config.cpp. The parsed document is copied into a flat tree of nodes that belongs to the
// Config; a Node or an Iterator is a (tree, index) pair that owns nothing and dies with its Config.
//
//   game::Config config;
//   config.Parse(text);                            // text: a writable, NUL-terminated buffer
//   int port = config["server"]["port"].AsInt();   // a missing key anywhere gives an empty Node
//   for (game::Config::Node mod : config["mods"])  // the children of a map or a sequence, in order
//       std::puts(mod.AsString().c_str());
//
// The tree:
//  - One document: its top node is the root. Several documents ("---"): the root is a sequence whose
//    children are the documents. No document at all (an empty text, only comments): no tree.
//  - Aliases ("*name") are resolved by copying the anchored node, so the tree never holds references.
//    A "<<" merge key is kept as an ordinary key. Tags are ignored: the text alone decides.
//  - A key must be a scalar; a map or a sequence used as a key is refused like bad YAML.
//  - A null written as "~" or "null" keeps that text; a value left out ("key:") is empty text.
//
// Numbers (IsInt, IsFloat, conversions) look at the scalar's text, quoted or not:
//  - an integer is an optional sign and decimal digits, nothing else: "-12", "+7". Hexadecimal, octal
//    and binary forms ("0x10") are not numbers, nor is text with blanks around it (" 12") or after it.
//  - a real is an optional sign, then digits with an optional fraction (".5", "5.", "1.25"), then an
//    optional exponent ("1e3", "2.5E-4"); or "inf", "infinity", "nan" after an optional sign. Every
//    integer is also a real, so IsFloat("12") is true and IsNumeric is the same as IsFloat.
//  - IsString is true for a scalar that is not a number, the empty text included.
//
// Failures. Bad YAML ends the process in Parse, after a line on stderr with the parser's message, line
// and column; so does converting text that is not a number of the asked kind (or is out of its range):
// test with IsInt and the like first. A missing key or index is not a failure: it gives an empty Node.
// Aliases that would expand one text past 100,000 nodes or 8 MiB of keys and values count as bad YAML
// ("billion laughs"): a short hostile text must not take the machine's memory. Parse never recurses, so
// no depth of nesting exhausts the stack.
//
// Reading is safe from any number of threads while nobody calls Parse or Clear.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <type_traits>

namespace game {

class Config {
public:
    struct Tree; // the parsed nodes; defined in Config.cpp

    // The index of no node: all bits set.
    static constexpr size_t NONE = static_cast<size_t>(-1);

    class Iterator;

    class Node {
    public:
        Node() = default;
        Node(const Tree* tree, size_t index) : _tree(tree), _index(index) {}

        explicit operator bool() const { return _tree != nullptr && _index != NONE; }

        // The number of nodes of the whole tree this Node belongs to; 0 for an empty Node.
        size_t Size() const;
        // Position among the siblings (0 for the root); -1 for an empty Node.
        long Index() const;

        // The child with that key (the first one if a map repeats it), or an empty Node.
        Node operator[](const char* key) const;
        Node operator[](const std::string& key) const { return (*this)[key.c_str()]; }
        // The child at that position, or an empty Node.
        Node operator[](unsigned long index) const;
        // Any other integer type, so that node[0] is not taken for a null key; negative gives empty.
        template <std::integral I> Node operator[](I index) const {
            if constexpr (std::is_signed_v<I>) {
                if (index < 0)
                    return Node();
            }
            return (*this)[static_cast<unsigned long>(index)];
        }

        Iterator begin() const;
        Iterator end() const;

        bool HasKey() const; // a value in a map
        bool IsMap() const;
        bool IsArray() const; // a sequence
        bool IsValue() const; // a scalar

        bool IsInt() const;
        bool IsFloat() const;
        bool IsNumeric() const;
        bool IsString() const;

        int AsInt() const;
        int64_t AsInt64() const;
        uint64_t AsUInt64() const;
        float AsFloat() const;
        double AsDouble() const;

        // The scalar's text; empty for a map, a sequence or an empty Node.
        std::string AsString() const;
        operator std::string() const { return AsString(); }
        // The key's text; empty for a node outside a map.
        std::string Key() const;

        bool operator==(const char* text) const;
        bool operator==(const std::string& text) const { return *this == text.c_str(); }
        bool operator!=(const char* text) const { return !(*this == text); }
        bool operator!=(const std::string& text) const { return !(*this == text); }

    private:
        friend class Iterator;
        const Tree* _tree = nullptr;
        size_t _index = NONE;
    };

    // Walks the children of a Node. end() is the iterator past the last child; ++ on the last child and
    // -- on the first one both give end(), and end() stays where it is. To walk backwards, start from
    // an Iterator made at a child: Iterator(node[count - 1]).
    class Iterator {
    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = Node;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Node;

        Iterator() = default;
        Iterator(const Tree* tree, size_t index) : _tree(tree), _index(index) {}
        explicit Iterator(const Node& node) : _tree(node._tree), _index(node ? node._index : NONE) {}

        Node operator*() const { return Node(_tree, _index); }
        Iterator& operator++();
        Iterator& operator--();
        Iterator operator++(int) {
            Iterator before = *this;
            ++*this;
            return before;
        }
        Iterator operator--(int) {
            Iterator before = *this;
            --*this;
            return before;
        }
        // Two end iterators are equal whatever tree they came from.
        bool operator==(const Iterator& other) const {
            return _index == other._index && (_index == NONE || _tree == other._tree);
        }
        bool operator!=(const Iterator& other) const { return !(*this == other); }

    private:
        const Tree* _tree = nullptr;
        size_t _index = NONE;
    };

    Config() = default;
    ~Config() { Clear(); }
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;
    Config(Config&& other) noexcept : _tree(other._tree) { other._tree = nullptr; }
    Config& operator=(Config&& other) noexcept;

    // Frees the tree; the Config is empty again.
    void Clear();
    // Replaces the tree with the parse of `text` (null counts as empty). The tree keeps copies of the
    // text it needs, so the buffer may be reused afterwards; it is not changed.
    void Parse(char* text);

    bool Empty() const { return _tree == nullptr; }
    // The top node; an empty Node when the Config is empty.
    Node Root() const;
    // A child of the root, by key or position.
    Node operator[](const char* key) const { return Root()[key]; }
    Node operator[](const std::string& key) const { return Root()[key.c_str()]; }
    Node operator[](unsigned long index) const { return Root()[index]; }
    template <std::integral I> Node operator[](I index) const { return Root()[index]; }

private:
    Tree* _tree = nullptr; // owned; null when empty
};

} // namespace game
