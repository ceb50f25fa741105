// Parents and children: the chain of components up to the vehicle, poses in the carrying body's frame, and
// hanging an entity under another while it keeps its world pose.

#include "game/entity/ServerSideEntity.hpp"

#include "game/Assert.hpp"
#include "game/entity/ParentChain.hpp"

#include <glm/gtc/quaternion.hpp>

namespace game::entity {

using detail::HasParentId;

Id ServerSideEntity::GetVehicleID() const {
    if (!isComponent)
        return id;
    const Ptr parent = HasParentId(parentEntity) ? Get(parentEntity) : Ptr();
    return parent ? parent->GetVehicleID() : id;
}

ServerSideEntity::Ptr ServerSideEntity::GetFirstNonComponentParent() const {
    if (!HasParentId(parentEntity))
        return {};
    const Ptr parent = Get(parentEntity);
    if (!parent)
        return {};
    return parent->isComponent ? parent->GetFirstNonComponentParent() : parent;
}

glm::dmat4 ServerSideEntity::GetTransformInPhysicsParent() const {
    if (isComponent && HasParentId(parentEntity))
        if (const Ptr parent = Get(parentEntity))
            return parent->GetTransformInPhysicsParent() * GetTransform();
    return glm::dmat4(1.0);
}

glm::dmat3 ServerSideEntity::GetInertiaTensorWorld() const {
    GAME_ASSERT(mass > 0.0);
    GAME_ASSERT(box_size.x > 0.0);
    GAME_ASSERT(box_size.y > 0.0);
    GAME_ASSERT(box_size.z > 0.0);
    const double x = box_size.x, y = box_size.y, z = box_size.z;
    const double k = mass / 12.0;
    glm::dmat3 diagonal(0.0);
    diagonal[0][0] = k * (y * y + z * z);
    diagonal[1][1] = k * (z * z + x * x);
    diagonal[2][2] = k * (x * x + y * y);
    const glm::dmat3 rotation = glm::mat3_cast(orientation);
    return rotation * diagonal * glm::transpose(rotation);
}

void ServerSideEntity::AddChild(Ptr& entity) {
    GAME_ASSERT(!entity->parentEntity);
    GAME_ASSERT(!entity->isComponent);
    const glm::dmat4 local = glm::inverse(GetTransform()) * entity->GetTransform();
    GAME_ASSERT(entity->GetID() != GetID());
    entity->parentEntity = id;
    entity->position = glm::dvec3(local[3]);
    entity->orientation = glm::quat_cast(glm::dmat3(local));
    // The parent's spin is left out on purpose: the child keeps its velocity relative to the parent's motion.
    const glm::dquat inverse = glm::inverse(orientation);
    entity->linearVelocity = inverse * entity->linearVelocity - inverse * linearVelocity;
    entity->angularVelocity = inverse * entity->angularVelocity;
}

void ServerSideEntity::RemoveChild(Ptr& entity) {
    GAME_ASSERT(entity->parentEntity == GetID());
    GAME_ASSERT(!entity->isComponent);
    GAME_ASSERT(entity->GetID() != parentEntity);
    const glm::dmat4 world = GetTransform() * entity->GetTransform();
    // One level up: the child lands under this entity's own parent, not at the root.
    entity->parentEntity = parentEntity;
    entity->position = glm::dvec3(world[3]);
    entity->orientation = orientation * entity->orientation;
    entity->linearVelocity = orientation * entity->linearVelocity + linearVelocity;
    entity->angularVelocity = orientation * entity->angularVelocity;
}

} // namespace game::entity
