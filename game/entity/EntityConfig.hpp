#pragma once
// The body of an entity type, read from its config text: mass, cameras, joints, targets, renderables,
// colliders, adapters and light boxes, each with a parent, a position and a rotation.
//
// The text comes from a modelling tool that works Z-up with angles in degrees; every pose is converted to
// the program's Y-up world as it is read. One EntityConfig is shared by all entities of a type and read
// once, lazily, by the first of them (under `mutex`, marking `loaded`).
//
// Text format (sections and lines as the engine's ConfigFile cuts them; `#` starts a comment):
//
//     [ENTITY block]
//     mass 12.5
//     airtight yes                      true for "true", "yes" or "1" in any case
//     base_planes -Z -Y                 words to the end of the line; "-Z -Y" when the key is absent
//     [JOINT hinge]
//     parent body
//     position 0 0 1                    three floats, Z-up
//     rotation 0 0 90                   degrees
//     angular_z -45 0 45                first limit, resting value, second limit (linear_*: metres)
//     [COLLIDER wing left]              the name is the rest of the header, blanks inside kept
//     box_min -1 -1 0
//     box_max 1 1 2
//     vertices 0 0 0  1 0 0  0 1 0      at most 8 triples; faces_normal and triangles at most 12
//
// Keywords: ENTITY, CAMERA (znear), JOINT, TARGET, RENDERABLE, COLLIDER (is_build_block,
// displacement_volume, box_min, box_max, vertices, faces_normal, triangles), ADAPTER (type), LIGHT_BOX
// (box_min, box_max). Unknown keywords and keys are skipped. A name repeated in a later section lands in
// the same record: what it gives overwrites, the rest stays. A number that does not read leaves its field
// at zero. A list longer than the fixed arrays keeps the first entries, ignores the rest, and a line on
// stderr names the file and the section; the file reads on.

#include "game/entity/JointSolver.hpp"
#include "vesmo/filesystem/ConfigFile.hpp"

#include <glm/glm.hpp>

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace game::graphics {
class Mesh;
}

namespace game::entity {

struct EntityCamera {
    std::string parent;
    glm::vec3 position{0.0f}; // as written, Z-up
    glm::vec3 rotation{0.0f}; // as written, degrees
    float znear = 0.0f;
    glm::mat4 transform{1.0f}; // converted, in the parent's frame
};

struct EntityJoint {
    std::string parent;
    glm::vec3 position{0.0f};
    glm::vec3 rotation{0.0f};
    glm::mat4 transform{1.0f};
    // Per axis: first limit (A), resting value (B), second limit (C); the limits may be in either order.
    glm::vec3 linearA{0.0f}, linearB{0.0f}, linearC{0.0f};
    glm::vec3 angularA{0.0f}, angularB{0.0f}, angularC{0.0f};
    // Set when the key was given; an absent axis takes the raw position or rotation in all three values.
    bool linear_x = false, linear_y = false, linear_z = false;
    bool angular_x = false, angular_y = false, angular_z = false;
};

struct EntityTarget {
    std::string parent;
    glm::vec3 position{0.0f};
    glm::vec3 rotation{0.0f};
    glm::mat4 transform{1.0f};
};

struct EntityRenderable {
    std::string parent;
    glm::vec3 position{0.0f};
    glm::vec3 rotation{0.0f};
    glm::mat4 transform{1.0f};
};

struct EntityAdapter {
    std::string type;
    std::string parent;
    glm::vec3 position{0.0f};
    glm::vec3 rotation{0.0f};
    glm::mat4 transform{1.0f};
};

struct EntityLightBox {
    std::string parent;
    glm::vec3 position{0.0f};
    glm::vec3 rotation{0.0f};
    glm::vec3 box_min{0.0f}; // converted to Y-up, lower corner
    glm::vec3 box_max{0.0f}; // converted to Y-up, upper corner
    glm::mat4 transform{1.0f};
};

struct EntityCollider {
    std::string parent;
    glm::vec3 position{0.0f};
    glm::vec3 rotation{0.0f};
    bool is_build_block = false;
    float displacement_volume = 0.0f;
    glm::vec3 box_min{0.0f}; // converted to Y-up, lower corner
    glm::vec3 box_max{0.0f}; // converted to Y-up, upper corner
    uint16_t vertexCount = 0;
    uint16_t normalCount = 0;
    uint16_t triangleCount = 0;
    std::array<glm::vec3, 8> vertices{};                 // converted to Y-up
    std::array<glm::vec3, 12> normals{};                 // rotated to Y-up and normalised
    std::array<std::array<uint16_t, 3>, 12> triangles{}; // indices as written
    glm::mat4 transform{1.0f};
};

// Every named section of any kind, for walking the hierarchy.
struct EntityNode {
    glm::mat4 transform{1.0f};
    std::string parent;
    std::string kind; // the section's keyword: "JOINT", "COLLIDER", ...
};

class EntityConfig : public vesmo::filesystem::ConfigFile {
public:
    explicit EntityConfig(const std::string& path);
    ~EntityConfig() override;

    // Reads the file. Cameras, joints, targets and renderables start over; colliders, adapters, light boxes
    // and the node table are only added to and overwritten by name. Builds the joint solver last.
    void ReadConfig() override;

    // Z-up position and degrees to a Y-up transform: translation (x, z, -y) times the rotation whose
    // Euler angles are the radians of `rotationDegrees` turned by -90 degrees about X.
    static glm::mat4 TransformFromBlender(const glm::vec3& position, const glm::vec3& rotationDegrees);

    // The node's pose in the entity's frame: the chain of parents multiplied out. Identity for an unknown name.
    glm::dmat4 GetAbsoluteTransform(const std::string& name) const;
    // The node's pose relative to the nearest joint at or above it, naming that joint in `firstJoint`
    // (left as it came when the chain ends at the root). A joint itself is the identity.
    glm::dmat4 GetTransformRelativeToFirstParentJointOrRoot(const std::string& name, std::string& firstJoint) const;

    // The model beside the config: same folder and stem, ".gltf".
    std::string GetMeshFilePath() const;
    // The model, loaded on first use (client only: loading needs Game::renderer); empty when the file is missing.
    // One Mesh serves every entity of the type.
    std::shared_ptr<const game::graphics::Mesh> GetMesh() const;

    double mass = 0.0;
    bool airtight = false;
    std::vector<std::string> base_planes;
    std::unordered_map<std::string, EntityCamera> cameras;
    std::unordered_map<std::string, EntityJoint> joints;
    std::unordered_map<std::string, EntityTarget> targets;
    std::unordered_map<std::string, EntityRenderable> renderables;
    std::unordered_map<std::string, EntityCollider> colliders;
    std::unordered_map<std::string, EntityAdapter> adapters;
    std::unordered_map<std::string, EntityLightBox> lightBoxes;
    std::unordered_map<std::string, EntityNode> allNodes;
    mutable std::shared_ptr<const game::graphics::Mesh> mesh;
    mutable std::filesystem::file_time_type meshWriteTime{};
    uint64_t meshReloadFrame = 0;
    double meshLastCheck = 0.0;
    JointSolver jointSolver;

private:
    void ReadSection(std::stringstream& header, std::vector<vesmo::filesystem::ConfLineStream>& lines);
};

} // namespace game::entity
