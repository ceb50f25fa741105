// Scenes where bodies stay in contact, ours against Bullet on the same bodies, in one binary.
//
// Pile: a block of n × n × n crates of 1 m and 100 kg, 5 cm apart, released just above flat ground, so
// that the block falls, lands and settles with every crate touching its neighbours. One benchmark
// iteration is one tick (1/60 s, 4 sub-steps); a repetition runs one whole pile from release for
// kPileTicks ticks, so that the figure is the average over landing and settling, not over whichever ticks
// a time budget happens to reach.
//
// Rovers: a few vehicles (a chassis box and four sphere wheels, one rigid body) driven at 5 m/s over a
// rolling heightfield by the same speed controller in both engines. Ours meets the terrain through an
// environment function that answers from the analytic height; Bullet gets a btHeightfieldTerrainShape
// sampled from the same function every 0.5 m.
//
// The capturing variants of ours time every profiler scope, which costs time of its own; they are there
// for the share of the narrow phase (`ConvexCollision`) in the step, read from the profiler's records.

#include "AllocationCounter.hpp"

#include "game/physics/Rigidbody.hpp"
#include "game/physics/SampleEnvironment.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include "game/physics/PhysicsTestSupport.hpp"

#include <BulletCollision/CollisionShapes/btHeightfieldTerrainShape.h>
#include <benchmark/benchmark.h>
#include <btBulletDynamicsCommon.h>

#include <cmath>
#include <memory>
#include <vector>

namespace {

using namespace physics_test;

constexpr double kTick = 1.0 / 60.0;
constexpr int kSubsteps = 4;
constexpr double kCrateMass = 100.0;
constexpr double kSpacing = 1.05;
constexpr int kPileTicks = 180;
constexpr double kRoverMass = 500.0;
constexpr double kRoverSpeed = 5.0;
constexpr int kRoverTicks = 600;

glm::dvec3 PilePosition(int i, int side) {
    const int x = i % side, y = (i / side) % side, z = i / (side * side);
    return {kSpacing * x, kSpacing * y, 0.55 + kSpacing * z};
}

// The share of ConvexCollision in the physics step, from the profiler's records of this run.
double NarrowPhaseShare() {
    double narrow = 0.0, step = 0.0;
    for (const vesmo::cpu::Profiler::Entry& entry : vesmo::cpu::Profiler::Snapshot()) {
        if (entry.name == "ConvexCollision")
            narrow = entry.totalMs;
        else if (entry.name == "PhysicsUpdate")
            step = entry.totalMs;
    }
    return step > 0.0 ? narrow / step : 0.0;
}

struct OurPile {
    std::vector<ServerSideEntity::Ptr> crates;

    explicit OurPile(int side) {
        ClearWorld();
        Game::_environmentFunctions[kGround] = FlatGround().Function();
        for (int i = 0; i < side * side * side; ++i) {
            ConvexMeshCollider c = CubeCollider(1.0f, 0.5);
            c.weight = 0.0;
            crates.push_back(MakeBody(PilePosition(i, side), kCrateMass, {c}));
        }
    }
    ~OurPile() {
        crates.clear();
        ClearWorld();
    }
    void Tick() { ServerSideEntity::PhysicsUpdate(kTick, kSubsteps); }
    // The fraction of crates at rest (static bodies).
    double Resting() const {
        int resting = 0;
        for (const auto& c : crates)
            resting += c->settleTime >= 1.0;
        return static_cast<double>(resting) / static_cast<double>(crates.size());
    }
};

struct BulletWorld {
    btDefaultCollisionConfiguration configuration;
    btCollisionDispatcher dispatcher{&configuration};
    btDbvtBroadphase broadphase;
    btSequentialImpulseConstraintSolver solver;
    btDiscreteDynamicsWorld world{&dispatcher, &broadphase, &solver, &configuration};
    std::vector<std::unique_ptr<btRigidBody>> bodies;
    std::vector<std::unique_ptr<btDefaultMotionState>> motions;

    BulletWorld() { world.setGravity(btVector3(0, 0, -9.81)); }
    ~BulletWorld() {
        for (auto& body : bodies)
            world.removeRigidBody(body.get());
    }
    btRigidBody* Add(btCollisionShape* shape, double mass, const glm::dvec3& p, double friction) {
        btTransform start;
        start.setIdentity();
        start.setOrigin(btVector3(p.x, p.y, p.z));
        motions.push_back(std::make_unique<btDefaultMotionState>(start));
        btVector3 inertia(0, 0, 0);
        if (mass > 0)
            shape->calculateLocalInertia(mass, inertia);
        btRigidBody::btRigidBodyConstructionInfo info(mass, motions.back().get(), shape, inertia);
        info.m_friction = friction;
        bodies.push_back(std::make_unique<btRigidBody>(info));
        world.addRigidBody(bodies.back().get());
        return bodies.back().get();
    }
};

struct BulletPile : BulletWorld {
    btStaticPlaneShape planeShape{btVector3(0, 0, 1), 0};
    btBoxShape boxShape{btVector3(0.5, 0.5, 0.5)};

    explicit BulletPile(int side) {
        Add(&planeShape, 0.0, glm::dvec3(0.0), 0.5);
        for (int i = 0; i < side * side * side; ++i)
            Add(&boxShape, kCrateMass, PilePosition(i, side), 0.5);
    }
    void Tick() {
        for (int i = 0; i < kSubsteps; ++i)
            world.stepSimulation(kTick / kSubsteps, 0);
    }
    // The fraction of crates asleep.
    double Resting() const {
        int resting = 0;
        for (size_t i = 1; i < bodies.size(); ++i)
            resting += !bodies[i]->isActive();
        return static_cast<double>(resting) / static_cast<double>(bodies.size() - 1);
    }
};

// The rolling ground of the rover scene: gentle hills of up to 0.9 m over a plane.
double Height(double x, double y) {
    return 0.6 * std::sin(0.25 * x) * std::cos(0.2 * y) + 0.3 * std::sin(0.7 * x + 0.5 * y);
}
glm::dvec3 HeightNormal(double x, double y) {
    const double dx = 0.15 * std::cos(0.25 * x) * std::cos(0.2 * y) + 0.21 * std::cos(0.7 * x + 0.5 * y);
    const double dy = -0.12 * std::sin(0.25 * x) * std::sin(0.2 * y) + 0.15 * std::cos(0.7 * x + 0.5 * y);
    return glm::normalize(glm::dvec3(-dx, -dy, 1.0));
}

// Gravity and air as over flat ground; the terrain contact from the height function: the ground's normal
// under the point, how deep the point is below the ground and the ground point straight above or below it.
game::EnvironmentFunction HeightfieldGround() {
    return [air = FlatGround()](const glm::dvec3& p, game::EnvironmentInfoFlags flags, double radius) {
        game::physics::EnvironmentInfo info = air.Query(p, flags, radius);
        const double ground = Height(p.x, p.y);
        info.altitude = p.z - ground;
        if (flags & game::EnvironmentContact) {
            info.collision.normal = HeightNormal(p.x, p.y);
            info.collision.depth = info.altitude < 0 ? -info.altitude : 0.0;
            info.collision.point = {p.x, p.y, ground};
        }
        return info;
    };
}

constexpr int kRovers = 8;
const glm::dvec3 kChassisHalf{1.2, 0.7, 0.3};
constexpr float kWheelRadius = 0.35f;
const glm::dvec3 kWheels[4] = {{0.9, 0.8, -0.35}, {0.9, -0.8, -0.35}, {-0.9, 0.8, -0.35}, {-0.9, -0.8, -0.35}};

glm::dvec3 RoverStart(int i) { return {-50.0, -28.0 + 8.0 * i, Height(-50.0, -28.0 + 8.0 * i) + 1.2}; }

// The same controller for both engines: a force along +x that pulls the speed towards kRoverSpeed.
double DriveForce(double speed) { return kRoverMass * 2.0 * (kRoverSpeed - speed); }

struct OurRovers {
    std::vector<ServerSideEntity::Ptr> rovers;

    OurRovers() {
        ClearWorld();
        Game::_environmentFunctions[kGround] = HeightfieldGround();
        for (int i = 0; i < kRovers; ++i) {
            ConvexMeshCollider chassis = BoxCollider(-glm::vec3(kChassisHalf), glm::vec3(kChassisHalf), 0.5);
            std::vector<ConvexMeshCollider> wheels;
            for (const glm::dvec3& w : kWheels) {
                wheels.push_back(SphereCollider(kWheelRadius, 0.3));
                wheels.back().transform = Translation(w);
            }
            for (ConvexMeshCollider* c : {&chassis, &wheels[0], &wheels[1], &wheels[2], &wheels[3]})
                c->weight = 0.0;
            rovers.push_back(
                MakeBody(RoverStart(i), kRoverMass, {chassis, wheels[0], wheels[1], wheels[2], wheels[3]}));
        }
    }
    ~OurRovers() {
        rovers.clear();
        ClearWorld();
    }
    void Tick() {
        for (const ServerSideEntity::Ptr& r : rovers) {
            r->pendingImpulses.linear.x += DriveForce(r->linearVelocity.x) * kTick;
            r->settleTime = 0.0; // a driven vehicle is never parked
        }
        ServerSideEntity::PhysicsUpdate(kTick, kSubsteps);
    }
    // How far the rovers got along x, on average.
    double Travelled() const {
        double sum = 0.0;
        for (const auto& r : rovers)
            sum += r->position.x - RoverStart(0).x;
        return sum / kRovers;
    }
};

struct BulletRovers : BulletWorld {
    static constexpr int kGrid = 257; // 128 m with a sample every 0.5 m
    std::vector<float> heights;
    std::unique_ptr<btHeightfieldTerrainShape> terrain;
    btBoxShape chassisShape{btVector3(kChassisHalf.x, kChassisHalf.y, kChassisHalf.z)};
    btSphereShape wheelShape{kWheelRadius};
    btCompoundShape roverShape;
    std::vector<btRigidBody*> rovers;

    BulletRovers() {
        heights.resize(kGrid * kGrid);
        float lowest = 1e9f, highest = -1e9f;
        for (int j = 0; j < kGrid; ++j)
            for (int i = 0; i < kGrid; ++i) {
                const float h = static_cast<float>(Height(-64.0 + 0.5 * i, -64.0 + 0.5 * j));
                heights[j * kGrid + i] = h;
                lowest = std::min(lowest, h);
                highest = std::max(highest, h);
            }
        terrain = std::make_unique<btHeightfieldTerrainShape>(kGrid, kGrid, heights.data(), 1.0f, lowest, highest, 2,
                                                              PHY_FLOAT, false);
        terrain->setLocalScaling(btVector3(0.5, 0.5, 1.0));
        // Bullet centres a heightfield on its bounds: move it back so that heights stand at their place.
        btRigidBody* ground = Add(terrain.get(), 0.0, {0.0, 0.0, 0.5 * (lowest + highest)}, 0.5);
        (void)ground;
        btTransform local;
        local.setIdentity();
        roverShape.addChildShape(local, &chassisShape);
        for (const glm::dvec3& w : kWheels) {
            local.setOrigin(btVector3(w.x, w.y, w.z));
            roverShape.addChildShape(local, &wheelShape);
        }
        for (int i = 0; i < kRovers; ++i) {
            btRigidBody* r = Add(&roverShape, kRoverMass, RoverStart(i), 0.3);
            r->setActivationState(DISABLE_DEACTIVATION);
            rovers.push_back(r);
        }
    }
    void Tick() {
        for (int i = 0; i < kSubsteps; ++i) {
            for (btRigidBody* r : rovers)
                r->applyCentralForce(btVector3(DriveForce(r->getLinearVelocity().x()), 0, 0));
            world.stepSimulation(kTick / kSubsteps, 0);
        }
    }
    double Travelled() const {
        double sum = 0.0;
        for (const btRigidBody* r : rovers)
            sum += r->getCenterOfMassPosition().x() - RoverStart(0).x;
        return sum / kRovers;
    }
};

struct OurCapturedPile : OurPile {
    explicit OurCapturedPile(int side) : OurPile(side) { vesmo::cpu::Profiler::SetCapturing(true); }
    ~OurCapturedPile() { vesmo::cpu::Profiler::SetCapturing(false); }
};
struct OurCapturedRovers : OurRovers {
    OurCapturedRovers() { vesmo::cpu::Profiler::SetCapturing(true); }
    ~OurCapturedRovers() { vesmo::cpu::Profiler::SetCapturing(false); }
};

// One repetition: a fresh scene, then `ticks` timed ticks. Allocations are counted over the timed ticks.
template <class Scene, class... Args> void RunScene(benchmark::State& state, Args... args) {
    vesmo::cpu::Profiler::Reset();
    std::unique_ptr<Scene> scene;
    long long allocations = 0, ticks = 0;
    for (auto _ : state) {
        if (!scene) {
            state.PauseTiming();
            scene = std::make_unique<Scene>(args...);
            state.ResumeTiming();
        }
        AllocationCounter::Reset();
        scene->Tick();
        allocations += static_cast<long long>(AllocationCounter::Count());
        ++ticks;
    }
    state.counters["allocs/tick"] = static_cast<double>(allocations) / static_cast<double>(ticks);
    if (vesmo::cpu::Profiler::IsCapturing())
        state.counters["ConvexCollision share"] = NarrowPhaseShare();
    if constexpr (requires { scene->Resting(); })
        state.counters["resting"] = scene->Resting();
    if constexpr (requires { scene->Travelled(); })
        state.counters["metres"] = scene->Travelled();
}

void BM_Pile_Ours(benchmark::State& state) { RunScene<OurPile>(state, static_cast<int>(state.range(0))); }
void BM_Pile_Bullet(benchmark::State& state) { RunScene<BulletPile>(state, static_cast<int>(state.range(0))); }
void BM_Pile_OursCapturing(benchmark::State& state) {
    RunScene<OurCapturedPile>(state, static_cast<int>(state.range(0)));
}
void BM_Rovers_Ours(benchmark::State& state) { RunScene<OurRovers>(state); }
void BM_Rovers_Bullet(benchmark::State& state) { RunScene<BulletRovers>(state); }
void BM_Rovers_OursCapturing(benchmark::State& state) { RunScene<OurCapturedRovers>(state); }

// The argument is the side of the block: 10 gives 1,000 crates.
BENCHMARK(BM_Pile_Ours)->Arg(5)->Arg(10)->Iterations(kPileTicks)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pile_Bullet)->Arg(5)->Arg(10)->Iterations(kPileTicks)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pile_OursCapturing)->Arg(5)->Arg(10)->Iterations(kPileTicks)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rovers_Ours)->Iterations(kRoverTicks)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rovers_Bullet)->Iterations(kRoverTicks)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Rovers_OursCapturing)->Iterations(kRoverTicks)->Unit(benchmark::kMillisecond);

} // namespace
