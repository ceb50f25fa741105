#pragma once
// game::graphics::GameRenderer: the one renderer of the client, reached through Game::renderer.
//
// It traces no ray itself: every pass that draws the world belongs to a module. What it adds to the
// engine's renderer is small:
//   - it asks the device for the ray-tracing feature chain (dropped where the device lacks it);
//   - it turns every step of the engine's frame into a module hook, walked in the module host's order: all
//     GAME_Mod modules for some steps, a sorted list ("update", "render", "post", "overlay", "ui") for
//     others; a module that doesn't export a hook is skipped;
//   - it carries Game::settings into the engine's render block at the start of each frame (FrameInit);
//   - it keeps the world origin that GPU records are relative to;
//   - it owns the trash (deferred destruction of GPU objects), the lists of shaders that render instances
//     may use, the aim table, the overlay pass with the crosshair and the physics debug views, and the
//     quality presets.
//
// ---- Construction (what a client does)
//
//     Game::settings = std::make_unique<game::GameSettings>("../Orkalin-data/settings.conf", {});
//     GameRenderer renderer(window, "Orkalin", VulkanRenderer::DEVICE, {});   // flags 0: no device
//     Game::renderer = &renderer;
//     Game::Start();  ...  renderer.Frame() on the rendering loop ...
//     Game::Stop();                           // stops rendering, then calls renderer.Cleanup()
//
// The constructor reads `vsync` from Game::settings, opens the device with the feature chain, makes the
// overlay pass, three samplers, the overlay pipeline layout and its three pipelines, puts the monospace font
// atlas ("game/graphics/ui/textures/monospace_font_atlas.png", relative to the working directory) at index 0
// of the texture table, applies the quality preset (a first start, graphics_preset -1, takes preset 3 and
// writes the settings file once), and registers the built-in shaders. Without Game::settings the settings
// steps are skipped (tools and benchmarks that only want the frame chain). A missing atlas throws the
// engine's "Cannot load texture <path>: <reason>"; an atlas that isn't at index 0 throws
// "Font Atlas Index is not 0".
//
// ---- The frame (VesmoRenderer::Frame() calls these; hooks and extra work in order)
//
//   FrameCollectGarbage        "Renderer_FrameCollectGarbage" (all), then CollectTrash()
//   FrameInit                  settings into the engine's fields, render flags, world origin, then
//                              "Renderer_FrameInit" (all), then originInt, originInverseTransform and
//                              relativeViewMatrix
//   FrameBeforeUpdate, FrameUpdate, FrameAfterUpdate            sorted "update"
//   FrameUpdateDescriptorSets  all
//   FrameUpdateUi              sorted "ui"
//   FrameBeforeRender          sorted "render"
//   FramePushCommands          all, then the Push of every texture in pushedTextures
//   FrameBuildCommands         all
//   FrameRenderCommands        sorted "render"
//   FrameAfterRender           UI elements sorted, then sorted "render"
//   FrameBeforePost            all
//   FrameResolveCommands, FramePostCommands, FrameBlitCommands  sorted "post"
//   FrameOverlayCommands       sorted "overlay", then the overlay pass (below)
// The command-buffer hooks get the frame's command buffer (VK_NULL_HANDLE without a device).
//
// ---- The render block
//
// The engine lays VesmoRendererData out (vesmo/renderer/VesmoRenderer.hpp). This class fills the
// engine's fields that feed it, each frame in FrameInit, from Game::settings: renderScale (render_scale),
// vsync, upscalingQualitySetting, upscalingSharpness, finalUpscale, brightness, contrast, gamma, fov,
// devTools (dev_tools), debugValue (this class's), upscalingAlgo (upscaling_algo, upper-cased in the
// settings string itself) and renderFlags, whose bits are:
//     bit 0  tone_mapping       bit 1  taa       bit 2  the upscaler is temporal
//     bit 3  debugView          bit 4  dithering
// The camera (the engine's inverseViewMatrix and projectionMatrix) is the camera module's to write; it
// writes them relative to the world origin, like every GPU record.
//
// ---- The world origin
//
// GPU records are single precision, so they are kept relative to an origin near the camera. Each frame
// FrameInit compares the camera's position (cameraTransform's fourth column) with originPosition, both
// rounded to whole metres: when they are more than the option "world_origin_reset_distance_threshold"
// (default 1000) apart, the origin moves to the rounded camera position and originChanged is set for this
// frame. A threshold of 0 or less makes the origin follow the camera, unrounded, every frame. The hook
// "Renderer_FrameInit" sees the new originPosition with the old originInverseTransform; after it,
// originInverseTransform = inverse(originReferenceTransform) and originInt = the integer origin.
// relativeViewMatrix = inverse(originInverseTransform * cameraTransform) every frame. The camera's module
// writes cameraTransform and originReferenceTransform before FrameInit.
//
// ---- The overlay pass (FrameOverlayCommands)
//
// After the "overlay" hook, one render pass (overlayRenderpass) loads the frame's output image and draws,
// with its own depth buffer: the physics debug views, the UI elements, then the crosshair. The pipelines
// share overlayPipelineLayout: the engine's descriptor set (set 0: render block, texture table) and one
// push-constant range of 128 bytes for all stages.
//   - crosshairPipeline ("game/graphics/crosshair", points): a cross of points at the centre of the output,
//     from the render block's extent; it reads no push constants.
//   - colliderFillPipeline and colliderLinePipeline ("game/graphics/physicsCollider", triangles and lines):
//     with Game::debugServerSidePhysics, every collider of Game::physicsDebugColliders_front draws twice,
//     filled (translucent) and as the edges of its triangles; then every line of
//     Game::physicsDebugLines_front. The front lists take the staging lists when the physics step has
//     published (Game::physicsDebugCollidersUpdated), else the last ones draw again. A collider is placed by
//     its entity's pose in the environment (its server-side entity, up the parent chain) times its own
//     transform; a line with an entity id is in that entity's frame, a line without one in the
//     environment's. Vertices are read through buffer device addresses ("Debug Physics Collider Vertex
//     Buffer", vec3; "Debug Physics Collider Index Buffer", 16-bit; "Debug Physics Line Buffer"), one set
//     per frame in flight, grown as needed (the old ones go to the trash), never shrunk.
//     Push constants (DebugPush below): the transform relative to the world origin, a colour, the buffer
//     addresses, the first index and vertex, and the mode (0 triangles, 1 triangle edges, 2 lines).
//
// ---- Screenshots
//
// `screenshotBinding` (F12 by default; key and mouse-button parts are read) is polled at each Frame():
// a press writes the next frame's output to screenshotFolder/screenshot-<date>-<time>.png through
// SaveImage. TakeScreenshot(path) does the same at once.
//
// ---- Threads
//
// The Frame operations run on the render thread one at a time. Trash, AddAimReference,
// AddRenderableHitShader, AddRenderableCallableShader and the entries of pushedTextures may be called from
// any thread and take their own mutexes, none held during a hook. CollectTrash and CollectAllTrash run on
// the render thread and take no lock: trashMutex orders pushes against pushes only, so a Trash from another
// thread must not meet a collection. Lock order: pushedTexturesMutex before trashMutex.

#include "game/graphics/Aim.hpp"

#include "vesmo/filesystem/ConfigFile.hpp"
#include "vesmo/renderer/VesmoRenderer.hpp"
#include "vesmo/vk/GraphicsPipeline.hpp"
#include "vesmo/vk/MappedBuffer.hpp"
#include "vesmo/vk/PipelineLayout.hpp"
#include "vesmo/vk/Renderpass.hpp"
#include "vesmo/vk/Sampler.hpp"

#include <glm/mat4x4.hpp>
#include <glm/vec4.hpp>

#include <any>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace game::graphics {

class GameRenderer : public vesmo::renderer::VesmoRenderer {
public:
    using Aim = graphics::Aim;
    using AimReference = graphics::AimReference;

    // The preset names, by graphics_preset (ConfigureSettingsFromPreset).
    static constexpr int PresetCount = 7;
    // What the debug views push, 128 bytes (std430 push constants; physicsCollider.vert reads the same).
    struct DebugPush {
        glm::mat4 transform{1.0f};    // 0    model to world-relative-to-the-origin
        glm::vec4 color{1.0f};        // 64
        VkDeviceAddress vertices = 0; // 80   vec3 per vertex (modes 0, 1); vec4 per line end (mode 2)
        VkDeviceAddress indices = 0;  // 88   16-bit, three per triangle (modes 0, 1)
        uint32_t firstIndex = 0;      // 96   modes 0, 1: the collider's first index
        uint32_t firstVertex = 0;     // 100  modes 0, 1: added to its indices
        uint32_t mode = 0;            // 104  0 triangles, 1 triangle edges, 2 lines
        uint32_t reserved[5] = {};    // 108
    };
    static_assert(sizeof(DebugPush) == 128);

    // `flags` are the engine's (VulkanRenderer::DEVICE, VALIDATION, OFFSCREEN); `features` are ored into the
    // chain this class asks for.
    GameRenderer(vesmo::graphics::Window* window, const char* name, uint32_t flags,
                 const vesmo::vk::PhysicalDevice::Features& features = {});
    ~GameRenderer() override;

    void CreateSwapchainDependantObjects() override; // base, then the UI pipelines
    void DestroySwapchainDependantObjects() override;
    void RefreshViewport() override; // base, overlay pass and pipelines again, then "Renderer_RefreshViewport"
    void StartRendering() override;  // base, then "Renderer_StartRendering" (all modules)
    void StopRendering() override;   // device idle, "Renderer_StopRendering" (all modules), then base
    void FrameCollectGarbage() override;
    void FrameUpdateDescriptorSets() override;
    void FrameBeforePost() override;
    void FrameInit() override;
    void FrameUpdateUi() override;
    void FrameBeforeUpdate() override;
    void FrameUpdate() override;
    void FrameBeforeRender() override;
    void FrameAfterRender() override;
    void FrameAfterUpdate() override;
    void FramePushCommands(VkCommandBuffer commandBuffer) override;
    void FrameBuildCommands(VkCommandBuffer commandBuffer) override;
    void FrameRenderCommands(VkCommandBuffer commandBuffer) override;
    void FrameResolveCommands(VkCommandBuffer commandBuffer) override;
    void FrameBlitCommands(VkCommandBuffer commandBuffer) override;
    void FramePostCommands(VkCommandBuffer commandBuffer) override;
    void FrameOverlayCommands(VkCommandBuffer commandBuffer) override;
    // Rebuilds the UI style first when `resetUiStyle` is set, then the engine's frame; then a screenshot
    // when its binding was pressed.
    void Frame() override;

    // Runs once before the device goes away: drops the render instances and light sources, empties the
    // texture table, forgets the aim's reference, and releases everything the trash holds.
    void Cleanup();

    // graphics_preset decides upscaling_quality_setting and final_upscale (table in the source); 0
    // (custom), 7 and above, and anything below 0 change nothing. No other setting is touched.
    void ConfigureSettingsFromPreset();

    // On-screen size in pixels (mean of both axes) of an object of world size `size` at `position`; `fov`
    // 0 takes the engine's, in degrees. 2π times the mean half-extent when the camera is at the object or
    // the object fills more than π radians' worth.
    double GetFixedBoundingSizeInScreenPixels(const glm::dvec3& position, double size, double fov = 0);

    // Keeps `object` until two collections have passed. Any thread.
    void Trash(std::shared_ptr<void> object);
    // Releases what was trashed before the previous collection; what was trashed since moves up a
    // generation. Render thread only.
    void CollectTrash();
    // Collects until nothing is left.
    void CollectAllTrash();

    // The engine's SaveImage: `image` (in `layout`) to a file. Formats, by VkFormat number: 9, 16, 23
    // (1 to 3 bytes), 37 and 44 (RGBA, BGRA: red and blue put in their places), 100, 103, 109 (float);
    // `forceOpaque` makes alpha opaque for 37, 44 and 109. Another format writes nothing and returns 0.
    using VesmoRenderer::SaveImage;
    // Writes the output image of the last frame to `path` (PNG by its extension). Returns SaveImage's result.
    int TakeScreenshot(const std::string& path);

    // The next index in the aim table, under aimReferencesMutex; `moduleName` becomes a ModuleID.
    uint32_t AddAimReference(const std::string& moduleName, std::any data);
    // The index a render record carries for `path` (a shader's base name). Asserts that the lists are not
    // locked yet (renderableShadersLocked): shaders are registered during start-up only.
    uint32_t AddRenderableHitShader(const std::string& path);
    // The same for a callable shader's source text.
    uint32_t AddRenderableCallableShader(const std::string& source);

    // ---- members, in the order of the design
    vesmo::vk::Renderpass overlayRenderpass;
    vesmo::vk::Sampler overlaySampler; // linear, clamped to the edge
    std::array<const char*, PresetCount> graphicsPresets{};
    std::vector<const char*> upscalingAlgoNames;
    vesmo::vk::Sampler nearestSampler; // a sampler of zeros: nearest, repeat
    vesmo::vk::Sampler textureSampler; // linear, clamped to the edge
    vesmo::vk::PipelineLayout overlayPipelineLayout;
    glm::dmat4 originReferenceTransform{1.0};
    glm::dvec4 originPosition{0.0};
    glm::dmat4 originInverseTransform{1.0};
    glm::dmat4 cameraTransform{1.0};
    glm::dmat4 relativeViewMatrix{1.0};
    bool originChanged = false;
    int64_t originInt[3] = {0, 0, 0};
    bool debugView = false;
    float debugValue = 0.0f; // hides the engine's field of the same name; FrameInit copies it there
    bool resetUiStyle = false;
    std::mutex trashMutex;
    std::vector<std::shared_ptr<void>> trashNew;
    std::vector<std::shared_ptr<void>> trashOld;
    Aim aim;
    std::mutex aimReferencesMutex;
    std::vector<AimReference> aimReferences;
    std::mutex renderableShadersMutex;
    bool renderableShadersLocked = false; // the module that builds the ray-tracing pipeline sets it
    std::vector<std::string> renderableHitShaders;
    std::vector<std::string> renderableCallableShaders;
    std::vector<std::shared_ptr<vesmo::graphics::Texture>> pushedTextures;
    std::mutex pushedTexturesMutex;
    vesmo::vk::GraphicsPipeline crosshairPipeline;
    // False while a screen without aiming (a launcher's menu) is up; written by any thread.
    std::atomic<bool> crosshairVisible{true};
    vesmo::vk::GraphicsPipeline colliderFillPipeline;
    vesmo::vk::GraphicsPipeline colliderLinePipeline;

    // ---- screenshots
    vesmo::filesystem::ConfigFile::InputBinding screenshotBinding; // the constructor sets F12 (GLFW key 301)
    std::string screenshotFolder = "../Orkalin-data/screenshots";

private:
    // One frame slot's debug geometry; each buffer grows by replacement (the old one goes to the trash).
    struct DebugBuffers {
        std::shared_ptr<vesmo::vk::MappedBuffer<glm::vec3, VMA_MEMORY_USAGE_CPU_TO_GPU, 4096, 16>> vertices;
        std::shared_ptr<vesmo::vk::MappedBuffer<uint16_t, VMA_MEMORY_USAGE_CPU_TO_GPU, 4096, 16>> indices;
        std::shared_ptr<vesmo::vk::MappedBuffer<glm::vec4, VMA_MEMORY_USAGE_CPU_TO_GPU, 4096, 16>> lines;
    };
    // Where each collider of the front list starts in the slot's buffers, and its transform.
    struct DebugCollider {
        glm::mat4 transform;
        glm::vec4 color;
        uint32_t firstIndex;
        uint32_t firstVertex;
        uint32_t indexCount;
    };

    void MakeOverlayRenderpass();
    void DrawPhysicsDebug(VkCommandBuffer commandBuffer);
    void PollScreenshotBinding();

    std::vector<std::shared_ptr<void>> _trashReleasing; // the generation being released, off both lists
    std::array<DebugBuffers, FRAMES_IN_FLIGHT> _debugBuffers;
    std::vector<DebugCollider> _debugColliders; // scratch, reused every frame
    bool _screenshotKeyDown = false;
    bool _screenshotPending = false;
};

} // namespace game::graphics
