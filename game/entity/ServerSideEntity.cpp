#include "game/entity/ServerSideEntity.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/entity/EntityConfig.hpp"
#include "game/entity/PressurizedVolume.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <glm/gtc/quaternion.hpp>

#include <cstring>
#include <filesystem>
#include <iostream>
#include <shared_mutex>
#include <stdexcept>

namespace game::entity {

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

namespace {

using Interface = ServerSideEntity::Interface;
using vesmo::filesystem::BinaryFileStream;
using vesmo::filesystem::ReadOnlyStream;
using vesmo::filesystem::Stream;
using vesmo::filesystem::WriteOnlyStream;

constexpr char kMagic1[8] = {'O', 'R', 'K', 'A', 'L', 'I', 'N', '!'};
constexpr char kMagic2[8] = {'E', 'N', 'T', 'I', 'T', 'Y', ' ', '!'};
constexpr char kMagicInterface[4] = {'\n', '\n', '\n', '\n'};
constexpr char kMagicEof[4] = {'\n', 'E', 'O', 'F'};
constexpr char kCheckpointMagic[8] = {'C', 'H', 'E', 'C', 'K', 'P', 'N', 'T'};
constexpr uint32_t kStateVersion = 1;
constexpr uint32_t kCheckpointVersion = 0;

// Parent chains are built by AddChild, which refuses cycles; the bound only keeps a corrupted chain from
// hanging the server loop.
constexpr int kMaxChainDepth = 1 << 16;

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

bool HasParentId(const Id& id) { return id.First() != 0 && id.Second() != 0; }

void WriteId(Stream& out, const Id& id) {
    out.WriteValue<uint64_t>(id.First());
    out.WriteValue<uint64_t>(id.Second());
}

Id ReadId(Stream& in) {
    const uint64_t first = in.ReadValue<uint64_t>();
    const uint64_t second = in.ReadValue<uint64_t>();
    return Id(first, second);
}

void WriteOrientation(Stream& out, const glm::dquat& q) {
    const double wxyz[4] = {q.w, q.x, q.y, q.z};
    out.WriteValue(wxyz);
}

glm::dquat ReadOrientation(Stream& in) {
    double wxyz[4];
    in.Read(reinterpret_cast<unsigned char*>(wxyz), sizeof(wxyz));
    return glm::dquat(wxyz[0], wxyz[1], wxyz[2], wxyz[3]);
}

template <size_t N> bool ReadMagic(Stream& in, const char (&magic)[N]) {
    unsigned char bytes[N];
    in.Read(bytes, N);
    return std::memcmp(bytes, magic, N) == 0;
}

template <size_t N> void WriteMagic(Stream& out, const char (&magic)[N]) {
    out.Write(reinterpret_cast<const unsigned char*>(magic), N);
}

} // namespace

// ---------------------------------------------------------------------------------------------------------
// Interface

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

// ---------------------------------------------------------------------------------------------------------
// Construction and registry

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

// ---------------------------------------------------------------------------------------------------------
// Tick

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

// ---------------------------------------------------------------------------------------------------------
// Hierarchy

Id ServerSideEntity::GetVehicleID() const {
    if (!isComponent)
        return id;
    const Ptr parent = HasParentId(parentEntity) ? Get(parentEntity) : Ptr();
    return parent ? parent->GetVehicleID() : id;
}

ServerSideEntity::Ptr ServerSideEntity::GetFirstNonComponentParent() const {
    if (!HasParentId(parentEntity))
        return {};
    const Ptr parent = Get(parentEntity);
    if (!parent)
        return {};
    return parent->isComponent ? parent->GetFirstNonComponentParent() : parent;
}

glm::dmat4 ServerSideEntity::GetTransformInPhysicsParent() const {
    if (isComponent && HasParentId(parentEntity))
        if (const Ptr parent = Get(parentEntity))
            return parent->GetTransformInPhysicsParent() * GetTransform();
    return glm::dmat4(1.0);
}

glm::dmat3 ServerSideEntity::GetInertiaTensorWorld() const {
    GAME_ASSERT(mass > 0.0);
    GAME_ASSERT(box_size.x > 0.0);
    GAME_ASSERT(box_size.y > 0.0);
    GAME_ASSERT(box_size.z > 0.0);
    const double x = box_size.x, y = box_size.y, z = box_size.z;
    const double k = mass / 12.0;
    glm::dmat3 diagonal(0.0);
    diagonal[0][0] = k * (y * y + z * z);
    diagonal[1][1] = k * (z * z + x * x);
    diagonal[2][2] = k * (x * x + y * y);
    const glm::dmat3 rotation = glm::mat3_cast(orientation);
    return rotation * diagonal * glm::transpose(rotation);
}

void ServerSideEntity::AddChild(Ptr& entity) {
    GAME_ASSERT(!entity->parentEntity);
    GAME_ASSERT(!entity->isComponent);
    const glm::dmat4 local = glm::inverse(GetTransform()) * entity->GetTransform();
    GAME_ASSERT(entity->GetID() != GetID());
    entity->parentEntity = id;
    entity->position = glm::dvec3(local[3]);
    entity->orientation = glm::quat_cast(glm::dmat3(local));
    // The parent's spin is left out on purpose: the child keeps its velocity relative to the parent's motion.
    const glm::dquat inverse = glm::inverse(orientation);
    entity->linearVelocity = inverse * entity->linearVelocity - inverse * linearVelocity;
    entity->angularVelocity = inverse * entity->angularVelocity;
}

void ServerSideEntity::RemoveChild(Ptr& entity) {
    GAME_ASSERT(entity->parentEntity == GetID());
    GAME_ASSERT(!entity->isComponent);
    GAME_ASSERT(entity->GetID() != parentEntity);
    const glm::dmat4 world = GetTransform() * entity->GetTransform();
    // One level up: the child lands under this entity's own parent, not at the root.
    entity->parentEntity = parentEntity;
    entity->position = glm::dvec3(world[3]);
    entity->orientation = orientation * entity->orientation;
    entity->linearVelocity = orientation * entity->linearVelocity + linearVelocity;
    entity->angularVelocity = orientation * entity->angularVelocity;
}

// ---------------------------------------------------------------------------------------------------------
// Persistence

std::string ServerSideEntity::GetCheckpointDir() {
    return "../Orkalin-data/server/worlds/" + Game::_current_world + "/" + "entities";
}

std::string ServerSideEntity::GetStateSaveFile() const {
    return GetCheckpointDir() + "/" + id.ToString() + ".entitystate";
}

std::string ServerSideEntity::GetCheckpointSaveFile() const {
    return GetCheckpointDir() + "/" + id.ToString() + ".checkpoint";
}

void ServerSideEntity::WriteState(Stream& file, const WriteOnlyStream& interfaceBytes) const {
    WriteMagic(file, kMagic1);
    WriteMagic(file, kMagic2);
    file.WriteValue<uint32_t>(kStateVersion);
    file.WriteValue<uint64_t>(moduleId.vendor);
    file.WriteValue<uint64_t>(moduleId.name);
    file.Write(type);
    file.WriteValue<uint64_t>(environmentId);
    file.WriteValue<uint64_t>(orbitEnvironmentId);
    WriteId(file, parentEntity);
    file.WriteValue(position);
    WriteOrientation(file, orientation);
    file.WriteValue<uint8_t>(isDynamic);
    file.WriteValue(linearVelocity);
    file.WriteValue(angularVelocity);
    file.WriteValue(boundingRadius);
    // Computed, not stored: a body at rest when saved needs no settling phase after loading.
    file.WriteValue<uint8_t>(!isDynamic || settleTime >= 1.0 ? 1 : 0);
    WriteMagic(file, kMagicInterface);
    file.Write(interfaceBytes);
    WriteMagic(file, kMagicEof);
}

void ServerSideEntity::Serialize(vesmo::filesystem::WriteBatch* batch) {
    WriteOnlyStream interfaceBytes(0);
    if (_interface)
        _interface->Serialize(interfaceBytes);
    if (!batch)
        std::filesystem::create_directories(GetCheckpointDir());
    BinaryFileStream file(GetStateSaveFile(), 1024, false);
    file.SetBatch(batch);
    WriteState(file, interfaceBytes);
    file.Flush();
    file.Close();
}

ReadOnlyStream ServerSideEntity::Deserialize() {
    const std::string path = GetStateSaveFile();
    const std::string name = id.ToString();
    if (!vesmo::filesystem::FilePath(path).IsFile())
        throw std::runtime_error("Save state file does not exist for entity " + name);
    BinaryFileStream file(path, 1024, false);
    if (!ReadMagic(file, kMagic1) || !ReadMagic(file, kMagic2))
        throw std::runtime_error("Invalid save state magic string for entity " + name);
    if (file.ReadValue<uint32_t>() != kStateVersion)
        throw std::runtime_error("Invalid save state version for entity " + name);
    moduleId.vendor = file.ReadValue<uint64_t>();
    moduleId.name = file.ReadValue<uint64_t>();
    file.Read(type);
    environmentId = file.ReadValue<uint64_t>();
    orbitEnvironmentId = file.ReadValue<uint64_t>();
    parentEntity = ReadId(file);
    position = file.ReadValue<glm::dvec3>();
    orientation = ReadOrientation(file);
    isDynamic = file.ReadValue<uint8_t>();
    linearVelocity = file.ReadValue<glm::dvec3>();
    angularVelocity = file.ReadValue<glm::dvec3>();
    boundingRadius = file.ReadValue<double>();
    if (file.ReadValue<uint8_t>() != 0)
        settleTime = 2.0;
    if (!ReadMagic(file, kMagicInterface))
        throw std::runtime_error("Invalid save state interface magic string for entity " + name);
    ReadOnlyStream interfaceBytes = file.ReadStream();
    // The end mark is not checked: the interface's bytes are complete once their count has been read.
    file.Close();
    return interfaceBytes;
}

void ServerSideEntity::SerializeCheckpoint() {
    GAME_ASSERT(_interface);
    WriteOnlyStream interfaceBytes(0);
    if (_interface->Overrides(Interface::Hook::SerializeState))
        _interface->SerializeState(interfaceBytes);
    std::filesystem::create_directories(GetCheckpointDir());
    BinaryFileStream file(GetCheckpointSaveFile(), 1024, false);
    WriteMagic(file, kCheckpointMagic);
    file.WriteValue<uint32_t>(kCheckpointVersion);
    WriteId(file, id);
    file.WriteValue(position);
    WriteOrientation(file, orientation);
    file.WriteValue(linearVelocity);
    file.WriteValue(angularVelocity);
    WriteId(file, parentEntity);
    file.WriteValue<uint64_t>(environmentId);
    file.WriteValue<uint64_t>(orbitEnvironmentId);
    file.WriteValue<uint8_t>(isDynamic);
    file.Write(interfaceBytes);
    file.Flush();
    file.Close();
}

void ServerSideEntity::DeserializeCheckpoint() {
    // Everything is read before anything is applied, so a file that breaks off leaves the entity as it was.
    glm::dvec3 newPosition, newLinearVelocity, newAngularVelocity;
    glm::dquat newOrientation;
    Id newParent;
    uint64_t newEnvironment = 0, newOrbitEnvironment = 0;
    uint8_t newIsDynamic = 0;
    ReadOnlyStream interfaceBytes;
    try {
        const std::string path = GetCheckpointSaveFile();
        if (!vesmo::filesystem::FilePath(path).IsFile()) {
            std::cerr << "Invalid checkpoint file" << std::endl;
            return;
        }
        BinaryFileStream file(path, 1024, false);
        if (!ReadMagic(file, kCheckpointMagic)) {
            std::cerr << "Invalid checkpoint file" << std::endl;
            return;
        }
        if (file.ReadValue<uint32_t>() != kCheckpointVersion) {
            std::cerr << "Unsupported checkpoint version" << std::endl;
            return;
        }
        if (ReadId(file) != id) {
            std::cerr << "Invalid checkpoint parent entity ID" << std::endl;
            return;
        }
        newPosition = file.ReadValue<glm::dvec3>();
        newOrientation = ReadOrientation(file);
        newLinearVelocity = file.ReadValue<glm::dvec3>();
        newAngularVelocity = file.ReadValue<glm::dvec3>();
        newParent = ReadId(file);
        newEnvironment = file.ReadValue<uint64_t>();
        newOrbitEnvironment = file.ReadValue<uint64_t>();
        newIsDynamic = file.ReadValue<uint8_t>();
        interfaceBytes = file.ReadStream();
        file.Close();
    } catch (const std::runtime_error& error) {
        std::cerr << "Invalid checkpoint file: " << error.what() << std::endl;
        return;
    }

    position = newPosition;
    orientation = newOrientation;
    linearVelocity = newLinearVelocity;
    angularVelocity = newAngularVelocity;
    parentEntity = newParent;
    environmentId = newEnvironment;
    orbitEnvironmentId = newOrbitEnvironment;
    isDynamic = newIsDynamic;
    if (isDynamic)
        settleTime = 0.0;
    if (_interface && _interface->Overrides(Interface::Hook::DeserializeState))
        _interface->DeserializeState(interfaceBytes);
    RefreshCache();
}

void ServerSideEntity::LoadAllEntities() {
    const std::filesystem::path dir = GetCheckpointDir();
    std::error_code error;
    if (!std::filesystem::is_directory(dir, error))
        return;
    for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(dir)) {
        if (!entry.is_regular_file() || entry.path().extension() != ".entitystate")
            continue;
        const Id entityId(entry.path().stem().string());
        if (const Ptr entity = Interface::Create(entityId))
            entity->saveCounter.fetch_add(1);
    }
}

void ServerSideEntity::UnloadAllEntities() {
    // Every state file of the world goes through one batch: one sync for all of them, and a crash leaves
    // each file either as it was or as it is now.
    vesmo::filesystem::WriteBatch batch;
    {
        std::unique_lock lock(_sharedObjectsMutex);
        bool folderReady = false;
        for (auto entry = _sharedObjects.begin(); entry != _sharedObjects.end();) {
            if (!entry->second) {
                ++entry;
                continue;
            }
            ServerSideEntity& entity = *entry->second;
            if (entity.saveCounter.load() != 0 && !entity.isComponent) {
                if (!folderReady) {
                    std::filesystem::create_directories(GetCheckpointDir());
                    folderReady = true;
                }
                entity.Serialize(&batch);
                entity.deleteFilesOnDestroy = false;
            }
            entry->second.reset();
            entry = _sharedObjects.erase(entry);
        }
    }
    batch.Commit();
    {
        std::unique_lock lock(_sharedObjectsMutex);
        _sharedObjects.clear();
    }
    // Taken after the entities' lock is released: the volumes' lock never nests inside it.
    {
        std::unique_lock lock(PressurizedVolume::_sharedObjectsMutex);
        PressurizedVolume::_sharedObjects.clear();
    }
}

} // namespace game::entity
