#include "game/physics/Collision.hpp"
#include "game/physics/PointTransform.hpp"

#include "vesmo/cpu/Profiler.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

// A hot loop built several times, for the widest vectors the processor has: an ifunc picks one as the
// library loads. ThreadSanitizer instruments the picker too, and the picker runs while the library is
// being relocated, before the sanitizer's runtime is up, so the process would die before main. Builds
// under ThreadSanitizer take the plain loop.
#if defined(__SANITIZE_THREAD__)
#define GAME_VECTOR_CLONES
#else
#define GAME_VECTOR_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))
#endif

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

    WorldHull(const ConvexMeshCollider& c, const glm::dmat4& transform);

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

// Points through an affine transform by coordinate, eight at a time where the processor can, each sum
// grouped as glm groups the product of a matrix with (v, 1): (m0 x + m1 y) + (m2 z + m3).
GAME_VECTOR_CLONES void PlacePoints(const glm::dmat4& m, const double* __restrict px, const double* __restrict py,
                                    const double* __restrict pz, double* __restrict x, double* __restrict y,
                                    double* __restrict z) {
    const double m00 = m[0][0], m01 = m[0][1], m02 = m[0][2], m10 = m[1][0], m11 = m[1][1], m12 = m[1][2];
    const double m20 = m[2][0], m21 = m[2][1], m22 = m[2][2], m30 = m[3][0], m31 = m[3][1], m32 = m[3][2];
    for (uint32_t i = 0; i < kMaxVertices; ++i) {
        x[i] = (m00 * px[i] + m10 * py[i]) + (m20 * pz[i] + m30);
        y[i] = (m01 * px[i] + m11 * py[i]) + (m21 * pz[i] + m31);
        z[i] = (m02 * px[i] + m12 * py[i]) + (m22 * pz[i] + m32);
    }
}

WorldHull::WorldHull(const ConvexMeshCollider& c, const glm::dmat4& transform) : count(c.vertexCount) {
    alignas(64) std::array<double, kMaxVertices> px, py, pz;
    for (uint32_t i = 0; i < kMaxVertices; ++i) {
        const glm::vec3& v = c.vertices[i < count ? i : 0];
        px[i] = v.x;
        py[i] = v.y;
        pz[i] = v.z;
    }
    PlacePoints(transform, px.data(), py.data(), pz.data(), x.data(), y.data(), z.data());
}

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

// For each (padded) vertex p of a hull: c, the closest point of a box to p (p taken into the box's frame,
// clamped as glm::clamp clamps, placed back), and the distance from p to c, as glm::distance gives it.
GAME_VECTOR_CLONES void DistancesToBox(const WorldHull& hull, const glm::dmat4& inverse, const glm::dmat4& transform,
                                       const glm::dvec3& lo, const glm::dvec3& hi, double* __restrict cx,
                                       double* __restrict cy, double* __restrict cz, double* __restrict distance) {
    alignas(64) std::array<double, kMaxVertices> qx, qy, qz;
    PlacePoints(inverse, hull.x.data(), hull.y.data(), hull.z.data(), qx.data(), qy.data(), qz.data());
    for (uint32_t i = 0; i < kMaxVertices; ++i) {
        // glm::clamp(v, lo, hi) is min(max(v, lo), hi) with max(x, y) = x < y ? y : x, min(x, y) = y < x ? y : x.
        const double mx = qx[i] < lo.x ? lo.x : qx[i], my = qy[i] < lo.y ? lo.y : qy[i],
                     mz = qz[i] < lo.z ? lo.z : qz[i];
        qx[i] = hi.x < mx ? hi.x : mx;
        qy[i] = hi.y < my ? hi.y : my;
        qz[i] = hi.z < mz ? hi.z : mz;
    }
    PlacePoints(transform, qx.data(), qy.data(), qz.data(), cx, cy, cz);
    for (uint32_t i = 0; i < kMaxVertices; ++i) {
        const double dx = hull.x[i] - cx[i], dy = hull.y[i] - cy[i], dz = hull.z[i] - cz[i];
        distance[i] = std::sqrt(dx * dx + dy * dy + dz * dz);
    }
}

// Steps shared by both separating-axis paths once the axis of least overlap is known: the normal from
// the line of centres, and one contact point on the smaller collider.
Collision Finish(const ConvexMeshCollider& a, const glm::dmat4& transformA, const glm::dvec3& centerA,
                 const WorldHull& hullA, const ConvexMeshCollider& b, const glm::dmat4& transformB,
                 const glm::dvec3& centerB, const WorldHull& hullB, double best, const glm::dvec3& bestAxis) {
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

    // The distances of all vertices at once; then the first closest, whose point is the one kept.
    alignas(64) std::array<double, kMaxVertices> cx, cy, cz, distance;
    DistancesToBox(smallHull, largeInverse, largeTransform, largeMin, largeMax, cx.data(), cy.data(), cz.data(),
                   distance.data());
    double closest = kLargestFloat;
    glm::dvec3 point(0.0);
    uint32_t nearest = kMaxVertices;
    for (uint32_t i = 0; i < smallHull.count; ++i) {
        if (closest > distance[i]) {
            closest = distance[i];
            nearest = i;
        }
    }
    if (nearest < kMaxVertices) {
        const glm::dvec3 c(cx[nearest], cy[nearest], cz[nearest]);
        const glm::dvec3 r = glm::clamp(Transform(smallInverse, c), smallMin, smallMax);
        point = Transform(smallTransform, r);
    }
    return Collision{point, normal, best};
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

// ---- The box path ------------------------------------------------------------------------------------
//
// Most colliders are boxes: eight vertices that are exactly the corners of their local box. For two of
// them the separating-axis test can skip most of its work without changing a single bit of its result.
// Every axis is still built exactly as above, in the same order, but its overlap is first estimated from
// the box (centre and half extents through the transform), which costs a fraction of projecting sixteen
// world vertices. The estimate differs from the projected overlap by no more than a bound `slack` derived
// from the rounding of both computations. So:
//   - an estimate below -slack means the axis separates: the result is empty, as the full test would find
//     (an early exit needs some separating axis, not the first);
//   - an axis whose estimate exceeds both slack and the least estimate plus twice the slack can neither
//     separate nor reach the least overlap, so it cannot change the result and is not projected;
//   - every other axis is projected exactly, in axis order, with the same comparisons as the full test,
//     which gives the same least overlap and, in a tie, the same earliest axis.
// Most cross axes are not even normalised: a bound that needs neither root nor division (MarkCrossSurvivors)
// shows that they cannot come near the least estimate of the face axes, which is all the second rule asks.

// The corners of a collider's box when its hull is exactly that box, with extents that are normal floats.
bool CornersOfBox(const std::array<glm::vec3, kMaxVertices>& vertices, glm::vec3& lo, glm::vec3& hi) {
    lo = hi = vertices[0];
    for (uint32_t i = 1; i < 8; ++i) {
        lo = glm::min(lo, vertices[i]);
        hi = glm::max(hi, vertices[i]);
    }
    unsigned seen = 0;
    bool corners = true;
    for (uint32_t i = 0; i < 8; ++i) {
        const glm::vec3& v = vertices[i];
        corners &= (v.x == hi.x || v.x == lo.x) && (v.y == hi.y || v.y == lo.y) && (v.z == hi.z || v.z == lo.z);
        seen |= 1u << ((v.x == hi.x) | (v.y == hi.y) << 1 | (v.z == hi.z) << 2);
    }
    for (int axis = 0; axis < 3; ++axis)
        corners &= std::isnormal(hi[axis] - lo[axis]) && std::isfinite(lo[axis]) && std::isfinite(hi[axis]);
    return corners && seen == 0xFFu;
}

// What the box path needs of a collider's shape: whether its hull is its box, that box, and the distinct
// edge directions in the order of the vertex pairs, as EdgeDirections keeps them. The directions are
// found by the pattern of each pair's difference: two corners that differ in the same coordinates with
// the same (or all opposite) signs give bit for bit the same (or the negated) float difference, and so the
// same normalised direction. Kept per thread for the last few vertex arrays met: the crates of a scene
// share a handful of shapes.
struct BoxShape {
    std::array<glm::vec3, kMaxVertices> vertices{};
    bool valid = false;
    bool isBox = false;
    glm::vec3 lo{0.0f}, hi{0.0f};
    std::array<glm::dvec3, 13> edges{};
    size_t edgeCount = 0;
};

struct BoxShapeCache {
    std::array<BoxShape, 4> entries;
    size_t next = 0;
};

// `keep`, if given, is an entry still in use, which a miss must not overwrite.
const BoxShape& ShapeOf(BoxShapeCache& cache, const ConvexMeshCollider& c, const BoxShape* keep = nullptr) {
    for (const BoxShape& entry : cache.entries)
        if (entry.valid && std::memcmp(entry.vertices.data(), c.vertices.data(), sizeof c.vertices) == 0)
            return entry;
    if (&cache.entries[cache.next] == keep)
        cache.next = (cache.next + 1) % cache.entries.size();
    BoxShape& entry = cache.entries[cache.next];
    cache.next = (cache.next + 1) % cache.entries.size();
    entry.vertices = c.vertices;
    entry.valid = true;
    entry.edgeCount = 0;
    entry.isBox = CornersOfBox(c.vertices, entry.lo, entry.hi);
    if (!entry.isBox)
        return entry;
    uint32_t seen = 0;
    for (uint32_t i = 0; i < 8; ++i) {
        for (uint32_t j = i + 1; j < 8; ++j) {
            const glm::vec3 d = c.vertices[i] - c.vertices[j];
            int key = 0, negated = 0, scale = 1;
            for (int axis = 0; axis < 3; ++axis, scale *= 3) {
                key += (d[axis] > 0.0f ? 1 : d[axis] < 0.0f ? 2 : 0) * scale;
                negated += (d[axis] > 0.0f ? 2 : d[axis] < 0.0f ? 1 : 0) * scale;
            }
            if ((seen >> key) & 1u || (seen >> negated) & 1u)
                continue;
            seen |= 1u << key;
            entry.edges[entry.edgeCount++] = glm::dvec3(glm::normalize(d));
        }
    }
    return entry;
}

// A box hull through its transform: what the estimate of a projection needs.
struct PlacedBox {
    glm::dvec3 halfAxis[3]; // the box's half extents along the transformed local axes
    glm::dvec3 center;      // of the vertices' box, placed
    double magnitude;       // bounds every coordinate met in placing and projecting the vertices

    PlacedBox(const glm::dmat4& transform, const glm::vec3& lo, const glm::vec3& hi) {
        const glm::dvec3 half = (glm::dvec3(hi) - glm::dvec3(lo)) * 0.5;
        center = Transform(transform, (glm::dvec3(lo) + glm::dvec3(hi)) * 0.5);
        magnitude = 0.0;
        for (int row = 0; row < 3; ++row) {
            double sum = std::abs(transform[3][row]);
            for (int i = 0; i < 3; ++i)
                sum += std::abs(transform[i][row]) * std::max(std::abs(double(lo[i])), std::abs(double(hi[i])));
            magnitude = std::max(magnitude, sum);
        }
        for (int i = 0; i < 3; ++i)
            halfAxis[i] = glm::dvec3(transform[i]) * half[i];
    }

    // No axis projects the box to less than twice this (0 when unknown): sum |n . halfAxis[i]| is at least
    // the length of the vector of those products, which is at least the root of the least eigenvalue of the
    // Gram matrix of the half axes, which Gershgorin's discs bound from below (exactly, for a rotated box).
    double LeastHalfWidth() const {
        double bound = std::numeric_limits<double>::infinity();
        for (int i = 0; i < 3; ++i) {
            double row = glm::dot(halfAxis[i], halfAxis[i]);
            for (int j = 0; j < 3; ++j)
                if (j != i)
                    row -= std::abs(glm::dot(halfAxis[i], halfAxis[j]));
            bound = std::min(bound, row);
        }
        return bound > 0.0 ? std::sqrt(bound) * (1.0 - 1e-9) : 0.0;
    }
};

constexpr size_t kMaxBoxAxes = 2 * kMaxNormals + 13 * 13 + 7; // and room to pad to a multiple of 8

// Axes by coordinate, so that the estimates run as one loop over all of them.
struct AxisTable {
    alignas(64) std::array<double, kMaxBoxAxes> x, y, z, estimate; // left uninitialised: filled up to count
    size_t count = 0;
};

// The overlap of the two boxes along each axis of the table, from their centres and half extents.
// target_clones: the loop runs four (or eight) axes at a time where the processor can.
GAME_VECTOR_CLONES void EstimateOverlaps(AxisTable& axes, size_t begin, const PlacedBox& a, const PlacedBox& b) {
    const glm::dvec3 d = a.center - b.center;
    for (size_t k = begin; k < axes.count; ++k) {
        const double nx = axes.x[k], ny = axes.y[k], nz = axes.z[k];
        const double ra = std::abs(nx * a.halfAxis[0].x + ny * a.halfAxis[0].y + nz * a.halfAxis[0].z) +
                          std::abs(nx * a.halfAxis[1].x + ny * a.halfAxis[1].y + nz * a.halfAxis[1].z) +
                          std::abs(nx * a.halfAxis[2].x + ny * a.halfAxis[2].y + nz * a.halfAxis[2].z);
        const double rb = std::abs(nx * b.halfAxis[0].x + ny * b.halfAxis[0].y + nz * b.halfAxis[0].z) +
                          std::abs(nx * b.halfAxis[1].x + ny * b.halfAxis[1].y + nz * b.halfAxis[1].z) +
                          std::abs(nx * b.halfAxis[2].x + ny * b.halfAxis[2].y + nz * b.halfAxis[2].z);
        const double c = nx * d.x + ny * d.y + nz * d.z;
        const double upper = c + ra < rb ? c + ra : rb;
        const double lower = c - ra > -rb ? c - ra : -rb;
        axes.estimate[k] = upper - lower;
    }
}

// The least estimate of the table, NaN estimates left out. Four running minima side by side, so that the
// comparisons do not wait for each other. Pads the table with infinities to a multiple of 8.
GAME_VECTOR_CLONES double LeastEstimate(AxisTable& axes) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    size_t end = axes.count;
    while (end % 8 != 0)
        axes.estimate[end++] = kInfinity;
    double lanes[4] = {kInfinity, kInfinity, kInfinity, kInfinity};
    for (size_t k = 0; k < end; k += 4)
        for (size_t l = 0; l < 4; ++l)
            lanes[l] = axes.estimate[k + l] < lanes[l] ? axes.estimate[k + l] : lanes[l];
    return std::min(std::min(lanes[0], lanes[1]), std::min(lanes[2], lanes[3]));
}

// Normalises the axes [begin, count) of the table in place, as glm::normalize does it (times the inverse
// of the root of the dot product), several at a time: one by one, each would wait for its root.
GAME_VECTOR_CLONES void NormaliseAxes(AxisTable& axes, size_t begin) {
    double* __restrict x = axes.x.data();
    double* __restrict y = axes.y.data();
    double* __restrict z = axes.z.data();
    for (size_t k = begin; k < axes.count; ++k) {
        const double inverse = 1.0 / std::sqrt(x[k] * x[k] + y[k] * y[k] + z[k] * z[k]);
        x[k] *= inverse;
        y[k] *= inverse;
        z[k] *= inverse;
    }
}

// The face axes before they are normalised: does one of them surely separate? Their estimates are those
// along the axis times its length (up to rounding), so they are compared with the slack on squares, and
// nothing waits for a root on the commonest way out of the test.
bool FaceAxesSeparate(const AxisTable& axes, double slack) {
    const double limit = slack * slack * (1.0 + 1e-9);
    bool separated = false;
    for (size_t k = 0; k < axes.count; ++k) {
        const double e = axes.estimate[k];
        const double q = axes.x[k] * axes.x[k] + axes.y[k] * axes.y[k] + axes.z[k] * axes.z[k];
        separated |= (q >= 1e-200) & (e < 0.0) & (e * e > limit * q);
    }
    return separated;
}

// Then normalises them, and their estimates with them.
void NormaliseFaceAxes(AxisTable& axes) {
    for (size_t k = 0; k < axes.count; ++k) {
        const double inverse = 1.0 / std::sqrt(axes.x[k] * axes.x[k] + axes.y[k] * axes.y[k] + axes.z[k] * axes.z[k]);
        axes.x[k] *= inverse;
        axes.y[k] *= inverse;
        axes.z[k] *= inverse;
        axes.estimate[k] *= inverse;
    }
}

// The cross axes of two edge sets, in the order of A's edges then B's, normalised as
// glm::normalize(glm::cross(ea, eb)) does it. B's edges come by coordinate, so that the inner loop runs
// over several of them at a time.
GAME_VECTOR_CLONES void CrossAxes(AxisTable& axes, const glm::dvec3* edgesA, size_t countA, const double* __restrict bx,
                                  const double* __restrict by, const double* __restrict bz, size_t countB) {
    double* __restrict x = axes.x.data() + axes.count;
    double* __restrict y = axes.y.data() + axes.count;
    double* __restrict z = axes.z.data() + axes.count;
    for (size_t i = 0; i < countA; ++i, x += countB, y += countB, z += countB) {
        const double ax = edgesA[i].x, ay = edgesA[i].y, az = edgesA[i].z;
        for (size_t k = 0; k < countB; ++k) {
            const double cx = ay * bz[k] - by[k] * az;
            const double cy = az * bx[k] - bz[k] * ax;
            const double cz = ax * by[k] - bx[k] * ay;
            const double inverse = 1.0 / std::sqrt(cx * cx + cy * cy + cz * cz);
            x[k] = cx * inverse;
            y[k] = cy * inverse;
            z[k] = cz * inverse;
        }
    }
    axes.count += countA * countB;
}

// A cheaper rejection of the cross axes, by a bound that needs no root: along a unit axis n the estimate is
// min(2 ra, 2 rb, ra + rb - |n . d|), and ra, rb are at least the boxes' least half widths. So an axis
// along which the centres are closer than `reach` cannot come near the least overlap the face axes already
// show, and needs no estimate. Marks the others (an exact zero cross product is a NaN axis, skipped like
// the full test skips it) and returns how many there are. B's directions are padded to 16 lanes with zero
// vectors, so that the loop runs whole vectors.
constexpr size_t kEdgeLanes = 16;
constexpr size_t kOneByOne = 96; // more survivors than this are normalised all together, several at a time

// The cross products by row (A's directions) and lane (B's), and per row the lanes that survive, as bits.
struct CrossTable {
    alignas(64) std::array<double, 13 * kEdgeLanes> x, y, z;
    std::array<uint32_t, 13> rows;
};

GAME_VECTOR_CLONES size_t MarkCrossSurvivors(CrossTable& table, const glm::dvec3* edgesA, size_t countA,
                                             const double* __restrict bx, const double* __restrict by,
                                             const double* __restrict bz, double dx, double dy, double dz,
                                             double reach2) {
    int64_t count = 0;
    for (size_t i = 0; i < countA; ++i) {
        const double ax = edgesA[i].x, ay = edgesA[i].y, az = edgesA[i].z;
        double* __restrict x = table.x.data() + i * kEdgeLanes;
        double* __restrict y = table.y.data() + i * kEdgeLanes;
        double* __restrict z = table.z.data() + i * kEdgeLanes;
        int64_t mask = 0;
        for (size_t k = 0; k < kEdgeLanes; ++k) {
            // glm::cross(ea, eb), term for term: kept, so that a survivor need not be crossed again.
            const double cx = ay * bz[k] - by[k] * az;
            const double cy = az * bx[k] - bz[k] * ax;
            const double cz = ax * by[k] - bx[k] * ay;
            x[k] = cx;
            y[k] = cy;
            z[k] = cz;
            const double q = cx * cx + cy * cy + cz * cz;
            const double cd = cx * dx + cy * dy + cz * dz;
            const bool zero = (cx == 0.0) & (cy == 0.0) & (cz == 0.0);
            const bool near = (q >= 1e-200) & (cd * cd < reach2 * q);
            const int64_t mark = !(zero | near);
            mask |= mark << k;
            count += mark;
        }
        table.rows[i] = static_cast<uint32_t>(mask);
    }
    return static_cast<size_t>(count);
}

void AddAxis(AxisTable& axes, const glm::dvec3& n) {
    axes.x[axes.count] = n.x;
    axes.y[axes.count] = n.y;
    axes.z[axes.count] = n.z;
    ++axes.count;
}

// The box-box test as described above. Returns false when it cannot answer (boxes too large or too far
// out for the rounding bound to mean anything), and the caller takes the full path.
bool BoxCollision(const ConvexMeshCollider& a, const glm::dmat4& transformA, const glm::dvec3& centerA,
                  const BoxShape& shapeA, const ConvexMeshCollider& b, const glm::dmat4& transformB,
                  const glm::dvec3& centerB, const BoxShape& shapeB, Collision& result) {
    const PlacedBox boxA(transformA, shapeA.lo, shapeA.hi), boxB(transformB, shapeB.lo, shapeB.hi);
    // A generous multiple of the rounding of both the projections and the estimates, each of which is a
    // handful of operations on numbers bounded by the magnitudes.
    const double slack = 256.0 * std::numeric_limits<double>::epsilon() * (boxA.magnitude + boxB.magnitude);
    if (!std::isfinite(slack) || !(slack < 1e-3))
        return false;

    AxisTable axes;
    result = {};
    const glm::dmat3 rotationA(transformA), rotationB(transformB);
    for (uint32_t i = 0; i < a.normalCount; ++i)
        AddAxis(axes, rotationA * glm::dvec3(a.faceNormals[i]));
    for (uint32_t i = 0; i < b.normalCount; ++i)
        AddAxis(axes, rotationB * glm::dvec3(b.faceNormals[i]));
    EstimateOverlaps(axes, 0, boxA, boxB);
    if (FaceAxesSeparate(axes, slack))
        return true; // separated by a face axis: the common early exit
    NormaliseFaceAxes(axes);
    const size_t faceCount = axes.count;

    std::array<glm::dvec3, 13> worldA;
    for (size_t i = 0; i < shapeA.edgeCount; ++i)
        worldA[i] = rotationA * shapeA.edges[i];
    alignas(64) std::array<double, kEdgeLanes> bx, by, bz;
    for (size_t k = 0; k < kEdgeLanes; ++k) {
        const glm::dvec3 e = k < shapeB.edgeCount ? rotationB * shapeB.edges[k] : glm::dvec3(0.0);
        bx[k] = e.x;
        by[k] = e.y;
        bz[k] = e.z;
    }

    // The face axes' least estimate bounds the least overlap already; cross axes along which the centres
    // are too close to reach it are left out before anything is normalised. The margins cover the
    // rounding of the estimates (one slack) and of the squares.
    double leastFace = std::numeric_limits<double>::infinity();
    for (size_t k = 0; k < faceCount; ++k)
        leastFace = axes.estimate[k] < leastFace ? axes.estimate[k] : leastFace;
    const double faceThreshold = std::max(leastFace + 2.0 * slack, slack) + slack;
    const double halfWidthA = boxA.LeastHalfWidth(), halfWidthB = boxB.LeastHalfWidth();
    const double reach = halfWidthA + halfWidthB - faceThreshold;
    const bool bounded =
        2.0 * halfWidthA > faceThreshold && 2.0 * halfWidthB > faceThreshold && reach > 0.0 && std::isfinite(reach);
    const glm::dvec3 d = boxA.center - boxB.center;
    CrossTable cross;
    const size_t survivorCount =
        MarkCrossSurvivors(cross, worldA.data(), shapeA.edgeCount, bx.data(), by.data(), bz.data(), d.x, d.y, d.z,
                           bounded ? reach * reach * (1.0 - 1e-9) : -1.0);
    if (survivorCount > kOneByOne) {
        // Too many to take one by one: all of them, several at a time.
        CrossAxes(axes, worldA.data(), shapeA.edgeCount, bx.data(), by.data(), bz.data(), shapeB.edgeCount);
    } else {
        // In axis order, row by row and lane by lane (the set bits of each row), normalised as the full test
        // normalises them.
        for (size_t i = 0; i < shapeA.edgeCount; ++i) {
            for (uint32_t lanes = cross.rows[i]; lanes != 0; lanes &= lanes - 1) {
                const size_t at = i * kEdgeLanes + static_cast<size_t>(__builtin_ctz(lanes));
                AddAxis(axes, {cross.x[at], cross.y[at], cross.z[at]});
            }
        }
        NormaliseAxes(axes, faceCount);
    }
    EstimateOverlaps(axes, faceCount, boxA, boxB);

    // Degenerate axes (parallel edges) are NaN and skipped, as the full test skips them.
    const double least = LeastEstimate(axes);
    if (least < -slack)
        return true;
    const double threshold = std::max(least + 2.0 * slack, slack);

    const WorldHull hullA(a, transformA), hullB(b, transformB);
    double best = kLargestDouble;
    glm::dvec3 bestAxis(0.0);
    // Blocks of eight estimates are passed over with one well-predicted branch: candidates are few. The
    // table is padded with infinities to a multiple of 8 (LeastEstimate).
    for (size_t block = 0; block < axes.count; block += 8) {
        bool any = false;
        for (size_t k = block; k < block + 8; ++k)
            any |= !(axes.estimate[k] > threshold);
        if (!any)
            continue;
        for (size_t k = block; k < std::min(block + 8, axes.count); ++k) {
            if (axes.estimate[k] > threshold)
                continue;
            // The best axis so far again, or its negation (aligned boxes make many of these): the very
            // same overlap, which can neither separate nor win the tie.
            const glm::dvec3 n(axes.x[k], axes.y[k], axes.z[k]);
            if (n == bestAxis || n == -bestAxis)
                continue;
            if (!TestAxis(hullA, hullB, n, best, bestAxis))
                return true;
        }
    }
    result = Finish(a, transformA, centerA, hullA, b, transformB, centerB, hullB, best, bestAxis);
    return true;
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
    // The spheres, on squares where the answer is clear (no root to wait for), by the distance itself
    // where it is close.
    const double reach = static_cast<double>(a.radius) + static_cast<double>(b.radius);
    const glm::dvec3 between = centerA - centerB;
    const double distance2 = glm::dot(between, between);
    if (reach >= 0.0 && distance2 > reach * reach * (1.0 + 1e-12))
        return {};
    if (!(reach >= 0.0 && distance2 < reach * reach * (1.0 - 1e-12)) && glm::distance(centerA, centerB) > reach)
        return {};

    if (a.IsSphere())
        return SphereCollision(a, transformA, centerA, b, transformB, centerB);

    if (a.vertexCount == 8 && b.vertexCount == 8) {
        thread_local BoxShapeCache cache;
        BoxShapeCache& shapes = cache; // one look-up of the thread's storage
        const BoxShape& shapeA = ShapeOf(shapes, a);
        const BoxShape& shapeB = ShapeOf(shapes, b, &shapeA);
        Collision result;
        if (shapeA.isBox && shapeB.isBox &&
            BoxCollision(a, transformA, centerA, shapeA, b, transformB, centerB, shapeB, result))
            return result;
    }

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

    return Finish(a, transformA, centerA, hullA, b, transformB, centerB, hullB, best, bestAxis);
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
