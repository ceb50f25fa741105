#include "game/entity/ClientSideEntity.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/entity/EntityConfig.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/Mesh.hpp"
#include "game/graphics/PlasmaTrail.hpp"
#include "game/graphics/RenderableInstance.hpp"
#include "vesmo/cpu/Profiler.hpp"
#include "vesmo/filesystem/FilePath.hpp"
#include "vesmo/graphics/Window.hpp"
#include "vesmo/vk/Device.hpp"

#include <glm/gtc/quaternion.hpp>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>

namespace game::entity {

std::unordered_map<Id, ClientSideEntity::Ptr> ClientSideEntity::_sharedObjects;
vesmo::SharedMutex ClientSideEntity::_sharedObjectsMutex;
std::unordered_map<std::string, std::unordered_map<std::string, ClientSideEntity::EntityTypeDef>>
    ClientSideEntity::_registered_interfaces;
std::map<std::string, vesmo::modular::ModuleID> ClientSideEntity::_registered_items_module;

namespace {

using Interface = ClientSideEntity::Interface;
using game::graphics::RenderableInstance;

// GLFW's F5: held, it reloads meshes whose file changed (a development aid).
constexpr int kReloadMeshKey = 294;
// Mesh parts are drawn by the entity hit shader (GameRenderer's hit shader 0) under ray mask 1.
constexpr uint32_t kEntityHitShader = 0;
constexpr uint8_t kEntityInstanceFlags = 1;

const std::string& PlasmaTrailName() {
    static const std::string name = "_plasma_trail";
    return name;
}

// Default-hook detection, as the server's interface does it: a virtual call through a pointer to member
// on this ABI (Itanium C++, x86-64) is 1 + the byte offset of the entry in the virtual table. Comparing
// the object's entry with the base class's tells whether a module replaced the body, without calling it.
template <class MemberFunction> size_t SlotOf(MemberFunction function) {
    static_assert(sizeof(MemberFunction) == 2 * sizeof(uintptr_t));
    uintptr_t encoded = 0;
    std::memcpy(&encoded, &function, sizeof(encoded));
    GAME_ASSERT_TEXT((encoded & 1) != 0, "virtual member function");
    return (encoded - 1) / sizeof(void*);
}

const void* const* VirtualTable(const void* object) { return *static_cast<const void* const* const*>(object); }

struct DefaultHooks {
    size_t slot[3];
    const void* body[3];
    DefaultHooks() {
        slot[0] = SlotOf(&Interface::Update);
        slot[1] = SlotOf(&Interface::AfterUpdate);
        slot[2] = SlotOf(&Interface::Ui);
        const Interface base;
        for (int i = 0; i < 3; ++i)
            body[i] = VirtualTable(&base)[slot[i]];
    }
};

const DefaultHooks& Defaults() {
    static const DefaultHooks defaults;
    return defaults;
}

double WallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The config of a registered type, read once per type by whoever comes first; empty for an unknown one.
std::shared_ptr<EntityConfig> ReadOnce(const std::shared_ptr<EntityConfig>& config) {
    if (config) {
        std::lock_guard guard(config->mutex);
        if (!config->loaded) {
            config->ReadConfig();
            config->loaded = true;
        }
    }
    return config;
}

const ClientSideEntity::EntityTypeDef* FindType(const std::string& module, const std::string& type) {
    const auto found = ClientSideEntity::_registered_interfaces.find(module);
    if (found == ClientSideEntity::_registered_interfaces.end())
        return nullptr;
    const auto definition = found->second.find(type);
    return definition == found->second.end() ? nullptr : &definition->second;
}

// The trail starts at the front of the body, one radius and a tenth ahead of its centre in the direction
// of flight, and its box (+Y of its frame) reaches back along the flight path.
glm::dmat4 PlasmaTrailTransform(const glm::dmat4& pose, const glm::dvec3& boxCenter, double boundingRadius,
                                const glm::dvec3& velocity) {
    const double speed = glm::length(velocity);
    const glm::dvec3 direction = speed > 0.1 ? velocity / speed : glm::dvec3(0.0, 0.0, 1.0);
    const glm::dvec3 center(pose * glm::dvec4(boxCenter, 1.0));
    const glm::dvec3 front = center + 1.1 * boundingRadius * direction;
    const glm::dvec3 back = -direction;
    const glm::dvec3 helper = std::abs(back.y) < 0.99 ? glm::dvec3(0.0, 1.0, 0.0) : glm::dvec3(1.0, 0.0, 0.0);
    const glm::dvec3 x = glm::normalize(glm::cross(helper, back));
    const glm::dvec3 z = glm::cross(x, back);
    return glm::dmat4(glm::dvec4(x, 0.0), glm::dvec4(back, 0.0), glm::dvec4(z, 0.0), glm::dvec4(front, 1.0));
}

} // namespace

glm::dquat EaseOrientation(const glm::dquat& from, const glm::dquat& to, double t) {
    glm::dquat target = to;
    double cosine = glm::dot(from, to);
    if (cosine < 0.0) {
        target = -to;
        cosine = -cosine;
    }
    if (cosine > 0.9999999999999998)
        return glm::dquat(from.w * (1.0 - t) + target.w * t, from.x * (1.0 - t) + target.x * t,
                          from.y * (1.0 - t) + target.y * t, from.z * (1.0 - t) + target.z * t);
    const double angle = std::acos(cosine);
    const double a = std::sin((1.0 - t) * angle) / std::sin(angle);
    const double b = std::sin(t * angle) / std::sin(angle);
    return glm::dquat(a * from.w + b * target.w, a * from.x + b * target.x, a * from.y + b * target.y,
                      a * from.z + b * target.z);
}

// ---------------------------------------------------------------------------------------------------------
// Interface

ClientSideEntity::Interface::~Interface() = default;
void ClientSideEntity::Interface::Update(double) {}
void ClientSideEntity::Interface::AfterUpdate(double) {}
void ClientSideEntity::Interface::Ui() {}

bool ClientSideEntity::Interface::Overrides(Hook hook) const {
    const DefaultHooks& defaults = Defaults();
    const int index = static_cast<int>(hook);
    return VirtualTable(this)[defaults.slot[index]] != defaults.body[index];
}

// ---------------------------------------------------------------------------------------------------------
// Construction and registry

ClientSideEntity::ClientSideEntity(Id entityId, const ModuleID& module, const Type& entityType) {
    id = entityId;
    moduleId = module;
    type = entityType;
    const EntityTypeDef* def = FindType(module.String(), entityType);
    if (!def)
        return;
    _interface = def->factory ? def->factory() : nullptr;
    GAME_ASSERT(_interface);
    config = ReadOnce(def->config);
    InitNodes();
    if (config)
        if (std::shared_ptr<const game::graphics::Mesh> mesh = config->GetMesh())
            InitMeshRenderables(std::move(mesh));
}

ClientSideEntity::~ClientSideEntity() {
    for (auto& [name, renderable] : renderables)
        if (renderable)
            renderable->visible = false;
}

void ClientSideEntity::Register(const Ptr& entity) {
    std::unique_lock lock(_sharedObjectsMutex);
    if (!_sharedObjects.try_emplace(entity->id, entity).second)
        throw std::runtime_error("UNIQUE_OBJECT ClientSideEntity with id " + entity->id.ToString() + " already exists");
}

ClientSideEntity::Ptr ClientSideEntity::Get(Id entityId) {
    std::shared_lock lock(_sharedObjectsMutex);
    const auto found = _sharedObjects.find(entityId);
    return found == _sharedObjects.end() ? Ptr() : found->second;
}

void ClientSideEntity::Remove(Id entityId) {
    Ptr gone;
    {
        std::unique_lock lock(_sharedObjectsMutex);
        const auto found = _sharedObjects.find(entityId);
        if (found == _sharedObjects.end())
            return;
        gone = std::move(found->second);
        _sharedObjects.erase(found);
    }
    // Released here, outside the lock: the destructor may look up nothing, but a module's data might.
}

std::shared_ptr<EntityConfig> ClientSideEntity::GetEntityConfig(const char* module, const std::string& entityType) {
    const EntityTypeDef* def = FindType(module, entityType);
    return def ? ReadOnce(def->config) : nullptr;
}

vesmo::modular::ModuleID ClientSideEntity::FindModuleIDFromItemType(const std::string& itemType) {
    const auto found = _registered_items_module.find(itemType);
    return found == _registered_items_module.end() ? ModuleID() : found->second;
}

void ClientSideEntity::InitNodes() {
    if (!config)
        return;
    BaseEntity::InitNodes();
    for (const auto& [name, renderable] : config->renderables)
        nodes[name] = config->GetAbsoluteTransform(name);
    for (const auto& [name, camera] : config->cameras)
        nodes[name] = config->GetAbsoluteTransform(name);
    for (auto& [name, collider] : colliders) {
        collider.ownerId = id;
        collider.name = name;
    }
}

// ---------------------------------------------------------------------------------------------------------
// Renderables

void ClientSideEntity::InitMeshRenderables(std::shared_ptr<const game::graphics::Mesh> mesh) {
    if (!mesh)
        return;
    // Renderables keep their mesh alive; the mesh itself is never changed through them.
    const std::shared_ptr<void> source = std::const_pointer_cast<game::graphics::Mesh>(mesh);
    for (const game::graphics::Mesh::Part& part : mesh->parts) {
        const auto& geometries = part.geometries;
        GAME_ASSERT(geometries.size() > 0);
        std::shared_ptr<RenderableInstance>& renderable = renderables[part.name];
        if (renderable) {
            // The GPU may still read the old arrays and records in the frames in flight.
            renderable->readyToDraw = false;
            renderable->reloaded = true;
            for (auto& geometry : renderable->geometries)
                game::graphics::TrashGpuObject(std::move(geometry));
            game::graphics::TrashGpuObject(std::move(renderable->renderableData));
        } else {
            renderable = RenderableInstance::Make<RenderableInstance>(kEntityHitShader, kEntityInstanceFlags);
        }
        renderable->geometries.assign(geometries.begin(), geometries.end());
        auto records = std::make_shared<RenderableInstance::RenderableDataBuffer>(
            vesmo::vk::Device::Current(), geometries.size(), game::graphics::kGeometryBufferUsage, "RenderableData");
        renderable->partIndices.clear();
        for (uint32_t i = 0; i < geometries.size(); ++i) {
            const game::graphics::Mesh::Geometry& geometry = *geometries[i];
            game::graphics::RenderableData& record = (*records)[i];
            record.emission = geometry.emission;
            record.color = geometry.color;
            record.metallic = geometry.metallic;
            record.roughness = geometry.roughness;
            renderable->partIndices[geometry.materialName].push_back(i);
        }
        renderable->firstGeometryAddr = records->DeviceAddress();
        renderable->renderableData = std::move(records);
        renderable->source = source;
        renderable->visible = true;
        renderable->readyToDraw = true;
    }
}

void ClientSideEntity::SetVisibility(bool visible) {
    for (auto& [name, renderable] : renderables)
        if (renderable)
            renderable->visible = visible;
}

// ---------------------------------------------------------------------------------------------------------
// Frame

void ClientSideEntity::ReloadMeshIfChanged() {
    // Another entity of the type reloaded it in this frame already: only take the new geometry.
    const uint64_t frame = Game::renderer ? Game::renderer->FrameCount() : 0;
    if (config->meshReloadFrame != frame) {
        const double now = WallSeconds();
        if (config->meshLastCheck == 0.0) {
            config->meshLastCheck = now;
        } else if (now - config->meshLastCheck >= 1.0) {
            config->meshLastCheck = now;
            const std::string path = config->GetMeshFilePath();
            const vesmo::filesystem::FilePath file(path);
            if (file.Exists() && file.LastWriteTime() != config->meshWriteTime) {
                config->meshWriteTime = file.LastWriteTime();
                config->meshReloadFrame = frame;
                if (config->mesh) {
                    // The config owns its mesh; a reload is the one change made to it after loading.
                    std::const_pointer_cast<game::graphics::Mesh>(config->mesh)->Load();
                } else {
                    auto mesh = std::make_shared<game::graphics::Mesh>(path);
                    mesh->Load();
                    config->mesh = std::move(mesh);
                }
                std::cout << "Reloaded mesh: " << path << std::endl;
            }
        }
    }
    InitMeshRenderables(config->GetMesh());
}

void ClientSideEntity::Update(double deltaTime) {
    if (config && Game::window && Game::window->GetKey(kReloadMeshKey))
        ReloadMeshIfChanged();

    if (_interface && _interface->ready && _interface->Overrides(Interface::Hook::Update))
        _interface->Update(deltaTime);

    if (followTarget && interpolationRate != 0.0f) {
        if (!interpolate || !isDynamic) {
            position = targetPosition;
            orientation = targetOrientation;
        } else {
            const double t = glm::clamp(static_cast<double>(interpolationRate) * deltaTime, 0.0, 1.0);
            position = (1.0 - t) * position + t * targetPosition;
            orientation = EaseOrientation(orientation, targetOrientation, t);
        }
        environmentTransformValid = false;
    }

    if (config && (nodesDirty || jointsDirty)) {
        config->jointSolver(this);
        environmentTransformValid = false;
    }
    BaseEntity::Update(deltaTime);
}

void ClientSideEntity::AfterUpdate(double deltaTime) {
    if (_interface && _interface->ready && _interface->Overrides(Interface::Hook::AfterUpdate))
        _interface->AfterUpdate(deltaTime);
}

void ClientSideEntity::Ui() {
    if (_interface && _interface->ready && _interface->Overrides(Interface::Hook::Ui))
        _interface->Ui();
}

glm::dmat4 ClientSideEntity::GetAbsoluteTransformInEnvironment() const {
    if (!HasParent())
        return GetTransform();
    const Ptr parent = Get(parentEntity);
    return parent ? parent->GetAbsoluteTransformInEnvironment() * GetTransform() : GetTransform();
}

const glm::dmat4& ClientSideEntity::GetAbsoluteTransformInEnvironmentCached(bool& moved) {
    if (environmentTransformValid && !isDynamic)
        return environmentTransform;
    if (!HasParent()) {
        environmentTransform = GetTransform();
    } else if (const Ptr parent = Get(parentEntity)) {
        environmentTransform = parent->GetAbsoluteTransformInEnvironmentCached(moved) * GetTransform();
    } else {
        moved = false;
    }
    environmentTransformValid = moved;
    return environmentTransform;
}

void ClientSideEntity::PushRenderables() {
    const std::string& plasmaName = PlasmaTrailName();
    if (isDynamic && !HasParent() && Game::parentEnvironmentId != 0 && glm::length(linearVelocity) > 100.0) {
        std::shared_ptr<RenderableInstance>& slot = renderables[plasmaName];
        if (!slot)
            slot = RenderableInstance::Make<game::graphics::PlasmaTrail>();
        if (auto* trail = dynamic_cast<game::graphics::PlasmaTrail*>(slot.get())) {
            game::physics::EnvironmentInfo info;
            const auto function = Game::_environmentFunctions.find(Game::parentEnvironmentId);
            if (function != Game::_environmentFunctions.end() && function->second)
                info = function->second(position, game::EnvironmentInfoFlags(0), boundingRadius);
            trail->Update(glm::vec3(linearVelocity), static_cast<float>(1.1 * boundingRadius), info);
        }
    } else if (const auto trail = renderables.find(plasmaName); trail != renderables.end() && trail->second) {
        trail->second->visible = false;
    }

    bool moved = true;
    const glm::dmat4& pose = GetAbsoluteTransformInEnvironmentCached(moved);
    if (moved) {
        const bool moving = isDynamic || forceVisible || nodesDirty || jointsDirty;
        for (auto& [name, renderable] : renderables) {
            if (!renderable || !renderable->visible || !renderable->readyToDraw)
                continue;
            renderable->changed = moving || !renderable->hasTransform;
            if (!renderable->changed && !renderable->reloaded)
                continue;
            if (const auto node = nodes.find(name); node != nodes.end())
                renderable->transform = pose * node->second;
            else if (name == plasmaName)
                renderable->transform = PlasmaTrailTransform(pose, boxCenter, boundingRadius, linearVelocity);
            else
                renderable->transform = pose;
            renderable->hasTransform = true;
        }
    }
    nodesDirty = false;
    forceVisible = false;
}

void ClientSideEntity::PhysicsUpdate(double) {
    vesmo::cpu::Profiler scope("ClientSideEntity::PhysicsUpdate");
    std::shared_lock lock(_sharedObjectsMutex);
    for (auto& [entityId, entity] : _sharedObjects)
        if (entity)
            entity->PushRenderables();
}

void ClientSideEntity::UpdateAll(double deltaTime) {
    std::shared_lock lock(_sharedObjectsMutex);
    for (auto& [entityId, entity] : _sharedObjects)
        if (entity)
            entity->Update(deltaTime);
}

void ClientSideEntity::AfterUpdateAll(double deltaTime) {
    std::shared_lock lock(_sharedObjectsMutex);
    for (auto& [entityId, entity] : _sharedObjects)
        if (entity)
            entity->AfterUpdate(deltaTime);
}

} // namespace game::entity
