#include "game/graphics/GameRenderer.hpp"

#include "game/Game.hpp"
#include "game/graphics/ui/Element.hpp"
#include "game/graphics/ui/GraphicsPipelineWrapper.hpp"
#include "game/modular/Families.hpp"

#include <imgui.h>

namespace game::graphics {

using game::modular::GAME_Mod;
using game::modular::GameModTable;

namespace {

// The functions built here capture one member pointer (and a command buffer): they fit std::function's
// inline storage, so a walk allocates nothing.
void WalkAll(game::modular::Hook GameModTable::*hook) {
    GAME_Mod::ForEachModule([hook](GAME_Mod::Ptr& module) {
        if (auto call = (*module).*hook)
            call();
    });
}

void WalkSorted(const char* list, game::modular::Hook GameModTable::*hook) {
    GAME_Mod::ForEachSortedModule(list, [hook](GAME_Mod::Ptr& module) {
        if (auto call = (*module).*hook)
            call();
    });
}

void WalkAll(game::modular::CommandHook GameModTable::*hook, VkCommandBuffer commandBuffer) {
    GAME_Mod::ForEachModule([hook, commandBuffer](GAME_Mod::Ptr& module) {
        if (auto call = (*module).*hook)
            call(commandBuffer);
    });
}

void WalkSorted(const char* list, game::modular::CommandHook GameModTable::*hook, VkCommandBuffer commandBuffer) {
    GAME_Mod::ForEachSortedModule(list, [hook, commandBuffer](GAME_Mod::Ptr& module) {
        if (auto call = (*module).*hook)
            call(commandBuffer);
    });
}

} // namespace

GameRenderer::GameRenderer(vesmo::graphics::Window* window, const char* name, uint32_t flags)
    : VesmoRenderer(window, name, flags) {
    overlayPipelineLayout =
        vesmo::vk::PipelineLayout(GetDevice(), {GetDescriptorSetLayout()},
                                  {{VK_SHADER_STAGE_ALL, 0, ui::Element::DataSize}}, "overlay pipeline layout");
}

GameRenderer::~GameRenderer() = default;

void GameRenderer::RefreshViewport() {
    VesmoRenderer::RefreshViewport();
    WalkAll(&GameModTable::Renderer_RefreshViewport);
}

void GameRenderer::CreateSwapchainDependantObjects() {
    VesmoRenderer::CreateSwapchainDependantObjects();
    const VkExtent2D extent = GetOutputImageExtent();
    overlayRenderpass = vesmo::vk::Renderpass(GetDevice(), GetOutputImageFormat(), extent.width, extent.height,
                                              GetOutputImageUsage(), true, "overlay pass");
    ui::GraphicsPipelineWrapper::LoadPipelines(this);
}

void GameRenderer::DestroySwapchainDependantObjects() {
    ui::GraphicsPipelineWrapper::UnloadPipelines();
    overlayRenderpass.Destroy();
    VesmoRenderer::DestroySwapchainDependantObjects();
}

void GameRenderer::StartRendering() {
    VesmoRenderer::StartRendering();
    WalkAll(&GameModTable::Renderer_StartRendering);
}

void GameRenderer::StopRendering() {
    // With a device, the device goes idle first; without one there is nothing in flight.
    WalkAll(&GameModTable::Renderer_StopRendering);
    VesmoRenderer::StopRendering();
}

void GameRenderer::FrameCollectGarbage() {
    WalkAll(&GameModTable::Renderer_FrameCollectGarbage);
    CollectTrash();
}

void GameRenderer::FrameUpdateDescriptorSets() { WalkAll(&GameModTable::Renderer_FrameUpdateDescriptorSets); }
void GameRenderer::FrameBeforePost() { WalkAll(&GameModTable::Renderer_FrameBeforePost); }
// The settings, the render flags and the world origin join this step with the rendering work.
void GameRenderer::FrameInit() { WalkAll(&GameModTable::Renderer_FrameInit); }
void GameRenderer::FrameUpdateUi() { WalkSorted("ui", &GameModTable::Renderer_FrameUpdateUi); }
void GameRenderer::FrameBeforeUpdate() { WalkSorted("update", &GameModTable::Renderer_FrameBeforeUpdate); }
void GameRenderer::FrameUpdate() { WalkSorted("update", &GameModTable::Renderer_FrameUpdate); }
void GameRenderer::FrameAfterUpdate() { WalkSorted("update", &GameModTable::Renderer_FrameAfterUpdate); }
void GameRenderer::FrameBeforeRender() { WalkSorted("render", &GameModTable::Renderer_FrameBeforeRender); }
void GameRenderer::FrameAfterRender() {
    ui::Element::SortByOrder();
    WalkSorted("render", &GameModTable::Renderer_FrameAfterRender);
}

// The per-frame texture pushes follow this hook once textures exist.
void GameRenderer::FramePushCommands(VkCommandBuffer commandBuffer) {
    WalkAll(&GameModTable::Renderer_FramePushCommands, commandBuffer);
}
void GameRenderer::FrameBuildCommands(VkCommandBuffer commandBuffer) {
    WalkAll(&GameModTable::Renderer_FrameBuildCommands, commandBuffer);
}
void GameRenderer::FrameRenderCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("render", &GameModTable::Renderer_FrameRenderCommands, commandBuffer);
}
void GameRenderer::FrameResolveCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("post", &GameModTable::Renderer_FrameResolveCommands, commandBuffer);
}
void GameRenderer::FrameBlitCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("post", &GameModTable::Renderer_FrameBlitCommands, commandBuffer);
}
void GameRenderer::FramePostCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("post", &GameModTable::Renderer_FramePostCommands, commandBuffer);
}
// The crosshair and the physics debug overlay are drawn before this hook once the overlay pass exists.
void GameRenderer::FrameOverlayCommands(VkCommandBuffer commandBuffer) {
    WalkSorted("overlay", &GameModTable::Renderer_FrameOverlayCommands, commandBuffer);
    if (!commandBuffer)
        return;
    overlayRenderpass.Begin(commandBuffer, GetOutputVkImageView());
    ui::Element::DrawAll(commandBuffer);
    overlayRenderpass.End(commandBuffer);
}

void GameRenderer::Frame() {
    if (resetUiStyle) {
        resetUiStyle = false;
        if (ImGui::GetCurrentContext()) {
            ImGui::GetStyle() = ImGuiStyle();
            Game::SetupUiStyle();
        }
    }
    VesmoRenderer::Frame();
}

void GameRenderer::Cleanup() {
    // Render instances, light sources, textures and the aim join this with the rendering work.
    CollectAllTrash();
}

void GameRenderer::Trash(std::shared_ptr<void> object) {
    std::lock_guard guard(trashMutex);
    trashNew.push_back(std::move(object));
}

void GameRenderer::CollectTrash() {
    // trashOld takes the newer generation; the older one leaves both lists and is released here, outside
    // the lists, so that a destructor that trashes something else finds them in order.
    std::vector<std::shared_ptr<void>> released;
    released.swap(trashOld);
    trashOld.swap(trashNew);
    released.clear();
}

void GameRenderer::CollectAllTrash() {
    while (!trashNew.empty() || !trashOld.empty())
        CollectTrash();
}

} // namespace game::graphics
