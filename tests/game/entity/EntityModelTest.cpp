#include "game/entity/EntityConfig.hpp"
#include "game/entity/common.hpp"

#include "TestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <string>

using game::entity::BaseEntity;
using game::entity::ConvexMeshCollider;
using game::entity::EntityConfig;

namespace {

std::shared_ptr<EntityConfig> Config(const std::string& name) {
    auto config = std::make_shared<EntityConfig>(std::string(ORKALIN_TEST_DATA) + "/entities/" + name);
    config->ReadConfig();
    return config;
}

std::unique_ptr<BaseEntity> Entity(const std::string& configName) {
    auto entity = std::make_unique<BaseEntity>();
    entity->config = Config(configName);
    entity->InitNodes();
    return entity;
}

void ExpectPoint(const glm::dvec3& actual, const glm::dvec3& expected, double tolerance = 1e-5) {
    EXPECT_LE(glm::distance(actual, expected), std::sqrt(3.0) * tolerance)
        << actual.x << " " << actual.y << " " << actual.z;
}

glm::dvec3 Origin(const glm::dmat4& m) { return glm::dvec3(m[3]); }

glm::dmat4 RotateY(double degrees) { return glm::rotate(glm::dmat4(1.0), glm::radians(degrees), {0.0, 1.0, 0.0}); }
glm::dmat4 Move(double x, double y, double z) { return glm::translate(glm::dmat4(1.0), {x, y, z}); }

} // namespace

TEST(BaseEntity, WithoutConfigItStaysEmptyWithAnIdentityPose) {
    BaseEntity entity;
    entity.InitNodes();
    EXPECT_TRUE(entity.nodes.empty());
    EXPECT_EQ(entity.GetTransform(), glm::dmat4(1.0));
    EXPECT_FALSE(entity.HasParent());
}

TEST(BaseEntity, InitNodesBuildsABoxColliderFromTheCornersAndTheBoxAroundIt) {
    auto entity = Entity("block.conf");
    EXPECT_DOUBLE_EQ(entity->mass, 12.5);
    ASSERT_EQ(entity->colliders.size(), 1u);
    const ConvexMeshCollider& hull = entity->colliders.at("hull");
    EXPECT_EQ(std::tuple(hull.vertexCount, hull.normalCount, hull.triangleCount, hull.weight, hull.fill),
              std::tuple(8u, 3u, 12u, 0.0, 1.0));
    EXPECT_EQ(hull.vertices[0], glm::vec3(-1, 0, -1));
    EXPECT_EQ(hull.vertices[5], glm::vec3(1, 0, 1)); // high X (4) and high Z (1)
    EXPECT_EQ(hull.triangles[11], (std::array<uint16_t, 3>{3, 7, 5}));
    // ComputeBox replaced the larger corner length by half the diagonal.
    EXPECT_NEAR(hull.radius, std::sqrt(3.0), 1e-6);
    ExpectPoint(entity->boxMin, {-1, 0, -1});
    ExpectPoint(entity->boxMax, {1, 2, 1});
    ExpectPoint(entity->boxCenter, {0, 1, 0});
    ExpectPoint(entity->savedBoxCenter, {0, 1, 0});
    ExpectPoint(entity->box_size, {2, 2, 2});
    EXPECT_NEAR(entity->boundingRadius, std::sqrt(3.0), 1e-9);
    // Targets become nodes; cameras and renderables are the client's.
    EXPECT_EQ(entity->nodes.count("top"), 1u);
    EXPECT_EQ(entity->nodes.count("eye"), 0u);
}

TEST(BaseEntity, TheBoxTakesTwoCornersPerColliderAndKeepsTheSavedCentreWhenEmptied) {
    BaseEntity entity;
    ConvexMeshCollider& collider = entity.colliders["c"];
    collider.boxMin = glm::vec3(-0.5f);
    collider.boxMax = glm::vec3(0.5f);
    collider.transform = glm::rotate(glm::dmat4(1.0), glm::radians(45.0), {0.0, 1.0, 0.0});
    entity.UpdateBoundingBox(true);
    // The two rotated corners lie on the X axis: the box has no depth in Z, though the cube reaches out there.
    EXPECT_NEAR(entity.box_size.x, std::sqrt(2.0), 1e-9);
    EXPECT_NEAR(entity.box_size.z, 0.0, 1e-9);

    entity.savedBoxCenter = {4, 5, 6};
    collider.transform = Move(1, 0, 0);
    entity.UpdateBoundingBox(false);
    ExpectPoint(entity.boxCenter, {1, 0, 0});
    ExpectPoint(entity.savedBoxCenter, {4, 5, 6});

    entity.colliders.clear();
    entity.UpdateBoundingBox(true);
    EXPECT_EQ(entity.boxMin, glm::dvec3(0.0));
    EXPECT_EQ(entity.boundingRadius, 0.0);
    ExpectPoint(entity.savedBoxCenter, {4, 5, 6});
}

TEST(BaseEntity, UpdateCopiesNodesIntoCollidersOnlyWhenDirty) {
    auto entity = Entity("block.conf");
    entity->nodes.at("hull") = Move(10, 0, 0);
    entity->Update(0.1);
    ExpectPoint(Origin(entity->colliders.at("hull").transform), {0, 0, 0});
    entity->nodesDirty = 1;
    entity->Update(0.1);
    ExpectPoint(Origin(entity->colliders.at("hull").transform), {10, 0, 0});
    ExpectPoint(entity->boxCenter, {10, 1, 0});
    EXPECT_EQ(entity->nodesDirty, 1); // left for the physics to clear

    entity->colliders["orphan"];
    EXPECT_THROW(entity->Update(0.1), std::out_of_range);
}

TEST(ConvexMeshCollider, CopiesShareChildrenAndAnEmptyHullHasAnInvertedBox) {
    ConvexMeshCollider a;
    ConvexMeshCollider b = a;
    EXPECT_EQ(a.children, b.children);
    a.ComputeBox();
    EXPECT_EQ(a.boxMin.x, std::numeric_limits<float>::max());
    EXPECT_EQ(a.boxMax.x, -std::numeric_limits<float>::max());
    a.SetFriction(0.7);
    EXPECT_EQ(a.Friction(), 0.7);
}

TEST(ConvexMeshColliderDeathTest, ComputeBoxRefusesACompoundCollider) {
    ConvexMeshCollider compound;
    compound.children->emplace_back();
    EXPECT_DEATH(compound.ComputeBox(), "Assertion failed: children->size\\(\\) == 0, file game/entity/common");
}

TEST(JointSolver, WithoutJointsOrTheirStatesThereIsNothingToDo) {
    for (const char* file : {"block.conf", "arm.conf"}) {
        auto entity = Entity(file);
        entity->jointStates.clear(); // an arm whose states are not there yet
        const auto nodes = entity->nodes;
        EXPECT_FALSE(entity->config->jointSolver(entity.get())) << file;
        EXPECT_EQ(entity->nodes, nodes);
    }
}

TEST(JointSolver, BuildsTheTreeAndTheRestPoseOnce) {
    auto config = Config("arm.conf");
    const auto& joints = config->jointSolver.joints;
    ASSERT_EQ(joints.size(), 2u);
    EXPECT_TRUE(joints.at("shoulder").parentJoint.empty());
    EXPECT_EQ(joints.at("shoulder").childJoints, std::vector<std::string>{"elbow"});
    EXPECT_EQ(joints.at("elbow").parentJoint, "shoulder");
    ExpectPoint(Origin(joints.at("elbow").localTransform), {1, 0, 0}); // the upper_link, not the elbow itself
    const std::tuple<const char*, const char*, size_t> attached[] = {
        {"shoulder", "upper_link", 1}, {"elbow", "hand", 1}, {"elbow", "forearm", 1}, {"shoulder", "base plate", 0}};
    for (const auto& [joint, node, count] : attached)
        EXPECT_EQ(joints.at(joint).attached.count(node), count) << joint << " " << node;
}

TEST(JointSolver, ARotatingParentSwingsTheChildJointsAttachedNodes) {
    auto entity = Entity("arm.conf");
    ExpectPoint(Origin(entity->nodes.at("hand")), {3, 1, 0});
    const glm::dmat4 shoulderRest = entity->nodes.at("shoulder");

    // At rest the solver reproduces the model.
    EXPECT_TRUE(entity->config->jointSolver(entity.get()));
    ExpectPoint(Origin(entity->nodes.at("hand")), {3, 1, 0});

    // The shoulder turns about the file's Z, which is the program's Y: the hand swings from +X to -Z.
    entity->jointStates.at("shoulder").angular.z = 90.0f;
    entity->config->jointSolver(entity.get());
    ExpectPoint(Origin(entity->nodes.at("hand")), {0, 1, -3});

    // Both joints turned: the elbow's motion is taken in the shoulder's turned frame.
    entity->jointStates.at("elbow").angular.z = 90.0f;
    entity->config->jointSolver(entity.get());
    const glm::dmat4 expected = Move(0, 1, 0) * RotateY(90) * Move(2, 0, 0) * RotateY(90) * Move(1, 0, 0);
    ExpectPoint(Origin(entity->nodes.at("hand")), Origin(expected));
    // The joints' own nodes keep their rest pose; a node on no joint does not move.
    EXPECT_EQ(entity->nodes.at("shoulder"), shoulderRest);
    ExpectPoint(Origin(entity->nodes.at("base plate")), {0, 0, 0});

    // The colliders follow once the entity is updated with dirty joints.
    entity->jointsDirty = 1;
    entity->Update(0.0);
    ExpectPoint(Origin(entity->colliders.at("hand").transform), Origin(expected));
}

TEST(JointSolver, StatesAreClampedIntoLimitsGivenInEitherOrder) {
    auto entity = Entity("arm.conf");
    auto& shoulder = entity->jointStates.at("shoulder");
    auto& elbow = entity->jointStates.at("elbow");
    shoulder.angular.z = 200.0f;
    elbow.angular.z = -200.0f; // limits written as 90 0 -90
    entity->config->jointSolver(entity.get());
    EXPECT_EQ(shoulder.angular.z, 90.0f);
    EXPECT_EQ(elbow.angular.z, -90.0f);
    elbow.angular.z = 45.0f;
    entity->config->jointSolver(entity.get());
    EXPECT_EQ(elbow.angular.z, 45.0f);
    // An axis without a key is pinned to its pose as written.
    EXPECT_EQ(elbow.linear.x, 1.0f);
    elbow.linear.x = 5.0f;
    entity->config->jointSolver(entity.get());
    EXPECT_EQ(elbow.linear.x, 1.0f);
}

TEST(JointSolver, AJointWithoutStateRestsAtItsMiddleValues) {
    auto entity = Entity("arm.conf");
    entity->jointStates.erase("elbow");
    entity->jointStates.at("shoulder").angular.z = 90.0f;
    entity->config->jointSolver(entity.get());
    ExpectPoint(Origin(entity->nodes.at("hand")), {0, 1, -3});
    EXPECT_EQ(entity->jointStates.count("elbow"), 0u);
}
