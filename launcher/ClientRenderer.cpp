#include "ClientRenderer.hpp"

#include "game/Game.hpp"

#include <cstdio>

namespace client {

ClientRenderer::ClientRenderer(vesmo::graphics::Window* window, uint32_t flags)
    : GameRenderer(window, "Orkalin", flags) {}

void ClientRenderer::FrameRenderCommands(VkCommandBuffer commandBuffer) {
    if (!stats || !stats->measuring.load()) {
        GameRenderer::FrameRenderCommands(commandBuffer);
        return;
    }
    const double cpu = ThreadCpuSeconds();
    const uint64_t allocations = ThreadAllocations();
    GameRenderer::FrameRenderCommands(commandBuffer);
    stats->passCpu += ThreadCpuSeconds() - cpu;
    stats->passAllocations += ThreadAllocations() - allocations;
}

void ClientRenderer::InitMenu() {
    menu.Init();
    SetMenuVisible(true);
}

void ClientRenderer::SetMenuVisible(bool visible) {
    _menuVisible = visible;
    crosshairVisible = !visible;
    if (!menu.play)
        return;
    if (visible)
        menu.Show();
    else
        menu.Hide();
}

void ClientRenderer::FeedMenuMouse(const glm::ivec2& cursor, const glm::ivec2& screen, bool leftDown) {
    if (!_menuVisible.load() || !menu.play || screen.x <= 0 || screen.y <= 0)
        return;
    if (traceUi && screen != _tracedScreen) {
        // The button's rectangle in window pixels, as Element::IsOver measures it.
        _tracedScreen = screen;
        const float w = static_cast<float>(screen.x), h = static_cast<float>(screen.y);
        const glm::vec2 centre{(1.0f + menu.play->position.x) * 0.5f * w, (1.0f + menu.play->position.y) * 0.5f * h};
        const glm::vec2 extent = menu.play->size * 0.5f * h;
        std::printf("ui-rect menu:PLAY %.0f %.0f %.0f %.0f\n", centre.x - 0.5f * extent.x, centre.y - 0.5f * extent.y,
                    extent.x, extent.y);
        std::fflush(stdout);
    }
    for (game::graphics::ui::Button* button : {menu.play.get(), menu.quit.get()}) {
        button->Hover(cursor, screen, leftDown);
        if (leftDown != _leftWasDown)
            button->Click(cursor, screen, leftDown ? 1 : 0, 0);
    }
    _leftWasDown = leftDown;
}

void ClientRenderer::PressPlay() {
    if (menu.play)
        menu.play->action();
}

} // namespace client
