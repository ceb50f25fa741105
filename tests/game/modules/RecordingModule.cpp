// A test module: exports a chosen set of hooks of its family, each of which records its call in the hook
// log. Built once per (module, family, set) by tests/CMakeLists.txt:
//   MODULE_TAG   "<Module>.<Family>", the prefix of its log entries
//   FAMILY_*     which family's symbols to export
//   HOOKS_ALL    every hook the library calls for that family; without it only a partial set (see below)
//   HOOKS_NONE   no symbol at all, not even ModuleLoad

#include "HookLog.hpp"

#include <string>

#define RECORD(hook) hooklog::Record(std::string(MODULE_TAG ":") + hook)
#define RECORD_VALUE(hook, value) hooklog::Record(std::string(MODULE_TAG ":") + hook, value)

typedef struct VkCommandBuffer_T* VkCommandBuffer;

extern "C" {

#ifndef HOOKS_NONE
void ModuleLoad() { RECORD("ModuleLoad"); }
void ModuleUnload() { RECORD("ModuleUnload"); }

#if defined(FAMILY_GAME_MOD)
void Game_Start() { RECORD("Game_Start"); }
void Game_Update(double deltaTime) { RECORD_VALUE("Game_Update", deltaTime); }
#if defined(HOOKS_ALL)
void Game_Ready() { RECORD("Game_Ready"); }
void Game_Stop() { RECORD("Game_Stop"); }
void Game_ClientUpdate() { RECORD("Game_ClientUpdate"); }
void Input_Update(double deltaTime) { RECORD_VALUE("Input_Update", deltaTime); }
void Input_Update_Play(double deltaTime) { RECORD_VALUE("Input_Update_Play", deltaTime); }
void Input_Update_Station(double deltaTime) { RECORD_VALUE("Input_Update_Station", deltaTime); }
void Renderer_StartRendering() { RECORD("Renderer_StartRendering"); }
void Renderer_StopRendering() { RECORD("Renderer_StopRendering"); }
void Renderer_RefreshViewport() { RECORD("Renderer_RefreshViewport"); }
void Renderer_FrameCollectGarbage() { RECORD("Renderer_FrameCollectGarbage"); }
void Renderer_FrameUpdateDescriptorSets() { RECORD("Renderer_FrameUpdateDescriptorSets"); }
void Renderer_FrameBeforePost() { RECORD("Renderer_FrameBeforePost"); }
void Renderer_FrameInit() { RECORD("Renderer_FrameInit"); }
void Renderer_FrameUpdateUi() { RECORD("Renderer_FrameUpdateUi"); }
void Renderer_FrameBeforeUpdate() { RECORD("Renderer_FrameBeforeUpdate"); }
void Renderer_FrameUpdate() { RECORD("Renderer_FrameUpdate"); }
void Renderer_FrameAfterUpdate() { RECORD("Renderer_FrameAfterUpdate"); }
void Renderer_FrameBeforeRender() { RECORD("Renderer_FrameBeforeRender"); }
void Renderer_FrameAfterRender() { RECORD("Renderer_FrameAfterRender"); }
void Renderer_FramePushCommands(VkCommandBuffer) { RECORD("Renderer_FramePushCommands"); }
void Renderer_FrameBuildCommands(VkCommandBuffer) { RECORD("Renderer_FrameBuildCommands"); }
void Renderer_FrameRenderCommands(VkCommandBuffer) { RECORD("Renderer_FrameRenderCommands"); }
void Renderer_FrameResolveCommands(VkCommandBuffer) { RECORD("Renderer_FrameResolveCommands"); }
void Renderer_FrameBlitCommands(VkCommandBuffer) { RECORD("Renderer_FrameBlitCommands"); }
void Renderer_FramePostCommands(VkCommandBuffer) { RECORD("Renderer_FramePostCommands"); }
void Renderer_FrameOverlayCommands(VkCommandBuffer) { RECORD("Renderer_FrameOverlayCommands"); }
#endif
#endif

#if defined(FAMILY_SERVER_MOD)
void Server_BeforeUpdate(double deltaTime) { RECORD_VALUE("Server_BeforeUpdate", deltaTime); }
#if defined(HOOKS_ALL)
void Server_GameUpdate(double deltaTime) { RECORD_VALUE("Server_GameUpdate", deltaTime); }
int ModuleSort() { return 7; }
#endif
#endif

#if defined(FAMILY_ORKALIN_MOD)
void Load() { RECORD("Load"); }
#if defined(HOOKS_ALL)
void Unload() { RECORD("Unload"); }
int _ORKALIN_Mod_VERSION = 1;
#endif
#endif

#if defined(FAMILY_GAME_INIT)
void SplashBegin() { RECORD("SplashBegin"); }
#endif
#endif
}
