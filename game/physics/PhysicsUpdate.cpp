// One physics frame over the server-side registry. Bodies are built from the entities, grouped by
// environment and then by parent (a group shares one frame of reference and only its members collide
// directly), stepped and written back. No physics scene outlives the call: the only lasting state is on
// the entities.

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/physics/PointTransform.hpp"
#include "game/physics/Rigidbody.hpp"
#include "vesmo/core/Timer.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <glm/gtc/matrix_transform.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory_resource>
#include <mutex>
#include <shared_mutex>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace game::entity {

namespace {

using game::physics::DynamicRigidbody;
using game::physics::Rigidbody;
using Body = Rigidbody<ServerSideEntity>;
using Dynamic = DynamicRigidbody<ServerSideEntity>;
using game::physics::Transform;

enum RigidbodyEnvType : int { Static = 0, DynamicBody = 1, Orbiting = 2 };

// The frame's maps take their nodes from a pool that the physics thread keeps: the nodes that one frame
// gives back serve the next, so a steady scene makes no heap allocation for them. Inner maps share the
// outer map's pool (the polymorphic allocator hands itself down). Blocks up to a megabyte are pooled, so
// that the bucket arrays of large maps come back too.
std::pmr::memory_resource* FrameNodes() {
    thread_local std::pmr::unsynchronized_pool_resource pool(std::pmr::pool_options{0, size_t{1} << 20});
    return &pool;
}

template <class B> using Groups = std::pmr::unordered_map<Id, std::vector<B>>;
template <class B> using ByEnvironment = std::pmr::unordered_map<EnvironmentId, Groups<B>>;
using BodyIndex = std::pmr::unordered_map<EnvironmentId,
                                          std::pmr::unordered_map<Id, std::tuple<RigidbodyEnvType, unsigned long, Id>>>;
using CompositeChildren =
    std::pmr::unordered_map<EnvironmentId, std::pmr::unordered_map<Id, std::vector<ServerSideEntity::Ptr>>>;

bool Ignores(const Dynamic& body, const Id& other) {
    return !body.ignoredCollisions.empty() && body.ignoredCollisions.count(other) != 0;
}

// Group vectors keep their capacity from frame to frame on the physics thread: a yard of a thousand bodies
// would otherwise grow a megabyte vector from nothing, page by page, every tick.
template <class B> std::vector<std::vector<B>>& VectorPool() {
    thread_local std::vector<std::vector<B>> pool;
    return pool;
}

template <class B> std::vector<B>& GroupOf(Groups<B>& groups, const Id& parentId) {
    auto [found, inserted] = groups.try_emplace(parentId);
    if (inserted && !VectorPool<B>().empty()) {
        found->second = std::move(VectorPool<B>().back());
        VectorPool<B>().pop_back();
    }
    return found->second;
}

// Broadphase scratch, kept by the physics thread from frame to frame like the group vectors.
struct PairScratch {
    struct Reach {
        double x, y, z, r; // centre and swept radius, packed for the sweep
    };
    std::vector<Reach> reach;
    std::vector<double> los;
    std::vector<uint32_t> order, active, pairSecond;
    std::vector<size_t> pairFirst, fill;
    std::vector<std::pair<uint32_t, uint32_t>> pairs;
};
PairScratch& ThreadPairScratch() {
    thread_local PairScratch scratch;
    return scratch;
}

struct Frame {
    Frame() = default;
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;
    // The bodies go with the frame; their collider tables' storage and the group vectors stay with the
    // thread for the next one.
    ~Frame() {
        auto recycle = [](auto& byEnvironment) {
            for (auto& [environment, groups] : byEnvironment)
                for (auto& [parentId, bodies] : groups) {
                    for (auto& body : bodies)
                        physics::detail::ReturnColliderStorage(std::move(body.colliders));
                    bodies.clear();
                    VectorPool<typename std::decay_t<decltype(bodies)>::value_type>().push_back(std::move(bodies));
                }
        };
        recycle(staticBodies);
        recycle(dynamicBodies);
        recycle(orbitingBodies);
    }

    ByEnvironment<Body> staticBodies = ByEnvironment<Body>(FrameNodes());
    ByEnvironment<Dynamic> dynamicBodies = ByEnvironment<Dynamic>(FrameNodes());
    ByEnvironment<Dynamic> orbitingBodies = ByEnvironment<Dynamic>(FrameNodes());
    CompositeChildren compositeChildren = CompositeChildren(FrameNodes());
    BodyIndex bodyIndex = BodyIndex(FrameNodes());

    // The body of an indexed entity, by its class; the range checks cannot fail by construction.
    Body& Find(EnvironmentId environment, const std::tuple<RigidbodyEnvType, unsigned long, Id>& entry,
               Dynamic** dynamic) {
        const auto& [type, index, key] = entry;
        *dynamic = nullptr;
        if (type == Static)
            return staticBodies.at(environment).at(key).at(index);
        Dynamic& body = (type == DynamicBody ? dynamicBodies : orbitingBodies).at(environment).at(key).at(index);
        *dynamic = &body;
        return body;
    }

    // The sphere test of every pair of a group that can touch (a pair is kept on the lower index) and the
    // parent lookup.
    void PairGroup(EnvironmentId environment, const Id& parentId, std::vector<Dynamic>& bodies,
                   std::vector<Body>* statics) {
        auto& [reach, los, order, active, pairSecond, pairFirst, fill, pairs] = ThreadPairScratch();
        const size_t n = bodies.size();
        reach.resize(n);
        order.resize(n);
        los.resize(n);
        for (size_t i = 0; i < n; ++i) {
            const glm::dvec3& c = bodies[i].centerPosition;
            reach[i] = {c.x, c.y, c.z, bodies[i].sweptRadius};
            order[i] = static_cast<uint32_t>(i);
            // A body with a NaN in its reach sorts last (a NaN key would break the sort); it meets nothing in
            // the sphere test either.
            const double lo = c.x - bodies[i].sweptRadius;
            los[i] = std::isnan(lo) ? std::numeric_limits<double>::infinity() : lo;
        }
        // Which pairs touch: a sweep along x over the bodies sorted by the low end of their reach. Two
        // spheres that overlap overlap on every axis too, so the sweep and the cheap y and z checks never
        // drop a pair that the sphere test keeps; the sphere test itself is the one of a plain loop over all
        // pairs. The pairs found are then ordered by the first body and, inside, by the second, so that
        // each body meets its candidates in exactly the order of that plain loop: the responses depend on it.
        std::sort(order.begin(), order.end(), [&los = los](uint32_t a, uint32_t b) { return los[a] < los[b]; });
        pairs.clear();
        active.clear();
        for (uint32_t k : order) {
            const PairScratch::Reach& b = reach[k];
            const double lo = los[k];
            size_t kept = 0;
            for (uint32_t other : active) {
                const PairScratch::Reach& a = reach[other];
                if (a.x + a.r < lo)
                    continue; // ends before this one starts, and before every later one
                active[kept++] = other;
                const double r = a.r + b.r;
                // |dy| never exceeds the distance (bar underflow, which only a radius under 1e-150 could
                // meet), so these two checks only spare square roots.
                if (r > 1e-150 && (std::abs(a.y - b.y) > r || std::abs(a.z - b.z) > r))
                    continue;
                const uint32_t first = std::min(other, k), second = std::max(other, k);
                Dynamic& low = bodies[first];
                Dynamic& high = bodies[second];
                if (low.sweptRadius + high.sweptRadius > glm::distance(low.centerPosition, high.centerPosition) &&
                    !Ignores(low, high.id) && !Ignores(high, low.id))
                    pairs.emplace_back(first, second);
            }
            active.resize(kept);
            active.push_back(k);
        }
        // Counting sort by the first body, then each (short) run by the second.
        pairFirst.assign(n + 1, 0);
        for (const auto& [first, second] : pairs)
            ++pairFirst[first + 1];
        for (size_t i = 0; i < n; ++i)
            pairFirst[i + 1] += pairFirst[i];
        pairSecond.resize(pairs.size());
        fill.assign(pairFirst.begin(), pairFirst.end() - 1);
        for (const auto& [first, second] : pairs)
            pairSecond[fill[first]++] = second;

        for (size_t i = 0; i < n; ++i) {
            Dynamic& a = bodies[i];
            uint32_t* const begin = pairSecond.data() + pairFirst[i];
            uint32_t* const end = pairSecond.data() + pairFirst[i + 1];
            std::sort(begin, end);
            for (const uint32_t* j = begin; j != end; ++j)
                a.dynamicCandidates.push_back(&bodies[*j]);
            if (statics) {
                // One-way: a static body does not say what it ignores.
                for (Body& s : *statics)
                    if (a.sweptRadius + s.boundingRadius > glm::distance(a.centerPosition, s.centerPosition) &&
                        !Ignores(a, s.id))
                        a.staticCandidates.push_back(&s);
            }
            if (parentId) {
                const auto& index = bodyIndex.at(environment);
                const auto found = index.find(parentId);
                if (found != index.end()) {
                    Dynamic* unused;
                    Body& parent = Find(environment, found->second, &unused);
                    a.parentBody = &parent;
                    // In the parent's entity frame, which is the group frame.
                    if (Ignores(a, parentId) ||
                        glm::distance(a.centerPosition, parent.centerOfMass + parent.boundsCenter) >
                            a.sweptRadius + parent.boundingRadius)
                        a.parentBody = nullptr;
                }
            }
        }
    }

    void Prepare(double deltaTime);
    void PrepareComposites();
    void ApplyGravity();
    void Broadphase();
    void StepOrbiting(double deltaTime);
    void Integrate(double deltaTime, int substeps);
    void Apply(double deltaTime);
    void PublishDebug();
};

void Frame::Prepare(double deltaTime) {
    vesmo::cpu::Profiler scope("Prepare rigidbodies");
    // The registry's shared lock is held by the caller for the whole update: the walk needs no lock of its own.
    for (auto& [key, entity] : ServerSideEntity::_sharedObjects) {
        if (!entity)
            continue;
        ServerSideEntity& e = *entity;
        if (e.physicsEnabled && e.mass > 0) {
            if (e.environmentId != 0) {
                const EnvironmentId environment = e.environmentId;
                if (!e.isComponent && e.isDynamic && e.settleTime < 1.0) {
                    std::vector<Dynamic>& group = GroupOf(dynamicBodies[environment], e.parentEntity);
                    group.emplace_back(entity, deltaTime);
                    bodyIndex[environment][e.id] = {DynamicBody, group.size() - 1, e.parentEntity};
                } else if (!e.isComponent) {
                    // A settled or immovable entity. settleTime is the sleep state: it never wakes by
                    // itself, only when a module sets it back or a checkpoint is loaded.
                    std::vector<Body>& group = GroupOf(staticBodies[environment], e.parentEntity);
                    group.emplace_back(entity);
                    bodyIndex[environment][e.id] = {Static, group.size() - 1, e.parentEntity};
                    e.settleTime = std::clamp(e.settleTime + deltaTime, 0.0, 1.0);
                } else if (ServerSideEntity::Ptr vehicle = e.GetFirstNonComponentParent()) {
                    // A component has no body of its own: its colliders join its vehicle's.
                    compositeChildren[environment][vehicle->GetID()].push_back(entity);
                }
            } else if (e.orbitEnvironmentId != 0 && e.isDynamic && e.settleTime < 1.0 && !e.isComponent) {
                const EnvironmentId environment = e.orbitEnvironmentId;
                std::vector<Dynamic>& group = GroupOf(orbitingBodies[environment], e.parentEntity);
                group.emplace_back(entity, deltaTime);
                bodyIndex[environment][e.id] = {Orbiting, group.size() - 1, e.parentEntity};
            }
        }
        e.nodesDirty = 0;
    }
}

void Frame::PrepareComposites() {
    vesmo::cpu::Profiler scope("Prepare composite entities");
    for (auto& [environment, groups] : compositeChildren) {
        const auto index = bodyIndex.find(environment);
        for (auto& [parentId, children] : groups) {
            if (!parentId || index == bodyIndex.end())
                continue;
            const auto found = index->second.find(parentId);
            if (found == index->second.end())
                continue;
            Dynamic* dynamic;
            Body& body = Find(environment, found->second, &dynamic);
            for (const ServerSideEntity::Ptr& child : children) {
                const glm::dmat4 T =
                    glm::translate(glm::dmat4(1.0), -body.centerOfMass) * child->GetTransformInPhysicsParent();
                // Enabled or not: a component's table goes in whole.
                for (const auto& entry : child->colliders) {
                    body.colliders.push_back(entry.second);
                    body.colliders.back().transform = T * entry.second.transform;
                }
                const glm::dvec3 a = Transform(T, child->boxMin);
                const glm::dvec3 b = Transform(T, child->boxMax);
                body.boundsMin = glm::min(body.boundsMin, glm::min(a, b));
                body.boundsMax = glm::max(body.boundsMax, glm::max(a, b));
            }
            // Mass, volume and the swept radius stay the root's: a composite weighs what its root
            // declares, and the collider loops give the narrower test.
            body.ComputeBounds();
            if (dynamic)
                dynamic->ComputeInertiaTensor();
        }
    }
}

void Frame::ApplyGravity() {
    vesmo::cpu::Profiler scope("Apply gravity to rigidbodies");
    auto group = [](EnvironmentId environment, const Id& parentId, auto& bodies, bool isStatic) {
        const ServerSideEntity::Ptr parent = parentId ? ServerSideEntity::Get(parentId) : ServerSideEntity::Ptr();
        game::EnvironmentFunction* function = nullptr;
        if (isStatic && !parent && environment != 0) {
            const auto found = Game::_environmentFunctions.find(environment);
            if (found != Game::_environmentFunctions.end() && found->second)
                function = &found->second;
        }
        for (auto& body : bodies) {
            const ServerSideEntity::Ptr e = body.entity.lock();
            if (!e)
                continue;
            if (parent) {
                // The parent's rotation term added straight to its felt acceleration: the apparent gravity
                // of everything carried in a moving vehicle.
                const glm::dvec3 r = e->position - parent->centerOfMass;
                body.parentAcceleration = glm::cross(parent->angularVelocity, r) + parent->smoothedAcceleration;
            }
            if (!isStatic)
                continue;
            // A resting entity reads its gravity through the same field as a moving one.
            const glm::dmat3 toEntity = glm::inverse(glm::dmat3(glm::mat3_cast(e->orientation)));
            if (parent) {
                e->smoothedAcceleration = toEntity * body.parentAcceleration;
            } else if (environment != 0) {
                const physics::EnvironmentInfo info =
                    function ? (*function)(e->position, static_cast<EnvironmentInfoFlags>(0), 0.0)
                             : physics::EnvironmentInfo{};
                e->smoothedAcceleration = toEntity * info.gravity;
            } else {
                e->smoothedAcceleration = glm::dvec3(0.0);
            }
        }
    };
    for (auto& [environment, groups] : staticBodies)
        for (auto& [parentId, bodies] : groups)
            group(environment, parentId, bodies, true);
    for (auto& [environment, groups] : dynamicBodies)
        for (auto& [parentId, bodies] : groups)
            group(environment, parentId, bodies, false);
    for (auto& [environment, groups] : orbitingBodies)
        for (auto& [parentId, bodies] : groups)
            group(environment, parentId, bodies, false);
}

void Frame::Broadphase() {
    vesmo::cpu::Profiler scope("Broadphase collision detection");
    // No spatial structure: groups are small, and a group is all pairs.
    for (auto& [environment, groups] : dynamicBodies) {
        const auto staticEnvironment = staticBodies.find(environment);
        for (auto& [parentId, bodies] : groups) {
            std::vector<Body>* statics = nullptr;
            if (staticEnvironment != staticBodies.end()) {
                const auto found = staticEnvironment->second.find(parentId);
                if (found != staticEnvironment->second.end())
                    statics = &found->second;
            }
            PairGroup(environment, parentId, bodies, statics);
        }
    }
}

void Frame::StepOrbiting(double deltaTime) {
    vesmo::cpu::Profiler scope("Collision detection orbiting");
    // Between environments: one step a frame, no environment function, and collision before integration.
    for (auto& [environment, groups] : orbitingBodies) {
        for (auto& [parentId, bodies] : groups) {
            PairGroup(environment, parentId, bodies, nullptr);
            for (Dynamic& body : bodies)
                body.CollisionDetection(deltaTime);
            for (Dynamic& body : bodies)
                body.IntegrateMotion(deltaTime);
        }
    }
}

void Frame::Integrate(double deltaTime, int substeps) {
    vesmo::cpu::Profiler scope("Integration and collisions (all rigidbodies)");
    const double substepTime = deltaTime / substeps;
    for (auto& [environment, groups] : dynamicBodies) {
        game::EnvironmentFunction& function = Game::_environmentFunctions.at(environment);
        for (auto& [parentId, bodies] : groups) {
            // The surfaces' rays are the dearest part: once a frame, applied in every sub-step.
            if (function)
                for (Dynamic& body : bodies)
                    if (body.interactsWithEnvironment)
                        body.ComputeAerodynamicSurfaces(function);
            // Integrate, collide, then meet the environment. A fresh body starts the frame with the
            // acceleration its entity accumulated, so the environment's gravity, which the environment
            // pass sets, acts from the second sub-step on: a free body needs two sub-steps or more.
            for (int step = 0; step < substeps; ++step) {
                for (Dynamic& body : bodies)
                    body.IntegrateMotion(substepTime);
                for (Dynamic& body : bodies)
                    body.CollisionDetection(substepTime);
                if (!parentId && function)
                    for (Dynamic& body : bodies)
                        if (body.interactsWithEnvironment)
                            body.InteractWithEnvironment(function, substepTime);
            }
            if (parentId && function) {
                const ServerSideEntity::Ptr parent = ServerSideEntity::Get(parentId);
                if (parent && !parent->HasParent()) {
                    const glm::dmat4 T = parent->GetTransform();
                    for (Dynamic& body : bodies)
                        if (body.interactsWithEnvironment)
                            body.InteractWithEnvironmentFromParent(T, function, deltaTime);
                }
            }
        }
    }
}

void Frame::Apply(double deltaTime) {
    vesmo::cpu::Profiler scope("Apply to entities");
    for (auto& [environment, groups] : dynamicBodies)
        for (auto& [parentId, bodies] : groups)
            for (Dynamic& body : bodies)
                body.ApplyToEntity(deltaTime);
    for (auto& [environment, groups] : orbitingBodies)
        for (auto& [parentId, bodies] : groups)
            for (Dynamic& body : bodies)
                body.ApplyToEntity(deltaTime);
}

void Frame::PublishDebug() {
    auto& colliders = Game::physicsDebugColliders_back;
    auto& lines = Game::physicsDebugLines_back;
    colliders.clear();
    lines.clear();
    // Colliders go out in the entity frame again.
    auto publish = [&](const Body& body, const ConvexMeshCollider& collider, bool dynamic) {
        ConvexMeshCollider copy = collider;
        copy.transform[3] += glm::dvec4(body.centerOfMass, 0.0);
        colliders.push_back({body.id, std::move(copy), dynamic});
    };
    for (auto& [environment, groups] : staticBodies)
        for (auto& [parentId, bodies] : groups)
            for (const Body& body : bodies)
                for (const ConvexMeshCollider& collider : body.colliders)
                    publish(body, collider, false);
    const Id none;
    for (auto& [environment, groups] : dynamicBodies) {
        for (auto& [parentId, bodies] : groups) {
            for (const Dynamic& body : bodies) {
                for (const ConvexMeshCollider& collider : body.debugColliders)
                    publish(body, collider, true);
                for (const ConvexMeshCollider& collider : body.colliders)
                    publish(body, collider, true);
                for (const Game::PhysicsLineDebug& line : body.debugLines)
                    lines.push_back(
                        {line.id, line.start + body.centerOfMass, line.end + body.centerOfMass, line.color});
                for (const Dynamic* other : body.dynamicCandidates)
                    lines.push_back({none, body.centerPosition, other->centerPosition, {0, 1, 0, 1}});
                for (const Body* other : body.staticCandidates)
                    lines.push_back({none, body.centerPosition, other->centerPosition, {1, 1, 0, 1}});
                if (body.parentBody)
                    lines.push_back({body.parentBody->id,
                                     body.centerPosition,
                                     body.parentBody->centerOfMass + body.parentBody->boundsCenter,
                                     {1, 0, 1, 1}});
            }
        }
    }
    for (auto& [environment, groups] : orbitingBodies)
        for (auto& [parentId, bodies] : groups)
            for (const Dynamic& body : bodies)
                for (const ConvexMeshCollider& collider : body.colliders)
                    publish(body, collider, true);

    std::lock_guard guard(Game::physicsDebugMutex);
    std::swap(Game::physicsDebugColliders_back, Game::physicsDebugColliders_staging);
    std::swap(Game::physicsDebugLines_back, Game::physicsDebugLines_staging);
    Game::physicsDebugCollidersUpdated.exchange(true);
}

} // namespace

void ServerSideEntity::PhysicsUpdate(double deltaTime, int substeps) {
    vesmo::cpu::Profiler scope("PhysicsUpdate");
    const vesmo::Timer timer;
    // Declared before the lock, so that on an exception the lock goes first, then the bodies.
    Frame frame;
    std::shared_lock lock(_sharedObjectsMutex);

    frame.Prepare(deltaTime);
    frame.PrepareComposites();
    frame.ApplyGravity();
    frame.Broadphase();
    frame.StepOrbiting(deltaTime);
    frame.Integrate(deltaTime, substeps);
    frame.Apply(deltaTime);
    if (Game::debugServerSidePhysics)
        frame.PublishDebug();

    Game::serverSidePhysicsAvgTime = 0.9 * Game::serverSidePhysicsAvgTime + 0.1 * timer.ElapsedMilliseconds() * 0.001;
}

} // namespace game::entity
