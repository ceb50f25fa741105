#version 460
// Samples slot 0 of the engine's texture table. The index is a constant: lavapipe has no dynamic indexing of
// image arrays.
#include "vesmo/renderer/shaders/textures.glsl"

layout(location = 0) in vec2 uv;
layout(location = 0) out vec4 outColor;

void main() { outColor = SampleTexture(0, uv); }
