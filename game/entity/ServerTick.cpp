#include "game/entity/ServerTick.hpp"

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <chrono>

namespace game::entity {

namespace {

using Ptr = ServerSideEntity::Ptr;

// System clock seconds, the clock the server tick stamps its time with.
double ClockSeconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()) / 1e6 * 0.001;
}

void PlainPath(double deltaTime, int physicsSteps) {
    {
        vesmo::cpu::Profiler phase("ForEachEntity::BeforeUpdate", true);
        ServerSideEntity::ForEach([deltaTime](Ptr entity) { entity->BeforeUpdate(deltaTime); });
    }
    {
        vesmo::cpu::Profiler phase("ForEachEntity::Update", true);
        ServerSideEntity::ForEach([deltaTime](Ptr entity) {
            entity->Update(deltaTime);
            entity->RefreshCache();
        });
    }
    ServerSideEntity::PhysicsUpdate(deltaTime, physicsSteps);
    {
        vesmo::cpu::Profiler phase("ForEachEntity::AfterUpdate", true);
        ServerSideEntity::ForEach([deltaTime](Ptr entity) {
            entity->RefreshCache();
            entity->AfterUpdate(deltaTime);
        });
    }
}

// Runs `calls` for one entity and books the time on its vehicle.
template <class Calls> void Timed(const Ptr& entity, Calls&& calls) {
    double& timer = Game::_serverSideEntityPerformance_timers[entity->GetVehicleID()];
    timer -= ClockSeconds();
    calls();
    timer += ClockSeconds();
}

void TimedPath(double deltaTime, int physicsSteps) {
    ServerSideEntity::ForEach([](Ptr entity) {
        if (!entity->HasParent())
            Game::_serverSideEntityPerformance_timers[entity->GetID()] = 0.0;
    });
    {
        vesmo::cpu::Profiler phase("ForEachEntity::BeforeUpdate", true);
        ServerSideEntity::ForEach([deltaTime](Ptr entity) { Timed(entity, [&] { entity->BeforeUpdate(deltaTime); }); });
    }
    {
        vesmo::cpu::Profiler phase("ForEachEntity::Update", true);
        ServerSideEntity::ForEach([deltaTime](Ptr entity) {
            Timed(entity, [&] {
                entity->Update(deltaTime);
                entity->RefreshCache();
            });
        });
    }
    ServerSideEntity::PhysicsUpdate(deltaTime, physicsSteps);
    {
        vesmo::cpu::Profiler phase("ForEachEntity::AfterUpdate", true);
        ServerSideEntity::ForEach([deltaTime](Ptr entity) {
            Timed(entity, [&] {
                entity->RefreshCache();
                entity->AfterUpdate(deltaTime);
            });
        });
    }
    ServerSideEntity::ForEach([deltaTime](Ptr entity) {
        if (entity->HasParent())
            return;
        const Id id = entity->GetID();
        double& average = Game::serverSideEntityPerformance_avg_time[id];
        // The tick's own length is the blend factor, deliberately without a time constant.
        average = (1.0 - deltaTime) * average + deltaTime * Game::_serverSideEntityPerformance_timers[id];
    });
}

} // namespace

void RunServerEntityPhases(double deltaTime, int physicsSteps) {
    if (Game::serverSideEntityPerformanceMetrics)
        TimedPath(deltaTime, physicsSteps);
    else
        PlainPath(deltaTime, physicsSteps);
}

} // namespace game::entity
