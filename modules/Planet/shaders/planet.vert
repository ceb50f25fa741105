#version 460
// Ground, sea and entity shapes: positions relative to the camera, a colour per vertex times a tint.

layout(location = 0) in vec3 inPosition;
layout(location = 1) in vec3 inNormal;
layout(location = 2) in vec4 inColor;

layout(push_constant) uniform Push {
    mat4 modelViewProjection;
    vec4 rotation[3];
    vec4 tint;
} push;

layout(location = 0) out vec3 normal;
layout(location = 1) out vec4 color;
layout(location = 2) out float distance;

void main() {
    gl_Position = push.modelViewProjection * vec4(inPosition, 1.0);
    normal = mat3(push.rotation[0].xyz, push.rotation[1].xyz, push.rotation[2].xyz) * inNormal;
    color = inColor * push.tint;
    distance = gl_Position.w; // the view depth, for the haze
}
