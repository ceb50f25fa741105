#include "game/graphics/RenderableInstance.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "vesmo/vk/Device.hpp"

#include <mutex>
#include <utility>

namespace game::graphics {

std::vector<std::weak_ptr<RenderableInstance>> RenderableInstance::_sharedObjects;
vesmo::SharedMutex RenderableInstance::_sharedObjectsMutex;

void TrashGpuObject(std::shared_ptr<void> object) {
    if (object && Game::renderer)
        Game::renderer->Trash(std::move(object));
}

// ---- geometries

RenderableInstance::GeometryInterface::~GeometryInterface() = default;

uint32_t RenderableInstance::GeometryInterface::GetIndexStride() const {
    if (geometryKind == kIndices16)
        return 2;
    if (geometryKind == kIndices32)
        return 4;
    return 0;
}

namespace {

RenderableInstance::AabbGeometry::Buffer MakeAabbs(uint32_t voxelCount) {
    GAME_ASSERT(voxelCount > 0);
    return RenderableInstance::AabbGeometry::Buffer(vesmo::vk::Device::Current(), voxelCount, kGeometryBufferUsage,
                                                    "AabbGeometry AabbData");
}

} // namespace

RenderableInstance::AabbGeometry::AabbGeometry(uint32_t voxelCount) : aabbs(MakeAabbs(voxelCount)) {
    geometryKind = kAabbs;
}

RenderableInstance::AabbGeometry::AabbGeometry(const AabbData* boxes, size_t count)
    : aabbs(MakeAabbs(static_cast<uint32_t>(count))) {
    geometryKind = kAabbs;
    for (size_t i = 0; i < count; ++i)
        aabbs[i] = boxes[i];
}

RenderableInstance::TriangleGeometry::TriangleGeometry(uint32_t vertexCount, uint32_t indexCount) {
    GAME_ASSERT(vertexCount > 0);
    vesmo::vk::Device* device = vesmo::vk::Device::Current();
    const VkBufferUsageFlags usage = kGeometryBufferUsage | VK_BUFFER_USAGE_VERTEX_BUFFER_BIT;
    vertices = VertexBuffer(device, vertexCount, usage, "TriangleGeometry vertices");
    const VkBufferUsageFlags indexUsage = kGeometryBufferUsage | VK_BUFFER_USAGE_INDEX_BUFFER_BIT;
    // 16-bit indices reach vertex 65535, so up to 65536 vertices.
    if (vertexCount <= 65536) {
        geometryKind = kIndices16;
        indices16 = Index16Buffer(device, indexCount, indexUsage, "TriangleGeometry indices16");
    } else {
        geometryKind = kIndices32;
        indices32 = Index32Buffer(device, indexCount, indexUsage, "TriangleGeometry indices32");
    }
}

uint32_t RenderableInstance::TriangleGeometry::GetIndexCount() const {
    return static_cast<uint32_t>(geometryKind == kIndices16 ? indices16.Count() : indices32.Count());
}

VkDeviceAddress RenderableInstance::TriangleGeometry::GetIndicesAddr() const {
    return geometryKind == kIndices16 ? indices16.DeviceAddress() : indices32.DeviceAddress();
}

// ---- instances

RenderableInstance::RenderableInstance(uint32_t index, uint8_t flags) : customIndex(index), instanceFlags(flags) {}

RenderableInstance::RenderableInstance(std::shared_ptr<RenderableInstance> parent, const glm::dmat4& pose)
    : customIndex(parent->customIndex), instanceFlags(parent->instanceFlags), transform(pose),
      firstGeometryAddr(parent->firstGeometryAddr), renderableData(parent->renderableData),
      partIndices(parent->partIndices), geometries(parent->geometries), source(std::move(parent)) {}

RenderableInstance::~RenderableInstance() {
    visible = false;
    TrashGpuObject(std::move(renderableData));
    for (auto& geometry : geometries)
        TrashGpuObject(std::move(geometry));
    TrashGpuObject(std::move(source));
}

void RenderableInstance::Register(const std::shared_ptr<RenderableInstance>& instance) {
    std::unique_lock lock(_sharedObjectsMutex);
    for (auto& entry : _sharedObjects) {
        if (entry.expired()) {
            entry = instance;
            return;
        }
    }
    _sharedObjects.push_back(instance);
}

template <class Write> int RenderableInstance::ForPart(const std::string& part, Write&& write) {
    if (!renderableData)
        return 0;
    const auto found = partIndices.find(part);
    if (found == partIndices.end())
        return 0;
    for (const uint32_t index : found->second)
        write((*renderableData)[index]);
    return 1;
}

int RenderableInstance::SetEmission(const std::string& part, const glm::vec3& emission) {
    return ForPart(part, [&](RenderableData& record) { record.emission = emission; });
}

int RenderableInstance::SetColor(const std::string& part, const glm::vec4& color, float mix) {
    return ForPart(part, [&](RenderableData& record) {
        record.color = color;
        record.colorMix = mix;
    });
}

int RenderableInstance::SetPbrMetallicRoughness(const std::string& part, float metallic, float roughness, float mix) {
    return ForPart(part, [&](RenderableData& record) {
        record.metallic = metallic;
        record.roughness = roughness;
        record.metallicRoughnessMix = mix;
    });
}

int RenderableInstance::SetMonitorTexture(const std::string& part, uint32_t textureIndex, const glm::vec3& emission) {
    return ForPart(part, [&](RenderableData& record) {
        record.monitorIndex = textureIndex;
        record.emission = emission;
    });
}

} // namespace game::graphics
