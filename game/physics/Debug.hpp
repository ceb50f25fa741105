#pragma once
// What the physics shows of itself when asked: colliders and lines for the debug overlay. The physics only
// records them; who asked decides where they go (the server's step hands them to the renderer, see
// game/entity/PhysicsUpdate.cpp).

#include "game/entity/common.hpp"

#include <glm/glm.hpp>

#include <vector>

namespace game::physics {

// One collider of the physics debug overlay, in the entity frame.
struct DebugCollider {
    game::entity::Id id;
    game::entity::ConvexMeshCollider collider;
    bool isDynamic = false; // dynamic or orbiting body; false for static ones
};

// One line of the physics debug overlay.
struct DebugLine {
    game::entity::Id id; // owning body, the parent on the parent line, zero on candidate lines
    glm::dvec3 start{0.0};
    glm::dvec3 end{0.0};
    glm::vec4 color{1.0f};
};

// Where a frame's debug geometry goes. The vectors are emptied and refilled, so their capacity serves the
// next frame.
struct DebugSink {
    std::vector<DebugCollider>& colliders;
    std::vector<DebugLine>& lines;
};

} // namespace game::physics
