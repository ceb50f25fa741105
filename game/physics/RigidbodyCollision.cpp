// Contacts of a moving body: the narrow phase against its candidates, the impulse responses and the
// evidence of rest.

#include "game/Assert.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/physics/PointTransform.hpp"
#include "game/physics/Rigidbody.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <glm/gtc/matrix_transform.hpp>

#include <algorithm>

namespace game::physics {

using game::entity::ConvexMeshCollider;

namespace {

ConvexMeshCollider Placed(const ConvexMeshCollider& source, const glm::dmat4& transform) {
    ConvexMeshCollider copy = source;
    copy.transform = transform;
    return copy;
}

// A child collider worth testing: a real size and something inside it.
bool UsableChild(const ConvexMeshCollider& child) {
    return child.radius > 0.0001 && child.boxMax.x > child.boxMin.x &&
           (child.vertexCount > 0 || !child.children->empty());
}

} // namespace

// The pair routine of CollisionDetection: a collider of the body against one of something immovable
// (a static body or the parent), descending into the children of hollow colliders. Colliders are passed
// with the transform that places them in the group frame, so that nothing is copied on the way down;
// copies are made only for the modules' callbacks, which see colliders placed in the group frame.
template <class EntityT> struct StaticPairRoutine {
    DynamicRigidbody<EntityT>& body;
    double deltaTime;
    double& minFriction;
    bool& hit;

    void operator()(const ConvexMeshCollider& self, const glm::dmat4& selfTransform, const ConvexMeshCollider& other,
                    const glm::dmat4& otherTransform) {
        if (other.fill < 0.95 && !other.children->empty()) {
            if (!PotentialBoxBoxIntersection(self, selfTransform, other, otherTransform))
                return;
            for (const ConvexMeshCollider& child : *other.children)
                if (UsableChild(child))
                    (*this)(self, selfTransform, child, otherTransform * child.transform);
            return;
        }
        if (self.fill < 0.95 && !self.children->empty()) {
            if (!PotentialBoxBoxIntersection(self, selfTransform, other, otherTransform))
                return;
            for (const ConvexMeshCollider& child : *self.children)
                if (UsableChild(child))
                    (*this)(child, selfTransform * child.transform, other, otherTransform);
            return;
        }

        // No sphere-first swap here: against static geometry the body's collider is always `a`, so a
        // static sphere is met as the box around it. The dynamic pairs swap; this path never did.
        Collision collision = ConvexCollision(self, selfTransform, other, otherTransform);
        if (!(collision.depth > 0))
            return;
        body.AddDebugContactLine(collision);
        if (self.onCollision) {
            const ConvexMeshCollider selfCopy = Placed(self, selfTransform);
            const ConvexMeshCollider otherCopy = Placed(other, otherTransform);
            if (self.onCollision(&body, selfCopy, &otherCopy, collision, deltaTime))
                body.AddStaticContactPoint(collision.normal, collision.point);
        } else {
            body.AddStaticContactPoint(collision.normal, collision.point);
        }
        if (collision.depth > 0) {
            DynamicRigidbody<EntityT>::RespondToCollision(&body, collision, self.Friction() * other.Friction(), 0.0);
            minFriction = std::min({other.Friction(), self.Friction(), minFriction});
        }
        hit = true;
    }
};

template <class EntityT> void DynamicRigidbody<EntityT>::CollisionDetection(double deltaTime) {
    vesmo::cpu::Profiler scope("CollisionDetection");
    // The weakest friction among this sub-step's contacts; it is also the speed under which the body may
    // count the sub-step as rest, so a body on ice practically never rests.
    double minFriction = 1.0;
    bool hit = false;
    StaticPairRoutine<EntityT> pair{*this, deltaTime, minFriction, hit};

    for (const Collider& c : this->colliders) {
        // `self` is placed only where a pass has something to meet: a body alone in the air needs no matrix.
        glm::dmat4 selfTransform, scratch;
        if (!dynamicCandidates.empty())
            selfTransform = this->PlaceCollider(c, scratch);
        {
            vesmo::cpu::Profiler dynamicScope("Dynamic collision detection");
            for (DynamicRigidbody* other : dynamicCandidates) {
                if (other->colliders.size() > 3 &&
                    !PotentialBoxBoxIntersection(selfTransform, other->GetTransform(), glm::dvec3(c.boxMin),
                                                 glm::dvec3(c.boxMax), other->boundsMin, other->boundsMax, true, true))
                    continue;
                for (const Collider& oc : other->colliders) {
                    glm::dmat4 otherScratch;
                    const glm::dmat4& otherTransform = other->PlaceCollider(oc, otherScratch);
                    // The sphere goes first, and the normal always points towards this body.
                    Collision collision;
                    if (oc.IsSphere()) {
                        collision = ConvexCollision(oc, otherTransform, c, selfTransform);
                        collision.normal = -collision.normal;
                    } else {
                        collision = ConvexCollision(c, selfTransform, oc, otherTransform);
                    }
                    if (!(collision.depth > 0))
                        continue;
                    AddDebugContactLine(collision);
                    if (oc.onCollision || c.onCollision) {
                        const Collider selfCopy = Placed(c, selfTransform);
                        const Collider otherCopy = Placed(oc, otherTransform);
                        if (oc.onCollision) {
                            collision.normal = -collision.normal;
                            oc.onCollision(other, otherCopy, &selfCopy, collision, deltaTime);
                            collision.normal = -collision.normal;
                        }
                        if (c.onCollision)
                            c.onCollision(this, selfCopy, &otherCopy, collision, deltaTime);
                    }
                    if (collision.depth > 0) {
                        RespondToCollision(this, other, collision, c.Friction() * oc.Friction(), 0.0);
                        selfTransform = this->PlaceCollider(c, scratch);
                    }
                }
            }
        }

        // A body that proved rest earlier in this frame does no more collision work in it, unless an
        // impulse has taken the proof back.
        if (restCounter > 0.99)
            return;

        {
            vesmo::cpu::Profiler staticScope("Static collision detection");
            hit = false;
            if (!staticCandidates.empty() || parentBody)
                selfTransform = this->PlaceCollider(c, scratch);
            for (Rigidbody<EntityT>* other : staticCandidates) {
                const glm::dmat4 otherBody = other->GetTransform();
                if (other->colliders.size() > 3 &&
                    !PotentialBoxBoxIntersection(selfTransform, otherBody, glm::dvec3(c.boxMin), glm::dvec3(c.boxMax),
                                                 other->boundsMin, other->boundsMax, true, true))
                    continue;
                for (const Collider& oc : other->colliders) {
                    if (hit) {
                        selfTransform = this->PlaceCollider(c, scratch);
                        hit = false;
                    }
                    pair(c, selfTransform, oc, otherBody * oc.transform);
                    // Only something larger than this body can become its parent; the largest wins.
                    if (hit && other->boundingRadius > largestContactRadius) {
                        potentialNewParent = other->entity;
                        largestContactRadius = other->boundingRadius;
                    }
                }
            }
        }

        if (parentBody) {
            vesmo::cpu::Profiler parentScope("Parent collision detection");
            // The parent's colliders in its entity frame, which is the frame of this body's transform.
            const glm::dmat4 parentFrame = glm::translate(glm::dmat4(1.0), parentBody->centerOfMass);
            for (const Collider& pc : parentBody->colliders) {
                if (hit) {
                    selfTransform = this->PlaceCollider(c, scratch);
                    hit = false;
                }
                pair(c, selfTransform, pc, parentFrame * pc.transform);
                if (hit)
                    touchedParent = true;
            }
        }
    }

    CountRestIfSupported(minFriction);
}

template <class EntityT> void DynamicRigidbody<EntityT>::AddDebugContactLine(const Collision& collision) {
    if (!recordsDebug)
        return;
    const glm::dmat4 toBody = glm::inverse(this->GetTransform());
    debugLines.push_back({this->id,
                          Transform(toBody, collision.point),
                          Transform(toBody, collision.point + collision.normal),
                          {1, 0, 0, 1}});
}

template <class EntityT>
void DynamicRigidbody<EntityT>::RespondToCollision(DynamicRigidbody* body, const Collision& collision, double friction,
                                                   double) {
    vesmo::cpu::Profiler scope("RespondToCollision");
    const glm::dvec3 r = collision.point - body->position;
    const glm::dvec3 n = collision.normal;
    const glm::dvec3 vp = body->linearVelocity + glm::cross(body->angularVelocity, r);

    // The whole penetration goes at once, before the impulse, with no slop; r keeps its value from before.
    body->position += n * collision.depth;

    // No restitution and no clamp: the normal speed at the contact becomes zero, whether the contact was
    // closing or separating. Bodies do not bounce, and a separating contact is pulled together.
    const glm::dvec3 t = body->invInertiaTensor * glm::cross(r, n);
    const double j = -glm::dot(vp, n) / (glm::dot(glm::cross(t, r), n) + body->invMass);
    body->ApplyImpulse(n * j, r);

    // Friction is that fraction of the impulse which would stop the sliding, independent of the normal
    // impulse: not a Coulomb cone. A friction of 1 stops sliding in one contact.
    if (friction > 0) {
        const glm::dvec3 vt = vp - n * glm::dot(vp, n);
        const double speed = glm::length(vt);
        if (speed > 1e-6) {
            const glm::dvec3 d = vt / speed;
            const glm::dvec3 t2 = body->invInertiaTensor * glm::cross(r, d);
            const double k = glm::dot(glm::cross(t2, r), d) + body->invMass;
            if (k > 0) {
                const double jt = -glm::dot(d, vp) * friction / k;
                body->ApplyImpulse(d * jt, r);
            }
        }
    }
}

template <class EntityT>
void DynamicRigidbody<EntityT>::RespondToCollision(DynamicRigidbody* a, DynamicRigidbody* b, const Collision& collision,
                                                   double friction, double) {
    vesmo::cpu::Profiler scope("RespondToCollision");
    const glm::dvec3 n = collision.normal;
    const glm::dvec3 ra = collision.point - a->position;
    const glm::dvec3 rb = collision.point - b->position;
    const glm::dvec3 vp = (a->linearVelocity + glm::cross(a->angularVelocity, ra)) -
                          (b->linearVelocity + glm::cross(b->angularVelocity, rb));

    const double sum = a->invMass + b->invMass;
    a->position += n * collision.depth * (a->invMass / sum);
    b->position -= n * collision.depth * (b->invMass / sum);

    const glm::dvec3 ta = a->invInertiaTensor * glm::cross(ra, n);
    const glm::dvec3 tb = b->invInertiaTensor * glm::cross(rb, n);
    const double j = -glm::dot(vp, n) / (glm::dot(glm::cross(ta, ra) + glm::cross(tb, rb), n) + sum);
    a->ApplyImpulse(n * j, ra);
    b->ApplyImpulse(-n * j, rb);

    if (friction > 0) {
        const glm::dvec3 vt = vp - n * glm::dot(vp, n);
        const double speed = glm::length(vt);
        if (speed > 1e-6) {
            const glm::dvec3 d = vt / speed;
            const double k = glm::dot(glm::cross(a->invInertiaTensor * glm::cross(ra, d), ra) +
                                          glm::cross(b->invInertiaTensor * glm::cross(rb, d), rb),
                                      d) +
                             sum;
            if (k > 0) {
                const double jt = -glm::dot(d, vp) * friction / k;
                a->ApplyImpulse(d * jt, ra);
                b->ApplyImpulse(-d * jt, rb);
            }
        }
    }
}

template <class EntityT>
void DynamicRigidbody<EntityT>::AddStaticContactPoint(const glm::dvec3& normal, glm::dvec3 worldPoint) {
    vesmo::cpu::Profiler scope("AddStaticContactPoint");
    const glm::dvec3 p = worldPoint - this->position;
    // A set of points at least 10 cm apart, grown over all the sub-steps of the frame.
    for (const glm::dvec3& q : staticRelativeContactPoints)
        if (glm::distance(q, p) < 0.1)
            return;
    staticContactNormals.push_back(normal);
    staticRelativeContactPoints.push_back(p);
}

template <class EntityT> void DynamicRigidbody<EntityT>::CountRestIfSupported(double minFriction) {
    glm::dvec3 normal;
    if (GetStaticContact(normal)) {
        const glm::dvec3 tangent = linearVelocity - normal * glm::dot(linearVelocity, normal);
        if (minFriction > glm::length(tangent) && minFriction > glm::length(angularVelocity))
            restCounter += 1.0;
    }
}

template <class EntityT> bool DynamicRigidbody<EntityT>::GetStaticContact(glm::dvec3& normal) {
    vesmo::cpu::Profiler scope("GetStaticContact");
    GAME_ASSERT(staticContactNormals.size() == staticRelativeContactPoints.size());
    const size_t n = staticContactNormals.size();
    if (n < 3)
        return false;
    const std::vector<glm::dvec3>& points = staticRelativeContactPoints;
    const std::vector<glm::dvec3>& normals = staticContactNormals;

    // The plane of the three latest contacts, facing as the latest contact's normal. The points are
    // relative to the centre of mass, so the origin is the centre of mass.
    const glm::dvec3 A = points[n - 1], B = points[n - 2], C = points[n - 3];
    normal = glm::normalize(glm::cross(B - A, C - A));
    const glm::dvec3 L = normals[n - 1];
    if (glm::dot(normal, L) < 0)
        normal = -normal;
    // Within 45 degrees of each other.
    if (glm::dot(normal, L) < 0.707 || glm::dot(L, normals[n - 2]) < 0.707 ||
        glm::dot(normal, normals[n - 2]) < 0.707 || glm::dot(L, normals[n - 3]) < 0.707 ||
        glm::dot(normal, normals[n - 3]) < 0.707)
        return false;

    // Does the foot of the centre of mass fall inside that triangle?
    const glm::dvec3 q = -glm::dot(normal, A) * normal - A;
    const glm::dvec3 u = B - A, w = C - A;
    const double uu = glm::dot(u, u), ww = glm::dot(w, w), uw = glm::dot(u, w);
    const double D = ww * uu - uw * uw;
    const double b1 = (glm::dot(u, q) * ww - glm::dot(w, q) * uw) / D;
    const double b2 = (glm::dot(w, q) * uu - glm::dot(u, q) * uw) / D;
    if (b1 >= 0 && b1 <= 1 && b2 >= 0 && b2 <= 1 && b1 + b2 <= 1)
        return true;
    if (n == 3)
        return false;

    // With more contacts, a wider test: all of them facing alike, and the centre of mass inside the box of
    // the projected points. Only the x and y components are compared, whatever the normal's direction.
    normal = glm::dvec3(0.0);
    glm::dvec3 sum(0.0);
    for (size_t i = 0; i + 1 < n; ++i) {
        if (glm::dot(L, normals[i]) < 0.707)
            return false;
        normal += normals[i];
    }
    normal = glm::normalize(normal);
    for (size_t i = 0; i < n; ++i)
        sum += points[i];
    const glm::dvec3 G = sum / static_cast<double>(n);
    const glm::dvec3 o = -glm::dot(G, normal) * normal;
    const glm::dmat3 M = glm::dmat3(1.0) - glm::outerProduct(normal, normal);
    glm::dvec2 lower(std::numeric_limits<double>::max()), upper(-std::numeric_limits<double>::max());
    for (size_t i = 0; i < n; ++i) {
        const glm::dvec3 projected = M * (points[i] - o);
        lower = glm::min(lower, glm::dvec2(projected));
        upper = glm::max(upper, glm::dvec2(projected));
    }
    return lower.x < 0 && lower.y < 0 && upper.x > 0 && upper.y > 0;
}

template void DynamicRigidbody<game::entity::ServerSideEntity>::CollisionDetection(double);
template void DynamicRigidbody<game::entity::ServerSideEntity>::RespondToCollision(DynamicRigidbody*, const Collision&,
                                                                                   double, double);
template void DynamicRigidbody<game::entity::ServerSideEntity>::RespondToCollision(DynamicRigidbody*, DynamicRigidbody*,
                                                                                   const Collision&, double, double);
template void DynamicRigidbody<game::entity::ServerSideEntity>::AddDebugContactLine(const Collision&);
template void DynamicRigidbody<game::entity::ServerSideEntity>::AddStaticContactPoint(const glm::dvec3&, glm::dvec3);
template bool DynamicRigidbody<game::entity::ServerSideEntity>::GetStaticContact(glm::dvec3&);
template void DynamicRigidbody<game::entity::ServerSideEntity>::CountRestIfSupported(double);

} // namespace game::physics
