#include "WorldReport.hpp"

#include "game/Game.hpp"
#include "game/visual/VesmoScreen.hpp"
#include "game/entity/ServerSideEntity.hpp"

#include <glm/glm.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <vector>

namespace server {

using game::entity::ServerSideEntity;

namespace {

struct Vehicle {
    std::string id;
    std::string type;
    glm::dvec3 position{0.0};
    glm::dquat orientation{1.0, 0.0, 0.0, 0.0};
    double speed = 0.0;
    double radius = 0.0;
    bool moving = false;
    game::entity::EnvironmentId environment = 0;
};

std::vector<Vehicle> Vehicles() {
    std::vector<Vehicle> vehicles;
    ServerSideEntity::ForEach([&vehicles](ServerSideEntity::Ptr e) {
        if (e->isComponent)
            return;
        vehicles.push_back({e->GetID().ToString(), e->type, e->position, e->orientation, glm::length(e->linearVelocity),
                            e->boundingRadius, e->isDynamic && e->settleTime < 1.0, e->environmentId});
    });
    std::sort(vehicles.begin(), vehicles.end(), [](const Vehicle& a, const Vehicle& b) { return a.id < b.id; });
    return vehicles;
}

// Height above the ground by the vehicle's environment function; NaN without one.
double HeightAboveGround(const Vehicle& v) {
    const auto found = Game::_environmentFunctions.find(v.environment);
    if (found == Game::_environmentFunctions.end())
        return std::nan("");
    return found->second(v.position, game::EnvironmentInfoFlags(0), 0.0).altitude;
}

uint32_t Rgb(double r, double g, double b) {
    auto byte = [](double c) { return static_cast<uint32_t>(std::clamp(c, 0.0, 1.0) * 255.0 + 0.5); };
    return 0xFF000000u | byte(r) | byte(g) << 8 | byte(b) << 16;
}

} // namespace

Census TakeCensus() {
    Census census;
    ServerSideEntity::ForEach([&census](ServerSideEntity::Ptr e) {
        if (e->isComponent)
            return;
        ++census.entities;
        if (e->isDynamic && e->settleTime < 1.0)
            ++census.moving;
        else
            ++census.resting;
    });
    return census;
}

std::string SummaryTable() {
    struct Row {
        size_t count = 0, moving = 0, resting = 0, heights = 0;
        double heightSum = 0.0, fastest = 0.0;
    };
    std::map<std::string, Row> rows;
    Row total;
    for (const Vehicle& v : Vehicles()) {
        for (Row* row : {&rows[v.type], &total}) {
            ++row->count;
            ++(v.moving ? row->moving : row->resting);
            const double height = HeightAboveGround(v);
            if (!std::isnan(height)) {
                row->heightSum += height;
                ++row->heights;
            }
            row->fastest = std::max(row->fastest, v.speed);
        }
    }
    std::string text;
    char line[160];
    auto add = [&](const std::string& name, const Row& row) {
        char height[32] = "-";
        if (row.heights)
            std::snprintf(height, sizeof height, "%.2f", row.heightSum / static_cast<double>(row.heights));
        std::snprintf(line, sizeof line, "| %-8s | %5zu | %6zu | %7zu | %12s | %13.2f |\n", name.c_str(), row.count,
                      row.moving, row.resting, height, row.fastest);
        text += line;
    };
    text += "| type     | count | moving | resting | height (m)   | fastest (m/s) |\n"
            "|----------|-------|--------|---------|--------------|---------------|\n";
    for (const auto& [type, row] : rows)
        add(type, row);
    add("all", total);
    return text;
}

bool DumpPoses(const std::string& path) {
    std::ofstream out(path, std::ios::trunc);
    if (!out)
        return false;
    char line[512];
    for (const Vehicle& v : Vehicles()) {
        std::snprintf(line, sizeof line, "%s %s %.17g %.17g %.17g %.17g %.17g %.17g %.17g\n", v.id.c_str(),
                      v.type.c_str(), v.position.x, v.position.y, v.position.z, v.orientation.w, v.orientation.x,
                      v.orientation.y, v.orientation.z);
        out << line;
    }
    return static_cast<bool>(out);
}

bool DrawWorldPicture(const std::string& path, const std::string& caption) {
    const std::vector<Vehicle> vehicles = Vehicles();
    if (vehicles.empty())
        return false;
    // The environment most vehicles are in is the ground the picture shows.
    std::map<game::entity::EnvironmentId, size_t> votes;
    for (const Vehicle& v : vehicles)
        ++votes[v.environment];
    const auto ground = Game::_environmentFunctions.find(
        std::max_element(votes.begin(), votes.end(), [](auto& a, auto& b) { return a.second < b.second; })->first);
    if (ground == Game::_environmentFunctions.end())
        return false;
    const game::EnvironmentFunction& environment = ground->second;

    // A square around every vehicle of that environment, with a margin.
    glm::dvec2 low(1e300), high(-1e300);
    double referenceZ = 0.0;
    for (const Vehicle& v : vehicles) {
        low = glm::min(low, glm::dvec2(v.position));
        high = glm::max(high, glm::dvec2(v.position));
        referenceZ = std::max(referenceZ, v.position.z);
    }
    const glm::dvec2 centre = (low + high) * 0.5;
    const double half = std::max(60.0, std::max(high.x - low.x, high.y - low.y) * 0.5 + 15.0);

    constexpr int kSize = 640, kMap = 600, kLeft = 20, kTop = 20;
    const double metresPerPixel = 2.0 * half / kMap;
    VesmoScreen screen(kSize, kSize + 40);
    screen.Blank(0xFF202020);

    // Ground heights on the pixel grid (one sample per pixel centre, plus a rim for the slopes).
    const double z = referenceZ + 50.0;
    std::vector<double> height((kMap + 2) * (kMap + 2));
    std::vector<double> waterDepth((kMap + 2) * (kMap + 2), 0.0);
    auto world = [&](int px, int py) {
        return glm::dvec2(centre.x - half + (px + 0.5) * metresPerPixel, centre.y + half - (py + 0.5) * metresPerPixel);
    };
    for (int py = -1; py <= kMap; ++py)
        for (int px = -1; px <= kMap; ++px) {
            const glm::dvec2 p = world(px, py);
            const size_t i = static_cast<size_t>((py + 1) * (kMap + 2) + px + 1);
            height[i] = z - environment({p.x, p.y, z}, game::EnvironmentInfoFlags(0), 0.0).altitude;
            if (px >= 0 && py >= 0 && px < kMap && py < kMap) {
                // Water: a dense medium just above the ground; its depth from how far up it reaches.
                const glm::dvec3 justAbove(p.x, p.y, height[i] + 0.05);
                if (environment(justAbove, game::EnvironmentInfoFlags(0), 0.0).density > 500.0) {
                    double depth = 0.25;
                    while (depth < 20.0 &&
                           environment({p.x, p.y, height[i] + depth}, game::EnvironmentInfoFlags(0), 0.0).density >
                               500.0)
                        depth += 0.5;
                    waterDepth[i] = depth;
                }
            }
        }
    // Land is tinted by its height among the land in view (low sand, grass, olive, high rock), shaded by
    // its slope (exaggerated four times: the hills are gentle) and ringed every metre of height.
    double minLand = 1e300, maxLand = -1e300;
    for (size_t i = 0; i < height.size(); ++i)
        if (waterDepth[i] == 0.0) {
            minLand = std::min(minLand, height[i]);
            maxLand = std::max(maxLand, height[i]);
        }
    const double span = std::max(maxLand - minLand, 1e-6);
    const glm::dvec3 ramp[] = {{0.84, 0.78, 0.56}, {0.42, 0.64, 0.33}, {0.50, 0.54, 0.32}, {0.64, 0.58, 0.52}};
    const double stops[] = {0.0, 0.2, 0.6, 1.0};
    const glm::dvec3 light = glm::normalize(glm::dvec3(-1.0, 1.0, 1.2));
    for (int py = 0; py < kMap; ++py)
        for (int px = 0; px < kMap; ++px) {
            const size_t i = static_cast<size_t>((py + 1) * (kMap + 2) + px + 1);
            const double dx = (height[i + 1] - height[i - 1]) / (2 * metresPerPixel);
            const double dy = (height[i - (kMap + 2)] - height[i + (kMap + 2)]) / (2 * metresPerPixel);
            const glm::dvec3 normal = glm::normalize(glm::dvec3(-4.0 * dx, -4.0 * dy, 1.0));
            const double shade = 0.45 + 0.75 * std::max(0.0, glm::dot(normal, light));
            glm::dvec3 color;
            if (waterDepth[i] > 0.0) {
                const double deep = std::min(waterDepth[i] / 12.0, 1.0);
                color = glm::mix(glm::dvec3(0.30, 0.62, 0.85), glm::dvec3(0.05, 0.18, 0.50), deep);
            } else {
                const double t = (height[i] - minLand) / span;
                int k = 0;
                while (k < 2 && t > stops[k + 1])
                    ++k;
                color = glm::mix(ramp[k], ramp[k + 1], (t - stops[k]) / (stops[k + 1] - stops[k])) * shade;
                if (std::floor(height[i]) != std::floor(height[i + 1]) ||
                    std::floor(height[i]) != std::floor(height[i + (kMap + 2)]))
                    color *= 0.8;
            }
            screen.pixels[static_cast<size_t>(kLeft + px + (kTop + py) * kSize)] = Rgb(color.r, color.g, color.b);
        }

    // Vehicles: resting ones first, so that moving marks stay on top. A type with many entities (the crates of
    // a yard) is drawn as squares; every other type as discs with its initial beside them.
    std::map<std::string, size_t> typeCounts;
    for (const Vehicle& v : vehicles)
        ++typeCounts[v.type];
    auto plentiful = [&typeCounts](const std::string& type) { return typeCounts[type] >= 5; };
    for (int pass = 0; pass < 2; ++pass)
        for (const Vehicle& v : vehicles) {
            if (v.moving != (pass == 1))
                continue;
            const int x = kLeft + static_cast<int>((v.position.x - (centre.x - half)) / metresPerPixel);
            const int y = kTop + static_cast<int>(((centre.y + half) - v.position.y) / metresPerPixel);
            const int r = std::max(3, static_cast<int>(v.radius / metresPerPixel));
            const uint32_t fill = v.moving ? 0xFF20A0FF : 0xFFD8D8D8, stroke = 0xFF202020;
            if (plentiful(v.type)) {
                screen.DrawRect(x - r, y - r, x + r, y + r, stroke, fill);
            } else {
                screen.DrawCircle(x, y, r + 1, stroke, fill);
                const char initial[2] = {static_cast<char>(std::toupper(static_cast<unsigned char>(v.type[0]))), 0};
                screen.Write(x + r + 3, y - 8, 0xFFFFFFFF, initial);
            }
        }

    // Scale bar of 20 m and the caption.
    const int bar = static_cast<int>(20.0 / metresPerPixel);
    screen.DrawRect(kLeft + 10, kTop + kMap - 16, kLeft + 10 + bar, kTop + kMap - 12, 0xFFFFFFFF, 0xFFFFFFFF);
    screen.Write(kLeft + 14 + bar, kTop + kMap - 22, 0xFFFFFFFF, "20 m");
    screen.Write(kLeft, kTop + kMap + 8, 0xFFFFFFFF, caption);
    screen.Write(kLeft, kTop + kMap + 26, 0xFF20A0FF, "moving");
    screen.Write(kLeft + 80, kTop + kMap + 26, 0xFFD8D8D8, "resting");
    std::string squares, discs;
    for (const auto& [type, count] : typeCounts) {
        if (plentiful(type))
            squares += (squares.empty() ? "squares: " : ", ") + type;
        else
            discs +=
                std::string("  ") + static_cast<char>(std::toupper(static_cast<unsigned char>(type[0]))) + " " + type;
    }
    screen.Write(kLeft + 180, kTop + kMap + 26, 0xFFFFFFFF, squares + discs);
    return screen.SavePng(path);
}

} // namespace server
