#include "game/graphics/ui/GraphicsPipelineWrapper.hpp"

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"

#include "vesmo/vk/GraphicsPipeline.hpp"

namespace game::graphics::ui {

std::array<GraphicsPipelineWrapper*, GraphicsPipelineWrapper::Capacity> GraphicsPipelineWrapper::_instances{};
std::atomic<int> GraphicsPipelineWrapper::_nbInstance{0};

GraphicsPipelineWrapper::GraphicsPipelineWrapper(const char* shader, VkPrimitiveTopology topology)
    : name(shader), topology(topology), index(_nbInstance++) {
    _instances.at(static_cast<size_t>(index)) = this;
    if (Game::renderer)
        LoadPipeline(Game::renderer);
}

GraphicsPipelineWrapper::~GraphicsPipelineWrapper() {
    if (index >= 0 && index < Capacity && _instances[static_cast<size_t>(index)] == this)
        _instances[static_cast<size_t>(index)] = nullptr;
}

void GraphicsPipelineWrapper::LoadPipelines(GameRenderer* renderer) {
    const int count = std::min(_nbInstance.load(), Capacity);
    for (int i = 0; i < count; ++i)
        if (GraphicsPipelineWrapper* wrapper = _instances[static_cast<size_t>(i)])
            wrapper->LoadPipeline(renderer);
}

void GraphicsPipelineWrapper::UnloadPipelines() {
    const int count = std::min(_nbInstance.load(), Capacity);
    for (int i = 0; i < count; ++i)
        if (GraphicsPipelineWrapper* wrapper = _instances[static_cast<size_t>(i)])
            wrapper->UnloadPipeline();
}

void GraphicsPipelineWrapper::LoadPipeline(GameRenderer* renderer) {
    if (pipeline || renderer == nullptr || renderer->GetDevice() == nullptr)
        return;
    vesmo::vk::GraphicsPipeline::Description description;
    description.topology = topology;
    description.blend = true;
    pipeline = std::make_shared<vesmo::vk::GraphicsPipeline>(renderer->GetDevice(), renderer->overlayPipelineLayout,
                                                             name, renderer->overlayRenderpass, description);
}

void GraphicsPipelineWrapper::UnloadPipeline() {
    if (!pipeline)
        return;
    if (Game::renderer)
        Game::renderer->Trash(std::move(pipeline));
    pipeline.reset();
}

} // namespace game::graphics::ui
