#include "game/entity/common.hpp"

#include "game/Assert.hpp"
#include "game/entity/EntityConfig.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <bit>
#include <limits>

namespace game::entity {

namespace {
constexpr float kLargestFloat = std::numeric_limits<float>::max();
constexpr double kLargestFloatWide = 3.4028234663852886e38;
} // namespace

void ConvexMeshCollider::SetBox(const glm::vec3& a, const glm::vec3& b) {
    const glm::vec3 lo = glm::min(a, b), hi = glm::max(a, b);
    vertexCount = 8;
    for (uint32_t i = 0; i < 8; ++i)
        vertices[i] = {(i & 4) ? hi.x : lo.x, (i & 2) ? hi.y : lo.y, (i & 1) ? hi.z : lo.z};
    normalCount = 3;
    faceNormals[0] = {1.0f, 0.0f, 0.0f};
    faceNormals[1] = {0.0f, 1.0f, 0.0f};
    faceNormals[2] = {0.0f, 0.0f, 1.0f};
    static constexpr uint16_t kTriangles[12][3] = {{0, 1, 2}, {1, 3, 2}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                                                   {2, 3, 6}, {3, 7, 6}, {0, 2, 4}, {2, 6, 4}, {1, 3, 5}, {3, 7, 5}};
    triangleCount = 12;
    for (int t = 0; t < 12; ++t)
        triangles[t] = {kTriangles[t][0], kTriangles[t][1], kTriangles[t][2]};
}

double ConvexMeshCollider::Friction() const { return std::bit_cast<double>(userData); }

void ConvexMeshCollider::SetFriction(double friction) { userData = std::bit_cast<uint64_t>(friction); }

void ConvexMeshCollider::ComputeBox() {
    GAME_ASSERT_TEXT(children->size() == 0, "children->size() == 0");
    boxMin = glm::vec3(kLargestFloat);
    boxMax = glm::vec3(-kLargestFloat);
    for (uint32_t i = 0; i < vertexCount; ++i) {
        boxMin = glm::min(boxMin, vertices[i]);
        boxMax = glm::max(boxMax, vertices[i]);
    }
    radius = 0.5f * glm::length(boxMax - boxMin);
}

BaseEntity::~BaseEntity() {
    linkedEntities.clear();
    colliders.clear();
    jointStates.clear();
    nodes.clear();
    config.reset();
}

void BaseEntity::InitNodes() {
    if (!config)
        return;
    const EntityConfig& conf = *config;
    mass = conf.mass;

    for (const auto& [name, joint] : conf.joints) {
        nodes[name] = conf.GetAbsoluteTransform(name);
        jointStates[name] = JointState{joint.linearB, joint.angularB};
    }

    for (const auto& [name, source] : conf.colliders) {
        const glm::dmat4 transform = conf.GetAbsoluteTransform(name);
        nodes[name] = transform;
        ConvexMeshCollider& collider = colliders[name];
        collider.transform = transform;
        collider.boxMin = source.box_min;
        collider.boxMax = source.box_max;
        collider.radius = std::max(glm::length(source.box_min), glm::length(source.box_max));
        collider.weight = 0.0;
        if (source.vertexCount > 0) {
            collider.vertexCount = source.vertexCount;
            collider.normalCount = source.normalCount;
            collider.triangleCount = source.triangleCount;
            for (size_t i = 0; i < source.vertices.size(); ++i)
                collider.vertices[i] = source.vertices[i];
            for (size_t i = 0; i < source.normals.size(); ++i)
                collider.faceNormals[i] = source.normals[i];
            for (size_t i = 0; i < source.triangles.size(); ++i)
                collider.triangles[i] = source.triangles[i];
        } else {
            collider.SetBox(source.box_min, source.box_max);
        }
        collider.ComputeBox();
    }

    for (const auto& entry : conf.adapters)
        nodes[entry.first] = conf.GetAbsoluteTransform(entry.first);
    for (const auto& entry : conf.targets)
        nodes[entry.first] = conf.GetAbsoluteTransform(entry.first);

    UpdateBoundingBox(true);
}

void BaseEntity::Update(double) {
    vesmo::cpu::Profiler scope("BaseEntity::Update");
    if (!nodesDirty && !jointsDirty)
        return;
    for (auto& [name, collider] : colliders)
        collider.transform = nodes.at(name);
    UpdateBoundingBox(true);
}

glm::dmat4 BaseEntity::GetTransform() const {
    glm::dmat4 transform = glm::mat4_cast(orientation);
    transform[3] = glm::dvec4(position, 1.0);
    return transform;
}

void BaseEntity::UpdateBoundingBox(bool refreshSavedCenter) {
    if (colliders.empty()) {
        boxMin = boxMax = box_size = boxCenter = glm::dvec3(0.0);
        boundingRadius = 0.0;
        return;
    }
    glm::dvec3 lower(kLargestFloatWide), upper(-kLargestFloatWide);
    for (const auto& entry : colliders) {
        const ConvexMeshCollider& collider = entry.second;
        // Two corners only: cheap, and deliberately loose for rotated colliders.
        const glm::dvec3 a = glm::dvec3(collider.transform * glm::dvec4(glm::dvec3(collider.boxMin), 1.0));
        const glm::dvec3 b = glm::dvec3(collider.transform * glm::dvec4(glm::dvec3(collider.boxMax), 1.0));
        lower = glm::min(lower, glm::min(a, b));
        upper = glm::max(upper, glm::max(a, b));
    }
    boxMin = lower;
    boxMax = upper;
    boxCenter = (lower + upper) / 2.0;
    box_size = glm::abs(upper - lower);
    boundingRadius = glm::length(upper - lower) / 2.0;
    if (refreshSavedCenter)
        savedBoxCenter = boxCenter;
}

} // namespace game::entity
