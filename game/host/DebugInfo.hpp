#pragma once
// Lines that modules publish for the debug window: a printf format and its one argument.
//
// Keys are compared as pointers, so a line is updated by passing the same literal again. The argument is
// one machine word of one of a few kinds; the kind is kept beside it so that the window passes it to the
// format as the type the format expects.

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace game {

class DebugInfo {
public:
    struct Value {
        enum Kind : uint8_t { Int, Unsigned, Double, Text, Pointer } kind = Int;
        union {
            long long i;
            unsigned long long u;
            double d;
            const char* text;
            const void* pointer;
        };
        Value() : i(0) {}
        Value(int v) : kind(Int), i(v) {}
        Value(long v) : kind(Int), i(v) {}
        Value(long long v) : kind(Int), i(v) {}
        Value(unsigned v) : kind(Unsigned), u(v) {}
        Value(unsigned long v) : kind(Unsigned), u(v) {}
        Value(unsigned long long v) : kind(Unsigned), u(v) {}
        Value(float v) : kind(Double), d(v) {}
        Value(double v) : kind(Double), d(v) {}
        Value(const char* v) : kind(Text), text(v) {}
        Value(const void* v) : kind(Pointer), pointer(v) {}
    };

    static std::map<const char*, Value> infos;
    static std::mutex infosMutex;

    // `format` must live as long as the line is shown (a literal).
    static void Set(const char* format, Value value) {
        std::lock_guard guard(infosMutex);
        infos[format] = value;
    }
    static void Remove(const char* format) {
        std::lock_guard guard(infosMutex);
        infos.erase(format);
    }
    // The line as the debug window shows it.
    static std::string Format(const char* format, const Value& value);
};

} // namespace game
