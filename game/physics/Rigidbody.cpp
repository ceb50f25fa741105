// Building, integrating and writing back bodies. Contacts are in RigidbodyCollision.cpp, the environment
// in RigidbodyEnvironment.cpp.

#include "game/physics/Rigidbody.hpp"
#include "game/physics/PointTransform.hpp"

#include "game/Assert.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <cmath>

namespace game::physics {

namespace {
glm::dmat3 Rotation(const glm::dquat& q) { return glm::mat3_cast(q); }
} // namespace

namespace detail {

namespace {
std::vector<std::vector<game::entity::ConvexMeshCollider>>& Spares() {
    thread_local std::vector<std::vector<game::entity::ConvexMeshCollider>> spares;
    return spares;
}
} // namespace

std::vector<game::entity::ConvexMeshCollider> TakeColliderStorage() {
    auto& spares = Spares();
    if (spares.empty())
        return {};
    std::vector<game::entity::ConvexMeshCollider> storage = std::move(spares.back());
    spares.pop_back();
    return storage;
}

void ReturnColliderStorage(std::vector<game::entity::ConvexMeshCollider>&& storage) {
    if (storage.capacity() == 0)
        return;
    storage.clear();
    Spares().push_back(std::move(storage));
}

} // namespace detail

namespace {

// The storage of the per-frame lists of moving bodies, kept by the physics thread between frames.
template <class EntityT> struct SpareLists {
    std::vector<std::vector<DynamicRigidbody<EntityT>*>> dynamicCandidates;
    std::vector<std::vector<Rigidbody<EntityT>*>> staticCandidates;
    std::vector<std::vector<glm::dvec3>> contactVectors; // normals and relative points alike
    std::vector<std::vector<AerodynamicSurface>> surfaces;

    static SpareLists& OfThread() {
        thread_local SpareLists spares;
        return spares;
    }
};

template <class T> std::vector<T> TakeList(std::vector<std::vector<T>>& spares) {
    if (spares.empty())
        return {};
    std::vector<T> list = std::move(spares.back());
    spares.pop_back();
    return list;
}

template <class T> void ReturnList(std::vector<std::vector<T>>& spares, std::vector<T>& list) {
    if (list.capacity() == 0)
        return;
    list.clear();
    spares.push_back(std::move(list));
}

} // namespace

template <class EntityT>
Rigidbody<EntityT>::Rigidbody(typename EntityT::Ptr& source)
    : entity(source), colliders(detail::TakeColliderStorage()) {
    EntityT& e = *source;
    orientation = e.orientation;
    centerOfMass = e.centerOfMass;
    position = e.position + Rotation(orientation) * centerOfMass;
    id = e.GetID();
    boundsMin = e.boxMin - centerOfMass;
    boundsMax = e.boxMax - centerOfMass;

    // A disabled collider does not exist for physics.
    colliders.reserve(e.colliders.size());
    for (const auto& entry : e.colliders)
        if (entry.second.enabled)
            colliders.push_back(entry.second);

    for (game::entity::ConvexMeshCollider& c : colliders) {
        c.transform[3] -= glm::dvec4(centerOfMass, 0.0);
        volume += std::abs(c.boxMax.x - c.boxMin.x) * c.fill * std::abs(c.boxMax.y - c.boxMin.y) *
                  std::abs(c.boxMax.z - c.boxMin.z);
        // Two corners only, as the entity's own box: cheap, and a rotated collider is bounded only
        // approximately. The broadphase radius inherits that looseness.
        const glm::dvec3 a = Transform(c.transform, glm::dvec3(c.boxMin));
        const glm::dvec3 b = Transform(c.transform, glm::dvec3(c.boxMax));
        boundsMin = glm::min(boundsMin, glm::min(a, b));
        boundsMax = glm::max(boundsMax, glm::max(a, b));
    }
    ComputeBounds();
}

template <class EntityT> void Rigidbody<EntityT>::ComputeBounds() {
    boundsCenter = (boundsMin + boundsMax) / 2.0;
    boundingRadius = glm::length(boundsMax - boundsMin) / 2.0;
    centerPosition = GetPositionAtCenterOfBounds();
}

template <class EntityT>
DynamicRigidbody<EntityT>::DynamicRigidbody(typename EntityT::Ptr& source, double deltaTime)
    : Rigidbody<EntityT>(source) {
    EntityT& e = *source;
    largestContactRadius = this->boundingRadius;
    GAME_ASSERT(deltaTime > 0);
    GAME_ASSERT_TEXT(e.mass > 0, "mass > 0");
    invMass = 1.0 / e.mass;
    ComputeInertiaTensor();
    linearVelocity = e.linearVelocity;
    angularVelocity = e.angularVelocity;
    environmentAcceleration = e.pendingImpulses.acceleration;
    linearAcceleration = e.pendingImpulses.linear / deltaTime * invMass;
    angularAcceleration = invInertiaTensor * (e.pendingImpulses.angular / deltaTime);
    interactsWithEnvironment = e.bodyOption != 0;
    ignoredCollisions = e.linkedEntities;
    sweptRadius = glm::length(linearVelocity) * deltaTime * 0.5 + this->boundingRadius;

    SpareLists<EntityT>& spares = SpareLists<EntityT>::OfThread();
    dynamicCandidates = TakeList(spares.dynamicCandidates);
    staticCandidates = TakeList(spares.staticCandidates);
    staticContactNormals = TakeList(spares.contactVectors);
    staticRelativeContactPoints = TakeList(spares.contactVectors);
    aerodynamicSurfaces = TakeList(spares.surfaces);
}

template <class EntityT> DynamicRigidbody<EntityT>::~DynamicRigidbody() {
    // A body moved from has nothing left to give.
    if (dynamicCandidates.capacity() == 0 && staticCandidates.capacity() == 0 && staticContactNormals.capacity() == 0 &&
        staticRelativeContactPoints.capacity() == 0 && aerodynamicSurfaces.capacity() == 0)
        return;
    SpareLists<EntityT>& spares = SpareLists<EntityT>::OfThread();
    ReturnList(spares.dynamicCandidates, dynamicCandidates);
    ReturnList(spares.staticCandidates, staticCandidates);
    ReturnList(spares.contactVectors, staticContactNormals);
    ReturnList(spares.contactVectors, staticRelativeContactPoints);
    ReturnList(spares.surfaces, aerodynamicSurfaces);
}

template <class EntityT> void DynamicRigidbody<EntityT>::ComputeInertiaTensor() {
    vesmo::cpu::Profiler scope("ComputeInertiaTensor");
    const glm::dvec3 box_size = this->boundsMax - this->boundsMin;
    GAME_ASSERT(box_size.x > 0.0);
    GAME_ASSERT(box_size.y > 0.0);
    GAME_ASSERT(box_size.z > 0.0);
    // A solid box of the bounds' size: how the colliders are really distributed plays no part.
    const double x2 = box_size.x * box_size.x, y2 = box_size.y * box_size.y, z2 = box_size.z * box_size.z;
    glm::dmat3 diagonal(0.0);
    diagonal[0][0] = (y2 + z2) / invMass / 12.0;
    diagonal[1][1] = (z2 + x2) / invMass / 12.0;
    diagonal[2][2] = (y2 + x2) / invMass / 12.0;
    const glm::dmat3 r = Rotation(this->orientation);
    invInertiaTensor = glm::inverse(r * diagonal * glm::transpose(r));
}

template <class EntityT> void DynamicRigidbody<EntityT>::IntegrateMotion(double dt) {
    vesmo::cpu::Profiler scope("IntegrateMotion");
    const glm::dvec3 a = linearAcceleration + this->parentAcceleration + environmentAcceleration;
    const glm::dvec3 alpha = angularAcceleration;
    const glm::dvec3 vh = linearVelocity + a * dt * 0.5;
    const glm::dvec3 wh = angularVelocity + alpha * dt * 0.5;
    this->position += vh * dt;

    // First-order update with the angular velocity of the group frame, so the product is taken from the
    // left, then normalisation; no exponential map.
    glm::dquat& q = this->orientation;
    const glm::dvec3 h = wh * dt * 0.5;
    const double dw = -h.x * q.x - h.y * q.y - h.z * q.z;
    const double dx = h.x * q.w + h.y * q.z - h.z * q.y;
    const double dy = h.y * q.w + h.z * q.x - h.x * q.z;
    const double dz = h.z * q.w + h.x * q.y - h.y * q.x;
    q.w += dw;
    q.x += dx;
    q.y += dy;
    q.z += dz;
    const double length = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
    if (0 >= length)
        q = glm::dquat(1.0, 0.0, 0.0, 0.0);
    else
        q = glm::dquat(q.w / length, q.x / length, q.y / length, q.z / length);

    linearVelocity = vh + a * dt * 0.5;
    angularVelocity = wh + alpha * dt * 0.5;
}

template <class EntityT> void DynamicRigidbody<EntityT>::ApplyToEntity(double deltaTime) {
    vesmo::cpu::Profiler scope("ApplyToEntity");
    typename EntityT::Ptr e = this->entity.lock();
    if (!e)
        return;

    const glm::dvec3 dv = linearVelocity - e->linearVelocity;
    e->orientation = this->orientation;
    e->position = this->position - Rotation(this->orientation) * e->centerOfMass;
    e->linearVelocity = linearVelocity;
    e->angularVelocity = angularVelocity;
    e->pendingImpulses = {};
    e->settleTime += restCounter;

    // Parenting: a slow body resting on something larger than itself rides along with it; ground contact,
    // speed or losing the parent lets it go.
    const double speed = glm::length(linearVelocity);
    const bool hasParent = e->HasParent();
    typename EntityT::Ptr potential = potentialNewParent.lock();
    const bool alive = potential != nullptr;
    if (!touchedTerrain && alive && (!hasParent || !(speed > 10.0))) {
        GAME_ASSERT_TEXT(potential->GetID() != e->parentEntity, "potentialNewParent->GetID() != entity->parentEntity");
        if (!e->HasParent() && !potential->HasParent() && speed < 5.0)
            potential->AddChild(e);
    }
    const bool leave = touchedTerrain || speed > 10.0 || (parentBody == nullptr && !alive);
    if (hasParent && e->isDynamic && leave && !(touchedParent && !(speed > 10.0))) {
        if (typename EntityT::Ptr parent = EntityT::Get(e->parentEntity)) {
            this->parentAcceleration = glm::dvec3(0.0);
            parent->RemoveChild(e);
            // RemoveChild moved the entity into the grandparent's frame.
            this->orientation = e->orientation;
            this->position = e->position + Rotation(this->orientation) * e->centerOfMass;
        }
    }

    // What a sensor on the entity feels: gravity and the frame's acceleration minus the change of velocity.
    // At rest on the ground it reads the full gravity, in free fall nothing.
    const glm::dvec3 felt = environmentAcceleration + this->parentAcceleration - dv / deltaTime;
    const glm::dvec3 local = glm::inverse(Rotation(e->orientation)) * felt;
    e->smoothedAcceleration = 0.9 * e->smoothedAcceleration + 0.1 * local;
    e->transformCacheValid = false;
}

template class Rigidbody<game::entity::ServerSideEntity>;
template class DynamicRigidbody<game::entity::ServerSideEntity>;

} // namespace game::physics
