#pragma once
// The signatures that the dedicated server (launcher/orkalin-server.cpp) gives the SERVER_Mod symbols that
// the module host stores untyped, and the common "ModuleSort". A module declares the ones it exports with
// these types, extern "C" and default visibility; the server casts the stored pointers back to them.
//
// Order of one run of the server:
//   ModuleLoad()                     each module, as it is opened: register entity types, environments,
//                                    voxel types. No world is known yet.
//   (the world's saved entities are loaded here; their interfaces' Deserialize and Init run)
//   Server_Load(worldFolder)         each module in the sorted order; the folder of the world's files, with
//                                    a trailing '/'. A module that finds no state of its own there is
//                                    seeing a new world and may build its starting scene. A module that
//                                    finds its state but cannot read it throws std::runtime_error with a
//                                    sentence: the server refuses the world (exit code 5), changing nothing.
//   Server_BeforeUpdate / Server_GameUpdate around the entities of every tick (Game::ServerUpdate)
//   Server_Serialize(worldFolder)    each module in the sorted order, before the entities are saved: the
//                                    module writes its own state (a file of its choice in the folder)
//                                    with vesmo::filesystem::WriteFileAtomic: the server's save batch
//                                    takes it, so it commits with the world's other files, all or nothing.
//   (the entities are saved and dropped here)
//   ModuleUnload()                   each module, as it is closed: take back what ModuleLoad registered.
//
// The server sorts the modules once, by ModuleSort's rank (lower first; a module without the symbol has
// rank 0), then by name, and walks that order for Server_Load and Server_Serialize.

namespace game::modular {

using ServerLoadHook = void (*)(const char* worldFolder);
using ServerSerializeHook = void (*)(const char* worldFolder);
using ModuleSortHook = int (*)();

} // namespace game::modular
