#pragma once
// What a body learns of its surroundings: the environment function of its EnvironmentId answers.
//
// This header grows with the environment and aerodynamics work, which fills EnvironmentInfo; the host
// only keeps the table of functions (Game::_environmentFunctions).

#include <glm/vec3.hpp>

#include <cstdint>
#include <functional>

namespace game {

// Bit set of what a caller wants from a sample; the callers pass 0, 3, 5 or 7.
using EnvironmentInfoFlags = uint32_t;

} // namespace game

namespace game::physics {

struct EnvironmentInfo {};

} // namespace game::physics

namespace game {

// `position` in the frame of the environment; `radius` is the size of the region of interest, 0 for a point.
using EnvironmentFunction = std::function<game::physics::EnvironmentInfo(const glm::dvec3& position,
                                                                         EnvironmentInfoFlags flags, double radius)>;

} // namespace game
