#pragma once
// A small, complete environment function: flat ground or a spherical planet, with gravity, an exponential
// atmosphere and an optional water layer. The physics tests and benchmarks use it; it is no part of the
// library.
//
// What it answers to a query at `position` (in the environment's frame):
//   gravity    towards the ground: constant over flat ground, falling off with the square of the distance
//              from a planet's centre (`gravity` is the value at the surface)
//   altitude   height above the ground (negative below it); the region radius is not subtracted
//   collision  only with EnvironmentContact: `normal` is the ground's up at the point even when the point is
//              above ground (callers step down along it), `depth` how far the point is below the ground
//              (0 above it), `point` the ground point straight above or below
//   medium     below the water level: water (1000 kg/m³, viscosity 0.001, hydrostatic pressure); above it:
//              air whose density and pressure fall off exponentially with `scaleHeight`
//   composition  only with EnvironmentComposition
//
// The air's viscosity is a kinematic value (1.5e-5): the physics damps bodies whose averaged samples lie
// between that and water's 0.001, that is bodies partly in water, and leaves pure air alone.

#include "game/physics/Environment.hpp"

#include <glm/glm.hpp>

#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_map>

namespace physics_test {

using game::EnvironmentComposition;
using game::EnvironmentContact;
using game::EnvironmentInfoFlags;
using game::physics::EnvironmentInfo;

struct SampleEnvironment {
    enum class Shape { Flat, Planet };

    Shape shape = Shape::Flat;
    glm::dvec3 up{0.0, 0.0, 1.0}; // flat ground: its normal (unit)
    double groundLevel = 0.0;     // flat ground: dot(up, p) of the ground plane
    glm::dvec3 center{0.0};       // planet: its centre
    double radius = 6.0e6;        // planet: its radius
    double gravity = 9.81;        // at the surface, m/s²

    double airDensity = 1.225; // at the ground, kg/m³; 0 gives a vacuum
    double airViscosity = 1.5e-5;
    double airPressure = 101325.0; // at the ground, Pa
    double scaleHeight = 8500.0;   // m
    std::unordered_map<std::string, double> airComposition{{"N2", 0.7808}, {"O2", 0.2095}, {"Ar", 0.0097}};

    bool hasWater = false;
    double waterLevel = 0.0; // altitude of the water's surface
    double waterDensity = 1000.0;
    double waterViscosity = 0.001;

    EnvironmentInfo Query(const glm::dvec3& position, EnvironmentInfoFlags flags, double regionRadius) const;
    // A function that answers with a copy of this environment as it is now.
    game::EnvironmentFunction Function() const;
};

inline EnvironmentInfo SampleEnvironment::Query(const glm::dvec3& position, EnvironmentInfoFlags flags, double) const {
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

inline game::EnvironmentFunction SampleEnvironment::Function() const {
    return [environment = *this](const glm::dvec3& position, EnvironmentInfoFlags flags, double regionRadius) {
        return environment.Query(position, flags, regionRadius);
    };
}

} // namespace physics_test
