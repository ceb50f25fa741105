// The library's look in Dear ImGui: the font, the style and its scaling, and the help tooltip.

#include "game/Game.hpp"

#include "game/graphics/ui/InventoryUi.hpp"
#include "game/graphics/ui/MultiFont.hpp"
#include "game/input/Controller.hpp"

#include <imgui.h>

void Game::LoadFonts() {
    // ImGui asserts on a missing file; AddFontFile says what is missing instead.
    game::AddFontFile("game/graphics/ui/fonts/SourceCodePro-Semibold.otf", 32.0f);
    game::graphics::ui::InventoryUi::LoadFonts();
}

void Game::SetupUiStyle() {
    ImGuiStyle& style = ImGui::GetStyle();
    style.Alpha = 0.8f;
    style.WindowPadding = ImVec2(10, 10);
    style.WindowRounding = 0;
    style.WindowBorderSize = 2;
    style.WindowMinSize = ImVec2(300, 100);
    style.WindowTitleAlign = ImVec2(0.5f, 0.5f);
    style.FramePadding = ImVec2(10, 5);
    style.FrameRounding = 4;
    style.TabRounding = 4;
    style.TabBorderSize = 2;

    ImVec4* colors = style.Colors;
    colors[ImGuiCol_Text] = ImVec4(1, 1, 1, 1);
    colors[ImGuiCol_WindowBg] = ImVec4(0, 0, 0, 1);
    colors[ImGuiCol_Border] = ImVec4(0, 0, 0, 0);
    colors[ImGuiCol_BorderShadow] = ImVec4(0, 0, 0, 0.5f);
    colors[ImGuiCol_TitleBg] = ImVec4(0, 0, 0, 0.7f);
    colors[ImGuiCol_TitleBgActive] = ImVec4(0, 0, 0, 0.8f);
    colors[ImGuiCol_TitleBgCollapsed] = ImVec4(0, 0, 0, 0.3f);
    colors[ImGuiCol_Tab] = ImVec4(0.5f, 0.6f, 0.7f, 1);
    colors[ImGuiCol_TabHovered] = ImVec4(0.1f, 0.1f, 0.1f, 1);
    colors[ImGuiCol_TabActive] = ImVec4(0.1f, 0.3f, 0.5f, 1);
    colors[ImGuiCol_TabUnfocusedActive] = ImVec4(0, 0, 0, 1);
    // The colour that follows in ImGui's list (ImGuiCol_PlotLines in 1.86).
    colors[ImGuiCol_TabUnfocusedActive + 1] = ImVec4(0.1f, 0.3f, 0.5f, 1);

    const float scaling = settings->ui_scaling;
    ImGui::GetIO().FontGlobalScale = 0.5f * scaling; // fonts are loaded at 32: 16 at a scaling of 1
    style.ScaleAllSizes(scaling);
}

float Game::GetUiScaling() {
    if (!ImGui::GetCurrentContext())
        return 1.0f;
    return 2.0f * ImGui::GetIO().FontGlobalScale;
}

bool Game::ShowHelpTooltip() {
    using game::input::Controller;
    if (!settings->show_help_tooltips || ImGui::IsWindowFocused(ImGuiFocusedFlags_AnyWindow) || !_mouseLook)
        return false;
    // A tool in use has the player's attention.
    if (Controller::GetAvatarToolPrimary() != 0 || Controller::GetAvatarToolSecondary() != 0 ||
        Controller::GetAvatarToolConfigure())
        return false;
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    ImGui::SetNextWindowPos(ImVec2(viewport->WorkSize.x, 0.0f), ImGuiCond_Always, ImVec2(1.0f, 0.0f));
    ImGui::SetNextWindowBgAlpha(0.5f);
    ImGui::Begin("Help Tooltips", nullptr, 725871);
    ImGui::Text("Help Tooltips (Press F1 and uncheck \"Show Help Tooltips\" to disable)");
    ImGui::Separator();
    ImGui::End();
    return true;
}
