#include "game/physics/Environment.hpp"

namespace game::physics {

namespace {
double Sign(double x) { return static_cast<double>((0.0 < x) - (x < 0.0)); }
} // namespace

glm::dvec3 GetDragForce(double density, const glm::dvec3& size, const glm::dvec3& velocity, double dragCoefficient,
                        double viscosity) {
    const double q = density * -0.5 * dragCoefficient;
    const double m = viscosity * 18.84955592153876; // six pi: Stokes' law
    return {
        Sign(velocity.x) * size.y * size.x * q * velocity.x * velocity.x - m * velocity.x * size.x,
        Sign(velocity.y) * size.z * size.y * q * velocity.y * velocity.y - m * velocity.y * size.y,
        Sign(velocity.z) * size.x * size.z * q * velocity.z * velocity.z - m * velocity.z * size.z,
    };
}

} // namespace game::physics
