// The demo planet's environment function as the physics sees it: a ground that answers consistently to
// the contact queries, gravity by the inverse square, an ocean only where the ground is below sea level, and
// an air that thins with height and shifts its mix towards the lighter gases.

#include "PlanetEnvironment.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using planet::PlanetEnvironment;
constexpr auto kContact = static_cast<game::EnvironmentInfoFlags>(7);

// The point `height` metres above sea level on the planet's radius through (x, y, 0).
glm::dvec3 Above(const PlanetEnvironment& planet, double x, double y, double height) {
    const glm::dvec3 up = glm::normalize(glm::dvec3(x, y, 0.0) - planet.Center());
    return planet.Center() + up * (planet.radius + height);
}

TEST(PlanetEnvironment, GroundContactsAgreeWithTheHeightField) {
    const PlanetEnvironment planet;
    for (double x : {-40.0, -5.0, 20.0, 37.5}) {
        for (double y : {-30.0, 0.0, 12.0}) {
            const double ground = planet.GroundHeight({x, y, 0.0});
            // Half a metre above and below the ground straight up from the point.
            const auto above = planet.Query(Above(planet, x, y, ground + 0.5), kContact);
            const auto below = planet.Query(Above(planet, x, y, ground - 0.5), kContact);
            EXPECT_NEAR(above.altitude, 0.5, 0.01);
            EXPECT_EQ(above.collision.depth, 0.0);
            EXPECT_GT(below.collision.depth, 0.0);
            EXPECT_LE(below.collision.depth, 0.5 + 1e-9);
            // The normal points away from the ground, and the physics uses it as its "down" the other way.
            EXPECT_NEAR(glm::length(below.collision.normal), 1.0, 1e-12);
            EXPECT_GT(below.collision.normal.z, 0.9);
            EXPECT_NEAR(glm::length(below.collision.point - Above(planet, x, y, ground)), 0.0, 1e-6);
        }
    }
    // The same seed is the same planet; another seed another one.
    PlanetEnvironment other;
    other.seed = 2;
    EXPECT_EQ(PlanetEnvironment().GroundHeight({13.0, 7.0, 0.0}), planet.GroundHeight({13.0, 7.0, 0.0}));
    EXPECT_NE(other.GroundHeight({13.0, 7.0, 0.0}), planet.GroundHeight({13.0, 7.0, 0.0}));
}

TEST(PlanetEnvironment, GravityPointsToTheCentreAndFallsWithTheSquareOfTheDistance) {
    const PlanetEnvironment planet;
    const auto surface = planet.Query({0.0, 0.0, 0.0}, game::EnvironmentInfoFlags(0));
    EXPECT_NEAR(surface.gravity.z, -planet.surfaceGravity, 1e-9);
    const auto high = planet.Query({0.0, 0.0, planet.radius}, game::EnvironmentInfoFlags(0));
    EXPECT_NEAR(glm::length(high.gravity), planet.surfaceGravity / 4.0, 1e-9);
    const auto side = planet.Query({planet.radius, 0.0, -planet.radius}, game::EnvironmentInfoFlags(0));
    EXPECT_NEAR(side.gravity.x, -planet.surfaceGravity, 1e-9);
}

TEST(PlanetEnvironment, TheOceanBandHoldsWaterAndTheAirThinsWithHeight) {
    const PlanetEnvironment planet;
    const double middle = 0.5 * (planet.oceanStart + planet.oceanEnd);
    ASSERT_LT(planet.GroundHeight({middle, 0.0, 0.0}), -2.0);
    const auto sea = planet.Query(Above(planet, middle, 0.0, -1.5), game::EnvironmentComposition);
    EXPECT_EQ(sea.density, planet.waterDensity);
    EXPECT_EQ(sea.viscosity, planet.waterViscosity);
    EXPECT_GT(sea.pressure, planet.airPressure);
    EXPECT_GT(sea.composition.at("H2O"), 0.9);
    // Just above the water: air.
    const auto air = planet.Query(Above(planet, middle, 0.0, 0.5), game::EnvironmentComposition);
    EXPECT_NEAR(air.density, planet.airDensity, 0.01);

    // Air at 5 km against air at the shore: thinner, lower, and lighter on average.
    const auto thin = planet.Query({-20.0, 0.0, 5000.0}, game::EnvironmentComposition);
    EXPECT_LT(thin.density, 0.6 * air.density);
    EXPECT_LT(thin.pressure, 0.6 * air.pressure);
    double sum = 0.0;
    for (const auto& [gas, fraction] : thin.composition)
        sum += fraction;
    EXPECT_NEAR(sum, 1.0, 1e-12);
    EXPECT_GT(thin.composition.at("N2"), air.composition.at("N2"));
    EXPECT_LT(thin.composition.at("Ar"), air.composition.at("Ar"));
}

} // namespace
