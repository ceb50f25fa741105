// Whole physics frames over registered entities: each scene checks an outcome with a physical reason.

#include "game/physics/Rigidbody.hpp"

#include "PhysicsTestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using namespace physics_test;
using physics_test::SampleEnvironment;

constexpr double kTick = 1.0 / 60.0;
constexpr int kSubsteps = 4;

class Scene : public ::testing::Test {
protected:
    void SetUp() override { ClearWorld(); }
    void TearDown() override { ClearWorld(); }

    void Use(const SampleEnvironment& environment, game::entity::EnvironmentId id = kGround) {
        Game::_environmentFunctions[id] = environment.Function();
    }
    static void Run(int ticks, int substeps = kSubsteps) {
        for (int i = 0; i < ticks; ++i)
            ServerSideEntity::PhysicsUpdate(kTick, substeps);
    }
    // Ticks until `done` holds or `limit` ticks have passed; the number of ticks run.
    template <class F> static int RunUntil(F done, int limit) {
        for (int i = 0; i < limit; ++i) {
            if (done())
                return i;
            ServerSideEntity::PhysicsUpdate(kTick, kSubsteps);
        }
        return limit;
    }
};

TEST_F(Scene, ABoxDroppedOnFlatGroundComesToRestAndTurnsStatic) {
    Use(FlatGround());
    auto box = MakeBox({0, 0, 2}, 50.0);
    const int ticks = RunUntil([&] { return box->settleTime >= 1.0; }, 600);
    ASSERT_LT(ticks, 600) << "never settled; z = " << box->position.z;
    // Resting on its face: the centre half a metre up, still.
    EXPECT_NEAR(box->position.z, 0.5, 0.02);
    EXPECT_LT(glm::length(box->linearVelocity), 0.1);

    // Settled: the next frames build a static body, which does not move and counts its time up to 1.
    const glm::dvec3 rest = box->position;
    Run(30);
    EXPECT_EQ(box->position, rest);
    EXPECT_EQ(box->settleTime, 1.0);
    // A static body on the ground reads the full gravity, in its own frame.
    EXPECT_NEAR(glm::length(box->smoothedAcceleration), 9.81, 1e-9);
    EXPECT_NEAR(box->smoothedAcceleration.z, -9.81, 1e-3);
}

// Free fall: a fresh body starts each frame with only what its entity accumulated, and the environment's
// gravity, found by the environment pass at the end of the first sub-step, acts from the second sub-step
// on. Velocity Verlet is exact for constant acceleration, so the fall follows in closed form.
double FallDistance(double g, double tick, int substeps, int ticks) {
    const double h = tick / substeps;
    double x = 0, v = 0;
    for (int frame = 0; frame < ticks; ++frame) {
        x += v * h; // first sub-step: no gravity yet
        const double t = h * (substeps - 1);
        x += v * t + 0.5 * g * t * t;
        v += g * t;
    }
    return x;
}

TEST_F(Scene, FreeFallOverOneSecondMatchesTheSubStepSemantics) {
    Use(FlatGround(0.0)); // a vacuum: no drag, no buoyancy
    for (int substeps : {1, 2, 4}) {
        auto box = MakeBox({0, 0, 1000}, 10.0);
        Run(60, substeps);
        const double fallen = 1000.0 - box->position.z;
        EXPECT_NEAR(fallen, FallDistance(9.81, kTick, substeps, 60), 1e-9) << substeps << " sub-steps";
        ClearWorld();
        Use(FlatGround(0.0));
    }
    // One sub-step gives no gravity at all; four give three quarters of the time under gravity.
    EXPECT_EQ(FallDistance(9.81, kTick, 1, 60), 0.0);
    EXPECT_LT(FallDistance(9.81, kTick, 4, 60), 0.5 * 9.81);
}

TEST_F(Scene, FrictionStopsASlidingBoxAndIceNeverLetsItRest) {
    Use(FlatGround());
    auto rough = MakeBox({0, 0, 0.5}, 50.0, 1.0f, 1.0);
    rough->linearVelocity = {3, 0, 0};
    auto ice = MakeBox({0, 50, 0.5}, 50.0, 1.0f, 0.0);
    ice->linearVelocity = {3, 0, 0};

    // The rough box slows until its contacts prove rest; then it is static and stays where it stopped.
    ASSERT_LT(RunUntil([&] { return rough->settleTime >= 1.0; }, 600), 600);
    const glm::dvec3 stopped = rough->position;
    EXPECT_GT(stopped.x, 0.1);
    EXPECT_LT(std::abs(rough->linearVelocity.x), 0.1); // the rest speed that terrain allows
    const double iceBefore = ice->position.x;
    Run(60);
    EXPECT_EQ(rough->position, stopped);

    // Without friction nothing takes the sliding away, and the rest speed of its contacts is 0: the ice
    // box keeps sliding at its speed and never rests.
    EXPECT_NEAR(ice->linearVelocity.x, 3.0, 0.3);
    EXPECT_NEAR(ice->position.x - iceBefore, 3.0, 0.3);
    EXPECT_EQ(ice->settleTime, 0.0);
}

TEST_F(Scene, AStackOfThreeBoxesRests) {
    Use(FlatGround());
    auto bottom = MakeBox({0, 0, 0.5}, 40.0);
    auto middle = MakeBox({0, 0, 1.5}, 40.0);
    auto top = MakeBox({0, 0, 2.5}, 40.0);
    const int ticks =
        RunUntil([&] { return bottom->settleTime >= 1 && middle->settleTime >= 1 && top->settleTime >= 1; }, 1200);
    ASSERT_LT(ticks, 1200) << bottom->settleTime << " " << middle->settleTime << " " << top->settleTime;
    Run(30);
    EXPECT_NEAR(bottom->position.z, 0.5, 0.05);
    EXPECT_NEAR(middle->position.z, 1.5, 0.1);
    EXPECT_NEAR(top->position.z, 2.5, 0.15);
    EXPECT_LT(std::abs(top->position.x) + std::abs(top->position.y), 0.2);
}

TEST_F(Scene, ALightBoxFloatsAtTheWaterSurfaceAndADenseOneSinks) {
    SampleEnvironment lake = FlatGround();
    lake.hasWater = true;
    lake.waterLevel = 10.0;
    Use(lake);
    auto light = MakeBox({0, 0, 12}, 500.0);   // 500 kg/m³
    auto dense = MakeBox({20, 0, 12}, 3000.0); // 3000 kg/m³
    Run(600);
    // Averaged over a while, the light box's centre stays near the surface: half of it is under water.
    double sum = 0;
    for (int i = 0; i < 300; ++i) {
        Run(1);
        sum += light->position.z;
    }
    EXPECT_NEAR(sum / 300, 10.0, 0.5);
    // The dense one went to the bottom.
    EXPECT_LT(dense->position.z, 1.0);
}

// A thin plate drifting through still air: face-on its face pushes along its normal, edge-on it keeps
// only its drag.
TEST_F(Scene, ABodyHalfInWaterIsDampedAndCountsAsTouchingGround) {
    SampleEnvironment lake = FlatGround();
    lake.hasWater = true;
    lake.waterLevel = 10.0;
    Use(lake);
    // Two stacked boxes across the surface: one sample falls in water, one in air, and their mean
    // viscosity lies between the two, which is what the damping of liquids looks for.
    auto buoy = MakeBody({0, 0, 10}, 500.0,
                         {BoxCollider({-0.5f, -0.5f, -1.0f}, {0.5f, 0.5f, -0.1f}),
                          BoxCollider({-0.5f, -0.5f, 0.1f}, {0.5f, 0.5f, 1.0f})});
    buoy->linearVelocity = {2, 0, 0};
    game::EnvironmentFunction function = Game::_environmentFunctions.at(kGround);
    game::physics::DynamicRigidbody<ServerSideEntity> body(buoy, kTick);
    body.InteractWithEnvironment(function, 0.1);
    EXPECT_TRUE(body.touchedTerrain);
    // Mean viscosity 0.0005075: halfway through the band, a smoothstep of 0.5, over 0.1 s: 2.5 % of the
    // horizontal speed goes.
    EXPECT_NEAR(body.linearVelocity.x, 2.0 * (1 - 0.5 * 0.05), 1e-6);

    // Wholly under water the samples are all water, above the band: no damping, no ground.
    buoy->position = {0, 0, 5};
    game::physics::DynamicRigidbody<ServerSideEntity> deep(buoy, kTick);
    deep.InteractWithEnvironment(function, 0.1);
    EXPECT_FALSE(deep.touchedTerrain);
    EXPECT_EQ(deep.linearVelocity.x, 2.0);
}

TEST_F(Scene, ABoxComesToRestOnASphericalPlanet) {
    SampleEnvironment planet;
    planet.shape = SampleEnvironment::Shape::Planet;
    planet.radius = 200.0;
    Use(planet);
    // Off the pole, so that down is no coordinate axis.
    const glm::dvec3 up = glm::normalize(glm::dvec3(1, 2, 2));
    auto box = MakeBox(up * 202.0, 50.0);
    box->orientation = glm::dquat(glm::dvec3(0, 0, 1), up); // a face towards the ground
    ASSERT_LT(RunUntil([&] { return box->settleTime >= 1.0; }, 900), 900) << glm::length(box->position);
    EXPECT_NEAR(glm::length(box->position), 200.5, 0.05);
    EXPECT_NEAR(glm::dot(glm::normalize(box->position), up), 1.0, 1e-4);
}

TEST_F(Scene, AFlatPlateGetsLiftFaceOnAndNoneEdgeOnButKeepsItsDrag) {
    SampleEnvironment air = FlatGround();
    air.gravity = 1e-9; // all but weightless, so that only the flow acts
    Use(air);
    auto plate = [](const glm::dvec3& position, const glm::dvec3& velocity) {
        auto e = MakeBody(position, 100.0, {BoxCollider({-1, -1, -0.01f}, {1, 1, 0.01f}, 0.5)});
        e->linearVelocity = velocity;
        return e;
    };
    game::EnvironmentFunction function = Game::_environmentFunctions.at(kGround);

    auto faceOn = plate({0, 0, 1000}, {0, 0, -10});
    game::physics::DynamicRigidbody<ServerSideEntity> faceBody(faceOn, kTick);
    faceBody.ComputeAerodynamicSurfaces(function);
    ASSERT_EQ(faceBody.aerodynamicSurfaces.size(), 1u);
    EXPECT_NEAR(faceBody.aerodynamicSurfaces[0].liftFactor, 1.0, 1e-12);
    EXPECT_NEAR(std::abs(faceBody.aerodynamicSurfaces[0].normal.z), 1.0, 1e-12);
    EXPECT_EQ(faceBody.aerodynamicSurfaces[0].dragFactor, 0.01);

    auto edgeOn = plate({0, 50, 1000}, {-10, 0, 0});
    game::physics::DynamicRigidbody<ServerSideEntity> edgeBody(edgeOn, kTick);
    edgeBody.ComputeAerodynamicSurfaces(function);
    ASSERT_EQ(edgeBody.aerodynamicSurfaces.size(), 1u);
    EXPECT_EQ(edgeBody.aerodynamicSurfaces[0].liftFactor, 0.0);
    EXPECT_EQ(edgeBody.aerodynamicSurfaces[0].dragFactor, 0.01);

    // Through a whole frame: face-on, the push along the normal (rho v^2 A = 490 N on 100 kg) brakes the
    // plate; edge-on only the drag acts (a hundredth of a half of that), and nothing pushes sideways.
    Run(1);
    const double faceLoss = 10.0 + faceOn->linearVelocity.z;
    const double edgeLoss = 10.0 + edgeOn->linearVelocity.x;
    EXPECT_NEAR(faceLoss, 4.9 * kTick * 0.75, 0.02); // the surfaces act in every sub-step
    EXPECT_GT(edgeLoss, 0.0);
    EXPECT_GT(faceLoss, 100 * edgeLoss);
    EXPECT_NEAR(edgeOn->linearVelocity.z, 0.0, 1e-9);

    // Tilted 30 degrees into a horizontal flow, the push along the normal has a component across the flow.
    auto tilted = plate({0, 100, 1000}, {-10, 0, 0});
    tilted->orientation = glm::angleAxis(glm::radians(30.0), glm::dvec3(0, 1, 0));
    Run(1);
    EXPECT_GT(std::abs(tilted->linearVelocity.z), 0.01);
}

// A platform that a module moves (not dynamic: the physics gives it a static body), and a box on it.
struct Platform {
    ServerSideEntity::Ptr entity;
    void Tick() {
        entity->position += entity->linearVelocity * kTick;
        ServerSideEntity::PhysicsUpdate(kTick, kSubsteps);
    }
};

Platform MakePlatform(const glm::dvec3& position, const glm::dvec3& velocity) {
    auto e = MakeBody(position, 1e5, {BoxCollider({-10, -10, -0.5f}, {10, 10, 0.5f})});
    e->isDynamic = 0;
    e->linearVelocity = velocity;
    return {e};
}

TEST_F(Scene, ABodyOnAMovingParentAttachesAndLeavesAbove10MetresPerSecond) {
    Use(FlatGround());
    Platform platform = MakePlatform({0, 0, 50}, {1, 0, 0});
    auto box = MakeBox({0, 0, 51.1}, 10.0);

    int ticks = 0;
    for (; ticks < 240 && !box->HasParent(); ++ticks)
        platform.Tick();
    ASSERT_LT(ticks, 240) << "never attached; z = " << box->position.z;
    EXPECT_EQ(box->parentEntity, platform.entity->GetID());
    // Now in the platform's frame: on top of it.
    EXPECT_NEAR(box->position.z, 1.0, 0.1);

    // It rides along: over two seconds the platform carries it two metres, and it stays on top.
    const double before = platform.entity->position.x;
    for (int i = 0; i < 120; ++i)
        platform.Tick();
    EXPECT_TRUE(box->HasParent());
    EXPECT_NEAR(platform.entity->position.x + box->position.x - before, 2.0 + box->position.x, 1e-9);
    EXPECT_NEAR(box->position.z, 1.0, 0.1);

    // Flung off at more than 10 m/s it lets go and is back in the environment's frame.
    box->linearVelocity = {0, 20, 5};
    box->settleTime = 0;
    platform.Tick();
    EXPECT_FALSE(box->HasParent());
    EXPECT_GT(box->linearVelocity.y, 15.0);
    EXPECT_GT(box->position.z, 50.0);
}

TEST_F(Scene, ABodyCarriedDownToTheGroundDetachesOnTerrainContact) {
    Use(FlatGround());
    Platform platform = MakePlatform({0, 0, 3.0}, {0, 0, 0});
    auto box = MakeBox({0, 0, 4.1}, 10.0);
    int ticks = 0;
    for (; ticks < 240 && !box->HasParent(); ++ticks)
        platform.Tick();
    ASSERT_LT(ticks, 240);

    // The platform sinks into the ground. The carrying module keeps the box awake, as a settled child is
    // a static body that the physics no longer moves.
    platform.entity->linearVelocity = {0, 0, -1};
    for (ticks = 0; ticks < 600 && box->HasParent(); ++ticks) {
        box->settleTime = 0;
        platform.Tick();
    }
    ASSERT_LT(ticks, 600);
    // It let go where it met the ground, and is back in the environment's frame.
    EXPECT_LT(box->position.z, 0.6);
    EXPECT_GT(box->position.z, 0.3);
}

TEST_F(Scene, BodiesThatIgnoreEachOtherDoNotCollide) {
    Use(FlatGround(0.0));
    auto a = MakeBox({0, 0, 100}, 10.0);
    auto b = MakeBox({0.5, 0, 100}, 10.0); // half inside a
    a->linearVelocity = b->linearVelocity = {0, 0, -1};
    a->linkedEntities.insert(b->GetID()); // one way is enough
    Run(10);
    EXPECT_EQ(a->linearVelocity.x, 0.0);
    EXPECT_EQ(b->linearVelocity.x, 0.0);
    EXPECT_EQ(b->position.x - a->position.x, 0.5);

    // Without the link they push apart.
    a->linkedEntities.clear();
    Run(1);
    EXPECT_GT(b->position.x - a->position.x, 0.5);
}

TEST_F(Scene, AComponentsCollidersActThroughItsVehicle) {
    Use(FlatGround());
    // A vehicle whose own collider is small; a component hangs a wide foot 1.5 m below it.
    auto vehicle = MakeBox({0, 0, 5}, 50.0, 0.5f);
    auto foot = MakeBody({0, 0, -1.5}, 1.0, {BoxCollider({-2, -2, -0.25f}, {2, 2, 0.25f})});
    foot->isComponent = 1;
    foot->isDynamic = 0;
    foot->parentEntity = vehicle->GetID();
    Run(240);
    // The vehicle stands on its foot: the foot's bottom (1.75 below the vehicle) is on the ground.
    EXPECT_NEAR(vehicle->position.z, 1.75, 0.05);
    // The component itself was not moved by the physics.
    EXPECT_EQ(foot->position, glm::dvec3(0, 0, -1.5));
}

TEST_F(Scene, TheServerTickStepsThePhysics) {
    Use(FlatGround(0.0));
    auto box = MakeBox({0, 0, 100}, 10.0);
    // A component reaches its vehicle's environment through the tick's cache refresh, not by itself.
    auto part = MakeBody({0, 0, -1}, 1.0, {CubeCollider(0.5f)});
    part->isComponent = 1;
    part->environmentId = 0;
    part->parentEntity = box->GetID();
    for (int i = 0; i < 60; ++i)
        Game::ServerUpdate(kTick, kSubsteps);
    EXPECT_NEAR(100.0 - box->position.z, FallDistance(9.81, kTick, kSubsteps, 60), 1e-9);
    EXPECT_EQ(part->environmentId, kGround);
    EXPECT_GT(Game::serverSidePhysicsAvgTime, 0.0);
}

TEST_F(Scene, ZeroSubStepsMoveNothingButStillApplyTheEntityState) {
    Use(FlatGround());
    auto box = MakeBox({0, 0, 10}, 10.0);
    box->linearVelocity = {1, 2, 3};
    box->pendingImpulses.linear = {5, 0, 0};
    box->nodesDirty = 1;
    box->transformCacheValid = 1;
    ServerSideEntity::PhysicsUpdate(kTick, 0);
    EXPECT_EQ(std::tuple(box->position, box->linearVelocity), std::tuple(glm::dvec3(0, 0, 10), glm::dvec3(1, 2, 3)));
    // The frame still happened: impulses consumed, flags cleared, the cache invalidated.
    EXPECT_EQ(std::tuple(box->pendingImpulses.linear, box->nodesDirty, box->transformCacheValid),
              std::tuple(glm::dvec3(0.0), 0, 0));
}

TEST_F(Scene, AnUnknownEnvironmentThrowsAndReleasesTheRegistry) {
    auto box = MakeBox({0, 0, 10}, 10.0, 1.0f);
    box->environmentId = 77;
    EXPECT_THROW(ServerSideEntity::PhysicsUpdate(kTick, kSubsteps), std::out_of_range);
    // The writer side is free again.
    std::lock_guard lock(ServerSideEntity::_sharedObjectsMutex);
}

TEST_F(Scene, TheBroadphaseFindsEveryTouchingPairInTheOrderOfAPlainLoopOverAllPairs) {
    Use(FlatGround(0.0));
    // A crowd in one group: boxes of two sizes at random places and speeds, whose spheres overlap in many
    // ways, some pairs told to ignore each other. Responses depend on the order in which a body meets its
    // candidates, so the order is part of the answer.
    std::mt19937 random(7);
    std::uniform_real_distribution<double> place(0.0, 12.0), speed(-30.0, 30.0);
    std::unordered_map<game::entity::Id, ServerSideEntity::Ptr> crowd;
    std::vector<ServerSideEntity::Ptr> made;
    for (int i = 0; i < 300; ++i) {
        auto e = MakeBox({place(random), place(random), 50 + place(random)}, 10.0, i % 3 ? 1.0f : 2.5f);
        e->linearVelocity = {speed(random), speed(random), speed(random)};
        crowd[e->GetID()] = e;
        made.push_back(e);
    }
    for (size_t i = 0; i + 7 < made.size(); i += 11)
        made[i]->linkedEntities.insert(made[i + 7]->GetID());
    Game::debugServerSidePhysics = true;
    ServerSideEntity::PhysicsUpdate(kTick, 0); // nothing moves: the lines show the pairs as they were found

    // The group's body order is the order in which the overlay gets their colliders (a body's colliders
    // come together: those that made aerodynamic surfaces, then all of them).
    std::vector<ServerSideEntity::Ptr> order;
    for (const auto& record : Game::physicsDebugColliders_staging)
        if (order.empty() || order.back()->GetID() != record.id)
            order.push_back(crowd.at(record.id));
    ASSERT_EQ(order.size(), made.size());
    // A centred box without rotation: its sphere is at its origin, its reach the half diagonal of its box
    // plus half the way it goes in the frame.
    auto reach = [](const ServerSideEntity::Ptr& e) {
        return glm::length(e->linearVelocity) * kTick * 0.5 + glm::length(e->boxMax - e->boxMin) / 2.0;
    };
    auto ignores = [](const ServerSideEntity::Ptr& a, const ServerSideEntity::Ptr& b) {
        return a->linkedEntities.count(b->GetID()) != 0;
    };
    std::vector<std::pair<glm::dvec3, glm::dvec3>> expected, found;
    for (size_t i = 0; i < order.size(); ++i)
        for (size_t j = i + 1; j < order.size(); ++j)
            if (reach(order[i]) + reach(order[j]) > glm::distance(order[i]->position, order[j]->position) &&
                !ignores(order[i], order[j]) && !ignores(order[j], order[i]))
                expected.emplace_back(order[i]->position, order[j]->position);
    for (const auto& line : Game::physicsDebugLines_staging)
        if (line.color == glm::vec4(0, 1, 0, 1))
            found.emplace_back(line.start, line.end);
    EXPECT_GT(expected.size(), 500u); // a crowd worth the name
    EXPECT_EQ(found, expected);
}

TEST_F(Scene, DebugPublicationHandsACompleteSetToTheOverlay) {
    Use(FlatGround());
    auto a = MakeBox({0, 0, 0.6}, 10.0);
    auto b = MakeBox({0.8, 0, 0.6}, 10.0);
    Game::debugServerSidePhysics = true;
    Game::physicsDebugCollidersUpdated = false;
    ServerSideEntity::PhysicsUpdate(kTick, kSubsteps);
    EXPECT_TRUE(Game::physicsDebugCollidersUpdated.exchange(false));
    {
        std::lock_guard lock(Game::physicsDebugMutex);
        std::swap(Game::physicsDebugColliders_staging, Game::physicsDebugColliders_front);
        std::swap(Game::physicsDebugLines_staging, Game::physicsDebugLines_front);
    }
    ASSERT_EQ(Game::physicsDebugColliders_front.size(), 2u);
    for (const auto& record : Game::physicsDebugColliders_front) {
        EXPECT_TRUE(record.isDynamic);
        // In the entity frame again: a box of one collider at the entity origin.
        EXPECT_EQ(glm::dvec3(record.collider.transform[3]), glm::dvec3(0.0));
    }
    // The broadphase pair (green) and contact lines (red) are there.
    bool pair = false, contact = false;
    for (const auto& line : Game::physicsDebugLines_front) {
        pair |= line.color == glm::vec4(0, 1, 0, 1);
        contact |= line.color == glm::vec4(1, 0, 0, 1);
    }
    EXPECT_TRUE(pair);
    EXPECT_TRUE(contact);
}

} // namespace
