// The physics step against Bullet on the same scenes, in one binary.
//
// Crate yard: N boxes of 1 m dropped from staggered heights onto flat ground, ticks of 1/60 s with 4
// sub-steps, one thread. Measured twice: while the boxes fall (a fresh yard every 30 ticks, all of them
// still in the air) and once every box has settled (ours: static bodies; Bullet: sleeping islands).
// Bullet gets the same boxes (mass, size, friction 0.5) on a static plane and four fixed steps of 1/240 s
// per tick. Our yard runs twice: as a server runs it, and while the profiler captures. Narrow phase: ConvexCollision
// against Bullet's box-box detector on the same pairs.

#include "AllocationCounter.hpp"

#include "game/physics/Collision.hpp"
#include "game/physics/Rigidbody.hpp"
#include "game/physics/SampleEnvironment.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include "game/physics/PhysicsTestSupport.hpp"

#include <BulletCollision/CollisionDispatch/btBoxBoxDetector.h>
#include <benchmark/benchmark.h>
#include <btBulletDynamicsCommon.h>
#include <glm/gtc/matrix_transform.hpp>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace physics_test;

constexpr double kTick = 1.0 / 60.0;
constexpr int kSubsteps = 4;
constexpr double kMass = 100.0;
constexpr int kFallTicks = 30; // all boxes are still in the air for this long

glm::dvec3 CratePosition(int i, int n) {
    const int side = static_cast<int>(std::ceil(std::sqrt(static_cast<double>(n))));
    return {2.0 * (i % side), 2.0 * (i / side), 3.0 + 0.75 * (i % 8)};
}

// Ours: entities in the registry, as a module would make them (a collider from a config has weight 0).
struct OurYard {
    std::vector<ServerSideEntity::Ptr> crates;

    explicit OurYard(int n) {
        ClearWorld();
        Game::_environmentFunctions[kGround] = FlatGround().Function();
        crates.reserve(n);
        for (int i = 0; i < n; ++i) {
            ConvexMeshCollider c = CubeCollider(1.0f, 0.5);
            c.weight = 0.0;
            crates.push_back(MakeBody(CratePosition(i, n), kMass, {c}));
        }
    }
    ~OurYard() {
        crates.clear();
        ClearWorld();
    }
    void Tick() { ServerSideEntity::PhysicsUpdate(kTick, kSubsteps); }
    bool Settled() const {
        for (const auto& c : crates)
            if (c->settleTime < 1.0)
                return false;
        return true;
    }
};

// The same yard while the profiler captures: every one of the ~39 scopes per body and tick reads the clock
// twice.
struct OurCapturedYard : OurYard {
    explicit OurCapturedYard(int n) : OurYard(n) { vesmo::cpu::Profiler::SetCapturing(true); }
    ~OurCapturedYard() { vesmo::cpu::Profiler::SetCapturing(false); }
};

struct BulletYard {
    btDefaultCollisionConfiguration configuration;
    btCollisionDispatcher dispatcher{&configuration};
    btDbvtBroadphase broadphase;
    btSequentialImpulseConstraintSolver solver;
    btDiscreteDynamicsWorld world{&dispatcher, &broadphase, &solver, &configuration};
    btStaticPlaneShape planeShape{btVector3(0, 0, 1), 0};
    btBoxShape boxShape{btVector3(0.5, 0.5, 0.5)};
    std::unique_ptr<btRigidBody> ground;
    std::vector<std::unique_ptr<btDefaultMotionState>> motions;
    std::vector<std::unique_ptr<btRigidBody>> bodies;

    explicit BulletYard(int n) {
        world.setGravity(btVector3(0, 0, -9.81));
        ground = std::make_unique<btRigidBody>(0.0, nullptr, &planeShape);
        world.addRigidBody(ground.get());
        btVector3 inertia;
        boxShape.calculateLocalInertia(kMass, inertia);
        for (int i = 0; i < n; ++i) {
            const glm::dvec3 p = CratePosition(i, n);
            btTransform start;
            start.setIdentity();
            start.setOrigin(btVector3(p.x, p.y, p.z));
            motions.push_back(std::make_unique<btDefaultMotionState>(start));
            btRigidBody::btRigidBodyConstructionInfo info(kMass, motions.back().get(), &boxShape, inertia);
            info.m_friction = 0.5;
            bodies.push_back(std::make_unique<btRigidBody>(info));
            world.addRigidBody(bodies.back().get());
        }
    }
    ~BulletYard() {
        for (auto& body : bodies)
            world.removeRigidBody(body.get());
        world.removeRigidBody(ground.get());
    }
    void Tick() {
        for (int i = 0; i < kSubsteps; ++i)
            world.stepSimulation(kTick / kSubsteps, 0);
    }
    bool Settled() const {
        for (const auto& body : bodies)
            if (body->isActive())
                return false;
        return true;
    }
};

template <class Yard> void Falling(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::unique_ptr<Yard> yard;
    int ticks = 0;
    long long allocations = 0, counted = 0;
    for (auto _ : state) {
        if (ticks % kFallTicks == 0) {
            state.PauseTiming();
            yard.reset();
            yard = std::make_unique<Yard>(n);
            state.ResumeTiming();
        }
        AllocationCounter::Reset();
        yard->Tick();
        allocations += static_cast<long long>(AllocationCounter::Count());
        ++counted;
        ++ticks;
    }
    state.counters["allocs/tick/body"] = static_cast<double>(allocations) / static_cast<double>(counted) / n;
}

template <class Yard> void Settled(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    auto yard = std::make_unique<Yard>(n);
    int ticks = 0;
    while (!yard->Settled() && ticks < 3000) {
        yard->Tick();
        ++ticks;
    }
    if (!yard->Settled())
        state.SkipWithError("the yard did not settle");
    yard->Tick(); // the first frame after settling builds the static bodies
    state.counters["settle ticks"] = ticks;
    AllocationCounter::Reset();
    long long count = 0;
    for (auto _ : state) {
        yard->Tick();
        ++count;
    }
    state.counters["allocs/tick/body"] = AllocationCounter::Count() / static_cast<double>(count) / n;
}

void BM_CrateYardFalling_Ours(benchmark::State& state) { Falling<OurYard>(state); }
void BM_CrateYardFalling_Bullet(benchmark::State& state) { Falling<BulletYard>(state); }
void BM_CrateYardFalling_OursCapturing(benchmark::State& state) { Falling<OurCapturedYard>(state); }
void BM_CrateYardSettled_Ours(benchmark::State& state) { Settled<OurYard>(state); }
void BM_CrateYardSettled_Bullet(benchmark::State& state) { Settled<BulletYard>(state); }
void BM_CrateYardSettled_OursCapturing(benchmark::State& state) { Settled<OurCapturedYard>(state); }

BENCHMARK(BM_CrateYardFalling_Ours)->Arg(100)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CrateYardFalling_Bullet)->Arg(100)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CrateYardSettled_Ours)->Arg(100)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CrateYardSettled_Bullet)->Arg(100)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CrateYardFalling_OursCapturing)->Arg(100)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CrateYardSettled_OursCapturing)->Arg(100)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);

// The narrow-phase pairs: b is a unit box at the origin, a a unit box placed and turned as below.
struct Pair {
    const char* name;
    glm::dvec3 position;
    double angle; // about z, degrees
    glm::dvec3 axis;
};
const Pair kPairs[] = {
    {"separated", {1.6, 0.2, 0.1}, 0.0, {0, 0, 1}},
    {"touching", {1.0, 0.0, 0.0}, 0.0, {0, 0, 1}},
    {"overlapping", {0.8, 0.1, 0.05}, 0.0, {0, 0, 1}},
    {"rotated", {0.9, 0.3, 0.2}, 30.0, glm::normalize(glm::dvec3(1, 1, 1))},
};

glm::dmat4 PairTransform(const Pair& pair) {
    return glm::rotate(Translation(pair.position), glm::radians(pair.angle), pair.axis);
}

void BM_NarrowPhase_Ours(benchmark::State& state) {
    const Pair& pair = kPairs[state.range(0)];
    ConvexMeshCollider a = CubeCollider(1.0f), b = CubeCollider(1.0f);
    a.transform = PairTransform(pair);
    double depth = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        game::physics::Collision c = game::physics::ConvexCollision(a, b);
        // Whole records only: benchmark 1.7's DoNotOptimize on a lone double may hand it through a
        // general register under g++ and garble it.
        benchmark::DoNotOptimize(c);
        depth = c.depth;
    }
    state.SetLabel(std::string(pair.name) + ", depth " + std::to_string(depth));
}

struct DepthResult : btDiscreteCollisionDetectorInterface::Result {
    double depth = 0;
    void setShapeIdentifiersA(int, int) override {}
    void setShapeIdentifiersB(int, int) override {}
    void addContactPoint(const btVector3&, const btVector3&, btScalar d) override {
        depth = std::max(depth, -double(d));
    }
};

void BM_NarrowPhase_Bullet(benchmark::State& state) {
    const Pair& pair = kPairs[state.range(0)];
    btBoxShape box(btVector3(0.5, 0.5, 0.5));
    btDiscreteCollisionDetectorInterface::ClosestPointInput input;
    const glm::mat4 m(PairTransform(pair)); // Debian's Bullet is built in single precision
    input.m_transformA.setFromOpenGLMatrix(&m[0][0]);
    input.m_transformB.setIdentity();
    btBoxBoxDetector detector(&box, &box);
    double depth = 0;
    for (auto _ : state) {
        DepthResult result;
        detector.getClosestPoints(input, result, nullptr);
        benchmark::DoNotOptimize(result);
        depth = result.depth;
    }
    state.SetLabel(std::string(pair.name) + ", depth " + std::to_string(depth));
}

BENCHMARK(BM_NarrowPhase_Ours)->DenseRange(0, 3);
BENCHMARK(BM_NarrowPhase_Bullet)->DenseRange(0, 3);

} // namespace
