// A module for the hook-walk and frame benchmarks: the hooks do the least a hook can do, so that the walks are
// measured. It exports every hook of the renderer's frame.

typedef struct VkCommandBuffer_T* VkCommandBuffer;

namespace {
// Plain, not atomic: the benchmarks call from one thread, and a locked add would dwarf the walk.
unsigned long calls = 0;
} // namespace

extern "C" {
void Game_Update(double) { ++calls; }
void Game_ClientUpdate() { ++calls; }
void Renderer_FrameCollectGarbage() { ++calls; }
void Renderer_FrameInit() { ++calls; }
void Renderer_FrameBeforeUpdate() { ++calls; }
void Renderer_FrameUpdate() { ++calls; }
void Renderer_FrameAfterUpdate() { ++calls; }
void Renderer_FrameUpdateDescriptorSets() { ++calls; }
void Renderer_FrameUpdateUi() { ++calls; }
void Renderer_FrameBeforeRender() { ++calls; }
void Renderer_FrameAfterRender() { ++calls; }
void Renderer_FrameBeforePost() { ++calls; }
void Renderer_FramePushCommands(VkCommandBuffer) { ++calls; }
void Renderer_FrameBuildCommands(VkCommandBuffer) { ++calls; }
void Renderer_FrameRenderCommands(VkCommandBuffer) { ++calls; }
void Renderer_FrameResolveCommands(VkCommandBuffer) { ++calls; }
void Renderer_FramePostCommands(VkCommandBuffer) { ++calls; }
void Renderer_FrameBlitCommands(VkCommandBuffer) { ++calls; }
void Renderer_FrameOverlayCommands(VkCommandBuffer) { ++calls; }
}
