#pragma once
// The demo planet as an environment function: a sphere with rolling terrain, an ocean band and an
// atmosphere, sampled by the physics at points.
//
// Frame: the planet's centre is at (0, 0, -radius), so the sea-level surface touches the origin and a
// small scene around the origin sees "up" as +Z. Heights are measured from sea level (radius).
//
//   terrain    height(direction): landHeight plus smooth value noise sampled on the sea-level sphere (two
//              octaves, 60 m and 18 m across), minus a trough along X between oceanStart and oceanEnd that takes
//              the ground below sea level: the ocean band.
//   gravity    towards the centre, surfaceGravity at sea level, falling with the square of the distance.
//   altitude   height above the ground below the point (negative inside the ground).
//   contact    with EnvironmentContact: the ground point under the query point, the ground's normal there
//              (finite differences of the height, 0.5 m apart), and the depth below the ground measured
//              along that normal.
//   medium     below sea level and above the ground: sea water (1025 kg/m³, 0.00108 Pa·s) with hydrostatic
//              pressure. Above sea level: air whose density and pressure fall off with altitude, and whose
//              composition shifts with it, each gas with its own scale height (heavier gases thin out
//              faster), normalised to fractions.
//
// The function is a pure function of the point and the seed: the same seed gives the same planet in every
// process, which is what lets a saved world continue on the ground it was saved on.

#include "game/physics/Environment.hpp"

#include <glm/glm.hpp>

#include <cstdint>

namespace planet {

struct PlanetEnvironment {
    uint32_t seed = 1;
    double radius = 5000.0;
    double surfaceGravity = 9.81;
    double landHeight = 4.0;  // mean height of the land above sea level, m
    double hillHeight = 3.0;  // amplitude of the broad octave, m
    double bumpHeight = 1.2;  // amplitude of the fine octave, m
    double oceanStart = 60.0; // the ocean band along X, m
    double oceanEnd = 140.0;
    double oceanDepth = 12.0;  // how far the trough takes the ground down at its middle, m
    double airDensity = 1.225; // at sea level, kg/m³
    double airPressure = 101325.0;
    double airViscosity = 1.5e-5; // kinematic value, as the physics expects for air
    double waterDensity = 1025.0;
    double waterViscosity = 0.00108;

    glm::dvec3 Center() const { return {0.0, 0.0, -radius}; }
    // Height of the ground above sea level under the point (any point off the centre).
    double GroundHeight(const glm::dvec3& position) const;
    // The answer of the environment function; see above.
    game::physics::EnvironmentInfo Query(const glm::dvec3& position, game::EnvironmentInfoFlags flags) const;
    game::EnvironmentFunction Function() const;
};

} // namespace planet
