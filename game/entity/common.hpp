#pragma once
// The entity model's chief header: ids, type names and environment keys that every side shares.
//
// This header grows with the entity work (BaseEntity, JointState, the collider geometry); what stands here
// is what the host needs today.

#include "game/UniqueId.hpp"

#include <cstdint>
#include <string>

namespace game::entity {

// An entity's id: prefix "ENTT"; zero in both words means no entity.
using Id = game::UniqueId;

// The name of an entity type inside its module; a type is known by its module's ModuleID and this name.
using Type = std::string;

// The key of an environment: a planet, or a parent entity.
using EnvironmentId = uint64_t;

// A convex collider of an entity. Its geometry arrives with the collision work; the host only copies
// colliders into the physics debug buffers.
struct ConvexMeshCollider {};

} // namespace game::entity
