#pragma once
// The per-frame physics images of an entity.
//
// A body is built from its entity at the start of every physics update, stepped, written back with
// ApplyToEntity and dropped. Nothing is cached across frames, so modules may change colliders, mass and
// pose freely between ticks; everything that lasts (pose, velocities, the accumulators, settleTime) lives
// on the entity.
//
// Frames: vectors are in the frame of the body's group, that is the environment's frame for a body without
// a parent and the parent entity's frame otherwise. The body frame has its origin at the centre of mass
// (`position`), not at the entity's origin. All arithmetic is double precision; only collider geometry is
// single precision.
//
// Instantiated for game::entity::ServerSideEntity only.

#include "game/entity/common.hpp"
#include "game/physics/Collision.hpp"
#include "game/physics/Debug.hpp"
#include "game/physics/Environment.hpp"

#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>

#include <cstring>
#include <memory>
#include <unordered_set>
#include <vector>

namespace game::physics {

namespace detail {
// Collider tables are rebuilt every frame; their storage need not be. A body takes a spare vector of the
// calling thread when it is built, and the physics step hands every table back when its frame ends, so a
// steady scene allocates no collider tables. The spares hold their capacity (about 700 bytes a collider)
// until the thread ends.
std::vector<game::entity::ConvexMeshCollider> TakeColliderStorage();
void ReturnColliderStorage(std::vector<game::entity::ConvexMeshCollider>&& storage);
} // namespace detail

// A face of a body that meets the flow this frame, laid down by ComputeAerodynamicSurfaces.
struct AerodynamicSurface {
    glm::dvec3 position{0.0}; // point of attack, relative to the body's position, in the group frame
    glm::dvec3 normal{0.0};   // in the body frame
    double area = 0.0;
    double liftFactor = 0.0;
    double dragFactor = 0.0;
};

// What every body has, static or moving: its colliders moved to the centre of mass and its bounds.
template <class EntityT> class Rigidbody {
public:
    explicit Rigidbody(typename EntityT::Ptr& entity);

    // Recomputes boundsCenter, boundingRadius and centerPosition from boundsMin and boundsMax.
    void ComputeBounds();
    // The centre of the bounds with the current pose (not the stored centerPosition).
    glm::dvec3 GetPositionAtCenterOfBounds() const;
    // The body frame: translation by `position` times the rotation of `orientation`.
    glm::dmat4 GetTransform() const;

    std::weak_ptr<EntityT> entity;
    glm::dvec3 position{0.0}; // of the centre of mass
    glm::dquat orientation{1.0, 0.0, 0.0, 0.0};
    game::entity::Id id;
    glm::dvec3 centerPosition{0.0}; // centre of the bounds as of the last ComputeBounds: the broadphase centre
    double boundingRadius = 0.0;
    // The entity's enabled colliders, their transforms relative to the centre of mass.
    std::vector<game::entity::ConvexMeshCollider> colliders;
    // Bounds in the body frame, from only two corners of each collider: a rotated collider is bounded
    // approximately, and the broadphase radius follows from that.
    glm::dvec3 boundsMin{0.0}, boundsMax{0.0};
    glm::dvec3 centerOfMass{0.0}; // in the entity frame
    glm::dvec3 boundsCenter{0.0};
    glm::dvec3 parentAcceleration{0.0}; // what the parent's frame imposes; set by the gravity phase
    double volume = 0.0;                // box volume times fill over the enabled colliders
};

// A moving body. Contacts are resolved one at a time, in the order found, by an impulse and a positional
// shift: there is no contact solver. Rest is decided by evidence gathered over the sub-steps of a frame
// (restCounter) and accumulated on the entity (settleTime), which turns a settled entity static.
template <class EntityT> class DynamicRigidbody : public Rigidbody<EntityT> {
public:
    using Collider = game::entity::ConvexMeshCollider;

    // Asserts "deltaTime > 0" and "mass > 0". The module's impulses of the frame become constant
    // accelerations over it.
    DynamicRigidbody(typename EntityT::Ptr& entity, double deltaTime);
    // The per-frame lists (candidates, contacts, surfaces) take their storage from the calling thread's
    // spares when the body is built and give it back when it goes, so that a scene whose bodies touch
    // allocates nothing per tick once its lists have grown.
    ~DynamicRigidbody();
    DynamicRigidbody(DynamicRigidbody&&) noexcept = default;
    DynamicRigidbody& operator=(DynamicRigidbody&&) noexcept = default;

    // Any impulse, however small and from whatever source, cancels the proof of rest of this frame.
    void ApplyImpulse(const glm::dvec3& impulse, const glm::dvec3& relativePoint);
    // The tensor of a solid box of the bounds' size, at the orientation of this moment. Computed when the
    // body is built and again after composite children widen the bounds; never in the sub-steps.
    void ComputeInertiaTensor();
    // Velocity Verlet with the total acceleration held constant; first-order orientation update.
    void IntegrateMotion(double deltaTime);
    // Writes pose and velocities back, decides parenting, smooths the felt acceleration.
    void ApplyToEntity(double deltaTime);

    // One sub-step of contacts against the candidates of the broadphase and the parent.
    void CollisionDetection(double deltaTime);
    // A body against something immovable. `unused` is accepted and never read.
    static void RespondToCollision(DynamicRigidbody* body, const Collision& collision, double friction, double unused);
    // Two moving bodies; the normal points from b towards a.
    static void RespondToCollision(DynamicRigidbody* a, DynamicRigidbody* b, const Collision& collision,
                                   double friction, double unused);
    // In debug mode, a red line from the contact point along its normal, in the body frame.
    void AddDebugContactLine(const Collision& collision);
    // Records a contact towards the proof of rest; points closer than 0.1 to a recorded one are dropped.
    void AddStaticContactPoint(const glm::dvec3& normal, glm::dvec3 worldPoint);
    // Whether the recorded contacts support the centre of mass; `normal` is the support's normal on true.
    // The three latest contacts first: their normals within 45 degrees (a dot product under 0.707 refuses,
    // so three points in a line, whose plane normal is NaN, are not refused there) and the foot of the
    // centre of mass inside their triangle. With four or more, a wider test: every earlier normal within
    // 45 degrees of the latest, the support normal the normalised sum of those earlier normals, and the
    // projected centre of mass inside the x-y box of the projected points.
    bool GetStaticContact(glm::dvec3& normal);
    // One more step towards rest when the contacts support the body and it moves slower, along the support
    // and in rotation, than the smallest friction met this step.
    void CountRestIfSupported(double minFriction);

    // Once a frame, before the sub-steps: the faces that meet the flow, found by rays through the body.
    void ComputeAerodynamicSurfaces(game::EnvironmentFunction& environment);
    // Each sub-step, for a body without a parent: gravity, aerodynamics, terrain, buoyancy, liquids.
    void InteractWithEnvironment(game::EnvironmentFunction& environment, double deltaTime);
    // Once a frame, for a body in a parent's frame: terrain contacts only.
    void InteractWithEnvironmentFromParent(const glm::dmat4& parentTransform, game::EnvironmentFunction& environment,
                                           double deltaTime);

    glm::dvec3 linearVelocity{0.0}, angularVelocity{0.0};
    double invMass = 0.0;
    glm::dmat3 invInertiaTensor{0.0}; // group frame, orientation of the start of the frame
    glm::dvec3 linearAcceleration{0.0}, angularAcceleration{0.0};
    double restCounter = 0.0;
    glm::dvec3 environmentAcceleration{0.0};
    bool interactsWithEnvironment = false;
    bool touchedParent = false;
    bool touchedTerrain = false;
    double largestContactRadius = 0.0;
    std::weak_ptr<EntityT> potentialNewParent;
    Rigidbody<EntityT>* parentBody = nullptr;
    double sweptRadius = 0.0;
    std::vector<DynamicRigidbody*> dynamicCandidates; // only on the body of the lower index of a pair
    std::vector<Rigidbody<EntityT>*> staticCandidates;
    std::vector<AerodynamicSurface> aerodynamicSurfaces;
    std::vector<glm::dvec3> staticContactNormals, staticRelativeContactPoints;
    // Whether the debug lines and colliders below are recorded this frame (Frame::Step sets it when someone
    // watches).
    bool recordsDebug = false;
    // Body frame. Contacts red, clear rays magenta, blocked rays black, aerodynamic forces cyan (drawn as
    // the acceleration they give, one metre per m/s²).
    std::vector<DebugLine> debugLines;
    std::vector<game::entity::ConvexMeshCollider> debugColliders;
    std::unordered_set<game::entity::Id> ignoredCollisions;

    // GetTransform() * c.transform. For the first collider the product is kept while the body's pose stays
    // bit for bit the same: a body is met by each neighbour that lists it in a sub-step, and only a contact
    // moves it.
    const glm::dmat4& PlaceCollider(const Collider& c, glm::dmat4& scratch);

private:
    glm::dmat4 placedFirst_{0.0};
    glm::dvec3 placedPosition_{0.0};
    glm::dquat placedOrientation_{1.0, 0.0, 0.0, 0.0};
    bool placedValid_ = false;

    // Whether a ray from `origin` along `direction` (body frame) meets a collider of this body other than
    // `self`.
    bool TraceRay(const glm::dvec3& origin, const glm::dvec3& direction, const Collider* self);
    void AddSurfaces(const Collider& c, const glm::dmat4& m, const glm::dmat4& bodyTransform, double minVolume);
};

// The small operations every pass calls, here so that they inline.

template <class EntityT> glm::dvec3 Rigidbody<EntityT>::GetPositionAtCenterOfBounds() const {
    return position + glm::mat3_cast(orientation) * boundsCenter;
}

template <class EntityT> glm::dmat4 Rigidbody<EntityT>::GetTransform() const {
    glm::dmat4 transform(glm::mat3_cast(orientation));
    transform[3] = glm::dvec4(position, 1.0);
    return transform;
}

template <class EntityT>
const glm::dmat4& DynamicRigidbody<EntityT>::PlaceCollider(const Collider& c, glm::dmat4& scratch) {
    if (&c != this->colliders.data()) {
        scratch = this->GetTransform() * c.transform;
        return scratch;
    }
    // The bits, not the values: a pose of -0 and one of +0 place the collider differently.
    if (!placedValid_ || std::memcmp(&placedPosition_, &this->position, sizeof placedPosition_) != 0 ||
        std::memcmp(&placedOrientation_, &this->orientation, sizeof placedOrientation_) != 0) {
        placedFirst_ = this->GetTransform() * c.transform;
        placedPosition_ = this->position;
        placedOrientation_ = this->orientation;
        placedValid_ = true;
    }
    return placedFirst_;
}

template <class EntityT>
void DynamicRigidbody<EntityT>::ApplyImpulse(const glm::dvec3& impulse, const glm::dvec3& relativePoint) {
    restCounter = 0.0;
    linearVelocity += invMass * impulse;
    angularVelocity += invInertiaTensor * glm::cross(relativePoint, impulse);
}

} // namespace game::physics
