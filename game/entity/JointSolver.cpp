#include "game/entity/JointSolver.hpp"

#include "game/entity/EntityConfig.hpp"
#include "game/entity/common.hpp"

#include <algorithm>

namespace game::entity {

// The config's pose conversion, instantiated in double precision (EntityConfig.cpp).
template <class T> glm::mat<4, 4, T> TransformFromBlenderT(const glm::vec3& position, const glm::vec3& rotationDegrees);

glm::dmat4 JointSolver::JointTransform(const glm::vec3& linear, const glm::vec3& angularDegrees) {
    return TransformFromBlenderT<double>(linear, angularDegrees);
}

void JointSolver::Init() {
    for (const auto& [name, joint] : config->joints) {
        JointRecord& record = joints[name];
        if (joint.parent.empty())
            continue;
        std::string firstJoint;
        record.localTransform = config->GetTransformRelativeToFirstParentJointOrRoot(joint.parent, firstJoint);
        if (!firstJoint.empty()) {
            record.parentJoint = firstJoint;
            joints[firstJoint].childJoints.push_back(name);
        }
    }
    for (const auto& [name, node] : config->allNodes) {
        if (node.kind == "JOINT" || node.parent.empty())
            continue;
        std::string firstJoint;
        const glm::dmat4 relative = config->GetTransformRelativeToFirstParentJointOrRoot(node.parent, firstJoint);
        const auto joint = joints.find(firstJoint);
        if (firstJoint.empty() || joint == joints.end())
            continue;
        joint->second.attached[name] = glm::mat4(relative * glm::dmat4(node.transform));
    }
}

bool JointSolver::operator()(BaseEntity* entity) const {
    if (joints.empty() || entity->jointStates.empty())
        return false;
    std::unordered_map<std::string, glm::dmat4> solved;
    for (const auto& [name, record] : joints)
        if (record.parentJoint.empty())
            Solve(name, entity, solved);
    for (const auto& [name, record] : joints) {
        for (const auto& [node, local] : record.attached) {
            const auto target = entity->nodes.find(node);
            if (target != entity->nodes.end())
                target->second = solved.at(name) * glm::dmat4(local);
        }
    }
    return true;
}

void JointSolver::Solve(const std::string& name, BaseEntity* entity,
                        std::unordered_map<std::string, glm::dmat4>& solved) const {
    const auto found = joints.find(name);
    if (found == joints.end())
        return;
    const JointRecord& record = found->second;
    const EntityJoint& limits = config->joints.at(name);

    glm::dmat4 motion;
    const auto state = entity->jointStates.find(name);
    if (state != entity->jointStates.end()) {
        JointState& current = state->second;
        for (int axis = 0; axis < 3; ++axis) {
            current.linear[axis] =
                std::clamp(current.linear[axis], std::min(limits.linearA[axis], limits.linearC[axis]),
                           std::max(limits.linearA[axis], limits.linearC[axis]));
            current.angular[axis] =
                std::clamp(current.angular[axis], std::min(limits.angularA[axis], limits.angularC[axis]),
                           std::max(limits.angularA[axis], limits.angularC[axis]));
        }
        motion = JointTransform(current.linear, current.angular);
    } else {
        motion = JointTransform(limits.linearB, limits.angularB);
    }

    const glm::dmat4 parent = record.parentJoint.empty() ? glm::dmat4(1.0) : solved.at(record.parentJoint);
    solved[name] = parent * record.localTransform * motion;
    for (const std::string& child : record.childJoints)
        Solve(child, entity, solved);
}

} // namespace game::entity
