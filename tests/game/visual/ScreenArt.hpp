#pragma once
// Small screens as text, so that pixel expectations read as pictures in the tests and in failures.

#include "game/visual/VesmoScreen.hpp"

#include <string>

namespace screen_art {

constexpr uint32_t kBack = 0xFF000000; // opaque black: the background of every test picture
constexpr uint32_t kS = 0xFF0000FF;    // stroke
constexpr uint32_t kF = 0xFF00FF00;    // fill

// One line per row: '.' background, 'S' stroke, 'F' fill, '?' anything else.
inline std::string Art(const VesmoScreen& screen) {
    std::string out;
    for (int y = 0; y < screen.height; ++y) {
        for (int x = 0; x < screen.width; ++x) {
            const uint32_t p = screen.pixels[x + y * screen.width];
            out += p == kBack ? '.' : p == kS ? 'S' : p == kF ? 'F' : '?';
        }
        out += '\n';
    }
    return out;
}

// A blank test screen with fixed character metrics (no font needed for shapes).
inline VesmoScreen Blank(int width, int height) {
    VesmoScreen screen(width, height, 8, 16);
    screen.Blank(kBack);
    screen.dirty = false;
    return screen;
}

} // namespace screen_art
