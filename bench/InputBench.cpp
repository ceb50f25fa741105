// What one input tick costs the input loop: Controller::InputUpdate with every binding at its default,
// read through a HeadlessWindow, with a gamepad and a joystick connected and an ImGui context present,
// in each of the three modes. The tick is meant to allocate nothing.

#include "AllocationCounter.hpp"

#include "game/Game.hpp"
#include "game/host/GameSettings.hpp"
#include "game/input/Controller.hpp"
#include "game/input/Joystick.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"

#include <benchmark/benchmark.h>
#include <imgui.h>

#include <filesystem>
#include <memory>

using game::input::Controller;
using vesmo::graphics::HeadlessWindow;

namespace {

// The game's side of a running client, without a file or a reload thread behind the settings.
class Scene {
public:
    Scene() {
        Game::window = &_window;
        const auto path = std::filesystem::temp_directory_path() / "orkalin-bench-input-settings.ini";
        Game::settings = std::make_unique<game::GameSettings>(path.string(), 0);
        HeadlessWindow::ConnectJoystick(0, {.guid = "030000005e0400008e02000010010000",
                                            .name = "Pad",
                                            .axisCount = 6,
                                            .buttonCount = 11,
                                            .hatCount = 1,
                                            .isGamepad = true});
        HeadlessWindow::ConnectJoystick(1, {.guid = "030000006d04000015c2000010010000",
                                            .name = "Stick",
                                            .axisCount = 4,
                                            .buttonCount = 12,
                                            .hatCount = 1,
                                            .isGamepad = false});
        Game::_joysticks[0] = std::make_shared<game::input::Joystick>(0);
        Game::_joysticks[1] = std::make_shared<game::input::Joystick>(1);
        _window.SetKey(87, true); // W
        HeadlessWindow::SetGamepadAxis(0, 2, 0.5f);
        HeadlessWindow::SetJoystickAxis(1, 0, -0.4f);
        ImGui::CreateContext();
    }
    ~Scene() {
        ImGui::DestroyContext();
        Game::_joysticks.clear();
        HeadlessWindow::DisconnectAllJoysticks();
        Game::settings.reset();
        Game::window = nullptr;
    }

    void Mode(Game::InputMode mode) {
        Game::_inputMode = mode;
        Game::_mouseLook = mode != Game::InputMode_Ui;
    }
    void MoveMouse() { _window.MoveCursor(3.0, -2.0); }

private:
    HeadlessWindow _window{1920, 1080};
};

void Tick(benchmark::State& state, Game::InputMode mode) {
    Scene scene;
    scene.Mode(mode);
    AllocationCounter::Reset();
    for (auto _ : state) {
        scene.MoveMouse();
        Controller::InputUpdate(1.0 / 120.0);
        benchmark::DoNotOptimize(Controller::state.AvatarYaw);
    }
    state.counters["allocs/op"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
}

} // namespace

static void BM_InputUpdateUi(benchmark::State& state) { Tick(state, Game::InputMode_Ui); }
BENCHMARK(BM_InputUpdateUi);

static void BM_InputUpdatePlay(benchmark::State& state) { Tick(state, Game::InputMode_Play); }
BENCHMARK(BM_InputUpdatePlay);

static void BM_InputUpdateStation(benchmark::State& state) { Tick(state, Game::InputMode_Station); }
BENCHMARK(BM_InputUpdateStation);

// The settings panel's text for a binding (a table lookup).
static void BM_BindingStr(benchmark::State& state) {
    vesmo::filesystem::ConfigFile::InputBinding binding;
    binding.gamepadButton = 9;
    AllocationCounter::Reset();
    for (auto _ : state)
        benchmark::DoNotOptimize(Controller::BindingStr(binding));
    state.counters["allocs/op"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_BindingStr);
