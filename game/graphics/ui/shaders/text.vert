#version 460
// A Text: one glyph quad per instance, the instance's character read from the push constant block
// (Element.hpp lays it out). Glyphs come from the monospace atlas at texture index 0: 16 columns by 8 rows
// of cells of 1:2, cell n holding the ASCII character n (others draw as the empty cell 0). The line is
// centred on its position.
#include "vesmo/renderer/shaders/textures.glsl"

layout(push_constant) uniform TextBlock {
    vec4 color;
    vec2 position; // centre of the line, device coordinates, y down
    float size;    // glyph height, units of half the screen height
    uint count;
    uint unused;
    uint characters[23]; // 92 bytes, four to a word, first in the low byte
} text;

layout(location = 0) out vec2 uv;

const vec2 corners[4] = vec2[](vec2(0.0, 0.0), vec2(1.0, 0.0), vec2(0.0, 1.0), vec2(1.0, 1.0));

void main() {
    const vec2 screen = vec2(renderer.extent.xy);
    const uint index = uint(gl_InstanceIndex);
    uint character = (text.characters[index / 4u] >> (8u * (index % 4u))) & 0xFFu;
    if (character > 127u)
        character = 0u;
    const vec2 corner = corners[gl_VertexIndex];
    const vec2 glyph = vec2(text.size * 0.5 * screen.y / screen.x, text.size);
    const vec2 topLeft = text.position - vec2(glyph.x * float(text.count), glyph.y) * 0.5;
    gl_Position = vec4(topLeft + (vec2(float(index), 0.0) + corner) * glyph, 0.0, 1.0);
    uv = (vec2(float(character % 16u), float(character / 16u)) + corner) / vec2(16.0, 8.0);
}
