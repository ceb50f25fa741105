#include "game/graphics/Mesh.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>
#include <vector>

namespace game::graphics {

namespace {

using nlohmann::json;

// glTF's component types (OpenGL's enumerants).
constexpr int GL_UNSIGNED_BYTE = 5121;
constexpr int GL_UNSIGNED_SHORT = 5123;
constexpr int GL_UNSIGNED_INT = 5125;
constexpr int GL_FLOAT = 5126;

constexpr VkBufferUsageFlags kMeshBufferUsage =
    kGeometryBufferUsage | VK_BUFFER_USAGE_VERTEX_BUFFER_BIT | VK_BUFFER_USAGE_INDEX_BUFFER_BIT;

// A bufferView's "byteStride", or `packed` when it is absent or 0 (both mean tightly packed).
size_t ByteStride(const json& bufferView, size_t packed) {
    const auto found = bufferView.find("byteStride");
    if (found == bufferView.end())
        return packed;
    const size_t stride = found->get<size_t>();
    return stride == 0 ? packed : stride;
}

size_t ByteOffset(const json& object) { return object.value("byteOffset", size_t(0)); }

std::string Folder(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? std::string(".") : folder;
}

void ReadBufferFile(const std::string& file, vesmo::vk::Buffer& buffer, size_t size) {
    std::FILE* in = std::fopen(file.c_str(), "rb");
    if (!in)
        throw std::runtime_error("Cannot read mesh buffer " + file);
    size_t read = 0;
    if (buffer.Data()) {
        read = std::fread(buffer.Data(), 1, size, in);
    } else {
        std::vector<unsigned char> bytes(size);
        read = std::fread(bytes.data(), 1, size, in);
        if (read == size)
            buffer.Upload(bytes.data(), size);
    }
    std::fclose(in);
    if (read != size)
        throw std::runtime_error("Cannot read mesh buffer " + file);
}

// Reads what one loading pass needs from the JSON text, and turns primitives into geometries.
class Reader {
public:
    Reader(const json& root, const std::string& folder, const std::vector<std::shared_ptr<vesmo::vk::Buffer>>& buffers)
        : _root(root), _folder(folder), _buffers(buffers) {}

    std::shared_ptr<Mesh::Geometry> Primitive(const json& primitive, const std::string& nodeName) {
        auto geometry = std::make_shared<Mesh::Geometry>();
        geometry->nodeName = nodeName;
        const json& accessors = _root.at("accessors");
        const json& bufferViews = _root.at("bufferViews");
        const json& attributes = primitive.at("attributes");

        const json& positionAccessor = accessors.at(attributes.at("POSITION").get<size_t>());
        GAME_ASSERT(positionAccessor.at("type") == "VEC3");
        GAME_ASSERT(positionAccessor.at("componentType") == GL_FLOAT);
        const json& positionBufferView = bufferViews.at(positionAccessor.at("bufferView").get<size_t>());
        const size_t positionStride = ByteStride(positionBufferView, sizeof(float) * 3);
        GAME_ASSERT(positionStride == sizeof(float) * 3);
        const size_t bufferIndex = positionBufferView.at("buffer").get<size_t>();
        geometry->buffer = Buffer(bufferIndex);
        const VkDeviceAddress base = geometry->buffer->DeviceAddress();
        geometry->positionsAddr = base + ByteOffset(positionBufferView) + ByteOffset(positionAccessor);
        geometry->positionStride = sizeof(float) * 3;
        geometry->vertexCount = positionAccessor.at("count").get<uint32_t>();

        if (const auto indices = primitive.find("indices"); indices != primitive.end()) {
            const json& indicesAccessor = accessors.at(indices->get<size_t>());
            const json& indicesBufferView = bufferViews.at(indicesAccessor.at("bufferView").get<size_t>());
            GAME_ASSERT(indicesBufferView.at("buffer") == bufferIndex);
            GAME_ASSERT(indicesAccessor.at("type") == "SCALAR");
            const int componentType = indicesAccessor.at("componentType").get<int>();
            if (componentType == GL_UNSIGNED_SHORT) {
                const size_t stride = ByteStride(indicesBufferView, sizeof(uint16_t));
                GAME_ASSERT(stride == sizeof(uint16_t));
                geometry->geometryKind = Mesh::Geometry::kIndices16;
                geometry->indexStride = 2;
            } else if (componentType == GL_UNSIGNED_INT) {
                const size_t stride = ByteStride(indicesBufferView, sizeof(uint32_t));
                GAME_ASSERT(stride == sizeof(uint32_t));
                geometry->geometryKind = Mesh::Geometry::kIndices32;
                geometry->indexStride = 4;
            } else {
                GAME_ASSERT(!"Index ComponentType not supported");
            }
            geometry->indicesAddr = base + ByteOffset(indicesBufferView) + ByteOffset(indicesAccessor);
            geometry->indexCount = indicesAccessor.at("count").get<uint32_t>();
        }

        for (const auto& [name, index] : attributes.items()) {
            if (name == "POSITION")
                continue;
            const json& accessor = accessors.at(index.get<size_t>());
            const json& bufferView = bufferViews.at(accessor.at("bufferView").get<size_t>());
            GAME_ASSERT(bufferView.at("buffer") == bufferIndex);
            const VkDeviceAddress address = base + ByteOffset(bufferView) + ByteOffset(accessor);
            if (name == "NORMAL") {
                GAME_ASSERT(accessor.at("type") == "VEC3");
                GAME_ASSERT(accessor.at("componentType") == GL_FLOAT);
                const size_t stride = ByteStride(bufferView, sizeof(float) * 3);
                GAME_ASSERT(stride == sizeof(float) * 3);
                geometry->normalsAddr = address;
            } else if (name == "COLOR_0") {
                GAME_ASSERT(accessor.at("type") == "VEC4");
                const int componentType = accessor.at("componentType").get<int>();
                if (componentType == GL_UNSIGNED_BYTE) {
                    const size_t stride = ByteStride(bufferView, sizeof(uint8_t) * 4);
                    GAME_ASSERT(stride == sizeof(uint8_t) * 4);
                    geometry->colorsByteAddr = address;
                } else if (componentType == GL_FLOAT) {
                    const size_t stride = ByteStride(bufferView, sizeof(float) * 4);
                    GAME_ASSERT(stride == sizeof(float) * 4);
                    geometry->colorsFloatAddr = address;
                } else {
                    GAME_ASSERT(!"Color ComponentType not supported");
                }
            } else if (name == "TEXCOORD_0" || name == "TEXCOORD_1") {
                GAME_ASSERT(accessor.at("type") == "VEC2");
                GAME_ASSERT(accessor.at("componentType") == GL_FLOAT);
                const size_t stride = ByteStride(bufferView, sizeof(float) * 2);
                GAME_ASSERT(stride == sizeof(float) * 2);
                (name == "TEXCOORD_0" ? geometry->texcoord0Addr : geometry->texcoord1Addr) = address;
            }
            // Other attributes (tangents, joints, weights) aren't drawn and are left alone.
        }

        const auto material = primitive.find("material");
        if (material == primitive.end())
            GAME_ASSERT(!"Material not found");
        Material(_root.at("materials").at(material->get<size_t>()), *geometry);
        return geometry;
    }

private:
    void Material(const json& material, Mesh::Geometry& geometry) {
        geometry.materialName = material.value("name", std::string());
        // A screen emits and doesn't reflect: black unless the file says otherwise.
        geometry.color = geometry.materialName == "screen" ? glm::vec4(0.0f, 0.0f, 0.0f, 1.0f) : glm::vec4(1.0f);
        if (const auto emissive = material.find("emissiveFactor"); emissive != material.end())
            geometry.emission = {emissive->at(0).get<float>(), emissive->at(1).get<float>(),
                                 emissive->at(2).get<float>()};
        const auto pbr = material.find("pbrMetallicRoughness");
        if (pbr == material.end())
            return;
        if (const auto base = pbr->find("baseColorFactor"); base != pbr->end())
            geometry.color = {base->at(0).get<float>(), base->at(1).get<float>(), base->at(2).get<float>(),
                              base->at(3).get<float>()};
        geometry.metallic = pbr->value("metallicFactor", 1.0f);
        geometry.roughness = pbr->value("roughnessFactor", 1.0f);
        if (const auto texture = pbr->find("baseColorTexture"); texture != pbr->end())
            geometry.baseColorTexture = Texture(texture->at("index").get<size_t>());
    }

    // The table index of texture `index`, adding its image once per load.
    int32_t Texture(size_t index) {
        const size_t image = _root.at("textures").at(index).at("source").get<size_t>();
        if (_imageTextures.size() <= image)
            _imageTextures.resize(image + 1, -1);
        if (_imageTextures[image] < 0) {
            const std::string file = _folder + "/" + _root.at("images").at(image).at("uri").get<std::string>();
            _imageTextures[image] = static_cast<int32_t>(Game::renderer->AddTexture(file));
        }
        return _imageTextures[image];
    }

    const json& _root;
    const std::string& _folder;
    const std::vector<std::shared_ptr<vesmo::vk::Buffer>>& _buffers;

    // The buffer the file names. An index past the file's "buffers" meets nlohmann json's out_of_range, as
    // every other index of the file does, not std::vector's.
    const std::shared_ptr<vesmo::vk::Buffer>& Buffer(size_t index) const {
        (void)_root.at("buffers").at(index);
        return _buffers[index];
    }
    std::vector<int32_t> _imageTextures;
};

} // namespace

Mesh::Mesh(std::string file) : path(std::move(file)) {}

Mesh::~Mesh() {
    for (auto& geometry : geometries)
        TrashGpuObject(std::move(geometry));
    for (auto& buffer : buffers)
        TrashGpuObject(std::move(buffer));
}

void Mesh::Load() {
    GAME_ASSERT(Game::renderer);
    std::ifstream in(path);
    const json root = json::parse(in);
    const std::string folder = Folder(path);

    std::vector<std::shared_ptr<vesmo::vk::Buffer>> newBuffers;
    vesmo::vk::Device* device = Game::renderer->GetDevice();
    for (const json& entry : root.at("buffers")) {
        const size_t size = entry.at("byteLength").get<size_t>();
        const std::string uri = entry.at("uri").get<std::string>();
        // The file fills the buffer whole (or the load fails and drops it), so nothing needs clearing.
        auto buffer =
            std::make_shared<vesmo::vk::Buffer>(device, size, kMeshBufferUsage, VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 16,
                                                "Mesh " + uri, true, vesmo::vk::Buffer::Contents::UNDEFINED);
        ReadBufferFile(folder + "/" + uri, *buffer, size);
        newBuffers.push_back(std::move(buffer));
    }

    std::vector<std::shared_ptr<Geometry>> newGeometries;
    std::vector<Part> newParts;
    Reader reader(root, folder, newBuffers);
    if (const auto nodes = root.find("nodes"); nodes != root.end()) {
        for (const json& node : *nodes) {
            const auto meshIndex = node.find("mesh");
            if (meshIndex == node.end())
                continue;
            Part part{node.value("name", std::string()), {}};
            for (const json& primitive : root.at("meshes").at(meshIndex->get<size_t>()).at("primitives"))
                part.geometries.push_back(reader.Primitive(primitive, part.name));
            newGeometries.insert(newGeometries.end(), part.geometries.begin(), part.geometries.end());
            newParts.push_back(std::move(part));
        }
    }

    // The old arrays may still be read by frames in flight.
    for (auto& geometry : geometries)
        TrashGpuObject(std::move(geometry));
    for (auto& buffer : buffers)
        TrashGpuObject(std::move(buffer));
    buffers = std::move(newBuffers);
    geometries = std::move(newGeometries);
    parts = std::move(newParts);
}

} // namespace game::graphics
