// A SERVER_Mod module of entity types for the entity tests ("TEST_entities").
//
//   plain    an interface that overrides nothing
//   counter  counts its updates, saves its count and the module's generation, checkpoints its count
//   blob     saves a byte string that the test gives it
//   recorder logs its BeforeUpdate, Update and AfterUpdate calls; Update also takes a little time (below)
//   broken   a factory that makes nothing
//
// ModuleLoad registers the types, ModuleUnload removes them, as a module does around its life. The other
// exports let the tests look into the interfaces, whose classes only this library knows.

#include "game/entity/EntityConfig.hpp"
#include "game/entity/ServerSideEntity.hpp"

#include <chrono>
#include <memory>
#include <string>
#include <thread>

using game::entity::EntityConfig;
using game::entity::ServerSideEntity;
using vesmo::filesystem::ReadOnlyStream;
using vesmo::filesystem::WriteOnlyStream;

namespace {

const char* const kModule = "TEST_entities";
int g_generation = 0;

class Counter : public ServerSideEntity::Interface {
public:
    void Serialize(WriteOnlyStream& out) override {
        out.WriteValue<int32_t>(count);
        out.WriteValue<int32_t>(g_generation);
    }
    void Deserialize(ReadOnlyStream& in) override {
        if (in.AtEnd())
            return;
        count = in.ReadValue<int32_t>();
        savedByGeneration = in.ReadValue<int32_t>();
    }
    void SerializeState(WriteOnlyStream& out) override { out.WriteValue<int32_t>(count); }
    void DeserializeState(ReadOnlyStream& in) override { count = in.ReadValue<int32_t>(); }
    void Init() override { initialised = true; }
    void Update(double) override { ++count; }

    int32_t count = 0;
    int32_t savedByGeneration = -1;
    bool initialised = false;
};

// Appends "<tag>B", "<tag>U", "<tag>A" to the log for its three tick hooks.
std::string g_log;
class Recorder : public ServerSideEntity::Interface {
public:
    void BeforeUpdate(double) override { g_log += "B"; }
    // The timed tick reads the clock as seconds since the epoch in a double, whose step is about 0.24 µs
    // today: a call shorter than that may book nothing. 20 µs is always seen.
    void Update(double) override {
        g_log += "U";
        std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
    void AfterUpdate(double) override { g_log += "A"; }
};

class Blob : public ServerSideEntity::Interface {
public:
    void Serialize(WriteOnlyStream& out) override { out.Write(bytes); }
    void Deserialize(ReadOnlyStream& in) override {
        if (!in.AtEnd())
            in.Read(bytes);
    }
    std::string bytes;
};

} // namespace

extern "C" __attribute__((visibility("default"))) void ModuleLoad() {
    auto& types = ServerSideEntity::_registered_interfaces[vesmo::modular::ModuleID(kModule).String()];
    const vesmo::modular::ModuleID module(kModule);
    const std::string folder = TEST_ENTITY_CONFIGS;
    types["plain"] = {module, "plain", std::make_shared<EntityConfig>(folder + "/block.conf"),
                      [] { return std::make_shared<ServerSideEntity::Interface>(); }};
    types["counter"] = {module, "counter", std::make_shared<EntityConfig>(folder + "/arm.conf"),
                        [] { return std::make_shared<Counter>(); }};
    types["blob"] = {module, "blob", nullptr, [] { return std::make_shared<Blob>(); }};
    types["recorder"] = {module, "recorder", nullptr, [] { return std::make_shared<Recorder>(); }};
    types["broken"] = {module, "broken", nullptr, [] { return std::shared_ptr<ServerSideEntity::Interface>(); }};
}

extern "C" __attribute__((visibility("default"))) void ModuleUnload() {
    ServerSideEntity::_registered_interfaces.erase(vesmo::modular::ModuleID(kModule).String());
    std::lock_guard guard(ServerSideEntity::_module_entities_mutex);
    ServerSideEntity::_module_entities.erase(vesmo::modular::ModuleID(kModule).String());
}

extern "C" __attribute__((visibility("default"))) void TestEntities_SetGeneration(int generation) {
    g_generation = generation;
}

extern "C" __attribute__((visibility("default"))) int TestEntities_Count(const ServerSideEntity::Interface* interface) {
    const auto* counter = dynamic_cast<const Counter*>(interface);
    return counter ? counter->count : -1;
}

extern "C" __attribute__((visibility("default"))) int
TestEntities_SavedGeneration(const ServerSideEntity::Interface* interface) {
    const auto* counter = dynamic_cast<const Counter*>(interface);
    return counter ? counter->savedByGeneration : -1;
}

extern "C" __attribute__((visibility("default"))) bool
TestEntities_Initialised(const ServerSideEntity::Interface* interface) {
    const auto* counter = dynamic_cast<const Counter*>(interface);
    return counter && counter->initialised;
}

extern "C" __attribute__((visibility("default"))) void TestEntities_SetBlob(ServerSideEntity::Interface* interface,
                                                                            const std::string* bytes) {
    if (auto* blob = dynamic_cast<Blob*>(interface))
        blob->bytes = *bytes;
}

extern "C" __attribute__((visibility("default"))) bool
TestEntities_GetBlob(const ServerSideEntity::Interface* interface, std::string* bytes) {
    const auto* blob = dynamic_cast<const Blob*>(interface);
    if (blob)
        *bytes = blob->bytes;
    return blob != nullptr;
}

extern "C" __attribute__((visibility("default"))) std::string* TestEntities_Log() { return &g_log; }
