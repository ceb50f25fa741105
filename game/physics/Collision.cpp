#include "game/physics/Collision.hpp"
#include "game/physics/PointTransform.hpp"

#include "vesmo/cpu/Profiler.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace game::physics {

using game::entity::ConvexMeshCollider;

namespace {

constexpr double kLargestDouble = std::numeric_limits<double>::max();
constexpr double kLargestFloat = 3.4028234663852886e38;
constexpr uint32_t kMaxVertices = ConvexMeshCollider::kMaxVertices;
constexpr uint32_t kMaxNormals = ConvexMeshCollider::kMaxNormals;

// The box centre is averaged in single precision, as the collider stores it, then placed in double.
glm::dvec3 BoxCenter(const ConvexMeshCollider& c, const glm::dmat4& transform) {
    return Transform(transform, (c.boxMin + c.boxMax) * 0.5f);
}

// The world vertices of a hull, computed once per test: every projection of the test reads the same
// values that projecting through the transform vertex by vertex would give. Stored by coordinate and
// padded to 8 with copies of the first vertex (a repeated vertex changes no minimum or maximum), so that
// the dot products of a projection run as one fixed loop.
struct WorldHull {
    alignas(64) std::array<double, kMaxVertices> x, y, z;
    uint32_t count = 0;

    WorldHull(const ConvexMeshCollider& c, const glm::dmat4& transform) : count(c.vertexCount) {
        for (uint32_t i = 0; i < kMaxVertices; ++i) {
            const glm::dvec3 v = Transform(transform, c.vertices[i < count ? i : 0]);
            x[i] = v.x;
            y[i] = v.y;
            z[i] = v.z;
        }
    }

    glm::dvec3 Vertex(uint32_t i) const { return {x[i], y[i], z[i]}; }

    Projection Project(const glm::dvec3& axis) const {
        Projection p{kLargestDouble, -kLargestDouble};
        if (count == 0)
            return p;
        // The dot product as glm forms it: (x + y) + z.
        std::array<double, kMaxVertices> d;
        for (uint32_t i = 0; i < kMaxVertices; ++i)
            d[i] = axis.x * x[i] + axis.y * y[i] + axis.z * z[i];
        // Reduced pairwise, which shortens the chain of dependent comparisons. The order of a minimum
        // matters only for the sign of a zero, which no overlap test can see; and a NaN axis (all
        // products NaN) still projects to NaN bounds, which the comparisons of a test then skip instead
        // of taking for a gap.
        std::array<double, 4> lo, hi;
        for (uint32_t i = 0; i < 4; ++i) {
            lo[i] = std::min(d[i], d[i + 4]);
            hi[i] = std::max(d[i], d[i + 4]);
        }
        p.min = std::min(std::min(lo[0], lo[2]), std::min(lo[1], lo[3]));
        p.max = std::max(std::max(hi[0], hi[2]), std::max(hi[1], hi[3]));
        return p;
    }
};

// The directions of the vertex pairs (i < j) of a hull, in pair order, rotated to world. A direction
// equal to an earlier one, or to its exact negation, is left out: its cross axes would repeat earlier axes
// bit for bit (or negated, which projects to the very same overlap), so they could neither separate nor
// win a tie. A box has 28 pairs but 13 directions (edges repeat four times, face diagonals twice), which
// takes the box-box test from 784 cross axes to 169 with the same answer.
struct EdgeDirections {
    std::array<glm::vec3, kMaxVertices*(kMaxVertices - 1) / 2> local;
    std::array<glm::dvec3, kMaxVertices*(kMaxVertices - 1) / 2> world;
    size_t count = 0;

    EdgeDirections(const ConvexMeshCollider& c, const glm::dmat3& rotation) {
        for (uint32_t i = 0; i < c.vertexCount; ++i) {
            for (uint32_t j = i + 1; j < c.vertexCount; ++j) {
                const glm::vec3 e = glm::normalize(c.vertices[i] - c.vertices[j]);
                bool repeated = false;
                for (size_t k = 0; k < count && !repeated; ++k)
                    repeated = local[k] == e || local[k] == -e;
                if (repeated)
                    continue;
                local[count] = e;
                world[count] = rotation * glm::dvec3(e);
                ++count;
            }
        }
    }
};

double Sign(double x) { return static_cast<double>((0.0 < x) - (x < 0.0)); }

// One separating-axis test. Returns false when the axis separates. A NaN axis (degenerate edge pair)
// gives a NaN overlap, which neither separates nor improves `best`: it is skipped by the comparisons.
bool TestAxis(const WorldHull& a, const WorldHull& b, const glm::dvec3& axis, double& best, glm::dvec3& bestAxis) {
    if (std::isnan(axis.x) || std::isnan(axis.y) || std::isnan(axis.z))
        return true; // what the comparisons below would conclude, without the projections
    const Projection pa = a.Project(axis);
    const Projection pb = b.Project(axis);
    const double overlap = std::min(pa.max, pb.max) - std::max(pa.min, pb.min);
    if (overlap <= 0.0)
        return false;
    if (best > overlap) {
        best = overlap;
        bestAxis = axis;
    }
    return true;
}

Collision SphereCollision(const ConvexMeshCollider& a, const glm::dmat4& transformA, const glm::dvec3& centerA,
                          const ConvexMeshCollider& b, const glm::dmat4& transformB, const glm::dvec3& centerB) {
    const glm::dmat3 rotationB(transformB);
    const glm::dvec3 sphereOrigin(transformA[3]);
    const uint32_t vertexCount = b.vertexCount;

    // Room for the face normals, one axis per vertex and one per pair of vertices. A fixed array: the
    // counts are bounded by the collider format, so the test needs no heap.
    std::array<glm::dvec3, kMaxNormals + kMaxVertices + kMaxVertices * kMaxVertices> axes;
    size_t axisCount = 0;
    for (uint32_t i = 0; i < b.normalCount; ++i)
        axes[axisCount++] = glm::normalize(rotationB * glm::dvec3(b.faceNormals[i]));
    const WorldHull hullB(b, transformB);
    for (uint32_t i = 0; i < vertexCount; ++i)
        axes[axisCount++] = glm::normalize(hullB.Vertex(i) - sphereOrigin);
    // Every ordered pair of vertices gives an axis from the edge and the line to the sphere. The pair
    // (j, i) gives exactly the negated axis of (i, j), whose overlap is the same and which comes later,
    // so it can never be chosen: only i < j is built. i == j has no edge.
    for (uint32_t i = 0; i < vertexCount; ++i) {
        for (uint32_t j = i + 1; j < vertexCount; ++j) {
            const glm::dvec3 w1 = hullB.Vertex(i);
            const glm::dvec3 w2 = hullB.Vertex(j);
            const glm::dvec3 e = glm::normalize(w2 - w1);
            const glm::dvec3 t = glm::normalize(w1 - sphereOrigin);
            const glm::dvec3 x = glm::cross(e, t);
            const double length = glm::length(x);
            if (length < 1e-6)
                continue;
            axes[axisCount++] = x / length;
        }
    }

    const double radius = a.radius;
    double best = kLargestDouble;
    glm::dvec3 bestAxis(0.0);
    for (size_t k = 0; k < axisCount; ++k) {
        const glm::dvec3& n = axes[k];
        const Projection pb = hullB.Project(n);
        const double c = glm::dot(centerA, n);
        if (c - radius > pb.max || pb.min > c + radius)
            return {};
        const double overlap = std::min(pb.max, c + radius) - std::max(pb.min, c - radius);
        if (overlap <= 0.0)
            return {};
        if (best > overlap) {
            best = overlap;
            bestAxis = n;
        }
    }

    const glm::dvec3 normal = Sign(glm::dot(glm::normalize(centerA - centerB), bestAxis)) * bestAxis;
    return Collision{centerA - normal * radius, normal, best};
}

} // namespace

Projection ProjectOntoAxis(const ConvexMeshCollider& collider, const glm::dvec3& axis) {
    return WorldHull(collider, collider.transform).Project(axis);
}

Collision ConvexCollision(const ConvexMeshCollider& a, const ConvexMeshCollider& b) {
    return ConvexCollision(a, a.transform, b, b.transform);
}

Collision ConvexCollision(const ConvexMeshCollider& a, const glm::dmat4& transformA, const ConvexMeshCollider& b,
                          const glm::dmat4& transformB) {
    vesmo::cpu::Profiler scope("ConvexCollision");

    const glm::dvec3 centerA = BoxCenter(a, transformA);
    const glm::dvec3 centerB = BoxCenter(b, transformB);
    if (glm::distance(centerA, centerB) > static_cast<double>(a.radius) + static_cast<double>(b.radius))
        return {};

    if (a.IsSphere())
        return SphereCollision(a, transformA, centerA, b, transformB, centerB);

    const WorldHull hullA(a, transformA);
    const WorldHull hullB(b, transformB);
    const glm::dmat3 rotationA(transformA);
    const glm::dmat3 rotationB(transformB);

    double best = kLargestDouble;
    glm::dvec3 bestAxis(0.0);
    for (uint32_t i = 0; i < a.normalCount; ++i)
        if (!TestAxis(hullA, hullB, glm::normalize(rotationA * glm::dvec3(a.faceNormals[i])), best, bestAxis))
            return {};
    for (uint32_t i = 0; i < b.normalCount; ++i)
        if (!TestAxis(hullA, hullB, glm::normalize(rotationB * glm::dvec3(b.faceNormals[i])), best, bestAxis))
            return {};

    // The hulls have no edge list, so every pair of vertices stands in for an edge: up to 28 pairs a side,
    // 784 cross axes. The directions are normalised in single precision in the collider frame, then
    // rotated. No bias favours face axes: in a tie the earlier axis stays.
    const EdgeDirections edgesA(a, rotationA);
    const EdgeDirections edgesB(b, rotationB);
    for (size_t i = 0; i < edgesA.count; ++i)
        for (size_t k = 0; k < edgesB.count; ++k)
            if (!TestAxis(hullA, hullB, glm::normalize(glm::cross(edgesA.world[i], edgesB.world[k])), best, bestAxis))
                return {};

    // Kept as it is: an axis exactly perpendicular to the line of centres gives sign 0 and a zero normal,
    // so the contact carries depth but no direction and the response pushes nothing.
    const glm::dvec3 d = glm::normalize(centerA - centerB);
    const glm::dvec3 normal = Sign(glm::dot(d, bestAxis)) * bestAxis;

    // One contact point: on the smaller collider, closest to the larger one's box (the box stands in for
    // its hull). The inverses are the same for every vertex, so they are taken once.
    const bool aIsSmall = !(b.radius < a.radius);
    const ConvexMeshCollider& small = aIsSmall ? a : b;
    const ConvexMeshCollider& large = aIsSmall ? b : a;
    const glm::dmat4& smallTransform = aIsSmall ? transformA : transformB;
    const glm::dmat4& largeTransform = aIsSmall ? transformB : transformA;
    const WorldHull& smallHull = aIsSmall ? hullA : hullB;
    const glm::dmat4 smallInverse = glm::inverse(smallTransform);
    const glm::dmat4 largeInverse = glm::inverse(largeTransform);
    const glm::dvec3 largeMin(large.boxMin), largeMax(large.boxMax);
    const glm::dvec3 smallMin(small.boxMin), smallMax(small.boxMax);

    double closest = kLargestFloat;
    glm::dvec3 point(0.0);
    for (uint32_t i = 0; i < smallHull.count; ++i) {
        const glm::dvec3 p = smallHull.Vertex(i);
        const glm::dvec3 q = glm::clamp(Transform(largeInverse, p), largeMin, largeMax);
        const glm::dvec3 c = Transform(largeTransform, q);
        const double distance = glm::distance(p, c);
        if (closest > distance) {
            closest = distance;
            const glm::dvec3 r = glm::clamp(Transform(smallInverse, c), smallMin, smallMax);
            point = Transform(smallTransform, r);
        }
    }
    return Collision{point, normal, best};
}

bool PotentialBoxBoxIntersection(const glm::dmat4& transformA, const glm::dmat4& transformB, const glm::dvec3& minA,
                                 const glm::dvec3& maxA, const glm::dvec3& minB, const glm::dvec3& maxB,
                                 bool testSpheres, bool testBoxes) {
    vesmo::cpu::Profiler scope("PotentialBoxBoxIntersection");
    if (testSpheres) {
        const glm::dvec3 centerA = Transform(transformA, (minA + maxA) * 0.5);
        const glm::dvec3 centerB = Transform(transformB, (minB + maxB) * 0.5);
        const double radiusA = glm::length(maxA - minA) * 0.5;
        const double radiusB = glm::length(maxB - minB) * 0.5;
        if (glm::distance(centerA, centerB) > radiusA + radiusB)
            return false;
    }
    if (!testBoxes)
        return true;

    const glm::dmat4 m = glm::inverse(transformA) * transformB;
    glm::dvec3 lower(kLargestDouble), upper(-kLargestDouble);
    for (int i = 0; i < 8; ++i) {
        const glm::dvec3 corner((i & 4) ? maxB.x : minB.x, (i & 2) ? maxB.y : minB.y, (i & 1) ? maxB.z : minB.z);
        const glm::dvec3 p = Transform(m, corner);
        lower = glm::min(lower, p);
        upper = glm::max(upper, p);
    }
    for (int axis = 0; axis < 3; ++axis)
        if (minA[axis] > upper[axis] || lower[axis] > maxA[axis])
            return false;
    return true;
}

bool PotentialBoxBoxIntersection(const ConvexMeshCollider& a, const ConvexMeshCollider& b) {
    return PotentialBoxBoxIntersection(a, a.transform, b, b.transform);
}

bool PotentialBoxBoxIntersection(const ConvexMeshCollider& a, const glm::dmat4& transformA, const ConvexMeshCollider& b,
                                 const glm::dmat4& transformB) {
    const double reach = static_cast<double>(a.radius) + static_cast<double>(b.radius);
    if (!(reach > glm::distance(BoxCenter(a, transformA), BoxCenter(b, transformB))))
        return false;
    return PotentialBoxBoxIntersection(transformA, transformB, glm::dvec3(a.boxMin), glm::dvec3(a.boxMax),
                                       glm::dvec3(b.boxMin), glm::dvec3(b.boxMax), false, true);
}

bool RayBoxIntersection(const glm::dvec3& boxMin, const glm::dvec3& boxMax, const glm::dvec3& origin,
                        const glm::dvec3& direction) {
    float tMin = -std::numeric_limits<float>::infinity();
    float tMax = std::numeric_limits<float>::infinity();
    for (int axis = 0; axis < 3; ++axis) {
        const float t1 = static_cast<float>((boxMin[axis] - origin[axis]) / direction[axis]);
        const float t2 = static_cast<float>((boxMax[axis] - origin[axis]) / direction[axis]);
        tMin = std::max(tMin, std::min(t1, t2));
        tMax = std::min(tMax, std::max(t1, t2));
    }
    return tMax > tMin && tMax > 0.0f;
}

} // namespace game::physics
