// The "Settings" window of the panels (see Panels.hpp): graphics, audio, input with its binding capture,
// and help.

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/ui/Panels.hpp"
#include "game/input/Controller.hpp"
#include "vesmo/graphics/Window.hpp"
#include "vesmo/input/CodeNames.hpp"

#include <imgui.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace game::graphics::ui {

namespace {

using Binding = vesmo::filesystem::ConfigFile::InputBinding;

constexpr const char* kUpscalingAlgos[] = {"auto", "TAA", "NONE"};

constexpr const char* kResolutions[] = {
    "Ultra Performance  (fast with some visual artifacts in the distance)",
    "Performance  (for better quality and ok performance)",
    "Balanced  (almost indistinguishable from Full Quality)",
    "Quality  (overkill, you'll just bring your FPS down for nothing)",
    "Ultra Quality  (no... don't do it... don't even think about it)",
    "Full Quality  (you just want to see your GPU burn, don't you?)",
};

struct BindingRow {
    const char* name;
    Binding GameSettings::*field;
};
#define GAME_BINDING_ROW(name)                                                                                         \
    { #name, &GameSettings::input_binding_##name }
constexpr BindingRow kBindings[] = {
    GAME_BINDING_ROW(input_chat),
    GAME_BINDING_ROW(sit),
    GAME_BINDING_ROW(third_person),
    GAME_BINDING_ROW(zoom),
    GAME_BINDING_ROW(avatar_jump),
    GAME_BINDING_ROW(avatar_look_toggle),
    GAME_BINDING_ROW(get_info),
    GAME_BINDING_ROW(avatar_interact),
    GAME_BINDING_ROW(avatar_sprint),
    GAME_BINDING_ROW(avatar_crouch),
    GAME_BINDING_ROW(avatar_light),
    GAME_BINDING_ROW(avatar_jetpack),
    GAME_BINDING_ROW(avatar_inventory_toggle),
    GAME_BINDING_ROW(avatar_inventory_select_prev),
    GAME_BINDING_ROW(avatar_inventory_select_next),
    GAME_BINDING_ROW(avatar_inventory_select_1),
    GAME_BINDING_ROW(avatar_inventory_select_2),
    GAME_BINDING_ROW(avatar_inventory_select_3),
    GAME_BINDING_ROW(avatar_inventory_select_4),
    GAME_BINDING_ROW(avatar_inventory_select_5),
    GAME_BINDING_ROW(avatar_inventory_select_6),
    GAME_BINDING_ROW(avatar_inventory_select_7),
    GAME_BINDING_ROW(avatar_inventory_select_8),
    GAME_BINDING_ROW(avatar_inventory_select_9),
    GAME_BINDING_ROW(avatar_inventory_deselect),
    GAME_BINDING_ROW(avatar_tool_primary),
    GAME_BINDING_ROW(avatar_tool_secondary),
    GAME_BINDING_ROW(avatar_tool_configure),
    GAME_BINDING_ROW(avatar_tool_special_mode),
    GAME_BINDING_ROW(avatar_translate_forward),
    GAME_BINDING_ROW(avatar_translate_backward),
    GAME_BINDING_ROW(avatar_translate_left),
    GAME_BINDING_ROW(avatar_translate_right),
    GAME_BINDING_ROW(avatar_roll_left),
    GAME_BINDING_ROW(avatar_roll_right),
    GAME_BINDING_ROW(avatar_pitch_up),
    GAME_BINDING_ROW(avatar_pitch_down),
    GAME_BINDING_ROW(avatar_yaw_left),
    GAME_BINDING_ROW(avatar_yaw_right),
    GAME_BINDING_ROW(vehicle_gamepad_look_toggle),
    GAME_BINDING_ROW(vehicle_aux_0),
    GAME_BINDING_ROW(vehicle_aux_1),
    GAME_BINDING_ROW(vehicle_aux_2),
    GAME_BINDING_ROW(vehicle_aux_3),
    GAME_BINDING_ROW(vehicle_aux_4),
    GAME_BINDING_ROW(vehicle_aux_5),
    GAME_BINDING_ROW(vehicle_aux_6),
    GAME_BINDING_ROW(vehicle_aux_7),
    GAME_BINDING_ROW(vehicle_aux_8),
    GAME_BINDING_ROW(vehicle_aux_9),
    GAME_BINDING_ROW(vehicle_translate_up),
    GAME_BINDING_ROW(vehicle_translate_down),
    GAME_BINDING_ROW(vehicle_roll_left),
    GAME_BINDING_ROW(vehicle_roll_right),
    GAME_BINDING_ROW(vehicle_translate_forward),
    GAME_BINDING_ROW(vehicle_translate_backward),
    GAME_BINDING_ROW(vehicle_translate_left),
    GAME_BINDING_ROW(vehicle_translate_right),
    GAME_BINDING_ROW(vehicle_pitch_up),
    GAME_BINDING_ROW(vehicle_pitch_down),
    GAME_BINDING_ROW(vehicle_yaw_left),
    GAME_BINDING_ROW(vehicle_yaw_right),
    GAME_BINDING_ROW(vehicle_main_thrust),
};
#undef GAME_BINDING_ROW

// The binding a capture popup is filling, and what was held when it opened (that input doesn't count).
enum class Device { Keyboard, Mouse, Gamepad, Joystick };
struct Capture {
    const BindingRow* row = nullptr;
    const char* popupToOpen = nullptr; // opened after the table, at the popups' level of the id stack
    Device device = Device::Keyboard;
    bool held[vesmo::graphics::Window::KEY_LAST + 1] = {};
    bool buttonsHeld[vesmo::graphics::Window::MOUSE_BUTTON_LAST + 1] = {};
};
Capture g_capture;

void Save() { Game::settings->WriteConfig(); }

// Marks the settings for writing when the last widget changed them.
bool Changed(bool changed) {
    if (changed)
        Save();
    return changed;
}

// Through the renderer's presets, which set the quality settings they name.
void ApplyPreset(int index) {
    Game::settings->graphics_preset = index;
    if (Game::renderer)
        Game::renderer->ConfigureSettingsFromPreset();
    Save();
}

void DrawGraphicsTab() {
    GameSettings& s = *Game::settings;
    ImGui::Text("Rendering at %.1f FPS", Game::mainRenderingFramerate.ticksPerSecond);
    ImGui::Separator();
    ImGui::TextUnformatted("Performance / Quality");
    const int preset = s.graphics_preset;
    const int presetCount = Game::renderer ? static_cast<int>(Game::renderer->graphicsPresets.size()) : 0;
    const char* current = preset >= 0 && preset < presetCount ? Game::renderer->graphicsPresets[preset] : "";
    ImGui::SetNextItemWidth(-1.0f);
    const bool open = ImGui::BeginCombo("##Performance/Quality", current);
    Panels::TraceItem("settings:##Performance/Quality");
    if (open) {
        for (int i = 0; i < presetCount; ++i) {
            if (ImGui::Selectable(Game::renderer->graphicsPresets[i], i == preset))
                ApplyPreset(i);
            char name[48];
            std::snprintf(name, sizeof name, "settings:preset:%d", i);
            Panels::TraceItem(name);
        }
        ImGui::EndCombo();
    }
    ImGui::TextUnformatted("If you're still not happy, try \"Advanced Graphics\" below");
    ImGui::TextUnformatted("Use Custom Graphics Settings for more control over quality/performance");
    Changed(ImGui::Checkbox("V-Sync", &s.vsync));
    Changed(ImGui::SliderFloat("Field Of View", &s.fov, 40.0f, 120.0f, "%.0f"));
    Changed(ImGui::SliderFloat("Gamma", &s.gamma, 1.0f, 3.0f));
    Changed(ImGui::SliderFloat("Brightness", &s.brightness, 0.0f, 2.0f));
    Changed(ImGui::SliderFloat("Contrast", &s.contrast, 0.0f, 2.0f));
    Changed(ImGui::Checkbox("Tone Mapping", &s.tone_mapping));
    Changed(ImGui::Checkbox("Dithering", &s.dithering));
    if (Changed(ImGui::SliderFloat("UI Scaling", &s.ui_scaling, 0.5f, 3.0f)) && Game::renderer)
        Game::renderer->resetUiStyle = true;
    bool limit = s.framerate_limit_main_rendering > 0;
    if (Changed(ImGui::Checkbox("Limit Render Framerate", &limit)))
        s.framerate_limit_main_rendering = limit ? 60 : 0;
    if (limit)
        Changed(ImGui::SliderInt("##framerate_limit", &s.framerate_limit_main_rendering, 10, 240));
    if (ImGui::CollapsingHeader("Advanced Graphics")) {
        bool automatic = s.final_upscale == 0.0f;
        if (Changed(ImGui::Checkbox("Automatic Final Render Upscale (clamp to 1440p)", &automatic)))
            s.final_upscale = automatic ? 0.0f : 1.0f;
        if (!automatic)
            Changed(ImGui::SliderFloat("##final_upscale", &s.final_upscale, 1.0f, 4.0f));
        bool overrideScale = s.render_scale != 1.0f;
        if (Changed(ImGui::Checkbox("Override Render Scale", &overrideScale)))
            s.render_scale = overrideScale ? 0.75f : 1.0f;
        ImGui::TextUnformatted("Best performance: Uncheck and increase value to your taste");
        if (overrideScale) {
            Changed(ImGui::SliderFloat("Render Scale", &s.render_scale, 0.25f, 2.0f));
            ImGui::TextUnformatted("Higher value +FPS but +Fuzzy");
        }
        std::string algo;
        {
            std::lock_guard lock(s.mutex);
            algo = s.upscaling_algo;
        }
        if (ImGui::BeginCombo("Upscaling Algo", algo.c_str())) {
            for (const char* name : kUpscalingAlgos)
                if (ImGui::Selectable(name, strcasecmp(name, algo.c_str()) == 0)) {
                    {
                        std::lock_guard lock(s.mutex);
                        s.upscaling_algo = name;
                    }
                    Save();
                }
            ImGui::EndCombo();
        }
        Changed(ImGui::SliderFloat("Upscaling Sharpness", &s.upscaling_sharpness, 0.0f, 1.0f));
        int resolution = s.upscaling_quality_setting;
        const char* shown = resolution >= 0 && resolution < 6 ? kResolutions[resolution] : "";
        if (ImGui::BeginCombo("Resolution (DLSS mode)", shown)) {
            for (int i = 0; i < 6; ++i)
                if (ImGui::Selectable(kResolutions[i], i == resolution)) {
                    s.upscaling_quality_setting = i;
                    Save();
                }
            ImGui::EndCombo();
        }
    }
    if (ImGui::Button("Save Settings"))
        Save();
}

void DrawAudioTab() {
    GameSettings& s = *Game::settings;
    Changed(ImGui::SliderFloat("Master Volume", &s.master_volume, 0.0f, 1.0f));
    Changed(ImGui::SliderFloat("Entities Volume", &s.entities_volume, 0.0f, 1.0f));
    Changed(ImGui::SliderFloat("Interface Volume", &s.interface_volume, 0.0f, 1.0f));
    Changed(ImGui::SliderFloat("Environment Volume", &s.environment_volume, 0.0f, 1.0f));
}

void OpenCapture(const BindingRow& row, Device device, const char* popup) {
    g_capture.row = &row;
    g_capture.device = device;
    for (int key = 0; key <= vesmo::graphics::Window::KEY_LAST; ++key)
        g_capture.held[key] = Game::window && Game::window->GetKey(key);
    for (int button = 0; button <= vesmo::graphics::Window::MOUSE_BUTTON_LAST; ++button)
        g_capture.buttonsHeld[button] = Game::window && Game::window->GetMouseButton(button);
    g_capture.popupToOpen = popup;
}

// Waits for the device's next input; true once the binding took it.
bool PollCapture(Binding& binding) {
    vesmo::graphics::Window* window = Game::window;
    switch (g_capture.device) {
    case Device::Keyboard:
        for (int key = vesmo::graphics::Window::KEY_FIRST; window && key <= vesmo::graphics::Window::KEY_LAST; ++key) {
            const bool down = window->GetKey(key);
            if (down && !g_capture.held[key]) {
                binding.key = key;
                return true;
            }
            g_capture.held[key] = down;
        }
        return false;
    case Device::Mouse:
        for (int button = 0; window && button <= vesmo::graphics::Window::MOUSE_BUTTON_LAST; ++button) {
            const bool down = window->GetMouseButton(button);
            if (down && !g_capture.buttonsHeld[button]) {
                binding.mouseButton = button;
                return true;
            }
            g_capture.buttonsHeld[button] = down;
        }
        return false;
    case Device::Gamepad: {
        for (int id = 0; id <= vesmo::graphics::Window::JOYSTICK_LAST; ++id) {
            vesmo::graphics::Window::GamepadState state{};
            if (!vesmo::graphics::Window::GetGamepadState(id, &state))
                continue;
            for (int b = 0; b < vesmo::graphics::Window::GAMEPAD_BUTTON_COUNT; ++b)
                if (state.buttons[b]) {
                    binding.gamepadButton = b;
                    binding.gamepadAxis = -1;
                    return true;
                }
            for (int a = 0; a < vesmo::graphics::Window::GAMEPAD_AXIS_COUNT; ++a) {
                const float rest = a >= 4 ? -1.0f : 0.0f;
                if (std::abs(state.axes[a] - rest) > 0.5f) {
                    binding.gamepadAxis = static_cast<int16_t>(a);
                    binding.gamepadAxisDirection = state.axes[a] > rest ? 1 : -1;
                    binding.gamepadButton = -1;
                    return true;
                }
            }
        }
        return false;
    }
    case Device::Joystick:
        for (int id = 0; id <= vesmo::graphics::Window::JOYSTICK_LAST; ++id) {
            if (!vesmo::graphics::Window::JoystickPresent(id) || vesmo::graphics::Window::JoystickIsGamepad(id))
                continue;
            int count = 0;
            const unsigned char* buttons = vesmo::graphics::Window::GetJoystickButtons(id, &count);
            for (int b = 0; b < count; ++b)
                if (buttons[b]) {
                    binding.joystickButton = b;
                    binding.joystickAxis = -1;
                    return true;
                }
            const float* axes = vesmo::graphics::Window::GetJoystickAxes(id, &count);
            for (int a = 0; a < count; ++a)
                if (std::abs(axes[a]) > 0.5f) {
                    binding.joystickAxis = static_cast<int16_t>(a);
                    binding.joystickAxisDirection = axes[a] > 0 ? 1 : -1;
                    binding.joystickButton = -1;
                    return true;
                }
        }
        return false;
    }
    return false;
}

void DrawCapturePopup(const char* id, const char* title, const char* prompt) {
    if (!ImGui::BeginPopupModal(id, nullptr, ImGuiWindowFlags_AlwaysAutoResize))
        return;
    ImGui::TextUnformatted(title);
    ImGui::TextUnformatted(prompt);
    if (g_capture.row)
        ImGui::Text("Binding: %s", g_capture.row->name);
    const bool cancel = ImGui::Button("Cancel");
    // A click on Cancel is no mouse binding.
    const bool overCancel = ImGui::IsItemHovered();
    bool done = false;
    if (g_capture.row && !cancel && !(overCancel && g_capture.device == Device::Mouse)) {
        Binding& binding = (*Game::settings).*(g_capture.row->field);
        std::unique_lock lock(Game::settings->mutex);
        done = PollCapture(binding);
        lock.unlock();
        if (done) {
            Save();
            std::printf("Settings: %s bound\n", g_capture.row->name);
            std::fflush(stdout);
        }
    }
    if (cancel || done) {
        g_capture.row = nullptr;
        ImGui::CloseCurrentPopup();
    }
    ImGui::EndPopup();
}

// A gamepad or joystick cell: the part that is set, in the panel's words.
void DeviceCellText(char* text, size_t size, const char* button, const char* axis, int buttonCode, int axisCode,
                    int index, const char* empty) {
    if (buttonCode >= 0)
        std::snprintf(text, size, "%s (%d) button %d", button, index, buttonCode);
    else if (axisCode >= 0)
        std::snprintf(text, size, "%s (%d) axis %d", axis, index, axisCode);
    else
        std::snprintf(text, size, "%s", empty);
}

void DrawInputTab() {
    GameSettings& s = *Game::settings;
    Changed(ImGui::SliderFloat("MouseLook Sensitivity", &s.look_sensitivity, 0.1f, 10.0f));
    Changed(ImGui::Checkbox("MouseLook Invert Y", &s.avatar_mouselook_invert_y));
    Changed(ImGui::SliderFloat("Gamepad Axis Deadzone", &s.input_gamepad_axis_deadzone, 0.0f, 0.9f));
    Changed(ImGui::SliderFloat("Joystick Axis Deadzone", &s.input_joystick_axis_deadzone, 0.0f, 0.9f));
    const ImGuiTableFlags flags = ImGuiTableFlags_Borders | ImGuiTableFlags_RowBg | ImGuiTableFlags_ScrollY;
    if (ImGui::BeginTable("##input_bindings", 5, flags, ImVec2(0, 360))) {
        ImGui::TableSetupScrollFreeze(0, 1);
        for (const char* column : {"Binding", "Keyboard", "Mouse", "Gamepad", "Joystick"})
            ImGui::TableSetupColumn(column);
        ImGui::TableHeadersRow();
        for (const BindingRow& row : kBindings) {
            Binding binding;
            {
                std::lock_guard lock(s.mutex);
                binding = s.*(row.field);
            }
            ImGui::PushID(row.name);
            ImGui::TableNextRow();
            ImGui::TableNextColumn();
            ImGui::TextUnformatted(row.name);
            ImGui::TableNextColumn();
            const char* key = binding.key >= 0 ? vesmo::input::code_to_string("KEY", binding.key) : "[key]";
            if (ImGui::Selectable(key))
                OpenCapture(row, Device::Keyboard, "capture_keyboard_binding");
            char name[96];
            std::snprintf(name, sizeof name, "settings:key:%s", row.name);
            Panels::TraceItem(name);
            ImGui::TableNextColumn();
            const char* button = binding.mouseButton >= 0
                                     ? vesmo::input::code_to_string("MOUSE_BUTTON", binding.mouseButton)
                                     : "[mouse button]";
            if (ImGui::Selectable(button))
                OpenCapture(row, Device::Mouse, "capture_mousebutton_binding");
            ImGui::TableNextColumn();
            char text[96];
            DeviceCellText(text, sizeof text, "GAMEPAD_BUTTON", "GAMEPAD_AXIS", binding.gamepadButton,
                           binding.gamepadAxis, binding.gamepadIndex, "[gamepad]");
            if (ImGui::Selectable(text))
                OpenCapture(row, Device::Gamepad, "capture_gamepad_binding");
            if (binding.gamepadAxis >= 0) {
                bool inversed = binding.gamepadAxisDirection < 0;
                if (ImGui::Checkbox("Inversed##gamepad", &inversed)) {
                    {
                        std::lock_guard lock(s.mutex);
                        (s.*(row.field)).gamepadAxisDirection = inversed ? -1 : 1;
                    }
                    Save();
                }
            }
            ImGui::TableNextColumn();
            DeviceCellText(text, sizeof text, "JOYSTICK_BUTTON", "JOYSTICK_AXIS", binding.joystickButton,
                           binding.joystickAxis, binding.joystickIndex, "[joystick]");
            if (ImGui::Selectable(text))
                OpenCapture(row, Device::Joystick, "capture_joystick_binding");
            if (binding.joystickAxis >= 0) {
                bool inversed = binding.joystickAxisDirection < 0;
                if (ImGui::Checkbox("Inversed##joystick", &inversed)) {
                    {
                        std::lock_guard lock(s.mutex);
                        (s.*(row.field)).joystickAxisDirection = inversed ? -1 : 1;
                    }
                    Save();
                }
            }
            ImGui::PopID();
        }
        ImGui::EndTable();
    }
    if (g_capture.popupToOpen) {
        ImGui::OpenPopup(g_capture.popupToOpen);
        g_capture.popupToOpen = nullptr;
    }
}

// The binding's text for the help lines; "[NONE]" when unbound.
const char* Bound(const Binding& binding) { return game::input::Controller::BindingStr(binding); }

void DrawHelpTab() {
    GameSettings& s = *Game::settings;
    const char* mode = Game::_mode == 0   ? "Game Mode: Creative"
                       : Game::_mode == 1 ? "Game Mode: Adventure"
                                          : "Game Mode: Survival";
    ImGui::TextUnformatted(mode);
    if (Game::_mode == 1 && ImGui::TreeNodeEx("Goals##Adventure", ImGuiTreeNodeFlags_DefaultOpen)) {
        for (const char* goal :
             {"Pick up rocks and process them in your inventory", "Craft a RockRakeTool to pick more rocks faster",
              "Craft a ConstructorTool and build a platform",
              "Build a Mining Rig (MiningDrill, GroundAnchor, Container, Battery, ToggleButton)", "Build vehicles",
              "Go to the Moon (figure it out yourself)"})
            ImGui::BulletText("%s", goal);
        ImGui::TreePop();
    }
    ImGui::Separator();
    std::unique_lock lock(s.mutex); // the bindings' texts
    ImGui::TextUnformatted("Quick-Press LEFT_ALT to release mouse cursor");
    ImGui::Text("Press %s to toggle chat window", Bound(s.input_binding_input_chat));
    ImGui::Text("Press %s to toggle backpack (inventory)", Bound(s.input_binding_avatar_inventory_toggle));
    ImGui::Text("Press %s through %s to select an item/tool in your belt",
                Bound(s.input_binding_avatar_inventory_select_1), Bound(s.input_binding_avatar_inventory_select_9));
    ImGui::Text("Click %s to use tool's primary function", Bound(s.input_binding_avatar_tool_primary));
    ImGui::Text("Click %s to use tool's secondary function", Bound(s.input_binding_avatar_tool_secondary));
    ImGui::Text("Press %s to interact with the component you're aiming", Bound(s.input_binding_avatar_interact));
    ImGui::Text("Hold %s to configure the current tool", Bound(s.input_binding_avatar_tool_configure));
    ImGui::Text("Hold %s to use special mode on your tool", Bound(s.input_binding_avatar_tool_special_mode));
    ImGui::Text("Press %s for external view (zoom with mouse wheel)", Bound(s.input_binding_third_person));
    ImGui::Text("Press or Hold %s to Zoom in/out", Bound(s.input_binding_zoom));
    ImGui::Text("Press %s to toggle Headlamp", Bound(s.input_binding_avatar_light));
    ImGui::Text("Press %s to toggle Jetpack", Bound(s.input_binding_avatar_jetpack));
    ImGui::Text("Press %s to get info or edit the component you're aiming", Bound(s.input_binding_get_info));
    ImGui::Text("Press %s to sit on the seat you're aiming", Bound(s.input_binding_sit));
    ImGui::Text("Hold %s for one second to exit a seat", Bound(s.input_binding_sit));
    lock.unlock();
    for (const char* line :
         {"Press F1 to toggle Settings Panel (this one)", "Press F2 to toggle Drone Mode (NoClip)",
          "Press F3 to toggle UI overlays", "Press F4 to toggle Admin Panel", "Press F7 to toggle Dev Window",
          "Press Shift+F10 to respawn (drops inventory in adventure mode)", "Press F11 to toggle Full Screen mode",
          "Press F12 to take a screenshot", "Hold ESCAPE for two seconds to quit the game"})
        ImGui::TextUnformatted(line);
    Changed(ImGui::Checkbox("Show Help Tooltips", &s.show_help_tooltips));
    // The browser is started in the background (" &") so that the game doesn't wait for it.
    auto open = [](const char* url) {
        const std::string command = std::string("xdg-open ") + url + " &";
        if (std::system(command.c_str()) != 0)
            std::fprintf(stderr, "Could not start: %s\n", command.c_str());
    };
    if (ImGui::Button("Documentation"))
        open("https://orkalin.example.org/docs");
    ImGui::SameLine();
    if (ImGui::Button("Get Help on Discord"))
        open("https://discord.gg/orkalin");
    ImGui::SameLine();
    if (ImGui::Button("Tutorial Videos"))
        open("https://www.youtube.com/@orkalin/playlists");
}

} // namespace

void Panels::DrawSettings() {
    const ImGuiViewport* viewport = ImGui::GetMainViewport();
    ImGui::SetNextWindowPos(ImVec2(viewport->WorkPos.x + 40, viewport->WorkPos.y + 40), ImGuiCond_FirstUseEver);
    ImGui::SetNextWindowSize(ImVec2(760, 600), ImGuiCond_FirstUseEver);
    if (!ImGui::Begin("Settings", &Game::settingsWindowOpen)) {
        ImGui::End();
        return;
    }
    if (ImGui::BeginTabBar("##SettingsTabs")) {
        if (ImGui::BeginTabItem("Graphics##Settings")) {
            DrawGraphicsTab();
            ImGui::EndTabItem();
        }
        if (ImGui::BeginTabItem("Audio##Settings")) {
            DrawAudioTab();
            ImGui::EndTabItem();
        }
        const bool inputTab = ImGui::BeginTabItem("Input##Settings");
        Panels::TraceItem("settings:tab:Input");
        if (inputTab) {
            DrawInputTab();
            DrawCapturePopup("capture_keyboard_binding", "Edit Keyboard Binding", "Press a key on your keyboard...");
            DrawCapturePopup("capture_mousebutton_binding", "Edit MouseButton Binding",
                             "Click a button on your mouse...");
            DrawCapturePopup("capture_gamepad_binding", "Edit Gamepad Binding",
                             "Press a button or move an axis on your gamepad...");
            DrawCapturePopup("capture_joystick_binding", "Edit Joystick Binding",
                             "Press a button or move an axis on a joystick...");
            ImGui::EndTabItem();
        }
        if (ImGui::BeginTabItem("Help##Settings")) {
            DrawHelpTab();
            ImGui::EndTabItem();
        }
        ImGui::EndTabBar();
    }
    ImGui::End();
}

} // namespace game::graphics::ui
