#include "game/Game.hpp"

#include "game/entity/ServerTick.hpp"
#include "vesmo/cpu/Profiler.hpp"

std::string Game::_current_world;
bool Game::serverSideEntityPerformanceMetrics = false;
std::unordered_map<game::entity::Id, double> Game::_serverSideEntityPerformance_timers;
std::unordered_map<game::entity::Id, double> Game::serverSideEntityPerformance_avg_time;

void Game::ServerUpdate(double deltaTime, int physicsSteps) {
    vesmo::cpu::Profiler scope("ServerUpdate", true);
    game::entity::RunServerEntityPhases(deltaTime, physicsSteps);
}
