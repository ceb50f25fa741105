#include "game/graphics/ui/Panels.hpp"

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "vesmo/cpu/Profiler.hpp"
#include "vesmo/graphics/Window.hpp"

#include <imgui.h>

#include <cstdio>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

namespace game::graphics::ui {

bool Panels::debugWindowOpen = false;
bool Panels::traceUi = false;

namespace {

constexpr int kKeyF1 = 290;
constexpr int kKeyF3 = 292;
constexpr int kKeyF4 = 293;
constexpr int kKeyF7 = 296;

bool g_showMetrics = false;
bool g_debugView = false;

// Where each traced control was last printed; render thread only.
std::unordered_map<std::string, ImVec4>& TracedRects() {
    static std::unordered_map<std::string, ImVec4> rects;
    return rects;
}

} // namespace

void Panels::TraceItem(const char* name) {
    if (!traceUi)
        return;
    const ImVec2 a = ImGui::GetItemRectMin(), b = ImGui::GetItemRectMax();
    const ImVec4 rect(a.x, a.y, b.x - a.x, b.y - a.y);
    ImVec4& last = TracedRects()[name];
    if (last.x == rect.x && last.y == rect.y && last.z == rect.z && last.w == rect.w)
        return;
    last = rect;
    std::printf("ui-rect %s %.0f %.0f %.0f %.0f\n", name, rect.x, rect.y, rect.z, rect.w);
    std::fflush(stdout);
}

void Panels::Draw() {
    if (!ImGui::GetCurrentContext() || !Game::settings)
        return;
    if (Game::settingsWindowOpen)
        DrawSettings();
    if (Game::adminWindowOpen && Game::settings->admin_privileges)
        DrawAdmin();
    if (debugWindowOpen || Game::settings->debug_window)
        DrawDebug();
    if (g_showMetrics)
        ImGui::ShowMetricsWindow(&g_showMetrics);
}

void Panels::InputUpdate() {
    static bool down[4] = {};
    const int keys[4] = {kKeyF1, kKeyF3, kKeyF4, kKeyF7};
    for (int i = 0; i < 4; ++i) {
        const bool now = Game::window && Game::window->GetKey(keys[i]);
        if (now && !down[i]) {
            switch (keys[i]) {
            case kKeyF1: Game::settingsWindowOpen = !Game::settingsWindowOpen; break;
            case kKeyF3: Game::uiVisible = !Game::uiVisible; break;
            case kKeyF4: Game::adminWindowOpen = !Game::adminWindowOpen; break;
            default: debugWindowOpen = !debugWindowOpen; break;
            }
        }
        down[i] = now;
    }
}

bool Panels::AnyOpen() {
    const bool admin = Game::adminWindowOpen && Game::settings && Game::settings->admin_privileges;
    return Game::settingsWindowOpen || admin || debugWindowOpen;
}

void Panels::CloseAll() {
    Game::settingsWindowOpen = false;
    Game::adminWindowOpen = false;
    debugWindowOpen = false;
}

void Panels::DrawAdmin() {
    ImGui::SetNextWindowSize(ImVec2(520, 360), ImGuiCond_FirstUseEver);
    if (!ImGui::Begin("Admin Panel", &Game::adminWindowOpen)) {
        ImGui::End();
        return;
    }
    ImGui::Text("World: %s", Game::_current_world.c_str());
    ImGui::Text("Server time: %.3f s", Game::timestamp);
    ImGui::Checkbox("Server clock running", &Game::timeActive);
    size_t entities = 0, moving = 0;
    {
        std::shared_lock lock(game::entity::ServerSideEntity::_sharedObjectsMutex);
        for (const auto& [id, entity] : game::entity::ServerSideEntity::_sharedObjects)
            if (entity) {
                ++entities;
                moving += entity->isDynamic ? 1 : 0;
            }
    }
    ImGui::Text("Server-side entities: %zu (%zu dynamic)", entities, moving);
    ImGui::Checkbox("Time every vehicle", &Game::serverSideEntityPerformanceMetrics);
    if (Game::serverSideEntityPerformanceMetrics && ImGui::BeginTable("##vehicle_times", 2)) {
        ImGui::TableSetupColumn("Vehicle");
        ImGui::TableSetupColumn("Average (ms)");
        ImGui::TableHeadersRow();
        for (const auto& [id, seconds] : Game::serverSideEntityPerformance_avg_time) {
            ImGui::TableNextRow();
            ImGui::TableNextColumn();
            ImGui::TextUnformatted(id.ToString().c_str());
            ImGui::TableNextColumn();
            ImGui::Text("%.3f", 1000.0 * seconds);
        }
        ImGui::EndTable();
    }
    ImGui::Text("Physics step: %.3f ms on average", 1000.0 * Game::serverSidePhysicsAvgTime);
    ImGui::End();
}

void Panels::DrawDebug() {
    ImGui::SetNextWindowSize(ImVec2(560, 520), ImGuiCond_FirstUseEver);
    if (!ImGui::Begin("Debug Window", &debugWindowOpen)) {
        ImGui::End();
        return;
    }
    if (ImGui::CollapsingHeader("Debug Info", ImGuiTreeNodeFlags_DefaultOpen)) {
        ImGui::Text("Rendering at %.1f FPS", Game::mainRenderingFramerate.ticksPerSecond);
        ImGui::Text("Main loop: %.1f per second, input loop: %.1f per second", Game::gameFramerate.ticksPerSecond,
                    Game::inputFramerate.ticksPerSecond);
        if (Game::_is_server) {
            ImGui::Text("Server Load: %3.1f %%", 100.0 * Game::serverFramerate.load);
            ImGui::Text("Server Ticks per second: %2.1f", Game::serverFramerate.ticksPerSecond);
        }
    }
    ImGui::Checkbox("Show ImGui Metrics", &g_showMetrics);
    if (Game::renderer) {
        ImGui::Checkbox("Debug View", &g_debugView);
        Game::renderer->renderFlags =
            g_debugView ? (Game::renderer->renderFlags | 8) : (Game::renderer->renderFlags & ~8);
        ImGui::SliderFloat("Debug View Scale", &Game::renderer->debugValue, 0.0f, 10.0f);
    }
    if (Game::_is_server)
        ImGui::Checkbox("Debug Server-Side Physics", &Game::debugServerSidePhysics);
    ImGui::Checkbox("Debug Client-Side Physics", &Game::debugClientSidePhysics);
    for (int i = 0; i < 5; ++i) {
        char label[32];
        std::snprintf(label, sizeof label, "Test Slider %d", i);
        ImGui::SliderFloat(label, &Game::testSlider[i], 0.0f, 1.0f);
    }
    if (ImGui::CollapsingHeader("Profiling (milliseconds)")) {
        bool capturing = vesmo::cpu::Profiler::IsCapturing();
        if (ImGui::Checkbox("Capture", &capturing))
            vesmo::cpu::Profiler::SetCapturing(capturing);
        if (ImGui::BeginTable("##profiling", 4)) {
            ImGui::TableSetupColumn("Scope");
            ImGui::TableSetupColumn("Average");
            ImGui::TableSetupColumn("Last");
            ImGui::TableSetupColumn("Longest");
            ImGui::TableHeadersRow();
            for (const vesmo::cpu::Profiler::Entry& entry : vesmo::cpu::Profiler::Snapshot()) {
                ImGui::TableNextRow();
                ImGui::TableNextColumn();
                ImGui::TextUnformatted(entry.name.c_str());
                ImGui::TableNextColumn();
                ImGui::Text("%.3f", entry.AverageMs());
                ImGui::TableNextColumn();
                ImGui::Text("%.3f", entry.lastMs);
                ImGui::TableNextColumn();
                ImGui::Text("%.3f", entry.maxMs);
            }
            ImGui::EndTable();
        }
        if (ImGui::Button("Reset All Profiling"))
            vesmo::cpu::Profiler::Reset();
    }
    ImGui::End();
}

} // namespace game::graphics::ui
