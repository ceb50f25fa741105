// What one server tick asks of an entity: its hooks, each in its profiler scope, the joint solver, and the
// environments inherited down the parent chain.

#include "game/entity/ServerSideEntity.hpp"

#include "game/entity/EntityConfig.hpp"
#include "game/entity/ParentChain.hpp"
#include "vesmo/cpu/Profiler.hpp"

namespace game::entity {

using detail::HasParentId;

namespace {

using Interface = ServerSideEntity::Interface;

// Parent chains are built by AddChild, which refuses cycles; the bound only keeps a corrupted chain from
// hanging the server loop.
constexpr int kMaxChainDepth = 1 << 16;

} // namespace

void ServerSideEntity::InitNodes() {
    BaseEntity::InitNodes();
    for (auto& [name, collider] : colliders) {
        collider.ownerId = id;
        collider.name = name;
    }
}

const std::string& ServerSideEntity::HookScopeName(int hook) {
    static constexpr const char* kSuffixes[3] = {">::BeforeUpdate", ">::Update", ">::AfterUpdate"};
    std::string& name = _hookScopeNames[hook];
    if (name.empty())
        name = "Entity<" + type + kSuffixes[hook];
    return name;
}

void ServerSideEntity::BeforeUpdate(double deltaTime) {
    if (_interface && _interface->ready && _interface->Overrides(Interface::Hook::BeforeUpdate)) {
        vesmo::cpu::Profiler scope(HookScopeName(0));
        _interface->BeforeUpdate(deltaTime);
    }
}

void ServerSideEntity::Update(double deltaTime) {
    vesmo::cpu::Profiler scope("ServerSideEntity::Update");
    if (_interface && _interface->ready && _interface->Overrides(Interface::Hook::Update)) {
        vesmo::cpu::Profiler hook(HookScopeName(1));
        _interface->Update(deltaTime);
    }
    if (config && (nodesDirty || jointsDirty))
        config->jointSolver(this);
    BaseEntity::Update(deltaTime);
}

void ServerSideEntity::AfterUpdate(double deltaTime) {
    if (_interface && _interface->ready && _interface->Overrides(Interface::Hook::AfterUpdate)) {
        vesmo::cpu::Profiler scope(HookScopeName(2));
        _interface->AfterUpdate(deltaTime);
    }
}

void ServerSideEntity::RefreshCache() {
    vesmo::cpu::Profiler scope("ServerSideEntity::RefreshCache");
    parentMoving = false;
    Id next = parentEntity;
    for (int depth = 0; HasParentId(next) && depth < kMaxChainDepth; ++depth) {
        const Ptr parent = Get(next);
        if (!parent)
            break;
        // Each step overwrites, so the top of the chain wins.
        environmentId = parent->environmentId;
        orbitEnvironmentId = parent->orbitEnvironmentId;
        parentMoving |= (parent->isDynamic && parent->settleTime < 2.0) ? parent->isDynamic : parent->parentMoving;
        next = parent->parentEntity;
    }
    if (parentMoving)
        transformCacheValid = false;
}

} // namespace game::entity
