#pragma once
// A point through an affine transform, as the physics places vertices, centres and contact points: the
// product with (v, 1), exactly as glm evaluates it, without the w row. Inline because the physics does it
// a few dozen times per body and sub-step.

#include <glm/glm.hpp>

namespace game::physics {

inline glm::dvec3 Transform(const glm::dmat4& m, const glm::dvec3& v) { return glm::dvec3(m * glm::dvec4(v, 1.0)); }
// Collider geometry is single precision; it is widened first.
inline glm::dvec3 Transform(const glm::dmat4& m, const glm::vec3& v) { return Transform(m, glm::dvec3(v)); }

} // namespace game::physics
