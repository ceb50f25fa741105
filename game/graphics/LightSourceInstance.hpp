#pragma once
// game::graphics::LightSourceInstance: one light and its GPU record. Registered like RenderableInstance
// (Make, a weak list that never shrinks) and walked by the ray-tracing modules each frame.
//
// The record, LightSourceInstanceData, byte by byte (64 bytes):
//   0 box min vec3 | 12 box max vec3 | 24 power | 28 (unused) | 32 color vec3 | 44 radius (signed, as
//   given) | 48 direction vec3 | 60 angle
//
// The box is the light's reach: where its power falls to 0.01 by the inverse square law,
//   d = power / 0.01 - 1,  r = innerRadius + sqrt(d / (4 pi))        (angle 0: a point light)
//                          r = innerRadius + sqrt(d / (2 angle))     (a spot of that angle)
// and r = innerRadius when d <= 0; for a spot the box is shifted along `direction`. SetPower(0, ...) only
// hides the light and keeps its record.

#include "vesmo/core/SharedMutex.hpp"
#include "vesmo/vk/MappedBuffer.hpp"

#include <glm/glm.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace game::graphics {

struct LightSourceInstanceData {
    glm::vec3 min{0.0f};
    glm::vec3 max{0.0f};
    float power = 0.0f;
    float unused = 0.0f;
    glm::vec3 color{0.0f};
    float radius = 0.0f;
    glm::vec3 direction{0.0f};
    float angle = 0.0f;
};
static_assert(sizeof(LightSourceInstanceData) == 64);
static_assert(offsetof(LightSourceInstanceData, power) == 24 && offsetof(LightSourceInstanceData, color) == 32);
static_assert(offsetof(LightSourceInstanceData, radius) == 44 && offsetof(LightSourceInstanceData, angle) == 60);

class LightSourceInstance {
public:
    using DataBuffer = vesmo::vk::MappedBuffer<LightSourceInstanceData, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 1024, 16>;

    LightSourceInstance(const glm::vec3& position, float radius, const glm::vec3& direction, float angle,
                        const glm::vec3& color, float power);
    virtual ~LightSourceInstance();
    LightSourceInstance(const LightSourceInstance&) = delete;
    LightSourceInstance& operator=(const LightSourceInstance&) = delete;

    // As RenderableInstance::Make.
    template <class T = LightSourceInstance, class... Args> static std::shared_ptr<T> Make(Args&&... args) {
        std::shared_ptr<T> light = std::make_shared<T>(std::forward<Args>(args)...);
        Register(light);
        return light;
    }

    // Power 0 hides the light and changes nothing else. A non-zero `angle` replaces the stored one. The
    // same power again only writes the colour (and the angle); another power recomputes the box and sets
    // `changed`.
    void SetPower(float power, const glm::vec3& color, float angle);

    glm::vec3 position{0.0f};
    float innerRadius = 0.0f; // |radius|
    glm::vec3 direction{0.0f};
    float angle = 0.0f;
    std::shared_ptr<DataBuffer> lightData; // one record, debug name "LightSourceInstanceData"
    glm::dmat4 transform{1.0};
    bool visible = false;
    bool changed = false;

    static std::vector<std::weak_ptr<LightSourceInstance>> _sharedObjects;
    static vesmo::SharedMutex _sharedObjectsMutex;

private:
    static void Register(const std::shared_ptr<LightSourceInstance>& light);
};

} // namespace game::graphics
