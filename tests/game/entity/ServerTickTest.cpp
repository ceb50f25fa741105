#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"

#include "EntityTestSupport.hpp"

#include <gtest/gtest.h>

using game::entity::ServerSideEntity;

namespace {

class ServerTick : public entity_test::World {
protected:
    ServerSideEntity::Ptr Ready(const std::string& type) {
        auto entity = New(type);
        entity->_interface->interfaceEntity = entity;
        entity->_interface->ready = true;
        return entity;
    }
    void TearDown() override {
        Game::serverSideEntityPerformanceMetrics = false;
        Game::_serverSideEntityPerformance_timers.clear();
        Game::serverSideEntityPerformance_avg_time.clear();
        entity_test::World::TearDown();
    }
};

} // namespace

TEST_F(ServerTick, EachPhaseVisitsEveryEntityBeforeTheNextBegins) {
    Ready("recorder");
    Ready("recorder");
    Ready("plain");
    auto waiting = New("recorder"); // not ready: skipped
    _module.Log()->clear();
    Game::ServerUpdate(0.02, 1);
    EXPECT_EQ(*_module.Log(), "BBUUAA");
}

TEST_F(ServerTick, ChildrenOfAMovingParentLoseTheirTransformCache) {
    auto parent = Ready("plain");
    auto child = Ready("plain");
    child->parentEntity = parent->GetID();
    child->transformCacheValid = 1;
    Game::ServerUpdate(0.02, 1);
    EXPECT_TRUE(child->transformCacheValid);
    parent->isDynamic = 1;
    Game::ServerUpdate(0.02, 1);
    EXPECT_FALSE(child->transformCacheValid);
    EXPECT_TRUE(child->parentMoving);
}

TEST_F(ServerTick, TheTimedPathBooksComponentsOnTheirVehicleAndSmoothsByDeltaTime) {
    auto vehicle = Ready("recorder");
    auto part = Ready("recorder");
    part->parentEntity = vehicle->GetID();
    part->isComponent = 1;

    Game::ServerUpdate(1.0, 1);
    EXPECT_TRUE(Game::_serverSideEntityPerformance_timers.empty()); // the plain path touches no map

    Game::serverSideEntityPerformanceMetrics = true;
    Game::ServerUpdate(1.0, 1);
    ASSERT_EQ(Game::_serverSideEntityPerformance_timers.size(), 1u);
    const double figure = Game::_serverSideEntityPerformance_timers.at(vehicle->GetID());
    EXPECT_GT(figure, 0.0);
    EXPECT_EQ(Game::serverSideEntityPerformance_avg_time.at(vehicle->GetID()), figure);
    EXPECT_EQ(Game::serverSideEntityPerformance_avg_time.count(part->GetID()), 0u);

    Game::ServerUpdate(0.0, 1);
    EXPECT_EQ(Game::serverSideEntityPerformance_avg_time.at(vehicle->GetID()), figure);
    // A tick of half a second weighs its own time and the average half and half.
    Game::ServerUpdate(0.5, 1);
    EXPECT_DOUBLE_EQ(Game::serverSideEntityPerformance_avg_time.at(vehicle->GetID()),
                     0.5 * figure + 0.5 * Game::_serverSideEntityPerformance_timers.at(vehicle->GetID()));
}
