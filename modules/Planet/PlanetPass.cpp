#include "PlanetPass.hpp"

#include "game/graphics/GameRenderer.hpp"

#include <glm/gtc/matrix_transform.hpp>

#include <cstring>

namespace planet {

namespace {

// The push constants of both shaders: 128 bytes, what every device offers.
struct SolidPush {
    glm::mat4 modelViewProjection;
    glm::vec4 rotation[3]; // the model's rotation, for the normals
    glm::vec4 tint;
};
static_assert(sizeof(SolidPush) == 128);

struct SkyPush {
    glm::mat4 inverseViewProjection; // clip to camera-relative world directions
    glm::vec4 sun;
    glm::vec4 pad[3];
};
static_assert(sizeof(SkyPush) == 128);

const glm::vec3 kSun = glm::normalize(glm::vec3(0.35f, -0.45f, 0.82f));

vesmo::vk::GraphicsPipeline::Description SolidDescription() {
    vesmo::vk::GraphicsPipeline::Description d;
    d.depthTest = true;
    d.depthWrite = true;
    d.vertexBindings = {{0, sizeof(Vertex), VK_VERTEX_INPUT_RATE_VERTEX}};
    d.vertexAttributes = {{0, 0, VK_FORMAT_R32G32B32_SFLOAT, offsetof(Vertex, position)},
                          {1, 0, VK_FORMAT_R32G32B32_SFLOAT, offsetof(Vertex, normal)},
                          {2, 0, VK_FORMAT_R8G8B8A8_UNORM, offsetof(Vertex, color)}};
    return d;
}

// A mesh part as the glTF file lays it out: positions and normals in two tightly packed arrays.
vesmo::vk::GraphicsPipeline::Description MeshDescription() {
    vesmo::vk::GraphicsPipeline::Description d;
    d.depthTest = true;
    d.depthWrite = true;
    d.vertexBindings = {{0, sizeof(glm::vec3), VK_VERTEX_INPUT_RATE_VERTEX},
                        {1, sizeof(glm::vec3), VK_VERTEX_INPUT_RATE_VERTEX}};
    d.vertexAttributes = {{0, 0, VK_FORMAT_R32G32B32_SFLOAT, 0}, {1, 1, VK_FORMAT_R32G32B32_SFLOAT, 0}};
    return d;
}

// The rotation without the scale, for the normals: each column scaled back to unit length.
void NormalBasis(const glm::dmat4& relative, glm::vec4 (&rotation)[3]) {
    const glm::dmat3 basis(relative);
    for (int i = 0; i < 3; ++i) {
        const double length = glm::length(basis[i]);
        rotation[i] = glm::vec4(glm::vec3(length > 0 ? basis[i] / length : basis[i]), 0.0f);
    }
}

} // namespace

void PlanetPass::Create(game::graphics::GameRenderer* renderer) {
    _device = renderer->GetDevice();
    if (!_device)
        return;
    const VkExtent2D extent = renderer->GetOutputImageExtent();
    _pass =
        std::make_unique<vesmo::vk::Renderpass>(_device, renderer->GetOutputImageFormat(), extent.width, extent.height,
                                                renderer->GetOutputImageUsage(), true, "Planet pass");
    const VkPushConstantRange push{VK_SHADER_STAGE_VERTEX_BIT | VK_SHADER_STAGE_FRAGMENT_BIT, 0, 128};
    _layout = vesmo::vk::PipelineLayout(_device, {}, {push}, "Planet layout");
    _sky = vesmo::vk::GraphicsPipeline(_device, _layout, "modules/Planet/shaders/sky", *_pass);
    _solid = vesmo::vk::GraphicsPipeline(_device, _layout, "modules/Planet/shaders/planet", *_pass, SolidDescription());
    vesmo::vk::GraphicsPipeline::Description sea = SolidDescription();
    sea.depthWrite = false;
    sea.blend = true;
    _sea = vesmo::vk::GraphicsPipeline(_device, _layout, "modules/Planet/shaders/planet", *_pass, sea);
    _mesh = vesmo::vk::GraphicsPipeline(
        _device, _layout, vesmo::vk::Shader(_device, "modules/Planet/shaders/mesh", VK_SHADER_STAGE_VERTEX_BIT),
        vesmo::vk::Shader(_device, "modules/Planet/shaders/planet", VK_SHADER_STAGE_FRAGMENT_BIT), *_pass,
        MeshDescription(), "Planet mesh");
    _box = Upload(BuildUnitBox(), "Planet box");
    _sphere = Upload(BuildUnitSphere(), "Planet sphere");
}

void PlanetPass::RefreshViewport(game::graphics::GameRenderer* renderer) {
    if (!_device)
        return;
    const VkExtent2D extent = renderer->GetOutputImageExtent();
    if (_pass && _pass->Width() == extent.width && _pass->Height() == extent.height &&
        _pass->Format() == renderer->GetOutputImageFormat())
        return;
    _pass =
        std::make_unique<vesmo::vk::Renderpass>(_device, renderer->GetOutputImageFormat(), extent.width, extent.height,
                                                renderer->GetOutputImageUsage(), true, "Planet pass");
    _sky.RefreshViewport(*_pass);
    _solid.RefreshViewport(*_pass);
    _sea.RefreshViewport(*_pass);
    _mesh.RefreshViewport(*_pass);
}

void PlanetPass::Destroy() {
    _ground = {};
    _seaMesh = {};
    _box = {};
    _sphere = {};
    _sky = {};
    _solid = {};
    _sea = {};
    _mesh = {};
    _layout = {};
    _pass.reset();
    _device = nullptr;
}

void PlanetPass::SetWorld(MeshData ground, MeshData sea) {
    std::lock_guard lock(_pendingMutex);
    _pendingGround = std::make_unique<MeshData>(std::move(ground));
    _pendingSea = std::make_unique<MeshData>(std::move(sea));
}

PlanetPass::GpuMesh PlanetPass::Upload(const MeshData& mesh, const char* name) {
    GpuMesh gpu;
    const VkDeviceSize vertexBytes = mesh.vertices.size() * sizeof(Vertex);
    const VkDeviceSize indexBytes = mesh.indices.size() * sizeof(uint32_t);
    gpu.vertices = vesmo::vk::Buffer(_device, vertexBytes, VK_BUFFER_USAGE_VERTEX_BUFFER_BIT,
                                     VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 0, std::string(name) + " vertices");
    gpu.vertices.Upload(mesh.vertices.data(), vertexBytes);
    gpu.indices = vesmo::vk::Buffer(_device, indexBytes, VK_BUFFER_USAGE_INDEX_BUFFER_BIT,
                                    VMA_MEMORY_USAGE_AUTO_PREFER_DEVICE, 0, std::string(name) + " indices");
    gpu.indices.Upload(mesh.indices.data(), indexBytes);
    gpu.indexCount = static_cast<uint32_t>(mesh.indices.size());
    return gpu;
}

void PlanetPass::Draw(VkCommandBuffer commandBuffer, const vesmo::vk::GraphicsPipeline& pipeline, const GpuMesh& mesh,
                      const glm::mat4& viewProjection, const glm::dmat4& relative, const glm::vec4& tint) {
    if (mesh.indexCount == 0)
        return;
    SolidPush push;
    push.modelViewProjection = viewProjection * glm::mat4(relative);
    NormalBasis(relative, push.rotation);
    push.tint = tint;
    pipeline.Push(commandBuffer, &push, sizeof push);
    const VkBuffer vertexBuffer = mesh.vertices.Handle();
    const VkDeviceSize offset = 0;
    vkCmdBindVertexBuffers(commandBuffer, 0, 1, &vertexBuffer, &offset);
    vkCmdBindIndexBuffer(commandBuffer, mesh.indices.Handle(), 0, VK_INDEX_TYPE_UINT32);
    vkCmdDrawIndexed(commandBuffer, mesh.indexCount, 1, 0, 0, 0);
}

void PlanetPass::DrawMesh(VkCommandBuffer commandBuffer, const MeshItem& item, const glm::mat4& viewProjection,
                          const glm::dmat4& world) {
    const game::graphics::Mesh::Geometry& geometry = *item.geometry;
    if (!geometry.buffer || geometry.indexCount == 0 || geometry.vertexCount == 0)
        return;
    const glm::dmat4 relative = world * item.transform;
    SolidPush push;
    push.modelViewProjection = viewProjection * glm::mat4(relative);
    NormalBasis(relative, push.rotation);
    push.tint = item.color;
    _mesh.Push(commandBuffer, &push, sizeof push);
    // The arrays' device addresses are offsets into the one buffer of the part.
    const VkDeviceAddress base = geometry.buffer->DeviceAddress();
    const VkBuffer buffers[2] = {geometry.buffer->Handle(), geometry.buffer->Handle()};
    const VkDeviceAddress normals = geometry.normalsAddr ? geometry.normalsAddr : geometry.positionsAddr;
    const VkDeviceSize offsets[2] = {geometry.positionsAddr - base, normals - base};
    vkCmdBindVertexBuffers(commandBuffer, 0, 2, buffers, offsets);
    vkCmdBindIndexBuffer(commandBuffer, geometry.buffer->Handle(), geometry.indicesAddr - base,
                         geometry.indexStride == 2 ? VK_INDEX_TYPE_UINT16 : VK_INDEX_TYPE_UINT32);
    vkCmdDrawIndexed(commandBuffer, geometry.indexCount, 1, 0, 0, 0);
}

void PlanetPass::Record(VkCommandBuffer commandBuffer, game::graphics::GameRenderer* renderer,
                        const CameraMatrices& camera, const DrawList& items) {
    if (!commandBuffer || !_pass)
        return;
    {
        std::unique_lock lock(_pendingMutex);
        if (_pendingGround) {
            std::unique_ptr<MeshData> ground = std::move(_pendingGround), sea = std::move(_pendingSea);
            lock.unlock();
            // The old meshes may still be read by a frame in flight.
            renderer->Trash(std::make_shared<GpuMesh>(std::move(_ground)));
            renderer->Trash(std::make_shared<GpuMesh>(std::move(_seaMesh)));
            _ground = Upload(*ground, "Planet ground");
            _seaMesh = Upload(*sea, "Planet sea");
        }
    }
    const glm::mat4 view(camera.view);
    const glm::mat4 viewProjection = camera.projection * view;
    _pass->Begin(commandBuffer, renderer->GetOutputVkImageView());

    SkyPush sky{};
    sky.inverseViewProjection = glm::inverse(viewProjection);
    sky.sun = glm::vec4(kSun, 0.0f);
    _sky.Bind(commandBuffer);
    _sky.Push(commandBuffer, &sky, sizeof sky);
    _sky.Draw(commandBuffer, 3, 1);

    // The world's origin seen from the camera.
    const glm::dmat4 world = glm::translate(glm::dmat4(1.0), -camera.position);
    _solid.Bind(commandBuffer);
    Draw(commandBuffer, _solid, _ground, viewProjection, world, glm::vec4(1.0f));
    if (!items.meshes.empty()) {
        _mesh.Bind(commandBuffer);
        for (const MeshItem& item : items.meshes)
            DrawMesh(commandBuffer, item, viewProjection, world);
        _solid.Bind(commandBuffer);
    }
    _sea.Bind(commandBuffer);
    Draw(commandBuffer, _sea, _seaMesh, viewProjection, world, glm::vec4(1.0f));
    // The debug view: the colliders as see-through shapes over the meshes (the sea's blending, no depth
    // write), so both stay visible.
    for (const DrawItem& item : items.colliders)
        Draw(commandBuffer, _sea, item.sphere ? _sphere : _box, viewProjection, world * item.transform, item.color);
    _pass->End(commandBuffer);
}

} // namespace planet
