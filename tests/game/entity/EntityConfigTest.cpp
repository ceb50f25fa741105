#include "game/entity/EntityConfig.hpp"

#include "TestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <string>

using game::entity::EntityConfig;

namespace {

std::string DataFile(const std::string& name) { return std::string(ORKALIN_TEST_DATA) + "/entities/" + name; }

std::unique_ptr<EntityConfig> Read(const std::string& path) {
    auto config = std::make_unique<EntityConfig>(path);
    config->ReadConfig();
    return config;
}

// A point or direction within 1e-5 of where it should be (a macro, so that a failure names its line).
#define EXPECT_VEC_NEAR(actual, ...) EXPECT_LE(glm::distance(glm::vec3(actual), glm::vec3(__VA_ARGS__)), 2e-5f)

glm::vec3 Turn(const glm::mat4& m, const glm::vec3& v) { return glm::vec3(m * glm::vec4(v, 0.0f)); }

} // namespace

TEST(EntityConfigTransform, ConvertsZUpPositionsAndDegreeRotationsToYUp) {
    const glm::mat4 moved = EntityConfig::TransformFromBlender({1, 2, 3}, {0, 0, 0});
    EXPECT_VEC_NEAR(glm::vec3(moved[3]), {1, 3, -2});
    EXPECT_VEC_NEAR(Turn(moved, {0, 1, 0}), {0, 1, 0});

    // 90 degrees about the file's X is about the program's X; about the file's Z (up) is about the program's Y.
    const glm::mat4 aboutX = EntityConfig::TransformFromBlender({0, 0, 0}, {90, 0, 0});
    EXPECT_VEC_NEAR(Turn(aboutX, {1, 0, 0}), {1, 0, 0});
    EXPECT_VEC_NEAR(Turn(aboutX, {0, 1, 0}), {0, 0, 1});
    const glm::mat4 aboutY = EntityConfig::TransformFromBlender({0, 0, 0}, {0, 0, 90});
    EXPECT_VEC_NEAR(Turn(aboutY, {0, 1, 0}), {0, 1, 0});
    EXPECT_VEC_NEAR(Turn(aboutY, {1, 0, 0}), {0, 0, -1});

    // A rotation about the file's Y is, in the program, one about -Z: X turns to -Y.
    const glm::mat4 aboutFileY = EntityConfig::TransformFromBlender({0, 0, 0}, {0, 90, 0});
    EXPECT_VEC_NEAR(Turn(aboutFileY, {1, 0, 0}), {0, -1, 0});
}

TEST(EntityConfig, ReadsEveryKeyOfABlockAndConvertsItsPoses) {
    auto config = Read(DataFile("block.conf"));
    EXPECT_DOUBLE_EQ(config->mass, 12.5);
    EXPECT_TRUE(config->airtight);
    EXPECT_EQ(config->base_planes, (std::vector<std::string>{"-Z", "-Y"}));

    const auto& hull = config->colliders.at("hull");
    EXPECT_EQ(hull.parent, "body");
    EXPECT_TRUE(hull.is_build_block);
    EXPECT_FLOAT_EQ(hull.displacement_volume, 8.0f);
    // (-1,-1,0)..(1,1,2) Z-up is (-1,0,-1)..(1,2,1) Y-up once each axis is put in order.
    EXPECT_VEC_NEAR(hull.box_min, {-1, 0, -1});
    EXPECT_VEC_NEAR(hull.box_max, {1, 2, 1});
    EXPECT_EQ(hull.vertexCount, 0);

    const auto& eye = config->cameras.at("eye");
    EXPECT_FLOAT_EQ(eye.znear, 0.05f);
    EXPECT_VEC_NEAR(eye.position, {0, -2, 1}); // kept as written
    EXPECT_VEC_NEAR(eye.rotation, {90, 0, 0});
    EXPECT_VEC_NEAR(glm::vec3(eye.transform[3]), {0, 1, 2});

    EXPECT_EQ(std::tuple(config->targets.at("top").parent, config->renderables.count("body")), std::tuple("body", 1u));
    // The ENTITY section is no node.
    EXPECT_EQ(std::tuple(config->allNodes.size(), config->allNodes.at("eye").kind, config->allNodes.at("hull").parent),
              std::tuple(4u, "CAMERA", "body"));
    EXPECT_EQ(config->GetMeshFilePath(), DataFile("block.gltf"));
    EXPECT_EQ(config->GetMesh(), nullptr);
}

TEST(EntityConfig, HeadersKeysAndValuesFollowTheFormatsQuirks) {
    std::unique_ptr<EntityConfig> config;
    const std::string errors = testing_support::StderrOf([&] { config = Read(DataFile("quirks.conf")); });

    EXPECT_FALSE(config->airtight);      // "on" is not a true word
    EXPECT_DOUBLE_EQ(config->mass, 0.0); // "[ENTITY]" has no name and is skipped with its lines
    // Words to the end of the line: the trailing blank adds an empty one.
    EXPECT_EQ(config->base_planes, (std::vector<std::string>{"-Z", "-Y", "+X", ""}));
    EXPECT_EQ(config->allNodes.count("ignored"), 0u);

    // The name is the header's rest, trimmed, blanks inside kept; the repeated section adds to the record.
    const auto& wing = config->colliders.at("wing left");
    EXPECT_VEC_NEAR(wing.box_min, {0, 0, -2});
    EXPECT_VEC_NEAR(wing.box_max, {1, 3, 0});
    EXPECT_FLOAT_EQ(wing.displacement_volume, 2.5f);

    // Lists beyond the fixed arrays keep their first entries, and the lines after them are still read.
    const auto& many = config->colliders.at("too many");
    EXPECT_EQ(std::tuple(many.vertexCount, many.normalCount, many.triangleCount), std::tuple(8, 12, 12));
    EXPECT_VEC_NEAR(many.vertices[7], {1, 1, -1});
    EXPECT_TRUE(many.is_build_block);
    for (const char* part : {"quirks.conf", "[COLLIDER too many] lists more than 8 vertices",
                             "more than 12 face normals", "more than 12 triangles"})
        EXPECT_NE(errors.find(part), std::string::npos) << errors;

    // A number that does not read leaves the stream failed and the field at zero.
    const auto& broken = config->cameras.at("broken");
    EXPECT_VEC_NEAR(broken.position, {1, 0, 0});
    EXPECT_FLOAT_EQ(broken.znear, 0.5f);

    // An axis without a key keeps the raw pose in all three values; limits may run downwards.
    const auto& slider = config->joints.at("slider");
    EXPECT_TRUE(slider.linear_z);
    EXPECT_FALSE(slider.linear_y);
    EXPECT_EQ(glm::vec3(slider.linearA.y, slider.linearB.y, slider.linearC.y), glm::vec3(2.0f));
    EXPECT_VEC_NEAR(glm::vec3(slider.linearA.z, slider.linearB.z, slider.linearC.z), {1, 0, -1});
    EXPECT_VEC_NEAR(slider.angularB, {10, 20, 30});
    EXPECT_VEC_NEAR(slider.angularA, {10, 20, 30});
    EXPECT_VEC_NEAR(glm::vec3(slider.transform[3]), {1, 3, -2});
}

TEST(EntityConfig, BoolWordsAndCollidersListsAreConverted) {
    testing_support::TempDir dir;
    const std::string path = dir.File("part.conf");
    testing_support::WriteText(path, "[ENTITY part]\nairtight TRUE\n"
                                     "[COLLIDER a]\nis_build_block 1\n"
                                     "vertices 1 2 3 4 5\n" // the broken second triple is dropped
                                     "faces_normal 0 0 1  0 2 0\n"
                                     "triangles 7 8 9 65535 0 1\n"
                                     "[COLLIDER b]\nis_build_block Yes\nvertices 1 1 1\nvertices 2 2 2\n"
                                     "[LIGHT_BOX lamp]\nbox_min 0 0 0\nbox_max 1 2 3\n"
                                     "[ADAPTER port]\ntype socket\nparent a\n");
    auto config = Read(path);
    EXPECT_TRUE(config->airtight);
    const auto& a = config->colliders.at("a");
    EXPECT_TRUE(a.is_build_block);
    EXPECT_EQ(a.vertexCount, 1);
    EXPECT_VEC_NEAR(a.vertices[0], {1, 3, -2});
    ASSERT_EQ(a.normalCount, 2);
    EXPECT_VEC_NEAR(a.normals[0], {0, 1, 0});
    EXPECT_VEC_NEAR(a.normals[1], {0, 0, -1}); // rotated and normalised
    ASSERT_EQ(a.triangleCount, 2);
    EXPECT_EQ(a.triangles[1][0], 65535);
    const auto& b = config->colliders.at("b");
    EXPECT_TRUE(b.is_build_block);
    EXPECT_EQ(b.vertexCount, 1); // a repeated key restarts the list
    EXPECT_VEC_NEAR(b.vertices[0], {2, 2, -2});
    EXPECT_VEC_NEAR(config->lightBoxes.at("lamp").box_min, {0, 0, -2});
    EXPECT_VEC_NEAR(config->lightBoxes.at("lamp").box_max, {1, 3, 0});
    EXPECT_EQ(config->adapters.at("port").type, "socket");
    EXPECT_EQ(config->allNodes.at("port").kind, "ADAPTER");
}

TEST(EntityConfig, ASecondReadStartsCamerasAndJointsOverButKeepsColliders) {
    testing_support::TempDir dir;
    const std::string path = dir.File("two.conf");
    testing_support::WriteText(path, "[CAMERA c]\n[JOINT j]\n[COLLIDER k]\nbox_min 0 0 0\nbox_max 1 1 1\n");
    auto config = Read(path);
    testing_support::WriteText(path, "[RENDERABLE r]\n");
    config->ReadConfig();
    EXPECT_TRUE(config->cameras.empty());
    EXPECT_TRUE(config->joints.empty());
    ASSERT_EQ(config->colliders.count("k"), 1u);
    EXPECT_VEC_NEAR(config->colliders.at("k").box_min, {0, 0, -1}); // not converted twice
    EXPECT_EQ(config->allNodes.count("c"), 1u);
    EXPECT_EQ(config->allNodes.count("r"), 1u);
}

TEST(EntityConfig, TransformsMultiplyAlongTheParentChain) {
    auto config = Read(DataFile("arm.conf"));
    // hand: shoulder (0,0,1) -> upper_link (1,0,0) -> elbow (1,0,0) -> forearm -> hand (1,0,0), Z-up.
    const glm::dmat4 hand = config->GetAbsoluteTransform("hand");
    EXPECT_VEC_NEAR(hand[3], {3, 1, 0});
    EXPECT_EQ(config->GetAbsoluteTransform("nowhere"), glm::dmat4(1.0));

    std::string joint = "unchanged";
    const glm::dmat4 relative = config->GetTransformRelativeToFirstParentJointOrRoot("hand", joint);
    EXPECT_EQ(joint, "elbow");
    EXPECT_NEAR(relative[3].x, 1.0, 1e-6);
    joint = "unchanged";
    EXPECT_EQ(config->GetTransformRelativeToFirstParentJointOrRoot("elbow", joint), glm::dmat4(1.0));
    EXPECT_EQ(joint, "elbow");
    joint = "unchanged";
    config->GetTransformRelativeToFirstParentJointOrRoot("base plate", joint);
    EXPECT_EQ(joint, "unchanged"); // the chain ended at the root
}

TEST(EntityConfig, AParentCycleEndsTheWalkInsteadOfRecursingForever) {
    testing_support::TempDir dir;
    const std::string path = dir.File("cycle.conf");
    testing_support::WriteText(path, "[RENDERABLE a]\nparent b\nposition 1 0 0\n[RENDERABLE b]\nparent a\n");
    auto config = Read(path);
    std::string joint;
    (void)config->GetAbsoluteTransform("a");
    (void)config->GetTransformRelativeToFirstParentJointOrRoot("a", joint);
    EXPECT_TRUE(joint.empty());
}
