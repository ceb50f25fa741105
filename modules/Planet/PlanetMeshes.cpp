#include "PlanetMeshes.hpp"

#include <algorithm>
#include <cmath>

namespace planet {

namespace {

constexpr double kFineHalf = 240.0, kFineStep = 2.0;
constexpr double kCoarseHalf = 3000.0, kCoarseStep = 50.0;

// The point of the sphere of radius (radius + height) above the plane point (x, y).
glm::dvec3 OnSphere(const PlanetEnvironment& planet, double x, double y, double height) {
    const glm::dvec3 direction = glm::normalize(glm::dvec3(x, y, 0.0) - planet.Center());
    return planet.Center() + direction * (planet.radius + height);
}

double GroundAt(const PlanetEnvironment& planet, double x, double y) {
    return planet.GroundHeight(OnSphere(planet, x, y, 0.0));
}

uint32_t GroundColor(double height, double slope) {
    glm::vec3 color;
    if (height < -0.3)
        color = {0.46f, 0.42f, 0.33f}; // mud under the sea
    else if (height < 1.2)
        color = {0.84f, 0.78f, 0.56f}; // sand
    else
        color = {0.33f, 0.58f, 0.27f}; // grass
    if (slope > 0.45 && height >= 1.2)
        color = glm::mix(color, glm::vec3(0.47f, 0.45f, 0.42f), static_cast<float>(std::min(1.0, (slope - 0.45) * 3)));
    return PackColor(color.r, color.g, color.b);
}

// A grid of (n + 1)² points from `-half` in steps of `step`; `keep(i, j)` says which cells get triangles.
template <class Keep>
void Grid(const PlanetEnvironment& planet, double half, double step, double lower, bool sea, MeshData& mesh,
          Keep keep) {
    const int n = static_cast<int>(std::lround(2.0 * half / step));
    const uint32_t first = static_cast<uint32_t>(mesh.vertices.size());
    std::vector<double> heights((n + 1) * (n + 1));
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i)
            heights[j * (n + 1) + i] = sea ? 0.0 : GroundAt(planet, -half + i * step, -half + j * step);
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i) {
            const double x = -half + i * step, y = -half + j * step;
            const double h = heights[j * (n + 1) + i];
            const glm::dvec3 p = OnSphere(planet, x, y, h - lower);
            // The normal from the neighbours' heights (the sphere's own bend is negligible here).
            const double hx0 = heights[j * (n + 1) + std::max(i - 1, 0)],
                         hx1 = heights[j * (n + 1) + std::min(i + 1, n)];
            const double hy0 = heights[std::max(j - 1, 0) * (n + 1) + i],
                         hy1 = heights[std::min(j + 1, n) * (n + 1) + i];
            const glm::dvec3 normal =
                glm::normalize(glm::dvec3(-(hx1 - hx0) / (2 * step), -(hy1 - hy0) / (2 * step), 1.0));
            const double slope = std::sqrt(1.0 - normal.z * normal.z);
            Vertex v;
            v.position = glm::vec3(p);
            v.normal = glm::vec3(normal);
            v.color = sea ? PackColor(0.16f, 0.42f, 0.68f, 0.82f) : GroundColor(h, slope);
            mesh.vertices.push_back(v);
        }
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            if (!keep(-half + i * step, -half + j * step, step))
                continue;
            const uint32_t a = first + j * (n + 1) + i, b = a + 1, c = a + (n + 1), d = c + 1;
            mesh.indices.insert(mesh.indices.end(), {a, b, d, a, d, c});
        }
}

bool InsideFine(double x, double y, double step) {
    return x >= -kFineHalf && x + step <= kFineHalf && y >= -kFineHalf && y + step <= kFineHalf;
}

} // namespace

uint32_t PackColor(float r, float g, float b, float a) {
    auto byte = [](float v) { return static_cast<uint32_t>(std::lround(std::clamp(v, 0.0f, 1.0f) * 255.0f)); };
    return byte(r) | byte(g) << 8 | byte(b) << 16 | byte(a) << 24;
}

MeshData BuildGround(const PlanetEnvironment& planet) {
    MeshData mesh;
    Grid(planet, kFineHalf, kFineStep, 0.0, false, mesh, [](double, double, double) { return true; });
    Grid(planet, kCoarseHalf, kCoarseStep, 0.5, false, mesh,
         [](double x, double y, double step) { return !InsideFine(x, y, step); });
    return mesh;
}

MeshData BuildSea(const PlanetEnvironment& planet) {
    MeshData mesh;
    Grid(planet, kCoarseHalf, 25.0, 0.0, true, mesh, [](double, double, double) { return true; });
    return mesh;
}

MeshData BuildUnitBox() {
    MeshData mesh;
    const uint32_t white = PackColor(1, 1, 1);
    for (int axis = 0; axis < 3; ++axis)
        for (int sign = -1; sign <= 1; sign += 2) {
            glm::vec3 normal(0.0f);
            normal[axis] = static_cast<float>(sign);
            const glm::vec3 u = axis == 0 ? glm::vec3(0, 1, 0) : glm::vec3(1, 0, 0);
            const glm::vec3 v = glm::cross(normal, u);
            const uint32_t first = static_cast<uint32_t>(mesh.vertices.size());
            for (int k = 0; k < 4; ++k) {
                const float su = (k == 1 || k == 2) ? 0.5f : -0.5f, sv = (k >= 2) ? 0.5f : -0.5f;
                mesh.vertices.push_back({0.5f * normal + su * u + sv * v, normal, white});
            }
            mesh.indices.insert(mesh.indices.end(), {first, first + 1, first + 2, first, first + 2, first + 3});
        }
    return mesh;
}

MeshData BuildUnitSphere() {
    MeshData mesh;
    const uint32_t white = PackColor(1, 1, 1);
    constexpr int rings = 10, segments = 16;
    for (int r = 0; r <= rings; ++r) {
        const float theta = static_cast<float>(M_PI) * r / rings;
        for (int s = 0; s <= segments; ++s) {
            const float phi = 2.0f * static_cast<float>(M_PI) * s / segments;
            const glm::vec3 p(std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta));
            mesh.vertices.push_back({p, p, white});
        }
    }
    for (int r = 0; r < rings; ++r)
        for (int s = 0; s < segments; ++s) {
            const uint32_t a = r * (segments + 1) + s, b = a + 1, c = a + segments + 1, d = c + 1;
            mesh.indices.insert(mesh.indices.end(), {a, c, d, a, d, b});
        }
    return mesh;
}

} // namespace planet
