#pragma once
// Interim: the statics of the hub that the entity work reads, and the server tick's entry point. The
// host's Game replaces this file.

#include "game/entity/common.hpp"

#include <string>
#include <unordered_map>

class Game {
public:
    static std::string _current_world;
    static bool serverSideEntityPerformanceMetrics;
    static std::unordered_map<game::entity::Id, double> _serverSideEntityPerformance_timers;
    static std::unordered_map<game::entity::Id, double> serverSideEntityPerformance_avg_time;

    static void ServerUpdate(double deltaTime, int physicsSteps);
};
