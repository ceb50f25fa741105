#pragma once
// The demo's entity types: their behaviour (ServerSideEntity::Interface) and how the module makes them.
//
//   crate   a 1 m box of pine (400 kg): it falls, tumbles, rests, and floats in the ocean band.
//   rover   a 3 m chassis on four wheels. The wheels are component entities (spheres with little friction,
//           hung under the chassis), made again by Init each time the rover is made or loaded: components
//           are never saved. The rover drives in a wide circle, pushing itself only while it is slower than
//           its cruise speed.
//   glider  a fuselage with a wing and a tail plane: thin plates that the physics turns into lift and drag.
//           A pitch damper holds the nose 5 degrees down. Launched from 40 m up at 15 m/s, it glides about
//           200 m, across the ocean band, lands and skids to a stop.
//   tank    a sealed 1.5 m³ tank of nitrogen at 8 bar (a PressurizedVolume). After 12 s of its life its valve opens
//           and the gas meets the air around it.
//   wheel   the rover's component; no behaviour of its own.
//
// Every type saves what it needs through Serialize: a version byte, then its fields.

#include "game/entity/ServerSideEntity.hpp"

#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>

#include <string>

namespace planet {

constexpr const char* kModuleName = "DEMO_planet";
constexpr game::entity::EnvironmentId kPlanetEnvironment = 1;

// Registers the five types with their configs under `moduleFolder` ("modules/Planet/").
void RegisterEntityTypes(const std::string& moduleFolder);
void UnregisterEntityTypes();

// A new, ready, saved-on-unload entity of `type` at `position` in the planet's environment. `orientation`
// turns the type as its config draws it (Z up, X forward) in the planet's frame.
game::entity::ServerSideEntity::Ptr Spawn(const std::string& type, const glm::dvec3& position,
                                          const glm::dquat& orientation = glm::dquat(1.0, 0.0, 0.0, 0.0),
                                          const glm::dvec3& velocity = glm::dvec3(0.0));

// One line per vehicle-like entity (rover, glider, tank) about what it did; for the end of a run.
std::string DescribeVehicles();

} // namespace planet
