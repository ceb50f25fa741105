// The client-side entity on a headless renderer: creation from a registered type with the sample rover's
// mesh (modules/Planet/entities), easing, joints solved on the client, renderable transforms after
// PhysicsUpdate, the plasma trail, a broken parent chain, hooks, and a mesh reload while entities use it.

#include "game/entity/ClientSideEntity.hpp"
#include "game/Game.hpp"
#include "game/entity/EntityConfig.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/Mesh.hpp"
#include "game/graphics/PlasmaTrail.hpp"
#include "game/graphics/RenderableInstance.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"

#include "TestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

namespace {

using game::entity::ClientSideEntity;
using game::entity::Id;

constexpr const char* kModule = "TEST_client";

// A type whose config places the sample rover's mesh part "chassis" and hangs a "lid" on a hinge.
constexpr const char* kArmConfig = R"(
[ENTITY arm]
mass 10
[RENDERABLE chassis]
[COLLIDER chassis]
parent chassis
box_min -1 -1 -1
box_max 1 1 1
[JOINT hinge]
parent chassis
position 0 0 1
angular_z -90 0 90
[RENDERABLE lid]
parent hinge
position 1 0 0
)";

struct CountingInterface : ClientSideEntity::Interface {
    void Update(double) override { ++updates; }
    int updates = 0;
};

class ClientSideEntityTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string samples = ORKALIN_SOURCE_DIR "/modules/Planet/entities/";
        std::filesystem::copy_file(samples + "rover.gltf", folder.File("arm.gltf"));
        std::filesystem::copy_file(samples + "rover.bin", folder.File("rover.bin"));
        testing_support::WriteText(folder.File("arm.conf"), kArmConfig);
        std::filesystem::current_path(TEST_MODULE_ROOT); // the renderer's font atlas is there
        renderer = std::make_unique<game::graphics::GameRenderer>(&window, "client test", 0);
        Game::renderer = renderer.get();
        Game::window = &window;
        config = std::make_shared<game::entity::EntityConfig>(folder.File("arm.conf"));
        ClientSideEntity::_registered_interfaces[kModule]["arm"] = {
            vesmo::modular::ModuleID(kModule), "arm", config, [] { return std::make_shared<CountingInterface>(); }};
    }
    void TearDown() override {
        for (const Id& id : ids)
            ClientSideEntity::Remove(id);
        ClientSideEntity::_registered_interfaces.clear();
        Game::_environmentFunctions.clear();
        Game::parentEnvironmentId = 0;
        config.reset();
        renderer->CollectAllTrash();
        Game::renderer = nullptr;
        Game::window = nullptr;
    }

    ClientSideEntity::Ptr Make(const std::string& type = "arm") {
        const Id id = game::UniqueId::Generate("ENTT");
        ids.push_back(id);
        return ClientSideEntity::Create(id, vesmo::modular::ModuleID(kModule), type);
    }

    testing_support::TempDir folder;
    vesmo::graphics::HeadlessWindow window;
    std::unique_ptr<game::graphics::GameRenderer> renderer;
    std::shared_ptr<game::entity::EntityConfig> config;
    std::vector<Id> ids;
};

TEST_F(ClientSideEntityTest, ATypeGivesInterfaceNodesAndRenderables) {
    auto entity = Make();
    ASSERT_TRUE(entity->GetInterface());
    ASSERT_EQ(entity->config, config);
    EXPECT_EQ(entity->mass, 10.0);
    for (const char* node : {"chassis", "hinge", "lid"})
        EXPECT_EQ(entity->nodes.count(node), 1u) << node;
    EXPECT_EQ(entity->colliders.at("chassis").ownerId, entity->GetID());

    // The sample rover's one part, with its material in the record.
    ASSERT_EQ(entity->renderables.size(), 1u);
    auto& chassis = entity->renderables.at("chassis");
    ASSERT_EQ(chassis->geometries.size(), 1u);
    ASSERT_TRUE(chassis->renderableData);
    EXPECT_EQ(chassis->firstGeometryAddr, chassis->renderableData->DeviceAddress());
    EXPECT_EQ((*chassis->renderableData)[0].color, glm::vec4(0.8f, 0.75f, 0.7f, 1.0f));
    EXPECT_EQ(chassis->partIndices.at("rover"), std::vector<uint32_t>{0});
    EXPECT_EQ(chassis->source,
              std::static_pointer_cast<void>(std::const_pointer_cast<game::graphics::Mesh>(config->mesh)));

    // Unknown types stay bare.
    auto bare = Make("nothing");
    EXPECT_FALSE(bare->GetInterface());
    EXPECT_TRUE(bare->renderables.empty());
}

TEST_F(ClientSideEntityTest, EasingTowardsTheTarget) {
    const glm::dquat turned = glm::angleAxis(1.0, glm::dvec3(0, 1, 0));
    const struct {
        float rate;
        bool interpolate, dynamic;
        double dt;
        glm::dvec3 position;
    } table[] = {
        {0.0f, true, true, 0.1, {0, 0, 0}},     // rate 0: the module keeps full control
        {10.0f, true, true, 0.2, {10, 0, 0}},   // t clamps to 1: lands on the target
        {10.0f, true, true, 0.05, {5, 0, 0}},   // halfway
        {10.0f, false, true, 0.05, {10, 0, 0}}, // no easing asked: jumps
        {10.0f, true, false, 0.05, {10, 0, 0}}, // a body that isn't free jumps too
    };
    for (const auto& row : table) {
        auto entity = Make();
        entity->targetPosition = {10, 0, 0};
        entity->targetOrientation = turned;
        entity->interpolationRate = row.rate;
        entity->interpolate = row.interpolate;
        entity->isDynamic = row.dynamic;
        entity->Update(row.dt);
        EXPECT_EQ(entity->position, row.position) << row.rate << " " << row.dt;
    }

    // The short way: a target with a negative dot product is the same orientation negated.
    const glm::dquat half = game::entity::EaseOrientation(glm::dquat(1, 0, 0, 0), -turned, 0.5);
    const glm::dquat expected = glm::angleAxis(0.5, glm::dvec3(0, 1, 0));
    EXPECT_NEAR(half.w, expected.w, 1e-12);
    EXPECT_NEAR(half.y, expected.y, 1e-12);
    // Near identity the blend is component-wise (no division by a vanishing sine).
    const glm::dquat tiny(1.0, 1e-9, 0.0, 0.0);
    const glm::dquat blend = game::entity::EaseOrientation(glm::dquat(1, 0, 0, 0), tiny, 0.5);
    EXPECT_EQ(blend.x, 0.5e-9);
    EXPECT_EQ(blend.w, 1.0);
}

TEST_F(ClientSideEntityTest, JointsAndTransformsAfterPhysicsUpdate) {
    auto entity = Make();
    entity->position = {100, 0, 0};
    ClientSideEntity::PhysicsUpdate(0.016);
    auto& chassis = *entity->renderables.at("chassis");
    EXPECT_TRUE(chassis.hasTransform);
    EXPECT_TRUE(chassis.changed); // the first transform
    EXPECT_EQ(glm::dvec3(chassis.transform[3]), glm::dvec3(100, 0, 0));

    // Nothing moved: not changed, and the old transform stands.
    entity->position = {200, 0, 0};
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_FALSE(chassis.changed);
    EXPECT_EQ(glm::dvec3(chassis.transform[3]), glm::dvec3(100, 0, 0));

    // A joint turned past its limit is clamped; the lid swings about the hinge (Z up in the file: a turn
    // about the program's Y).
    const glm::dvec3 lidBefore(entity->nodes.at("lid")[3]);
    entity->jointStates["hinge"].angular.z = 200.0f;
    entity->jointsDirty = 1;
    entity->Update(0.016);
    EXPECT_EQ(entity->jointStates.at("hinge").angular.z, 90.0f);
    const glm::dvec3 lidAfter(entity->nodes.at("lid")[3]);
    EXPECT_NEAR(lidBefore.x, 1.0, 1e-6);
    EXPECT_NEAR(lidAfter.x, 0.0, 1e-6);
    EXPECT_NEAR(lidAfter.z, -1.0, 1e-6);
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_TRUE(chassis.changed);
    EXPECT_EQ(glm::dvec3(chassis.transform[3]), glm::dvec3(200, 0, 0));
}

TEST_F(ClientSideEntityTest, AChildWhoseParentIsGoneKeepsItsLastPose) {
    auto parent = Make();
    auto child = Make();
    parent->position = {0, 10, 0};
    child->position = {1, 0, 0};
    child->parentEntity = parent->GetID();
    child->isDynamic = 1;
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_EQ(glm::dvec3(child->renderables.at("chassis")->transform[3]), glm::dvec3(1, 10, 0));

    ClientSideEntity::Remove(parent->GetID());
    parent.reset();
    child->position = {5, 0, 0};
    child->nodesDirty = 1;
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_FALSE(child->nodesDirty);
    EXPECT_FALSE(child->environmentTransformValid);
    EXPECT_EQ(glm::dvec3(child->renderables.at("chassis")->transform[3]), glm::dvec3(1, 10, 0));
    bool moved = true;
    EXPECT_EQ(glm::dvec3(child->GetAbsoluteTransformInEnvironmentCached(moved)[3]), glm::dvec3(1, 10, 0));
    EXPECT_FALSE(moved);
}

TEST_F(ClientSideEntityTest, AFastFreeBodyInAnAtmosphereDrawsAPlasmaTrail) {
    Game::parentEnvironmentId = 7;
    Game::_environmentFunctions[7] = [](const glm::dvec3&, game::EnvironmentInfoFlags, double) {
        game::physics::EnvironmentInfo air;
        air.density = 1.2;
        air.viscosity = 1.8e-5;
        return air;
    };
    auto entity = Make();
    entity->isDynamic = 1;
    entity->linearVelocity = {0, 0, 2000};
    ClientSideEntity::PhysicsUpdate(0.016);
    ASSERT_EQ(entity->renderables.count("_plasma_trail"), 1u);
    auto trail = std::dynamic_pointer_cast<game::graphics::PlasmaTrail>(entity->renderables.at("_plasma_trail"));
    ASSERT_TRUE(trail);
    EXPECT_TRUE(trail->visible);
    const double radius = entity->boundingRadius;
    EXPECT_FLOAT_EQ(trail->size, static_cast<float>(1.1 * radius));
    // It starts ahead of the body and its box (+Y) reaches back along the flight path.
    EXPECT_NEAR(trail->transform[3].z, 1.1 * radius, 1e-9);
    EXPECT_NEAR(trail->transform[1].z, -1.0, 1e-12);

    entity->linearVelocity = {0, 0, 50};
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_FALSE(trail->visible);
}

TEST_F(ClientSideEntityTest, HooksRunOnlyWhenReadyAndOverridden) {
    auto entity = Make();
    auto& hooks = static_cast<CountingInterface&>(*entity->GetInterface());
    EXPECT_TRUE(hooks.Overrides(ClientSideEntity::Interface::Hook::Update));
    EXPECT_FALSE(hooks.Overrides(ClientSideEntity::Interface::Hook::AfterUpdate));
    ClientSideEntity::UpdateAll(0.016);
    EXPECT_EQ(hooks.updates, 0);
    hooks.ready = true;
    ClientSideEntity::UpdateAll(0.016);
    ClientSideEntity::AfterUpdateAll(0.016);
    EXPECT_EQ(hooks.updates, 1);

    // Going away hides the renderables before they are let go.
    const auto chassis = entity->renderables.at("chassis");
    ClientSideEntity::Remove(entity->GetID());
    entity.reset();
    EXPECT_FALSE(chassis->visible);
}

TEST_F(ClientSideEntityTest, F5ReloadsAChangedMeshUnderEveryEntityOfTheType) {
    auto first = Make();
    auto second = Make();
    const auto oldGeometry = first->renderables.at("chassis")->geometries[0];
    // A config that never reloaded holds frame 0: the check runs from the first frame on.
    renderer->StartRendering();
    renderer->Frame();

    // Without the key nothing is checked; the first check only notes the time.
    first->Update(0.016);
    EXPECT_EQ(config->meshLastCheck, 0.0);
    window.SetKey(294, true);
    first->Update(0.016);
    EXPECT_NE(config->meshLastCheck, 0.0);

    std::filesystem::last_write_time(
        folder.File("arm.gltf"), std::filesystem::last_write_time(folder.File("arm.gltf")) + std::chrono::seconds(5));
    config->meshLastCheck -= 2.0;
    EXPECT_EQ(testing_support::StdoutOf([] { ClientSideEntity::UpdateAll(0.016); }),
              "Reloaded mesh: " + folder.File("arm.gltf") + "\n");

    for (const auto& entity : {first, second}) {
        const auto& chassis = *entity->renderables.at("chassis");
        EXPECT_TRUE(chassis.reloaded);
        EXPECT_TRUE(chassis.readyToDraw);
        ASSERT_EQ(chassis.geometries.size(), 1u);
        EXPECT_NE(chassis.geometries[0], oldGeometry);
        EXPECT_EQ(chassis.geometries[0], config->mesh->geometries[0]);
    }
    // A reloaded renderable gets its transform even when nothing moved.
    ClientSideEntity::PhysicsUpdate(0.016);
    EXPECT_TRUE(first->renderables.at("chassis")->changed);
    window.SetKey(294, false);
    renderer->StopRendering();
}

} // namespace
