#version 460
// Sunlight on a matte surface, sky light from above, and haze that thickens with distance.

layout(location = 0) in vec3 normal;
layout(location = 1) in vec4 color;
layout(location = 2) in float distance;

layout(location = 0) out vec4 outColor;

const vec3 sun = normalize(vec3(0.35, -0.45, 0.82));
const vec3 haze = vec3(0.72, 0.80, 0.90);

void main() {
    vec3 n = normalize(normal);
    float direct = max(dot(n, sun), 0.0);
    float sky = 0.5 + 0.5 * n.z;
    vec3 lit = color.rgb * (0.62 * direct + 0.38 * sky + 0.08);
    float fog = 1.0 - exp(-distance * 0.00045);
    outColor = vec4(mix(lit, haze, clamp(fog, 0.0, 1.0)), color.a);
}
