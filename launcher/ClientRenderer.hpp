#pragma once
// The client's renderer: the game's renderer plus what only the launcher shows, the main menu before the
// world plays. It also counts, for --stats, how long each frame spends where.
//
// The menu is the library's game::MainMenu, drawn with the other UI elements in the overlay pass; the
// input loop feeds it the window's mouse (FeedMenuMouse). While it shows, the crosshair does not.

#include "FrameStats.hpp"

#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/ui/MainMenu.hpp"

#include <glm/vec2.hpp>

#include <atomic>
#include <cstdint>

namespace client {

class ClientRenderer : public game::graphics::GameRenderer {
public:
    ClientRenderer(vesmo::graphics::Window* window, uint32_t flags);

    // The modules' render pass, timed for --stats.
    void FrameRenderCommands(VkCommandBuffer commandBuffer) override;

    // Makes the menu's elements; Game::renderer must be this renderer.
    void InitMenu();
    // Shows or hides the menu, and the crosshair the other way round.
    void SetMenuVisible(bool visible);
    bool MenuVisible() const { return _menuVisible.load(); }
    // The input loop's mouse, in window coordinates, on a window of `screen`: hover, and a press or a
    // release of the left button on its edge (a press released outside the button runs nothing).
    void FeedMenuMouse(const glm::ivec2& cursor, const glm::ivec2& screen, bool leftDown);
    // Runs PLAY's action as a click would (--play).
    void PressPlay();

    game::MainMenu menu;
    // Print the rectangles of the menu's buttons (tests click them through the window).
    bool traceUi = false;
    // Where the pass's figures go while stats->measuring; null: not measured.
    FrameStats* stats = nullptr;

private:
    std::atomic<bool> _menuVisible{true};
    bool _leftWasDown = false;
    glm::ivec2 _tracedScreen{0, 0};
};

} // namespace client
