// The engine on a Vulkan device (lavapipe in CI), with the validation layer on: any message fails.

#include "DeviceTestSupport.hpp"

#include "vesmo/graphics/GlfwWindow.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>
#include <imgui.h>

#include <cstdio>
#include <sstream>

using devicetest::ExpectKnownPicture;
using devicetest::MakeRenderer;
using devicetest::PictureFolder;
using devicetest::ReadPng;
using vesmo::graphics::VulkanRenderer;

TEST(DeviceOffscreen, DrawsTheKnownPictureAndFollowsTheWindowSize) {
    vesmo::graphics::HeadlessWindow window(320, 240);
    std::string skip;
    auto renderer = MakeRenderer(&window, 0, skip);
    if (!renderer)
        GTEST_SKIP() << skip;
    EXPECT_TRUE(renderer->IsOffscreen());
    renderer->StartRendering();
    for (int i = 0; i < 3; ++i)
        renderer->Frame();
    EXPECT_EQ(renderer->FrameCount(), 3u);
    EXPECT_EQ(renderer->renderCalls, 3);
    const std::string path = PictureFolder() + "/offscreen-320x240.png";
    ASSERT_EQ(renderer->SaveOutputImage(path), 1);
    ExpectKnownPicture(ReadPng(path));

    // The output image is B8G8R8A8: saved as such, red and blue are where they belong; read as if it were
    // R8G8B8A8 they trade places.
    ASSERT_EQ(renderer->GetOutputImageFormat(), VK_FORMAT_B8G8R8A8_UNORM);
    const std::string swapped = PictureFolder() + "/offscreen-read-as-rgba.png";
    ASSERT_EQ(renderer->SaveImage(renderer->GetOutputVkImage(), {0, 0}, {320, 240}, VK_FORMAT_R8G8B8A8_UNORM,
                                  VK_IMAGE_LAYOUT_GENERAL, swapped, 0, true),
              1);
    const devicetest::Picture right = ReadPng(path), wrong = ReadPng(swapped);
    const uint32_t redCorner = right.Pixel(320 * 8 / 100, 240 * 86 / 100); // inside, near the red vertex
    EXPECT_GT(redCorner & 0xFF, 200u);
    EXPECT_LT((redCorner >> 16) & 0xFF, 40u);
    const uint32_t same = wrong.Pixel(320 * 8 / 100, 240 * 86 / 100);
    EXPECT_EQ(same & 0xFF, (redCorner >> 16) & 0xFF);
    EXPECT_EQ((same >> 16) & 0xFF, redCorner & 0xFF);
    // A format outside the table writes nothing.
    EXPECT_EQ(renderer->SaveImage(renderer->GetOutputVkImage(), {0, 0}, {320, 240}, VK_FORMAT_R16_UNORM,
                                  VK_IMAGE_LAYOUT_GENERAL, PictureFolder() + "/none.png"),
              0);

    // A new window size makes a new output image before the next frame.
    window.width = 200;
    window.height = 150;
    renderer->Frame();
    renderer->Frame();
    const VkExtent2D extent = renderer->GetOutputImageExtent();
    EXPECT_EQ(extent.width, 200u);
    EXPECT_EQ(extent.height, 150u);
    const std::string resized = PictureFolder() + "/offscreen-200x150.png";
    ASSERT_EQ(renderer->SaveOutputImage(resized), 1);
    ExpectKnownPicture(ReadPng(resized));
    renderer->StopRendering();
    EXPECT_EQ(renderer->ValidationMessageCount(), 0u);
}

TEST(DeviceFeatures, TheWholeRayTracingChainStartsAnywhereAndNamesWhatIsDropped) {
    using Features = vesmo::vk::PhysicalDevice::Features;
    Features wanted;
    wanted.features.vertexPipelineStoresAndAtomics = VK_TRUE;
    wanted.features.fragmentStoresAndAtomics = VK_TRUE;
    wanted.chain = Features::ALL_STRUCTURES;
    testing::internal::CaptureStdout();
    std::string skip;
    auto renderer = MakeRenderer(nullptr, 0, skip, wanted);
    const std::string out = testing::internal::GetCapturedStdout();
    if (!renderer)
        GTEST_SKIP() << skip;
    const vesmo::vk::Device& device = *renderer->GetDevice();
    for (const std::string& dropped : device.Dropped())
        EXPECT_NE(out.find("Vulkan: " + dropped + " is not on " + device.Physical().Name() + ", dropped\n"),
                  std::string::npos)
            << dropped << " in:\n"
            << out;
    if (!device.Physical().HasExtension(VK_KHR_RAY_TRACING_PIPELINE_EXTENSION_NAME)) {
        // lavapipe: ray tracing pipelines, acceleration structures and ray queries go, named whole.
        for (const char* name :
             {"VkPhysicalDeviceRayTracingPipelineFeaturesKHR", "VkPhysicalDeviceAccelerationStructureFeaturesKHR",
              "VkPhysicalDeviceRayQueryFeaturesKHR"})
            EXPECT_NE(std::find(device.Dropped().begin(), device.Dropped().end(), name), device.Dropped().end())
                << name;
        EXPECT_FALSE(device.HasRayTracing());
    }
    // What was granted is in the device; what stayed of the wish is granted.
    EXPECT_TRUE(device.Enabled().vulkan12.bufferDeviceAddress);
    EXPECT_EQ(device.Enabled().features.fragmentStoresAndAtomics,
              device.Physical().Supported().features.fragmentStoresAndAtomics);
    renderer->StartRendering();
    for (int i = 0; i < 5; ++i)
        renderer->Frame();
    EXPECT_EQ(renderer->FrameCount(), 5u);
    renderer->StopRendering();
    // Frames outside StartRendering and StopRendering do nothing.
    renderer->Frame();
    EXPECT_EQ(renderer->FrameCount(), 5u);
    EXPECT_EQ(renderer->ValidationMessageCount(), 0u);
}

// Needs a display: run under xvfb-run (CTest does), skipped otherwise.
TEST(DeviceSwapchain, PresentsTheKnownPictureAndSurvivesAResize) {
    std::unique_ptr<vesmo::graphics::GlfwWindow> window;
    try {
        window = std::make_unique<vesmo::graphics::GlfwWindow>(320, 240, "device test");
    } catch (const std::exception& error) {
        GTEST_SKIP() << error.what();
    }
    std::string skip;
    auto renderer = MakeRenderer(window.get(), 0, skip);
    if (!renderer)
        GTEST_SKIP() << skip;
    ASSERT_NE(renderer->GetSwapchain(), nullptr);
    EXPECT_EQ(renderer->GetSwapchain()->GetUsage(), vesmo::vk::Swapchain::DefaultUsage);
    EXPECT_EQ(renderer->GetSwapchain()->GetFormat(), VK_FORMAT_B8G8R8A8_UNORM);
    renderer->StartRendering();
    for (int i = 0; i < 3; ++i) {
        vesmo::graphics::GlfwWindow::PollEvents();
        renderer->Frame();
    }
    EXPECT_EQ(renderer->FrameCount(), 3u);
    const std::string path = PictureFolder() + "/swapchain-320x240.png";
    ASSERT_EQ(renderer->SaveOutputImage(path), 1);
    ExpectKnownPicture(ReadPng(path));

    glfwSetWindowSize(window->Handle(), 400, 300);
    for (int i = 0; i < 100 && renderer->GetOutputImageExtent().width != 400; ++i) {
        vesmo::graphics::GlfwWindow::PollEvents();
        renderer->Frame();
    }
    renderer->Frame();
    ASSERT_EQ(renderer->GetSwapchain()->Width(), 400u);
    ASSERT_EQ(renderer->GetSwapchain()->Height(), 300u);
    const std::string resized = PictureFolder() + "/swapchain-400x300.png";
    ASSERT_EQ(renderer->SaveOutputImage(resized), 1);
    ExpectKnownPicture(ReadPng(resized));
    renderer->StopRendering();
    EXPECT_EQ(renderer->ValidationMessageCount(), 0u);
}

// A machine whose Vulkan has no usable device: the program says so in one sentence and exits non-zero.
TEST(DeviceMissing, AProgramSaysSoInOneSentenceAndFails) {
    const std::string command = std::string("VK_ICD_FILENAMES=/nonexistent.json VK_DRIVER_FILES=/nonexistent.json ") +
                                ORKALIN_VKCHECK_BIN + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string out;
    char buffer[512];
    while (fgets(buffer, sizeof buffer, pipe))
        out += buffer;
    const int status = pclose(pipe);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_NE(WEXITSTATUS(status), 0);
    EXPECT_EQ(out.rfind("No usable Vulkan device: ", 0), 0u) << out;
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1) << out;
}

// Dear ImGui drawn by Debian's imgui_impl_vulkan onto the output image, last in the frame.
class ImGuiRenderer : public devicetest::PictureRenderer {
public:
    using PictureRenderer::PictureRenderer;
    void FrameUpdateUi() override {
        ImGui::GetForegroundDrawList()->AddRectFilled(ImVec2(10, 10), ImVec2(50, 40), IM_COL32(255, 128, 0, 255));
        ImGui::SetNextWindowPos(ImVec2(60, 150));
        ImGui::Begin("panel");
        ImGui::Text("vesmo");
        ImGui::End();
    }
};

TEST(DeviceImGui, DrawsOverTheFrameOffscreen) {
    ImGui::CreateContext();
    std::unique_ptr<ImGuiRenderer> renderer;
    try {
        renderer = std::make_unique<ImGuiRenderer>(nullptr, VulkanRenderer::DEVICE | VulkanRenderer::VALIDATION);
    } catch (const vesmo::vk::NoDeviceError& error) {
        ImGui::DestroyContext();
        GTEST_SKIP() << error.what();
    }
    renderer->EnableImGui();
    renderer->StartRendering();
    renderer->Frame();
    renderer->Frame();
    const std::string path = PictureFolder() + "/imgui-1280x720.png";
    ASSERT_EQ(renderer->SaveOutputImage(path), 1);
    const devicetest::Picture picture = ReadPng(path);
    EXPECT_EQ(picture.Pixel(30, 25), 0xFF0080FFu); // the orange rectangle, in its place
    EXPECT_EQ(picture.Pixel(5, 5), 0xFF330000u);   // the cleared frame around it
    renderer->StopRendering();
    EXPECT_EQ(renderer->ValidationMessageCount(), 0u);
    renderer.reset();
    ImGui::DestroyContext();
}
