#pragma once
// What the player aims at: the record the ray-tracing shaders write for the camera's centre ray, and the
// host's copy of it.
//
// The shaders (modules') write one AimBuffer per frame; a module's frame hook reads it back from the GPU
// and assigns it to Game::renderer->aim. The assignment looks the record's aimID up in the renderer's
// aim table (GameRenderer::AddAimReference): the id that a renderable carries (RenderableInstance::SetAimID)
// comes back here as the module and the data that registered it. Id 0 is "nothing": the renderer's
// constructor fills slot 0 with an empty reference, so a cleared record finds nothing.
//
// The record also tells where the ray met a monitor (an in-game screen): a non-zero monitorID stores the
// hit's coordinates in Game::currentMonitorX / Y / Distance. Game::currentMonitorID follows monitorID
// always, so when the aim leaves a monitor the last coordinates stay and only the id says so.
//
// Threads: the render thread assigns, modules on other threads read; every access goes through `mutex`.
// Lock order: Aim::mutex, then GameRenderer::aimReferencesMutex.

#include "vesmo/modular/ModuleID.hpp"

#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

#include <any>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace game::graphics {

// The GPU record of the centre ray, 96 bytes, std430. The host reads aimID, hitDistance and the monitor
// fields; the rest is the modules' and their shaders' to settle, and is copied as it stands.
struct AimBuffer {
    glm::vec3 aimData{0.0f};      // 0   modules' own
    uint32_t aimID = 0;           // 12  index in the aim table; 0: nothing under the aim
    glm::vec4 rayOrigin{0.0f};    // 16  modules' own (ray and hit data, 64 bytes in all)
    glm::vec3 rayDirection{0.0f}; // 32
    float hitDistance = 0.0f;     // 44
    glm::vec4 hitPosition{0.0f};  // 48
    glm::vec4 hitNormal{0.0f};    // 64
    float monitorX = 0.0f;        // 80  where the ray met the monitor, the monitor's own coordinates
    float monitorY = 0.0f;        // 84
    uint32_t monitorID = 0;       // 88  0: no monitor
    uint32_t reserved = 0;        // 92
};
static_assert(sizeof(AimBuffer) == 96);
static_assert(offsetof(AimBuffer, aimID) == 12 && offsetof(AimBuffer, hitDistance) == 44);
static_assert(offsetof(AimBuffer, monitorX) == 80 && offsetof(AimBuffer, monitorY) == 84);
static_assert(offsetof(AimBuffer, monitorID) == 88);

// The owner of an aim id, and what it wants back when the player aims at it.
struct AimReference {
    vesmo::modular::ModuleID moduleId;
    std::any data;
};

// The last aim: a copy of the record and the reference its id stands for.
class Aim {
public:
    Aim() = default;
    // Copies under the source's mutex.
    Aim(const Aim& other);
    Aim& operator=(const Aim& other);
    // Takes a new record: empties the reference, copies the 96 bytes, then looks a non-zero aimID below the
    // table's size up in Game::renderer's aim table (an id past the table leaves the reference empty), and
    // carries the monitor fields into Game (see above).
    Aim& operator=(const AimBuffer& buffer);
    // Replaces the reference alone (Cleanup empties it so that no module data outlives the renderer).
    Aim& operator=(const AimReference& reference);

    AimBuffer buffer;
    AimReference reference;
    mutable std::mutex mutex;
};

} // namespace game::graphics
