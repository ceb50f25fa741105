// The demo world's SERVER_Mod module: a small planet (terrain, ocean band, atmosphere), five entity types
// and the voxel materials of its ground. A new world gets a starting scene; the module keeps its own state
// (the planet's seed and how long the world has run) in "planet.state" beside the world's entities.

#include "PlanetEnvironment.hpp"
#include "Vehicles.hpp"
#include "WorldView.hpp"

#include "game/Game.hpp"
#include "game/chemistry/VoxelType.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/modular/ServerHooks.hpp"
#include "vesmo/filesystem/AtomicFile.hpp"

#include <glm/gtc/quaternion.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#define PLANET_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

const char* const kModuleFolder = "modules/Planet/";
const char* const kStateFile = "planet.state";

planet::PlanetEnvironment g_planet;
double g_worldTime = 0.0; // simulated seconds this world has run, over all sessions

// The poses handed to the module's client part after each tick (same process only).
planet::WorldView g_view;
std::vector<planet::EntityPose> g_fresh;

planet::Kind KindOf(const std::string& type) {
    if (type == "crate")
        return planet::Kind::Crate;
    if (type == "rover")
        return planet::Kind::Rover;
    if (type == "wheel")
        return planet::Kind::Wheel;
    if (type == "glider")
        return planet::Kind::Glider;
    if (type == "tank")
        return planet::Kind::Tank;
    return planet::Kind::Other;
}

void PublishPoses() {
    g_fresh.clear();
    game::entity::ServerSideEntity::ForEach([](game::entity::ServerSideEntity::Ptr entity) {
        planet::EntityPose& pose = g_fresh.emplace_back();
        pose.id = entity->GetID();
        pose.parent = entity->parentEntity;
        pose.kind = KindOf(entity->type);
        pose.isDynamic = entity->isDynamic != 0;
        pose.position = entity->position;
        pose.orientation = entity->orientation;
        pose.velocity = entity->linearVelocity;
        pose.shapeCount = 0;
        for (const auto& [name, collider] : entity->colliders) {
            if (pose.shapeCount == planet::EntityPose::kMaxShapes)
                break;
            planet::Shape& shape = pose.shapes[pose.shapeCount++];
            shape.transform = glm::mat4(collider.transform);
            shape.boxMin = collider.boxMin;
            shape.boxMax = collider.boxMax;
            shape.radius = collider.IsSphere() ? collider.radius : 0.0f;
        }
    });
    g_view.Publish(g_fresh, g_planet.seed);
}

// The ground's materials. The data word is the material's colour (0xAABBGGRR, as a VesmoScreen pixel), for
// whoever draws the ground; the library stores it without reading it.
struct Material {
    const char* name;
    uint32_t color;
};
constexpr Material kMaterials[] = {
    {"rock", 0xFF6E7378}, {"sand", 0xFF8CC8DC}, {"grass", 0xFF4A9A5A}, {"snow", 0xFFF0F0F0}, {"water", 0xFFB46E28},
};

// No textures: the server has no renderer, and a type without textures may be declared before one exists.
void RegisterVoxelTypes() {
    for (const Material& material : kMaterials)
        game::VoxelType(planet::kModuleName, material.name, material.color, {});
}

double Ground(double x, double y) { return g_planet.GroundHeight({x, y, 0.0}); }

glm::dquat Yaw(double degrees) { return glm::angleAxis(glm::radians(degrees), glm::dvec3(0, 0, 1)); }

void BuildStartingScene() {
    using planet::Spawn;
    // A yard of crates dropped from 3 m, each turned a little.
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            const double x = -24.0 + 4.0 * i, y = -6.0 + 4.0 * j;
            const glm::dquat turn =
                Yaw(17.0 * (i * 4 + j)) * glm::angleAxis(glm::radians(8.0 * ((i + j) % 3)), glm::dvec3(1, 0, 0));
            Spawn("crate", {x, y, Ground(x, y) + 3.0}, turn);
        }
    // A stack of three.
    for (int k = 0; k < 3; ++k)
        Spawn("crate", {0.0, 18.0, Ground(0.0, 18.0) + 0.55 + 1.05 * k});
    // Crates thrown into the ocean band: wood floats.
    for (int k = 0; k < 5; ++k) {
        const double x = 88.0 + 6.0 * k, y = -12.0 + 5.0 * k;
        Spawn("crate", {x, y, std::max(Ground(x, y), 0.0) + 4.0}, Yaw(30.0 * k));
    }
    // The rovers turn left on circles of about 25 m, placed clear of the yard, the stack and the tank.
    Spawn("rover", {30.0, -45.0, Ground(30.0, -45.0) + 1.0}, Yaw(0.0));
    Spawn("rover", {-40.0, 45.0, Ground(-40.0, 45.0) + 1.0}, Yaw(180.0));
    const glm::dquat noseUp = glm::angleAxis(glm::radians(-4.0), glm::dvec3(0, 1, 0));
    Spawn("glider", {-70.0, 10.0, Ground(-70.0, 10.0) + 40.0}, noseUp, {15.0, 0.0, 0.0});
    Spawn("tank", {-5.0, -30.0, Ground(-5.0, -30.0) + 1.3});
}

} // namespace

PLANET_EXPORT void ModuleLoad() {
    planet::RegisterEntityTypes(kModuleFolder);
    Game::_environmentFunctions[planet::kPlanetEnvironment] = g_planet.Function();
    RegisterVoxelTypes();
}

PLANET_EXPORT void ModuleUnload() {
    planet::UnregisterEntityTypes();
    Game::_environmentFunctions.erase(planet::kPlanetEnvironment);
}

PLANET_EXPORT int ModuleSort() { return 0; }

PLANET_EXPORT void Server_Load(const char* worldFolder) {
    const std::string path = std::string(worldFolder) + kStateFile;
    std::ifstream state(path);
    if (state) {
        // Both keys, each a number, nothing else: anything less is a damaged file, and a world whose clock
        // would start again at 0 is not this world.
        unsigned seed = 0;
        double time = 0.0;
        bool haveSeed = false, haveTime = false;
        std::string key;
        while (state >> key) {
            if (key == "seed" && (state >> seed))
                haveSeed = true;
            else if (key == "time" && (state >> time) && std::isfinite(time) && time >= 0.0)
                haveTime = true;
            else
                break;
        }
        if (!haveSeed || !haveTime || !state.eof())
            throw std::runtime_error("Planet: cannot read its state file " + path + " (damaged)");
        g_planet.seed = seed;
        g_worldTime = time;
        Game::_environmentFunctions[planet::kPlanetEnvironment] = g_planet.Function();
        std::printf("Planet: world continues at %.2f s (seed %u)\n", g_worldTime, g_planet.seed);
    } else {
        g_worldTime = 0.0;
        Game::_environmentFunctions[planet::kPlanetEnvironment] = g_planet.Function();
        BuildStartingScene();
        std::printf("Planet: new world, starting scene built (seed %u)\n", g_planet.seed);
    }
    PublishPoses();
    std::fflush(stdout);
}

PLANET_EXPORT void Server_Serialize(const char* worldFolder) {
    char text[128];
    std::snprintf(text, sizeof text, "seed %u\ntime %.17g\n", g_planet.seed, g_worldTime);
    vesmo::filesystem::WriteFileAtomic(std::string(worldFolder) + kStateFile, std::string(text));
    std::printf("Planet: %.2f s simulated in this world\n%s", g_worldTime, planet::DescribeVehicles().c_str());
    std::fflush(stdout);
}

PLANET_EXPORT void Server_BeforeUpdate(double deltaTime) { g_worldTime += deltaTime; }

PLANET_EXPORT void Server_GameUpdate(double) { PublishPoses(); }

// The client part of the module, in the same process, finds the poses here.
PLANET_EXPORT void* ModuleGetCustomPtr() { return &g_view; }

// The module's hooks keep the signatures the server calls them with.
static_assert(std::is_same_v<decltype(&Server_Load), game::modular::ServerLoadHook>);
static_assert(std::is_same_v<decltype(&Server_Serialize), game::modular::ServerSerializeHook>);
static_assert(std::is_same_v<decltype(&ModuleSort), game::modular::ModuleSortHook>);
