#pragma once
// What the network's GAME_Mod module (Net.GAME_Mod.so) offers the program that loaded it, through the
// module's "ModuleGetCustomPtr": join a server, and see how the joining goes. The launcher asks; the module
// connects and services the session on the main loop (Game_Update), so every call here only hands a
// request over or reads a value, from any thread.

#include <cstddef>
#include <cstdint>

namespace net {

enum class LinkState : int { Idle = 0, Joining = 1, Joined = 2, Lost = 3 };

struct ClientLink {
    // Leaves any server and joins `host` at `port` from the next frame on. `host` is copied.
    void (*Join)(const char* host, uint16_t port);
    // Leaves the server, forgetting its entities.
    void (*Leave)();
    LinkState (*State)();
    // The entities the server has told of so far.
    size_t (*EntityCount)();
};

using GetClientLinkHook = ClientLink* (*)();

} // namespace net
