#pragma once
// The narrow phase written out step by step, as plainly as it is defined, with none of the shortcuts of
// game/physics/Collision.cpp: every vertex pair of both hulls gives its cross axis (784 for two boxes),
// every projection walks the vertices through the transform, every contact vertex inverts the matrices
// anew. The tests hold the fast narrow phase to this, bit for bit.
//
// Two readings are fixed here as the library fixes them: an axis with a NaN component passes its test
// without changing the best axis (degenerate axes are skipped), and the sphere case takes each unordered
// pair of distinct vertices once (the reversed pair is the negated axis with the same overlap, which can
// never win, and a vertex with itself has no edge).

#include "game/entity/common.hpp"
#include "game/physics/Collision.hpp"

#include <glm/glm.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace reference {

using game::entity::ConvexMeshCollider;
using game::physics::Collision;

inline glm::dvec3 Place(const glm::dmat4& m, const glm::dvec3& v) { return glm::dvec3(m * glm::dvec4(v, 1.0)); }

inline bool IsNan(const glm::dvec3& v) { return std::isnan(v.x) || std::isnan(v.y) || std::isnan(v.z); }

inline double Sign(double x) { return static_cast<double>((0.0 < x) - (x < 0.0)); }

struct Interval {
    double min, max;
};

inline Interval Project(const ConvexMeshCollider& c, const glm::dvec3& axis) {
    Interval p{std::numeric_limits<double>::max(), -std::numeric_limits<double>::max()};
    for (uint32_t i = 0; i < c.vertexCount; ++i) {
        const double d = glm::dot(axis, Place(c.transform, glm::dvec3(c.vertices[i])));
        p.min = std::min(p.min, d);
        p.max = std::max(p.max, d);
    }
    return p;
}

inline Collision Sphere(const ConvexMeshCollider& a, const glm::dvec3& centerA, const ConvexMeshCollider& b,
                        const glm::dvec3& centerB) {
    const glm::dmat3 rotationB(b.transform);
    const glm::dvec3 origin(a.transform[3]);
    std::vector<glm::dvec3> axes, world;
    for (uint32_t i = 0; i < b.normalCount; ++i)
        axes.push_back(glm::normalize(rotationB * glm::dvec3(b.faceNormals[i])));
    for (uint32_t i = 0; i < b.vertexCount; ++i) {
        world.push_back(Place(b.transform, glm::dvec3(b.vertices[i])));
        axes.push_back(glm::normalize(world.back() - origin));
    }
    for (size_t i = 0; i < world.size(); ++i)
        for (size_t j = i + 1; j < world.size(); ++j) {
            const glm::dvec3 x = glm::cross(glm::normalize(world[j] - world[i]), glm::normalize(world[i] - origin));
            if (glm::length(x) < 1e-6)
                continue;
            axes.push_back(x / glm::length(x));
        }
    const double r = a.radius;
    double best = std::numeric_limits<double>::max();
    glm::dvec3 bestAxis(0.0);
    for (const glm::dvec3& n : axes) {
        if (IsNan(n))
            continue;
        double minB = std::numeric_limits<double>::max(), maxB = -std::numeric_limits<double>::max();
        for (const glm::dvec3& w : world) {
            minB = std::min(minB, glm::dot(n, w));
            maxB = std::max(maxB, glm::dot(n, w));
        }
        const double c = glm::dot(centerA, n);
        if (c - r > maxB || minB > c + r)
            return {};
        const double overlap = std::min(maxB, c + r) - std::max(minB, c - r);
        if (overlap <= 0)
            return {};
        if (best > overlap) {
            best = overlap;
            bestAxis = n;
        }
    }
    const glm::dvec3 normal = Sign(glm::dot(glm::normalize(centerA - centerB), bestAxis)) * bestAxis;
    return {centerA - normal * r, normal, best};
}

inline Collision ConvexCollision(const ConvexMeshCollider& a, const ConvexMeshCollider& b) {
    // Step 1: the spheres around the box centres.
    const glm::dvec3 centerA = Place(a.transform, glm::dvec3((a.boxMin + a.boxMax) * 0.5f));
    const glm::dvec3 centerB = Place(b.transform, glm::dvec3((b.boxMin + b.boxMax) * 0.5f));
    if (glm::distance(centerA, centerB) > static_cast<double>(a.radius) + static_cast<double>(b.radius))
        return {};
    if (a.IsSphere())
        return Sphere(a, centerA, b, centerB);

    // Step 2: separating axes in their order; the first that separates ends the test.
    double best = std::numeric_limits<double>::max();
    glm::dvec3 bestAxis(0.0);
    bool separated = false;
    auto test = [&](const glm::dvec3& n) {
        if (separated || IsNan(n))
            return;
        const Interval pa = Project(a, n), pb = Project(b, n);
        const double overlap = std::min(pa.max, pb.max) - std::max(pa.min, pb.min);
        if (overlap <= 0) {
            separated = true;
            return;
        }
        if (best > overlap) {
            best = overlap;
            bestAxis = n;
        }
    };
    const glm::dmat3 rotationA(a.transform), rotationB(b.transform);
    for (uint32_t i = 0; i < a.normalCount; ++i)
        test(glm::normalize(rotationA * glm::dvec3(a.faceNormals[i])));
    for (uint32_t i = 0; i < b.normalCount; ++i)
        test(glm::normalize(rotationB * glm::dvec3(b.faceNormals[i])));
    for (uint32_t i = 0; i < a.vertexCount; ++i)
        for (uint32_t j = i + 1; j < a.vertexCount; ++j)
            for (uint32_t k = 0; k < b.vertexCount; ++k)
                for (uint32_t l = k + 1; l < b.vertexCount; ++l) {
                    const glm::dvec3 ea = rotationA * glm::dvec3(glm::normalize(a.vertices[i] - a.vertices[j]));
                    const glm::dvec3 eb = rotationB * glm::dvec3(glm::normalize(b.vertices[k] - b.vertices[l]));
                    test(glm::normalize(glm::cross(ea, eb)));
                }
    if (separated)
        return {};

    // Step 3: the normal, turned towards a.
    const glm::dvec3 normal = Sign(glm::dot(glm::normalize(centerA - centerB), bestAxis)) * bestAxis;

    // Step 4: the vertex of the smaller collider closest to the larger one's box.
    const bool aIsSmall = !(b.radius < a.radius);
    const ConvexMeshCollider& small = aIsSmall ? a : b;
    const ConvexMeshCollider& large = aIsSmall ? b : a;
    double closest = 3.4028234663852886e38;
    glm::dvec3 point(0.0);
    for (uint32_t i = 0; i < small.vertexCount; ++i) {
        const glm::dvec3 p = Place(small.transform, glm::dvec3(small.vertices[i]));
        const glm::dvec3 q =
            glm::clamp(Place(glm::inverse(large.transform), p), glm::dvec3(large.boxMin), glm::dvec3(large.boxMax));
        const glm::dvec3 c = Place(large.transform, q);
        if (closest > glm::distance(p, c)) {
            closest = glm::distance(p, c);
            const glm::dvec3 r =
                glm::clamp(Place(glm::inverse(small.transform), c), glm::dvec3(small.boxMin), glm::dvec3(small.boxMax));
            point = Place(small.transform, r);
        }
    }
    return {point, normal, best};
}

} // namespace reference
