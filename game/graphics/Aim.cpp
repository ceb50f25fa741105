#include "game/graphics/Aim.hpp"

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"

namespace game::graphics {

Aim::Aim(const Aim& other) {
    std::lock_guard source(other.mutex);
    buffer = other.buffer;
    reference = other.reference;
}

Aim& Aim::operator=(const Aim& other) {
    if (this == &other)
        return *this;
    AimBuffer copiedBuffer;
    AimReference copiedReference;
    {
        std::lock_guard source(other.mutex);
        copiedBuffer = other.buffer;
        copiedReference = other.reference;
    }
    std::lock_guard guard(mutex);
    buffer = copiedBuffer;
    reference = std::move(copiedReference);
    return *this;
}

Aim& Aim::operator=(const AimBuffer& record) {
    std::lock_guard guard(mutex);
    reference = AimReference{};
    buffer = record;
    if (record.aimID != 0 && Game::renderer) {
        GameRenderer& renderer = *Game::renderer;
        std::lock_guard table(renderer.aimReferencesMutex);
        if (record.aimID < renderer.aimReferences.size())
            reference = renderer.aimReferences[record.aimID];
    }
    if (record.monitorID != 0) {
        Game::currentMonitorDistance = record.hitDistance;
        Game::currentMonitorX = record.monitorX;
        Game::currentMonitorY = record.monitorY;
    }
    Game::currentMonitorID = record.monitorID;
    return *this;
}

Aim& Aim::operator=(const AimReference& newReference) {
    std::lock_guard guard(mutex);
    reference = newReference;
    return *this;
}

} // namespace game::graphics
