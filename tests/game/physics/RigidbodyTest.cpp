// Bodies built from entities, their integration, contact responses, the proof of rest and the drag
// formula for modules.

#include "game/physics/Rigidbody.hpp"

#include "PhysicsTestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

namespace {

using namespace physics_test;
using game::physics::Collision;
using Body = game::physics::Rigidbody<ServerSideEntity>;
using Dynamic = game::physics::DynamicRigidbody<ServerSideEntity>;

class RigidbodyTest : public ::testing::Test {
protected:
    void SetUp() override { ClearWorld(); }
    void TearDown() override { ClearWorld(); }
};

TEST_F(RigidbodyTest, BoundsVolumeAndCollidersComeFromTheEnabledCollidersAboutTheCentreOfMass) {
    ConvexMeshCollider hull = BoxCollider({-1, -0.5f, -0.5f}, {1, 0.5f, 0.5f});
    hull.fill = 0.5;
    ConvexMeshCollider off = CubeCollider(4.0f);
    off.enabled = 0;
    auto e = MakeBody({10, 0, 0}, 5.0, {hull, off});
    e->centerOfMass = {0.5, 0, 0};
    e->boxMin = {-1, -0.5, -0.5}; // as if the disabled collider were not in the entity's box
    e->boxMax = {1, 0.5, 0.5};

    Body body(e);
    ASSERT_EQ(body.colliders.size(), 1u);             // a disabled collider does not exist for physics
    EXPECT_EQ(body.position, glm::dvec3(10.5, 0, 0)); // the centre of mass
    EXPECT_EQ(glm::dvec3(body.colliders[0].transform[3]), glm::dvec3(-0.5, 0, 0));
    EXPECT_DOUBLE_EQ(body.volume, 2.0 * 0.5 * 1.0 * 1.0); // box volume times fill
    EXPECT_EQ(std::tuple(body.boundsMin, body.boundsMax), std::tuple(glm::dvec3(-1.5, -0.5, -0.5), glm::dvec3(0.5)));
    EXPECT_DOUBLE_EQ(body.boundingRadius, glm::length(glm::dvec3(2, 1, 1)) / 2);
    EXPECT_EQ(body.centerPosition, glm::dvec3(10, 0, 0));

    // No enabled collider: the entity's box stays the bounds and the volume is zero.
    auto empty = MakeBody({0, 0, 0}, 1.0, {off});
    empty->boxMin = {-1, -1, -1};
    empty->boxMax = {1, 1, 1};
    Body bare(empty);
    EXPECT_TRUE(bare.colliders.empty());
    EXPECT_EQ(std::tuple(bare.volume, bare.boundsMax), std::tuple(0.0, glm::dvec3(1.0)));
}

TEST_F(RigidbodyTest, ModuleImpulsesBecomeConstantAccelerationsOverTheFrame) {
    auto e = MakeBox({0, 0, 0}, 2.0);
    e->pendingImpulses.linear = {4, 0, 0};
    e->pendingImpulses.acceleration = {0, 0, -3};
    Dynamic body(e, 0.5);
    EXPECT_EQ(body.linearAcceleration, glm::dvec3(4, 0, 0)); // 4 N·s over 0.5 s on 2 kg
    EXPECT_EQ(body.environmentAcceleration, glm::dvec3(0, 0, -3));
    // Velocity Verlet with constant acceleration is exact: x = a t^2 / 2 per axis.
    body.IntegrateMotion(0.5);
    EXPECT_DOUBLE_EQ(body.position.x, 0.5 * 4 * 0.25);
    EXPECT_DOUBLE_EQ(body.position.z, -0.5 * 3 * 0.25);
    EXPECT_DOUBLE_EQ(body.linearVelocity.x, 2.0);
}

TEST_F(RigidbodyTest, InertiaIsThatOfTheBoundsAtTheStartOfTheFrame) {
    auto e = MakeBody({0, 0, 0}, 12.0, {BoxCollider({-1, -0.5f, -0.5f}, {1, 0.5f, 0.5f})});
    Dynamic body(e, 1.0);
    // Solid 2 x 1 x 1 box of 12 kg: Ixx = 2, Iyy = Izz = 5.
    EXPECT_NEAR(body.invInertiaTensor[0][0], 0.5, 1e-12);
    EXPECT_NEAR(body.invInertiaTensor[1][1], 0.2, 1e-12);
    // Spinning fast through sub-steps does not refresh it.
    body.angularVelocity = {0, 0, 20};
    const glm::dmat3 before = body.invInertiaTensor;
    for (int i = 0; i < 10; ++i)
        body.IntegrateMotion(0.01);
    EXPECT_EQ(body.invInertiaTensor, before);
    EXPECT_NEAR(glm::length(glm::dvec4(body.orientation.w, body.orientation.x, body.orientation.y, body.orientation.z)),
                1.0, 1e-12);
    // The module's world tensor is the same box, not inverted.
    EXPECT_NEAR((e->GetInertiaTensorWorld() * body.invInertiaTensor)[1][1], 1.0, 1e-12);
}

TEST_F(RigidbodyTest, AZeroQuaternionAfterIntegrationBecomesTheIdentity) {
    auto e = MakeBox({0, 0, 0}, 1.0);
    Dynamic body(e, 1.0);
    body.orientation = glm::dquat(0.0, 0.0, 0.0, 0.0);
    body.IntegrateMotion(0.1);
    EXPECT_EQ(body.orientation, glm::dquat(1.0, 0.0, 0.0, 0.0));
}

TEST_F(RigidbodyTest, ContactStopsTheNormalSpeedWithoutBounceAndPullsSeparatingContactsTogether) {
    auto e = MakeBox({0, 0, 0.45}, 10.0);
    Dynamic body(e, 1.0);
    body.linearVelocity = {0, 0, -5};
    // Contact under the centre, 5 cm deep, normal up.
    Collision contact{{0, 0, -0.05}, {0, 0, 1}, 0.05};
    body.restCounter = 1.0;
    Dynamic::RespondToCollision(&body, contact, 0.0, 0.0);
    EXPECT_NEAR(body.position.z, 0.5, 1e-12); // the whole depth at once
    EXPECT_NEAR(body.linearVelocity.z, 0.0, 1e-12);
    EXPECT_EQ(body.restCounter, 0.0); // any impulse takes back the proof of rest

    // Separating: the contact is pulled together just the same; there is no restitution and no clamp.
    body.linearVelocity = {0, 0, 3};
    Dynamic::RespondToCollision(&body, Collision{{0, 0, 0}, {0, 0, 1}, 0.01}, 0.0, 0.0);
    EXPECT_NEAR(body.linearVelocity.z, 0.0, 1e-12);

    // A zero normal pushes nothing, but friction still acts on the whole contact velocity.
    body.linearVelocity = {2, 0, 0};
    const glm::dvec3 at = body.position;
    Dynamic::RespondToCollision(&body, Collision{body.position, {0, 0, 0}, 0.3}, 1.0, 0.0);
    EXPECT_EQ(body.position, at);
    EXPECT_NEAR(body.linearVelocity.x, 0.0, 1e-12); // friction 1 stops sliding in one contact
}

TEST_F(RigidbodyTest, FrictionIsAFractionOfTheStoppingImpulseNotACone) {
    auto e = MakeBox({0, 0, 0}, 10.0);
    Dynamic body(e, 1.0);
    // Through the centre of mass, so no rotation: friction 0.25 takes a quarter of the sliding, however
    // small the normal impulse.
    body.linearVelocity = {4, 0, 0};
    Dynamic::RespondToCollision(&body, Collision{{0, 0, 0}, {0, 0, 1}, 1e-9}, 0.25, 0.0);
    EXPECT_NEAR(body.linearVelocity.x, 3.0, 1e-12);
    // Above 1 it reverses.
    body.linearVelocity = {4, 0, 0};
    Dynamic::RespondToCollision(&body, Collision{{0, 0, 0}, {0, 0, 1}, 1e-9}, 1.5, 0.0);
    EXPECT_NEAR(body.linearVelocity.x, -2.0, 1e-12);
}

TEST_F(RigidbodyTest, TwoBodiesShareDepthByInverseMassAndConserveMomentum) {
    auto light = MakeBox({0, 0, 0}, 1.0);
    auto heavy = MakeBox({0.9, 0, 0}, 3.0);
    Dynamic a(light, 1.0), b(heavy, 1.0);
    a.linearVelocity = {2, 0, 0};
    // Contact on the line of centres, normal from b towards a.
    Dynamic::RespondToCollision(&a, &b, Collision{{0.45, 0, 0}, {-1, 0, 0}, 0.1}, 0.0, 0.0);
    EXPECT_NEAR(a.position.x, -0.075, 1e-12);
    EXPECT_NEAR(b.position.x, 0.925, 1e-12);
    EXPECT_NEAR(a.linearVelocity.x, b.linearVelocity.x, 1e-12); // no bounce: they move on together
    EXPECT_NEAR(1.0 * a.linearVelocity.x + 3.0 * b.linearVelocity.x, 2.0, 1e-12);
}

TEST_F(RigidbodyTest, RestNeedsThreeSpreadContactsAroundTheCentreOfMass) {
    auto e = MakeBox({0, 0, 0.5}, 1.0);
    Dynamic body(e, 1.0);
    glm::dvec3 normal;
    const glm::dvec3 up(0, 0, 1);
    body.AddStaticContactPoint(up, {-0.5, -0.5, 0});
    body.AddStaticContactPoint(up, {0.5, -0.5, 0});
    body.AddStaticContactPoint(up, {0.55, -0.45, 0}); // closer than 0.1 to the second: dropped
    EXPECT_EQ(body.staticContactNormals.size(), 2u);
    EXPECT_FALSE(body.GetStaticContact(normal));
    // Three corners whose triangle holds the foot of the centre of mass.
    body.AddStaticContactPoint(up, {0.5, 0.5, 0});
    ASSERT_TRUE(body.GetStaticContact(normal));
    EXPECT_NEAR(normal.z, 1.0, 1e-12);

    // Three contacts on one side of the centre: no support.
    auto f = MakeBox({0, 0, 0.5}, 1.0);
    Dynamic side(f, 1.0);
    side.AddStaticContactPoint(up, {0.2, -0.5, 0});
    side.AddStaticContactPoint(up, {0.5, -0.5, 0});
    side.AddStaticContactPoint(up, {0.5, 0.5, 0});
    EXPECT_FALSE(side.GetStaticContact(normal));
    // A fourth point across the centre: the wider test holds.
    side.AddStaticContactPoint(up, {-0.5, 0.5, 0});
    EXPECT_TRUE(side.GetStaticContact(normal));

    // Normals more than 45 degrees apart never rest.
    auto g = MakeBox({0, 0, 0.5}, 1.0);
    Dynamic tilted(g, 1.0);
    tilted.AddStaticContactPoint(up, {-0.5, -0.5, 0});
    tilted.AddStaticContactPoint(up, {0.5, -0.5, 0});
    tilted.AddStaticContactPoint(glm::normalize(glm::dvec3(1, 0, 0.9)), {0, 0.5, 0});
    EXPECT_FALSE(tilted.GetStaticContact(normal));
}

TEST_F(RigidbodyTest, ARestedSubStepLastsUntilAnImpulse) {
    auto e = MakeBox({0, 0, 0.5}, 1.0);
    Dynamic body(e, 1.0);
    body.restCounter = 1.0;
    // A proven rest skips the collision work of the frame.
    body.CollisionDetection(0.01);
    EXPECT_EQ(body.restCounter, 1.0);
    body.ApplyImpulse({0, 0, 1e-12}, {0, 0, 0});
    EXPECT_EQ(body.restCounter, 0.0);
    // What is left at the end of the frame goes to the entity.
    body.restCounter = 1.0;
    body.ApplyToEntity(1.0);
    EXPECT_EQ(e->settleTime, 1.0);
}

TEST_F(RigidbodyTest, FeltAccelerationIsGravityAtRestAndNothingInFreeFall) {
    auto resting = MakeBox({0, 0, 0.5}, 1.0);
    Dynamic still(resting, 0.1);
    still.environmentAcceleration = {0, 0, -10};
    for (int i = 0; i < 200; ++i) // smoothed towards it
        still.ApplyToEntity(0.1);
    EXPECT_NEAR(resting->smoothedAcceleration.z, -10.0, 1e-6);

    auto falling = MakeBox({0, 0, 100}, 1.0);
    for (int i = 0; i < 50; ++i) {
        Dynamic body(falling, 0.1);
        body.environmentAcceleration = {0, 0, -10};
        body.IntegrateMotion(0.1);
        body.ApplyToEntity(0.1);
    }
    EXPECT_NEAR(falling->smoothedAcceleration.z, 0.0, 1e-9);
}

TEST_F(RigidbodyTest, PhysicsSkipsEntitiesWithoutMassOrPhysicsButClearsTheirDirtyFlag) {
    Game::_environmentFunctions[kGround] = FlatGround().Function();
    auto massless = MakeBox({0, 0, 10}, 0.0);
    auto disabled = MakeBox({5, 0, 10}, 1.0);
    disabled->physicsEnabled = 0;
    massless->nodesDirty = disabled->nodesDirty = 1;
    for (int i = 0; i < 5; ++i)
        ServerSideEntity::PhysicsUpdate(1.0 / 60, 4);
    EXPECT_EQ(std::tuple(massless->position.z, disabled->position.z, massless->nodesDirty, disabled->nodesDirty),
              std::tuple(10.0, 10.0, 0, 0));
}

TEST_F(RigidbodyTest, OrbitingBodiesTakeOneStepAFrameWithoutAnEnvironment) {
    auto e = MakeBox({0, 0, 0}, 1.0);
    e->environmentId = 0;
    e->orbitEnvironmentId = 9; // no function registered: none is asked for
    e->linearVelocity = {1, 0, 0};
    e->pendingImpulses.acceleration = {0, -2, 0};
    ServerSideEntity::PhysicsUpdate(0.5, 4);
    EXPECT_DOUBLE_EQ(e->position.x, 0.5);
    EXPECT_DOUBLE_EQ(e->position.y, -0.25); // one Verlet step over the whole frame
}

TEST(GetDragForce, QuadraticPerAxisWithTheCyclicCrossSectionPlusStokes) {
    const glm::dvec3 f = game::physics::GetDragForce(2.0, {1, 2, 3}, {1, -2, 0}, 0.5, 0.0);
    EXPECT_DOUBLE_EQ(f.x, -0.5 * 1 * 2 * 1); // x meets the area x*y
    EXPECT_DOUBLE_EQ(f.y, 0.5 * 2 * 3 * 4);  // y meets y*z, against the motion
    EXPECT_DOUBLE_EQ(f.z, 0.0);
    const glm::dvec3 s = game::physics::GetDragForce(0.0, {1, 2, 3}, {1, 0, 0}, 0.5, 1.0);
    EXPECT_DOUBLE_EQ(s.x, -18.84955592153876 * 1 * 1); // six pi viscosity v size
}

using RigidbodyDeathTest = RigidbodyTest;

TEST_F(RigidbodyDeathTest, AFlatDynamicBodyAndAMasslessOneAreRefused) {
    auto flat = MakeBody({0, 0, 0}, 1.0, {BoxCollider({-1, -1, 0}, {1, 1, 0})});
    EXPECT_DEATH(Dynamic(flat, 1.0), "Assertion failed: box_size.z > 0.0");
    auto massless = MakeBox({0, 0, 0}, 0.0);
    EXPECT_DEATH(Dynamic(massless, 1.0), "Assertion failed: mass > 0");
    auto box = MakeBox({0, 0, 0}, 1.0);
    EXPECT_DEATH(Dynamic(box, 0.0), "Assertion failed: deltaTime > 0");
}

} // namespace
