// Dear ImGui on the engine's frame: Debian's own imgui_impl_vulkan draws the draw data onto the output
// image, and imgui_impl_glfw feeds a desktop window's input. Without a device the ImGui frame still runs
// (the panels' code and their input work in tests and on servers), and nothing is drawn.

#include "vesmo/graphics/GlfwWindow.hpp"
#include "vesmo/graphics/Window.hpp"
#include "vesmo/renderer/VesmoRenderer.hpp"
#include "vesmo/vk/Vk.hpp"

#include <imgui.h>
#include <imgui_impl_glfw.h>
#include <imgui_impl_vulkan.h>

#include <chrono>

namespace vesmo::renderer {

namespace {

void CheckResult(VkResult result) { vesmo::vk::Check(result, "Dear ImGui's Vulkan backend"); }

double Now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

double lastImGuiTime = 0.0;

} // namespace

void VesmoRenderer::EnableImGui() { _imgui = true; }

void VesmoRenderer::StartImGui() {
    if (_imguiStarted || !ImGui::GetCurrentContext())
        return;
    _imguiStarted = true;
    auto* glfwWindow = dynamic_cast<vesmo::graphics::GlfwWindow*>(GetWindow());
    // The backend chains to the callbacks GlfwWindow installed, so both see every event.
    if (glfwWindow && GetSwapchain())
        ImGui_ImplGlfw_InitForVulkan(glfwWindow->Handle(), true);
    vesmo::vk::Device* device = GetDevice();
    if (!device) {
        // Nothing draws the atlas, but ImGui's frame wants it built.
        unsigned char* pixels = nullptr;
        int width = 0, height = 0;
        ImGui::GetIO().Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);
        return;
    }
    const VkDescriptorPoolSize sizes[] = {{VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 16}};
    VkDescriptorPoolCreateInfo pool{VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO};
    pool.flags = VK_DESCRIPTOR_POOL_CREATE_FREE_DESCRIPTOR_SET_BIT;
    pool.maxSets = 16;
    pool.poolSizeCount = 1;
    pool.pPoolSizes = sizes;
    vesmo::vk::Check(vkCreateDescriptorPool(device->Handle(), &pool, nullptr, &_imguiPool), "vkCreateDescriptorPool");
    const VkExtent2D extent = GetOutputImageExtent();
    _imguiPass = std::make_unique<vesmo::vk::Renderpass>(device, GetOutputImageFormat(), extent.width, extent.height,
                                                         GetOutputImageUsage(), false, "ImGui pass");
    ImGui_ImplVulkan_InitInfo info{};
    info.Instance = device->InstanceHandle();
    info.PhysicalDevice = device->PhysicalHandle();
    info.Device = device->Handle();
    info.QueueFamily = device->QueueFamily();
    info.Queue = device->Queue();
    info.DescriptorPool = _imguiPool;
    // The backend keeps vertex buffers per image it is told of: one more than the frames in flight.
    info.MinImageCount = FRAMES_IN_FLIGHT;
    info.ImageCount = FRAMES_IN_FLIGHT + 1;
    info.MSAASamples = VK_SAMPLE_COUNT_1_BIT;
    info.CheckVkResultFn = &CheckResult;
    ImGui_ImplVulkan_Init(&info, _imguiPass->Handle());
    vesmo::vk::CommandBuffer::Run(device, "ImGui fonts", [](VkCommandBuffer commandBuffer) {
        ImGui_ImplVulkan_CreateFontsTexture(commandBuffer);
    });
    ImGui_ImplVulkan_DestroyFontUploadObjects();
}

void VesmoRenderer::StopImGui() {
    if (!_imguiStarted)
        return;
    _imguiStarted = false;
    vesmo::vk::Device* device = GetDevice();
    if (device) {
        device->WaitIdle();
        ImGui_ImplVulkan_Shutdown();
        _imguiPass.reset();
        vkDestroyDescriptorPool(device->Handle(), _imguiPool, nullptr);
        _imguiPool = VK_NULL_HANDLE;
    }
    if (dynamic_cast<vesmo::graphics::GlfwWindow*>(GetWindow()) && GetSwapchain())
        ImGui_ImplGlfw_Shutdown();
}

void VesmoRenderer::CreateSwapchainDependantObjects() {
    VulkanRenderer::CreateSwapchainDependantObjects();
    if (_imgui && !_imguiStarted)
        StartImGui();
    if (_imguiPass) {
        const VkExtent2D extent = GetOutputImageExtent();
        *_imguiPass = vesmo::vk::Renderpass(GetDevice(), GetOutputImageFormat(), extent.width, extent.height,
                                            GetOutputImageUsage(), false, "ImGui pass");
    }
}

void VesmoRenderer::DestroySwapchainDependantObjects() {
    // The pass keeps framebuffers of the old output image's view: it is made again with the new one.
    if (_imguiPass)
        *_imguiPass = vesmo::vk::Renderpass();
    VulkanRenderer::DestroySwapchainDependantObjects();
}

void VesmoRenderer::BeginImGuiFrame() {
    if (!ImGui::GetCurrentContext())
        return;
    if (!_imguiStarted)
        StartImGui();
    if (GetDevice())
        ImGui_ImplVulkan_NewFrame();
    if (dynamic_cast<vesmo::graphics::GlfwWindow*>(GetWindow()) && GetSwapchain()) {
        ImGui_ImplGlfw_NewFrame();
    } else {
        ImGuiIO& io = ImGui::GetIO();
        const VkExtent2D extent = GetOutputImageExtent();
        io.DisplaySize = ImVec2(static_cast<float>(extent.width), static_cast<float>(extent.height));
        const double now = Now();
        io.DeltaTime = lastImGuiTime > 0.0 && now > lastImGuiTime ? static_cast<float>(now - lastImGuiTime) : 1.0f / 60;
        lastImGuiTime = now;
    }
    ImGui::NewFrame();
}

void VesmoRenderer::EndImGuiFrame() {
    if (ImGui::GetCurrentContext())
        ImGui::Render();
}

void VesmoRenderer::DrawImGui(VkCommandBuffer commandBuffer) {
    if (!_imguiPass || !ImGui::GetCurrentContext())
        return;
    ImDrawData* data = ImGui::GetDrawData();
    if (!data || data->CmdListsCount == 0)
        return;
    _imguiPass->Begin(commandBuffer, GetOutputVkImageView());
    ImGui_ImplVulkan_RenderDrawData(data, commandBuffer);
    _imguiPass->End(commandBuffer);
}

} // namespace vesmo::renderer
