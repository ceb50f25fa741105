#include "game/entity/ServerTick.hpp"

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/host/Clock.hpp"
#include "vesmo/cpu/Profiler.hpp"

namespace game::entity {

namespace {

using Ptr = ServerSideEntity::Ptr;

// The entity phases of a tick, in order, with the physics step between Update and AfterUpdate. `each(entity,
// calls)` runs one entity's calls of a phase: straight away on the plain path, timed on the other.
template <class Each> void Phases(double deltaTime, int physicsSteps, Each&& each) {
    {
        vesmo::cpu::Profiler phase("ForEachEntity::BeforeUpdate", true);
        ServerSideEntity::ForEach([&](Ptr entity) { each(entity, [&] { entity->BeforeUpdate(deltaTime); }); });
    }
    {
        vesmo::cpu::Profiler phase("ForEachEntity::Update", true);
        ServerSideEntity::ForEach([&](Ptr entity) {
            each(entity, [&] {
                entity->Update(deltaTime);
                entity->RefreshCache();
            });
        });
    }
    ServerSideEntity::PhysicsUpdate(deltaTime, physicsSteps);
    {
        vesmo::cpu::Profiler phase("ForEachEntity::AfterUpdate", true);
        ServerSideEntity::ForEach([&](Ptr entity) {
            each(entity, [&] {
                entity->RefreshCache();
                entity->AfterUpdate(deltaTime);
            });
        });
    }
}

void PlainPath(double deltaTime, int physicsSteps) {
    Phases(deltaTime, physicsSteps, [](const Ptr&, auto&& calls) { calls(); });
}

// Runs `calls` for one entity and books the time on its vehicle.
void Timed(const Ptr& entity, const auto& calls) {
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
    Phases(deltaTime, physicsSteps, [](const Ptr& entity, auto&& calls) { Timed(entity, calls); });
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
