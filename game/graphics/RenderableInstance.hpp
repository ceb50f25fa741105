#pragma once
// game::graphics::RenderableInstance: what the renderer draws. One instance ties one or more geometries to
// a transform and to one GPU record (RenderableData) per geometry. The ray-tracing modules walk
// `_sharedObjects` each frame, read `transform`, `visible`, `changed` and `reloaded`, and build their
// acceleration structures from the geometries' device addresses; what the shaders do with the records is
// theirs.
//
//     auto crate = RenderableInstance::Make<RenderableInstance>(0, 1);   // hit shader 0, mask 1
//     crate->geometries = mesh->geometries ...;                          // usually ClientSideEntity does this
//     crate->SetColor("paint", {1, 0, 0, 1}, 1.0f);                      // 1: the part exists
//
// Geometries. GeometryInterface is the abstract form: a primitive array (vertices of 12 bytes or boxes of
// 32), an optional index array, and `geometryKind` (2: 16-bit indices, 3: 32-bit, anything else: none).
// AabbGeometry is procedural boxes (AabbData), TriangleGeometry a vertex and an index buffer that the caller
// fills, Mesh::Geometry (game/graphics/Mesh.hpp) the arrays of a glTF file.
//
// GPU records (single precision, relative to the world origin GameRenderer keeps), byte by byte:
//   AabbData        0 min vec3 | 12 max vec3 | 24 two uint32 for the shader                  32 bytes
//   RenderableData  0 emission vec3 | 12 colorMix | 16 color vec4 | 32 metallic | 36 roughness |
//                   40 metallicRoughnessMix | 44 monitorIndex uint32 | 48..63 the shader's     64 bytes
//
// Ownership. `Make` registers a weak pointer: an instance lives as long as something (an entity's
// `renderables`) holds it. Its buffers may still be read by frames in flight, so the destructor hands
// them to GameRenderer::Trash when a renderer is there; without one (servers, tests) they go at once.
//
// Threads. `Make` takes the exclusive side of `_sharedObjectsMutex`, walkers the shared side. Fields and
// records are written without a lock from the frame thread: the records are mapped for the host, and a
// write lands in the next frame at the latest.

#include "game/graphics/LightSourceInstance.hpp"
#include "vesmo/core/SharedMutex.hpp"
#include "vesmo/vk/MappedBuffer.hpp"

#include <glm/glm.hpp>
#include <vulkan/vulkan.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace game::graphics {

// Buffer usage of geometry and record arrays: read by shaders and as acceleration-structure input (the
// engine drops the latter on a device without ray tracing). 0x80020.
constexpr VkBufferUsageFlags kGeometryBufferUsage =
    VK_BUFFER_USAGE_ACCELERATION_STRUCTURE_BUILD_INPUT_READ_ONLY_BIT_KHR | VK_BUFFER_USAGE_STORAGE_BUFFER_BIT;

// One procedural box. `data` is the shader's.
struct AabbData {
    glm::vec3 min{0.0f};
    glm::vec3 max{0.0f};
    uint32_t data[2] = {0, 0};
};
static_assert(sizeof(AabbData) == 32);

// The material record of one geometry of an instance.
struct RenderableData {
    glm::vec3 emission{0.0f};
    float colorMix = 0.0f;
    glm::vec4 color{1.0f};
    float metallic = 0.0f;
    float roughness = 0.0f;
    float metallicRoughnessMix = 0.0f;
    uint32_t monitorIndex = 0;
    uint32_t shaderData[4] = {0, 0, 0, 0}; // geometry addresses and the like: the ray-tracing module's
};
static_assert(sizeof(RenderableData) == 64);
static_assert(offsetof(RenderableData, colorMix) == 12 && offsetof(RenderableData, color) == 16);
static_assert(offsetof(RenderableData, metallic) == 32 && offsetof(RenderableData, monitorIndex) == 44);

class RenderableInstance {
public:
    using RenderableDataBuffer = vesmo::vk::MappedBuffer<RenderableData, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 1024, 16>;

    class GeometryInterface {
    public:
        // Values of `geometryKind`.
        static constexpr uint32_t kNoIndices = 0;
        static constexpr uint32_t kAabbs = 1;
        static constexpr uint32_t kIndices16 = 2;
        static constexpr uint32_t kIndices32 = 3;

        GeometryInterface() = default;
        virtual ~GeometryInterface();
        GeometryInterface(const GeometryInterface&) = delete;
        GeometryInterface& operator=(const GeometryInterface&) = delete;

        virtual uint32_t GetPrimitiveCount() const = 0;
        virtual uint32_t GetPrimitiveStride() const = 0;
        virtual uint32_t GetIndexCount() const = 0;
        virtual VkDeviceAddress GetPrimitivesAddr() const = 0;
        virtual VkDeviceAddress GetIndicesAddr() const = 0;
        // 2 for kind 2, 4 for kind 3, else 0.
        virtual uint32_t GetIndexStride() const;

        uint32_t geometryKind = kNoIndices;
        glm::vec4 color{1.0f};
    };

    // `voxelCount` boxes (zeroed), or a copy of `count` boxes. Stride 32, no indices.
    class AabbGeometry : public GeometryInterface {
    public:
        using Buffer = vesmo::vk::MappedBuffer<AabbData, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 1024, 8>;

        explicit AabbGeometry(uint32_t voxelCount);
        AabbGeometry(const AabbData* boxes, size_t count);

        uint32_t GetPrimitiveCount() const override { return static_cast<uint32_t>(aabbs.Count()); }
        uint32_t GetPrimitiveStride() const override { return sizeof(AabbData); }
        uint32_t GetIndexCount() const override { return 0; }
        VkDeviceAddress GetPrimitivesAddr() const override { return aabbs.DeviceAddress(); }
        VkDeviceAddress GetIndicesAddr() const override { return 0; }

        Buffer aabbs;
    };

    // `vertexCount` vertices of vec3 and `indexCount` indices, zeroed, for the caller to fill: 16-bit indices
    // up to 65536 vertices, 32-bit beyond.
    class TriangleGeometry : public GeometryInterface {
    public:
        using VertexBuffer = vesmo::vk::MappedBuffer<glm::vec3, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 256, 4>;
        using Index16Buffer = vesmo::vk::MappedBuffer<uint16_t, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 256, 4>;
        using Index32Buffer = vesmo::vk::MappedBuffer<uint32_t, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 256, 4>;

        TriangleGeometry(uint32_t vertexCount, uint32_t indexCount);

        uint32_t GetPrimitiveCount() const override { return static_cast<uint32_t>(vertices.Count()); }
        uint32_t GetPrimitiveStride() const override { return sizeof(glm::vec3); }
        uint32_t GetIndexCount() const override;
        VkDeviceAddress GetPrimitivesAddr() const override { return vertices.DeviceAddress(); }
        VkDeviceAddress GetIndicesAddr() const override;

        VertexBuffer vertices;
        Index16Buffer indices16; // empty unless geometryKind is 2
        Index32Buffer indices32; // empty unless geometryKind is 3
    };

    RenderableInstance(uint32_t customIndex, uint8_t instanceFlags);
    // A copy that shares `parent`'s geometries and records under another transform; it keeps `parent` alive.
    RenderableInstance(std::shared_ptr<RenderableInstance> parent, const glm::dmat4& transform);
    virtual ~RenderableInstance();
    RenderableInstance(const RenderableInstance&) = delete;
    RenderableInstance& operator=(const RenderableInstance&) = delete;

    // Creates a T and registers it: the first expired entry of `_sharedObjects` is reused, and only when
    // none is expired the list grows. It never shrinks.
    template <class T, class... Args> static std::shared_ptr<T> Make(Args&&... args) {
        std::shared_ptr<T> instance = std::make_shared<T>(std::forward<Args>(args)...);
        Register(instance);
        return instance;
    }

    void SetAimID(uint32_t id) { aimID = id; }
    void SetVisibility(bool value) { visible = value; }

    // Write the fields of every record of the material `part`. 0 when the instance has no records or no
    // such part (nothing changes), 1 when done.
    int SetEmission(const std::string& part, const glm::vec3& emission);
    int SetColor(const std::string& part, const glm::vec4& color, float mix);
    int SetPbrMetallicRoughness(const std::string& part, float metallic, float roughness, float mix);
    int SetMonitorTexture(const std::string& part, uint32_t textureIndex, const glm::vec3& emission);

    uint32_t customIndex = 0;              // the hit shader (GameRenderer::AddRenderableHitShader's index)
    uint8_t instanceFlags = 0;             // the ray mask of the instance
    glm::dmat4 transform{1.0};             // written by the client-side entity each frame
    bool changed = false;                  // the transform moved in this frame
    bool instanceFlag = false;             // the ray-tracing module's
    bool visible = true;                   // cleared by SetVisibility(false) and by a dying ClientSideEntity
    bool reloaded = false;                 // a mesh reload put new geometry under the instance
    VkDeviceAddress firstGeometryAddr = 0; // address of the first record of `renderableData`
    std::shared_ptr<RenderableDataBuffer> renderableData;               // one record per geometry
    std::unordered_map<std::string, std::vector<uint32_t>> partIndices; // material name to record indices
    std::vector<std::shared_ptr<GeometryInterface>> geometries;
    std::shared_ptr<void> source; // keeps a mesh or the shared parent instance alive
    uint32_t aimID = 0;
    bool readyToDraw = true; // cleared while the owner rebuilds the instance
    bool hasTransform = false;

    static std::vector<std::weak_ptr<RenderableInstance>> _sharedObjects;
    static vesmo::SharedMutex _sharedObjectsMutex;

private:
    static void Register(const std::shared_ptr<RenderableInstance>& instance);
    template <class Write> int ForPart(const std::string& part, Write&& write);
};

// Hands `object` to GameRenderer::Trash when there is a renderer; otherwise it is released at once.
void TrashGpuObject(std::shared_ptr<void> object);

} // namespace game::graphics
