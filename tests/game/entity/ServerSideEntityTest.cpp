#include "game/entity/ServerSideEntity.hpp"
#include "game/entity/EntityConfig.hpp"

#include "EntityTestSupport.hpp"

#include "vesmo/cpu/Profiler.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

using game::entity::Id;
using game::entity::ServerSideEntity;
using Hook = ServerSideEntity::Interface::Hook;

namespace {

class ServerEntity : public entity_test::World {
protected:
    // What a module does on the new-entity path.
    static void MakeReady(const ServerSideEntity::Ptr& entity) {
        auto& interface = entity->_interface;
        interface->interfaceEntity = entity;
        interface->interfaceSelf = interface;
        interface->interfaceId = entity->GetID();
        interface->interfaceConfig = entity->config;
        interface->ready = true;
    }
};

void ExpectNear(const glm::dvec3& actual, const glm::dvec3& expected, double tolerance = 1e-9) {
    EXPECT_LE(glm::distance(actual, expected), std::sqrt(3.0) * tolerance)
        << actual.x << " " << actual.y << " " << actual.z;
}

glm::dvec3 WorldPosition(const ServerSideEntity::Ptr& parent, const ServerSideEntity::Ptr& child) {
    return glm::dvec3(parent->GetTransform() * glm::dvec4(child->position, 1.0));
}

double ProfiledCount(const std::string& name) {
    for (const auto& entry : vesmo::cpu::Profiler::Snapshot())
        if (entry.name == name)
            return static_cast<double>(entry.count);
    return 0.0;
}

} // namespace

TEST_F(ServerEntity, CreateRegistersGetFindsAndForEachVisitsEveryEntity) {
    EXPECT_EQ(Count(), 0u);
    auto a = New("plain");
    auto b = New("counter");
    EXPECT_EQ(a->GetID().ToString().substr(0, 4), "ENTT");
    EXPECT_NE(a->GetID(), b->GetID());
    EXPECT_EQ(ServerSideEntity::Get(a->GetID()), a);
    EXPECT_EQ(ServerSideEntity::Get(Id(1, 2)), nullptr);
    EXPECT_EQ(Count(), 2u);
    EXPECT_EQ(a->self.lock(), a);

    // The id that was asked for is kept; a taken one is refused with nothing inserted.
    const Id wanted(0x54544E45, 77);
    auto c = ServerSideEntity::Create<ServerSideEntity>(Module(), game::entity::Type("plain"), wanted);
    EXPECT_EQ(c->GetID(), wanted);
    EXPECT_EQ(testing_support::ThrownMessage<std::runtime_error>(
                  [&] { ServerSideEntity::Create<ServerSideEntity>(Module(), game::entity::Type("plain"), wanted); }),
              "UNIQUE_OBJECT ServerSideEntity with id " + wanted.ToString() + " already exists");
    EXPECT_EQ(Count(), 3u);
    EXPECT_EQ(ServerSideEntity::Get(wanted), c);
}

TEST_F(ServerEntity, TheConfigOfATypeIsReadOnceAndSharedAndAnUnknownTypeGetsNoBody) {
    auto first = New("plain");
    auto second = New("plain");
    ASSERT_NE(first->config, nullptr);
    EXPECT_EQ(first->config, second->config);
    EXPECT_TRUE(first->config->loaded);
    EXPECT_DOUBLE_EQ(first->mass, 12.5);
    const auto& hull = first->colliders.at("hull");
    EXPECT_EQ(hull.ownerId, first->GetID());
    EXPECT_EQ(hull.name, "hull");

    auto stranger = New("no such type");
    EXPECT_EQ(stranger->_interface, nullptr);
    EXPECT_EQ(stranger->config, nullptr);
    EXPECT_TRUE(stranger->nodes.empty());
    auto foreign = ServerSideEntity::Create<ServerSideEntity>(ServerSideEntity::ModuleID("NOBODY_here"),
                                                              game::entity::Type("plain"), Id());
    EXPECT_EQ(foreign->_interface, nullptr);
}

TEST_F(ServerEntity, HooksThatAModuleLeavesAloneAreNeverCalled) {
    auto plain = New("plain");
    auto counter = New("counter");
    for (Hook hook : {Hook::SerializeState, Hook::DeserializeState, Hook::IsInsideVolume, Hook::BeforeUpdate,
                      Hook::Update, Hook::AfterUpdate})
        EXPECT_FALSE(plain->_interface->Overrides(hook));
    EXPECT_TRUE(counter->_interface->Overrides(Hook::Update));
    EXPECT_TRUE(counter->_interface->Overrides(Hook::SerializeState));
    EXPECT_FALSE(counter->_interface->Overrides(Hook::BeforeUpdate));

    // Not ready yet: the module's hook is skipped.
    counter->Update(0.1);
    EXPECT_EQ(_module.Count(counter->_interface.get()), 0);
    MakeReady(counter);
    MakeReady(plain);
    vesmo::cpu::Profiler::SetCapturing(true); // the hook's scope tells whether it was called
    const double plainScopes = ProfiledCount("Entity<plain>::Update");
    const double counterScopes = ProfiledCount("Entity<counter>::Update");
    counter->BeforeUpdate(0.1);
    counter->Update(0.1);
    counter->AfterUpdate(0.1);
    plain->BeforeUpdate(0.1);
    plain->Update(0.1);
    plain->AfterUpdate(0.1);
    EXPECT_EQ(_module.Count(counter->_interface.get()), 1);
    EXPECT_EQ(ProfiledCount("Entity<counter>::Update"), counterScopes + 1);
    EXPECT_EQ(ProfiledCount("Entity<plain>::Update"), plainScopes);
    EXPECT_EQ(ProfiledCount("Entity<counter>::BeforeUpdate"), 0.0);
    vesmo::cpu::Profiler::SetCapturing(false);
}

TEST_F(ServerEntity, UpdateRunsTheJointSolverOnlyForDirtyEntities) {
    auto arm = New("counter");
    arm->jointStates.at("shoulder").angular.z = 90.0f;
    arm->Update(0.1);
    ExpectNear(glm::dvec3(arm->colliders.at("hand").transform[3]), {3, 1, 0}, 1e-5);
    arm->jointsDirty = 1;
    arm->Update(0.1);
    ExpectNear(glm::dvec3(arm->colliders.at("hand").transform[3]), {0, 1, -3}, 1e-5);
}

TEST_F(ServerEntity, VehicleAndPhysicsParentFollowTheChainOfComponents) {
    auto vehicle = New("plain");
    auto part = New("plain");
    auto subpart = New("plain");
    part->parentEntity = vehicle->GetID();
    part->isComponent = 1;
    subpart->parentEntity = part->GetID();
    subpart->isComponent = 1;
    part->position = {1, 0, 0};
    subpart->position = {0, 2, 0};
    vehicle->position = {100, 0, 0}; // the physics body's own pose is not part of the chain

    EXPECT_EQ(subpart->GetVehicleID(), vehicle->GetID());
    EXPECT_EQ(vehicle->GetVehicleID(), vehicle->GetID());
    EXPECT_EQ(subpart->GetFirstNonComponentParent(), vehicle);
    EXPECT_EQ(vehicle->GetFirstNonComponentParent(), nullptr);
    ExpectNear(glm::dvec3(subpart->GetTransformInPhysicsParent()[3]), {1, 2, 0});
    EXPECT_EQ(vehicle->GetTransformInPhysicsParent(), glm::dmat4(1.0));

    // A component whose parent is gone is its own vehicle.
    auto orphan = New("plain");
    orphan->isComponent = 1;
    orphan->parentEntity = Id(0x54544E45, 12345);
    EXPECT_EQ(orphan->GetVehicleID(), orphan->GetID());
    EXPECT_EQ(orphan->GetFirstNonComponentParent(), nullptr);
    EXPECT_EQ(orphan->GetTransformInPhysicsParent(), glm::dmat4(1.0));
}

TEST_F(ServerEntity, AddChildThenRemoveChildKeepsWorldPoseAndVelocity) {
    auto parent = New("plain");
    auto child = New("plain");
    parent->position = {10, -2, 3};
    parent->orientation = glm::angleAxis(glm::radians(70.0), glm::normalize(glm::dvec3(1, 2, 3)));
    parent->linearVelocity = {1, 0, -4};
    child->position = {4, 5, 6};
    child->orientation = glm::angleAxis(glm::radians(-20.0), glm::dvec3(0, 1, 0));
    child->linearVelocity = {-3, 2, 1};
    child->angularVelocity = {0.3, -0.1, 0.2}; // not along the parent's axis, which would not turn it
    const glm::dvec3 worldPosition = child->position;
    const glm::dquat worldOrientation = child->orientation;

    parent->AddChild(child);
    EXPECT_EQ(child->parentEntity, parent->GetID());
    ExpectNear(WorldPosition(parent, child), worldPosition);
    ExpectNear(parent->orientation * child->linearVelocity + parent->linearVelocity, {-3, 2, 1});
    ExpectNear(parent->orientation * child->angularVelocity, {0.3, -0.1, 0.2});

    parent->RemoveChild(child);
    EXPECT_FALSE(child->HasParent());
    ExpectNear(child->position, worldPosition);
    EXPECT_NEAR(std::abs(glm::dot(child->orientation, worldOrientation)), 1.0, 1e-12);
    ExpectNear(child->linearVelocity, {-3, 2, 1});
    ExpectNear(child->angularVelocity, {0.3, -0.1, 0.2});
}

TEST_F(ServerEntity, RemoveChildHangsAGrandchildUnderTheGrandparent) {
    auto root = New("plain");
    auto middle = New("plain");
    auto leaf = New("plain");
    middle->position = {0, 1, 0};
    leaf->position = {0, 3, 0};
    root->AddChild(middle);
    middle->AddChild(leaf);
    EXPECT_EQ(leaf->parentEntity, middle->GetID());
    middle->RemoveChild(leaf);
    EXPECT_EQ(leaf->parentEntity, root->GetID());
    ExpectNear(leaf->position, {0, 3, 0});
}

TEST_F(ServerEntity, RefreshCacheInheritsEnvironmentsFromTheTopAndNotesMovingParents) {
    auto top = New("plain");
    auto middle = New("plain");
    auto leaf = New("plain");
    middle->parentEntity = top->GetID();
    leaf->parentEntity = middle->GetID();
    top->environmentId = 7;
    top->orbitEnvironmentId = 8;
    middle->environmentId = 5;
    leaf->transformCacheValid = 1;

    leaf->RefreshCache();
    EXPECT_EQ(std::tuple(leaf->environmentId, leaf->orbitEnvironmentId), std::tuple(7u, 8u));
    EXPECT_FALSE(leaf->parentMoving);
    EXPECT_TRUE(leaf->transformCacheValid);

    top->isDynamic = 1; // still settling, also past the first second
    for (double settle : {0.0, 1.5}) {
        top->settleTime = settle;
        leaf->RefreshCache();
        EXPECT_TRUE(leaf->parentMoving) << settle;
        EXPECT_FALSE(leaf->transformCacheValid);
    }

    top->settleTime = 2.0; // at rest: its own parentMoving counts instead
    leaf->RefreshCache();
    EXPECT_FALSE(leaf->parentMoving);

    auto alone = New("plain");
    alone->environmentId = 3;
    alone->RefreshCache();
    EXPECT_EQ(alone->environmentId, 3u);
}

TEST_F(ServerEntity, InertiaTensorOfABoxTurnsWithTheEntity) {
    auto box = New("plain");
    box->mass = 12.0;
    box->box_size = {1, 2, 3};
    glm::dmat3 tensor = box->GetInertiaTensorWorld();
    EXPECT_EQ(glm::dvec3(tensor[0][0], tensor[1][1], tensor[2][2]), glm::dvec3(13.0, 10.0, 5.0));
    box->orientation = glm::angleAxis(glm::radians(90.0), glm::dvec3(0, 1, 0));
    tensor = box->GetInertiaTensorWorld();
    EXPECT_NEAR(tensor[0][0], 5.0, 1e-12);
    EXPECT_NEAR(tensor[2][2], 13.0, 1e-12);
}

using ServerEntityDeathTest = ServerEntity;

TEST_F(ServerEntityDeathTest, BrokenInvariantsEndTheProcessWithTheirText) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto entity = New("plain");
    entity->mass = 0.0;
    EXPECT_DEATH(entity->GetInertiaTensorWorld(), "Assertion failed: mass > 0.0, file game/entity/ServerSideEntity");
    auto child = New("plain");
    child->isComponent = 1;
    EXPECT_DEATH(entity->AddChild(child), "Assertion failed: !entity->isComponent");
    EXPECT_DEATH(entity->AddChild(entity), "Assertion failed: entity->GetID\\(\\) != GetID\\(\\)");
    EXPECT_DEATH(entity->RemoveChild(child), "Assertion failed: entity->parentEntity == GetID\\(\\)");
    EXPECT_DEATH(New("broken"), "Assertion failed: _interface, file game/entity/ServerSideEntity");
}
