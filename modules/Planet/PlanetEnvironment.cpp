#include "PlanetEnvironment.hpp"

#include <algorithm>
#include <cmath>

namespace planet {

namespace {

// A lattice value in [-1, 1] from the integer corner and the seed (a 32-bit mix, no tables).
double Lattice(int64_t x, int64_t y, int64_t z, uint32_t seed) {
    uint64_t h = static_cast<uint64_t>(x) * 0x9E3779B97F4A7C15ull ^ static_cast<uint64_t>(y) * 0xC2B2AE3D27D4EB4Full ^
                 static_cast<uint64_t>(z) * 0x165667B19E3779F9ull ^ (static_cast<uint64_t>(seed) << 17);
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDull;
    h ^= h >> 33;
    h *= 0xC4CEB9FE1A85EC53ull;
    h ^= h >> 33;
    return static_cast<double>(h >> 11) / static_cast<double>(1ull << 52) - 1.0;
}

double Fade(double t) { return t * t * t * (t * (t * 6.0 - 15.0) + 10.0); }

// Smooth value noise in [-1, 1]: the corners of the cell blended with quintic fades, so the height has a
// continuous slope and the normal never jumps.
double ValueNoise(const glm::dvec3& p, uint32_t seed) {
    const glm::dvec3 base = glm::floor(p);
    const glm::dvec3 f = p - base;
    const int64_t x = static_cast<int64_t>(base.x), y = static_cast<int64_t>(base.y), z = static_cast<int64_t>(base.z);
    const double u = Fade(f.x), v = Fade(f.y), w = Fade(f.z);
    auto lerp = [](double a, double b, double t) { return a + (b - a) * t; };
    const double x00 = lerp(Lattice(x, y, z, seed), Lattice(x + 1, y, z, seed), u);
    const double x10 = lerp(Lattice(x, y + 1, z, seed), Lattice(x + 1, y + 1, z, seed), u);
    const double x01 = lerp(Lattice(x, y, z + 1, seed), Lattice(x + 1, y, z + 1, seed), u);
    const double x11 = lerp(Lattice(x, y + 1, z + 1, seed), Lattice(x + 1, y + 1, z + 1, seed), u);
    return lerp(lerp(x00, x10, v), lerp(x01, x11, v), w);
}

} // namespace

double PlanetEnvironment::GroundHeight(const glm::dvec3& position) const {
    const glm::dvec3 offset = position - Center();
    const double distance = glm::length(offset);
    const glm::dvec3 onSphere = distance > 0.0 ? offset * (radius / distance) - Center() : glm::dvec3(0.0);
    double height = landHeight + hillHeight * ValueNoise(onSphere / 60.0, seed) +
                    bumpHeight * ValueNoise(onSphere / 18.0, seed + 7);
    // The ocean band: a smooth trough across X, deepest in its middle.
    const double half = 0.5 * (oceanEnd - oceanStart);
    const double across = (onSphere.x - 0.5 * (oceanStart + oceanEnd)) / half;
    if (std::abs(across) < 1.0) {
        const double shape = 0.5 * (1.0 + std::cos(across * 3.14159265358979323846));
        height -= oceanDepth * shape;
    }
    return height;
}

game::physics::EnvironmentInfo PlanetEnvironment::Query(const glm::dvec3& position,
                                                        game::EnvironmentInfoFlags flags) const {
    game::physics::EnvironmentInfo info;
    const glm::dvec3 offset = position - Center();
    const double distance = glm::length(offset);
    const glm::dvec3 up = distance > 0.0 ? offset / distance : glm::dvec3(0.0, 0.0, 1.0);
    const double seaAltitude = distance - radius;
    const double ground = GroundHeight(position);
    const double altitude = seaAltitude - ground;

    const double scale = distance > 0.0 ? (radius / distance) * (radius / distance) : 0.0;
    info.gravity = -up * surfaceGravity * scale;
    info.altitude = altitude;

    if (flags & game::EnvironmentContact) {
        // Two tangent directions and the height 0.5 m along each give the slope of the ground.
        const glm::dvec3 side = std::abs(up.x) < 0.9 ? glm::dvec3(1, 0, 0) : glm::dvec3(0, 1, 0);
        const glm::dvec3 t1 = glm::normalize(glm::cross(up, side));
        const glm::dvec3 t2 = glm::cross(up, t1);
        constexpr double step = 0.5;
        const double h1 = GroundHeight(position + t1 * step) - GroundHeight(position - t1 * step);
        const double h2 = GroundHeight(position + t2 * step) - GroundHeight(position - t2 * step);
        const glm::dvec3 normal = glm::normalize(up - t1 * (h1 / (2 * step)) - t2 * (h2 / (2 * step)));
        info.collision.normal = normal;
        info.collision.depth = altitude < 0.0 ? -altitude * glm::dot(normal, up) : 0.0;
        info.collision.point = position - up * altitude;
    }

    if (seaAltitude < 0.0 && altitude >= 0.0) {
        info.density = waterDensity;
        info.viscosity = waterViscosity;
        info.pressure = airPressure + waterDensity * surfaceGravity * -seaAltitude;
        if (flags & game::EnvironmentComposition)
            info.composition = {{"H2O", 0.965}, {"NaCl", 0.035}};
        return info;
    }
    const double height = std::max(seaAltitude, 0.0);
    info.density = airDensity * std::exp(-height / 8500.0);
    info.pressure = airPressure * std::exp(-height / 8500.0);
    info.viscosity = airViscosity;
    if (flags & game::EnvironmentComposition) {
        // Each gas thins out with its own scale height; what is left is normalised to fractions.
        const double n2 = 0.7808 * std::exp(-height / 8800.0);
        const double o2 = 0.2095 * std::exp(-height / 7700.0);
        const double ar = 0.0097 * std::exp(-height / 6200.0);
        const double total = n2 + o2 + ar;
        info.composition = {{"N2", n2 / total}, {"O2", o2 / total}, {"Ar", ar / total}};
    }
    return info;
}

game::EnvironmentFunction PlanetEnvironment::Function() const {
    return [planet = *this](const glm::dvec3& position, game::EnvironmentInfoFlags flags, double) {
        return planet.Query(position, flags);
    };
}

} // namespace planet
