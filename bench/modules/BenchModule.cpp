// A module for the hook-walk benchmark: the hooks do the least a hook can do, so that the walk is measured.

typedef struct VkCommandBuffer_T* VkCommandBuffer;

namespace {
// Plain, not atomic: the benchmark calls from one thread, and a locked add would dwarf the walk.
unsigned long calls = 0;
} // namespace

extern "C" {
void Game_Update(double) { ++calls; }
void Game_ClientUpdate() { ++calls; }
void Renderer_FrameUpdate() { ++calls; }
void Renderer_FrameRenderCommands(VkCommandBuffer) { ++calls; }
}
