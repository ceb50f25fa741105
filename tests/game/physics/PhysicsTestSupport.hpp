#pragma once
// Scenes for physics tests and benchmarks: box and sphere colliders, entities with bodies registered in
// the server-side table, and a fixture that leaves the table and the environment functions empty.

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/physics/SampleEnvironment.hpp" // tests/game/physics

#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>

#include <mutex>
#include <string>

namespace physics_test {

using game::entity::ConvexMeshCollider;
using game::entity::ServerSideEntity;

// A box collider as the entity config builds one.
inline ConvexMeshCollider BoxCollider(const glm::vec3& min, const glm::vec3& max, double friction = 0.5,
                                      const glm::dmat4& transform = glm::dmat4(1.0)) {
    ConvexMeshCollider c;
    c.transform = transform;
    c.SetBox(min, max);
    c.ComputeBox();
    c.SetFriction(friction);
    return c;
}

inline ConvexMeshCollider CubeCollider(float size, double friction = 0.5) {
    return BoxCollider(glm::vec3(-size / 2), glm::vec3(size / 2), friction);
}

// A sphere: the collider flag and radius on the box around it.
inline ConvexMeshCollider SphereCollider(float radius, double friction = 0.5) {
    ConvexMeshCollider c = CubeCollider(2 * radius, friction);
    c.radius = radius;
    c.userFlags |= 0x100;
    return c;
}

inline glm::dmat4 Translation(const glm::dvec3& t) {
    glm::dmat4 m(1.0);
    m[3] = glm::dvec4(t, 1.0);
    return m;
}

constexpr game::entity::EnvironmentId kGround = 1;

// A dynamic entity of one collider (or more), registered, in environment `kGround`.
inline ServerSideEntity::Ptr MakeBody(const glm::dvec3& position, double mass,
                                      std::initializer_list<ConvexMeshCollider> colliders,
                                      game::entity::EnvironmentId environment = kGround) {
    // Ids from a counter: scenes make thousands of entities within microseconds, faster than generated
    // ids are guaranteed to differ.
    static uint64_t serial = 0;
    const game::entity::Id id(0x54544e45u /* "ENTT" */, ++serial);
    ServerSideEntity::Ptr e =
        ServerSideEntity::Create<ServerSideEntity>(vesmo::modular::ModuleID{}, game::entity::Type("body"), id);
    e->deleteFilesOnDestroy = 0;
    e->mass = mass;
    e->position = position;
    int n = 0;
    for (const ConvexMeshCollider& c : colliders)
        e->colliders["c" + std::to_string(n++)] = c;
    e->UpdateBoundingBox(true);
    e->physicsEnabled = 1;
    e->isDynamic = 1;
    e->environmentId = environment;
    return e;
}

inline ServerSideEntity::Ptr MakeBox(const glm::dvec3& position, double mass, float size = 1.0f,
                                     double friction = 0.5) {
    return MakeBody(position, mass, {CubeCollider(size, friction)});
}

// Empties the registry and the environment table before and after each test.
inline void ClearWorld() {
    {
        std::lock_guard lock(ServerSideEntity::_sharedObjectsMutex);
        ServerSideEntity::_sharedObjects.clear();
    }
    Game::_environmentFunctions.clear();
    Game::debugServerSidePhysics = false;
}

// Flat ground along +Z at 0, with or without air.
inline SampleEnvironment FlatGround(double airDensity = 1.225) {
    SampleEnvironment environment;
    environment.airDensity = airDensity;
    return environment;
}

} // namespace physics_test
