#pragma once
// game::entity::ClientSideEntity: what the player sees of an entity. It has the server's body (BaseEntity)
// but never simulates: a module writes the pose it received from the server into the target fields, the
// entity eases towards it, solves its joints on the client and pushes the final transforms into its render
// instances each frame.
//
// What a module writes between two frames (the program reads no wire; the transport is the module's):
// `targetPosition`, `targetOrientation`, `linearVelocity`, `isDynamic`, `parentEntity`, and either sets
// `nodesDirty` or writes `jointStates` and sets `jointsDirty`. `interpolationRate` (per second, 0: off)
// with `interpolate` and `isDynamic` set eases; otherwise the entity jumps to the target. A module that
// wants full control leaves `interpolationRate` at 0 and writes `position` itself.
//
// One frame (Game::Update, main thread): every entity's Update(dt), then PhysicsUpdate(dt), the modules'
// "Game_Update" hooks, then every entity's AfterUpdate(dt).
//   Update         F5 (GLFW key 294) held: reload the mesh when its file changed (once a second at most,
//                  once per frame per type), print "Reloaded mesh: <path>"; the interface's Update;
//                  easing; joints; BaseEntity::Update.
//   PhysicsUpdate  the plasma trail of fast free bodies; each visible renderable's transform: the entity's
//                  pose in its environment times the renderable's node.
//
// Renderables. `renderables` maps a name to a RenderableInstance: one per part (glTF node) of the type's
// mesh, placed by the config's node of the same name, plus "_plasma_trail" when it exists. A renderable
// without a node takes the entity's pose. The destructor hides them all before letting them go.
//
// Ownership and locks as on the server: `_sharedObjects` holds entities by Id under `_sharedObjectsMutex`
// (shared for walks and lookups, exclusive for Create and Remove); an entity holds itself weakly and its
// Interface strongly, the Interface holds the entity weakly. Parents are known by Id.

#include "game/entity/common.hpp"
#include "vesmo/core/SharedMutex.hpp"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace game::graphics {
class Mesh;
class RenderableInstance;
} // namespace game::graphics

namespace game::entity {

class EntityConfig;

class ClientSideEntity : public BaseEntity {
public:
    using Ptr = std::shared_ptr<ClientSideEntity>;
    using ModuleID = vesmo::modular::ModuleID;

    // A module's behaviour of one entity on the client. The three hooks have empty defaults; an entity
    // whose interface doesn't override one costs no call (the entity compares the virtual-table entry with
    // the base class's). Modules build against this header: keep the declaration order.
    class Interface {
    public:
        Interface() = default;
        virtual ~Interface();
        Interface(const Interface&) = delete;
        Interface& operator=(const Interface&) = delete;

        // Skipped while `ready` is false.
        virtual void Update(double deltaTime);
        virtual void AfterUpdate(double deltaTime);
        // Draws the entity's panel with ImGui.
        virtual void Ui();

        enum class Hook { Update, AfterUpdate, Ui };
        // True when this object's class replaces the base's body of `hook`.
        bool Overrides(Hook hook) const;

        std::weak_ptr<ClientSideEntity> interfaceEntity;
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

    // Data a module hangs on an entity; destroyed with it.
    struct ModuleData {
        virtual ~ModuleData() = default;
    };

    // An entity of a registered type; an unregistered module or type leaves it bare (no interface, config,
    // nodes or renderables). A factory that returns nothing is the assertion "_interface".
    ClientSideEntity(Id id, const ModuleID& moduleId, const Type& type);
    // Hides every renderable first, so the renderer stops drawing them before they go.
    ~ClientSideEntity() override;

    // BaseEntity's nodes, then RENDERABLE and CAMERA nodes, then each collider's owner and name.
    void InitNodes() override;
    // See the header comment.
    void Update(double deltaTime) override;
    virtual void AfterUpdate(double deltaTime);
    virtual void Ui();
    // Writes `visible` of every renderable.
    virtual void SetVisibility(bool visible);

    Id GetID() const { return id; }
    const std::shared_ptr<Interface>& GetInterface() const { return _interface; }

    // One renderable per part of `mesh` (none for an empty pointer). A renderable that exists already is
    // kept and marked `reloaded`; its old geometries and records go to the trash. Every part needs a
    // geometry ("geometries.size() > 0").
    void InitMeshRenderables(std::shared_ptr<const game::graphics::Mesh> mesh);

    // The pose in the environment: the parents' transforms times this one's, walked every time.
    glm::dmat4 GetAbsoluteTransformInEnvironment() const;
    // The same, cached: a non-dynamic entity with a valid cache returns it without a walk. Pass `moved` =
    // true; false on return means the chain to the root is broken (a parent is gone), and the old matrix
    // stands.
    const glm::dmat4& GetAbsoluteTransformInEnvironmentCached(bool& moved);

    // The per-frame push into the render instances, over every entity (shared lock).
    static void PhysicsUpdate(double deltaTime);
    // Update / AfterUpdate over every entity under the shared lock (what Game::Update walks).
    static void UpdateAll(double deltaTime);
    static void AfterUpdateAll(double deltaTime);

    // The type's config (read on first use), or an empty pointer for an unregistered module or type.
    static std::shared_ptr<EntityConfig> GetEntityConfig(const char* module, const std::string& type);
    static ModuleID FindModuleIDFromItemType(const std::string& itemType);

    // Constructs and registers an entity. An id that is taken already throws
    // "UNIQUE_OBJECT ClientSideEntity with id <id> already exists".
    template <class T = ClientSideEntity, class... Args> static Ptr Create(Args&&... args) {
        static_assert(std::is_base_of_v<ClientSideEntity, T>);
        Ptr entity = std::make_shared<T>(std::forward<Args>(args)...);
        entity->self = entity;
        Register(entity);
        return entity;
    }
    // The entity with `id`, or an empty pointer.
    static Ptr Get(Id id);
    // Drops the registry's reference; the entity goes when nobody else holds it.
    static void Remove(Id id);

    std::weak_ptr<ClientSideEntity> self;
    Id id;
    std::shared_ptr<Interface> _interface;
    std::vector<std::unique_ptr<ModuleData>> moduleData;
    glm::dmat4 environmentTransform{1.0};
    bool environmentTransformValid = false;
    glm::dvec3 targetPosition{0.0};
    glm::dquat targetOrientation{1.0, 0.0, 0.0, 0.0};
    float interpolationRate = 0.0f;
    bool interpolate = false;
    bool followTarget = true;
    bool forceVisible = false;
    std::unordered_map<std::string, std::shared_ptr<game::graphics::RenderableInstance>> renderables;
    std::unordered_map<Id, std::weak_ptr<ClientSideEntity>> clientChildren;

    static std::unordered_map<Id, Ptr> _sharedObjects;
    static vesmo::SharedMutex _sharedObjectsMutex;
    // Module string (ModuleID::String()), then type.
    static std::unordered_map<std::string, std::unordered_map<std::string, EntityTypeDef>> _registered_interfaces;
    static std::map<std::string, ModuleID> _registered_items_module;

private:
    static void Register(const Ptr& entity);
    void ReloadMeshIfChanged();
    void PushRenderables();
};

// The spherical interpolation the easing uses: from `from` to `to` by `t` along the shorter arc (`to` is
// negated when the dot product is negative); nearly equal orientations blend component by component.
glm::dquat EaseOrientation(const glm::dquat& from, const glm::dquat& to, double t);

} // namespace game::entity
