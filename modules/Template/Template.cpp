// The smallest useful SERVER_Mod module: one entity type with a behaviour and saved state, and the server
// hooks a module usually wants. Copy this folder, rename it and the files, and change kModuleName.

#include "game/entity/EntityConfig.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/modular/ServerHooks.hpp"

#include <cstdio>

#define TEMPLATE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// "VENDOR_module": up to 12 letters or digits on each side, neither side starting with a digit.
const char* const kModuleName = "MYCO_template";

using game::entity::ServerSideEntity;

// The behaviour of one "marker": it counts the ticks it has lived, and keeps the count across saves.
class Marker : public ServerSideEntity::Interface {
public:
    void Serialize(vesmo::filesystem::WriteOnlyStream& out) override { out.WriteValue(ticks); }
    void Deserialize(vesmo::filesystem::ReadOnlyStream& in) override {
        if (!in.AtEnd()) // empty for an entity made in this run
            ticks = in.ReadValue<uint64_t>();
    }
    void Update(double) override { ++ticks; }

    uint64_t ticks = 0;
};

} // namespace

// Opened: register what the module brings. No world is known yet.
TEMPLATE_EXPORT void ModuleLoad() {
    const vesmo::modular::ModuleID module(kModuleName);
    ServerSideEntity::_registered_interfaces[module.String()]["marker"] = {
        module, "marker", std::make_shared<game::entity::EntityConfig>("modules/Template/entities/marker.conf"),
        [] { return std::make_shared<Marker>(); }};
}

// Closed: take back what ModuleLoad registered.
TEMPLATE_EXPORT void ModuleUnload() {
    ServerSideEntity::_registered_interfaces.erase(vesmo::modular::ModuleID(kModuleName).String());
}

// The world's saved entities are loaded by now; read the module's own state from `worldFolder` here.
TEMPLATE_EXPORT void Server_Load(const char* worldFolder) {
    std::printf("Template: loaded in %s\n", worldFolder);
    std::fflush(stdout);
}

// Before the entities are saved: write the module's own state into `worldFolder` here.
TEMPLATE_EXPORT void Server_Serialize(const char*) {}

// Every tick, before the entities move.
TEMPLATE_EXPORT void Server_BeforeUpdate(double) {}
