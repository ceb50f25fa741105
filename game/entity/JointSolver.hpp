#pragma once
// Forward kinematics over the joint tree of an entity type.
//
// Modules drive joints by writing BaseEntity::jointStates. The solver clamps each state into its limits
// (storing the clamped value back), builds one matrix per joint and moves every node that hangs on a joint.
// It is one pass from the root joints down, no iteration. Everything that does not depend on the states
// (the tree, the rest pose between joints, the attached nodes in each joint's frame) is built once per
// type by Init(); afterwards the solver is read-only and serves every entity of the type on any thread.
//
// The nodes of the joints themselves keep their rest pose: only what hangs on a joint moves.

#include <glm/glm.hpp>

#include <string>
#include <unordered_map>
#include <vector>

namespace game::entity {

class BaseEntity;
class EntityConfig;

class JointSolver {
public:
    struct JointRecord {
        glm::dmat4 localTransform{1.0}; // rest pose relative to the parent joint (or the root), without own motion
        std::string parentJoint;        // empty for a root joint
        std::vector<std::string> childJoints;
        std::unordered_map<std::string, glm::mat4> attached; // non-joint nodes, in this joint's frame
    };

    explicit JointSolver(const EntityConfig* owner) : config(owner) {}

    // Builds `joints` from the config. Meant to run once per config: a second run adds children again.
    void Init();
    // Writes entity->nodes and clamps entity->jointStates. False when there is nothing to do (no joints or
    // no joint states). A joint that is not reachable from a root raises std::out_of_range.
    bool operator()(BaseEntity* entity) const;

    // The joint's motion from its state (Z-up metres and degrees) in double precision.
    static glm::dmat4 JointTransform(const glm::vec3& linear, const glm::vec3& angularDegrees);

    const EntityConfig* config;
    std::unordered_map<std::string, JointRecord> joints;

private:
    void Solve(const std::string& name, BaseEntity* entity, std::unordered_map<std::string, glm::dmat4>& solved) const;
};

} // namespace game::entity
