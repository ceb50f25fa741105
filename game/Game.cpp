// Game's statics and its entry points: the lifecycle the launcher drives, the per-loop updates, input modes
// and the main loop's work queue. The look of the UI is in GameUi.cpp, channels and monitors in
// GameChannels.cpp.

#include "game/Game.hpp"

#include "game/audio/EnvironmentAudio.hpp"
#include "game/entity/ClientSideEntity.hpp"
#include "game/entity/ServerTick.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/host/Clock.hpp"
#include "game/graphics/ui/Element.hpp"
#include "game/graphics/ui/InventoryUi.hpp"
#include "game/host/Options.hpp"
#include "game/input/Controller.hpp"
#include "game/input/Joystick.hpp"
#include "game/modular/Families.hpp"

#include "vesmo/audio/Studio.hpp"
#include "vesmo/cpu/Profiler.hpp"
#include "vesmo/graphics/Window.hpp"

#include <glm/geometric.hpp>
#include <imgui.h>

#include <iostream>

using game::modular::GAME_Mod;
using game::modular::ORKALIN_Mod;
using game::modular::SERVER_Mod;

vesmo::graphics::Window* Game::window = nullptr;
game::graphics::GameRenderer* Game::renderer = nullptr;
vesmo::audio::Studio* Game::audio = nullptr;
std::unique_ptr<game::GameSettings> Game::settings;
game::audio::EnvironmentAudio* Game::environmentAudio = nullptr;
game::Config Game::config;

std::atomic<bool> Game::isActive = false;
int32_t Game::_mode = 0;
bool Game::_is_server = false;
std::string Game::_current_world;
std::vector<std::string> Game::_mods;
uint64_t Game::offlineSteamId = 0;
std::string Game::offlineSteamUsername;
bool Game::uiVisible = true;
bool Game::settingsWindowOpen = false;
bool Game::adminWindowOpen = false;
float Game::testSlider[5] = {0, 0, 0, 0, 0};

bool Game::timeActive = true;
double Game::timestamp = 0.0;
double Game::timeOffset = 0.0;

vesmo::FPSCounter Game::mainRenderingFramerate(0.3);
vesmo::FPSCounter Game::serverFramerate(0.5);
vesmo::FPSCounter Game::inputFramerate(0.5);
vesmo::FPSCounter Game::gameFramerate(0.5);

std::vector<std::function<void()>> Game::_syncQueue;
std::mutex Game::_syncMutex;

bool Game::_mouseLook = false;
Game::InputMode Game::_inputMode = Game::InputMode_Ui;
std::map<int, std::shared_ptr<game::input::Joystick>> Game::_joysticks;

std::unordered_map<game::entity::EnvironmentId, game::EnvironmentFunction> Game::_environmentFunctions;
game::entity::EnvironmentId Game::parentEnvironmentId = 0;
game::entity::EnvironmentId Game::relativeEnvironmentId = 0;
bool Game::environmentIsLoaded = false;
glm::dmat4 Game::backgroundTransform{1.0};

std::shared_ptr<game::graphics::ui::InventoryUi> Game::userInventory;
std::shared_ptr<game::graphics::ui::InventoryUi::Tool> Game::activeTool;
std::shared_ptr<game::graphics::ui::InventoryUi::Item> Game::activeItem;
game::ElectronWebview Game::electronWebview;
int32_t Game::debugGizmoOp = 0;
game::entity::Id Game::debugGizmoEntityId;
glm::dmat4 Game::debugGizmoTransform{1.0};

std::vector<Game::PhysicsLineDebug> Game::physicsDebugLines_back;
std::vector<Game::PhysicsLineDebug> Game::physicsDebugLines_staging;
std::vector<Game::PhysicsLineDebug> Game::physicsDebugLines_front;
std::vector<Game::PhysicsColliderDebug> Game::physicsDebugColliders_back;
std::vector<Game::PhysicsColliderDebug> Game::physicsDebugColliders_staging;
std::vector<Game::PhysicsColliderDebug> Game::physicsDebugColliders_front;
std::atomic<bool> Game::physicsDebugCollidersUpdated = false;
std::mutex Game::physicsDebugMutex;
bool Game::debugServerSidePhysics = false;
bool Game::debugClientSidePhysics = false;

bool Game::serverSideEntityPerformanceMetrics = false;
std::unordered_map<game::entity::Id, double> Game::_serverSideEntityPerformance_timers;
std::unordered_map<game::entity::Id, double> Game::serverSideEntityPerformance_avg_time;
double Game::serverSidePhysicsAvgTime = 0.0;
double Game::serverSideSyncAvgTime = 0.0;

void Game::Start() {
    environmentAudio = new game::audio::EnvironmentAudio();
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& module) {
        if (module->Game_Start)
            module->Game_Start();
    });
    renderer->StartRendering();
    for (const std::string& name : _mods)
        ORKALIN_Mod::LoadModule(name, false); // a mod that fails to load is skipped silently
    ORKALIN_Mod::ForEachModule([](ORKALIN_Mod::Ptr& module) {
        if (module->Load)
            module->Load();
    });
    std::cout << "Shader compilation may take several minutes before starting the game the first time or after an "
                 "update..."
              << std::endl;
}

void Game::Ready() {
    std::cout << "Starting game..." << std::endl;
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& module) {
        if (module->Game_Ready)
            module->Game_Ready();
    });
}

void Game::Update(double) {
    static double avgDeltaTime = 1.0 / 60.0;
    avgDeltaTime = 0.5 * mainRenderingFramerate.deltaTime + 0.5 * avgDeltaTime;

    {
        std::lock_guard guard(_syncMutex);
        if (!_syncQueue.empty()) {
            for (auto& work : _syncQueue)
                work();
            _syncQueue.clear();
        }
    }

    audio->SetVolume(0.5f * settings->master_volume, "bus:/");
    {
        const glm::dmat4 camera = renderer->inverseViewMatrix * renderer->cameraLocalTransform;
        const glm::vec3 position(camera[3]);
        const glm::vec3 forward = glm::normalize(glm::vec3(camera[2]));
        const glm::vec3 up = glm::normalize(glm::vec3(camera[1]));
        audio->SetListenerAttributes(position.x, position.y, position.z, 0.0f, 0.0f, 0.0f, forward.x, forward.y,
                                     forward.z, up.x, up.y, up.z);
    }
    audio->Update();

    game::entity::ClientSideEntity::UpdateAll(avgDeltaTime);
    game::entity::ClientSideEntity::PhysicsUpdate(avgDeltaTime);

    GAME_Mod::ForEachSortedModule("update", [](GAME_Mod::Ptr& module) {
        if (module->Game_Update)
            module->Game_Update(avgDeltaTime);
    });

    game::entity::ClientSideEntity::AfterUpdateAll(avgDeltaTime);
}

void Game::ClientUpdate() {
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& module) {
        if (module->Game_ClientUpdate)
            module->Game_ClientUpdate();
    });
}

void Game::ServerUpdate(double deltaTime, int physicsSteps) {
    vesmo::cpu::Profiler scope("ServerUpdate", true);
    if (timeActive)
        timestamp = game::ClockSeconds() + timeOffset;

    SERVER_Mod::ForEachModule([deltaTime](SERVER_Mod::Ptr& module) {
        vesmo::cpu::Profiler hook("ForEachModule::Server_BeforeUpdate", true);
        if (module->Server_BeforeUpdate)
            module->Server_BeforeUpdate(deltaTime);
    });

    // The entity phases (game/entity/ServerTick): BeforeUpdate; Update and RefreshCache; the physics step;
    // RefreshCache and AfterUpdate; timed per vehicle when serverSideEntityPerformanceMetrics is set.
    game::entity::RunServerEntityPhases(deltaTime, physicsSteps);

    // The scope's name and the hook's name differ, and both stand as they are.
    SERVER_Mod::ForEachModule([deltaTime](SERVER_Mod::Ptr& module) {
        vesmo::cpu::Profiler hook("ForEachModule::Server_AfterUpdate", true);
        if (module->Server_GameUpdate)
            module->Server_GameUpdate(deltaTime);
    });
}

void Game::InputUpdate(double deltaTime) {
    game::input::Controller::InputUpdate(deltaTime);
    GAME_Mod::ForEachModule([deltaTime](GAME_Mod::Ptr& module) {
        if (module->Input_Update)
            module->Input_Update(deltaTime);
    });
}

void Game::InputUpdate_Play(double deltaTime) {
    // The tool in hand gets its per-tick input first.
    if (activeTool)
        activeTool->InputUpdate(deltaTime);
    GAME_Mod::ForEachModule([deltaTime](GAME_Mod::Ptr& module) {
        if (module->Input_Update_Play)
            module->Input_Update_Play(deltaTime);
    });
}

void Game::InputUpdate_Station(double deltaTime) {
    GAME_Mod::ForEachModule([deltaTime](GAME_Mod::Ptr& module) {
        if (module->Input_Update_Station)
            module->Input_Update_Station(deltaTime);
    });
}

void Game::Stop() {
    renderer->StopRendering();
    ORKALIN_Mod::ForEachModule([](ORKALIN_Mod::Ptr& module) {
        if (module->Unload)
            module->Unload();
    });
    ORKALIN_Mod::UnloadModules();
    GAME_Mod::ForEachModule([](GAME_Mod::Ptr& module) {
        if (module->Game_Stop)
            module->Game_Stop();
    });

    {
        // The entities die outside the lock: a destructor may look its neighbours up.
        std::unordered_map<game::entity::Id, game::entity::ClientSideEntity::Ptr> entities;
        {
            std::unique_lock lock(game::entity::ClientSideEntity::_sharedObjectsMutex);
            entities.swap(game::entity::ClientSideEntity::_sharedObjects);
        }
        entities.clear();
    }
    game::entity::ClientSideEntity::_registered_interfaces.clear();
    game::entity::ClientSideEntity::_registered_items_module.clear();
    game::graphics::ui::InventoryUi::ItemCreatorFunctions.clear();
    {
        std::lock_guard guard(game::graphics::ui::InventoryUi::_inventoriesMutex);
        game::graphics::ui::InventoryUi::_inventories.clear();
    }

    renderer->Cleanup();

    game::graphics::ui::Element::RemoveExpired();

    delete environmentAudio;
    environmentAudio = nullptr;
    environmentIsLoaded = false;
    parentEnvironmentId = 0;
    relativeEnvironmentId = 0;
    activeItem.reset();
    activeTool.reset();
    userInventory.reset();
    // Ui mode without asking the window: it may be gone already.
    _inputMode = InputMode_Ui;
    _mouseLook = false;
    _joysticks.clear();
    config.Clear();
    settingsWindowOpen = false;
    adminWindowOpen = false;
    uiVisible = true;
}

void Game::Quit() {
    SetMouseLook(false);
    isActive.exchange(false);
    game::Options::Clear();
}

void Game::Pause() {}

void Game::Play() { SetInputMode_Play(); }

void Game::SetInputMode_Ui() {
    SetMouseLook(false);
    _inputMode = InputMode_Ui;
}

void Game::SetInputMode_Play() {
    SetMouseLook(true);
    _inputMode = InputMode_Play;
}

void Game::SetInputMode_Station() {
    SetMouseLook(true);
    _inputMode = InputMode_Station;
}

void Game::SetMouseLook(bool on) {
    if (!window || _mouseLook == on)
        return;
    if (on && window->IsFocused()) {
        window->SetInputMode(vesmo::graphics::Window::CURSOR, vesmo::graphics::Window::CURSOR_DISABLED);
        window->SetCursorPos(0.0, 0.0);
        if (ImGui::GetCurrentContext())
            ImGui::SetWindowFocus(nullptr);
        _mouseLook = true;
    } else {
        window->SetInputMode(vesmo::graphics::Window::CURSOR, vesmo::graphics::Window::CURSOR_NORMAL);
        _mouseLook = false;
    }
}

void Game::Synchronize(std::function<void()> work) {
    std::lock_guard guard(_syncMutex);
    _syncQueue.push_back(std::move(work));
}
