#version 460
// A Box: one quad from its push constant block (Element.hpp lays it out), drawn as a 4-vertex strip.
#include "vesmo/renderer/shaders/textures.glsl"

layout(push_constant) uniform BoxBlock {
    vec4 color;
    vec2 position; // centre, device coordinates, y down
    vec2 size;     // units of half the screen height
    uint style;    // low 16 bits
} box;

layout(location = 0) out vec2 local;      // pixels from the centre
layout(location = 1) out vec2 halfPixels; // half the size in pixels

const vec2 corners[4] = vec2[](vec2(0.0, 0.0), vec2(1.0, 0.0), vec2(0.0, 1.0), vec2(1.0, 1.0));

void main() {
    const vec2 screen = vec2(renderer.extent.xy);
    const vec2 corner = corners[gl_VertexIndex] - 0.5;
    // Both axes scale by the height, so a square stays square.
    const vec2 ndcSize = vec2(box.size.x * screen.y / screen.x, box.size.y);
    halfPixels = box.size * screen.y * 0.25;
    local = corner * 2.0 * halfPixels;
    gl_Position = vec4(box.position + corner * ndcSize, 0.0, 1.0);
}
