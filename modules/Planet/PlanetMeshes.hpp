#pragma once
// The triangles the client draws the demo world with: the ground and the sea of the planet, built from
// its environment function, and the unit shapes that entities are drawn from.
//
// Frame: the planet's (Z up near the origin, see PlanetEnvironment.hpp), in single precision. The ground
// is a fine grid of 2 m around the scene (±240 m) inside a coarse one of 50 m out to ±3 km; the coarse
// grid sits half a metre lower where the two overlap, so the fine one always wins the depth test. Both
// follow the sphere, so the horizon bends as it should. Colours: sand near the water line, grass on the
// land, rock on steep slopes, mud under the sea.

#include "PlanetEnvironment.hpp"

#include <glm/glm.hpp>

#include <cstdint>
#include <vector>

namespace planet {

struct Vertex {
    glm::vec3 position;
    glm::vec3 normal;
    uint32_t color; // RGBA, 8 bits each, red in the low byte
};
static_assert(sizeof(Vertex) == 28);

struct MeshData {
    std::vector<Vertex> vertices;
    std::vector<uint32_t> indices;
};

MeshData BuildGround(const PlanetEnvironment& planet);
// The sea-level surface over the same area as the ground.
MeshData BuildSea(const PlanetEnvironment& planet);
// A cube from -0.5 to 0.5 with flat faces; a sphere of radius 1.
MeshData BuildUnitBox();
MeshData BuildUnitSphere();

uint32_t PackColor(float r, float g, float b, float a = 1.0f);

} // namespace planet
