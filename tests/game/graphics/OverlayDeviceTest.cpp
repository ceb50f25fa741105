// The overlay on a Vulkan device (lavapipe in CI), validation on: a crate yard stepped by the server's physics
// with its debug view on, drawn by the game renderer over a cleared frame with the crosshair, saved through
// the screenshot key, and checked by its pixels. Without a driver the test skips.

#include "game/graphics/GameRenderer.hpp"

#include "game/Game.hpp"
#include "game/entity/EntityConfig.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/physics/SampleEnvironment.hpp"

#include "vesmo/graphics/HeadlessWindow.hpp"
#include "vesmo/vk/Device.hpp"

#include "TestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

using game::entity::ServerSideEntity;
using vesmo::graphics::VulkanRenderer;

namespace {

constexpr int kWidth = 640, kHeight = 360;
constexpr game::entity::EnvironmentId kYard = 1;
const glm::vec4 kClear(0.1f, 0.1f, 0.12f, 1.0f);
const glm::vec4 kDynamic(1.0f, 0.55f, 0.1f, 1.0f); // the renderer's colour of dynamic colliders

// One crate: a box collider of 1 x 1 x 1 m standing on its base. Config files are written Z-up and entities
// are Y-up: in the entity's frame the crate fills x and z from -0.5 to 0.5 and y from 0 to 1.
constexpr const char* kCrate = R"([ENTITY crate]
mass 20

[RENDERABLE body]
position 0 0 0
rotation 0 0 0

[COLLIDER hull]
parent body
box_min -0.5 -0.5 0
box_max 0.5 0.5 1
)";

struct Rgba {
    int r, g, b, a;
};

Rgba PixelAt(const vesmo::graphics::Texture& picture, int x, int y) {
    const uint32_t p = picture.Pixel(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
    return {static_cast<int>(p & 0xFF), static_cast<int>((p >> 8) & 0xFF), static_cast<int>((p >> 16) & 0xFF),
            static_cast<int>(p >> 24)};
}

int Byte(float value) { return static_cast<int>(std::lround(value * 255.0f)); }

class Overlay : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::current_path(TEST_MODULE_ROOT); // the font atlas's run folder
        Game::settings = std::make_unique<game::GameSettings>(folder.File("settings.conf"), 0);
        Game::settings->graphics_preset = 3;
        // No air: only the crates' own colliders are published, none of aerodynamic surfaces.
        game::physics::SampleEnvironment ground;
        ground.airDensity = 0.0;
        ground.up = {0.0, 1.0, 0.0};
        Game::_environmentFunctions[kYard] = ground.Function();
    }
    void TearDown() override {
        Game::debugServerSidePhysics = false;
        {
            std::lock_guard lock(ServerSideEntity::_sharedObjectsMutex);
            ServerSideEntity::_sharedObjects.clear();
        }
        Game::physicsDebugColliders_front.clear();
        Game::physicsDebugColliders_staging.clear();
        Game::physicsDebugLines_front.clear();
        Game::physicsDebugLines_staging.clear();
        Game::_environmentFunctions.clear();
        Game::renderer = nullptr;
        Game::settings.reset();
    }

    testing_support::TempDir folder;
    vesmo::graphics::HeadlessWindow window{kWidth, kHeight};
};

} // namespace

TEST_F(Overlay, TheCrosshairAndTheCollidersOfACrateYardFromTheServerSide) {
    std::unique_ptr<game::graphics::GameRenderer> renderer;
    try {
        renderer = std::make_unique<game::graphics::GameRenderer>(&window, "overlay test",
                                                                  VulkanRenderer::DEVICE | VulkanRenderer::VALIDATION);
    } catch (const vesmo::vk::NoDeviceError& error) {
        GTEST_SKIP() << error.what();
    }
    Game::renderer = renderer.get();
    renderer->clearColor = kClear;

    // Six crates in two rows on flat ground, one server tick with the debug view on.
    testing_support::WriteText(folder.File("crate.conf"), kCrate);
    auto config = std::make_shared<game::entity::EntityConfig>(folder.File("crate.conf"));
    config->ReadConfig();
    std::vector<ServerSideEntity::Ptr> crates;
    for (int i = 0; i < 6; ++i) {
        const game::entity::Id id(0x54544e45u, 9000u + static_cast<uint64_t>(i));
        auto crate = ServerSideEntity::Create<ServerSideEntity>(vesmo::modular::ModuleID{}, "crate", id);
        crate->deleteFilesOnDestroy = 0;
        crate->config = config;
        crate->InitNodes();
        crate->position = {(i % 3 - 1) * 2.5, 0.0, -(i / 3) * 2.5};
        crate->physicsEnabled = 1;
        crate->isDynamic = 1;
        crate->environmentId = kYard;
        crates.push_back(crate);
    }
    Game::debugServerSidePhysics = true;
    ServerSideEntity::PhysicsUpdate(1.0 / 60.0, 2);
    ASSERT_EQ(Game::physicsDebugColliders_staging.size(), 6u);

    // The camera (engine's and game's alike) looks at the yard from the front, above; the origin stays at 0.
    const glm::dvec3 eye(0.0, 5.0, 7.0), target(0.0, 0.5, -1.25);
    const glm::dmat4 view = glm::lookAt(eye, target, glm::dvec3(0, 1, 0));
    glm::mat4 projection = glm::perspectiveRH_ZO(glm::radians(60.0f), float(kWidth) / kHeight, 0.1f, 100.0f);
    projection[1][1] *= -1.0f; // Vulkan's y points down
    renderer->cameraTransform = glm::inverse(view);
    renderer->inverseViewMatrix = glm::inverse(view);
    renderer->projectionMatrix = projection;

    renderer->StartRendering();
    renderer->Frame();
    // The screenshot key: pressed before a frame, the frame's picture goes to the folder.
    renderer->screenshotFolder = folder.File("shots");
    window.SetKey(301, true);
    renderer->Frame();
    window.SetKey(301, false);
    renderer->StopRendering();
    EXPECT_EQ(renderer->ValidationMessageCount(), 0u);

    std::vector<std::filesystem::path> shots;
    for (const auto& entry : std::filesystem::directory_iterator(folder.File("shots")))
        shots.push_back(entry.path());
    ASSERT_EQ(shots.size(), 1u);
    const std::string picturePath = std::string(ORKALIN_BUILD_DIR) + "/test-pictures/overlay-crate-yard.png";
    std::filesystem::create_directories(std::filesystem::path(picturePath).parent_path());
    std::filesystem::copy_file(shots[0], picturePath, std::filesystem::copy_options::overwrite_existing);
    const auto picture = vesmo::graphics::Texture::Load(picturePath);
    ASSERT_EQ(picture->Width(), static_cast<uint32_t>(kWidth));

    // The crosshair: white points on the four arms around the centre, a gap in the middle.
    const int cx = kWidth / 2, cy = kHeight / 2;
    const std::pair<int, int> arms[] = {{6, 0}, {-7, 0}, {0, 10}, {0, -5}};
    for (const auto& [dx, dy] : arms) {
        const Rgba p = PixelAt(*picture, cx + dx, cy + dy);
        EXPECT_GE(p.r, 229) << dx << ", " << dy;
        EXPECT_GE(p.g, 229) << dx << ", " << dy;
        EXPECT_GE(p.b, 229) << dx << ", " << dy;
    }
    // A corner of the sky: the clear colour alone.
    const Rgba sky = PixelAt(*picture, 3, 3);
    EXPECT_EQ(sky.r, Byte(kClear.r));
    EXPECT_EQ(sky.b, Byte(kClear.b));

    // Each crate's top front edge, from the camera's matrices: an edge pixel in the dynamic colour nearby, and
    // inside its front face a translucent tint of it over the clear colour.
    const glm::dmat4 clip = glm::dmat4(projection) * view;
    auto toPixel = [&](const glm::dvec3& world) {
        const glm::dvec4 c = clip * glm::dvec4(world, 1.0);
        return glm::dvec2((c.x / c.w + 1.0) * 0.5 * kWidth, (c.y / c.w + 1.0) * 0.5 * kHeight);
    };
    int edges = 0;
    for (const ServerSideEntity::Ptr& crate : crates) {
        const glm::dvec3 p = crate->position;
        const glm::dvec2 edge = toPixel(p + glm::dvec3(0.1, 1.0, 0.5));
        bool found = false;
        for (int y = -1; y <= 1 && !found; ++y)
            for (int x = -1; x <= 1 && !found; ++x) {
                const Rgba e = PixelAt(*picture, int(edge.x) + x, int(edge.y) + y);
                found = std::abs(e.r - Byte(kDynamic.r)) <= 2 && std::abs(e.g - Byte(kDynamic.g)) <= 2 &&
                        std::abs(e.b - Byte(kDynamic.b)) <= 2;
            }
        edges += found ? 1 : 0;
        const glm::dvec2 face = toPixel(p + glm::dvec3(0.2, 0.5, 0.5));
        const Rgba f = PixelAt(*picture, int(face.x), int(face.y));
        // At least one translucent layer of orange over the clear colour, never the opaque colour.
        EXPECT_GT(f.r, Byte(kClear.r) + 40) << "crate at " << p.x << ", " << p.z;
        EXPECT_LT(f.r, Byte(kDynamic.r) - 40) << "crate at " << p.x << ", " << p.z;
        EXPECT_LT(f.b, Byte(kClear.b) + 5);
    }
    EXPECT_EQ(edges, 6);
}
