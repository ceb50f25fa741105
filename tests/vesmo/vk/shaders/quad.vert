#version 460
// A quad on the right half of the picture as a triangle strip, texture coordinates 0 to 1 from its top left.
layout(location = 0) out vec2 uv;

const vec2 corners[4] = vec2[](vec2(0.0, 0.0), vec2(1.0, 0.0), vec2(0.0, 1.0), vec2(1.0, 1.0));

void main() {
    uv = corners[gl_VertexIndex];
    gl_Position = vec4(mix(vec2(0.1, -0.8), vec2(0.9, 0.8), uv), 0.5, 1.0);
}
