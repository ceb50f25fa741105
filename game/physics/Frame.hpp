#pragma once
// The bodies of one physics frame and the frame's physics: the broadphase, the orbiting step, and the
// sub-stepped integration with collisions and the environment.
//
// A frame is built, stepped and dropped inside one physics update; no scene outlives it. Whoever owns the
// entities fills it (AddStatic, AddDynamic, AddOrbiting), prepares what only the entities know (composite
// geometry, the gravity a resting body feels), calls Step, and writes the bodies back (ApplyToEntity). For
// the server's entities that is ServerSideEntity::PhysicsUpdate (game/entity/PhysicsUpdate.cpp).
//
// Bodies are grouped by EnvironmentId, then by the Id of their parent: a group shares one frame of
// reference, and only its members collide with each other directly; a child meets its parent through
// `parentBody` only. Id 0 as a group key means no parent, EnvironmentId 0 no environment.
//
// The frame's maps take their nodes from a pool of the calling thread and its group vectors and scratch
// keep their capacity there from frame to frame, so a steady scene makes no heap allocation per tick.

#include "game/entity/common.hpp"
#include "game/physics/Debug.hpp"
#include "game/physics/Environment.hpp"
#include "game/physics/Rigidbody.hpp"

#include <glm/glm.hpp>

#include <functional>
#include <memory_resource>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace game::physics {

// The class of a body in its frame (the step's RigidbodyEnvType).
enum RigidbodyEnvType : int { Static = 0, DynamicBody = 1, Orbiting = 2 };

// The calling thread's pool for the maps of its frames; a frame's owner may put its own per-frame maps there
// too.
std::pmr::memory_resource* FrameNodes();

// The environment functions by id, as modules register them.
using EnvironmentFunctions = std::unordered_map<game::entity::EnvironmentId, game::EnvironmentFunction>;
// The pose of a group's parent when that parent is itself at the top of its chain; false otherwise (or when
// it is gone).
using RootParentTransform = std::function<bool(const game::entity::Id& parentId, glm::dmat4& transform)>;

template <class EntityT> class Frame {
public:
    using Body = Rigidbody<EntityT>;
    using Dynamic = DynamicRigidbody<EntityT>;
    using Id = game::entity::Id;
    using EnvironmentId = game::entity::EnvironmentId;
    template <class B> using Groups = std::pmr::unordered_map<Id, std::vector<B>>;
    template <class B> using ByEnvironment = std::pmr::unordered_map<EnvironmentId, Groups<B>>;
    // For each body: its class, its index in its group's vector, and the parent id that keys the group.
    using IndexEntry = std::tuple<RigidbodyEnvType, unsigned long, Id>;
    using BodyIndex = std::pmr::unordered_map<EnvironmentId, std::pmr::unordered_map<Id, IndexEntry>>;

    Frame();
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;
    // The bodies go with the frame; their collider tables' storage and the group vectors stay with the
    // thread for the next one.
    ~Frame();

    // A body for `entity` appended to its group and indexed under `id`.
    Body& AddStatic(EnvironmentId environment, const Id& parentId, const Id& id, typename EntityT::Ptr& entity);
    Dynamic& AddDynamic(EnvironmentId environment, const Id& parentId, const Id& id, typename EntityT::Ptr& entity,
                        double deltaTime);
    Dynamic& AddOrbiting(EnvironmentId environment, const Id& parentId, const Id& id, typename EntityT::Ptr& entity,
                         double deltaTime);
    // The body of an indexed entity, by its class (`dynamic` is set for a moving one); the range checks
    // cannot fail by construction.
    Body& Find(EnvironmentId environment, const IndexEntry& entry, Dynamic** dynamic);

    // The frame's physics, in three profiled phases: "Broadphase collision detection", "Collision detection
    // orbiting" and "Integration and collisions (all rigidbodies)". An unknown environment id of a moving
    // body throws std::out_of_range ("unordered_map::at"). With `debug` set, the bodies record their
    // contacts, rays and surfaces for CollectDebug.
    void Step(double deltaTime, int substeps, EnvironmentFunctions& environments,
              const RootParentTransform& rootParentTransform, bool debug);
    // Empties the sink and fills it with every body's colliders (back in the entity frame) and the moving
    // bodies' recorded lines, candidate lines and parent lines.
    void CollectDebug(DebugSink& sink) const;

    ByEnvironment<Body> staticBodies;
    ByEnvironment<Dynamic> dynamicBodies;
    ByEnvironment<Dynamic> orbitingBodies; // keyed by the entity's orbitEnvironmentId
    BodyIndex bodyIndex;

private:
    void PairGroup(EnvironmentId environment, const Id& parentId, std::vector<Dynamic>& bodies,
                   std::vector<Body>* statics);
    void Broadphase();
    void StepOrbiting(double deltaTime);
    void Integrate(double deltaTime, int substeps, EnvironmentFunctions& environments,
                   const RootParentTransform& rootParentTransform);
};

} // namespace game::physics
