#version 460
// The atlas keeps each glyph's coverage in alpha. Slot 0 is a constant index: lavapipe has no
// dynamic indexing of image arrays.
#include "vesmo/renderer/shaders/textures.glsl"

layout(push_constant) uniform TextBlock {
    vec4 color;
} text;

layout(location = 0) in vec2 uv;
layout(location = 0) out vec4 outColor;

void main() { outColor = vec4(text.color.rgb, text.color.a * SampleTexture(0, uv).a); }
