#include "Vehicles.hpp"

#include "game/Game.hpp"
#include "game/entity/EntityConfig.hpp"
#include "game/entity/PressurizedVolume.hpp"
#include "vesmo/core/String.hpp"

#include <cmath>
#include <cstdio>
#include <mutex>
#include <vector>

namespace planet {

using game::entity::ServerSideEntity;
using vesmo::filesystem::ReadOnlyStream;
using vesmo::filesystem::WriteOnlyStream;

namespace {

constexpr uint8_t kVersion = 1;

// Reads the version byte of a saved interface; false for an empty stream (a new entity) or a foreign one.
bool OpenSaved(ReadOnlyStream& in) { return !in.AtEnd() && in.ReadValue<uint8_t>() == kVersion; }

const glm::dvec3 kUp(0.0, 0.0, 1.0);

// The body frame of an entity is the config's with Y up: a config point (x, y, z) is (x, z, -y) in it. The
// planet's frame has Z up, so every entity carries a quarter turn about X under its own rotation, and then
// config coordinates read as world coordinates.
const glm::dquat kConfigUpright = glm::angleAxis(glm::radians(90.0), glm::dvec3(1.0, 0.0, 0.0));
glm::dvec3 ConfigToBody(const glm::dvec3& v) { return {v.x, v.z, -v.y}; }

// Every demo type is a rigid body that meets the air. Neither switch survives in the state file (the physics
// flag is not saved, and the config leaves every collider's share of the environment at 0), so Init, which
// runs for a made and a loaded entity alike, sets both.
class Body : public ServerSideEntity::Interface {
public:
    void Init() override {
        ServerSideEntity::Ptr entity = interfaceEntity.lock();
        if (!entity)
            return;
        entity->physicsEnabled = 1;
        for (auto& [name, collider] : entity->colliders)
            collider.weight = 1.0;
    }
};

class Crate : public Body {
public:
    void Serialize(WriteOnlyStream& out) override { out.WriteValue(kVersion); }
    void Deserialize(ReadOnlyStream& in) override { OpenSaved(in); }
};

class Wheel : public ServerSideEntity::Interface {};

class Rover : public Body {
public:
    static constexpr double kCruiseSpeed = 3.0;  // m/s
    static constexpr double kDriveForce = 900.0; // N
    static constexpr double kTurnRate = 0.12;    // rad/s: a circle of 25 m radius at cruise speed
    static constexpr double kWheelRadius = 0.45;

    void Serialize(WriteOnlyStream& out) override {
        out.WriteValue(kVersion);
        out.WriteValue(odometer);
        out.WriteValue(driveTime);
    }
    void Deserialize(ReadOnlyStream& in) override {
        if (!OpenSaved(in))
            return;
        odometer = in.ReadValue<double>();
        driveTime = in.ReadValue<double>();
    }
    // Made or loaded: hang the four wheels under the chassis again (they are components, never saved).
    void Init() override {
        Body::Init();
        ServerSideEntity::Ptr rover = interfaceEntity.lock();
        if (!rover)
            return;
        for (const glm::dvec3 corner : {glm::dvec3(1.1, 1.0, -0.35), glm::dvec3(1.1, -1.0, -0.35),
                                        glm::dvec3(-1.1, 1.0, -0.35), glm::dvec3(-1.1, -1.0, -0.35)}) {
            // A component's position is in its vehicle's body frame.
            ServerSideEntity::Ptr wheel = ServerSideEntity::Create<ServerSideEntity>(
                vesmo::modular::ModuleID(kModuleName), game::entity::Type("wheel"), game::entity::Id{});
            wheel->isComponent = 1;
            wheel->isDynamic = 0;
            wheel->physicsEnabled = 1;
            wheel->parentEntity = rover->GetID();
            wheel->position = ConfigToBody(corner);
            for (auto& [name, collider] : wheel->colliders) {
                collider.radius = static_cast<float>(kWheelRadius);
                collider.userFlags |= 0x100; // a sphere: it rolls over the bumps instead of catching on them
                collider.SetFriction(0.05);
            }
            wheel->UpdateBoundingBox(true);
            wheel->RefreshCache();
        }
    }
    void Update(double deltaTime) override {
        ServerSideEntity::Ptr rover = interfaceEntity.lock();
        if (!rover)
            return;
        const glm::dvec3 forward = rover->orientation * glm::dvec3(1.0, 0.0, 0.0);
        const glm::dvec3 up = rover->orientation * ConfigToBody(kUp);
        if (up.z < 0.5)
            return; // on its side or its back: the wheels have no grip
        const double speed = glm::dot(rover->linearVelocity, forward);
        rover->settleTime = 0.0; // a driving rover never sleeps
        if (speed < kCruiseSpeed)
            rover->pendingImpulses.linear += forward * kDriveForce * deltaTime;
        // Steer: the yaw rate half way to the turn rate each tick. The wheels would fight a torque (they are
        // spheres with friction, not rolling wheels), so the rover sets its spin as a driver would.
        const double yawRate = glm::dot(rover->angularVelocity, up);
        rover->angularVelocity += up * (kTurnRate - yawRate) * 0.5;
        odometer += std::abs(speed) * deltaTime;
        driveTime += deltaTime;
    }

    double odometer = 0.0;
    double driveTime = 0.0;
};

class Glider : public Body {
public:
    void Serialize(WriteOnlyStream& out) override {
        out.WriteValue(kVersion);
        out.WriteValue(airTime);
        out.WriteValue(peakSpeed);
        out.WriteValue(landed);
    }
    void Deserialize(ReadOnlyStream& in) override {
        if (!OpenSaved(in))
            return;
        airTime = in.ReadValue<double>();
        peakSpeed = in.ReadValue<double>();
        landed = in.ReadValue<uint8_t>();
    }
    static constexpr double kTrimPitch = -5.0;  // degrees: the nose a little down, a shallow glide
    static constexpr double kSkidBraking = 0.8; // per second, of the speed on the ground

    // A pitch damper, as a light aircraft's trim would do: while flying, the pitch rate is pulled towards one
    // that brings the nose to the trim angle. Roll and yaw are left to the airframe.
    void Update(double deltaTime) override {
        ServerSideEntity::Ptr glider = interfaceEntity.lock();
        if (!glider)
            return;
        if (landed) {
            // On the ground a skid under the fuselage brakes it: the terrain alone lets a belly slide far.
            glider->linearVelocity *= std::max(0.0, 1.0 - kSkidBraking * deltaTime);
            return;
        }
        const glm::dvec3 forward = glider->orientation * glm::dvec3(1.0, 0.0, 0.0);
        const glm::dvec3 leftWing = glider->orientation * ConfigToBody(glm::dvec3(0.0, 1.0, 0.0));
        const double pitch = glm::degrees(std::asin(std::clamp(forward.z, -1.0, 1.0)));
        // A turn about the left wing's axis lowers the nose, hence the minus.
        const double wanted = -glm::radians(kTrimPitch - pitch) * 1.5;
        const double now = glm::dot(glider->angularVelocity, leftWing);
        glider->angularVelocity += leftWing * (wanted - now) * 0.3;
    }
    void AfterUpdate(double deltaTime) override {
        ServerSideEntity::Ptr glider = interfaceEntity.lock();
        if (!glider || landed)
            return;
        const auto& environment = Game::_environmentFunctions.at(kPlanetEnvironment);
        const double altitude = environment(glider->position, game::EnvironmentInfoFlags(0), 0.0).altitude;
        peakSpeed = std::max(peakSpeed, glm::length(glider->linearVelocity));
        if (altitude > 1.0)
            airTime += deltaTime;
        else if (airTime > 0.5)
            landed = 1;
    }

    double airTime = 0.0;
    double peakSpeed = 0.0;
    uint8_t landed = 0;
};

class Tank : public Body {
public:
    static constexpr double kVolume = 1.5;      // m³
    static constexpr double kValveTime = 12.0;  // s of the tank's life before its valve opens
    static constexpr double kValveArea = 0.002; // m²

    void Serialize(WriteOnlyStream& out) override {
        out.WriteValue(kVersion);
        out.WriteValue(age);
        out.WriteValue(temperature);
        out.WriteValue<uint64_t>(composition.size());
        for (const auto& [formula, mass] : composition) {
            out.Write(formula);
            out.WriteValue(mass);
        }
    }
    void Deserialize(ReadOnlyStream& in) override {
        if (!OpenSaved(in))
            return;
        age = in.ReadValue<double>();
        temperature = in.ReadValue<double>();
        composition.clear();
        for (uint64_t n = in.ReadValue<uint64_t>(); n > 0; --n) {
            std::string formula;
            in.Read(formula);
            composition[formula] = in.ReadValue<double>();
        }
        restored = true;
    }
    // The gas lives in a PressurizedVolume that this interface owns; the library's list sees it weakly.
    void Init() override {
        Body::Init();
        gas = game::entity::PressurizedVolume::Create(interfaceId, interfaceId, kVolume, temperature);
        if (restored)
            gas->composition = composition;
        else
            gas->Push("N2", kVolume * 8.0 * 101325.0 * 0.028 / (8.314 * temperature)); // 8 bar of nitrogen
        gas->Update(0.0);
        composition = gas->composition;
    }
    void Update(double deltaTime) override {
        ServerSideEntity::Ptr tank = interfaceEntity.lock();
        if (!tank || !gas)
            return;
        age += deltaTime;
        if (age >= kValveTime) {
            const auto& environment = Game::_environmentFunctions.at(kPlanetEnvironment);
            const game::physics::EnvironmentInfo outside =
                environment(tank->position, game::EnvironmentComposition, 0.0);
            game::entity::PressurizedVolume::Transfer(gas.get(), outside, tank->position, tank->position, kValveArea,
                                                      deltaTime);
        }
        gas->Update(deltaTime);
        // Serialize runs while the registry is locked for the save; it reads this copy, not the volume.
        composition = gas->composition;
    }

    std::shared_ptr<game::entity::PressurizedVolume> gas;
    std::unordered_map<std::string, double> composition;
    double temperature = 288.0;
    double age = 0.0;
    bool restored = false;
};

struct TypeInfo {
    const char* type;
    const char* config;
    ServerSideEntity::Factory factory;
};

std::vector<TypeInfo> Types() {
    return {
        {"crate", "entities/crate.conf", [] { return std::make_shared<Crate>(); }},
        {"rover", "entities/rover.conf", [] { return std::make_shared<Rover>(); }},
        {"wheel", "entities/wheel.conf", [] { return std::make_shared<Wheel>(); }},
        {"glider", "entities/glider.conf", [] { return std::make_shared<Glider>(); }},
        {"tank", "entities/tank.conf", [] { return std::make_shared<Tank>(); }},
    };
}

std::string Fixed(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

} // namespace

void RegisterEntityTypes(const std::string& moduleFolder) {
    const vesmo::modular::ModuleID module(kModuleName);
    auto& types = ServerSideEntity::_registered_interfaces[module.String()];
    for (const TypeInfo& info : Types())
        types[info.type] = {module, info.type, std::make_shared<game::entity::EntityConfig>(moduleFolder + info.config),
                            info.factory};
}

void UnregisterEntityTypes() {
    const std::string module = vesmo::modular::ModuleID(kModuleName).String();
    ServerSideEntity::_registered_interfaces.erase(module);
    std::lock_guard guard(ServerSideEntity::_module_entities_mutex);
    ServerSideEntity::_module_entities.erase(module);
}

ServerSideEntity::Ptr Spawn(const std::string& type, const glm::dvec3& position, const glm::dquat& orientation,
                            const glm::dvec3& velocity) {
    const vesmo::modular::ModuleID module(kModuleName);
    ServerSideEntity::Ptr entity =
        ServerSideEntity::Create<ServerSideEntity>(module, game::entity::Type(type), game::entity::Id{});
    entity->position = position;
    entity->orientation = orientation * kConfigUpright;
    entity->linearVelocity = velocity;
    entity->environmentId = kPlanetEnvironment;
    entity->physicsEnabled = 1;
    entity->isDynamic = 1;
    entity->saveCounter.fetch_add(1);
    // The new-entity path: the module sets its interface up itself, as the load path would.
    if (const std::shared_ptr<ServerSideEntity::Interface>& interface = entity->GetInterface()) {
        interface->interfaceEntity = entity;
        interface->interfaceSelf = interface;
        interface->interfaceId = entity->GetID();
        interface->interfaceConfig = entity->config;
        interface->Init();
        interface->ready = true;
        std::lock_guard guard(ServerSideEntity::_module_entities_mutex);
        ServerSideEntity::_module_entities[module.String()].push_back(interface);
    }
    return entity;
}

std::string DescribeVehicles() {
    std::string text;
    ServerSideEntity::ForEach([&text](ServerSideEntity::Ptr entity) {
        const auto& interface = entity->GetInterface();
        const std::string id = entity->GetID().ToString().substr(20);
        if (const auto* rover = dynamic_cast<const Rover*>(interface.get())) {
            const bool upright = (entity->orientation * ConfigToBody(kUp)).z >= 0.5;
            text += "  rover  " + id + "  driven " + Fixed(rover->odometer, 1) + " m in " + Fixed(rover->driveTime, 1) +
                    " s" + (upright ? "" : ", on its side") + "\n";
        } else if (const auto* glider = dynamic_cast<const Glider*>(interface.get())) {
            text += "  glider " + id + "  " + Fixed(glider->airTime, 1) + " s in the air, peak " +
                    Fixed(glider->peakSpeed, 1) + " m/s, " + (glider->landed ? "landed" : "still flying") + "\n";
        } else if (const auto* tank = dynamic_cast<const Tank*>(interface.get())) {
            text += "  tank   " + id + "  " + Fixed(tank->gas ? tank->gas->pressure / 1e5 : 0.0, 2) + " bar (" +
                    Fixed(tank->gas ? tank->gas->totalMass : 0.0, 2) + " kg of gas), valve " +
                    (tank->age >= Tank::kValveTime ? "open" : "closed") + "\n";
        }
    });
    return text;
}

} // namespace planet
