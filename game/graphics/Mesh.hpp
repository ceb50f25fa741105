#pragma once
// game::graphics::Mesh: one glTF 2.0 file turned into GPU buffers and a list of geometries. It is the only
// model format the game reads, and it reads a narrow subset: the meshes come from the game's own export, so
// what lies outside the subset ends the process with an assertion rather than being half drawn.
//
// The subset:
//   - JSON text (".gltf"); every entry of "buffers" is a file beside it ("uri"), "byteLength" bytes.
//     Embedded data (a "data:" URI) and ".glb" are not read.
//   - Each node with "mesh" gives one Geometry per primitive of that mesh, tagged with the node's "name":
//     the name is the part the entity config's RENDERABLE section places.
//   - Attributes: "POSITION" (VEC3 float, required), "NORMAL" (VEC3 float), "COLOR_0" (VEC4 of unsigned
//     bytes or floats), "TEXCOORD_0", "TEXCOORD_1" (VEC2 float); "indices" SCALAR of 16 or 32 bits. A
//     bufferView's "byteStride" may be absent, 0 or the element's size (tightly packed), nothing else.
//     All arrays of a primitive lie in one buffer.
//   - Every primitive has a "material": "name", "emissiveFactor" and "pbrMetallicRoughness" with
//     "baseColorFactor", "metallicFactor", "roughnessFactor" and "baseColorTexture" (an image file beside
//     the glTF, added to the renderer's texture table). Defaults: colour (1, 1, 1, 1), or (0, 0, 0, 1) for a
//     material named "screen" (a screen emits and doesn't reflect); metallic and roughness 1.0.
//
// Addresses. A geometry's arrays are device addresses inside its buffer (buffer address + bufferView
// "byteOffset" + accessor "byteOffset"); 0 for an array the primitive doesn't have. Without a device the
// buffers are host memory and the addresses are host addresses, so the layout stays testable.
//
// Reload. Load() runs again on the same object while the game runs (ClientSideEntity reloads it when the
// file changes and F5 is held). The old buffers and geometries go to GameRenderer::Trash, never freed on
// the spot: the frames in flight may still read them. The new ones are complete before anyone sees them.
//
// Failures: the assertions below; a missing key or a wrong JSON type is nlohmann::json's exception; a
// buffer file that can't be read throws std::runtime_error "Cannot read mesh buffer <path>".
// Load needs Game::renderer (assertion) and runs on the thread that creates client-side entities.

#include "game/graphics/RenderableInstance.hpp"
#include "vesmo/vk/Buffer.hpp"

#include <glm/glm.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace game::graphics {

class Mesh {
public:
    class Geometry : public RenderableInstance::GeometryInterface {
    public:
        uint32_t GetPrimitiveCount() const override { return vertexCount; }
        uint32_t GetPrimitiveStride() const override { return positionStride; }
        uint32_t GetIndexCount() const override { return indexCount; }
        VkDeviceAddress GetPrimitivesAddr() const override { return positionsAddr; }
        VkDeviceAddress GetIndicesAddr() const override { return indicesAddr; }
        uint32_t GetIndexStride() const override { return indexStride; }

        // `color` (the base class's) is the material's baseColorFactor.
        glm::vec3 emission{0.0f};
        float metallic = 1.0f;
        float roughness = 1.0f;
        VkDeviceAddress texcoord0Addr = 0;
        VkDeviceAddress texcoord1Addr = 0;
        VkDeviceAddress normalsAddr = 0;
        VkDeviceAddress colorsByteAddr = 0;        // COLOR_0 as 4 unsigned bytes
        VkDeviceAddress colorsFloatAddr = 0;       // COLOR_0 as 4 floats
        std::shared_ptr<vesmo::vk::Buffer> buffer; // holds every array above
        VkDeviceAddress positionsAddr = 0;
        uint32_t positionStride = 12;
        uint32_t vertexCount = 0;
        VkDeviceAddress indicesAddr = 0;
        uint32_t indexStride = 0; // 2 or 4
        uint32_t indexCount = 0;
        std::string materialName;
        std::string nodeName;          // the part this geometry belongs to
        int32_t baseColorTexture = -1; // index in the renderer's texture table, -1 for none
    };

    // One node of the file: a part of the model, with its geometries in primitive order.
    struct Part {
        std::string name;
        std::vector<std::shared_ptr<Geometry>> geometries;
    };

    // Only keeps the path; Load reads it.
    explicit Mesh(std::string path);
    ~Mesh();
    Mesh(const Mesh&) = delete;
    Mesh& operator=(const Mesh&) = delete;

    // Reads the file (again). See the header comment for the subset and the failures.
    void Load();

    const std::string& Path() const { return path; }

    std::string path;
    std::vector<std::shared_ptr<vesmo::vk::Buffer>> buffers; // one per glTF buffer
    std::vector<std::shared_ptr<Geometry>> geometries;       // every primitive of every node, in file order
    std::vector<Part> parts;                                 // the same geometries by node
};

} // namespace game::graphics
