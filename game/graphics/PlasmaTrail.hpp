#pragma once
// game::graphics::PlasmaTrail: the glow behind a vehicle that moves fast through an atmosphere. It is a
// RenderableInstance with one procedural box, stretched 16 times its radius behind the vehicle, and a
// small record that drives the plasma hit shader. ClientSideEntity makes one under the name
// "_plasma_trail" for a fast dynamic entity and calls Update each frame.
//
//     auto trail = RenderableInstance::Make<PlasmaTrail>();
//     trail->Update(velocity, 1.1f * radius, environment);   // visible only when hot enough
//
// PlasmaData, byte by byte (32 bytes, its own buffer, alignment 16, debug name "PlasmaData"):
//   0  length of the box, size * 16           16 ramp red
//   4  radius of the box, size                20 ramp green
//   8  clamp(heat2 * 600, 0, 2500)            24 ramp blue
//   12 uint16 noise texture index, 14 zero    28 clamp(heat1 * 200, 0, 500)
//
// The heat, with speed2 = |velocity|^2 and the medium's density:
//   heat1 = speed2 * density / 1e8,   heat2 = |velocity| * density^0.2 / 1000.
// The trail shows while viscosity < 0.0005 (a gas) and heat1 or heat2 exceeds 0.01. The colour ramp goes
// from grey (heat2 0) to orange (heat2 1). The first time it shows it makes its noise texture: a 256 x 256
// R32G32_SFLOAT ComputeTexture, added to the renderer's texture table.

#include "game/graphics/RenderableInstance.hpp"
#include "game/physics/Environment.hpp"
#include "vesmo/graphics/ComputeTexture.hpp"
#include "vesmo/vk/Buffer.hpp"

#include <glm/glm.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace game::graphics {

struct PlasmaData {
    float length = 0.0f;
    float radius = 0.0f;
    float glow = 0.0f;
    uint16_t textureIndex = 0;
    uint16_t zero = 0;
    glm::vec3 ramp{0.0f};
    float heat = 0.0f;
};
static_assert(sizeof(PlasmaData) == 32);
static_assert(offsetof(PlasmaData, textureIndex) == 12 && offsetof(PlasmaData, ramp) == 16);
static_assert(offsetof(PlasmaData, heat) == 28);

class PlasmaTrail : public RenderableInstance {
public:
    // The plasma hit shader's index among GameRenderer's hit shaders, and the instance's ray mask.
    static constexpr uint32_t kHitShader = 3;
    static constexpr uint8_t kInstanceFlags = 4;

    PlasmaTrail();
    ~PlasmaTrail() override;

    void Update(const glm::vec3& velocity, float size, const game::physics::EnvironmentInfo& info);

    std::shared_ptr<vesmo::vk::Buffer> plasmaBuffer; // 32 bytes, mapped
    PlasmaData* plasmaData = nullptr;                // the mapped record
    std::shared_ptr<vesmo::graphics::ComputeTexture> noiseTexture;
    glm::vec3 velocity{0.0f};
    float size = 0.0f;
};

} // namespace game::graphics
