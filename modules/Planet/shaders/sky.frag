#version 460
// The sky by the direction of each pixel: pale at the horizon, deep blue above, a sun.

layout(location = 0) in vec2 clip;

layout(push_constant) uniform Push {
    mat4 inverseViewProjection;
    vec4 sun;
    vec4 pad[3];
} push;

layout(location = 0) out vec4 outColor;

void main() {
    vec4 far = push.inverseViewProjection * vec4(clip, 1.0, 1.0);
    vec4 near = push.inverseViewProjection * vec4(clip, 0.0, 1.0);
    vec3 direction = normalize(far.xyz / far.w - near.xyz / near.w);
    float up = direction.z;
    vec3 horizon = vec3(0.72, 0.80, 0.90);
    vec3 zenith = vec3(0.24, 0.45, 0.80);
    vec3 color = mix(horizon, zenith, pow(clamp(up, 0.0, 1.0), 0.6));
    if (up < 0.0)
        color = mix(horizon, vec3(0.55, 0.60, 0.62), clamp(-up * 4.0, 0.0, 1.0));
    float sunDot = max(dot(direction, push.sun.xyz), 0.0);
    color += vec3(1.0, 0.92, 0.75) * (pow(sunDot, 800.0) * 2.0 + pow(sunDot, 12.0) * 0.15);
    outColor = vec4(color, 1.0);
}
