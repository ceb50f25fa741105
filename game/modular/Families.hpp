#pragma once
// The four module families, each an instance of the one Module template.
//
//   GAME_Init    loaded first by the launcher, before the renderer exists
//   GAME_Mod     the client side: game, input and renderer hooks
//   SERVER_Mod   the server side
//   ORKALIN_Mod  product-level mods named by the world in Game::_mods; Game::Start loads them
//
// The launcher loads GAME_Init, GAME_Mod and SERVER_Mod; the library loads only ORKALIN_Mod. Fields stand in
// the order of the family's symbol table. Hooks that the library calls have the signature it calls them
// with; the others are stored untyped (void*) until the launcher that calls them fixes their signatures.

#include "game/modular/Module.hpp"

// The frame's command buffer, as Vulkan declares it, so that the hook table needs no Vulkan header.
typedef struct VkCommandBuffer_T* VkCommandBuffer;

namespace game::modular {

using Hook = void (*)();
using DeltaHook = void (*)(double deltaTime);
using CommandHook = void (*)(VkCommandBuffer commandBuffer);

struct GameInitTable {
    static constexpr const char* Family = "GAME_Init";

    void* Vulkan_Init = nullptr;
    void* Vulkan_ScoreGPU = nullptr;
    void* SplashBegin = nullptr;
    void* SplashEnd = nullptr;

    template <class Resolver> void ResolveSymbols(Resolver&& resolve) {
        resolve("Vulkan_Init", Vulkan_Init);
        resolve("Vulkan_ScoreGPU", Vulkan_ScoreGPU);
        resolve("SplashBegin", SplashBegin);
        resolve("SplashEnd", SplashEnd);
    }
};

struct GameModTable {
    static constexpr const char* Family = "GAME_Mod";

    Hook Game_Start = nullptr;
    Hook Game_Ready = nullptr;
    Hook Game_Stop = nullptr;
    DeltaHook Game_Update = nullptr; // sorted list "update"
    Hook Game_ClientUpdate = nullptr;
    DeltaHook Input_Update = nullptr;
    DeltaHook Input_Update_Play = nullptr;
    DeltaHook Input_Update_Station = nullptr;
    void* Input_Key_Play = nullptr;
    void* Input_Key_Station = nullptr;
    void* Input_Char_Play = nullptr;
    void* Input_Char_Station = nullptr;
    void* Input_MouseButton_Play = nullptr;
    void* Input_MouseButton_Station = nullptr;
    void* Input_MouseScroll_Play = nullptr;
    void* Input_MouseScroll_Station = nullptr;
    void* Client_Connected = nullptr;
    void* Client_Send = nullptr;
    void* Client_Receive = nullptr;
    void* Physics_PlayerPosition = nullptr;
    void* Physics_CameraPosition = nullptr;
    Hook Renderer_StartRendering = nullptr;
    Hook Renderer_StopRendering = nullptr;
    Hook Renderer_RefreshViewport = nullptr;
    Hook Renderer_FrameCollectGarbage = nullptr;
    Hook Renderer_FrameUpdateDescriptorSets = nullptr;
    Hook Renderer_FrameBeforePost = nullptr;
    Hook Renderer_FrameInit = nullptr;
    Hook Renderer_FrameUpdateUi = nullptr;     // sorted list "ui"
    Hook Renderer_FrameBeforeUpdate = nullptr; // sorted list "update"
    Hook Renderer_FrameUpdate = nullptr;       // sorted list "update"
    Hook Renderer_FrameAfterUpdate = nullptr;  // sorted list "update"
    Hook Renderer_FrameBeforeRender = nullptr; // sorted list "render"
    Hook Renderer_FrameAfterRender = nullptr;  // sorted list "render"
    CommandHook Renderer_FramePushCommands = nullptr;
    CommandHook Renderer_FrameBuildCommands = nullptr;
    CommandHook Renderer_FrameRenderCommands = nullptr;  // sorted list "render"
    CommandHook Renderer_FrameResolveCommands = nullptr; // sorted list "post"
    CommandHook Renderer_FrameBlitCommands = nullptr;    // sorted list "post"
    CommandHook Renderer_FramePostCommands = nullptr;    // sorted list "post"
    CommandHook Renderer_FrameOverlayCommands = nullptr; // sorted list "overlay"

    template <class Resolver> void ResolveSymbols(Resolver&& resolve) {
        resolve("Game_Start", Game_Start);
        resolve("Game_Ready", Game_Ready);
        resolve("Game_Stop", Game_Stop);
        resolve("Game_Update", Game_Update);
        resolve("Game_ClientUpdate", Game_ClientUpdate);
        resolve("Input_Update", Input_Update);
        resolve("Input_Update_Play", Input_Update_Play);
        resolve("Input_Update_Station", Input_Update_Station);
        resolve("Input_Key_Play", Input_Key_Play);
        resolve("Input_Key_Station", Input_Key_Station);
        resolve("Input_Char_Play", Input_Char_Play);
        resolve("Input_Char_Station", Input_Char_Station);
        resolve("Input_MouseButton_Play", Input_MouseButton_Play);
        resolve("Input_MouseButton_Station", Input_MouseButton_Station);
        resolve("Input_MouseScroll_Play", Input_MouseScroll_Play);
        resolve("Input_MouseScroll_Station", Input_MouseScroll_Station);
        resolve("Client_Connected", Client_Connected);
        resolve("Client_Send", Client_Send);
        resolve("Client_Receive", Client_Receive);
        resolve("Physics_PlayerPosition", Physics_PlayerPosition);
        resolve("Physics_CameraPosition", Physics_CameraPosition);
        resolve("Renderer_StartRendering", Renderer_StartRendering);
        resolve("Renderer_StopRendering", Renderer_StopRendering);
        resolve("Renderer_RefreshViewport", Renderer_RefreshViewport);
        resolve("Renderer_FrameCollectGarbage", Renderer_FrameCollectGarbage);
        resolve("Renderer_FrameUpdateDescriptorSets", Renderer_FrameUpdateDescriptorSets);
        resolve("Renderer_FrameBeforePost", Renderer_FrameBeforePost);
        resolve("Renderer_FrameInit", Renderer_FrameInit);
        resolve("Renderer_FrameUpdateUi", Renderer_FrameUpdateUi);
        resolve("Renderer_FrameBeforeUpdate", Renderer_FrameBeforeUpdate);
        resolve("Renderer_FrameUpdate", Renderer_FrameUpdate);
        resolve("Renderer_FrameAfterUpdate", Renderer_FrameAfterUpdate);
        resolve("Renderer_FrameBeforeRender", Renderer_FrameBeforeRender);
        resolve("Renderer_FrameAfterRender", Renderer_FrameAfterRender);
        resolve("Renderer_FramePushCommands", Renderer_FramePushCommands);
        resolve("Renderer_FrameBuildCommands", Renderer_FrameBuildCommands);
        resolve("Renderer_FrameRenderCommands", Renderer_FrameRenderCommands);
        resolve("Renderer_FrameResolveCommands", Renderer_FrameResolveCommands);
        resolve("Renderer_FrameBlitCommands", Renderer_FrameBlitCommands);
        resolve("Renderer_FramePostCommands", Renderer_FramePostCommands);
        resolve("Renderer_FrameOverlayCommands", Renderer_FrameOverlayCommands);
    }
};

struct ServerModTable {
    static constexpr const char* Family = "SERVER_Mod";

    void* Server_Load = nullptr;
    void* Server_Serialize = nullptr;
    void* Server_PlayerConnected = nullptr;
    void* Server_PlayerDisconnected = nullptr;
    void* Server_Send = nullptr;
    void* Server_Receive = nullptr;
    DeltaHook Server_BeforeUpdate = nullptr; // before the entities of a server tick
    DeltaHook Server_GameUpdate = nullptr;   // after the entities of a server tick

    // The resolution order differs from the field order, and stays so.
    template <class Resolver> void ResolveSymbols(Resolver&& resolve) {
        resolve("Server_Load", Server_Load);
        resolve("Server_Serialize", Server_Serialize);
        resolve("Server_PlayerConnected", Server_PlayerConnected);
        resolve("Server_PlayerDisconnected", Server_PlayerDisconnected);
        resolve("Server_BeforeUpdate", Server_BeforeUpdate);
        resolve("Server_GameUpdate", Server_GameUpdate);
        resolve("Server_Send", Server_Send);
        resolve("Server_Receive", Server_Receive);
    }
};

struct OrkalinModTable {
    static constexpr const char* Family = "ORKALIN_Mod";

    void* _ORKALIN_Mod_VERSION = nullptr; // stored, never read by the library
    Hook Load = nullptr;                  // Game::Start
    Hook Unload = nullptr;                // Game::Stop

    template <class Resolver> void ResolveSymbols(Resolver&& resolve) {
        resolve("_ORKALIN_Mod_VERSION", _ORKALIN_Mod_VERSION);
        resolve("Load", Load);
        resolve("Unload", Unload);
    }
};

using GAME_Init = Module<GameInitTable>;
using GAME_Mod = Module<GameModTable>;
using SERVER_Mod = Module<ServerModTable>;
using ORKALIN_Mod = Module<OrkalinModTable>;

// One registry per family for the whole process: the statics live in game.so.
extern template class Module<GameInitTable>;
extern template class Module<GameModTable>;
extern template class Module<ServerModTable>;
extern template class Module<OrkalinModTable>;

} // namespace game::modular
