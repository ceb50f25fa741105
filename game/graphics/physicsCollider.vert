#version 460
// The physics debug views: a collider's triangles (mode 0), the edges of the same triangles (mode 1), or
// plain coloured lines (mode 2). Vertices come through buffer device addresses in the push constants,
// laid out as GameRenderer::DebugPush; the camera is the render block's.
#extension GL_EXT_buffer_reference : require
#include "vesmo/renderer/shaders/textures.glsl"

// vec3 per vertex, tightly packed.
layout(buffer_reference, std430, buffer_reference_align = 4) readonly buffer Vertices { float v[]; };
// 16-bit indices, read two to a word.
layout(buffer_reference, std430, buffer_reference_align = 4) readonly buffer Indices { uint words[]; };
// Per line end: position bits in xyz, RGBA8 colour in w.
layout(buffer_reference, std430, buffer_reference_align = 16) readonly buffer LineVertices { uvec4 ends[]; };

layout(push_constant, std430) uniform DebugPush {
    mat4 transform;
    vec4 color;
    Vertices vertices;
    Indices indices;
    uint firstIndex;
    uint firstVertex;
    uint mode;
} push;

layout(location = 0) out vec4 color;

uint IndexAt(uint i) {
    const uint word = push.indices.words[i >> 1];
    return (i & 1u) == 0u ? word & 0xFFFFu : word >> 16;
}

void main() {
    vec3 position;
    if (push.mode == 2u) {
        const uvec4 end = LineVertices(push.vertices).ends[gl_VertexIndex];
        position = uintBitsToFloat(end.xyz);
        color = unpackUnorm4x8(end.w);
    } else {
        uint corner = uint(gl_VertexIndex);
        if (push.mode == 1u) {
            // Six vertices per triangle: its three edges, each from one corner to the next.
            const uint triangle = corner / 6u, k = corner % 6u;
            corner = triangle * 3u + ((k / 2u + k % 2u) % 3u);
        }
        const uint vertex = push.firstVertex + IndexAt(push.firstIndex + corner);
        position = vec3(push.vertices.v[3u * vertex], push.vertices.v[3u * vertex + 1u], push.vertices.v[3u * vertex + 2u]);
        color = push.color;
    }
    vec4 seen = renderer.viewMatrix * push.transform * vec4(position, 1.0);
    // Lines are drawn a little nearer (0.2 % of their distance, in the camera's frame), so that an edge
    // wins the depth test against its own face at any distance.
    if (push.mode != 0u)
        seen.xyz *= 0.998;
    gl_Position = renderer.projectionMatrix * seen;
}
