#pragma once
// The entity phases of one server tick, as Game::ServerUpdate runs them between the modules' hooks:
//
//   every entity's BeforeUpdate; every entity's Update, then RefreshCache; the physics step with
//   `physicsSteps`; every entity's RefreshCache, then AfterUpdate.
//
// With Game::serverSideEntityPerformanceMetrics set, each vehicle's time (its own and all of its
// components') is summed into Game::_serverSideEntityPerformance_timers and smoothed into
// Game::serverSideEntityPerformance_avg_time with `deltaTime` as the blend factor. Otherwise no clock is
// read and no map touched: the plain path costs, per entity, the calls and their profiler scopes only.

namespace game::entity {

void RunServerEntityPhases(double deltaTime, int physicsSteps);

} // namespace game::entity
