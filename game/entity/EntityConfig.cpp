#include "game/entity/EntityConfig.hpp"

#include "game/graphics/Mesh.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <sstream>

namespace game::entity {

using vesmo::filesystem::ConfLineStream;

namespace {

constexpr const char* kBlanks = " \f\n\r\t\v";

std::string TrimName(const std::string& text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return {};
    const size_t last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

bool ReadBool(std::istream& values) {
    std::string word;
    values >> word;
    for (char& c : word)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return word == "true" || word == "yes" || word == "1";
}

void ReadVec3(std::istream& values, glm::vec3& v) { values >> v.x >> v.y >> v.z; }

// Z-up to Y-up for points: (x, y, z) -> (x, z, -y).
glm::vec3 ToYUp(const glm::vec3& v) { return {v.x, v.z, -v.y}; }

// Converts the corners that a section gave from Z-up to Y-up, then orders each axis: the sign change of
// the third axis swaps that axis's corners. A corner kept from an earlier section of the same name is
// already converted and is not turned again.
void ConvertBox(glm::vec3& boxMin, glm::vec3& boxMax, bool minGiven, bool maxGiven) {
    if (!minGiven && !maxGiven)
        return;
    if (minGiven)
        boxMin = ToYUp(boxMin);
    if (maxGiven)
        boxMax = ToYUp(boxMax);
    for (int axis = 0; axis < 3; ++axis)
        if (boxMin[axis] > boxMax[axis])
            std::swap(boxMin[axis], boxMax[axis]);
}

// The fixed arrays are the format's limit; a longer list keeps its first entries and the reading goes on.
void ReportOverflow(const std::string& path, const std::string& keyword, const std::string& name, const char* what,
                    uint32_t limit) {
    std::cerr << "EntityConfig " << path << ": [" << keyword << " " << name << "] lists more than " << limit << " "
              << what << "; the rest are ignored" << std::endl;
}

// Keys that every kind of node has.
template <class Record> bool ReadPoseKey(const std::string& key, std::istream& values, Record& record) {
    if (key == "parent") {
        values >> record.parent;
        return true;
    }
    if (key == "position") {
        ReadVec3(values, record.position);
        return true;
    }
    if (key == "rotation") {
        ReadVec3(values, record.rotation);
        return true;
    }
    return false;
}

// Euler angles to a quaternion in the usual half-angle form, in the precision of T.
template <class T> glm::qua<T> EulerQuaternion(const glm::vec<3, T>& e) {
    const T cx = std::cos(e.x * T(0.5)), sx = std::sin(e.x * T(0.5));
    const T cy = std::cos(e.y * T(0.5)), sy = std::sin(e.y * T(0.5));
    const T cz = std::cos(e.z * T(0.5)), sz = std::sin(e.z * T(0.5));
    return glm::qua<T>(cx * cy * cz + sx * sy * sz, sx * cy * cz - cx * sy * sz, cx * sy * cz + sx * cy * sz,
                       cx * cy * sz - sx * sy * cz);
}

// Walks a section's lines: pose keys go to `record`, every other key to `other(key, values)`.
template <class Record, class Other>
void ReadPoseLines(std::vector<vesmo::filesystem::ConfLineStream>& lines, Record& record, Other&& other) {
    for (vesmo::filesystem::ConfLineStream& line : lines) {
        std::string key;
        line.key >> key;
        if (!ReadPoseKey(key, line.values, record))
            other(key, line.values);
    }
}

// Restarts a fixed-size list from the values, to the end of the stream; entries past its capacity are
// dropped. Returns false when some were.
template <class Item, size_t N, class Read>
bool ReadList(std::istream& values, std::array<Item, N>& items, uint16_t& count, Read read) {
    count = 0;
    bool fits = true;
    for (Item item; read(values, item);) {
        if (count < N)
            items[count++] = item;
        else
            fits = false;
    }
    return fits;
}

} // namespace

// Shared by the config reader (single precision) and the joint solver (double precision).
template <class T>
glm::mat<4, 4, T> TransformFromBlenderT(const glm::vec3& position, const glm::vec3& rotationDegrees) {
    const glm::vec<3, T> radians = glm::vec<3, T>(rotationDegrees * 0.017453292f);
    const glm::qua<T> zUpToYUp(T(0.70710677f), T(-0.70710677f), T(0), T(0));
    const glm::vec<3, T> e = zUpToYUp * radians;
    const glm::qua<T> q = EulerQuaternion<T>(e);
    const glm::vec<3, T> p(position.x, position.z, -position.y);
    return glm::translate(glm::mat<4, 4, T>(T(1)), p) * glm::mat4_cast(q);
}
template glm::mat4 TransformFromBlenderT<float>(const glm::vec3&, const glm::vec3&);
template glm::dmat4 TransformFromBlenderT<double>(const glm::vec3&, const glm::vec3&);

EntityConfig::EntityConfig(const std::string& path) : ConfigFile(path), jointSolver(this) {}

EntityConfig::~EntityConfig() = default;

glm::mat4 EntityConfig::TransformFromBlender(const glm::vec3& position, const glm::vec3& rotationDegrees) {
    return TransformFromBlenderT<float>(position, rotationDegrees);
}

void EntityConfig::ReadConfig() {
    cameras.clear();
    joints.clear();
    targets.clear();
    renderables.clear();
    ReadFromINI([this](std::stringstream& header, std::vector<ConfLineStream>& lines) { ReadSection(header, lines); });
    jointSolver.Init();
}

void EntityConfig::ReadSection(std::stringstream& header, std::vector<ConfLineStream>& lines) {
    std::string keyword;
    header >> keyword;
    if (keyword.empty())
        return;
    std::string rest;
    std::getline(header, rest, '\0');
    const std::string name = TrimName(rest);
    if (name.empty())
        return;

    auto register_node = [&](auto& record) {
        record.transform = TransformFromBlender(record.position, record.rotation);
        EntityNode& node = allNodes[name];
        node.transform = record.transform;
        node.parent = record.parent;
        node.kind = keyword;
    };

    if (keyword == "ENTITY") {
        bool basePlanesGiven = false;
        for (ConfLineStream& line : lines) {
            std::string key;
            line.key >> key;
            std::stringstream& values = line.values;
            if (key == "mass") {
                values >> mass;
            } else if (key == "airtight") {
                airtight = ReadBool(values);
            } else if (key == "base_planes") {
                // Words to the end of the stream, as read: a trailing blank yields an empty last word.
                base_planes.clear();
                while (!values.eof()) {
                    std::string word;
                    values >> word;
                    base_planes.push_back(word);
                }
                basePlanesGiven = true;
            }
        }
        if (!basePlanesGiven)
            base_planes = {"-Z", "-Y"};
        // The ENTITY section's name has no use and is no node.
        return;
    }

    auto ignore = [](const std::string&, std::stringstream&) {};
    if (keyword == "CAMERA") {
        EntityCamera& camera = cameras[name];
        ReadPoseLines(lines, camera, [&](const std::string& key, std::stringstream& values) {
            if (key == "znear")
                values >> camera.znear;
        });
        register_node(camera);
    } else if (keyword == "JOINT") {
        EntityJoint& joint = joints[name];
        ReadPoseLines(lines, joint, [&](const std::string& key, std::stringstream& values) {
            for (int axis = 0; axis < 3; ++axis) {
                static constexpr const char* kLinear[] = {"linear_x", "linear_y", "linear_z"};
                static constexpr const char* kAngular[] = {"angular_x", "angular_y", "angular_z"};
                if (key == kLinear[axis]) {
                    values >> joint.linearA[axis] >> joint.linearB[axis] >> joint.linearC[axis];
                    (axis == 0 ? joint.linear_x : axis == 1 ? joint.linear_y : joint.linear_z) = true;
                } else if (key == kAngular[axis]) {
                    values >> joint.angularA[axis] >> joint.angularB[axis] >> joint.angularC[axis];
                    (axis == 0 ? joint.angular_x : axis == 1 ? joint.angular_y : joint.angular_z) = true;
                }
            }
        });
        register_node(joint);
        // An axis without a key does not move: its limits and rest are the pose as written (unconverted).
        const bool linearGiven[3] = {joint.linear_x, joint.linear_y, joint.linear_z};
        const bool angularGiven[3] = {joint.angular_x, joint.angular_y, joint.angular_z};
        for (int axis = 0; axis < 3; ++axis) {
            if (!linearGiven[axis])
                joint.linearA[axis] = joint.linearB[axis] = joint.linearC[axis] = joint.position[axis];
            if (!angularGiven[axis])
                joint.angularA[axis] = joint.angularB[axis] = joint.angularC[axis] = joint.rotation[axis];
        }
    } else if (keyword == "TARGET") {
        EntityTarget& target = targets[name];
        ReadPoseLines(lines, target, ignore);
        register_node(target);
    } else if (keyword == "RENDERABLE") {
        EntityRenderable& renderable = renderables[name];
        ReadPoseLines(lines, renderable, ignore);
        register_node(renderable);
    } else if (keyword == "COLLIDER") {
        EntityCollider& collider = colliders[name];
        bool boxMinGiven = false, boxMaxGiven = false;
        const auto readVec3 = [](std::istream& values, glm::vec3& v) { return bool(values >> v.x >> v.y >> v.z); };
        ReadPoseLines(lines, collider, [&](const std::string& key, std::stringstream& values) {
            if (key == "is_build_block") {
                collider.is_build_block = ReadBool(values);
            } else if (key == "displacement_volume") {
                values >> collider.displacement_volume;
            } else if (key == "box_min") {
                ReadVec3(values, collider.box_min);
                boxMinGiven = true;
            } else if (key == "box_max") {
                ReadVec3(values, collider.box_max);
                boxMaxGiven = true;
            } else if (key == "vertices") {
                const auto read = [&](std::istream& in, glm::vec3& v) {
                    if (!readVec3(in, v))
                        return false;
                    v = ToYUp(v);
                    return true;
                };
                if (!ReadList(values, collider.vertices, collider.vertexCount, read))
                    ReportOverflow(String(), keyword, name, "vertices", 8);
            } else if (key == "faces_normal") {
                const glm::quat zUpToYUp = EulerQuaternion<float>(glm::vec3(-1.5707964f, 0.0f, 0.0f));
                const auto read = [&](std::istream& in, glm::vec3& n) {
                    if (!readVec3(in, n))
                        return false;
                    n = glm::normalize(zUpToYUp * n);
                    return true;
                };
                if (!ReadList(values, collider.normals, collider.normalCount, read))
                    ReportOverflow(String(), keyword, name, "face normals", 12);
            } else if (key == "triangles") {
                const auto read = [](std::istream& in, std::array<uint16_t, 3>& t) {
                    return bool(in >> t[0] >> t[1] >> t[2]);
                };
                if (!ReadList(values, collider.triangles, collider.triangleCount, read))
                    ReportOverflow(String(), keyword, name, "triangles", 12);
            }
        });
        ConvertBox(collider.box_min, collider.box_max, boxMinGiven, boxMaxGiven);
        register_node(collider);
    } else if (keyword == "ADAPTER") {
        EntityAdapter& adapter = adapters[name];
        ReadPoseLines(lines, adapter, [&](const std::string& key, std::stringstream& values) {
            if (key == "type")
                values >> adapter.type;
        });
        register_node(adapter);
    } else if (keyword == "LIGHT_BOX") {
        EntityLightBox& box = lightBoxes[name];
        bool boxMinGiven = false, boxMaxGiven = false;
        ReadPoseLines(lines, box, [&](const std::string& key, std::stringstream& values) {
            if (key == "box_min") {
                ReadVec3(values, box.box_min);
                boxMinGiven = true;
            } else if (key == "box_max") {
                ReadVec3(values, box.box_max);
                boxMaxGiven = true;
            }
        });
        ConvertBox(box.box_min, box.box_max, boxMinGiven, boxMaxGiven);
        register_node(box);
    }
}

glm::dmat4 EntityConfig::GetAbsoluteTransform(const std::string& name) const {
    // Walks up the chain; a chain longer than the table is a cycle in the file and ends there.
    glm::dmat4 result(1.0);
    const std::string* current = &name;
    for (size_t depth = 0; depth <= allNodes.size(); ++depth) {
        const auto found = allNodes.find(*current);
        if (found == allNodes.end())
            break;
        result = glm::dmat4(found->second.transform) * result;
        if (found->second.parent.empty())
            break;
        current = &found->second.parent;
    }
    return result;
}

glm::dmat4 EntityConfig::GetTransformRelativeToFirstParentJointOrRoot(const std::string& name,
                                                                      std::string& firstJoint) const {
    glm::dmat4 result(1.0);
    const std::string* current = &name;
    for (size_t depth = 0; depth <= allNodes.size(); ++depth) {
        const auto found = allNodes.find(*current);
        if (found == allNodes.end())
            break;
        if (found->second.kind == "JOINT") {
            firstJoint = *current;
            break;
        }
        result = glm::dmat4(found->second.transform) * result;
        if (found->second.parent.empty())
            break;
        current = &found->second.parent;
    }
    return result;
}

std::string EntityConfig::GetMeshFilePath() const { return Parent() + "/" + Stem() + ".gltf"; }

std::shared_ptr<const game::graphics::Mesh> EntityConfig::GetMesh() const {
    if (!mesh) {
        const vesmo::filesystem::FilePath path(GetMeshFilePath());
        if (path.Exists()) {
            meshWriteTime = path.LastWriteTime();
            auto loaded = std::make_shared<game::graphics::Mesh>(GetMeshFilePath());
            loaded->Load();
            mesh = std::move(loaded);
        }
    }
    return mesh;
}

} // namespace game::entity
