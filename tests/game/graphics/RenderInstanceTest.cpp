// Render instances, light sources and the plasma trail without a device: records are host memory, so their
// bytes are read at the offsets the ray-tracing modules read them at.

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/PlasmaTrail.hpp"
#include "game/graphics/RenderableInstance.hpp"
#include "vesmo/graphics/ComputeTexture.hpp"

#include <glm/gtc/constants.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

namespace {

using game::graphics::LightSourceInstance;
using game::graphics::PlasmaTrail;
using game::graphics::RenderableInstance;

template <class T> T Bytes(const void* record, size_t offset) {
    T value;
    std::memcpy(&value, static_cast<const unsigned char*>(record) + offset, sizeof(T));
    return value;
}

TEST(RenderableInstance, SettersWriteTheRecordsOfAPart) {
    auto instance = RenderableInstance::Make<RenderableInstance>(0, 1);
    EXPECT_EQ(instance->SetColor("paint", glm::vec4(1.0f), 1.0f), 0); // no records yet
    instance->renderableData = std::make_shared<RenderableInstance::RenderableDataBuffer>(nullptr, 3, 0, "test");
    instance->partIndices["paint"] = {0, 2};

    EXPECT_EQ(instance->SetEmission("paint", {1.0f, 2.0f, 3.0f}), 1);
    EXPECT_EQ(instance->SetColor("paint", {0.1f, 0.2f, 0.3f, 0.4f}, 0.5f), 1);
    EXPECT_EQ(instance->SetPbrMetallicRoughness("paint", 0.25f, 0.75f, 0.125f), 1);
    EXPECT_EQ(instance->SetMonitorTexture("paint", 42, {7.0f, 8.0f, 9.0f}), 1);
    EXPECT_EQ(instance->SetColor("glass", glm::vec4(1.0f), 1.0f), 0);

    const auto* records = reinterpret_cast<const unsigned char*>(instance->renderableData->Data());
    for (int index : {0, 2}) {
        const unsigned char* r = records + 64 * index;
        EXPECT_EQ(Bytes<glm::vec3>(r, 0), glm::vec3(7.0f, 8.0f, 9.0f)); // the monitor's emission came last
        EXPECT_EQ(Bytes<float>(r, 12), 0.5f);
        EXPECT_EQ(Bytes<glm::vec4>(r, 16), glm::vec4(0.1f, 0.2f, 0.3f, 0.4f));
        EXPECT_EQ(Bytes<glm::vec3>(r, 32), glm::vec3(0.25f, 0.75f, 0.125f)); // metallic, roughness, and the third
        EXPECT_EQ(Bytes<uint32_t>(r, 44), 42u);
    }
    EXPECT_EQ(Bytes<float>(records + 64, 12), 0.0f); // record 1 isn't in the part

    instance->partIndices["paint"].push_back(3);
    EXPECT_DEATH(instance->SetColor("paint", glm::vec4(1.0f), 1.0f), "Assertion failed: index < _count");
}

TEST(RenderableInstance, TheRegistryReusesExpiredEntries) {
    {
        std::unique_lock lock(RenderableInstance::_sharedObjectsMutex);
        RenderableInstance::_sharedObjects.clear();
    }
    for (int round = 0; round < 3; ++round) {
        std::vector<std::shared_ptr<RenderableInstance>> live;
        for (int i = 0; i < 5; ++i)
            live.push_back(RenderableInstance::Make<RenderableInstance>(0, 1));
    }
    auto a = RenderableInstance::Make<RenderableInstance>(0, 1);
    auto copy = RenderableInstance::Make<RenderableInstance>(a, glm::dmat4(2.0));
    EXPECT_EQ(RenderableInstance::_sharedObjects.size(), 5u);
    EXPECT_EQ(RenderableInstance::_sharedObjects[0].lock(), a);
    EXPECT_EQ(copy->source, a);
    EXPECT_EQ(copy->transform, glm::dmat4(2.0));
}

TEST(RenderableInstance, GeometriesPickTheirIndexWidth) {
    const struct {
        uint32_t vertices;
        uint32_t kind, stride;
    } table[] = {{3, 2, 2}, {65536, 2, 2}, {65537, 3, 4}};
    for (const auto& row : table) {
        RenderableInstance::TriangleGeometry geometry(row.vertices, 6);
        EXPECT_EQ(std::tuple(geometry.geometryKind, geometry.GetIndexStride(), geometry.GetIndexCount(),
                             geometry.GetPrimitiveCount(), geometry.GetPrimitiveStride()),
                  std::tuple(row.kind, row.stride, 6u, row.vertices, 12u));
        EXPECT_NE(geometry.GetIndicesAddr(), 0u);
    }
    const game::graphics::AabbData boxes[2] = {{{-1, -2, -3}, {1, 2, 3}, {7, 8}}, {}};
    RenderableInstance::AabbGeometry aabbs(boxes, 2);
    EXPECT_EQ(std::tuple(aabbs.GetPrimitiveCount(), aabbs.GetPrimitiveStride(), aabbs.GetIndexStride()),
              std::tuple(2u, 32u, 0u));
    EXPECT_EQ(aabbs.GetIndicesAddr(), 0u);
    const void* first = reinterpret_cast<const void*>(aabbs.GetPrimitivesAddr());
    EXPECT_EQ(Bytes<glm::vec3>(first, 12), glm::vec3(1, 2, 3));
    EXPECT_EQ(Bytes<uint32_t>(first, 28), 8u);

    EXPECT_DEATH(RenderableInstance::AabbGeometry(0u), "Assertion failed: voxelCount > 0");
    EXPECT_DEATH(RenderableInstance::TriangleGeometry(0, 3), "Assertion failed: vertexCount > 0");
}

TEST(LightSourceInstance, ReachIsWherePowerFallsToOneHundredth) {
    const float pi = glm::pi<float>();
    auto point = LightSourceInstance::Make(glm::vec3(1, 2, 3), -0.5f, glm::vec3(0), 0.0f, glm::vec3(1, 0.5f, 0), 1.0f);
    const void* record = point->lightData->Data();
    const float r = 0.5f + std::sqrt(99.0f / (4.0f * pi));
    EXPECT_TRUE(point->visible);
    EXPECT_TRUE(point->changed);
    EXPECT_FLOAT_EQ(Bytes<float>(record, 0), 1.0f - r);
    EXPECT_FLOAT_EQ(Bytes<float>(record, 20), 3.0f + r);
    EXPECT_EQ(Bytes<float>(record, 24), 1.0f);
    EXPECT_EQ(Bytes<glm::vec3>(record, 32), glm::vec3(1, 0.5f, 0));
    EXPECT_EQ(Bytes<float>(record, 44), -0.5f); // signed as given; the reach uses |radius|

    // A spot of angle 0.5 along +X: the box shifts along its direction.
    auto spot = LightSourceInstance::Make(glm::vec3(0), 1.0f, glm::vec3(1, 0, 0), 0.5f, glm::vec3(1), 2.0f);
    const void* spotRecord = spot->lightData->Data();
    const float s = 1.0f + std::sqrt(199.0f / 1.0f);
    EXPECT_FLOAT_EQ(Bytes<float>(spotRecord, 0), -s + s - 1.0f);
    EXPECT_FLOAT_EQ(Bytes<float>(spotRecord, 12), s + s + 1.0f);
    EXPECT_FLOAT_EQ(Bytes<float>(spotRecord, 16), s);
    EXPECT_EQ(Bytes<glm::vec3>(spotRecord, 48), glm::vec3(1, 0, 0));
    EXPECT_EQ(Bytes<float>(spotRecord, 60), 0.5f);

    // Power 0 only hides; 0.01 or less is the inner radius; the same power only recolours.
    point->changed = false;
    point->SetPower(0.0f, glm::vec3(9), 0.0f);
    EXPECT_FALSE(point->visible);
    EXPECT_EQ(Bytes<float>(record, 24), 1.0f);
    EXPECT_EQ(Bytes<glm::vec3>(record, 32), glm::vec3(1, 0.5f, 0));
    point->SetPower(0.01f, glm::vec3(1), 0.0f);
    EXPECT_TRUE(point->visible);
    EXPECT_FLOAT_EQ(Bytes<float>(record, 0), 0.5f);
    EXPECT_FLOAT_EQ(Bytes<float>(record, 12), 1.5f);
    point->changed = false;
    point->SetPower(0.01f, glm::vec3(0, 0, 1), 0.0f);
    EXPECT_FALSE(point->changed);
    EXPECT_EQ(Bytes<glm::vec3>(record, 32), glm::vec3(0, 0, 1));
}

class PlasmaTrailTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::current_path(TEST_MODULE_ROOT); // the renderer's font atlas is there
        renderer = std::make_unique<game::graphics::GameRenderer>(nullptr, "plasma test", 0);
        Game::renderer = renderer.get();
    }
    void TearDown() override {
        Game::renderer = nullptr;
        renderer->CollectAllTrash();
    }
    std::unique_ptr<game::graphics::GameRenderer> renderer;
};

TEST_F(PlasmaTrailTest, ShowsOnlyInAFastGas) {
    game::physics::EnvironmentInfo air;
    air.density = 1.2;
    air.viscosity = 1.8e-5;
    game::physics::EnvironmentInfo water = air;
    water.density = 1000.0;
    water.viscosity = 0.0005; // the limit itself is hidden
    game::physics::EnvironmentInfo vacuum;

    auto trail = RenderableInstance::Make<PlasmaTrail>();
    EXPECT_EQ(trail->instanceFlags, 4);
    ASSERT_EQ(trail->geometries.size(), 1u);
    const struct {
        game::physics::EnvironmentInfo* medium;
        float speed;
        bool visible;
    } table[] = {{&air, 5.0f, false}, {&water, 3000.0f, false}, {&vacuum, 8000.0f, false}, {&air, 2000.0f, true}};
    for (const auto& row : table) {
        trail->Update(glm::vec3(row.speed, 0, 0), 2.0f, *row.medium);
        EXPECT_EQ(trail->visible, row.visible) << row.speed;
    }

    // At 2000 m/s in air: heat1 = 4e6 * 1.2 / 1e8 = 0.048, heat2 = 2000 * 1.2^0.2 / 1000 ≈ 2.075.
    const void* data = trail->plasmaBuffer->Data();
    const float heat2 = 2000.0f * std::pow(1.2f, 0.2f) / 1000.0f;
    EXPECT_EQ(Bytes<float>(data, 0), 32.0f);
    EXPECT_EQ(Bytes<float>(data, 4), 2.0f);
    EXPECT_FLOAT_EQ(Bytes<float>(data, 8), heat2 * 600.0f);
    EXPECT_EQ(Bytes<uint16_t>(data, 14), 0);
    EXPECT_EQ(Bytes<glm::vec3>(data, 16), glm::vec3(1.0f, 0.25f, 0.05f)); // heat2 above 1: the hot end
    EXPECT_FLOAT_EQ(Bytes<float>(data, 28), 0.048f * 200.0f);
    auto& box = static_cast<RenderableInstance::AabbGeometry&>(*trail->geometries[0]);
    EXPECT_EQ(box.aabbs[0].min, glm::vec3(-2, 0, -2));
    EXPECT_EQ(box.aabbs[0].max, glm::vec3(2, 32, 2));

    // The noise texture is a 256 x 256 compute texture in the renderer's table, at the index of byte 12.
    ASSERT_TRUE(trail->noiseTexture);
    const uint16_t index = Bytes<uint16_t>(data, 12);
    EXPECT_EQ(renderer->GetTexture(index).texture, trail->noiseTexture);
    EXPECT_EQ(trail->noiseTexture->Width(), 256u);
    EXPECT_EQ(trail->noiseTexture->Format(), VK_FORMAT_R32G32_SFLOAT);
    ASSERT_EQ(renderer->pushedTextures.size(), 1u);
    EXPECT_EQ(renderer->pushedTextures[0], trail->noiseTexture);

    // Slower, the ramp mixes grey and orange by heat2.
    trail->Update(glm::vec3(0, 400.0f, 0), 2.0f, air);
    const float t = 400.0f * std::pow(1.2f, 0.2f) / 1000.0f;
    EXPECT_FLOAT_EQ(Bytes<float>(data, 20), 0.5f + (0.25f - 0.5f) * t);
    EXPECT_EQ(Bytes<uint16_t>(data, 12), index); // made once
}

} // namespace
