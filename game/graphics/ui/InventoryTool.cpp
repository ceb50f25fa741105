// InventoryUi::Tool's radial configuration menu: a ring of entries chosen by the direction of the look
// input while the tool-configure action is held.

#include "game/graphics/ui/InventoryUi.hpp"

#include "game/Game.hpp"
#include "game/input/Controller.hpp"

#include "vesmo/audio/Studio.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace game::graphics::ui {

namespace {

constexpr float TwoPi = 2.0f * std::numbers::pi_v<float>;

float Sign(double value) { return value > 0.0 ? 1.0f : (value < 0.0 ? -1.0f : 0.0f); }

void PlayTick(float intensity) {
    if (Game::audio == nullptr)
        return;
    // One instance per studio, restarted for each tick. It is never destroyed: the launcher may destroy
    // the studio before static objects go, and an event must not outlive its studio.
    static vesmo::audio::Studio* studio = nullptr;
    static vesmo::audio::Studio::Event* tick = nullptr;
    if (studio != Game::audio) {
        studio = Game::audio;
        tick = new vesmo::audio::Studio::Event(studio, "event:/game/tick");
    }
    tick->SetParameter("intensity", intensity);
    tick->Start();
}

} // namespace

int InventoryUi::Tool::RadialSector(float angle, int count) {
    if (count <= 0)
        return -1;
    const float step = TwoPi / static_cast<float>(count);
    // Entry i sits at i * step + (pi / 2) / count and owns half a step to each side.
    const float first = (std::numbers::pi_v<float> * 0.5f) / static_cast<float>(count);
    float offset = std::fmod(angle - first + step * 0.5f, TwoPi);
    if (offset < 0.0f)
        offset += TwoPi;
    return std::min(static_cast<int>(offset / step), count - 1);
}

bool InventoryUi::Tool::ConfigureWithRadialMenu(int* value, int first, int count, float size,
                                                std::function<void(int)> drawEntry) {
    using game::input::Controller;
    static float yaw = 0.0f;
    static float pitch = 0.0f;
    if (count <= 0 || ImGui::IsWindowFocused(ImGuiFocusedFlags_AnyWindow))
        return false;
    if (!Controller::GetAvatarToolConfigure())
        return false;
    if (Controller::GetAvatarToolConfigure_Delta() > 0) {
        yaw = 0.0f;
        pitch = 0.0f;
    }

    const float scale = Game::GetUiScaling();
    const float entry = size * std::sqrt(2.0f) * scale;
    const float radius = entry / (2.0f * std::sin(std::numbers::pi_v<float> / static_cast<float>(count)));
    const float side = 2.0f * (radius + entry * 0.5f);
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    const ImVec2 center(viewport->Pos.x + viewport->Size.x * 0.5f, viewport->Pos.y + viewport->Size.y * 0.5f);
    ImGui::SetNextWindowPos(center, ImGuiCond_Always, ImVec2(0.5f, 0.5f));
    ImGui::SetNextWindowSize(ImVec2(side, side), ImGuiCond_Always);
    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, ImVec2(0.0f, 0.0f));
    ImGui::PushStyleVar(ImGuiStyleVar_WindowBorderSize, 0.0f);
    ImGui::PushStyleColor(ImGuiCol_Button, ImVec4(0.0f, 0.0f, 0.0f, 0.0f));
    ImGui::PushStyleColor(ImGuiCol_ButtonHovered, ImVec4(0.0f, 0.0f, 0.0f, 0.0f));
    ImGui::PushStyleColor(ImGuiCol_ButtonActive, ImVec4(0.0f, 0.0f, 0.0f, 0.0f));
    ImGui::Begin("Tool Configuration", nullptr, static_cast<ImGuiWindowFlags>(726015));

    double yawInput = Controller::GetAvatarYaw();
    double pitchInput = Controller::GetAvatarPitch();
    if (Game::settings && Game::settings->avatar_mouselook_invert_y)
        pitchInput = -pitchInput;
    if (yaw == 0.0f && pitch == 0.0f) {
        yaw += Sign(yawInput) * 0.5f;
        pitch += Sign(pitchInput) * 0.5f;
    } else {
        yaw = std::clamp(yaw + 2.0f * static_cast<float>(yawInput), -1.0f, 1.0f);
        pitch = std::clamp(pitch + 2.0f * static_cast<float>(pitchInput), -1.0f, 1.0f);
    }
    const float length = std::hypot(yaw, pitch);
    if (length > 1.0f) {
        yaw /= length;
        pitch /= length;
    }
    float angle = std::atan2(pitch, yaw);
    if (angle < 0.0f)
        angle += TwoPi;

    bool changed = false;
    const bool pointing = std::fabs(yaw) > 0.25f || std::fabs(pitch) > 0.25f;
    const int chosen = RadialSector(angle, count);
    const float step = TwoPi / static_cast<float>(count);
    for (int i = 0; i < count; ++i) {
        if (pointing && i == chosen && *value != first + i) {
            *value = first + i;
            changed = true;
        }
        const float at = static_cast<float>(i) * step + (std::numbers::pi_v<float> * 0.5f) / static_cast<float>(count);
        ImGui::SetCursorScreenPos(
            ImVec2(center.x + radius * std::cos(at) - entry * 0.5f, center.y + radius * std::sin(at) - entry * 0.5f));
        drawEntry(first + i);
    }
    ImGui::GetWindowDrawList()->AddCircleFilled(ImVec2(center.x + yaw * radius, center.y + pitch * radius),
                                                6.0f * scale, IM_COL32(255, 255, 255, 200));
    ImGui::End();
    ImGui::PopStyleColor(3);
    ImGui::PopStyleVar(2);
    if (changed)
        PlayTick(std::hypot(yaw, pitch));
    return changed;
}

} // namespace game::graphics::ui
