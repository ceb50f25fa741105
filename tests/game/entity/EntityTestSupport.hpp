#pragma once
// A world for server-side entity tests: a fresh working folder (state files go to "../Orkalin-data/..."
// relative to it), the world name, and the test module of entity types, opened with dlopen.

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/modular/Families.hpp"

#include "TestSupport.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace entity_test {

using game::entity::ServerSideEntity;

// The test module, loaded and unloaded through the SERVER_Mod family like any module.
class TestModule {
public:
    void Load() {
        _record = game::modular::SERVER_Mod::LoadModuleLib<game::modular::SERVER_Mod>("TEST_entities", "SERVER_Mod",
                                                                                      true, ORKALIN_TEST_ENTITY_MODULE);
        if (!_record)
            throw std::runtime_error("the test module did not load");
        SetGeneration = Symbol<void (*)(int)>("TestEntities_SetGeneration");
        Count = Symbol<int (*)(const ServerSideEntity::Interface*)>("TestEntities_Count");
        SavedGeneration = Symbol<int (*)(const ServerSideEntity::Interface*)>("TestEntities_SavedGeneration");
        Initialised = Symbol<bool (*)(const ServerSideEntity::Interface*)>("TestEntities_Initialised");
        SetBlob = Symbol<void (*)(ServerSideEntity::Interface*, const std::string*)>("TestEntities_SetBlob");
        GetBlob = Symbol<bool (*)(const ServerSideEntity::Interface*, std::string*)>("TestEntities_GetBlob");
        Log = Symbol<std::string* (*)()>("TestEntities_Log");
    }
    // Every interface the module made must be gone before its code is.
    void Unload() {
        _record.reset();
        game::modular::SERVER_Mod::UnloadModule("TEST_entities");
    }

    void (*SetGeneration)(int generation) = nullptr;
    int (*Count)(const ServerSideEntity::Interface*) = nullptr;
    int (*SavedGeneration)(const ServerSideEntity::Interface*) = nullptr;
    bool (*Initialised)(const ServerSideEntity::Interface*) = nullptr;
    void (*SetBlob)(ServerSideEntity::Interface*, const std::string*) = nullptr;
    bool (*GetBlob)(const ServerSideEntity::Interface*, std::string*) = nullptr;
    std::string* (*Log)() = nullptr;

private:
    template <class F> F Symbol(const char* name) {
        void* symbol = dlsym(_record->handle, name);
        if (!symbol)
            throw std::runtime_error(name);
        return reinterpret_cast<F>(symbol);
    }
    game::modular::SERVER_Mod::Ptr _record;
};

class World : public ::testing::Test {
protected:
    void SetUp() override {
        _previous = std::filesystem::current_path();
        std::filesystem::create_directories(_dir.Path() / "run");
        std::filesystem::current_path(_dir.Path() / "run");
        Game::_current_world = "test world";
        _module.Load();
        _module.SetGeneration(1);
    }
    void TearDown() override {
        // Nothing is marked for saving here unless a test did so; unmark all so no file outlives the test.
        ServerSideEntity::ForEach([](ServerSideEntity::Ptr entity) { entity->saveCounter = 0; });
        ServerSideEntity::UnloadAllEntities();
        _module.Unload();
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
