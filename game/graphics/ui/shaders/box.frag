#version 460
// Style 0 fills the rectangle; style 1 rounds its corners by a quarter of its height.
layout(push_constant) uniform BoxBlock {
    vec4 color;
    vec2 position;
    vec2 size;
    uint style;
} box;

layout(location = 0) in vec2 local;
layout(location = 1) in vec2 halfPixels;
layout(location = 0) out vec4 outColor;

void main() {
    float alpha = 1.0;
    if ((box.style & 0xFFFFu) == 1u) {
        const float radius = halfPixels.y * 0.5;
        const vec2 inner = max(abs(local) - (halfPixels - radius), 0.0);
        alpha = clamp(radius - length(inner) + 0.5, 0.0, 1.0);
    }
    outColor = vec4(box.color.rgb, box.color.a * alpha);
}
