#pragma once
// The authoritative entity: registered by Id in a process-wide table, driven by a module's Interface,
// optionally a child of another entity, stepped by the server loop and saved with the world.
//
// Ownership: `_sharedObjects` holds every entity by shared pointer; an entity holds itself weakly (`self`)
// and its Interface strongly; the Interface holds the entity weakly. Parents are known by Id only.
//
// Locks: `_sharedObjectsMutex` is shared by ForEach, Get and the walks up the parent chain, exclusive in
// Create, Interface::Create and UnloadAllEntities. It is never taken while `_module_entities_mutex` is
// held. Entity fields take no lock: the server tick runs its phases one after the other on one thread.
//
// Files (one world at a time, under GetCheckpointDir()):
//   <id>.entitystate  written by UnloadAllEntities for entities with a non-zero saveCounter, read by
//                     LoadAllEntities. Packed little-endian, version 1:
//                       "ORKALIN!" "ENTITY !" u32 version, moduleId (16), type (u64 length + bytes),
//                       environmentId u64, orbitEnvironmentId u64, parentEntity (16), position 3×f64,
//                       orientation 4×f64 (w x y z), isDynamic u8, linearVelocity 3×f64,
//                       angularVelocity 3×f64, boundingRadius f64, settled u8,
//                       "\n\n\n\n", the interface's bytes (u64 length + bytes), "\nEOF".
//   <id>.checkpoint   a module's snapshot of a running entity, version 0:
//                       "CHECKPNT" u32 version, id (16), position, orientation (w x y z), linearVelocity,
//                       angularVelocity, parentEntity (16), environmentId, orbitEnvironmentId,
//                       isDynamic u8, the interface's bytes (u64 length + bytes).
// A state file is written crash-safely; a world save commits all of them with one WriteBatch.

#include "game/entity/common.hpp"
#include "vesmo/core/SharedMutex.hpp"
#include "vesmo/filesystem/Stream.hpp"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace game::entity {

class EntityConfig;

class ServerSideEntity : public BaseEntity {
public:
    using Ptr = std::shared_ptr<ServerSideEntity>;
    using ModuleID = vesmo::modular::ModuleID;

    // The behaviour of one entity, written by a module. The program calls the hooks below; a hook marked
    // "default" that the module does not override costs no call and opens no profiler scope: the entity
    // compares the object's virtual-table entry with the base class's before calling (Overrides). Modules
    // build against this header, so the hooks keep this declaration order but reserve no unused slots.
    class Interface {
    public:
        Interface() = default;
        virtual ~Interface();
        Interface(const Interface&) = delete;
        Interface& operator=(const Interface&) = delete;

        // The module's state for a state file, and back. Called whenever an interface exists.
        virtual void Serialize(vesmo::filesystem::WriteOnlyStream& out);
        virtual void Deserialize(vesmo::filesystem::ReadOnlyStream& in);
        // Default: the module's state for a checkpoint, and back.
        virtual void SerializeState(vesmo::filesystem::WriteOnlyStream& out);
        virtual void DeserializeState(vesmo::filesystem::ReadOnlyStream& in);
        // Default: false.
        virtual bool IsInsideVolume(const glm::dvec3& point) const;
        // After Deserialize on the load path, before `ready` is set.
        virtual void Init();
        // Default hooks of the server tick, skipped while `ready` is false.
        virtual void BeforeUpdate(double deltaTime);
        virtual void Update(double deltaTime);
        virtual void AfterUpdate(double deltaTime);

        // The load path of one saved entity: creates and registers it from its state file, then sets up its
        // interface (Deserialize, Init, ready). Without a module for its type the entity is dropped and its
        // files are kept for a later run; the result is then empty.
        static Ptr Create(Id id);

        enum class Hook { SerializeState, DeserializeState, IsInsideVolume, BeforeUpdate, Update, AfterUpdate };
        // True when this object's class replaces the base's body of `hook`.
        bool Overrides(Hook hook) const;

        std::weak_ptr<ServerSideEntity> interfaceEntity;
        std::weak_ptr<Interface> interfaceSelf;
        Id interfaceId;
        bool ready = false;
        std::shared_ptr<EntityConfig> interfaceConfig;
    };

    using Factory = std::function<std::shared_ptr<Interface>()>;

    // A registered type: modules add these to `_registered_interfaces` while they load.
    struct EntityTypeDef {
        ModuleID moduleId;
        Type type;
        std::shared_ptr<EntityConfig> config;
        Factory factory;
    };

    // A radio source, owned and read by modules only.
    struct RadioEmitter {
        glm::dvec3 position{0.0};
        double frequency = 0.0;
        double power = 0.0;
    };

    // Accumulators that modules and the environment add to and the physics step reads and clears.
    struct PendingImpulses {
        glm::dvec3 linear{0.0};       // an impulse, N·s
        glm::dvec3 angular{0.0};      // an angular impulse
        glm::dvec3 acceleration{0.0}; // the environment's acceleration
    };

    // A new entity of a registered type (an unregistered one gets no interface, config or nodes). A null
    // `id` is replaced by a fresh "ENTT" id that no registered entity has. The module makes its interface
    // ready itself.
    ServerSideEntity(const ModuleID& moduleId, const Type& type, Id id = {});
    // A saved entity: reads its state file (throwing a sentence that names the id when it is damaged) and
    // leaves the interface's bytes in `out`. Without a factory for its type it stays without interface.
    ServerSideEntity(Id id, vesmo::filesystem::ReadOnlyStream& out);
    // Releases the interface, then removes the state and checkpoint files unless deleteFilesOnDestroy
    // was cleared.
    ~ServerSideEntity() override;

    void InitNodes() override;
    void Update(double deltaTime) override;
    void BeforeUpdate(double deltaTime);
    void AfterUpdate(double deltaTime);

    Id GetID() const { return id; }
    // The top of this entity's chain of components: its own id unless it is a component with a parent.
    Id GetVehicleID() const;
    // The nearest ancestor that is no component; empty when the chain breaks first.
    Ptr GetFirstNonComponentParent() const;
    // The pose in the frame of the body that carries it in the physics: the product of the transforms up
    // the chain of components, or the identity for an entity that is no component.
    glm::dmat4 GetTransformInPhysicsParent() const;
    // The inertia tensor of a uniform box of `box_size` and `mass`, in world axes.
    glm::dmat3 GetInertiaTensorWorld() const;
    // Hangs `entity` under this one (or takes it back to this one's parent), keeping its world pose.
    void AddChild(Ptr& entity);
    void RemoveChild(Ptr& entity);
    // Inherits the environments from the top of the parent chain and notes whether an ancestor moves.
    void RefreshCache();

    // Persistence. Serialize writes the state file, through `batch` when one is given (then the file is in
    // place only after the batch's Commit).
    void Serialize(vesmo::filesystem::WriteBatch* batch = nullptr);
    void SerializeCheckpoint();
    vesmo::filesystem::ReadOnlyStream Deserialize();
    // Rolls back to the checkpoint; a damaged or foreign file prints a line and leaves the entity as it was.
    void DeserializeCheckpoint();
    std::string GetStateSaveFile() const;
    std::string GetCheckpointSaveFile() const;

    const std::shared_ptr<Interface>& GetInterface() const { return _interface; }

    static std::string GetCheckpointDir();
    // Loads every saved entity of the current world; a damaged file (a truncated or empty one too) ends
    // the load with its sentence, which ends in the entity's id. Removes the temporaries of a save that
    // never finished. Entities whose type no loaded module registers are not loaded and their files are
    // kept; a line on stdout says how many of which type and module.
    static void LoadAllEntities();
    // Saves what is marked (saveCounter) and is no component, with one durable commit for the world, then
    // drops every entity; one that nothing else holds is destroyed, an unsaved one with its files.
    static void UnloadAllEntities();
    // The physics of one server tick over the registry.
    static void PhysicsUpdate(double deltaTime, int substeps);

    // Calls `fn` for every entity under the shared lock: `fn` may look entities up but not create or drop any.
    static void ForEach(std::function<void(Ptr)>&& fn);

    // Constructs and registers an entity. An id that is taken already throws
    // "UNIQUE_OBJECT ServerSideEntity with id <id> already exists"; the refused object removes no files.
    template <class T = ServerSideEntity, class... Args> static Ptr Create(Args&&... args) {
        static_assert(std::is_base_of_v<ServerSideEntity, T>);
        Ptr entity = std::make_shared<T>(std::forward<Args>(args)...);
        entity->self = entity;
        Register(entity);
        return entity;
    }

    // The entity with `id`, or an empty pointer.
    template <class T = ServerSideEntity> static auto Get(Id id) {
        Ptr entity = Find(id);
        if constexpr (std::is_same_v<T, ServerSideEntity>)
            return entity;
        else
            return std::dynamic_pointer_cast<T>(entity);
    }

    static ModuleID FindModuleIDFromItemType(const std::string& itemType);

    std::weak_ptr<ServerSideEntity> self;
    Id id;
    uint8_t physicsEnabled = 0;
    uint8_t bodyOption = 1;
    uint8_t deleteFilesOnDestroy = 1;
    std::atomic<uint64_t> saveCounter{0};
    PendingImpulses pendingImpulses;
    double settleTime = 0.0;
    EnvironmentId environmentId = 0;
    EnvironmentId orbitEnvironmentId = 0;
    glm::dmat4 userTransform{0.0}; // zero until a module writes it
    uint8_t transformCacheValid = 0;
    uint8_t parentMoving = 0;
    glm::dvec3 centerOfMass{0.0}; // in the entity's frame; the physics reads it
    std::shared_ptr<Interface> _interface;

    static std::unordered_map<Id, Ptr> _sharedObjects;
    static vesmo::SharedMutex _sharedObjectsMutex;
    // Module string (ModuleID::String()), then type.
    static std::unordered_map<std::string, std::unordered_map<std::string, EntityTypeDef>> _registered_interfaces;
    static std::unordered_map<std::string, std::unordered_set<std::string>> _registered_items;
    static std::map<std::string, ModuleID> _registered_items_module;
    static std::unordered_map<std::string, std::vector<std::weak_ptr<Interface>>> _module_entities;
    static std::mutex _module_entities_mutex;
    static std::unordered_map<std::string, std::unordered_map<Id, RadioEmitter>> _radioEmitters;
    static std::mutex _radioEmitters_mutex;

private:
    static void Register(const Ptr& entity);
    static Ptr Find(Id id);
    // Steps 2 to 5 of both constructors: interface from the factory, config read once per type, nodes.
    // Returns false when the type has no registration or (`assertInterface` false) the factory gave nothing.
    bool AttachType(bool assertInterface);
    void WriteState(vesmo::filesystem::Stream& file, const vesmo::filesystem::WriteOnlyStream& interfaceBytes) const;

    // "Entity<type>::BeforeUpdate", "::Update", "::AfterUpdate" (0, 1, 2): built on first use, so that a
    // module's hook costs no string per tick.
    const std::string& HookScopeName(int hook);
    std::string _hookScopeNames[3];
};

} // namespace game::entity
