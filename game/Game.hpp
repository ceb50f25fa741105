#pragma once
// Game: the hub of the library. A class without instances whose statics are all public, so that the
// launcher and the modules reach them by their exported names.
//
// The launcher fills what it owns (window, renderer, audio, settings, config, _mods, _mode, _is_server,
// _current_world), loads the GAME_Init, GAME_Mod and SERVER_Mod modules, and drives the entry points from
// its own loops:
//
//   Start → Ready → { Update, ClientUpdate | InputUpdate (+ _Play / _Station) | ServerUpdate |
//                     renderer->Frame() } while isActive → Stop      (and Start again if it likes)
//
// Start, Stop and Update dereference renderer, audio and settings without a test: set them first.
// Nothing here catches: an exception out of a hook or an entity reaches the launcher, with the step's
// locks and profiler scopes released on the way.
//
// Threads. The launcher's loops may run Update, ServerUpdate, InputUpdate and the renderer's frame at once.
// Module registries are read under their shared locks, so a hook may be entered from several loops.
// Work for the main loop goes through Synchronize. The flags (_mouseLook, _inputMode, uiVisible, ...) are
// plain values read and written without a lock; isActive and physicsDebugCollidersUpdated are atomics
// because they are tested without one.
//
// Channels (GetIMC/SetIMC): short texts by name, up to 4095 characters, in fixed arrays inside the map's
// nodes. Reads and overwrites of an existing channel share the lock; only the first write of a name takes
// it exclusively, so the steady state allocates nothing and never blocks a reader. Two writers of one
// channel at once leave some mix of their texts: a channel has one writer by convention.

#include "game/entity/common.hpp"
#include "game/graphics/ui/InventoryUi.hpp"
#include "game/host/Config.hpp"
#include "game/host/GameSettings.hpp"
#include "game/physics/Debug.hpp"
#include "game/physics/Environment.hpp"
#include "game/webview/ElectronWebview.hpp"

#include "vesmo/core/FPSCounter.hpp"
#include "vesmo/core/SharedMutex.hpp"

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace vesmo::graphics {
class Window;
}
namespace vesmo::audio {
class Studio;
}
namespace game::graphics {
class GameRenderer;
}
namespace game::audio {
class EnvironmentAudio;
}
namespace game::input {
class Joystick;
}

class Game {
public:
    Game() = delete;

    // The physics debug overlay's records (game/physics/Debug.hpp).
    using PhysicsColliderDebug = game::physics::DebugCollider;
    using PhysicsLineDebug = game::physics::DebugLine;

    enum InputMode : uint8_t { InputMode_Ui = 0, InputMode_Play = 1, InputMode_Station = 2 };

    // ---- the engine's and the library's main objects
    static vesmo::graphics::Window* window;                 // launcher
    static game::graphics::GameRenderer* renderer;          // launcher
    static vesmo::audio::Studio* audio;                     // launcher
    static std::unique_ptr<game::GameSettings> settings;    // launcher
    static game::audio::EnvironmentAudio* environmentAudio; // from Start to Stop
    static game::Config config;                             // launcher fills it, Stop clears it

    // ---- run state
    static std::atomic<bool> isActive;
    static int32_t _mode;   // 0 "Game Mode: Creative", 1 "Game Mode: Adventure", else "Game Mode: Survival"
    static bool _is_server; // read by the debug window only
    static std::string _current_world;
    static std::vector<std::string> _mods; // ORKALIN_Mod modules that Start loads, in order
    static uint64_t offlineSteamId;
    static std::string offlineSteamUsername;
    static bool uiVisible;
    static bool settingsWindowOpen;
    static bool adminWindowOpen;
    static float testSlider[5];

    // ---- time
    static bool timeActive;  // while true, ServerUpdate stamps `timestamp`
    static double timestamp; // system clock seconds + timeOffset
    static double timeOffset;

    // ---- frame counters; the launcher ticks them
    static vesmo::FPSCounter mainRenderingFramerate; // smoothing 0.3; Update reads its deltaTime
    static vesmo::FPSCounter serverFramerate;        // 0.5
    static vesmo::FPSCounter inputFramerate;         // 0.5
    static vesmo::FPSCounter gameFramerate;          // 0.5

    // ---- work for the thread of Update
    static std::vector<std::function<void()>> _syncQueue;
    static std::mutex _syncMutex;

    // ---- input
    static bool _mouseLook;
    static InputMode _inputMode;
    static std::map<int, std::shared_ptr<game::input::Joystick>> _joysticks; // launcher adds and removes

    // ---- environment and scene
    static std::unordered_map<game::entity::EnvironmentId, game::EnvironmentFunction> _environmentFunctions;
    static game::entity::EnvironmentId parentEnvironmentId;
    static game::entity::EnvironmentId relativeEnvironmentId;
    static bool environmentIsLoaded;
    static glm::dmat4 backgroundTransform;

    // ---- user interface objects
    static std::shared_ptr<game::graphics::ui::InventoryUi> userInventory;
    static std::shared_ptr<game::graphics::ui::InventoryUi::Tool> activeTool;
    static std::shared_ptr<game::graphics::ui::InventoryUi::Item> activeItem;
    static game::ElectronWebview electronWebview;
    static int32_t debugGizmoOp;
    static game::entity::Id debugGizmoEntityId;
    static glm::dmat4 debugGizmoTransform;

    // ---- physics debugging: back (filled by the step), staging (handed over), front (drawn)
    static std::vector<PhysicsLineDebug> physicsDebugLines_back;
    static std::vector<PhysicsLineDebug> physicsDebugLines_staging;
    static std::vector<PhysicsLineDebug> physicsDebugLines_front;
    static std::vector<PhysicsColliderDebug> physicsDebugColliders_back;
    static std::vector<PhysicsColliderDebug> physicsDebugColliders_staging;
    static std::vector<PhysicsColliderDebug> physicsDebugColliders_front;
    static std::atomic<bool> physicsDebugCollidersUpdated;
    static std::mutex physicsDebugMutex;
    static bool debugServerSidePhysics;
    static bool debugClientSidePhysics;

    // ---- performance figures
    static bool serverSideEntityPerformanceMetrics; // ServerUpdate's timed path
    static std::unordered_map<game::entity::Id, double> _serverSideEntityPerformance_timers;
    static std::unordered_map<game::entity::Id, double> serverSideEntityPerformance_avg_time;
    static double serverSidePhysicsAvgTime;
    static double serverSideSyncAvgTime; // the launcher's

    // ---- monitors and channels
    static std::unordered_map<unsigned int, std::string> _monitors; // starts as {0: ""}
    static std::mutex _monitorsMutex;
    static uint32_t currentMonitorID;
    static double currentMonitorX;
    static double currentMonitorY;
    static double currentMonitorDistance;
    static std::unordered_map<std::string, std::array<char, 4096>> _imcData;
    static vesmo::SharedMutex _imcMutex;

    // ---- entry points
    static void Start();
    static void Ready();
    // One turn of the main loop. The argument isn't read: the frame time comes from mainRenderingFramerate.
    static void Update(double ignored);
    static void ClientUpdate();
    // One server tick; `physicsSteps` goes unchanged to the physics step.
    static void ServerUpdate(double deltaTime, int physicsSteps);
    static void InputUpdate(double deltaTime);
    static void InputUpdate_Play(double deltaTime);
    static void InputUpdate_Station(double deltaTime);
    static void Stop();
    static void Quit();
    static void Pause();
    static void Play();

    static void SetInputMode_Ui();
    static void SetInputMode_Play();
    static void SetInputMode_Station();
    // Captures (true) or releases (false) the cursor. A capture asked of an unfocused window releases the
    // cursor instead, and _mouseLook stays false.
    static void SetMouseLook(bool on);

    // Queues `work` for the next Update, on its thread. Work must be short (the drain holds the mutex) and
    // must not queue more work itself: the mutex isn't recursive.
    static void Synchronize(std::function<void()> work);

    static void LoadFonts();
    static void SetupUiStyle();
    // Twice ImGui's FontGlobalScale, i.e. the ui_scaling setting once the style is set up; 1 without an
    // ImGui context.
    static float GetUiScaling();
    // The "Help Tooltips" window at the top right, for modules to fill; false (and nothing drawn) while
    // the tooltips are off, an ImGui window has focus, the cursor is free, or a tool is in use.
    static bool ShowHelpTooltip();

    // ---- game controllers (_joysticks, walked in the order of the ids). A plain joystick is a connected
    // device that isn't a gamepad and has at least 2 axes. Each returns an empty pointer if nothing fits.
    static std::shared_ptr<game::input::Joystick> GetFirstJoystick();
    static std::shared_ptr<game::input::Joystick> GetFirstGamepad();
    // The index-th plain joystick, from 0.
    static std::shared_ptr<game::input::Joystick> GetJoystick(int index);
    // The index-th connected device (gamepads included) with this GUID, letter case aside; with an empty
    // GUID, the index-th plain joystick.
    static std::shared_ptr<game::input::Joystick> GetJoystick(const std::string& guid, int index);
    // The index-th connected gamepad with this GUID; with an empty GUID, the index-th gamepad.
    static std::shared_ptr<game::input::Joystick> GetGamepad(const std::string& guid, int index);

    // ---- channels and monitors
    static std::string GetIMC(const std::string& key, const std::string& defaultValue);
    // strtod of the channel's text (0 for a text that isn't a number), or the default if it was never set.
    static double GetNumericIMC(const std::string& key, double defaultValue);
    static void SetIMC(const std::string& key, const std::string& value);
    // The value as text with 9 digits after the point (trailing zeros dropped).
    static void SetIMC(const std::string& key, double value);
    static void AssignMonitor(unsigned int id, const std::string& name);
    // The name of the monitor under the aim (currentMonitorID); empty if none was assigned.
    static std::string GetMonitor();
};
