#pragma once
// What the node editor and the text view need of the host, in one place.
//
// The UI scale and the system clipboard belong to `Game` (its UI scaling and its window). Until the
// editor is wired to `Game`, these read the same values through ImGui: the UI scale is twice ImGui's
// global font scale, and the clipboard is ImGui's clipboard hooks, which a launcher binds to the
// window. Swap the bodies for `Game::GetUiScaling()` and `Game::window->SetClipboardText()` /
// `GetClipboardText()` when `Game` is present; nothing else in the editor touches the host.

#include <imgui.h>
#include <string>

namespace game::graphics::ui::host {

inline float GetUiScaling() { return 2.0f * ImGui::GetIO().FontGlobalScale; }

inline void SetClipboardText(const char* text) { ImGui::SetClipboardText(text); }

inline std::string GetClipboardText() {
    const char* text = ImGui::GetClipboardText();
    return text != nullptr ? std::string(text) : std::string();
}

} // namespace game::graphics::ui::host
