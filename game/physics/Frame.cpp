// The physics of one frame over bodies that their owner has built: the pairs that can touch, the orbiting
// step, and the sub-stepped integration with collisions and the environment.

#include "game/physics/Frame.hpp"

#include "game/entity/ServerSideEntity.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace game::physics {

namespace {

template <class Dynamic> bool Ignores(const Dynamic& body, const game::entity::Id& other) {
    return !body.ignoredCollisions.empty() && body.ignoredCollisions.count(other) != 0;
}

// Group vectors keep their capacity from frame to frame on the physics thread: a yard of a thousand bodies
// would otherwise grow a megabyte vector from nothing, page by page, every tick.
template <class B> std::vector<std::vector<B>>& VectorPool() {
    thread_local std::vector<std::vector<B>> pool;
    return pool;
}

template <class B, class Groups> std::vector<B>& GroupOf(Groups& groups, const game::entity::Id& parentId) {
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

} // namespace

// Inner maps share the outer map's pool (the polymorphic allocator hands itself down). Blocks up to a
// megabyte are pooled, so that the bucket arrays of large maps come back too.
std::pmr::memory_resource* FrameNodes() {
    thread_local std::pmr::unsynchronized_pool_resource pool(std::pmr::pool_options{0, size_t{1} << 20});
    return &pool;
}

template <class EntityT>
Frame<EntityT>::Frame()
    : staticBodies(FrameNodes()), dynamicBodies(FrameNodes()), orbitingBodies(FrameNodes()), bodyIndex(FrameNodes()) {}

template <class EntityT> Frame<EntityT>::~Frame() {
    auto recycle = [](auto& byEnvironment) {
        for (auto& [environment, groups] : byEnvironment)
            for (auto& [parentId, bodies] : groups) {
                for (auto& body : bodies)
                    detail::ReturnColliderStorage(std::move(body.colliders));
                bodies.clear();
                VectorPool<typename std::decay_t<decltype(bodies)>::value_type>().push_back(std::move(bodies));
            }
    };
    recycle(staticBodies);
    recycle(dynamicBodies);
    recycle(orbitingBodies);
}

template <class EntityT>
typename Frame<EntityT>::Body& Frame<EntityT>::AddStatic(EnvironmentId environment, const Id& parentId, const Id& id,
                                                         typename EntityT::Ptr& entity) {
    std::vector<Body>& group = GroupOf<Body>(staticBodies[environment], parentId);
    group.emplace_back(entity);
    bodyIndex[environment][id] = {Static, group.size() - 1, parentId};
    return group.back();
}

template <class EntityT>
typename Frame<EntityT>::Dynamic& Frame<EntityT>::AddDynamic(EnvironmentId environment, const Id& parentId,
                                                             const Id& id, typename EntityT::Ptr& entity,
                                                             double deltaTime) {
    std::vector<Dynamic>& group = GroupOf<Dynamic>(dynamicBodies[environment], parentId);
    group.emplace_back(entity, deltaTime);
    bodyIndex[environment][id] = {DynamicBody, group.size() - 1, parentId};
    return group.back();
}

template <class EntityT>
typename Frame<EntityT>::Dynamic& Frame<EntityT>::AddOrbiting(EnvironmentId environment, const Id& parentId,
                                                              const Id& id, typename EntityT::Ptr& entity,
                                                              double deltaTime) {
    std::vector<Dynamic>& group = GroupOf<Dynamic>(orbitingBodies[environment], parentId);
    group.emplace_back(entity, deltaTime);
    bodyIndex[environment][id] = {Orbiting, group.size() - 1, parentId};
    return group.back();
}

template <class EntityT>
typename Frame<EntityT>::Body& Frame<EntityT>::Find(EnvironmentId environment, const IndexEntry& entry,
                                                    Dynamic** dynamic) {
    const auto& [type, index, key] = entry;
    *dynamic = nullptr;
    if (type == Static)
        return staticBodies.at(environment).at(key).at(index);
    Dynamic& body = (type == DynamicBody ? dynamicBodies : orbitingBodies).at(environment).at(key).at(index);
    *dynamic = &body;
    return body;
}

template <class EntityT>
void Frame<EntityT>::PairGroup(EnvironmentId environment, const Id& parentId, std::vector<Dynamic>& bodies,
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
                if (Ignores(a, parentId) || glm::distance(a.centerPosition, parent.centerOfMass + parent.boundsCenter) >
                                                a.sweptRadius + parent.boundingRadius)
                    a.parentBody = nullptr;
            }
        }
    }
}

template <class EntityT> void Frame<EntityT>::Broadphase() {
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

template <class EntityT> void Frame<EntityT>::StepOrbiting(double deltaTime) {
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

template <class EntityT>
void Frame<EntityT>::Integrate(double deltaTime, int substeps, EnvironmentFunctions& environments,
                               const RootParentTransform& rootParentTransform) {
    vesmo::cpu::Profiler scope("Integration and collisions (all rigidbodies)");
    const double substepTime = deltaTime / substeps;
    for (auto& [environment, groups] : dynamicBodies) {
        game::EnvironmentFunction& function = environments.at(environment);
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
                glm::dmat4 T;
                if (rootParentTransform(parentId, T))
                    for (Dynamic& body : bodies)
                        if (body.interactsWithEnvironment)
                            body.InteractWithEnvironmentFromParent(T, function, deltaTime);
            }
        }
    }
}

template <class EntityT>
void Frame<EntityT>::Step(double deltaTime, int substeps, EnvironmentFunctions& environments,
                          const RootParentTransform& rootParentTransform, bool debug) {
    if (debug)
        for (auto* byEnvironment : {&dynamicBodies, &orbitingBodies})
            for (auto& [environment, groups] : *byEnvironment)
                for (auto& [parentId, bodies] : groups)
                    for (Dynamic& body : bodies)
                        body.recordsDebug = true;
    Broadphase();
    StepOrbiting(deltaTime);
    Integrate(deltaTime, substeps, environments, rootParentTransform);
}

template <class EntityT> void Frame<EntityT>::CollectDebug(DebugSink& sink) const {
    auto& colliders = sink.colliders;
    auto& lines = sink.lines;
    colliders.clear();
    lines.clear();
    // Colliders go out in the entity frame again.
    auto publish = [&](const Body& body, const game::entity::ConvexMeshCollider& collider, bool dynamic) {
        game::entity::ConvexMeshCollider copy = collider;
        copy.transform[3] += glm::dvec4(body.centerOfMass, 0.0);
        colliders.push_back({body.id, std::move(copy), dynamic});
    };
    for (const auto& [environment, groups] : staticBodies)
        for (const auto& [parentId, bodies] : groups)
            for (const Body& body : bodies)
                for (const game::entity::ConvexMeshCollider& collider : body.colliders)
                    publish(body, collider, false);
    const Id none;
    for (const auto& [environment, groups] : dynamicBodies) {
        for (const auto& [parentId, bodies] : groups) {
            for (const Dynamic& body : bodies) {
                for (const game::entity::ConvexMeshCollider& collider : body.debugColliders)
                    publish(body, collider, true);
                for (const game::entity::ConvexMeshCollider& collider : body.colliders)
                    publish(body, collider, true);
                for (const DebugLine& line : body.debugLines)
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
    for (const auto& [environment, groups] : orbitingBodies)
        for (const auto& [parentId, bodies] : groups)
            for (const Dynamic& body : bodies)
                for (const game::entity::ConvexMeshCollider& collider : body.colliders)
                    publish(body, collider, true);
}

// The system steps the server's entities only.
template class Frame<game::entity::ServerSideEntity>;

} // namespace game::physics
