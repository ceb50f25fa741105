// The narrow phase and its filters, on boxes and spheres placed by hand.

#include "game/physics/Collision.hpp"

#include "NarrowPhaseReference.hpp"
#include "PhysicsTestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <random>

namespace {

using namespace physics_test;
using game::physics::Collision;
using game::physics::ConvexCollision;
using game::physics::PotentialBoxBoxIntersection;
using game::physics::ProjectOntoAxis;
using game::physics::RayBoxIntersection;

ConvexMeshCollider UnitBoxAt(const glm::dvec3& p, const glm::dmat4& rotation = glm::dmat4(1.0)) {
    ConvexMeshCollider c = CubeCollider(1.0f);
    c.transform = Translation(p) * rotation;
    return c;
}

TEST(ConvexCollision, SeparatedAndTouchingBoxesDoNotCollide) {
    // Far apart (the sphere test), near but apart on one face axis, and an overlap of exactly 0 on x.
    EXPECT_EQ(ConvexCollision(UnitBoxAt({0, 0, 0}), UnitBoxAt({5, 0, 0})).depth, 0.0);
    const Collision near = ConvexCollision(UnitBoxAt({0, 0, 0}), UnitBoxAt({1.01, 0.3, 0}));
    EXPECT_EQ(std::tuple(near.depth, near.normal, near.point), std::tuple(0.0, glm::dvec3(0.0), glm::dvec3(0.0)));
    EXPECT_EQ(ConvexCollision(UnitBoxAt({0, 0, 0}), UnitBoxAt({1, 0, 0})).depth, 0.0);
}

TEST(ConvexCollision, OverlappingBoxesGiveDepthNormalAndPointOnTheSmallerBox) {
    // a sits 0.8 above b: 0.2 deep along z, the normal from b towards a.
    const ConvexMeshCollider a = UnitBoxAt({0.1, 0, 0.8});
    const ConvexMeshCollider b = UnitBoxAt({0, 0, 0});
    const Collision c = ConvexCollision(a, b);
    EXPECT_NEAR(c.depth, 0.2, 1e-6);
    EXPECT_NEAR(c.normal.z, 1.0, 1e-9);
    EXPECT_NEAR(c.normal.x, 0.0, 1e-9);
    // Equal radii: a counts as the smaller; the point is on a's bottom face, inside b's box.
    EXPECT_NEAR(c.point.z, 0.3, 1e-6);
    EXPECT_LE(c.point.x, 0.5 + 1e-9);

    // Swapping the pair flips the normal and keeps the depth.
    const Collision swapped = ConvexCollision(b, a);
    EXPECT_NEAR(swapped.depth, c.depth, 1e-12);
    EXPECT_NEAR(swapped.normal.z, -1.0, 1e-9);
}

TEST(ConvexCollision, SmallBoxOnALargeOneGetsItsPointOnTheSmallOne) {
    ConvexMeshCollider ground = BoxCollider({-5, -5, -1}, {5, 5, 0});
    ConvexMeshCollider small = CubeCollider(0.5f);
    small.transform = Translation({1, 1, 0.2});
    const Collision c = ConvexCollision(small, ground);
    EXPECT_NEAR(c.depth, 0.05, 1e-6);
    EXPECT_NEAR(c.normal.z, 1.0, 1e-9);
    EXPECT_NEAR(c.point.z, -0.05, 1e-6); // the deepest corner of the small box
    EXPECT_GE(c.point.x, 0.75 - 1e-9);
    EXPECT_LE(c.point.x, 1.25 + 1e-9);
}

TEST(ConvexCollision, RotatedBoxesUseTheEdgeAxes) {
    // b turned 45 degrees about z and y: its edge meets a's corner region. Along the face normals they
    // overlap, but a cross axis may separate them; at 1.3 apart on x they are separated by b's rotated face.
    const glm::dmat4 turn = glm::rotate(glm::dmat4(1.0), glm::radians(45.0), glm::dvec3(0, 0, 1));
    EXPECT_EQ(ConvexCollision(UnitBoxAt({0, 0, 0}), UnitBoxAt({1.3, 1.3, 0}, turn)).depth, 0.0);

    // A diamond (turned 45 degrees) pushed into a face: its edge is 0.7071 from its centre.
    const Collision c = ConvexCollision(UnitBoxAt({1.1, 0, 0}, turn), UnitBoxAt({0, 0, 0}));
    EXPECT_NEAR(c.depth, 0.5 + 0.70710678 - 1.1, 1e-6);
    EXPECT_NEAR(c.normal.x, 1.0, 1e-9);

    // Two boxes turned about different axes, edge against edge: the contact normal is no face axis of
    // either box but the normalised cross product of their edges.
    const glm::dmat4 turnX = glm::rotate(glm::dmat4(1.0), glm::radians(45.0), glm::dvec3(1, 0, 0));
    const glm::dmat4 turnY = glm::rotate(glm::dmat4(1.0), glm::radians(45.0), glm::dvec3(0, 1, 0));
    const Collision edges = ConvexCollision(UnitBoxAt({0, 0, 1.35}, turnY), UnitBoxAt({0, 0, 0}, turnX));
    EXPECT_NEAR(edges.depth, 2 * 0.70710678 - 1.35, 1e-6);
    EXPECT_NEAR(edges.normal.z, 1.0, 1e-6);
}

TEST(ConvexCollision, IdenticalBoxesHaveDepthButNoDirection) {
    const Collision c = ConvexCollision(UnitBoxAt({2, 3, 4}), UnitBoxAt({2, 3, 4}));
    EXPECT_NEAR(c.depth, 1.0, 1e-9);
    EXPECT_EQ(c.normal, glm::dvec3(0.0));
}

TEST(ConvexCollision, ASphereMeetsABoxCornerOnTheVertexAxisAndAFaceOnItsNormal) {
    ConvexMeshCollider sphere = SphereCollider(0.5f);
    // Diagonally off a corner of the unit box: the face axes all overlap, the corner axis separates.
    sphere.transform = Translation({0.5 + 0.33, 0.5 + 0.33, 0.5 + 0.33});
    EXPECT_EQ(ConvexCollision(sphere, UnitBoxAt({0, 0, 0})).depth, 0.0);
    // Closer in, the corner pokes into the sphere along the diagonal.
    sphere.transform = Translation({0.5 + 0.25, 0.5 + 0.25, 0.5 + 0.25});
    const Collision c = ConvexCollision(sphere, UnitBoxAt({0, 0, 0}));
    EXPECT_NEAR(c.depth, 0.5 - glm::length(glm::dvec3(0.25)), 1e-6);
    EXPECT_NEAR(c.normal.x, 1 / std::sqrt(3.0), 1e-6);
    // The point is on the sphere's surface towards the box.
    EXPECT_NEAR(glm::length(c.point - glm::dvec3(0.75)), 0.5, 1e-9);

    sphere.transform = Translation({0, 0, 0.9});
    const Collision face = ConvexCollision(sphere, UnitBoxAt({0, 0, 0}));
    EXPECT_NEAR(face.depth, 0.1, 1e-6);
    EXPECT_NEAR(face.normal.z, 1.0, 1e-9);
    EXPECT_NEAR(face.point.z, 0.4, 1e-6);
}

// Random pairs for the comparison with the step-by-step narrow phase: boxes (vertices in any order,
// stretched or sheared transforms, far from the origin, almost parallel), touching and identical pairs,
// degenerate hulls, general convex meshes and spheres.
struct PairMaker {
    std::mt19937_64 random{20261123};

    double Uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(random); }
    int Below(int n) { return static_cast<int>(random() % static_cast<uint64_t>(n)); }

    glm::dmat4 Rotation() {
        const glm::dvec3 axis(Uniform(-1, 1), Uniform(-1, 1), Uniform(-1, 1));
        if (glm::length(axis) < 1e-3)
            return glm::dmat4(1.0);
        return glm::rotate(glm::dmat4(1.0), Uniform(0, 6.283185307179586), glm::normalize(axis));
    }
    // Multiples of 90 degrees, which keep aligned faces exactly aligned.
    glm::dmat4 QuarterTurns() {
        glm::dmat4 m(1.0);
        for (int axis = 0; axis < 3; ++axis) {
            glm::dvec3 e(0.0);
            e[axis] = 1.0;
            m = glm::rotate(m, 1.5707963267948966 * Below(4), e);
        }
        return m;
    }

    ConvexMeshCollider Box() {
        const glm::vec3 half(static_cast<float>(Uniform(0.05, 1.5)), static_cast<float>(Uniform(0.05, 1.5)),
                             static_cast<float>(Uniform(0.05, 1.5)));
        const glm::vec3 shift = Below(3) == 0 ? glm::vec3(static_cast<float>(Uniform(-0.5, 0.5))) : glm::vec3(0.0f);
        ConvexMeshCollider c = Below(2) ? CubeCollider(2 * half.x) : BoxCollider(shift - half, shift + half);
        if (Below(3) == 0) // the vertex order of another writer
            std::shuffle(c.vertices.begin(), c.vertices.begin() + 8, random);
        return c;
    }

    ConvexMeshCollider Mesh() {
        ConvexMeshCollider c;
        c.vertexCount = 1 + Below(8);
        for (uint32_t i = 0; i < c.vertexCount; ++i)
            c.vertices[i] = glm::vec3(Uniform(-1, 1), Uniform(-1, 1), Uniform(-1, 1));
        c.normalCount = Below(13);
        for (uint32_t i = 0; i < c.normalCount; ++i)
            c.faceNormals[i] = glm::vec3(Uniform(-1, 1), Uniform(-1, 1), Uniform(-1, 1));
        c.ComputeBox();
        return c;
    }

    // A box with something wrong: a flat or empty side, repeated vertices, a zero face normal.
    ConvexMeshCollider Degenerate() {
        ConvexMeshCollider c = Box();
        switch (Below(4)) {
        case 0: // flat
            for (uint32_t i = 0; i < 8; ++i)
                c.vertices[i].z = 0.0f;
            break;
        case 1: // a point
            for (uint32_t i = 0; i < 8; ++i)
                c.vertices[i] = c.vertices[0];
            break;
        case 2: // a repeated corner
            c.vertices[Below(8)] = c.vertices[Below(8)];
            break;
        default: c.faceNormals[Below(3)] = glm::vec3(0.0f);
        }
        c.ComputeBox();
        return c;
    }

    ConvexMeshCollider Shape(int kind) {
        switch (kind) {
        case 0: return Mesh();
        case 1: return Degenerate();
        default: return Box();
        }
    }

    std::pair<ConvexMeshCollider, ConvexMeshCollider> Next(int& kind) {
        kind = Below(20);
        ConvexMeshCollider a, b;
        if (kind < 10) { // boxes, placed at random near each other
            a = Box();
            b = Box();
            a.transform = Rotation();
            b.transform = Translation({Uniform(-2, 2), Uniform(-2, 2), Uniform(-2, 2)}) * Rotation();
        } else if (kind < 12) { // almost parallel boxes, and boxes far from the origin
            a = Box();
            b = Box();
            const glm::dmat4 turn = Rotation();
            const double tiny = std::pow(10.0, Uniform(-12, -3));
            a.transform = turn;
            glm::dvec3 offset{Uniform(-1.5, 1.5), Uniform(-1.5, 1.5), Uniform(-1.5, 1.5)};
            if (Below(2)) { // b on a face of a, just apart or just in, as crates lie in a pile
                const int axis = Below(3);
                offset[axis] = double(a.boxMax[axis]) - double(b.boxMin[axis]) + Uniform(-0.01, 0.01);
                offset = glm::dmat3(turn) * offset;
            }
            b.transform = Translation(offset) * turn *
                          glm::rotate(glm::dmat4(1.0), tiny, glm::normalize(glm::dvec3(Uniform(-1, 1), 1, 0.5)));
            if (Below(2)) {
                const glm::dmat4 far = Translation({Uniform(-6e6, 6e6), Uniform(-6e6, 6e6), Uniform(-6e6, 6e6)});
                a.transform = far * a.transform;
                b.transform = far * b.transform;
            }
        } else if (kind < 14) { // touching or just overlapping face to face, exactly aligned
            a = CubeCollider(1.0f);
            b = Below(2) ? CubeCollider(1.0f) : BoxCollider({-0.5f, -0.25f, -0.5f}, {0.5f, 0.25f, 0.5f});
            const double steps[] = {1.0, 0.75, 0.5, 0.0, 0.25, 1.0 - 1.0 / 1024};
            a.transform =
                Translation({steps[Below(6)] * (Below(2) ? 1 : -1), steps[Below(6)] * 0.5, 0.0}) * QuarterTurns();
            b.transform = QuarterTurns();
        } else if (kind < 15) { // identical
            a = Box();
            a.transform = Translation({Uniform(-3, 3), Uniform(-3, 3), Uniform(-3, 3)}) * Rotation();
            b = a;
        } else if (kind < 16) { // stretched and sheared transforms
            a = Box();
            b = Box();
            glm::dmat4 shear(1.0);
            shear[1][0] = Uniform(-0.5, 0.5);
            a.transform = glm::scale(Rotation(), glm::dvec3(Uniform(0.2, 3), Uniform(0.2, 3), Uniform(0.2, 3)));
            b.transform = Translation({Uniform(-2, 2), Uniform(-2, 2), Uniform(-2, 2)}) * Rotation() * shear;
        } else if (kind < 19) { // meshes and degenerate hulls against anything
            a = Shape(Below(3));
            b = Shape(Below(3));
            a.transform = Rotation();
            b.transform = Translation({Uniform(-1.5, 1.5), Uniform(-1.5, 1.5), Uniform(-1.5, 1.5)}) * Rotation();
        } else { // a sphere first
            a = SphereCollider(static_cast<float>(Uniform(0.1, 1.0)));
            b = Shape(Below(3));
            a.transform = Translation({Uniform(-1.5, 1.5), Uniform(-1.5, 1.5), Uniform(-1.5, 1.5)});
            b.transform = Rotation();
        }
        return {a, b};
    }
};

bool SameBits(const Collision& x, const Collision& y) {
    const double vx[7] = {x.point.x, x.point.y, x.point.z, x.normal.x, x.normal.y, x.normal.z, x.depth};
    const double vy[7] = {y.point.x, y.point.y, y.point.z, y.normal.x, y.normal.y, y.normal.z, y.depth};
    return std::memcmp(vx, vy, sizeof vx) == 0;
}

TEST(ConvexCollision, GivesTheBitsOfTheStepByStepNarrowPhase) {
    PairMaker maker;
    constexpr int kPairs = 120000;
    std::array<int, 20> contacts{}, separated{};
    for (int trial = 0; trial < kPairs; ++trial) {
        int kind = 0;
        const auto [a, b] = maker.Next(kind);
        const Collision fast = ConvexCollision(a, b);
        const Collision slow = reference::ConvexCollision(a, b);
        ASSERT_TRUE(SameBits(fast, slow))
            << "pair " << trial << " (kind " << kind << "): depth " << fast.depth << " against " << slow.depth
            << ", normal " << fast.normal.x << " " << fast.normal.y << " " << fast.normal.z << " against "
            << slow.normal.x << " " << slow.normal.y << " " << slow.normal.z;
        (slow.depth > 0 ? contacts : separated)[kind]++;
    }
    // Every kind of pair met both answers often enough to mean something.
    for (int kind : {0, 5, 10, 12, 16, 17, 19}) {
        EXPECT_GT(contacts[kind], 200) << "kind " << kind;
        EXPECT_GT(separated[kind], 200) << "kind " << kind;
    }
    EXPECT_GT(contacts[14], 1000); // identical pairs always collide
}

TEST(ProjectOntoAxis, SpansTheWorldVertices) {
    const game::physics::Projection p = ProjectOntoAxis(UnitBoxAt({3, 0, 0}), {1, 0, 0});
    EXPECT_DOUBLE_EQ(p.min, 2.5);
    EXPECT_DOUBLE_EQ(p.max, 3.5);
    const game::physics::Projection empty = ProjectOntoAxis(ConvexMeshCollider{}, {1, 0, 0});
    EXPECT_EQ(empty.min, std::numeric_limits<double>::max());
    EXPECT_EQ(empty.max, -std::numeric_limits<double>::max());
}

TEST(PotentialBoxBoxIntersection, IsConservativeAndCountsTouching) {
    EXPECT_TRUE(PotentialBoxBoxIntersection(UnitBoxAt({0, 0, 0}), UnitBoxAt({1, 0, 0})));
    EXPECT_FALSE(PotentialBoxBoxIntersection(UnitBoxAt({0, 0, 0}), UnitBoxAt({1.01, 0, 0})));
    // The rotated box's own axis-aligned hull in a's frame overlaps a although the boxes do not touch:
    // the filter says "maybe", the narrow phase says no.
    const glm::dmat4 turn = glm::rotate(glm::dmat4(1.0), glm::radians(45.0), glm::dvec3(0, 0, 1));
    const ConvexMeshCollider a = UnitBoxAt({0, 0, 0}), b = UnitBoxAt({1.15, 1.15, 0}, turn);
    EXPECT_TRUE(PotentialBoxBoxIntersection(a, b));
    EXPECT_EQ(ConvexCollision(a, b).depth, 0.0);
    // The full form's sphere test alone.
    EXPECT_FALSE(PotentialBoxBoxIntersection(Translation({0, 0, 0}), Translation({3, 0, 0}), glm::dvec3(-0.5),
                                             glm::dvec3(0.5), glm::dvec3(-0.5), glm::dvec3(0.5), true, false));
    EXPECT_TRUE(PotentialBoxBoxIntersection(Translation({0, 0, 0}), Translation({3, 0, 0}), glm::dvec3(-0.5),
                                            glm::dvec3(0.5), glm::dvec3(-0.5), glm::dvec3(0.5), false, false));
}

TEST(RayBoxIntersection, SlabTest) {
    const glm::dvec3 lo(-1), hi(1);
    // Hit, the box behind, starting inside, parallel outside the y slab, parallel inside it, a miss.
    const std::tuple<glm::dvec3, glm::dvec3, bool> rays[] = {
        {{-5, 0, 0}, {1, 0, 0}, true},   {{-5, 0, 0}, {-1, 0, 0}, false},
        {{0, 0, 0}, {0, 1, 0}, true},    {{-5, 2, 0}, {1, 0, 0}, false},
        {{-5, 0.5, 0}, {1, 0, 0}, true}, {{-5, 0, 0}, glm::normalize(glm::dvec3(1, 1, 0)), false}};
    for (const auto& [origin, direction, hits] : rays)
        EXPECT_EQ(RayBoxIntersection(lo, hi, origin, direction), hits) << origin.x << " " << origin.y;
}

} // namespace
