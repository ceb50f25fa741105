#pragma once
// The client's raster pass of the demo world: sky, ground, every entity's mesh parts and the sea, drawn
// into the renderer's output image with a depth buffer; the entities' collider shapes on top of them when
// the debug window asks for client-side physics. Plain vertex and fragment shaders, no ray tracing, so it
// runs on any Vulkan 1.3 device (lavapipe included).
//
// Everything is drawn relative to the camera: positions are differences taken in double precision and
// only then narrowed, so the picture doesn't shake far from the origin.
//
// Lifetime. Made at Renderer_StartRendering, made again at Renderer_RefreshViewport (its pass follows the
// output's size), released at Renderer_StopRendering after the device is idle. The ground and sea meshes
// are handed over from the main loop (SetWorld) and uploaded on the render thread before the next frame
// records. All of it runs on the render thread except SetWorld.

#include "PlanetMeshes.hpp"

#include "game/graphics/Mesh.hpp"
#include "vesmo/vk/Buffer.hpp"
#include "vesmo/vk/GraphicsPipeline.hpp"
#include "vesmo/vk/PipelineLayout.hpp"
#include "vesmo/vk/Renderpass.hpp"

#include <glm/glm.hpp>

#include <memory>
#include <mutex>
#include <vector>

namespace game::graphics {
class GameRenderer;
}

namespace planet {

// One entity shape to draw: its transform in the planet's frame, and how it looks.
struct DrawItem {
    glm::dmat4 transform{1.0}; // unit shape (box or sphere) to the planet's frame
    glm::vec4 color{1.0f};
    bool sphere = false;
};

// One geometry of a render instance: the glTF arrays straight from the mesh's buffer. The pointer keeps
// the arrays alive while the item may still be recorded (a mesh reload trashes the old ones).
struct MeshItem {
    glm::dmat4 transform{1.0}; // the instance's transform: the part to the planet's frame
    glm::vec4 color{1.0f};
    std::shared_ptr<const game::graphics::Mesh::Geometry> geometry;
};

// What one frame draws of the entities.
struct DrawList {
    std::vector<MeshItem> meshes;
    std::vector<DrawItem> colliders; // the debug view; empty unless asked for
    void Clear() {
        meshes.clear();
        colliders.clear();
    }
    void Swap(DrawList& other) {
        meshes.swap(other.meshes);
        colliders.swap(other.colliders);
    }
};

struct CameraMatrices {
    glm::dvec3 position{0.0};
    glm::dmat4 view{1.0}; // rotation only: camera-relative positions to view space
    glm::mat4 projection{1.0f};
};

class PlanetPass {
public:
    void Create(game::graphics::GameRenderer* renderer);
    void RefreshViewport(game::graphics::GameRenderer* renderer);
    void Destroy();

    // Main loop: the world's meshes, uploaded before the next frame.
    void SetWorld(MeshData ground, MeshData sea);
    // Render thread.
    void Record(VkCommandBuffer commandBuffer, game::graphics::GameRenderer* renderer, const CameraMatrices& camera,
                const DrawList& items);

private:
    struct GpuMesh {
        vesmo::vk::Buffer vertices;
        vesmo::vk::Buffer indices;
        uint32_t indexCount = 0;
    };
    GpuMesh Upload(const MeshData& mesh, const char* name);
    void Draw(VkCommandBuffer commandBuffer, const vesmo::vk::GraphicsPipeline& pipeline, const GpuMesh& mesh,
              const glm::mat4& viewProjection, const glm::dmat4& relative, const glm::vec4& tint);
    void DrawMesh(VkCommandBuffer commandBuffer, const MeshItem& item, const glm::mat4& viewProjection,
                  const glm::dmat4& world);

    vesmo::vk::Device* _device = nullptr;
    std::unique_ptr<vesmo::vk::Renderpass> _pass;
    vesmo::vk::PipelineLayout _layout;
    vesmo::vk::GraphicsPipeline _sky, _solid, _sea, _mesh;
    GpuMesh _box, _sphere, _ground, _seaMesh;

    std::mutex _pendingMutex; // guards the two below
    std::unique_ptr<MeshData> _pendingGround, _pendingSea;
};

} // namespace planet
