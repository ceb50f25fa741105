// The registry of server-side entities: construction, registration, lookup and the walk over all of them.

#include "game/entity/ServerSideEntity.hpp"

#include "game/Assert.hpp"
#include "game/entity/EntityConfig.hpp"
#include "game/entity/ParentChain.hpp"
#include "game/host/UniqueId.hpp"
#include "vesmo/filesystem/FilePath.hpp"

#include <filesystem>
#include <shared_mutex>
#include <stdexcept>

namespace game::entity {

using detail::HasParentId;
using vesmo::filesystem::ReadOnlyStream;

std::unordered_map<Id, ServerSideEntity::Ptr> ServerSideEntity::_sharedObjects;
vesmo::SharedMutex ServerSideEntity::_sharedObjectsMutex;
std::unordered_map<std::string, std::unordered_map<std::string, ServerSideEntity::EntityTypeDef>>
    ServerSideEntity::_registered_interfaces;
std::unordered_map<std::string, std::unordered_set<std::string>> ServerSideEntity::_registered_items;
std::map<std::string, vesmo::modular::ModuleID> ServerSideEntity::_registered_items_module;
std::unordered_map<std::string, std::vector<std::weak_ptr<ServerSideEntity::Interface>>>
    ServerSideEntity::_module_entities;
std::mutex ServerSideEntity::_module_entities_mutex;
std::unordered_map<std::string, std::unordered_map<Id, ServerSideEntity::RadioEmitter>>
    ServerSideEntity::_radioEmitters;
std::mutex ServerSideEntity::_radioEmitters_mutex;

ServerSideEntity::ServerSideEntity(const ModuleID& module, const Type& entityType, Id entityId) {
    moduleId = module;
    type = entityType;
    if (HasParentId(entityId)) {
        id = entityId;
    } else {
        // A generated id is unique only with high probability: two made in the same microsecond share
        // their time bits and may draw the same 14 random bits. One that is taken is drawn again, so that
        // registering a new entity does not fail by chance.
        do
            id = game::UniqueId::Generate("ENTT");
        while (Get(id));
    }
    AttachType(true);
}

ServerSideEntity::ServerSideEntity(Id entityId, ReadOnlyStream& out) {
    id = entityId;
    out = Deserialize();
    AttachType(false);
}

ServerSideEntity::~ServerSideEntity() {
    _interface.reset();
    if (deleteFilesOnDestroy) {
        std::error_code ignored;
        std::filesystem::remove(GetStateSaveFile(), ignored);
        std::filesystem::remove(GetCheckpointSaveFile(), ignored);
    }
}

bool ServerSideEntity::AttachType(bool assertInterface) {
    const auto module = _registered_interfaces.find(moduleId.String());
    if (module == _registered_interfaces.end())
        return false;
    const auto definition = module->second.find(type);
    if (definition == module->second.end())
        return false;
    const EntityTypeDef& def = definition->second;

    _interface = def.factory ? def.factory() : nullptr;
    if (assertInterface)
        GAME_ASSERT(_interface);
    else if (!_interface)
        return false;

    if (def.config) {
        // Read lazily, once per type, by whichever entity of the type comes first.
        std::lock_guard guard(def.config->mutex);
        if (!def.config->loaded) {
            def.config->ReadConfig();
            def.config->loaded = true;
        }
        config = def.config;
    }
    InitNodes();
    return true;
}

void ServerSideEntity::Register(const Ptr& entity) {
    std::unique_lock lock(_sharedObjectsMutex);
    const auto [where, inserted] = _sharedObjects.try_emplace(entity->id, entity);
    if (!inserted) {
        // The refused object shares its file names with the registered one: it must not remove them.
        entity->deleteFilesOnDestroy = false;
        throw std::runtime_error("UNIQUE_OBJECT ServerSideEntity with id " + entity->id.ToString() + " already exists");
    }
}

ServerSideEntity::Ptr ServerSideEntity::Find(Id entityId) {
    std::shared_lock lock(_sharedObjectsMutex);
    const auto found = _sharedObjects.find(entityId);
    return found == _sharedObjects.end() ? Ptr() : found->second;
}

void ServerSideEntity::ForEach(std::function<void(Ptr)>&& fn) {
    std::shared_lock lock(_sharedObjectsMutex);
    for (const auto& entry : _sharedObjects)
        if (entry.second)
            fn(entry.second);
}

vesmo::modular::ModuleID ServerSideEntity::FindModuleIDFromItemType(const std::string& itemType) {
    const auto found = _registered_items_module.find(itemType);
    return found == _registered_items_module.end() ? ModuleID() : found->second;
}

} // namespace game::entity
