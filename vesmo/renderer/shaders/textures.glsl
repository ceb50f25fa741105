// The engine's descriptor set 0, as VesmoRenderer.hpp lays it out. Include it in any stage:
//     #include "vesmo/renderer/shaders/textures.glsl"
//     vec4 c = SampleTexture(index, uv);
// VESMO_TEXTURE_CAPACITY may be defined before the include to match VesmoRenderer::TextureCapacity() on
// devices that bind more than lavapipe does; the array is sized 120 otherwise (all that lavapipe binds).

#ifndef VESMO_TEXTURES_GLSL
#define VESMO_TEXTURES_GLSL

#ifndef VESMO_TEXTURE_CAPACITY
#define VESMO_TEXTURE_CAPACITY 120
#endif

layout(set = 0, binding = 0, std140) uniform VesmoRendererData {
    mat4 viewMatrix;
    mat4 projectionMatrix;
    mat4 inverseViewMatrix;
    mat4 inverseProjectionMatrix;
    ivec4 extent; // output width, height; render width, height
    uint frameCount;
    uint frameIndex;
    float time;
    float deltaTime;
    int renderFlags;
    float renderScale;
    float brightness;
    float contrast;
    float gamma;
    float fov;
    float upscalingSharpness;
    float finalUpscale;
    float debugValue;
    int upscalingQualitySetting;
    int upscalingAlgo;
    uint textureCount;
    vec4 clearColor;
    uint vsync;
    uint devTools;
} renderer;

layout(set = 0, binding = 1) uniform texture2D textures[VESMO_TEXTURE_CAPACITY];
layout(set = 0, binding = 2) uniform sampler samplers[16];
layout(set = 0, binding = 3, std430) readonly buffer VesmoTextureSamplers {
    uint textureSamplers[];
};

// The sampler is chosen by a switch, so that its array is only ever indexed by constants: devices without
// dynamic indexing of descriptor arrays (lavapipe) read them right.
#define VESMO_SAMPLE_WITH(n) case n: return texture(sampler2D(textures[index], samplers[n]), uv)
vec4 SampleTexture(uint index, vec2 uv) {
    switch (textureSamplers[index]) {
        VESMO_SAMPLE_WITH(1); VESMO_SAMPLE_WITH(2); VESMO_SAMPLE_WITH(3); VESMO_SAMPLE_WITH(4);
        VESMO_SAMPLE_WITH(5); VESMO_SAMPLE_WITH(6); VESMO_SAMPLE_WITH(7); VESMO_SAMPLE_WITH(8);
        VESMO_SAMPLE_WITH(9); VESMO_SAMPLE_WITH(10); VESMO_SAMPLE_WITH(11); VESMO_SAMPLE_WITH(12);
        VESMO_SAMPLE_WITH(13); VESMO_SAMPLE_WITH(14); VESMO_SAMPLE_WITH(15);
        default: return texture(sampler2D(textures[index], samplers[0]), uv);
    }
}
#undef VESMO_SAMPLE_WITH

#endif
