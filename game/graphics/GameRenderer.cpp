#include "game/graphics/GameRenderer.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/graphics/RenderableInstance.hpp"
#include "game/graphics/ui/Element.hpp"
#include "game/graphics/ui/GraphicsPipelineWrapper.hpp"
#include "game/graphics/ui/Panels.hpp"
#include "game/host/Options.hpp"
#include "game/modular/Families.hpp"

#include "vesmo/graphics/Window.hpp"

#include <glm/gtc/packing.hpp>
#include <imgui.h>

#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <numbers>
#include <stdexcept>

namespace game::graphics {

using game::modular::GAME_Mod;
using game::modular::GameModTable;
using vesmo::vk::PhysicalDevice;

namespace {

// The functions built here capture one member pointer (and a command buffer): they fit std::function's
// inline storage, so a walk allocates nothing.
void WalkAll(game::modular::Hook GameModTable::*hook) {
    GAME_Mod::ForEachModule([hook](GAME_Mod::Ptr& module) {
        if (auto call = (*module).*hook)
            call();
    });
}

void WalkSorted(const char* list, game::modular::Hook GameModTable::*hook) {
    GAME_Mod::ForEachSortedModule(list, [hook](GAME_Mod::Ptr& module) {
        if (auto call = (*module).*hook)
            call();
    });
}

void WalkAll(game::modular::CommandHook GameModTable::*hook, VkCommandBuffer commandBuffer) {
    GAME_Mod::ForEachModule([hook, commandBuffer](GAME_Mod::Ptr& module) {
        if (auto call = (*module).*hook)
            call(commandBuffer);
    });
}

void WalkSorted(const char* list, game::modular::CommandHook GameModTable::*hook, VkCommandBuffer commandBuffer) {
    GAME_Mod::ForEachSortedModule(list, [hook, commandBuffer](GAME_Mod::Ptr& module) {
        if (auto call = (*module).*hook)
            call(commandBuffer);
    });
}

constexpr const char* kFontAtlas = "game/graphics/ui/textures/monospace_font_atlas.png";
// A static key: Options::Get takes a reference, so the two reads per frame allocate nothing.
const std::string kOriginThreshold = "world_origin_reset_distance_threshold";
constexpr double kDefaultOriginThreshold = 1000.0;
// Four arms of 8 x 2 points of one pixel (game/graphics/crosshair.vert).
constexpr uint32_t kCrosshairPoints = 64;
constexpr int kScreenshotKey = 301; // GLFW_KEY_F12

// The feature chain this renderer asks for, ored with the caller's.
PhysicalDevice::Features RequestedFeatures(const PhysicalDevice::Features& caller) {
    PhysicalDevice::Features wanted;
    wanted.features.vertexPipelineStoresAndAtomics = VK_TRUE;
    wanted.features.fragmentStoresAndAtomics = VK_TRUE;
    // Structures with no member set ask for all of them that the device has.
    wanted.chain |= PhysicalDevice::Features::SHADER_CLOCK | PhysicalDevice::Features::STORAGE_16BIT |
                    PhysicalDevice::Features::VULKAN_12 | PhysicalDevice::Features::RAY_TRACING_PIPELINE |
                    PhysicalDevice::Features::ACCELERATION_STRUCTURE | PhysicalDevice::Features::RAY_QUERY |
                    PhysicalDevice::Features::VULKAN_13;
    PhysicalDevice::Features features = caller;
    features |= wanted;
    return features;
}

VkSamplerCreateInfo LinearClampUV() {
    VkSamplerCreateInfo info{};
    info.magFilter = VK_FILTER_LINEAR;
    info.minFilter = VK_FILTER_LINEAR;
    info.addressModeU = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
    info.addressModeV = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE;
    return info;
}

// Whether `texture` replaces Texture::Push. A virtual call through a pointer to member on this ABI
// (Itanium C++, x86-64) is encoded as 1 + the byte offset of the entry in the virtual table: comparing the
// object's entry with a base object's tells whether Push does anything, without calling it.
bool OverridesPush(const vesmo::graphics::Texture& texture) {
    struct Base {
        size_t slot = 0;
        const void* body = nullptr;
        Base() {
            void (vesmo::graphics::Texture::*push)(VkCommandBuffer) = &vesmo::graphics::Texture::Push;
            static_assert(sizeof(push) == 2 * sizeof(uintptr_t));
            uintptr_t encoded = 0;
            std::memcpy(&encoded, &push, sizeof(encoded));
            GAME_ASSERT_TEXT((encoded & 1) != 0, "virtual member function");
            slot = (encoded - 1) / sizeof(void*);
            const vesmo::graphics::Texture plain(1, 1, std::vector<uint8_t>{});
            body = (*reinterpret_cast<const void* const* const*>(&plain))[slot];
        }
    };
    static const Base base;
    return (*reinterpret_cast<const void* const* const*>(&texture))[base.slot] != base.body;
}

// The pose of a server-side entity in its environment: its transform times those of its parents. The
// identity for an id that names no entity (lines of the environment's frame).
glm::dmat4 PoseInEnvironment(const game::entity::Id& id) {
    glm::dmat4 pose(1.0);
    game::entity::Id next = id;
    // Parent chains are built without cycles; the bound only keeps a damaged one from hanging the frame.
    for (int depth = 0; depth < 64 && (next.First() != 0 || next.Second() != 0); ++depth) {
        const game::entity::ServerSideEntity::Ptr entity = game::entity::ServerSideEntity::Get(next);
        if (!entity)
            break;
        pose = entity->GetTransform() * pose;
        next = entity->parentEntity;
    }
    return pose;
}

// Grows `buffer` to hold `count` records; the one it replaces goes to the trash, since a frame in flight
// may still read it.
template <class Buffer>
void Reserve(GameRenderer& renderer, std::shared_ptr<Buffer>& buffer, size_t count, const char* name) {
    if (buffer && buffer->Count() >= count)
        return;
    size_t capacity = buffer ? buffer->Count() * 2 : 256;
    while (capacity < count)
        capacity *= 2;
    if (buffer)
        renderer.Trash(std::move(buffer));
    buffer = std::make_shared<Buffer>(renderer.GetDevice(), capacity, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, name);
}

} // namespace

GameRenderer::GameRenderer(vesmo::graphics::Window* window, const char* name, uint32_t flags,
                           const vesmo::vk::PhysicalDevice::Features& features)
    : VesmoRenderer(window, name, flags, RequestedFeatures(features), Game::settings ? Game::settings->vsync : true) {
    vesmo::vk::Device* device = GetDevice();
    screenshotBinding.key = kScreenshotKey;
    MakeOverlayRenderpass();

    overlaySampler = vesmo::vk::Sampler(device, LinearClampUV(), "Overlay sampler");
    graphicsPresets = {
        "Custom Graphics Settings (I want to tweak everything myself!)",
        "FAST FAST (I don't care about graphics at all, Just give me them frames!)",
        "Low quality (recommended for lower end RTX GPUs)",
        "Medium quality (recommended for most RTX GPUs)",
        "Good quality (recommended for high end RTX GPUs)",
        "High quality (only for RTX 4090)",
        "Ultra quality (that GPU is not out yet)",
    };
    upscalingAlgoNames = {"NONE"};
    nearestSampler = vesmo::vk::Sampler(device, VkSamplerCreateInfo{}, "Nearest sampler");
    textureSampler = vesmo::vk::Sampler(device, LinearClampUV(), "Texture sampler");

    overlayPipelineLayout =
        vesmo::vk::PipelineLayout(device, {GetDescriptorSetLayout()}, {{VK_SHADER_STAGE_ALL, 0, 128}}, "Overlay");

    // Slot 0 means "nothing" in both the aim and the table, so a cleared aim record finds nothing.
    aim.reference = AimReference{};
    aimReferences.push_back(AimReference{});

    vesmo::vk::GraphicsPipeline::Description description;
    description.lineWidth = 1.0f;
    description.samples = VK_SAMPLE_COUNT_1_BIT;
    description.minSampleShading = 0.2f;
    description.depthTest = true;
    description.depthWrite = true;
    description.depthCompare = VK_COMPARE_OP_LESS;
    description.minDepthBounds = 0.0f;
    description.maxDepthBounds = 1.0f;
    description.blend = true;
    description.srcColor = VK_BLEND_FACTOR_SRC_ALPHA;
    description.dstColor = VK_BLEND_FACTOR_ONE_MINUS_SRC_ALPHA;
    description.srcAlpha = VK_BLEND_FACTOR_ONE;
    description.dstAlpha = VK_BLEND_FACTOR_ZERO;
    description.colorWriteMask = 15;
    description.logicOpEnable = false;
    description.logicOp = VK_LOGIC_OP_COPY;

    description.topology = VK_PRIMITIVE_TOPOLOGY_POINT_LIST;
    description.cullMode = VK_CULL_MODE_BACK_BIT;
    crosshairPipeline = vesmo::vk::GraphicsPipeline(device, overlayPipelineLayout, "game/graphics/crosshair",
                                                    overlayRenderpass, description);
    description.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST;
    description.cullMode = VK_CULL_MODE_NONE;
    colliderFillPipeline = vesmo::vk::GraphicsPipeline(device, overlayPipelineLayout, "game/graphics/physicsCollider",
                                                       overlayRenderpass, description);
    description.topology = VK_PRIMITIVE_TOPOLOGY_LINE_LIST;
    colliderLinePipeline = vesmo::vk::GraphicsPipeline(device, overlayPipelineLayout, "game/graphics/physicsCollider",
                                                       overlayRenderpass, description);

    if (AddTexture(kFontAtlas) != 0)
        throw std::runtime_error("Font Atlas Index is not 0");

    if (Game::settings) {
        // -1 is a first start: take the medium preset and keep it in the file. Otherwise the file stays as
        // the user left it.
        if (static_cast<uint32_t>(Game::settings->graphics_preset) == UINT32_MAX) {
            Game::settings->graphics_preset = 3;
            ConfigureSettingsFromPreset();
            Game::settings->WriteConfig();
        } else {
            ConfigureSettingsFromPreset();
        }
    }

    // Part of the GPU records' format: these indices are what render instances and plasma trails write.
    AddRenderableHitShader("game/graphics/rt/entity_tri");
    AddRenderableHitShader("game/graphics/rt/entity_box");
    AddRenderableHitShader("game/graphics/rt/entity_sphere");
    AddRenderableHitShader("game/graphics/rt/plasma");
    // An empty callable shader holds index 0, so that 0 in a record means "none".
    AddRenderableCallableShader("#rcall\nvoid main(){}");
}

GameRenderer::~GameRenderer() {
    // The frames in flight may still read what the trash holds and the debug buffers.
    WaitIdle();
    for (DebugBuffers& buffers : _debugBuffers)
        buffers = DebugBuffers{};
    CollectAllTrash();
}

void GameRenderer::MakeOverlayRenderpass() {
    const VkExtent2D extent = GetOutputImageExtent();
    overlayRenderpass = vesmo::vk::Renderpass(GetDevice(), GetOutputImageFormat(), extent.width, extent.height,
                                              GetOutputImageUsage(), true, "Overlay");
}

void GameRenderer::ConfigureSettingsFromPreset() {
    if (!Game::settings)
        return;
    GameSettings& settings = *Game::settings;
    struct Preset {
        int upscalingQuality;
        float finalUpscale;
    };
    // Index 0 (custom) and anything past the table keep what the user set. 3 and 4 write the same values.
    static constexpr Preset kPresets[PresetCount] = {{0, 0.0f}, {1, 2.0f}, {1, 1.5f}, {1, 0.0f},
                                                     {1, 0.0f}, {2, 1.0f}, {3, 1.0f}};
    const int preset = settings.graphics_preset;
    if (preset < 1 || preset >= PresetCount)
        return;
    settings.upscaling_quality_setting = kPresets[preset].upscalingQuality;
    settings.final_upscale = kPresets[preset].finalUpscale;
}

void GameRenderer::CreateSwapchainDependantObjects() {
    VesmoRenderer::CreateSwapchainDependantObjects();
    ui::GraphicsPipelineWrapper::LoadPipelines(this);
}

void GameRenderer::DestroySwapchainDependantObjects() {
    ui::GraphicsPipelineWrapper::UnloadPipelines();
    VesmoRenderer::DestroySwapchainDependantObjects();
}

void GameRenderer::RefreshViewport() {
    VesmoRenderer::RefreshViewport();
    MakeOverlayRenderpass();
    crosshairPipeline.RefreshViewport(overlayRenderpass);
    colliderFillPipeline.RefreshViewport(overlayRenderpass);
    colliderLinePipeline.RefreshViewport(overlayRenderpass);
    WalkAll(&GameModTable::Renderer_RefreshViewport);
}

void GameRenderer::StartRendering() {
    VesmoRenderer::StartRendering();
    WalkAll(&GameModTable::Renderer_StartRendering);
}

void GameRenderer::StopRendering() {
    WaitIdle();
    WalkAll(&GameModTable::Renderer_StopRendering);
    VesmoRenderer::StopRendering();
}

void GameRenderer::FrameCollectGarbage() {
    WalkAll(&GameModTable::Renderer_FrameCollectGarbage);
    CollectTrash();
}

void GameRenderer::FrameUpdateDescriptorSets() { WalkAll(&GameModTable::Renderer_FrameUpdateDescriptorSets); }
void GameRenderer::FrameBeforePost() { WalkAll(&GameModTable::Renderer_FrameBeforePost); }

void GameRenderer::FrameInit() {
    if (GameSettings* settings = Game::settings.get()) {
        renderScale = settings->render_scale;
        vsync = settings->vsync;
        upscalingQualitySetting = settings->upscaling_quality_setting;
        upscalingSharpness = settings->upscaling_sharpness;
        finalUpscale = settings->final_upscale;
        brightness = settings->brightness;
        contrast = settings->contrast;
        gamma = settings->gamma;
        fov = settings->fov;
        devTools = settings->dev_tools;
        {
            // In the settings string itself, so that the next WriteConfig stores the engine's spelling.
            std::lock_guard lock(settings->mutex);
            for (char& c : settings->upscaling_algo)
                c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            upscalingAlgo = vesmo::renderer::Upscaler::GetAlgoEnumFromStr(settings->upscaling_algo);
        }
        renderFlags = (settings->tone_mapping ? 1 : 0) | (settings->taa ? 2 : 0) |
                      (vesmo::renderer::Upscaler::IsTemporal(upscalingAlgo) ? 4 : 0) | (debugView ? 8 : 0) |
                      (settings->dithering ? 16 : 0);
    } else {
        renderFlags = debugView ? 8 : 0;
    }
    VesmoRenderer::debugValue = debugValue;

    const glm::dvec3 camera(cameraTransform[3]);
    if (game::Options::Get<double>(kOriginThreshold, kDefaultOriginThreshold) > 0.0) {
        const glm::dvec3 offset = camera - glm::dvec3(originPosition);
        const glm::dvec3 rounded(static_cast<double>(static_cast<int64_t>(std::round(offset.x))),
                                 static_cast<double>(static_cast<int64_t>(std::round(offset.y))),
                                 static_cast<double>(static_cast<int64_t>(std::round(offset.z))));
        if (glm::length(rounded) > game::Options::Get<double>(kOriginThreshold, kDefaultOriginThreshold)) {
            originPosition = glm::dvec4(std::round(camera.x), std::round(camera.y), std::round(camera.z), 1.0);
            originChanged = true;
        } else {
            originChanged = false;
        }
    } else {
        originPosition = cameraTransform[3];
        originChanged = true;
    }

    WalkAll(&GameModTable::Renderer_FrameInit);

    if (originChanged) {
        originInt[0] = static_cast<int64_t>(originPosition.x);
        originInt[1] = static_cast<int64_t>(originPosition.y);
        originInt[2] = static_cast<int64_t>(originPosition.z);
        originInverseTransform = glm::inverse(originReferenceTransform);
    }
    relativeViewMatrix = glm::inverse(originInverseTransform * cameraTransform);
}

// The game's own panels first, then the modules' windows over them.
void GameRenderer::FrameUpdateUi() {
    ui::Panels::Draw();
    WalkSorted("ui", &GameModTable::Renderer_FrameUpdateUi);
}
void GameRenderer::FrameBeforeUpdate() { WalkSorted("update", &GameModTable::Renderer_FrameBeforeUpdate); }
void GameRenderer::FrameUpdate() { WalkSorted("update", &GameModTable::Renderer_FrameUpdate); }
void GameRenderer::FrameAfterUpdate() { WalkSorted("update", &GameModTable::Renderer_FrameAfterUpdate); }
void GameRenderer::FrameBeforeRender() { WalkSorted("render", &GameModTable::Renderer_FrameBeforeRender); }

void GameRenderer::FrameAfterRender() {
    ui::Element::SortByOrder();
    WalkSorted("render", &GameModTable::Renderer_FrameAfterRender);
}

void GameRenderer::FramePushCommands(VkCommandBuffer commandBuffer) {
    WalkAll(&GameModTable::Renderer_FramePushCommands, commandBuffer);
    std::lock_guard lock(pushedTexturesMutex);
    bool released = false;
    for (std::shared_ptr<vesmo::graphics::Texture>& texture : pushedTextures) {
        if (!texture)
            continue;
        if (texture.use_count() == 1) {
            // Nobody else wants it: it leaves the list, through the trash since a frame may still read it.
            Trash(texture);
            texture.reset();
            released = true;
        } else if (OverridesPush(*texture)) {
            texture->Push(commandBuffer);
        }
    }
    if (released)
        std::erase_if(pushedTextures, [](const auto& texture) { return !texture; });
}

void GameRenderer::FrameBuildCommands(VkCommandBuffer commandBuffer) {
    WalkAll(&GameModTable::Renderer_FrameBuildCommands, commandBuffer);
}
void GameRenderer::FrameRenderCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("render", &GameModTable::Renderer_FrameRenderCommands, commandBuffer);
}
void GameRenderer::FrameResolveCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("post", &GameModTable::Renderer_FrameResolveCommands, commandBuffer);
}
void GameRenderer::FrameBlitCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("post", &GameModTable::Renderer_FrameBlitCommands, commandBuffer);
}
void GameRenderer::FramePostCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("post", &GameModTable::Renderer_FramePostCommands, commandBuffer);
}

void GameRenderer::FrameOverlayCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("overlay", &GameModTable::Renderer_FrameOverlayCommands, commandBuffer);
    // Without a device Begin, Bind, Push, Draw and End record nothing; the debug hand-over and geometry
    // run all the same.
    overlayRenderpass.Begin(commandBuffer, GetOutputVkImageView());
    // The client-side view (Game::debugClientSidePhysics: each client-side entity's colliders under
    // ClientSideEntity::_sharedObjectsMutex, placed by GetAbsoluteTransformInEnvironment) joins here with
    // the client-side entities.
    DrawPhysicsDebug(commandBuffer);
    ui::Element::DrawAll(commandBuffer); // in their sorted order, under Element::_sharedObjectsMutex
    if (crosshairVisible.load()) {
        crosshairPipeline.Bind(commandBuffer, GetDescriptorSet());
        crosshairPipeline.Draw(commandBuffer, kCrosshairPoints, 1);
    }
    overlayRenderpass.End(commandBuffer);
}

void GameRenderer::DrawPhysicsDebug(VkCommandBuffer commandBuffer) {
    if (!Game::debugServerSidePhysics)
        return;
    // The physics step publishes into staging; the front lists are ours until the next hand-over, and the
    // lists of the frame before draw again when nothing new came.
    if (Game::physicsDebugCollidersUpdated.exchange(false)) {
        std::lock_guard lock(Game::physicsDebugMutex);
        std::swap(Game::physicsDebugColliders_staging, Game::physicsDebugColliders_front);
        std::swap(Game::physicsDebugLines_staging, Game::physicsDebugLines_front);
    }
    const std::vector<Game::PhysicsColliderDebug>& colliders = Game::physicsDebugColliders_front;
    const std::vector<Game::PhysicsLineDebug>& lines = Game::physicsDebugLines_front;
    if (colliders.empty() && lines.empty())
        return;

    size_t vertexCount = 0, indexCount = 0;
    for (const Game::PhysicsColliderDebug& entry : colliders) {
        vertexCount += entry.collider.vertexCount;
        indexCount += 3 * static_cast<size_t>(entry.collider.triangleCount);
    }
    DebugBuffers& buffers = _debugBuffers[GetFrameIndex()];
    Reserve(*this, buffers.vertices, vertexCount + 1, "Debug Physics Collider Vertex Buffer");
    Reserve(*this, buffers.indices, indexCount + 2, "Debug Physics Collider Index Buffer");
    Reserve(*this, buffers.lines, 2 * lines.size() + 1, "Debug Physics Line Buffer");

    // Colliders: their meshes into the slot's buffers, their placement relative to the world origin.
    _debugColliders.clear();
    glm::vec3* vertices = buffers.vertices->Data();
    uint16_t* indices = buffers.indices->Data();
    uint32_t firstVertex = 0, firstIndex = 0;
    game::entity::Id lastId;
    glm::dmat4 pose(1.0);
    bool havePose = false;
    for (const Game::PhysicsColliderDebug& entry : colliders) {
        const game::entity::ConvexMeshCollider& collider = entry.collider;
        GAME_ASSERT_TEXT(collider.triangleCount > 0, "collider.nbTriangles");
        if (!havePose || entry.id != lastId) {
            pose = PoseInEnvironment(entry.id);
            lastId = entry.id;
            havePose = true;
        }
        std::memcpy(vertices + firstVertex, collider.vertices.data(), collider.vertexCount * sizeof(glm::vec3));
        for (uint32_t t = 0; t < collider.triangleCount; ++t)
            for (uint32_t k = 0; k < 3; ++k)
                indices[firstIndex + 3 * t + k] = collider.triangles[t][k];
        const glm::dmat4 placed = originInverseTransform * pose * collider.transform;
        const glm::vec4 color =
            entry.isDynamic ? glm::vec4(1.0f, 0.55f, 0.1f, 1.0f) : glm::vec4(0.3f, 0.8f, 1.0f, 1.0f);
        _debugColliders.push_back({glm::mat4(placed), color, firstIndex, firstVertex, 3 * collider.triangleCount});
        firstIndex += 3 * collider.triangleCount;
        firstVertex += collider.vertexCount;
    }

    // Lines: both ends relative to the world origin, with their colour packed in the fourth word.
    glm::vec4* lineVertices = buffers.lines->Data();
    havePose = false;
    for (size_t i = 0; i < lines.size(); ++i) {
        const Game::PhysicsLineDebug& line = lines[i];
        if (!havePose || line.id != lastId) {
            pose = originInverseTransform * PoseInEnvironment(line.id);
            lastId = line.id;
            havePose = true;
        }
        const uint32_t packed = glm::packUnorm4x8(line.color);
        const glm::dvec3 ends[2] = {line.start, line.end};
        for (int e = 0; e < 2; ++e) {
            const glm::vec3 p(pose * glm::dvec4(ends[e], 1.0));
            glm::vec4& out = lineVertices[2 * i + static_cast<size_t>(e)];
            out = glm::vec4(p, 0.0f);
            std::memcpy(&out.w, &packed, sizeof(packed));
        }
    }

    DebugPush push;
    push.vertices = buffers.vertices->DeviceAddress();
    push.indices = buffers.indices->DeviceAddress();
    const VkDescriptorSet set = GetDescriptorSet();
    // Fills first, translucent; then the edges of the same triangles, which the shader draws a little
    // nearer so that they win the depth test against their own faces.
    for (uint32_t mode = 0; mode < 2; ++mode) {
        vesmo::vk::GraphicsPipeline& pipeline = mode == 0 ? colliderFillPipeline : colliderLinePipeline;
        pipeline.Bind(commandBuffer, set);
        for (const DebugCollider& collider : _debugColliders) {
            push.transform = collider.transform;
            push.color = glm::vec4(glm::vec3(collider.color), mode == 0 ? 0.25f : 1.0f);
            push.firstIndex = collider.firstIndex;
            push.firstVertex = collider.firstVertex;
            push.mode = mode;
            pipeline.Push(commandBuffer, &push, sizeof(push));
            pipeline.Draw(commandBuffer, mode == 0 ? collider.indexCount : 2 * collider.indexCount, 1);
        }
    }
    if (!lines.empty()) {
        push.transform = glm::mat4(1.0f);
        push.color = glm::vec4(1.0f);
        push.vertices = buffers.lines->DeviceAddress();
        push.firstIndex = 0;
        push.firstVertex = 0;
        push.mode = 2;
        colliderLinePipeline.Push(commandBuffer, &push, sizeof(push));
        colliderLinePipeline.Draw(commandBuffer, static_cast<uint32_t>(2 * lines.size()), 1);
    }
}

void GameRenderer::Frame() {
    if (resetUiStyle) {
        resetUiStyle = false;
        if (ImGui::GetCurrentContext()) {
            ImGui::GetStyle() = ImGuiStyle();
            Game::SetupUiStyle();
        }
    }
    PollScreenshotBinding();
    VesmoRenderer::Frame();
    if (_screenshotPending) {
        _screenshotPending = false;
        const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
        std::tm local{};
        localtime_r(&now, &local);
        char stamp[32];
        std::strftime(stamp, sizeof(stamp), "%Y%m%d-%H%M%S", &local);
        const std::string path = screenshotFolder + "/screenshot-" + stamp + ".png";
        if (TakeScreenshot(path))
            std::printf("Screenshot: %s\n", path.c_str());
        std::fflush(stdout);
    }
}

void GameRenderer::PollScreenshotBinding() {
    const vesmo::graphics::Window* window = GetWindow();
    if (!window)
        return;
    const bool down = (screenshotBinding.key >= 0 && window->GetKey(screenshotBinding.key)) ||
                      (screenshotBinding.mouseButton >= 0 && window->GetMouseButton(screenshotBinding.mouseButton));
    if (down && !_screenshotKeyDown)
        _screenshotPending = true;
    _screenshotKeyDown = down;
}

int GameRenderer::TakeScreenshot(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (!folder.empty()) {
        std::error_code ignored;
        std::filesystem::create_directories(folder, ignored);
    }
    return SaveOutputImage(path, true);
}

void GameRenderer::Cleanup() {
    {
        std::unique_lock lock(RenderableInstance::_sharedObjectsMutex);
        RenderableInstance::_sharedObjects.clear();
    }
    {
        std::unique_lock lock(LightSourceInstance::_sharedObjectsMutex);
        LightSourceInstance::_sharedObjects.clear();
    }
    ClearTextures();
    aim = AimReference{};
    for (DebugBuffers& buffers : _debugBuffers) {
        if (buffers.vertices)
            Trash(std::move(buffers.vertices));
        if (buffers.indices)
            Trash(std::move(buffers.indices));
        if (buffers.lines)
            Trash(std::move(buffers.lines));
    }
    CollectAllTrash();
}

double GameRenderer::GetFixedBoundingSizeInScreenPixels(const glm::dvec3& position, double size, double fieldOfView) {
    if (fieldOfView == 0.0)
        fieldOfView = fov;
    const VkExtent2D extent = GetOutputImageExtent();
    const double w = static_cast<double>(static_cast<int>(extent.width * renderScale));
    const double h = static_cast<double>(static_cast<int>(extent.height * renderScale));
    const double d = glm::length(glm::dvec3(cameraTransform[3]) - position);
    double factor = 2.0 * std::numbers::pi;
    if (d != 0.0 && fieldOfView != 0.0) {
        const double a = (size / d) / (fieldOfView * std::numbers::pi / 180.0);
        factor = a > std::numbers::pi ? 2.0 * std::numbers::pi : 2.0 * a;
    }
    return (w * 0.5 + h * 0.5) * factor;
}

void GameRenderer::Trash(std::shared_ptr<void> object) {
    std::lock_guard guard(trashMutex);
    trashNew.push_back(std::move(object));
}

void GameRenderer::CollectTrash() {
    // trashOld takes the newer generation and trashNew the older one; the older one then moves off both
    // lists before it is released, so that a destructor that trashes something else finds them in order.
    // The three vectors trade their storage, so a steady trash rate allocates nothing.
    trashOld.swap(trashNew);
    _trashReleasing.swap(trashNew);
    _trashReleasing.clear();
}

void GameRenderer::CollectAllTrash() {
    while (!trashNew.empty() || !trashOld.empty())
        CollectTrash();
}

uint32_t GameRenderer::AddAimReference(const std::string& moduleName, std::any data) {
    const vesmo::modular::ModuleID moduleId(moduleName);
    std::lock_guard guard(aimReferencesMutex);
    const auto index = static_cast<uint32_t>(aimReferences.size());
    aimReferences.push_back({moduleId, std::move(data)});
    return index;
}

uint32_t GameRenderer::AddRenderableHitShader(const std::string& path) {
    std::lock_guard guard(renderableShadersMutex);
    GAME_ASSERT(!renderableShadersLocked);
    const auto index = static_cast<uint32_t>(renderableHitShaders.size());
    renderableHitShaders.push_back(path);
    return index;
}

uint32_t GameRenderer::AddRenderableCallableShader(const std::string& source) {
    std::lock_guard guard(renderableShadersMutex);
    GAME_ASSERT(!renderableShadersLocked);
    const auto index = static_cast<uint32_t>(renderableCallableShaders.size());
    renderableCallableShaders.push_back(source);
    return index;
}

} // namespace game::graphics
