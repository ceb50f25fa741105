#pragma once
// Interim: the statics of the hub that entity persistence and the physics step read and write. The
// host's Game replaces this file.

#include "game/entity/common.hpp"
#include "game/physics/Environment.hpp"

#include <glm/glm.hpp>

#include <atomic>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

class Game {
public:
    static std::string _current_world;

    // One environment function per celestial environment; modules fill it.
    static std::unordered_map<game::entity::EnvironmentId, game::EnvironmentFunction> _environmentFunctions;

    // A collider as the physics saw it this tick, for the debug overlay.
    struct PhysicsColliderDebug {
        game::entity::Id id;
        game::entity::ConvexMeshCollider collider;
        bool dynamic = false; // true for dynamic and orbiting bodies
    };
    // A line of the physics debug overlay: contacts, forces, rays, broadphase pairs.
    struct PhysicsLineDebug {
        game::entity::Id id;
        glm::dvec3 start{0.0};
        glm::dvec3 end{0.0};
        glm::vec4 color{0.0f};
    };

    // Triple buffer between the physics step (fills back, swaps it with staging) and the overlay (takes
    // staging into front when the flag says that a new set is there). Swaps happen under the mutex.
    static std::vector<PhysicsLineDebug> physicsDebugLines_back, physicsDebugLines_staging, physicsDebugLines_front;
    static std::vector<PhysicsColliderDebug> physicsDebugColliders_back, physicsDebugColliders_staging,
        physicsDebugColliders_front;
    static std::atomic<bool> physicsDebugCollidersUpdated;
    static std::mutex physicsDebugMutex;
    static bool debugServerSidePhysics;
    static bool debugClientSidePhysics;

    // Smoothed seconds of one physics step.
    static double serverSidePhysicsAvgTime;
};
