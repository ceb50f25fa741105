#include "ClientRenderer.hpp"

#include "game/Game.hpp"

#include <imgui.h>

#include <cstdio>

namespace client {

ClientRenderer::ClientRenderer(vesmo::graphics::Window* window, uint32_t flags)
    : GameRenderer(window, "Orkalin", flags) {}

void ClientRenderer::FrameUpdateUi() {
    GameRenderer::FrameUpdateUi();
    if (menuVisible.load() && ImGui::GetCurrentContext())
        DrawMenu();
}

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

void ClientRenderer::DrawMenu() {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    const float w = viewport->Size.x, h = viewport->Size.y;
    const float unit = 0.5f * h; // device units of the menu: half the screen height
    // Device y grows downwards, so PLAY (at -0.06) stands above QUIT (at +0.06).
    auto place = [&](float x, float y) { return ImVec2(0.5f * w + x * unit, 0.5f * h + y * unit); };
    const ImVec2 panelSize(0.55f * unit * 2.0f, 0.275f * unit * 2.0f);
    const ImVec2 buttonSize(0.5f * unit * 2.0f, 0.1f * unit * 2.0f);

    ImGui::SetNextWindowPos(place(0.0f, 0.0f), ImGuiCond_Always, ImVec2(0.5f, 0.5f));
    ImGui::SetNextWindowSize(panelSize, ImGuiCond_Always);
    ImGui::PushStyleColor(ImGuiCol_WindowBg, ImVec4(0.0f, 0.0f, 0.0f, 0.3f));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(0, 0));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowMinSize, ImVec2(1, 1));
    const ImGuiWindowFlags flags = ImGuiWindowFlags_NoDecoration | ImGuiWindowFlags_NoMove |
                                   ImGuiWindowFlags_NoSavedSettings | ImGuiWindowFlags_NoBringToFrontOnFocus;
    if (ImGui::Begin("##MainMenu", nullptr, flags)) {
        auto button = [&](const char* label, float y) {
            const ImVec2 centre = place(0.0f, y);
            ImGui::SetCursorScreenPos(ImVec2(centre.x - 0.5f * buttonSize.x, centre.y - 0.5f * buttonSize.y));
            return ImGui::Button(label, buttonSize);
        };
        if (button("PLAY", -0.06f))
            Game::Play();
        if (traceUi && ImGui::GetItemRectMin().y != _tracedPlayY) {
            _tracedPlayY = ImGui::GetItemRectMin().y;
            const ImVec2 a = ImGui::GetItemRectMin(), b = ImGui::GetItemRectMax();
            std::printf("ui-rect menu:PLAY %.0f %.0f %.0f %.0f\n", a.x, a.y, b.x - a.x, b.y - a.y);
            std::fflush(stdout);
        }
        if (button("QUIT", 0.06f))
            Game::Quit();
    }
    ImGui::End();
    ImGui::PopStyleVar(2);
    ImGui::PopStyleColor();
}

} // namespace client
