#include "WorldSession.hpp"

#include "WorldReport.hpp"

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/modular/ServerHooks.hpp"
#include "vesmo/filesystem/AtomicFile.hpp"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <mutex>

namespace server {

namespace {

using game::entity::ServerSideEntity;
using game::modular::SERVER_Mod;

// The id at the end of a persistence error's sentence, if there is one.
std::string TrailingEntityId(const std::string& message) {
    const size_t space = message.rfind(' ');
    const std::string last = space == std::string::npos ? message : message.substr(space + 1);
    return last.size() == 28 ? last : std::string();
}

// The journal of a save in progress, in the world's folder: present only between the moment a save's
// files are all written and the moment they are all in place.
const char* const kSaveJournal = "save.journal";

// A save that a crash interrupted either had its journal written (then its renames are finished now) or
// not (then the old world stands, and its temporaries are removed). Run before a load and before a save.
void FinishInterruptedSave(const std::string& program, const std::string& world, const std::string& folder) {
    using vesmo::filesystem::WriteBatch;
    if (WriteBatch::Recover(folder + kSaveJournal))
        std::printf("%s: world '%s': finished a save that was interrupted\n", program.c_str(), world.c_str());
    const size_t removed = WriteBatch::RemoveTemporaries(folder) + WriteBatch::RemoveTemporaries(folder + "entities");
    if (removed > 0)
        std::printf("%s: world '%s': removed %zu temporary files of an interrupted save\n", program.c_str(),
                    world.c_str(), removed);
    std::fflush(stdout);
}

void DropEntitiesKeepingFiles() {
    std::unique_lock lock(ServerSideEntity::_sharedObjectsMutex);
    for (auto& [id, entity] : ServerSideEntity::_sharedObjects)
        if (entity)
            entity->deleteFilesOnDestroy = 0;
    ServerSideEntity::_sharedObjects.clear();
}

} // namespace

std::vector<std::string> SplitNames(const std::string& list) { return SplitModuleList(list); }

int WorldSession::ReadFile(const std::string& name, bool create, const std::vector<std::string>& modules) {
    world = name;
    folder = WorldFolder(world);
    Game::_current_world = world;
    const std::string path = folder + "world.conf";
    try {
        FinishInterruptedSave(_program, world, folder);
        existed = file.Read(path);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", _program.c_str(), error.what());
        return kExitNoWorld;
    }
    if (!existed) {
        if (!create) {
            std::fprintf(stderr, "%s: no world '%s' (no %s from %s); --create --modules ... makes a new one\n",
                         _program.c_str(), world.c_str(), path.c_str(), std::filesystem::current_path().c_str());
            return kExitNoWorld;
        }
        if (modules.empty()) {
            std::fprintf(stderr, "%s: a new world needs --modules\n", _program.c_str());
            return kExitUsage;
        }
    }
    if (!modules.empty())
        file.modules = modules;
    if (file.modules.empty()) {
        std::fprintf(stderr, "%s: world '%s' names no module (%s)\n", _program.c_str(), world.c_str(), path.c_str());
        return kExitNoWorld;
    }
    return kExitOk;
}

int WorldSession::LoadModules() {
    std::string loadError;
    SERVER_Mod::ModulesSetLoadErrorCallback([&loadError](const char* text) { loadError = text ? text : ""; });
    for (const std::string& name : file.modules) {
        if (!SERVER_Mod::LoadModule(name, true)) {
            std::fprintf(stderr, "%s: module '%s' failed to load (looked for modules/%s/%s.SERVER_Mod.so): %s\n",
                         _program.c_str(), name.c_str(), name.c_str(), name.c_str(), loadError.c_str());
            SERVER_Mod::ModulesSetLoadErrorCallback([](const char* text) { std::fprintf(stderr, "%s\n", text); });
            SERVER_Mod::UnloadModules();
            return kExitModule;
        }
    }
    SERVER_Mod::ModulesSetLoadErrorCallback([](const char* text) { std::fprintf(stderr, "%s\n", text); });
    SERVER_Mod::SortModules("server", [](SERVER_Mod::Ptr a, SERVER_Mod::Ptr b) {
        auto rank = [](const SERVER_Mod::Ptr& m) {
            return m->ModuleSort ? reinterpret_cast<game::modular::ModuleSortHook>(m->ModuleSort)() : 0;
        };
        const int ra = rank(a), rb = rank(b);
        return ra != rb ? ra < rb : a->name < b->name;
    });
    _modules.clear();
    SERVER_Mod::ForEachSortedModule("server", [this](SERVER_Mod::Ptr& m) { _modules.push_back(m); });
    return kExitOk;
}

int WorldSession::LoadEntities() {
    Game::_current_world = world;
    try {
        ServerSideEntity::LoadAllEntities();
    } catch (const std::exception& error) {
        const std::string id = TrailingEntityId(error.what());
        if (!id.empty())
            std::fprintf(stderr, "%s: damaged entity file %s/%s.entitystate: %s\n", _program.c_str(),
                         ServerSideEntity::GetCheckpointDir().c_str(), id.c_str(), error.what());
        else {
            // A name that is no entity id: name the files the load refuses.
            std::string names;
            std::error_code ignored;
            for (const auto& entry : std::filesystem::directory_iterator(ServerSideEntity::GetCheckpointDir(), ignored))
                if (entry.path().extension() == ".entitystate" && entry.path().stem().string().size() != 28)
                    names += " " + entry.path().filename().string();
            std::fprintf(stderr, "%s: misnamed entity file in %s (%s):%s\n", _program.c_str(),
                         ServerSideEntity::GetCheckpointDir().c_str(), error.what(), names.c_str());
        }
        std::fprintf(stderr, "%s: world '%s' not loaded; no file was changed\n", _program.c_str(), world.c_str());
        Abandon();
        return kExitDamagedEntity;
    }
    // A module that cannot read its own state refuses the world like a damaged entity file does.
    for (const SERVER_Mod::Ptr& m : _modules) {
        if (!m->Server_Load)
            continue;
        try {
            reinterpret_cast<game::modular::ServerLoadHook>(m->Server_Load)(folder.c_str());
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s: module '%s' cannot load world '%s': %s\n", _program.c_str(), m->name.c_str(),
                         world.c_str(), error.what());
            std::fprintf(stderr, "%s: world '%s' not loaded; no file was changed\n", _program.c_str(), world.c_str());
            Abandon();
            return kExitDamagedEntity;
        }
    }
    return kExitOk;
}

void WorldSession::Advance() {
    file.time += DeltaTime();
    ++file.ticks;
}

bool WorldSession::Save() {
    try {
        // One batch for every file of the save, journaled: the modules' files (WriteFileAtomic joins the
        // batch), the entities' files (their own batch joins it) and the world's file commit together.
        FinishInterruptedSave(_program, world, folder);
        std::filesystem::create_directories(folder);
        vesmo::filesystem::WriteBatch save(folder + kSaveJournal);
        for (const SERVER_Mod::Ptr& m : _modules)
            if (m->Server_Serialize)
                reinterpret_cast<game::modular::ServerSerializeHook>(m->Server_Serialize)(folder.c_str());
        const size_t saved = TakeCensus().entities;
        ServerSideEntity::UnloadAllEntities();
        file.Write(folder + "world.conf");
        save.Commit();
        std::printf("%s: world '%s' saved (%zu entities) in %s\n", _program.c_str(), world.c_str(), saved,
                    folder.c_str());
        std::fflush(stdout);
        return true;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: saving world '%s' failed: %s\n", _program.c_str(), world.c_str(), error.what());
        DropEntitiesKeepingFiles();
        return false;
    }
}

void WorldSession::Abandon() {
    DropEntitiesKeepingFiles();
    UnloadModules();
}

void WorldSession::UnloadModules() {
    _modules.clear();
    SERVER_Mod::UnloadModules();
}

} // namespace server
