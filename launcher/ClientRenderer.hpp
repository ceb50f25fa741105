#pragma once
// The client's renderer: the game's renderer plus what only the launcher shows, the main menu before the
// world plays. It also counts, for --stats, how long each frame spends where.
//
// The menu is a stand-in drawn with ImGui until the library's element-drawn menu is available: a dark
// panel with "PLAY" and "QUIT" at the places the menu's elements take (centres 0.12 apart in device
// coordinates, each 0.5 wide and 0.1 high in units of half the screen height). "PLAY" calls Game::Play,
// "QUIT" Game::Quit, as the real menu's buttons do.

#include "FrameStats.hpp"

#include "game/graphics/GameRenderer.hpp"

#include <atomic>
#include <cstdint>

namespace client {

class ClientRenderer : public game::graphics::GameRenderer {
public:
    ClientRenderer(vesmo::graphics::Window* window, uint32_t flags);

    void FrameUpdateUi() override;
    // The modules' render pass, timed for --stats.
    void FrameRenderCommands(VkCommandBuffer commandBuffer) override;

    // Shown until the world plays; written by any thread, read by the render thread.
    std::atomic<bool> menuVisible{true};
    // Print the rectangles of the menu's buttons (tests click them through the window).
    bool traceUi = false;
    // Where the pass's figures go while stats->measuring; null: not measured.
    FrameStats* stats = nullptr;

private:
    void DrawMenu();
    float _tracedPlayY = -1.0f;
};

} // namespace client
