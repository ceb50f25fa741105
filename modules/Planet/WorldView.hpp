#pragma once
// What the module's server part hands its client part in the same process: the poses of every entity after
// each server tick, and the planet's seed. The client part (Planet.GAME_Mod.so) reaches the one object of
// the server part (Planet.SERVER_Mod.so) through the server module's "ModuleGetCustomPtr".
//
// Threads. The server loop publishes at the end of a tick (Server_GameUpdate); the client's main loop
// takes the newest set (Take). Both swap vectors under `mutex`, so neither waits for the other's work and,
// once the vectors have grown, nothing is allocated.
//
// Each pose carries the entity's collider shapes too, in its own frame (a box, or a sphere of `radius`): the
// client draws them in its debug view, over the meshes.

#include "game/entity/common.hpp"

#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>

#include <array>
#include <cstdint>
#include <mutex>
#include <vector>

namespace planet {

// The demo's entity types, by what the client draws.
enum class Kind : uint8_t { Crate, Rover, Wheel, Glider, Tank, Other };

// The entity type of a kind (its config and mesh are modules/Planet/entities/<type>.conf and .gltf); null for
// Other.
inline const char* TypeName(Kind kind) {
    switch (kind) {
    case Kind::Crate: return "crate";
    case Kind::Rover: return "rover";
    case Kind::Wheel: return "wheel";
    case Kind::Glider: return "glider";
    case Kind::Tank: return "tank";
    default: return nullptr;
    }
}

struct Shape {
    glm::mat4 transform{1.0f}; // in the entity's frame
    glm::vec3 boxMin{0.0f};
    glm::vec3 boxMax{0.0f};
    float radius = 0.0f; // > 0: a sphere
};

struct EntityPose {
    static constexpr uint32_t kMaxShapes = 6;

    game::entity::Id id;
    game::entity::Id parent;
    Kind kind = Kind::Other;
    bool isDynamic = false;
    glm::dvec3 position{0.0};
    glm::dquat orientation{1.0, 0.0, 0.0, 0.0};
    glm::dvec3 velocity{0.0};
    uint32_t shapeCount = 0;
    std::array<Shape, kMaxShapes> shapes{};
};

struct WorldView {
    std::mutex mutex;
    uint32_t seed = 1;      // the planet's, valid once `published` > 0
    uint64_t published = 0; // sets published so far
    std::vector<EntityPose> poses;

    // Server loop: swaps `fresh` in (`fresh` gets the older set back, to be filled again).
    void Publish(std::vector<EntityPose>& fresh, uint32_t planetSeed) {
        std::lock_guard lock(mutex);
        poses.swap(fresh);
        seed = planetSeed;
        ++published;
    }
    // Client: swaps the newest set into `out` if there is one newer than `seen`; false otherwise.
    bool Take(std::vector<EntityPose>& out, uint64_t& seen, uint32_t& planetSeed) {
        std::lock_guard lock(mutex);
        if (published == seen)
            return false;
        out.swap(poses);
        seen = published;
        planetSeed = seed;
        return true;
    }
};

using GetWorldViewHook = WorldView* (*)();

} // namespace planet
