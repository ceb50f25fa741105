#include "DeviceTestSupport.hpp"

#include <cmath>
#include <filesystem>

namespace devicetest {

namespace {

constexpr float ClearColor[4] = {0.0f, 0.0f, 0.2f, 1.0f};

} // namespace

PictureRenderer::PictureRenderer(vesmo::graphics::Window* window, uint32_t flags,
                                 const vesmo::vk::PhysicalDevice::Features& features)
    : VesmoRenderer(window, "device test", flags, features, false) {
    clearColor = {ClearColor[0], ClearColor[1], ClearColor[2], ClearColor[3]};
    vesmo::vk::Device* device = GetDevice();
    _layout = vesmo::vk::PipelineLayout(device, {GetDescriptorSetLayout()}, {}, "picture layout");
    _nearest = vesmo::vk::Sampler(device, VkSamplerCreateInfo{}, "nearest");
    // 2 x 2: red, green on top; blue, white below.
    std::vector<uint8_t> checker = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255};
    AddTexture(std::make_shared<vesmo::graphics::Texture>(2, 2, checker), _nearest.Handle());
}

PictureRenderer::~PictureRenderer() { WaitIdle(); }

void PictureRenderer::CreateSwapchainDependantObjects() {
    VesmoRenderer::CreateSwapchainDependantObjects();
    vesmo::vk::Device* device = GetDevice();
    const VkExtent2D extent = GetOutputImageExtent();
    _pass = std::make_unique<vesmo::vk::Renderpass>(device, GetOutputImageFormat(), extent.width, extent.height,
                                                    GetOutputImageUsage(), true, "picture pass");
    if (!_triangle && device) {
        _triangle = vesmo::vk::GraphicsPipeline(device, _layout, "tests/vesmo/vk/shaders/triangle", *_pass);
        vesmo::vk::GraphicsPipeline::Description strip;
        strip.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP;
        _quad = vesmo::vk::GraphicsPipeline(device, _layout, "tests/vesmo/vk/shaders/quad", *_pass, strip);
    } else {
        _triangle.RefreshViewport(*_pass);
        _quad.RefreshViewport(*_pass);
    }
}

void PictureRenderer::DestroySwapchainDependantObjects() {
    _pass.reset();
    VesmoRenderer::DestroySwapchainDependantObjects();
}

void PictureRenderer::FrameRenderCommands(VkCommandBuffer commandBuffer) {
    ++renderCalls;
    if (!commandBuffer)
        return;
    _pass->Begin(commandBuffer, GetOutputVkImageView());
    _triangle.Bind(commandBuffer, GetDescriptorSet());
    _triangle.Draw(commandBuffer, 3, 1);
    _quad.Bind(commandBuffer, GetDescriptorSet());
    _quad.Draw(commandBuffer, 4, 1);
    _pass->End(commandBuffer);
}

uint32_t Picture::Pixel(uint32_t x, uint32_t y) const {
    const uint8_t* p = &rgba[(static_cast<size_t>(y) * width + x) * 4];
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

Picture ReadPng(const std::string& path) {
    auto texture = vesmo::graphics::Texture::Load(path);
    return {texture->Width(), texture->Height(), texture->Pixels()};
}

std::string PictureFolder() {
    const std::string folder = std::string(ORKALIN_BUILD_DIR) + "/test-pictures";
    std::filesystem::create_directories(folder);
    return folder;
}

std::unique_ptr<PictureRenderer> MakeRenderer(vesmo::graphics::Window* window, uint32_t flags, std::string& skip,
                                              const vesmo::vk::PhysicalDevice::Features& features) {
    try {
        return std::make_unique<PictureRenderer>(window, flags | VulkanRenderer::DEVICE | VulkanRenderer::VALIDATION,
                                                 features);
    } catch (const vesmo::vk::NoDeviceError& error) {
        skip = error.what();
        return nullptr;
    }
}

void ExpectKnownPicture(const Picture& picture) {
    const double w = picture.width, h = picture.height;
    ASSERT_GT(picture.width, 0u);
    // Pixel centres in clip space: x = (px + 0.5) / w * 2 - 1, and y likewise (y down).
    const double tx[3] = {-0.9, -0.1, -0.5}, ty[3] = {0.8, 0.8, -0.8};
    const double colors[3][3] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}};
    const double marginX = 2.0 / w * 1.5, marginY = 2.0 / h * 1.5; // 1.5 pixels, in clip space
    const uint32_t clear = 0xFF330000u;
    const uint32_t quadrants[2][2] = {{0xFF0000FFu, 0xFF00FF00u}, {0xFFFF0000u, 0xFFFFFFFFu}};
    int checked = 0, interpolated = 0;
    for (uint32_t py = 0; py < picture.height; ++py) {
        for (uint32_t px = 0; px < picture.width; ++px) {
            const double x = (px + 0.5) / w * 2 - 1, y = (py + 0.5) / h * 2 - 1;
            // Barycentric weights in the triangle, and the distance in pixels to its nearest edge.
            const double d = (ty[1] - ty[2]) * (tx[0] - tx[2]) + (tx[2] - tx[1]) * (ty[0] - ty[2]);
            double b[3];
            b[0] = ((ty[1] - ty[2]) * (x - tx[2]) + (tx[2] - tx[1]) * (y - ty[2])) / d;
            b[1] = ((ty[2] - ty[0]) * (x - tx[2]) + (tx[0] - tx[2]) * (y - ty[2])) / d;
            b[2] = 1 - b[0] - b[1];
            const bool inTriangle = b[0] > 0.02 && b[1] > 0.02 && b[2] > 0.02;
            const bool nearTriangle = b[0] > -0.02 && b[1] > -0.02 && b[2] > -0.02;
            const bool inQuad = x > 0.1 + marginX && x < 0.9 - marginX && y > -0.8 + marginY && y < 0.8 - marginY;
            const bool nearQuad = x > 0.1 - marginX && x < 0.9 + marginX && y > -0.8 - marginY && y < 0.8 + marginY;
            const bool nearQuadMiddle = std::abs(x - 0.5) < marginX || std::abs(y) < marginY;
            const uint32_t pixel = picture.Pixel(px, py);
            if (inQuad && !nearQuadMiddle) {
                const uint32_t expected = quadrants[y < 0 ? 0 : 1][x < 0.5 ? 0 : 1];
                ASSERT_EQ(pixel, expected) << "quad pixel " << px << ", " << py;
                ++checked;
            } else if (inTriangle) {
                for (int c = 0; c < 3; ++c) {
                    const double expected = b[0] * colors[0][c] + b[1] * colors[1][c] + b[2] * colors[2][c];
                    const double got = (pixel >> (8 * c)) & 0xFF;
                    ASSERT_NEAR(got, expected, 4.0) << "triangle pixel " << px << ", " << py << " channel " << c;
                }
                ASSERT_EQ(pixel >> 24, 0xFFu);
                ++checked;
                ++interpolated;
            } else if (!nearTriangle && !nearQuad) {
                ASSERT_EQ(pixel, clear) << "background pixel " << px << ", " << py;
                ++checked;
            }
        }
    }
    // Nearly every pixel is known; only the edges' rows are left out.
    EXPECT_GT(checked, static_cast<int>(0.9 * w * h));
    EXPECT_GT(interpolated, static_cast<int>(0.12 * w * h));
}

} // namespace devicetest
