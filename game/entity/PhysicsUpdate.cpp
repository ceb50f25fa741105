// The entity side of one physics frame over the server-side registry: bodies are built from the entities
// (with the colliders of their components), the gravity a resting entity feels is read, game/physics steps
// the bodies (game/physics/Frame.hpp), and the result goes back to the entities and, when asked, to the
// debug overlay. No physics scene outlives the call: the only lasting state is on the entities.

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/physics/Frame.hpp"
#include "game/physics/PointTransform.hpp"
#include "vesmo/core/Timer.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <glm/gtc/matrix_transform.hpp>

#include <algorithm>
#include <memory_resource>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <vector>

namespace game::entity {

namespace {

using game::physics::Transform;
using Bodies = physics::Frame<ServerSideEntity>;
using Body = Bodies::Body;
using Dynamic = Bodies::Dynamic;

// The lists too take their blocks from the frame's pool (the maps hand their allocator down), so that a tick
// with vehicles allocates nothing once the pool has grown.
using CompositeChildren =
    std::pmr::unordered_map<EnvironmentId, std::pmr::unordered_map<Id, std::pmr::vector<ServerSideEntity::Ptr>>>;

struct EntityFrame {
    Bodies bodies;
    // Components by their first non-component parent: their colliders join that parent's body.
    CompositeChildren compositeChildren = CompositeChildren(physics::FrameNodes());

    void Prepare(double deltaTime);
    void PrepareComposites();
    void ApplyGravity(physics::EnvironmentFunctions& environments);
    void Apply(double deltaTime);
};

void EntityFrame::Prepare(double deltaTime) {
    vesmo::cpu::Profiler scope("Prepare rigidbodies");
    // The registry's shared lock is held by the caller for the whole update: the walk needs no lock of its own.
    for (auto& [key, entity] : ServerSideEntity::_sharedObjects) {
        if (!entity)
            continue;
        ServerSideEntity& e = *entity;
        if (e.physicsEnabled && e.mass > 0) {
            if (e.environmentId != 0) {
                const EnvironmentId environment = e.environmentId;
                if (!e.isComponent && e.isDynamic && e.settleTime < 1.0) {
                    bodies.AddDynamic(environment, e.parentEntity, e.id, entity, deltaTime);
                } else if (!e.isComponent) {
                    // A settled or immovable entity. settleTime is the sleep state: it never wakes by
                    // itself, only when a module sets it back or a checkpoint is loaded.
                    bodies.AddStatic(environment, e.parentEntity, e.id, entity);
                    e.settleTime = std::clamp(e.settleTime + deltaTime, 0.0, 1.0);
                } else if (ServerSideEntity::Ptr vehicle = e.GetFirstNonComponentParent()) {
                    // A component has no body of its own: its colliders join its vehicle's.
                    compositeChildren[environment][vehicle->GetID()].push_back(entity);
                }
            } else if (e.orbitEnvironmentId != 0 && e.isDynamic && e.settleTime < 1.0 && !e.isComponent) {
                bodies.AddOrbiting(e.orbitEnvironmentId, e.parentEntity, e.id, entity, deltaTime);
            }
        }
        e.nodesDirty = 0;
    }
}

void EntityFrame::PrepareComposites() {
    vesmo::cpu::Profiler scope("Prepare composite entities");
    for (auto& [environment, groups] : compositeChildren) {
        const auto index = bodies.bodyIndex.find(environment);
        for (auto& [parentId, children] : groups) {
            if (!parentId || index == bodies.bodyIndex.end())
                continue;
            const auto found = index->second.find(parentId);
            if (found == index->second.end())
                continue;
            Dynamic* dynamic;
            Body& body = bodies.Find(environment, found->second, &dynamic);
            for (const ServerSideEntity::Ptr& child : children) {
                const glm::dmat4 T =
                    glm::translate(glm::dmat4(1.0), -body.centerOfMass) * child->GetTransformInPhysicsParent();
                // Enabled or not: a component's table goes in whole.
                for (const auto& entry : child->colliders) {
                    body.colliders.push_back(entry.second);
                    body.colliders.back().transform = T * entry.second.transform;
                }
                const glm::dvec3 a = Transform(T, child->boxMin);
                const glm::dvec3 b = Transform(T, child->boxMax);
                body.boundsMin = glm::min(body.boundsMin, glm::min(a, b));
                body.boundsMax = glm::max(body.boundsMax, glm::max(a, b));
            }
            // Mass, volume and the swept radius stay the root's: a composite weighs what its root
            // declares, and the collider loops give the narrower test.
            body.ComputeBounds();
            if (dynamic)
                dynamic->ComputeInertiaTensor();
        }
    }
}

void EntityFrame::ApplyGravity(physics::EnvironmentFunctions& environments) {
    vesmo::cpu::Profiler scope("Apply gravity to rigidbodies");
    auto group = [&environments](EnvironmentId environment, const Id& parentId, auto& members, bool isStatic) {
        const ServerSideEntity::Ptr parent = parentId ? ServerSideEntity::Get(parentId) : ServerSideEntity::Ptr();
        game::EnvironmentFunction* function = nullptr;
        if (isStatic && !parent && environment != 0) {
            const auto found = environments.find(environment);
            if (found != environments.end() && found->second)
                function = &found->second;
        }
        for (auto& body : members) {
            const ServerSideEntity::Ptr e = body.entity.lock();
            if (!e)
                continue;
            if (parent) {
                // The parent's rotation term added straight to its felt acceleration: the apparent gravity
                // of everything carried in a moving vehicle.
                const glm::dvec3 r = e->position - parent->centerOfMass;
                body.parentAcceleration = glm::cross(parent->angularVelocity, r) + parent->smoothedAcceleration;
            }
            if (!isStatic)
                continue;
            // A resting entity reads its gravity through the same field as a moving one.
            const glm::dmat3 toEntity = glm::inverse(glm::dmat3(glm::mat3_cast(e->orientation)));
            if (parent) {
                e->smoothedAcceleration = toEntity * body.parentAcceleration;
            } else if (environment != 0) {
                const physics::EnvironmentInfo info =
                    function ? (*function)(e->position, static_cast<EnvironmentInfoFlags>(0), 0.0)
                             : physics::EnvironmentInfo{};
                e->smoothedAcceleration = toEntity * info.gravity;
            } else {
                e->smoothedAcceleration = glm::dvec3(0.0);
            }
        }
    };
    for (auto& [environment, groups] : bodies.staticBodies)
        for (auto& [parentId, members] : groups)
            group(environment, parentId, members, true);
    for (auto& [environment, groups] : bodies.dynamicBodies)
        for (auto& [parentId, members] : groups)
            group(environment, parentId, members, false);
    for (auto& [environment, groups] : bodies.orbitingBodies)
        for (auto& [parentId, members] : groups)
            group(environment, parentId, members, false);
}

void EntityFrame::Apply(double deltaTime) {
    vesmo::cpu::Profiler scope("Apply to entities");
    for (auto& [environment, groups] : bodies.dynamicBodies)
        for (auto& [parentId, members] : groups)
            for (Dynamic& body : members)
                body.ApplyToEntity(deltaTime);
    for (auto& [environment, groups] : bodies.orbitingBodies)
        for (auto& [parentId, members] : groups)
            for (Dynamic& body : members)
                body.ApplyToEntity(deltaTime);
}

// The renderer takes staging into front on its side of the hand-over.
void PublishDebug(const Bodies& bodies) {
    physics::DebugSink sink{Game::physicsDebugColliders_back, Game::physicsDebugLines_back};
    bodies.CollectDebug(sink);
    std::lock_guard guard(Game::physicsDebugMutex);
    std::swap(Game::physicsDebugColliders_back, Game::physicsDebugColliders_staging);
    std::swap(Game::physicsDebugLines_back, Game::physicsDebugLines_staging);
    Game::physicsDebugCollidersUpdated.exchange(true);
}

// The pose of a group's parent for the environment's contacts: only a parent at the top of its chain.
bool RootParentTransform(const Id& parentId, glm::dmat4& transform) {
    const ServerSideEntity::Ptr parent = ServerSideEntity::Get(parentId);
    if (!parent || parent->HasParent())
        return false;
    transform = parent->GetTransform();
    return true;
}

} // namespace

void ServerSideEntity::PhysicsUpdate(double deltaTime, int substeps) {
    vesmo::cpu::Profiler scope("PhysicsUpdate");
    const vesmo::Timer timer;
    // Declared before the lock, so that on an exception the lock goes first, then the bodies.
    EntityFrame frame;
    std::shared_lock lock(_sharedObjectsMutex);

    frame.Prepare(deltaTime);
    frame.PrepareComposites();
    frame.ApplyGravity(Game::_environmentFunctions);
    frame.bodies.Step(deltaTime, substeps, Game::_environmentFunctions, RootParentTransform,
                      Game::debugServerSidePhysics);
    frame.Apply(deltaTime);
    if (Game::debugServerSidePhysics)
        PublishDebug(frame.bodies);

    Game::serverSidePhysicsAvgTime = 0.9 * Game::serverSidePhysicsAvgTime + 0.1 * timer.ElapsedMilliseconds() * 0.001;
}

} // namespace game::entity
