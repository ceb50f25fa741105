// The narrow phase and its filters, on boxes and spheres placed by hand.

#include "game/physics/Collision.hpp"

#include "PhysicsTestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

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

TEST(ConvexCollision, SeparatedBoxesDoNotCollide) {
    // Far apart (the sphere test) and near but apart on one face axis.
    EXPECT_EQ(ConvexCollision(UnitBoxAt({0, 0, 0}), UnitBoxAt({5, 0, 0})).depth, 0.0);
    const Collision near = ConvexCollision(UnitBoxAt({0, 0, 0}), UnitBoxAt({1.01, 0.3, 0}));
    EXPECT_EQ(near.depth, 0.0);
    EXPECT_EQ(near.normal, glm::dvec3(0.0));
    EXPECT_EQ(near.point, glm::dvec3(0.0));
}

TEST(ConvexCollision, TouchingBoxesDoNotCollide) {
    // An overlap of exactly 0 on the x axis is no contact.
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

TEST(ConvexCollision, SphereFirstMeetsABoxCornerOnTheVertexAxis) {
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
}

TEST(ConvexCollision, SphereOnAFace) {
    ConvexMeshCollider sphere = SphereCollider(0.5f);
    sphere.transform = Translation({0, 0, 0.9});
    const Collision c = ConvexCollision(sphere, UnitBoxAt({0, 0, 0}));
    EXPECT_NEAR(c.depth, 0.1, 1e-6);
    EXPECT_NEAR(c.normal.z, 1.0, 1e-9);
    EXPECT_NEAR(c.point.z, 0.4, 1e-6);
}

// Every face normal and all 784 vertex-pair cross axes, straight from the definition: the narrow phase
// must find the very same depth and axis, bit for bit, however it prunes repeated axes.
Collision ReferenceBoxBox(const ConvexMeshCollider& a, const ConvexMeshCollider& b) {
    double best = std::numeric_limits<double>::max();
    glm::dvec3 bestAxis(0.0);
    auto test = [&](const glm::dvec3& n) {
        const auto pa = ProjectOntoAxis(a, n), pb = ProjectOntoAxis(b, n);
        const double overlap = std::min(pa.max, pb.max) - std::max(pa.min, pb.min);
        if (overlap <= 0)
            return false;
        if (best > overlap) {
            best = overlap;
            bestAxis = n;
        }
        return true;
    };
    const glm::dmat3 ra(a.transform), rb(b.transform);
    for (uint32_t i = 0; i < a.normalCount; ++i)
        if (!test(glm::normalize(ra * glm::dvec3(a.faceNormals[i]))))
            return {};
    for (uint32_t i = 0; i < b.normalCount; ++i)
        if (!test(glm::normalize(rb * glm::dvec3(b.faceNormals[i]))))
            return {};
    for (uint32_t i = 0; i < 8; ++i)
        for (uint32_t j = i + 1; j < 8; ++j)
            for (uint32_t k = 0; k < 8; ++k)
                for (uint32_t l = k + 1; l < 8; ++l) {
                    const glm::dvec3 ea = ra * glm::dvec3(glm::normalize(a.vertices[i] - a.vertices[j]));
                    const glm::dvec3 eb = rb * glm::dvec3(glm::normalize(b.vertices[k] - b.vertices[l]));
                    if (!test(glm::normalize(glm::cross(ea, eb))))
                        return {};
                }
    return {glm::dvec3(0.0), bestAxis, best};
}

TEST(ConvexCollision, FindsTheSameAxisAsTheFullAxisSet) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> offset(-1.2, 1.2), angle(0.0, 6.283185307179586);
    int contacts = 0;
    for (int trial = 0; trial < 300; ++trial) {
        const glm::dvec3 axisA = glm::normalize(glm::dvec3(offset(random), offset(random), offset(random)));
        const glm::dvec3 axisB = glm::normalize(glm::dvec3(offset(random), offset(random), offset(random)));
        ConvexMeshCollider a = BoxCollider({-0.5f, -0.3f, -0.7f}, {0.5f, 0.3f, 0.7f});
        ConvexMeshCollider b = BoxCollider({-0.4f, -0.6f, -0.2f}, {0.4f, 0.6f, 0.2f});
        a.transform = glm::rotate(Translation({offset(random), offset(random), offset(random)}), angle(random), axisA);
        b.transform = glm::rotate(glm::dmat4(1.0), angle(random), axisB);
        const Collision fast = ConvexCollision(a, b);
        const Collision reference = ReferenceBoxBox(a, b);
        ASSERT_EQ(fast.depth, reference.depth) << "trial " << trial;
        if (reference.depth > 0) {
            ++contacts;
            const glm::dvec3 d = glm::normalize(glm::dvec3(a.transform[3]) - glm::dvec3(b.transform[3]));
            const double s = glm::dot(d, reference.normal) > 0 ? 1.0 : -1.0;
            ASSERT_EQ(fast.normal, s * reference.normal) << "trial " << trial;
        }
    }
    EXPECT_GT(contacts, 50);
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
    EXPECT_TRUE(RayBoxIntersection(lo, hi, {-5, 0, 0}, {1, 0, 0}));
    EXPECT_FALSE(RayBoxIntersection(lo, hi, {-5, 0, 0}, {-1, 0, 0})); // the box is behind
    EXPECT_TRUE(RayBoxIntersection(lo, hi, {0, 0, 0}, {0, 1, 0}));    // starts inside
    EXPECT_FALSE(RayBoxIntersection(lo, hi, {-5, 2, 0}, {1, 0, 0}));  // parallel, outside the y slab
    EXPECT_TRUE(RayBoxIntersection(lo, hi, {-5, 0.5, 0}, {1, 0, 0})); // parallel, inside it
    EXPECT_FALSE(RayBoxIntersection(lo, hi, {-5, 0, 0}, glm::normalize(glm::dvec3(1, 1, 0))));
}

} // namespace
