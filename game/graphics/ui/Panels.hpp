#pragma once
// game::graphics::ui::Panels: the ImGui windows of the game, drawn once a frame by
// GameRenderer::FrameUpdateUi.
//
//   "Settings"      F1. Tabs "Graphics##Settings", "Audio##Settings", "Input##Settings", "Help##Settings".
//                   Every row reads and writes the setting its label names; a change is written to the
//                   settings file at once (GameSettings::WriteConfig), and "Save Settings" writes it again.
//                   The graphics preset goes through the renderer's presets. A binding cell of the input
//                   table opens a popup that waits for the device's next input and stores it.
//   "Admin Panel"   F4, while the setting admin_privileges is on: the world's time and entity counts.
//   "Debug Window"  F7 (or the setting debug_window): frame rates, the server's load, the physics debug
//                   switches, the test sliders and the profiler's table.
// F3 toggles Game::uiVisible. The game-mode heading and the adventure goals stand in the help tab.
//
// Threads. Draw runs on the render thread, InputUpdate on the input loop; the open flags are plain
// values, as Game's other flags. Settings strings and bindings are edited under the settings' mutex.
//
// Tests and scripts: with `traceUi` set, the panels print "ui-rect <name> x y w h" (window pixels) for the
// controls a script may click, each time one appears or moves.

namespace game::graphics::ui {

class Panels {
public:
    Panels() = delete;

    // All panels; nothing without an ImGui context or settings.
    static void Draw();
    // The panels' keys (F1, F3, F4, F7), read from Game::window with their own edge detection.
    static void InputUpdate();
    // True while a panel is open (it wants the cursor).
    static bool AnyOpen();
    static void CloseAll();

    static bool debugWindowOpen;
    static bool traceUi;

    // Internals of the three windows, one file each.
    static void DrawSettings();
    static void DrawAdmin();
    static void DrawDebug();
    // Prints the last item's rectangle under `name` while traceUi is set.
    static void TraceItem(const char* name);
};

} // namespace game::graphics::ui
