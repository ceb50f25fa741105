#include "game/graphics/PlasmaTrail.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "vesmo/vk/Device.hpp"

#include <cmath>

namespace game::graphics {

PlasmaTrail::PlasmaTrail()
    : RenderableInstance(kHitShader, kInstanceFlags),
      plasmaBuffer(std::make_shared<vesmo::vk::Buffer>(vesmo::vk::Device::Current(), sizeof(PlasmaData),
                                                       VK_BUFFER_USAGE_STORAGE_BUFFER_BIT,
                                                       VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 16, "PlasmaData", true)) {
    GAME_ASSERT(plasmaBuffer->Data());
    plasmaData = static_cast<PlasmaData*>(plasmaBuffer->Data());
    *plasmaData = PlasmaData{};
    geometries.push_back(std::make_shared<AabbGeometry>(1));
    visible = false;
}

PlasmaTrail::~PlasmaTrail() {
    TrashGpuObject(std::move(plasmaBuffer));
    TrashGpuObject(std::move(noiseTexture));
}

void PlasmaTrail::Update(const glm::vec3& newVelocity, float newSize, const game::physics::EnvironmentInfo& info) {
    velocity = newVelocity;
    size = newSize;
    const float density = static_cast<float>(info.density);
    const float p = std::pow(density, 0.2f);
    float heat1 = 0.0f;
    float heat2 = 0.0f;
    if (info.viscosity < 0.0005) {
        const float speed2 = glm::dot(velocity, velocity);
        heat1 = speed2 * density / 1e8f;
        heat2 = std::sqrt(speed2) * p / 1000.0f;
    }
    if (!(heat1 > 0.01f || heat2 > 0.01f)) {
        visible = false;
        return;
    }

    auto& box = static_cast<AabbGeometry&>(*geometries[0]);
    box.aabbs[0].min = glm::vec3(-size, 0.0f, -size);
    box.aabbs[0].max = glm::vec3(size, 16.0f * size, size);
    plasmaData->length = size * 16.0f;
    plasmaData->radius = size;
    const glm::vec3 cool(0.5f, 0.5f, 0.5f);
    const glm::vec3 hot(1.0f, 0.25f, 0.05f);
    plasmaData->ramp = heat2 < 0.0f ? cool : heat2 > 1.0f ? hot : glm::mix(cool, hot, heat2);
    plasmaData->heat = glm::clamp(heat1 * 200.0f, 0.0f, 500.0f);
    plasmaData->glow = glm::clamp(heat2 * 600.0f, 0.0f, 2500.0f);
    if (!noiseTexture && Game::renderer) {
        noiseTexture =
            std::make_shared<vesmo::graphics::ComputeTexture>(Game::renderer, 256, 256, VK_FORMAT_R32G32_SFLOAT, 0);
        plasmaData->textureIndex = static_cast<uint16_t>(Game::renderer->AddTexture(noiseTexture));
        plasmaData->zero = 0;
    }
    visible = true;
}

} // namespace game::graphics
