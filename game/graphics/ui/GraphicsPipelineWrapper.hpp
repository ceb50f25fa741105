#pragma once
// A UI pipeline by shader name, made for the renderer's overlay pass whenever that pass exists.
//
// Wrappers are statics of the element classes (Box::_shader, Text::_shader), constructed at program start
// before any renderer. Each one lists itself in `_instances`; the renderer's swapchain-dependent objects
// call LoadPipelines when they are made and UnloadPipelines before they go, so the pipelines follow the
// overlay pass through resizes and restarts. A wrapper made while Game::renderer exists loads at once.
//
// The pipelines draw with the renderer's overlay pipeline layout (the engine's descriptor set, 128 bytes
// of push constants for all stages), blend by source alpha, and test no depth: elements are ordered by
// drawing order alone. Without a device there is nothing to load and `pipeline` stays empty.

#include <vulkan/vulkan.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>

namespace vesmo::vk {
class GraphicsPipeline;
}
namespace game::graphics {
class GameRenderer;
}

namespace game::graphics::ui {

class GraphicsPipelineWrapper {
public:
    static constexpr int Capacity = 1024;

    // Takes the next index; the 1025th wrapper throws std::out_of_range.
    GraphicsPipelineWrapper(const char* shader, VkPrimitiveTopology topology);
    ~GraphicsPipelineWrapper();
    GraphicsPipelineWrapper(const GraphicsPipelineWrapper&) = delete;
    GraphicsPipelineWrapper& operator=(const GraphicsPipelineWrapper&) = delete;

    static void LoadPipelines(GameRenderer* renderer);
    static void UnloadPipelines();
    // Nothing when the pipeline exists or the renderer has no device.
    void LoadPipeline(GameRenderer* renderer);
    // The pipeline goes to the renderer's trash (or at once without a renderer).
    void UnloadPipeline();

    std::string name;
    VkPrimitiveTopology topology;
    int index;
    std::shared_ptr<vesmo::vk::GraphicsPipeline> pipeline;

    static std::array<GraphicsPipelineWrapper*, Capacity> _instances;
    static std::atomic<int> _nbInstance;
};

} // namespace game::graphics::ui
