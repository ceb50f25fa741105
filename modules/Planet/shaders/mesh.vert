#version 460
// An entity's mesh part: the glTF arrays as they are (positions and normals, each tightly packed in its own
// binding), relative to the camera, in the material's colour. planet.frag lights it like the ground.

layout(location = 0) in vec3 inPosition;
layout(location = 1) in vec3 inNormal;

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
    color = push.tint;
    distance = gl_Position.w; // the view depth, for the haze
}
