#pragma once
// Geometric questions about convex colliders: does one penetrate another and where, may two boxes be near
// each other, does a ray cross a box. Stateless; nothing here knows about bodies.
//
// Colliders are read through their `transform` (collider frame to the frame of the test), their box, their
// `radius` and the inline hull arrays. Callers pass colliders whose transform already takes them to one
// common frame. The overloads with explicit transforms answer for the collider placed by that transform
// instead of its own, so that the physics can test a collider in another frame without copying it.

#include "game/entity/common.hpp"

#include <glm/glm.hpp>

namespace game::physics {

// A contact: `point` on the surface of the smaller collider, `normal` (unit) pointing from the second
// collider towards the first, `depth` the penetration. A depth of 0 means no contact; then every field
// is zero.
struct Collision {
    glm::dvec3 point{0.0};
    glm::dvec3 normal{0.0};
    double depth = 0.0;
};

struct Projection {
    double min = 0.0;
    double max = 0.0;
};

// The extent of the collider's world vertices along `axis`. With no vertices: min is the largest double
// and max its negative.
Projection ProjectOntoAxis(const game::entity::ConvexMeshCollider& collider, const glm::dvec3& axis);

// The narrow phase: separating axes over the face normals of both hulls and the cross products of every
// pair of vertex pairs (the hulls have no edge list). Touching (an overlap of exactly 0) is no contact.
// The normal is the axis of least overlap, turned to point from b's box centre towards a's; when that
// axis is exactly perpendicular to the line of centres the normal is zero and the contact has depth but no
// direction.
//
// When only one collider is a sphere it must be `a` (negate the normal if the pair was swapped); `b` is
// never taken as a sphere. Against a collider without geometry a sphere reports an enormous depth.
Collision ConvexCollision(const game::entity::ConvexMeshCollider& a, const game::entity::ConvexMeshCollider& b);
Collision ConvexCollision(const game::entity::ConvexMeshCollider& a, const glm::dmat4& transformA,
                          const game::entity::ConvexMeshCollider& b, const glm::dmat4& transformB);

// A cheap, conservative filter: false only when the two boxes cannot touch. Bounding spheres first (when
// `testSpheres`), then the corners of box B taken into A's frame and enclosed in an axis-aligned box, which
// must overlap box A (touching counts). One-sided, so it may say true for boxes that are apart.
bool PotentialBoxBoxIntersection(const glm::dmat4& transformA, const glm::dmat4& transformB, const glm::dvec3& minA,
                                 const glm::dvec3& maxA, const glm::dvec3& minB, const glm::dvec3& maxB,
                                 bool testSpheres, bool testBoxes);
// The collider form: their radii around the box centres must reach each other, then the box test.
bool PotentialBoxBoxIntersection(const game::entity::ConvexMeshCollider& a, const game::entity::ConvexMeshCollider& b);
bool PotentialBoxBoxIntersection(const game::entity::ConvexMeshCollider& a, const glm::dmat4& transformA,
                                 const game::entity::ConvexMeshCollider& b, const glm::dmat4& transformB);

// Slab test of a ray (not a segment: only hits behind the origin are refused). A ray that starts inside
// the box hits. The slab distances are rounded to single precision.
bool RayBoxIntersection(const glm::dvec3& boxMin, const glm::dvec3& boxMax, const glm::dvec3& origin,
                        const glm::dvec3& direction);

} // namespace game::physics
