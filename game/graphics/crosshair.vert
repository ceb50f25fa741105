#version 460
// The crosshair: four arms, each 8 pixels long and 2 wide, around the centre of the output with a gap of
// 3 pixels in the middle, so that what is aimed at stays visible. One point of 1 pixel per vertex (every
// device draws points of size 1): 64 vertices, point topology.
#include "vesmo/renderer/shaders/textures.glsl"

layout(location = 0) out vec4 color;

void main() {
    const ivec2 centre = renderer.extent.xy / 2; // a pixel corner
    const int arm = gl_VertexIndex / 16;
    const int along = 3 + (gl_VertexIndex % 16) / 2;
    const int across = gl_VertexIndex % 2 - 1;
    ivec2 pixel;
    if (arm == 0)
        pixel = ivec2(centre.x + along, centre.y + across);
    else if (arm == 1)
        pixel = ivec2(centre.x - 1 - along, centre.y + across);
    else if (arm == 2)
        pixel = ivec2(centre.x + across, centre.y + along);
    else
        pixel = ivec2(centre.x + across, centre.y - 1 - along);
    gl_Position = vec4((vec2(pixel) + 0.5) / vec2(renderer.extent.xy) * 2.0 - 1.0, 0.0, 1.0);
    gl_PointSize = 1.0;
    color = vec4(1.0, 1.0, 1.0, 0.9);
}
