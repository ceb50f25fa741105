#pragma once
// What the node editor and the text view need of the host, in one place: the UI scale and the system
// clipboard, both through `Game`. Without a window (a bare ImGui context in a tool) the clipboard falls
// back to ImGui's own clipboard hooks.

#include "game/Game.hpp"
#include "vesmo/graphics/Window.hpp"

#include <imgui.h>
#include <string>

namespace game::graphics::ui::host {

inline float GetUiScaling() { return Game::GetUiScaling(); }

inline void SetClipboardText(const char* text) {
    if (Game::window != nullptr)
        Game::window->SetClipboardText(text);
    else
        ImGui::SetClipboardText(text);
}

inline std::string GetClipboardText() {
    if (Game::window != nullptr)
        return Game::window->GetClipboardText();
    const char* text = ImGui::GetClipboardText();
    return text != nullptr ? std::string(text) : std::string();
}

} // namespace game::graphics::ui::host
