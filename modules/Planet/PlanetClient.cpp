// The demo world's GAME_Mod module: what a player sees of the planet. It follows the entities of the
// module's server part in the same process (WorldView.hpp) with the library's client-side entities, which
// ease towards the newest pose and place the render instances of their glTF meshes, and it draws the
// ground, the sea and every mesh part with a raster pass (PlanetPass.hpp) through the renderer's hooks; the
// debug window's "Debug Client-Side Physics" adds the entities' collider shapes. A free camera flies over
// it, driven by the avatar's bindings: the translate keys move it, jump and crouch lift and lower it,
// sprint makes it faster, and the mouse looks around while the cursor is captured.
//
// Threads: poses are taken and the draw list is made on the main loop (Game_Update, where the entities
// also ease), the camera is moved on the input loop (Input_Update_Play), and the pass is recorded on the
// render thread. Each hand-over is a small struct or a set of swapped vectors under a mutex of its own.

#include "PlanetEnvironment.hpp"
#include "PlanetMeshes.hpp"
#include "PlanetPass.hpp"
#include "WorldView.hpp"

#include "Vehicles.hpp"

#include "game/Game.hpp"
#include "game/entity/ClientSideEntity.hpp"
#include "game/entity/EntityConfig.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/Mesh.hpp"
#include "game/graphics/RenderableInstance.hpp"
#include "game/graphics/ui/InventoryUi.hpp"
#include "game/input/Controller.hpp"
#include "game/modular/Families.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#define PLANET_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using game::entity::ClientSideEntity;
using game::graphics::RenderableInstance;
using game::input::Controller;
using planet::DrawItem;
using planet::EntityPose;
using planet::Kind;

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

// ---- client-side entities (main loop only): one of the library's ClientSideEntity objects per entity of
// the server part. The module writes each one's target pose when the server has ticked; the entity eases
// towards it in Game::Update and places its mesh parts' render instances, which the pass draws.
struct Followed {
    game::entity::ClientSideEntity::Ptr entity; // empty for a type the client doesn't know
    uint64_t seen = 0;
};
std::unordered_map<game::entity::Id, Followed> g_entities;
std::vector<EntityPose> g_poses; // the newest set, also what the debug view draws the colliders from
uint64_t g_posesSeen = 0;
uint64_t g_turn = 0;
constexpr float kInterpolationRate = 20.0f; // per second
const vesmo::modular::ModuleID g_moduleId(planet::kModuleName);
constexpr Kind kKinds[] = {Kind::Crate, Kind::Rover, Kind::Wheel, Kind::Glider, Kind::Tank};

planet::PlanetEnvironment g_planet;
bool g_worldBuilt = false;

// ---- the draw list: the main loop fills `g_drawBack` and swaps it with `g_drawReady`; the render thread
// swaps `g_drawReady` with `g_drawFront`. Once their vectors have grown, no turn allocates.
std::mutex g_drawMutex;
planet::DrawList g_drawBack, g_drawReady, g_drawFront;
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

// The client's side of the five types: the same configs as the server's, so the same nodes, and the meshes
// beside them. The library forgets every registration at Game::Stop, so each game run makes them again.
void RegisterClientTypes() {
    auto& types = ClientSideEntity::_registered_interfaces[g_moduleId.String()];
    for (const Kind kind : kKinds) {
        const std::string type = planet::TypeName(kind);
        types[type] = {g_moduleId, type,
                       std::make_shared<game::entity::EntityConfig>("modules/Planet/entities/" + type + ".conf"),
                       [] { return std::make_shared<ClientSideEntity::Interface>(); }};
    }
}

// The newest poses into the client-side entities: new ones are made (in place at once), the others get a
// new target, and those the server no longer has go.
void Follow() {
    planet::WorldView* view = FindWorldView();
    if (!view) {
        // No server part here: the client joined a server, whose entities the network module mirrors. The
        // ground is the planet a new world gets (the seed does not travel over the network yet).
        if (!g_worldBuilt)
            BuildWorld(g_planet.seed);
        return;
    }
    uint32_t seed = 0;
    if (!view->Take(g_poses, g_posesSeen, seed))
        return;
    ++g_turn;
    if (!g_worldBuilt)
        BuildWorld(seed);
    for (const EntityPose& pose : g_poses) {
        Followed& followed = g_entities[pose.id];
        followed.seen = g_turn;
        if (!followed.entity) {
            const char* type = planet::TypeName(pose.kind);
            if (!type)
                continue;
            followed.entity = ClientSideEntity::Create(pose.id, g_moduleId, game::entity::Type(type));
            followed.entity->interpolationRate = kInterpolationRate;
            followed.entity->interpolate = true;
            followed.entity->position = pose.position;
            followed.entity->orientation = pose.orientation;
        }
        ClientSideEntity& entity = *followed.entity;
        entity.targetPosition = pose.position;
        entity.targetOrientation = pose.orientation;
        entity.linearVelocity = pose.velocity;
        entity.parentEntity = pose.parent;
        // A component (a rover's wheel) rests in its vehicle's frame but moves with it: its pose in the
        // planet's frame is made again every frame, as a free body's is.
        entity.isDynamic = pose.isDynamic || entity.HasParent();
    }
    for (auto it = g_entities.begin(); it != g_entities.end();) {
        if (it->second.seen == g_turn) {
            ++it;
            continue;
        }
        ClientSideEntity::Remove(it->first);
        it = g_entities.erase(it);
    }
}

// Every visible mesh part of every render instance, as the client-side entities placed them this frame.
void AddMeshes(planet::DrawList& list) {
    std::shared_lock lock(RenderableInstance::_sharedObjectsMutex);
    for (const std::weak_ptr<RenderableInstance>& weak : RenderableInstance::_sharedObjects) {
        const std::shared_ptr<RenderableInstance> instance = weak.lock();
        if (!instance || !instance->visible || !instance->readyToDraw || !instance->hasTransform)
            continue;
        const RenderableInstance::RenderableDataBuffer* records = instance->renderableData.get();
        for (size_t i = 0; i < instance->geometries.size(); ++i) {
            auto geometry = std::dynamic_pointer_cast<const game::graphics::Mesh::Geometry>(instance->geometries[i]);
            if (!geometry)
                continue; // procedural geometry is the ray-tracing modules' business
            glm::vec4 color = geometry->color;
            if (records && i < records->Count()) {
                const game::graphics::RenderableData& record = (*records)[i];
                color = glm::mix(color, record.color, record.colorMix);
            }
            list.meshes.push_back({instance->transform, color, std::move(geometry)});
        }
    }
}

// The debug view: each entity's collider shapes where its client-side entity stands, a little larger than
// the shapes so they don't fight the meshes' faces.
void AddColliders(planet::DrawList& list) {
    constexpr double kGrow = 1.02;
    for (const EntityPose& pose : g_poses) {
        const auto followed = g_entities.find(pose.id);
        if (followed == g_entities.end() || !followed->second.entity ||
            !followed->second.entity->environmentTransformValid)
            continue;
        const glm::dmat4& transform = followed->second.entity->environmentTransform;
        glm::vec4 color = ColorOf(pose.kind);
        color.a = 0.45f;
        for (uint32_t i = 0; i < pose.shapeCount; ++i) {
            const planet::Shape& shape = pose.shapes[i];
            DrawItem& item = list.colliders.emplace_back();
            item.color = color;
            if (shape.radius > 0.0f) {
                item.sphere = true;
                item.transform = transform * glm::dmat4(shape.transform) *
                                 glm::scale(glm::dmat4(1.0), glm::dvec3(kGrow * shape.radius));
            } else {
                const glm::dvec3 centre = 0.5 * glm::dvec3(shape.boxMin + shape.boxMax);
                const glm::dvec3 size = kGrow * glm::dvec3(shape.boxMax - shape.boxMin);
                item.transform = transform * glm::dmat4(shape.transform) * glm::translate(glm::dmat4(1.0), centre) *
                                 glm::scale(glm::dmat4(1.0), size);
            }
        }
    }
}

void PublishDrawList() {
    g_drawBack.Clear();
    AddMeshes(g_drawBack);
    if (Game::debugClientSidePhysics)
        AddColliders(g_drawBack);
    std::lock_guard lock(g_drawMutex);
    g_drawReady.Swap(g_drawBack);
    g_drawFresh = true;
}

// ---- the backpack: the avatar's inventory binding (TAB) shows and hides it. It holds one of each kind of
// thing the world has, to look at: there is nothing to pick up in the demo yet. Made and let go on the main
// loop, toggled on the input loop, drawn in the UI frame.
std::shared_ptr<game::graphics::ui::InventoryUi> g_backpack;
std::atomic<bool> g_backpackShown{false};

void MakeBackpack() {
    using game::graphics::ui::InventoryUi;
    game::Inventory record{8, {}};
    for (const Kind kind : kKinds) {
        const std::string type = planet::TypeName(kind);
        InventoryUi::ItemCreatorFunctions[g_moduleId.String()][type] = [](const game::Item& item, auto revision) {
            return std::make_shared<InventoryUi::Item>(item, revision);
        };
        const uint64_t slot = record.items.size();
        record.items[std::to_string(slot)] =
            game::Item{game::UniqueId(0x504C4E5400000000ull, slot + 1), g_moduleId, type, 1, {}};
    }
    g_backpack = InventoryUi::Make(game::UniqueId(0x504C4E5400000000ull, 0), "Backpack", record.capacity);
    g_backpack->UpdateInventory(record);
    g_backpackShown = false;
    Game::userInventory = g_backpack;
}

} // namespace

PLANET_EXPORT int ModuleSort() { return 0; }

PLANET_EXPORT void Game_Start() {
    g_worldView = nullptr;
    g_entities.clear();
    g_posesSeen = 0;
    g_worldBuilt = false;
    RegisterClientTypes();
    MakeBackpack();
}

// The library drops the client-side entities after this hook; the module lets its references go first.
PLANET_EXPORT void Game_Stop() {
    g_backpack.reset();
    g_entities.clear();
    g_poses.clear();
    std::lock_guard lock(g_drawMutex);
    g_drawBack.Clear();
    g_drawReady.Clear();
    g_drawFront.Clear();
    g_drawFresh = false;
}

// After the entities' Update and PhysicsUpdate of this frame: the instances' transforms are this frame's.
// The new targets written here are eased towards from the next frame on.
PLANET_EXPORT void Game_Update(double) {
    Follow();
    PublishDrawList();
}

PLANET_EXPORT void Input_Update_Play(double deltaTime) {
    // The backpack turns on the binding's press, not while it is held.
    static bool inventoryHeld = false;
    const bool inventory = Controller::GetAvatarInventory();
    if (inventory && !inventoryHeld)
        g_backpackShown = !g_backpackShown;
    inventoryHeld = inventory;

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

// Inside the UI frame: the backpack follows the input loop's toggle here, where it is drawn.
PLANET_EXPORT void Renderer_FrameUpdateUi() {
    if (!g_backpack)
        return;
    const bool shown = g_backpackShown;
    if (shown != g_backpack->visible) {
        shown ? g_backpack->Show() : g_backpack->Hide();
        std::printf("Planet: backpack %s\n", shown ? "shown" : "hidden");
        std::fflush(stdout);
    }
    game::graphics::ui::InventoryUi::UpdateUi();
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
            g_drawFront.Swap(g_drawReady);
        g_drawFresh = false;
    }
    g_pass.Record(commandBuffer, Game::renderer, g_matrices, g_drawFront);
}

// The hooks keep the signatures the library calls them with.
static_assert(std::is_same_v<decltype(&Game_Update), game::modular::DeltaHook>);
static_assert(std::is_same_v<decltype(&Renderer_FrameRenderCommands), game::modular::CommandHook>);
static_assert(std::is_same_v<decltype(&Renderer_FrameInit), game::modular::Hook>);
static_assert(std::is_same_v<decltype(&Renderer_FrameUpdateUi), game::modular::Hook>);
