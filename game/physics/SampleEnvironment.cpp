#include "game/physics/SampleEnvironment.hpp"

#include <cmath>

namespace game::physics {

EnvironmentInfo SampleEnvironment::Query(const glm::dvec3& position, EnvironmentInfoFlags flags, double) const {
    EnvironmentInfo info;
    glm::dvec3 normal;
    double altitude;
    if (shape == Shape::Flat) {
        normal = up;
        altitude = glm::dot(up, position) - groundLevel;
        info.gravity = -up * gravity;
    } else {
        const glm::dvec3 offset = position - center;
        const double distance = glm::length(offset);
        normal = distance > 0 ? offset / distance : glm::dvec3(0.0, 0.0, 1.0);
        altitude = distance - radius;
        const double scale = distance > 0 ? (radius / distance) * (radius / distance) : 0.0;
        info.gravity = -normal * gravity * scale;
    }
    info.altitude = altitude;

    if (flags & EnvironmentContact) {
        info.collision.normal = normal;
        info.collision.depth = altitude < 0 ? -altitude : 0.0;
        info.collision.point = position - normal * altitude;
    }

    const bool inWater = hasWater && altitude < waterLevel;
    if (inWater) {
        info.density = waterDensity;
        info.viscosity = waterViscosity;
        const double surfacePressure = airPressure * std::exp(-waterLevel / scaleHeight);
        info.pressure = surfacePressure + waterDensity * gravity * (waterLevel - altitude);
    } else {
        const double falloff = std::exp(-std::max(altitude, 0.0) / scaleHeight);
        info.density = airDensity * falloff;
        info.viscosity = airDensity > 0 ? airViscosity : 0.0;
        info.pressure = airPressure * falloff;
    }
    if (flags & EnvironmentComposition) {
        if (inWater)
            info.composition = {{"H2O", 1.0}};
        else
            info.composition = airComposition;
    }
    return info;
}

game::EnvironmentFunction SampleEnvironment::Function() const {
    return [environment = *this](const glm::dvec3& position, EnvironmentInfoFlags flags, double regionRadius) {
        return environment.Query(position, flags, regionRadius);
    };
}

} // namespace game::physics
