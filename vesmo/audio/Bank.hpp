#pragma once
// A sound bank: the events a game can instance, each with its sound, its bus and the curves that turn its
// parameters into gain.
//
// Banks are text of our own, one line each:
//
//     # comment (also blank lines)
//     [event:/game/environment/planet surface]     opens an event; its path is all of the text in brackets
//     sound = environment/wind.wav                 file of the event's sound, relative to the bank's folder
//     loop = true                                  true or false; false if absent
//     bus = bus:/environment                       the bus it plays on; "bus:/" (the master bus) if absent
//     gain wind speed = 0:0 5:0.3 30:1             curve of one parameter: value:gain points
//
// A curve maps its parameter's value to a gain factor, linear between points and held flat beyond the first
// and the last. Its points go in strictly increasing value order. Parameter names may hold spaces (they end
// at the "="); an event may have one curve per parameter. A bank may hold no events at all (a strings bank).
// Surrounding blanks of names and values are dropped; text is otherwise taken as it stands.
//
// Anything else is an error, so that a misspelt key is heard of at load rather than never heard.

#include <string>
#include <utility>
#include <vector>

namespace vesmo::audio {

struct GainCurve {
    std::string parameter;
    std::vector<std::pair<float, float>> points; // (parameter value, gain), value strictly increasing

    float At(float value) const;
};

struct EventDescription {
    std::string path;
    std::string sound; // resolved against the bank's folder; empty for an event without a sound
    bool loop = false;
    std::string bus = "bus:/";
    std::vector<GainCurve> curves;
};

struct Bank {
    std::string path;
    std::vector<EventDescription> events;

    // Parses bank text. `path` names the bank (its folder resolves sound files). Throws std::runtime_error
    // "line <n>: <what is wrong>" on the first bad line.
    static Bank Parse(const std::string& text, const std::string& path);
};

} // namespace vesmo::audio
