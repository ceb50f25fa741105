#version 460
// One triangle made from gl_VertexIndex: red at the bottom left, green at the bottom right, blue at the top
// (Vulkan's clip space has y down), on the left half of the picture.
layout(location = 0) out vec3 color;

const vec2 positions[3] = vec2[](vec2(-0.9, 0.8), vec2(-0.1, 0.8), vec2(-0.5, -0.8));
const vec3 colors[3] = vec3[](vec3(1.0, 0.0, 0.0), vec3(0.0, 1.0, 0.0), vec3(0.0, 0.0, 1.0));

void main() {
    gl_Position = vec4(positions[gl_VertexIndex], 0.5, 1.0);
    color = colors[gl_VertexIndex];
}
