#pragma once
// A world for server-side entity tests: a fresh working folder (state files go to "../Orkalin-data/..."
// relative to it), the world name, and the test module of entity types, opened with dlopen.

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"

#include "TestSupport.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace entity_test {

using game::entity::ServerSideEntity;

class TestModule {
public:
    TestModule() {
        _handle = dlopen(ORKALIN_TEST_ENTITY_MODULE, RTLD_NOW | RTLD_LOCAL);
        if (!_handle)
            throw std::runtime_error(dlerror());
        Register = Symbol<void (*)(int, const char*)>("TestEntities_Register");
        Unregister = Symbol<void (*)()>("TestEntities_Unregister");
        Count = Symbol<int (*)(const ServerSideEntity::Interface*)>("TestEntities_Count");
        SavedGeneration = Symbol<int (*)(const ServerSideEntity::Interface*)>("TestEntities_SavedGeneration");
        Initialised = Symbol<bool (*)(const ServerSideEntity::Interface*)>("TestEntities_Initialised");
        SetBlob = Symbol<void (*)(ServerSideEntity::Interface*, const std::string*)>("TestEntities_SetBlob");
        GetBlob = Symbol<bool (*)(const ServerSideEntity::Interface*, std::string*)>("TestEntities_GetBlob");
    }
    ~TestModule() { dlclose(_handle); }

    void (*Register)(int generation, const char* configFolder) = nullptr;
    void (*Unregister)() = nullptr;
    int (*Count)(const ServerSideEntity::Interface*) = nullptr;
    int (*SavedGeneration)(const ServerSideEntity::Interface*) = nullptr;
    bool (*Initialised)(const ServerSideEntity::Interface*) = nullptr;
    void (*SetBlob)(ServerSideEntity::Interface*, const std::string*) = nullptr;
    bool (*GetBlob)(const ServerSideEntity::Interface*, std::string*) = nullptr;

private:
    template <class F> F Symbol(const char* name) {
        void* symbol = dlsym(_handle, name);
        if (!symbol)
            throw std::runtime_error(name);
        return reinterpret_cast<F>(symbol);
    }
    void* _handle = nullptr;
};

class World : public ::testing::Test {
protected:
    void SetUp() override {
        _previous = std::filesystem::current_path();
        std::filesystem::create_directories(_dir.Path() / "run");
        std::filesystem::current_path(_dir.Path() / "run");
        Game::_current_world = "test world";
        _module.Register(1, ORKALIN_TEST_DATA "/entities");
    }
    void TearDown() override {
        // Nothing is marked for saving here unless a test did so; unmark all so no file outlives the test.
        ServerSideEntity::ForEach([](ServerSideEntity::Ptr entity) { entity->saveCounter = 0; });
        ServerSideEntity::UnloadAllEntities();
        _module.Unregister();
        std::filesystem::current_path(_previous);
    }

    static std::string Folder() { return ServerSideEntity::GetCheckpointDir(); }
    static ServerSideEntity::ModuleID Module() { return ServerSideEntity::ModuleID("TEST_entities"); }
    static ServerSideEntity::Ptr New(const std::string& type) {
        return ServerSideEntity::Create<ServerSideEntity>(Module(), type, game::entity::Id());
    }
    static size_t Count() {
        size_t count = 0;
        ServerSideEntity::ForEach([&](ServerSideEntity::Ptr) { ++count; });
        return count;
    }

    testing_support::TempDir _dir;
    TestModule _module;
    std::filesystem::path _previous;
};

} // namespace entity_test
