#pragma once
// One world opened by a launcher: its file, its SERVER_Mod modules, its saved entities, and the save at the
// end. Both the dedicated server and the client open worlds through this, so a world saved by one opens in
// the other.
//
//     server::WorldSession session("orkalin-server");
//     if (int code = session.ReadFile(world, create, modules); code != server::kExitOk) return code;
//     if (int code = session.LoadModules(); ...)      // SERVER_Mod modules of the world, sorted
//     if (int code = session.LoadEntities(); ...)     // saved entities, then every module's Server_Load
//     ... Game::ServerUpdate(session.DeltaTime(), session.file.substeps), session.Advance() per tick ...
//     session.Save();                                  // Server_Serialize, every entity, world.conf
//
// Every failure is printed on stderr, prefixed with the program's name, and comes back as one of the exit
// codes below; a failure before the save leaves the world's files as they were (Abandon()).
//
// Working directory: the run directory (build/game/), where the module host finds
// modules/<Name>/<Name>.SERVER_Mod.so and the world's files are under ../Orkalin-data/server/worlds/<world>/.

#include "WorldFile.hpp"

#include "game/modular/Families.hpp"

#include <string>
#include <vector>

namespace server {

// Exit codes of the launchers, each for one kind of trouble, so that scripts can tell them apart.
enum ExitCode : int {
    kExitOk = 0,
    kExitRunFailed = 1,     // a tick, a frame or the save threw
    kExitUsage = 2,         // bad command line
    kExitNoWorld = 3,       // the world does not exist (and may not be created), or names no module
    kExitModule = 4,        // a module failed to load
    kExitDamagedEntity = 5, // a saved entity file or a module's state could not be read; nothing was changed
    kExitNoDevice = 6,      // the client found no Vulkan device or no window to show
};

class WorldSession {
public:
    explicit WorldSession(std::string program) : _program(std::move(program)) {}

    // Finishes or clears a save that a crash interrupted, then reads the world's file. A missing world is an
    // error unless `create`, and a new world needs `modules`; a non-empty `modules` replaces the file's
    // list (and is stored at the save).
    int ReadFile(const std::string& world, bool create, const std::vector<std::string>& modules);
    // Loads the world's SERVER_Mod modules and sorts them ("server": ModuleSort rank, then name).
    int LoadModules();
    // Loads the saved entities, then calls every module's Server_Load with the world's folder. Sets
    // Game::_current_world first. A module whose Server_Load throws (its state is damaged) refuses the world.
    int LoadEntities();
    // The world's clock after one tick.
    void Advance();
    // Lets every module save (Server_Serialize), saves and unloads every entity, writes the world's file:
    // all in one journaled batch, so a crash leaves the old world or the new one, never a mix. False
    // (printed) if something threw; the entities are dropped then, without touching their files.
    bool Save();
    // Drops every entity without touching a file and unloads the modules: the ways out that must leave the
    // world as it was on disk.
    void Abandon();
    // Unloads the modules (after a save).
    void UnloadModules();

    double DeltaTime() const { return 1.0 / file.tickRate; }
    const std::vector<game::modular::SERVER_Mod::Ptr>& Modules() const { return _modules; }

    std::string world;
    std::string folder; // with a trailing '/'
    WorldFile file;
    bool existed = false;

private:
    std::string _program;
    std::vector<game::modular::SERVER_Mod::Ptr> _modules;
};

// Splits "A,B,C" (or "A, B" or "A B") into names; empty parts are dropped.
std::vector<std::string> SplitNames(const std::string& list);

} // namespace server
