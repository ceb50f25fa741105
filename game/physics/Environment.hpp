#pragma once
// How a body meets its surroundings: one callback per environment (a planet, a station's inside), sampled
// at points. The terrain has no collider; gravity, the medium and the ground exist only behind this call.
//
// Modules register their functions in Game::_environmentFunctions by EnvironmentId. The physics calls them
// many times per sub-step on the server thread, so a function must be cheap and safe there.

#include "game/physics/Collision.hpp"

#include <glm/glm.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

namespace game {

// What a caller wants from one query. The physics passes only these combinations:
//   0                          a plain sample of the medium (density, viscosity) at a point
//   Surface | Deep        (5)  the first look at a body: gravity and altitude over its region
//   Surface | Contact | Deep (7)  a terrain contact at a point
//   Surface | Contact     (3)  a terrain contact where a shallow answer is enough (bit 0 of a collider's
//                              userFlags)
// What each bit costs is the function's business; the bits only say how much work is wanted. The sample
// environment of the tests (tests/game/physics/SampleEnvironment.hpp) fills gravity, altitude and the medium always,
// the contact only with Contact, and the composition only with Composition.
enum EnvironmentInfoFlags : uint32_t {
    EnvironmentSurface = 1u << 0,
    EnvironmentContact = 1u << 1,
    EnvironmentDeep = 1u << 2,
    EnvironmentComposition = 1u << 3, // never passed by the physics: for pressurized volumes and modules
};

namespace physics {

// One answer of an environment function. A default answer is all zero with an identity transform: no
// gravity, no medium, no ground.
struct EnvironmentInfo {
    glm::dmat4 transform{1.0}; // frame of the environment at the point
    glm::dvec3 gravity{0.0};   // acceleration of gravity, m/s²
    double altitude = 0.0;     // height above the surface, m
    Collision collision;       // depth > 0: the point is inside the terrain; normal points out of it
    glm::dvec3 reservedVector{0.0};
    double density = 0.0;   // of the medium, kg/m³
    double viscosity = 0.0; // dynamic viscosity of the medium, Pa·s
    double reservedValue = 0.0;
    double pressure = 0.0;                               // Pa
    std::unordered_map<std::string, double> composition; // molecule formula to fraction
};

// Drag on a box of `size` moving at `velocity` (in the box's axes) through a medium: a quadratic term per
// axis plus Stokes' linear term (six pi times viscosity). The cross-section of each axis is that size times
// the next one in cyclic order (x·y for x, y·z for y, z·x for z), and it stays so: modules tuned their
// coefficients against it. For modules; the physics step does not call it.
glm::dvec3 GetDragForce(double density, const glm::dvec3& size, const glm::dvec3& velocity, double dragCoefficient,
                        double viscosity);

} // namespace physics

using EnvironmentFunction =
    std::function<physics::EnvironmentInfo(const glm::dvec3& position, EnvironmentInfoFlags flags, double radius)>;

} // namespace game
