// The demo world's GAME_Mod module: what a player sees of the planet. It follows the entities of the
// module's server part in the same process (WorldView.hpp), eases each one towards its newest pose, and
// draws the ground, the sea and every entity with a raster pass (PlanetPass.hpp) through the renderer's
// hooks. A free camera flies over it, driven by the avatar's bindings: the translate keys move it, jump and
// crouch lift and lower it, sprint makes it faster, and the mouse looks around while the cursor is
// captured.
//
// Threads: poses are taken and eased on the main loop (Game_Update), the camera is moved on the input loop
// (Input_Update_Play), and the pass is recorded on the render thread. Each hand-over is a small struct or
// a pair of swapped vectors under a mutex of its own.

#include "PlanetEnvironment.hpp"
#include "PlanetMeshes.hpp"
#include "PlanetPass.hpp"
#include "WorldView.hpp"

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/input/Controller.hpp"
#include "game/modular/Families.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <unordered_map>
#include <vector>

#define PLANET_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using game::input::Controller;
using planet::DrawItem;
using planet::EntityPose;

// ---- the camera (input loop writes, render thread reads)
struct Camera {
    glm::dvec3 position{-18.0, -30.0, 0.0}; // z set above the ground once the planet is known
    double yaw = 0.0;                       // degrees, 0 looks along +Y, positive turns left
    double pitch = -14.0;                   // degrees, positive looks up
};
std::mutex g_cameraMutex;
Camera g_camera;
bool g_cameraPlaced = false;

glm::dvec3 Forward(const Camera& c) {
    const double yaw = glm::radians(c.yaw), pitch = glm::radians(c.pitch);
    return {-std::sin(yaw) * std::cos(pitch), std::cos(yaw) * std::cos(pitch), std::sin(pitch)};
}

// ---- client-side entities (main loop only)
struct ClientEntity {
    EntityPose pose;          // the newest pose from the server
    glm::dvec3 position{0.0}; // where it is drawn, easing towards pose.position
    glm::dquat orientation{1.0, 0.0, 0.0, 0.0};
    bool placed = false;
    uint64_t seen = 0;
};
std::unordered_map<game::entity::Id, ClientEntity> g_entities;
std::vector<EntityPose> g_poses;
uint64_t g_posesSeen = 0;
uint64_t g_turn = 0;
constexpr double kInterpolationRate = 20.0; // per second

planet::PlanetEnvironment g_planet;
bool g_worldBuilt = false;

// ---- the draw list: the main loop fills `g_drawBack` and swaps it with `g_drawReady`; the render thread
// swaps `g_drawReady` with `g_drawFront`
std::mutex g_drawMutex;
std::vector<DrawItem> g_drawBack, g_drawReady, g_drawFront;
bool g_drawFresh = false; // g_drawReady holds a list the render thread hasn't taken

planet::PlanetPass g_pass;
planet::CameraMatrices g_matrices; // render thread

// Looked up once per game run: the server part stays loaded from before Start to after Stop, and the
// lookup builds a key string.
planet::WorldView* g_worldView = nullptr;

planet::WorldView* FindWorldView() {
    if (g_worldView)
        return g_worldView;
    game::modular::SERVER_Mod::Ptr server = game::modular::SERVER_Mod::GetModule("Planet");
    if (server && server->ModuleGetCustomPtr)
        g_worldView = reinterpret_cast<planet::GetWorldViewHook>(server->ModuleGetCustomPtr)();
    return g_worldView;
}

glm::vec4 ColorOf(planet::Kind kind) {
    switch (kind) {
    case planet::Kind::Crate: return {0.66f, 0.44f, 0.22f, 1.0f};
    case planet::Kind::Rover: return {0.86f, 0.36f, 0.14f, 1.0f};
    case planet::Kind::Wheel: return {0.16f, 0.16f, 0.17f, 1.0f};
    case planet::Kind::Glider: return {0.92f, 0.93f, 0.95f, 1.0f};
    case planet::Kind::Tank: return {0.42f, 0.50f, 0.58f, 1.0f};
    default: return {0.8f, 0.2f, 0.8f, 1.0f};
    }
}

void BuildWorld(uint32_t seed) {
    g_planet.seed = seed;
    g_pass.SetWorld(planet::BuildGround(g_planet), planet::BuildSea(g_planet));
    g_worldBuilt = true;
    std::lock_guard lock(g_cameraMutex);
    if (!g_cameraPlaced) {
        const double ground = std::max(g_planet.GroundHeight(g_camera.position), 0.0);
        g_camera.position.z = ground + 7.0;
        g_cameraPlaced = true;
    }
}

// The newest poses into the client's entities; entities the server no longer has go.
void Follow(double deltaTime) {
    planet::WorldView* view = FindWorldView();
    uint32_t seed = 0;
    if (view && view->Take(g_poses, g_posesSeen, seed)) {
        ++g_turn;
        if (!g_worldBuilt)
            BuildWorld(seed);
        for (const EntityPose& pose : g_poses) {
            ClientEntity& entity = g_entities[pose.id];
            entity.pose = pose;
            entity.seen = g_turn;
        }
        for (auto it = g_entities.begin(); it != g_entities.end();)
            it = it->second.seen == g_turn ? std::next(it) : g_entities.erase(it);
    }
    const double t = std::clamp(kInterpolationRate * deltaTime, 0.0, 1.0);
    for (auto& [id, entity] : g_entities) {
        if (!entity.placed || !entity.pose.isDynamic) {
            entity.position = entity.pose.position;
            entity.orientation = entity.pose.orientation;
            entity.placed = true;
            continue;
        }
        entity.position = glm::mix(entity.position, entity.pose.position, t);
        entity.orientation = glm::slerp(entity.orientation, entity.pose.orientation, t);
    }
}

glm::dmat4 LocalTransform(const ClientEntity& entity) {
    return glm::translate(glm::dmat4(1.0), entity.position) * glm::mat4_cast(entity.orientation);
}

void PublishDrawList() {
    g_drawBack.clear();
    for (const auto& [id, entity] : g_entities) {
        glm::dmat4 transform = LocalTransform(entity);
        if (entity.pose.parent.First() != 0 || entity.pose.parent.Second() != 0) {
            const auto parent = g_entities.find(entity.pose.parent);
            if (parent == g_entities.end())
                continue; // its vehicle is gone: nothing to hang it on
            transform = LocalTransform(parent->second) * transform;
        }
        const glm::vec4 color = ColorOf(entity.pose.kind);
        for (uint32_t i = 0; i < entity.pose.shapeCount; ++i) {
            const planet::Shape& shape = entity.pose.shapes[i];
            DrawItem& item = g_drawBack.emplace_back();
            item.color = color;
            if (shape.radius > 0.0f) {
                item.sphere = true;
                item.transform =
                    transform * glm::dmat4(shape.transform) * glm::scale(glm::dmat4(1.0), glm::dvec3(shape.radius));
            } else {
                const glm::dvec3 centre = 0.5 * glm::dvec3(shape.boxMin + shape.boxMax);
                const glm::dvec3 size = glm::dvec3(shape.boxMax - shape.boxMin);
                item.transform = transform * glm::dmat4(shape.transform) * glm::translate(glm::dmat4(1.0), centre) *
                                 glm::scale(glm::dmat4(1.0), size);
            }
        }
    }
    std::lock_guard lock(g_drawMutex);
    g_drawReady.swap(g_drawBack);
    g_drawFresh = true;
}

} // namespace

PLANET_EXPORT int ModuleSort() { return 0; }

PLANET_EXPORT void Game_Start() {
    g_worldView = nullptr;
    g_entities.clear();
    g_posesSeen = 0;
    g_worldBuilt = false;
}

PLANET_EXPORT void Game_Stop() {
    g_entities.clear();
    g_poses.clear();
    std::lock_guard lock(g_drawMutex);
    g_drawBack.clear();
    g_drawReady.clear();
    g_drawFront.clear();
    g_drawFresh = false;
}

PLANET_EXPORT void Game_Update(double deltaTime) {
    Follow(deltaTime);
    PublishDrawList();
}

PLANET_EXPORT void Input_Update_Play(double deltaTime) {
    const double look = 0.06; // degrees per look unit
    const double forward = Controller::GetAvatarTranslateForward() - Controller::GetAvatarTranslateBackward();
    const double right = Controller::GetAvatarTranslateRight() - Controller::GetAvatarTranslateLeft();
    const double up = Controller::GetAvatarJump() - (Controller::GetAvatarCrouch() ? 1.0 : 0.0);
    const double speed = Controller::GetAvatarSprint() ? 40.0 : 10.0; // m/s
    std::lock_guard lock(g_cameraMutex);
    g_camera.yaw -= look * Controller::GetAvatarYaw();
    g_camera.pitch = std::clamp(g_camera.pitch - look * Controller::GetAvatarPitch(), -89.0, 89.0);
    const glm::dvec3 front = Forward(g_camera);
    const glm::dvec3 side = glm::normalize(glm::cross(front, glm::dvec3(0, 0, 1)));
    g_camera.position += speed * deltaTime * (forward * front + right * side + up * glm::dvec3(0, 0, 1));
    if (g_worldBuilt) {
        const double ground = std::max(g_planet.GroundHeight(g_camera.position), 0.0);
        g_camera.position.z = std::max(g_camera.position.z, ground + 1.0);
    }
}

PLANET_EXPORT void Renderer_StartRendering() { g_pass.Create(Game::renderer); }

PLANET_EXPORT void Renderer_StopRendering() {
    if (vesmo::vk::Device* device = Game::renderer->GetDevice())
        vkDeviceWaitIdle(device->Handle());
    g_pass.Destroy();
}

PLANET_EXPORT void Renderer_RefreshViewport() { g_pass.RefreshViewport(Game::renderer); }

// The camera for this frame: into the pass's matrices and the engine's (the audio listener reads those).
PLANET_EXPORT void Renderer_FrameInit() {
    Camera camera;
    {
        std::lock_guard lock(g_cameraMutex);
        camera = g_camera;
    }
    game::graphics::GameRenderer* renderer = Game::renderer;
    const VkExtent2D extent = renderer->GetOutputImageExtent();
    const float aspect = extent.height ? static_cast<float>(extent.width) / static_cast<float>(extent.height) : 1.0f;
    const float fov = Game::settings ? Game::settings->fov : 70.0f;
    glm::mat4 projection = glm::perspectiveRH_ZO(glm::radians(fov), aspect, 0.1f, 8000.0f);
    projection[1][1] *= -1.0f; // Vulkan's clip space has y down
    const glm::dvec3 front = Forward(camera);
    const glm::dmat4 view = glm::lookAtRH(glm::dvec3(0.0), front, glm::dvec3(0, 0, 1));
    g_matrices.position = camera.position;
    g_matrices.view = view;
    g_matrices.projection = projection;
    // The renderer's camera: its world transform, and the engine's matrices relative to the world origin.
    const glm::dmat4 rotation = glm::inverse(view);
    const glm::dvec3 origin(renderer->originPosition);
    renderer->cameraTransform = glm::translate(glm::dmat4(1.0), camera.position) * rotation;
    renderer->originReferenceTransform = glm::translate(glm::dmat4(1.0), origin);
    renderer->inverseViewMatrix = glm::translate(glm::dmat4(1.0), camera.position - origin) * rotation;
    renderer->projectionMatrix = projection;
}

PLANET_EXPORT void Renderer_FrameRenderCommands(VkCommandBuffer commandBuffer) {
    {
        std::lock_guard lock(g_drawMutex);
        if (g_drawFresh)
            g_drawFront.swap(g_drawReady);
        g_drawFresh = false;
    }
    g_pass.Record(commandBuffer, Game::renderer, g_matrices, g_drawFront);
}

// The hooks keep the signatures the library calls them with.
static_assert(std::is_same_v<decltype(&Game_Update), game::modular::DeltaHook>);
static_assert(std::is_same_v<decltype(&Renderer_FrameRenderCommands), game::modular::CommandHook>);
static_assert(std::is_same_v<decltype(&Renderer_FrameInit), game::modular::Hook>);
