// The glTF subset on files written by @gltf-transform/core (tests/gltf/write-meshes.mjs), a writer this
// project did not write: counts, strides, addresses (host addresses without a device, so the bytes behind
// them can be read), materials, the reload through the trash, and the files outside the subset.

#include "game/graphics/Mesh.hpp"
#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

namespace {

using game::graphics::Mesh;

class MeshTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = new testing_support::TempDir();
        const std::string command =
            "node " ORKALIN_SOURCE_DIR "/tests/gltf/write-meshes.mjs " + folder->Path().string();
        written = std::system(command.c_str()) == 0;
    }
    static void TearDownTestSuite() {
        delete folder;
        folder = nullptr;
    }
    void SetUp() override {
        std::filesystem::current_path(TEST_MODULE_ROOT); // the renderer's font atlas is there
        ASSERT_TRUE(written) << "tests/gltf/write-meshes.mjs failed (npm ci in tests/gltf: ./run build does it)";
        renderer = std::make_unique<game::graphics::GameRenderer>(nullptr, "mesh test", 0);
        Game::renderer = renderer.get();
    }
    void TearDown() override {
        Game::renderer = nullptr;
        if (renderer)
            renderer->CollectAllTrash();
    }

    static std::shared_ptr<Mesh> Load(const std::string& name) {
        auto mesh = std::make_shared<Mesh>(folder->File(name + ".gltf"));
        mesh->Load();
        return mesh;
    }
    template <class T> static T At(VkDeviceAddress address, size_t index) {
        T value;
        std::memcpy(&value, reinterpret_cast<const unsigned char*>(address) + index * sizeof(T), sizeof(T));
        return value;
    }

    static testing_support::TempDir* folder;
    static bool written;
    std::unique_ptr<game::graphics::GameRenderer> renderer;
};

testing_support::TempDir* MeshTest::folder = nullptr;
bool MeshTest::written = false;

TEST_F(MeshTest, CrateHasItsArraysAndMaterial) {
    auto mesh = Load("crate");
    ASSERT_EQ(mesh->buffers.size(), 1u);
    ASSERT_EQ(mesh->geometries.size(), 1u);
    ASSERT_EQ(mesh->parts.size(), 1u);
    EXPECT_EQ(mesh->parts[0].name, "body");
    const Mesh::Geometry& g = *mesh->geometries[0];
    EXPECT_EQ(g.buffer, mesh->buffers[0]);
    EXPECT_EQ(g.buffer->Size(), 840u);
    EXPECT_EQ(std::tuple(g.vertexCount, g.indexCount, g.GetPrimitiveStride(), g.GetIndexStride(), g.geometryKind),
              std::tuple(24u, 36u, 12u, 2u, 2u));
    EXPECT_EQ(std::tuple(g.colorsByteAddr, g.colorsFloatAddr, g.texcoord1Addr), std::tuple(0u, 0u, 0u));
    // The first face of the writer's cube: +X, its first corner (0.5, -0.5, -0.5), UV (0, 0), indices 0 1 2 0 2 3.
    EXPECT_EQ(At<glm::vec2>(g.positionsAddr, 0), glm::vec2(0.5f, -0.5f));
    EXPECT_EQ(At<glm::vec2>(g.normalsAddr, 0), glm::vec2(1.0f, 0.0f));
    EXPECT_EQ(At<float>(g.texcoord0Addr, 2), 1.0f); // second vertex: u = 1
    const uint16_t firstFace[6] = {0, 1, 2, 0, 2, 3};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(At<uint16_t>(g.indicesAddr, i), firstFace[i]);
    EXPECT_EQ(At<uint16_t>(g.indicesAddr, 35), 23);

    EXPECT_EQ(std::tie(g.materialName, g.color, g.metallic, g.roughness, g.emission, g.baseColorTexture),
              std::tuple("wood", glm::vec4(0.5f, 0.25f, 0.125f, 1.0f), 0.25f, 0.75f, glm::vec3(0.1f, 0.2f, 0.3f), -1));
}

TEST_F(MeshTest, PartsColoursAndMaterials) {
    auto mesh = Load("parts");
    // "pivot" has no mesh: four parts, five primitives.
    ASSERT_EQ(mesh->parts.size(), 4u);
    ASSERT_EQ(mesh->geometries.size(), 5u);
    EXPECT_EQ(mesh->parts[0].name, "hull");
    ASSERT_EQ(mesh->parts[0].geometries.size(), 2u);

    const Mesh::Geometry& bytes = *mesh->parts[0].geometries[0];
    const Mesh::Geometry& floats = *mesh->parts[0].geometries[1];
    ASSERT_NE(bytes.colorsByteAddr, 0u);
    EXPECT_EQ(bytes.colorsFloatAddr, 0u);
    EXPECT_NE(bytes.texcoord1Addr, 0u);
    for (int i : {0, 1, 37, 95})
        EXPECT_EQ(At<uint8_t>(bytes.colorsByteAddr, i), (i * 7) % 256);
    ASSERT_NE(floats.colorsFloatAddr, 0u);
    EXPECT_EQ(floats.colorsByteAddr, 0u);
    for (int i : {0, 1, 2, 3, 94})
        EXPECT_EQ(At<float>(floats.colorsFloatAddr, i), (i % 4) / 4.0f);
    EXPECT_EQ(bytes.buffer, floats.buffer);

    struct Expected {
        size_t part;
        const char* material;
        glm::vec4 color;
        float metallic, roughness;
        glm::vec3 emission;
    };
    const Expected table[] = {
        {0, "paint", {0.0f, 0.5f, 1.0f, 1.0f}, 1.0f, 1.0f, glm::vec3(0.0f)},
        {1, "screen", {0.0f, 0.0f, 0.0f, 1.0f}, 0.5f, 1.0f, glm::vec3(0.0f)},   // a screen is black by default
        {2, "light", {1.0f, 1.0f, 1.0f, 1.0f}, 1.0f, 1.0f, {4.0f, 3.0f, 2.0f}}, // no pbrMetallicRoughness
        {3, "decal", {1.0f, 1.0f, 1.0f, 1.0f}, 1.0f, 1.0f, glm::vec3(0.0f)},
    };
    for (const Expected& e : table) {
        const Mesh::Geometry& g = *mesh->parts[e.part].geometries[0];
        EXPECT_EQ(std::tie(g.materialName, g.color, g.metallic, g.roughness, g.emission),
                  std::tie(e.material, e.color, e.metallic, e.roughness, e.emission));
    }
    EXPECT_EQ(mesh->parts[1].name, "panel");

    // The decal's texture is in the renderer's table: the writer's 2 x 2 image, red at the top left.
    const Mesh::Geometry& decal = *mesh->parts[3].geometries[0];
    ASSERT_GE(decal.baseColorTexture, 0);
    const auto slot = renderer->GetTexture(static_cast<uint32_t>(decal.baseColorTexture));
    ASSERT_TRUE(slot.texture);
    EXPECT_EQ(slot.texture->Width(), 2u);
    EXPECT_EQ(slot.texture->Pixel(0, 0), 0xff0000ffu);
    EXPECT_EQ(slot.texture->Pixel(1, 1), 0xffffffffu);
}

TEST_F(MeshTest, SeventyThousandVerticesTake32BitIndices) {
    auto mesh = Load("big");
    ASSERT_EQ(mesh->geometries.size(), 1u);
    const Mesh::Geometry& g = *mesh->geometries[0];
    EXPECT_EQ(std::tuple(g.vertexCount, g.indexCount, g.geometryKind, g.GetIndexStride()),
              std::tuple(70000u, 3u * 69998u, 3u, 4u));
    EXPECT_EQ(At<uint32_t>(g.indicesAddr, 3 * 69997 + 2), 69999u);
    EXPECT_EQ(g.materialName, "strip");
}

TEST_F(MeshTest, ReloadSendsTheOldArraysToTheTrash) {
    auto mesh = Load("crate");
    const std::weak_ptr<vesmo::vk::Buffer> oldBuffer = mesh->buffers[0];
    const std::weak_ptr<Mesh::Geometry> oldGeometry = mesh->geometries[0];
    mesh->Load();
    EXPECT_NE(mesh->buffers[0], oldBuffer.lock());
    EXPECT_EQ(mesh->geometries[0]->vertexCount, 24u);
    // Still alive for the frames in flight, in the trash until it is collected.
    EXPECT_FALSE(oldBuffer.expired());
    renderer->CollectAllTrash();
    EXPECT_TRUE(oldBuffer.expired());
    EXPECT_TRUE(oldGeometry.expired());
}

using MeshDeathTest = MeshTest;

TEST_F(MeshDeathTest, FilesOutsideTheSubsetEndTheProcess) {
    const struct {
        const char* file;
        const char* assertion;
    } table[] = {
        {"byte-indices", "Assertion failed: !\"Index ComponentType not supported\", file game/graphics/Mesh"},
        {"no-material", "Assertion failed: !\"Material not found\", file game/graphics/Mesh"},
        {"short-colours", "Assertion failed: !\"Color ComponentType not supported\", file game/graphics/Mesh"},
        {"interleaved", "Assertion failed: positionStride == sizeof\\(float\\) \\* 3, file game/graphics/Mesh"},
    };
    for (const auto& entry : table) {
        SCOPED_TRACE(entry.file);
        EXPECT_DEATH(Load(entry.file), entry.assertion);
    }
}

TEST(MeshWithoutRendererDeathTest, LoadNeedsTheRenderer) {
    Game::renderer = nullptr;
    Mesh mesh("nothing.gltf");
    EXPECT_DEATH(mesh.Load(), "Assertion failed: Game::renderer, file game/graphics/Mesh");
}

} // namespace
