#pragma once
// The entity model shared by the server and the client: identity, pose, named nodes, joints, colliders.
//
// An entity's body comes from the EntityConfig of its type; its behaviour lives in a module. BaseEntity
// keeps what both sides need: which type it is, where it is, the transforms of its named nodes, the
// current values of its joints and its convex colliders with the box around them.

#include "game/host/UniqueId.hpp"
#include "vesmo/modular/ModuleID.hpp"

#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace game::physics {
template <class EntityT> class DynamicRigidbody;
struct Collision;
} // namespace game::physics

namespace game::entity {

// Zero in both words means "no entity". std::hash<Id> is the second word as it stands.
using Id = game::UniqueId;
// The name of an entity type inside its module; a type is known by (ModuleID, Type).
using Type = std::string;
// Key of an environment: a planet or a parent entity. 0 means none.
using EnvironmentId = uint64_t;

class EntityConfig;
class ServerSideEntity;

// Current values of one joint, in the config's Z-up convention: metres for `linear`, degrees for `angular`.
struct JointState {
    glm::vec3 linear{0.0f};
    glm::vec3 angular{0.0f};
};

// A convex hull of at most 8 vertices, 12 face normals and 12 triangles: the fixed arrays are the hard
// limit of the config format. Copied by value; a copy shares `children`.
struct ConvexMeshCollider {
    static constexpr uint32_t kMaxVertices = 8;
    static constexpr uint32_t kMaxNormals = 12;
    static constexpr uint32_t kMaxTriangles = 12;

    // Called by the collision response: (body, this collider, the other one or null for terrain, the
    // contact, which the callback may change, and the step). Returns whether the contact counts towards rest.
    using CollisionCallback =
        std::function<bool(game::physics::DynamicRigidbody<ServerSideEntity>* body, const ConvexMeshCollider& self,
                           const ConvexMeshCollider* other, game::physics::Collision& collision, double deltaTime)>;

    uint8_t enabled = 1;
    glm::dmat4 transform{1.0}; // pose in the entity's frame, kept equal to the entity's nodes[name]
    glm::vec3 boxMin{0.0f};
    glm::vec3 boxMax{0.0f};
    float radius = 0.0f;
    double fill = 1.0;   // fraction of the box that is solid; below 0.95 the box is a hull around `children`
    double weight = 1.0; // the environment's share of this collider; InitNodes sets it to 0
    uint32_t vertexCount = 0;
    uint32_t normalCount = 0;
    uint32_t triangleCount = 0;
    std::array<glm::vec3, kMaxVertices> vertices{};
    std::array<glm::vec3, kMaxNormals> faceNormals{};
    std::array<std::array<uint16_t, 3>, kMaxTriangles> triangles{};
    std::shared_ptr<std::vector<ConvexMeshCollider>> children = std::make_shared<std::vector<ConvexMeshCollider>>();
    Id ownerId;
    std::string name;
    uint16_t userFlags = 0; // bit 0: read by the collision code; bit 8: the collider is a sphere of `radius`
    uint64_t userData = 0;  // the bits of the friction coefficient, as a double
    CollisionCallback onCollision;

    bool IsSphere() const { return (userFlags & 0x100) != 0; }
    double Friction() const;
    void SetFriction(double friction);

    // Makes this collider the box between two opposite corners: 8 vertices (vertex i takes the high x when
    // i & 4, the high y when i & 2, the high z when i & 1), the 3 axis normals and 12 triangles. ComputeBox
    // then gives its bounds.
    void SetBox(const glm::vec3& corner, const glm::vec3& opposite);
    // The box and radius from the vertices. Only for a collider without children.
    void ComputeBox();
};

class BaseEntity {
public:
    BaseEntity() = default;
    virtual ~BaseEntity();
    BaseEntity(const BaseEntity&) = delete;
    BaseEntity& operator=(const BaseEntity&) = delete;

    // Fills mass, nodes, joint states and colliders from `config`; does nothing without one.
    virtual void InitNodes();
    // Brings the colliders and the box up to date when nodes or joints changed. The dirty flags stay set:
    // whoever drives the physics clears them.
    virtual void Update(double deltaTime);

    // Translation by `position` times the rotation of `orientation`.
    glm::dmat4 GetTransform() const;
    // The box around every collider, from only the two stored corners of each collider (cheap; a rotated
    // collider may stick out of it).
    void UpdateBoundingBox(bool refreshSavedCenter);

    vesmo::modular::ModuleID moduleId;
    Type type;
    std::shared_ptr<EntityConfig> config;
    double mass = 0.0;
    glm::dvec3 position{0.0};
    glm::dquat orientation{1.0, 0.0, 0.0, 0.0};
    glm::dvec3 boxMin{0.0};
    glm::dvec3 boxMax{0.0};
    glm::dvec3 box_size{0.0};
    glm::dvec3 savedBoxCenter{0.0};
    glm::dvec3 boxCenter{0.0};
    double boundingRadius = 0.0;
    glm::dvec3 linearVelocity{0.0};
    glm::dvec3 angularVelocity{0.0};
    glm::dvec3 smoothedAcceleration{0.0}; // felt acceleration in the entity's frame, smoothed by the physics
    Id parentEntity;
    std::unordered_map<std::string, glm::dmat4> nodes;
    std::unordered_map<std::string, JointState> jointStates;
    std::unordered_map<std::string, ConvexMeshCollider> colliders;
    std::unordered_set<Id> linkedEntities;
    uint8_t nodesDirty = 0;
    uint8_t jointsDirty = 0;
    uint8_t isDynamic = 0;
    uint8_t isComponent = 0;

    bool HasParent() const { return parentEntity.First() != 0 && parentEntity.Second() != 0; }
};

} // namespace game::entity
