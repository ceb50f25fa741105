#version 460
// One triangle over the whole screen, at the far plane.

layout(location = 0) out vec2 clip;

void main() {
    vec2 corner = vec2((gl_VertexIndex << 1) & 2, gl_VertexIndex & 2);
    clip = corner * 2.0 - 1.0;
    gl_Position = vec4(clip, 1.0, 1.0);
}
