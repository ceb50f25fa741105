#include "game/graphics/LightSourceInstance.hpp"

#include "game/graphics/RenderableInstance.hpp"
#include "vesmo/vk/Device.hpp"

#include <glm/gtc/constants.hpp>

#include <cmath>
#include <mutex>

namespace game::graphics {

std::vector<std::weak_ptr<LightSourceInstance>> LightSourceInstance::_sharedObjects;
vesmo::SharedMutex LightSourceInstance::_sharedObjectsMutex;

LightSourceInstance::LightSourceInstance(const glm::vec3& where, float radius, const glm::vec3& towards, float spot,
                                         const glm::vec3& color, float power)
    : position(where), innerRadius(std::abs(radius)), direction(towards), angle(spot),
      lightData(std::make_shared<DataBuffer>(vesmo::vk::Device::Current(), 1, kGeometryBufferUsage,
                                             "LightSourceInstanceData")) {
    LightSourceInstanceData& record = (*lightData)[0];
    record.radius = radius;
    record.direction = direction;
    record.angle = angle;
    record.color = color;
    SetPower(power, color, angle);
}

LightSourceInstance::~LightSourceInstance() { TrashGpuObject(std::move(lightData)); }

void LightSourceInstance::Register(const std::shared_ptr<LightSourceInstance>& light) {
    std::unique_lock lock(_sharedObjectsMutex);
    for (auto& entry : _sharedObjects) {
        if (entry.expired()) {
            entry = light;
            return;
        }
    }
    _sharedObjects.push_back(light);
}

void LightSourceInstance::SetPower(float power, const glm::vec3& color, float newAngle) {
    visible = power != 0.0f;
    if (power == 0.0f)
        return;
    if (newAngle != 0.0f)
        angle = newAngle;
    LightSourceInstanceData& record = (*lightData)[0];
    if (power == record.power) {
        record.color = color;
        if (newAngle != 0.0f)
            record.angle = newAngle;
        return;
    }

    const float d = power / 0.01f - 1.0f;
    float reach = innerRadius;
    if (d > 0.0f) {
        const float spread = angle == 0.0f ? 4.0f * glm::pi<float>() : 2.0f * angle;
        reach = innerRadius + std::sqrt(d / spread);
    }
    record.min = position - reach + direction * reach - direction * innerRadius;
    record.max = position + reach + direction * reach + direction * innerRadius;
    record.power = power;
    record.color = color;
    if (newAngle != 0.0f)
        record.angle = newAngle;
    changed = true;
}

} // namespace game::graphics
