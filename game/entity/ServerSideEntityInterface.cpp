// The module side of an entity: the Interface's default hooks, how the entity tells a default hook from a
// module's, and the load path of one saved entity.

#include "game/entity/ServerSideEntity.hpp"

#include "game/Assert.hpp"

#include <cstring>
#include <iostream>
#include <shared_mutex>

namespace game::entity {

namespace {

using Interface = ServerSideEntity::Interface;
using vesmo::filesystem::ReadOnlyStream;
using vesmo::filesystem::WriteOnlyStream;

// Default-hook detection. A virtual call through a pointer to member on this ABI (Itanium C++, x86-64) is
// encoded as 1 + the byte offset of the function's entry in the virtual table. Comparing the object's
// entry with the base class's tells whether a module replaced the body, without calling it.
template <class MemberFunction> size_t SlotOf(MemberFunction function) {
    static_assert(sizeof(MemberFunction) == 2 * sizeof(uintptr_t));
    uintptr_t encoded = 0;
    std::memcpy(&encoded, &function, sizeof(encoded));
    GAME_ASSERT_TEXT((encoded & 1) != 0, "virtual member function");
    return (encoded - 1) / sizeof(void*);
}

const void* const* VirtualTable(const void* object) { return *static_cast<const void* const* const*>(object); }

struct DefaultHooks {
    size_t slot[6];
    const void* body[6];
    DefaultHooks() {
        slot[0] = SlotOf(&Interface::SerializeState);
        slot[1] = SlotOf(&Interface::DeserializeState);
        slot[2] = SlotOf(&Interface::IsInsideVolume);
        slot[3] = SlotOf(&Interface::BeforeUpdate);
        slot[4] = SlotOf(&Interface::Update);
        slot[5] = SlotOf(&Interface::AfterUpdate);
        const Interface base;
        for (int i = 0; i < 6; ++i)
            body[i] = VirtualTable(&base)[slot[i]];
    }
};

const DefaultHooks& Defaults() {
    static const DefaultHooks defaults;
    return defaults;
}

} // namespace

ServerSideEntity::Interface::~Interface() = default;
void ServerSideEntity::Interface::Serialize(WriteOnlyStream&) {}
void ServerSideEntity::Interface::Deserialize(ReadOnlyStream&) {}
void ServerSideEntity::Interface::SerializeState(WriteOnlyStream&) {}
void ServerSideEntity::Interface::DeserializeState(ReadOnlyStream&) {}
bool ServerSideEntity::Interface::IsInsideVolume(const glm::dvec3&) const { return false; }
void ServerSideEntity::Interface::Init() {}
void ServerSideEntity::Interface::BeforeUpdate(double) {}
void ServerSideEntity::Interface::Update(double) {}
void ServerSideEntity::Interface::AfterUpdate(double) {}

bool ServerSideEntity::Interface::Overrides(Hook hook) const {
    const DefaultHooks& defaults = Defaults();
    const int index = static_cast<int>(hook);
    return VirtualTable(this)[defaults.slot[index]] != defaults.body[index];
}

ServerSideEntity::Ptr ServerSideEntity::Interface::Create(Id id) {
    ReadOnlyStream stream;
    Ptr entity = ServerSideEntity::Create<ServerSideEntity>(id, stream);
    if (std::shared_ptr<Interface> interface = entity->_interface) {
        interface->interfaceEntity = entity;
        interface->interfaceSelf = interface;
        interface->interfaceId = entity->id;
        interface->interfaceConfig = entity->config;
        interface->Deserialize(stream);
        interface->Init();
        interface->ready = true;
        std::lock_guard guard(_module_entities_mutex);
        _module_entities[entity->moduleId.String()].push_back(interface);
        return entity;
    }

    // Its module is gone: keep the files for a run that has the module again.
    entity->deleteFilesOnDestroy = false;
    entity.reset();
    std::unique_lock lock(_sharedObjectsMutex);
    const auto found = _sharedObjects.find(id);
    if (found != _sharedObjects.end()) {
        if (found->second && found->second.use_count() != 1)
            std::cerr << "WARNING: UNIQUE_OBJECT ServerSideEntity with id " << id.ToString()
                      << " being Destroyed while still in use" << std::endl;
        _sharedObjects.erase(found);
    }
    return {};
}

} // namespace game::entity
