// A moving body against its environment: aerodynamic surfaces found by rays, forces on them, terrain that
// exists only behind the environment function, buoyancy and the damping of liquids.

#include "game/Assert.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/physics/PointTransform.hpp"
#include "game/physics/Rigidbody.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <algorithm>
#include <cmath>
#include <random>

namespace game::physics {

using game::entity::ConvexMeshCollider;

namespace {

constexpr double kEpsilon = 2.220446049250313e-16;
constexpr double kPi = 3.141592653589793;

// The flags of the queries the physics makes (see EnvironmentInfoFlags).
constexpr auto kMedium = static_cast<EnvironmentInfoFlags>(0);
constexpr auto kFirstLook = static_cast<EnvironmentInfoFlags>(5);
constexpr auto kTerrain = static_cast<EnvironmentInfoFlags>(7);
constexpr auto kShallowTerrain = static_cast<EnvironmentInfoFlags>(3);

glm::dvec3 BoxCenter(const ConvexMeshCollider& c) { return glm::dvec3((c.boxMin + c.boxMax) * 0.5f); }
glm::dvec3 Extent(const ConvexMeshCollider& c) { return glm::abs(glm::dvec3(c.boxMax) - glm::dvec3(c.boxMin)); }
double Sign(double x) { return static_cast<double>((0.0 < x) - (x < 0.0)); }
glm::dvec3 Axis(int i) {
    glm::dvec3 e(0.0);
    e[i] = 1.0;
    return e;
}
bool HasGeometry(const ConvexMeshCollider& c) { return c.vertexCount > 0 || !c.children->empty(); }
bool UsableChild(const ConvexMeshCollider& c) { return c.radius > 0.0001 && c.boxMax.x > c.boxMin.x && HasGeometry(c); }
bool ShallowQuery(const ConvexMeshCollider& c) { return (c.userFlags & 1) != 0; }

// One random point per collider and sub-step stands for the part of the box under the surface of a
// fluid: right on average, with some jitter. The engine has no bearing on replay.
float UniformDraw() {
    static std::mt19937_64 engine{std::random_device("default")()};
    static std::uniform_real_distribution<float> distribution(0.0f, 1.0f);
    return distribution(engine);
}

} // namespace

// Terrain contacts of one body, shared by the free body (each sub-step, in its own frame) and the body in
// a parent's frame (once a frame, through the parent's transform). `info` is the answer of the latest
// query throughout, as the callers read it.
template <class EntityT> struct TerrainContacts {
    DynamicRigidbody<EntityT>& body;
    game::EnvironmentFunction& environment;
    double deltaTime;
    EnvironmentInfo& info;
    const glm::dmat4* parentTransform; // null for a free body
    double* minFriction;               // null for a body in a parent's frame
    glm::dmat4 frame;                  // body frame to the environment's frame, as RefreshFrame gives it
    glm::dvec3 down{0.0};

    void RefreshFrame() { frame = parentTransform ? *parentTransform * body.GetTransform() : body.GetTransform(); }

    // The two queries at a collider's centre: the first finds which way is down, the second looks for
    // ground one radius below.
    void Collider(const ConvexMeshCollider& c) {
        const glm::dvec3 center = Transform(frame * c.transform, BoxCenter(c));
        info = environment(center, kTerrain, 0.5 * c.radius);
        down = info.collision.normal;
        info = environment(center - static_cast<double>(c.radius) * down, ShallowQuery(c) ? kShallowTerrain : kTerrain,
                           0.0);
        if (info.collision.depth > 0) {
            if (c.IsSphere())
                Contact(c, c.transform);
            else
                Traverse(c, c.transform);
        }
    }

    // Contact is decided vertex by vertex, so a box can touch at several corners in one sub-step.
    void Traverse(const ConvexMeshCollider& c, const glm::dmat4& local) {
        if (c.fill < 0.95 && !c.children->empty()) {
            for (const ConvexMeshCollider& child : *c.children) {
                if (!UsableChild(child))
                    continue;
                const glm::dmat4 childLocal = local * child.transform;
                const glm::dvec3 point =
                    Transform(frame * childLocal, BoxCenter(child)) - static_cast<double>(child.radius) * down;
                info = environment(point, kTerrain, 0.0);
                if (info.collision.depth > 0) {
                    if (child.IsSphere())
                        Contact(child, childLocal);
                    else
                        Traverse(child, childLocal);
                }
            }
            return;
        }
        glm::dmat4 m = frame * local;
        for (uint32_t i = 0; i < c.vertexCount; ++i) {
            info = environment(Transform(m, glm::dvec3(c.vertices[i])), kTerrain, 0.0);
            if (info.collision.depth > 0) {
                Contact(c, local);
                m = frame * local; // the contact moved the body
            }
        }
    }

    void Contact(const ConvexMeshCollider& c, const glm::dmat4& local) {
        Collision collision = info.collision;
        if (parentTransform) {
            // The environment answers in its own frame; the body lives in the parent's.
            const glm::dmat4 toParent = glm::inverse(*parentTransform);
            collision.point = Transform(toParent, collision.point);
            collision.normal = glm::normalize(glm::dmat3(toParent) * collision.normal);
        }
        body.AddDebugContactLine(collision);
        bool record = true;
        if (c.onCollision) {
            ConvexMeshCollider placed = c;
            placed.transform = frame * local;
            record = c.onCollision(&body, placed, nullptr, collision, deltaTime);
        }
        // In a parent's frame the contact never counts towards rest: that body's rest is its parent's.
        if (record && !parentTransform)
            body.AddStaticContactPoint(collision.normal, collision.point);
        if (collision.depth > 0)
            DynamicRigidbody<EntityT>::RespondToCollision(&body, collision, 0.1 * c.Friction(), 0.0);
        // Terrain caps the speed under which a body may rest at 0.1.
        if (minFriction && c.Friction() > 0)
            *minFriction = std::min(0.1, std::min(c.Friction(), *minFriction));
        RefreshFrame();
        body.touchedTerrain = true;
    }
};

template <class EntityT>
bool DynamicRigidbody<EntityT>::TraceRay(const glm::dvec3& origin, const glm::dvec3& direction, const Collider* self) {
    vesmo::cpu::Profiler scope("TraceRay");
    // Does the ray meet `c`, placed by `m` in the body frame? Hollow colliders answer by their children.
    auto blocks = [&](auto&& blocksRef, const Collider& c, const glm::dmat4& m) -> bool {
        const glm::dvec3 center = Transform(m, BoxCenter(c));
        if (glm::dot(center - origin + static_cast<double>(c.radius) * direction, direction) <= 0)
            return false;
        const glm::dmat4 inverse = glm::inverse(m);
        const glm::dvec3 localOrigin = Transform(inverse, origin);
        const glm::dvec3 localDirection = glm::normalize(glm::dmat3(inverse) * direction);
        if (!RayBoxIntersection(glm::dvec3(c.boxMin), glm::dvec3(c.boxMax), localOrigin, localDirection))
            return false;
        if (c.fill < 0.9 && !c.children->empty()) {
            for (const Collider& child : *c.children)
                if (&child != self && UsableChild(child) && blocksRef(blocksRef, child, m * child.transform))
                    return true;
            return false;
        }
        return true;
    };
    bool blocked = false;
    for (const Collider& c : this->colliders) {
        if (&c == self)
            continue;
        if (blocks(blocks, c, c.transform)) {
            blocked = true;
            break;
        }
    }
    if (recordsDebug)
        debugLines.push_back(
            {this->id, origin, origin + direction, blocked ? glm::vec4(0, 0, 0, 1) : glm::vec4(1, 0, 1, 1)});
    return blocked;
}

template <class EntityT>
void DynamicRigidbody<EntityT>::ComputeAerodynamicSurfaces(game::EnvironmentFunction& environment) {
    vesmo::cpu::Profiler scope("ComputeAerodynamicSurfaces");
    const glm::dmat4 T = this->GetTransform();
    environment(glm::dvec3(T[3]), kMedium, 0.0); // the answer is not used; the query is part of the frame
    if (glm::dot(linearVelocity, linearVelocity) < kEpsilon)
        return;
    const double minVolume = this->volume / 200.0;
    for (const Collider& c : this->colliders)
        AddSurfaces(c, c.transform, T, minVolume);
}

template <class EntityT>
void DynamicRigidbody<EntityT>::AddSurfaces(const Collider& c, const glm::dmat4& M, const glm::dmat4& T,
                                            double minVolume) {
    const glm::dvec3 extent = Extent(c);
    // Colliders under a two-hundredth of the body's volume, and those of zero weight, make no surface.
    if (!(extent.x * extent.y * extent.z * c.weight > minVolume * c.weight))
        return;
    if (c.fill < 0.9 && !c.children->empty()) {
        for (const Collider& child : *c.children)
            if (UsableChild(child))
                AddSurfaces(child, M * child.transform, T, minVolume);
        return;
    }

    const glm::dmat4 W = T * M;
    const glm::dvec3 vl = glm::normalize(glm::inverse(glm::dmat3(W)) * linearVelocity); // flight, collider frame

    int thin;
    if (extent.y > extent.x)
        thin = extent.x > extent.z ? 2 : 0;
    else
        thin = extent.y > extent.z ? 2 : 1;
    const glm::dvec3 u = Axis(thin);
    const int other1 = (thin + 1) % 3, other2 = (thin + 2) % 3;
    const double liftArea = extent[other1] * extent[other2];
    GAME_ASSERT(liftArea > 0);

    // The point of attack goes to the outer side of the collider, as seen from the centre of mass.
    const glm::dvec3 boxCenter = BoxCenter(c);
    const glm::dvec3 center = Transform(W, boxCenter);
    glm::dvec3 r = center - this->position;
    if (glm::length(r) > 0) {
        const glm::dvec3 p = center + glm::normalize(r) * static_cast<double>(c.radius) * c.fill;
        const glm::dvec3 local = glm::clamp(Transform(glm::inverse(W), p), glm::dvec3(c.boxMin), glm::dvec3(c.boxMax));
        r = Transform(W, local) - this->position;
    }

    // The share of a face that the rest of the body leaves open to the flow: one ray from its centre, or
    // five over a large face.
    auto exposure = [&](const glm::dvec3& face, const glm::dvec3& direction, int b, int cAxis, double area,
                        double threshold) {
        const glm::dvec3 origin = Transform(M, face);
        double clear = TraceRay(origin, direction, &c) ? 0.0 : 1.0;
        if (!(area > threshold))
            return clear;
        for (int i = 0; i < 4; ++i) {
            const double sb = (i & 1) ? 1.0 : -1.0, sc = (i & 2) ? 1.0 : -1.0;
            const glm::dvec3 point = face + sb * 0.333 * extent[b] * Axis(b) + sc * 0.333 * extent[cAxis] * Axis(cAxis);
            if (!TraceRay(Transform(M, point), direction, &c))
                clear += 1.0;
        }
        return clear / 5.0;
    };

    const glm::dmat3 toBody(M);
    bool made = false;
    if (liftArea > 4.0 * extent[thin] * extent[thin]) {
        // A plate: its flat side meets the flow and pushes along its normal.
        const double along = glm::dot(vl, u);
        const glm::dvec3 face = boxCenter + u * extent[thin] * 0.5 * Sign(along);
        glm::dvec3 rayLocal = vl;
        if (!(std::abs(along) < 0.0001))
            rayLocal = glm::normalize(2.0 * vl + glm::normalize(along * u));
        const glm::dvec3 ray = glm::normalize(toBody * rayLocal);
        const double open = exposure(face, ray, other1, other2, liftArea, 1.1);
        if (open > 0) {
            aerodynamicSurfaces.push_back(
                {r, glm::normalize(toBody * u), liftArea, open * std::sin(std::abs(along) * 0.5 * kPi), 0.01});
            made = true;
        }
    } else {
        // A blunt body: the face towards the flight takes drag only.
        int b = 0;
        if (std::abs(vl.y) > std::abs(vl.x))
            b = 1;
        if (std::abs(vl.z) > std::abs(vl[b]))
            b = 2;
        const int b1 = (b + 1) % 3, b2 = (b + 2) % 3;
        const double dragArea = extent[b1] * extent[b2] * c.fill;
        GAME_ASSERT(dragArea > 0);
        const glm::dvec3 face = boxCenter + Axis(b) * extent[b] * 0.5 * Sign(vl[b]);
        const glm::dvec3 ray = glm::normalize(toBody * vl);
        const double open = exposure(face, ray, b1, b2, dragArea, 2.1);
        if (open > 0) {
            aerodynamicSurfaces.push_back({r, ray, dragArea, 0.0, open * 0.4});
            made = true;
        }
    }
    if (made && recordsDebug) {
        Collider copy = c;
        copy.transform = M;
        debugColliders.push_back(std::move(copy));
    }
}

template <class EntityT>
void DynamicRigidbody<EntityT>::InteractWithEnvironment(game::EnvironmentFunction& environment, double deltaTime) {
    vesmo::cpu::Profiler scope("InteractWithEnvironment");
    double minFriction = 1.0;
    EnvironmentInfo info = environment(this->GetPositionAtCenterOfBounds(), kFirstLook, 0.5 * this->boundingRadius);
    environmentAcceleration = info.gravity;
    // Nothing else happens in empty space.
    if (info.gravity == glm::dvec3(0.0))
        return;
    const glm::dvec3 up = glm::normalize(-info.gravity);
    GAME_ASSERT(this->invMass > 0);
    double samples = 0.0, viscositySum = 0.0, densitySum = 0.0;

    {
        vesmo::cpu::Profiler aeroScope("Aerodynamic forces");
        // The rotation of the body frame, only when there is a surface to turn (most bodies have none).
        const glm::dmat3 rotation = aerodynamicSurfaces.empty() ? glm::dmat3(1.0) : glm::mat3_cast(this->orientation);
        // Velocities of the start of the pass: the surfaces do not see each other's impulses.
        const glm::dvec3 v0 = linearVelocity, w0 = angularVelocity;
        for (const AerodynamicSurface& surface : aerodynamicSurfaces) {
            const glm::dvec3 v = v0 + glm::cross(w0, surface.position);
            const double speed = glm::length(v);
            if (!(speed > kEpsilon))
                continue;
            const glm::dvec3 d = v / speed;
            glm::dvec3 n = glm::normalize(rotation * surface.normal);
            n *= Sign(glm::dot(n, d));
            const EnvironmentInfo medium = environment(this->position + surface.position, kMedium, 0.0);
            glm::dvec3 drag = (-d * surface.dragFactor * 0.5 - n * surface.liftFactor) * medium.density * speed *
                              speed * surface.area;
            if (glm::dot(drag, drag) > kEpsilon) {
                // No more than would stop the body in one step, whatever the step: speed times mass.
                const double limit = speed / invMass;
                const double magnitude = glm::length(drag);
                if (magnitude > limit)
                    drag *= limit / magnitude;
                GAME_ASSERT(!std::isnan(drag.x) && !std::isnan(drag.y) && !std::isnan(drag.z));
                ApplyImpulse(drag * deltaTime, surface.position);
                if (recordsDebug) {
                    const glm::dmat3 toBody = glm::transpose(rotation);
                    const glm::dvec3 start = toBody * surface.position;
                    debugLines.push_back({this->id, start, start + toBody * (drag * invMass), {0, 1, 1, 1}});
                }
            }
        }
    }

    {
        vesmo::cpu::Profiler terrainScope("Narrow-phase terrain collision detection");
        TerrainContacts<EntityT> terrain{*this,   environment,  deltaTime,           info,
                                         nullptr, &minFriction, this->GetTransform()};
        for (const Collider& c : this->colliders) {
            // Only near the ground; `info` is whatever the latest query left.
            if (info.altitude - 3.0 * this->boundingRadius < 0)
                terrain.Collider(c);

            // Buoyancy, from one random point of the box; the fill ratio plays no part.
            const glm::dvec3 extent = Extent(c);
            const double boxVolume = extent.x * extent.y * extent.z;
            if (boxVolume > 0 && info.density > 0) {
                const glm::dmat4 W = terrain.frame * c.transform;
                glm::dvec3 point;
                for (int axis = 2; axis >= 0; --axis) {
                    const double t = UniformDraw();
                    point[axis] = (1.0 - t) * c.boxMin[axis] + t * c.boxMax[axis];
                }
                info = environment(Transform(W, point), kMedium, 0.0);
                samples += 1.0;
                viscositySum += info.viscosity;
                densitySum += info.density;
                const glm::dvec3 force = -environmentAcceleration * boxVolume * info.density;
                ApplyImpulse(force * deltaTime, Transform(W, BoxCenter(c)) - this->position);
            }
        }
    }

    if (samples == 0) {
        const EnvironmentInfo medium = environment(this->GetPositionAtCenterOfBounds(), kMedium, 0.0);
        samples += 1.0;
        viscositySum += medium.viscosity;
        densitySum += medium.density;
    }

    // Liquids damp only a body partly in them (mixed samples): pure air and pure water are both outside the
    // band. Such a body counts as touching ground, so that it leaves a parent.
    if (viscositySum != 0) {
        const double avgViscosity = viscositySum / samples;
        const double avgDensity = densitySum / samples;
        if (avgViscosity > 1.51e-5 && avgViscosity < 0.000999) {
            const double t = (avgViscosity - 1.5e-5) / 0.000985;
            const double k = (3.0 - 2.0 * t) * t * t * deltaTime;
            const double k1 = std::clamp(k, 0.0, 1.0), k2 = std::clamp(k, 0.0, 0.5);
            const double vu = glm::dot(linearVelocity, up);
            linearVelocity = linearVelocity - up * vu * 0.99 * deltaTime - (linearVelocity - up * vu) * 0.5 * k1;
            const double wu = glm::dot(angularVelocity, up);
            angularVelocity = angularVelocity - up * wu * 0.5 * k2 - (angularVelocity - up * wu) * 0.9 * k1;
            this->touchedTerrain = true;
        } else if (glm::dot(linearVelocity, linearVelocity) > 100) {
            // Spin damping in fast flight.
            const double k = std::clamp(glm::length(linearVelocity) * deltaTime / 25.0, 0.0, 0.025);
            angularVelocity -= angularVelocity * std::min(avgDensity, 1.0) * k;
        }
    }

    CountRestIfSupported(minFriction);
}

template <class EntityT>
void DynamicRigidbody<EntityT>::InteractWithEnvironmentFromParent(const glm::dmat4& parentTransform,
                                                                  game::EnvironmentFunction& environment,
                                                                  double deltaTime) {
    vesmo::cpu::Profiler scope("InteractWithEnvironmentFromParent");
    EnvironmentInfo info = environment(Transform(parentTransform, this->GetPositionAtCenterOfBounds()), kFirstLook,
                                       0.5 * this->boundingRadius);
    if (!(info.altitude - this->boundingRadius < 0))
        return;
    vesmo::cpu::Profiler terrainScope("Narrow-phase terrain collision detection");
    TerrainContacts<EntityT> terrain{
        *this, environment, deltaTime, info, &parentTransform, nullptr, parentTransform * this->GetTransform()};
    for (const Collider& c : this->colliders)
        terrain.Collider(c);
}

template void DynamicRigidbody<game::entity::ServerSideEntity>::ComputeAerodynamicSurfaces(game::EnvironmentFunction&);
template void DynamicRigidbody<game::entity::ServerSideEntity>::InteractWithEnvironment(game::EnvironmentFunction&,
                                                                                        double);
template void
DynamicRigidbody<game::entity::ServerSideEntity>::InteractWithEnvironmentFromParent(const glm::dmat4&,
                                                                                    game::EnvironmentFunction&, double);

} // namespace game::physics
