// The game renderer on the engine without a device: presets, the settings carried into the engine, the world
// origin, the shader lists, the bounding size, the aim table, pushed textures, the physics debug hand-over and
// the hook order of one frame, with real test modules (tests/CMakeLists.txt).

#include "game/graphics/GameRenderer.hpp"

#include "game/Game.hpp"
#include "game/host/Options.hpp"
#include "game/modular/Families.hpp"

#include "HookLog.hpp"
#include "TestSupport.hpp"

#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <numbers>

using game::graphics::GameRenderer;
using game::modular::GAME_Mod;

namespace {

class Renderer : public ::testing::Test {
protected:
    void SetUp() override {
        // The run folder of the test modules holds the font atlas at its relative path.
        std::filesystem::current_path(TEST_MODULE_ROOT);
        Game::settings = std::make_unique<game::GameSettings>(SettingsFile(), 0);
    }
    void TearDown() override {
        Game::renderer = nullptr;
        renderer.reset();
        Game::settings.reset();
        game::Options::Clear();
    }
    void Make() {
        renderer = std::make_unique<GameRenderer>(nullptr, "renderer test", 0);
        Game::renderer = renderer.get();
    }
    std::string SettingsFile() const { return folder.File("settings.conf"); }

    testing_support::TempDir folder;
    std::unique_ptr<GameRenderer> renderer;
};

glm::dmat4 CameraAt(const glm::dvec3& position) { return glm::translate(glm::dmat4(1.0), position); }

} // namespace

TEST_F(Renderer, PresetsWriteQualityAndFinalUpscaleOnly) {
    Make();
    EXPECT_STREQ(renderer->graphicsPresets[0], "Custom Graphics Settings (I want to tweak everything myself!)");
    EXPECT_STREQ(renderer->graphicsPresets[3], "Medium quality (recommended for most RTX GPUs)");
    EXPECT_STREQ(renderer->graphicsPresets[6], "Ultra quality (that GPU is not out yet)");
    ASSERT_EQ(renderer->upscalingAlgoNames.size(), 1u);
    EXPECT_STREQ(renderer->upscalingAlgoNames[0], "NONE");

    struct Row {
        int preset;
        int quality;
        float finalUpscale;
    };
    // The user's own values (9, 9.5) survive the custom preset and every index outside the table.
    const Row rows[] = {{-1, 9, 9.5f}, {0, 9, 9.5f}, {1, 1, 2.0f}, {2, 1, 1.5f}, {3, 1, 0.0f},
                        {4, 1, 0.0f},  {5, 2, 1.0f}, {6, 3, 1.0f}, {7, 9, 9.5f}, {42, 9, 9.5f}};
    game::GameSettings& settings = *Game::settings;
    for (const Row& row : rows) {
        settings.graphics_preset = row.preset;
        settings.upscaling_quality_setting = 9;
        settings.final_upscale = 9.5f;
        settings.render_scale = 0.7f;
        settings.upscaling_sharpness = 0.1f;
        renderer->ConfigureSettingsFromPreset();
        EXPECT_EQ(settings.upscaling_quality_setting, row.quality) << "preset " << row.preset;
        EXPECT_EQ(settings.final_upscale, row.finalUpscale) << "preset " << row.preset;
        EXPECT_EQ(settings.render_scale, 0.7f);
        EXPECT_EQ(settings.upscaling_sharpness, 0.1f);
    }
}

TEST_F(Renderer, AFirstStartStoresPresetThreeAndALaterStartWritesNothing) {
    ASSERT_FALSE(std::filesystem::exists(SettingsFile()));
    Game::settings->final_upscale = 7.0f;
    Make();
    EXPECT_EQ(Game::settings->graphics_preset, 3);
    EXPECT_EQ(Game::settings->final_upscale, 0.0f);
    ASSERT_TRUE(std::filesystem::exists(SettingsFile()));
    game::GameSettings reread(SettingsFile(), 0);
    EXPECT_EQ(reread.graphics_preset, 3);
    EXPECT_EQ(reread.upscaling_quality_setting, 1);

    // A second start: the preset applies in memory, the file stays as it was.
    renderer.reset();
    Game::settings = std::make_unique<game::GameSettings>(SettingsFile(), 0);
    const std::string before = testing_support::ReadText(SettingsFile());
    Game::settings->graphics_preset = 5;
    Game::settings->fov = 99.0f;
    Make();
    EXPECT_EQ(Game::settings->upscaling_quality_setting, 2);
    EXPECT_EQ(testing_support::ReadText(SettingsFile()), before);
}

TEST_F(Renderer, FrameInitCarriesTheSettingsIntoTheEngine) {
    Make();
    game::GameSettings& settings = *Game::settings;
    settings.render_scale = 0.5f;
    settings.fov = 85.0f;
    settings.gamma = 2.2f;
    settings.upscaling_algo = "none";
    settings.tone_mapping = true;
    settings.taa = false;
    settings.dithering = true;
    renderer->debugView = true;
    renderer->debugValue = 0.25f;
    renderer->FrameInit();
    EXPECT_EQ(std::tuple(renderer->renderScale, renderer->fov, renderer->gamma, renderer->VesmoRenderer::debugValue),
              std::tuple(0.5f, 85.0f, 2.2f, 0.25f));
    EXPECT_EQ(renderer->renderFlags, 1 | 8 | 16);
    // Upper-cased in the settings string itself, so the file keeps the engine's spelling.
    EXPECT_EQ(settings.upscaling_algo, "NONE");
    settings.WriteConfig();
    EXPECT_NE(testing_support::ReadText(SettingsFile()).find("NONE"), std::string::npos);
}

TEST_F(Renderer, TheOriginMovesToTheRoundedCameraBeyondTheThreshold) {
    Make();
    struct Row {
        glm::dvec3 camera;
        bool moves;
        glm::dvec3 origin; // afterwards
    };
    // Threshold 1000 (the default); each row starts from an origin at 0.
    const Row rows[] = {
        {{999.6, 0, 0}, false, {0, 0, 0}},           // rounds to 1000: not strictly above
        {{1000.5, 0, 0}, true, {1001, 0, 0}},        // rounds to 1001
        {{600.4, 800.4, 0}, false, {0, 0, 0}},       // (600, 800): exactly 1000
        {{600.6, 800.4, -0.4}, true, {601, 800, 0}}, // (601, 800, 0): above
        {{-1500.5, 2.5, 0}, true, {-1501, 3, 0}},    // halves round away from zero
    };
    for (const Row& row : rows) {
        renderer->originPosition = glm::dvec4(0.0);
        renderer->originReferenceTransform = CameraAt(row.camera);
        renderer->originInverseTransform = glm::dmat4(1.0);
        renderer->cameraTransform = CameraAt(row.camera);
        renderer->FrameInit();
        EXPECT_EQ(renderer->originChanged, row.moves) << row.camera.x;
        EXPECT_EQ(glm::dvec3(renderer->originPosition), row.origin) << row.camera.x;
        if (row.moves) {
            EXPECT_EQ(renderer->originPosition.w, 1.0);
            EXPECT_EQ(std::tuple(renderer->originInt[0], renderer->originInt[1]),
                      std::tuple(static_cast<int64_t>(row.origin.x), static_cast<int64_t>(row.origin.y)));
            EXPECT_EQ(renderer->originInverseTransform, glm::inverse(renderer->originReferenceTransform));
            // The camera seen from the origin frame it defines: at the frame's origin.
            EXPECT_NEAR(glm::length(glm::dvec3(renderer->relativeViewMatrix[3])), 0.0, 1e-9);
        } else {
            EXPECT_EQ(renderer->originInverseTransform, glm::dmat4(1.0));
            EXPECT_EQ(renderer->relativeViewMatrix, glm::inverse(CameraAt(row.camera)));
        }
    }

    // At 0 or below the origin follows the camera unrounded, every frame.
    for (double threshold : {0.0, -5.0}) {
        game::Options::Set<double>("world_origin_reset_distance_threshold", threshold);
        renderer->cameraTransform = CameraAt({12.3, 4.56, -7.89});
        renderer->FrameInit();
        EXPECT_TRUE(renderer->originChanged);
        EXPECT_EQ(renderer->originPosition, glm::dvec4(12.3, 4.56, -7.89, 1.0));
        EXPECT_EQ(std::tuple(renderer->originInt[0], renderer->originInt[2]), std::tuple(int64_t(12), int64_t(-7)));
        renderer->FrameInit();
        EXPECT_TRUE(renderer->originChanged);
    }
}

TEST_F(Renderer, BuiltInShadersHoldTheFirstIndicesAndALockedListRefusesMore) {
    Make();
    EXPECT_EQ(renderer->renderableHitShaders,
              (std::vector<std::string>{"game/graphics/rt/entity_tri", "game/graphics/rt/entity_box",
                                        "game/graphics/rt/entity_sphere", "game/graphics/rt/plasma"}));
    EXPECT_EQ(renderer->renderableCallableShaders, (std::vector<std::string>{"#rcall\nvoid main(){}"}));
    EXPECT_EQ(renderer->AddRenderableHitShader("modules/ACME/hit"), 4u);
    EXPECT_EQ(renderer->AddRenderableCallableShader("#rcall\nvoid main(){ }"), 1u);
    EXPECT_EQ(renderer->AddRenderableCallableShader("#rcall\nvoid main(){  }"), 2u);
    // The font atlas holds slot 0 of the texture table.
    EXPECT_EQ(renderer->GetTexture(0).texture->Path(), "game/graphics/ui/textures/monospace_font_atlas.png");

    renderer->renderableShadersLocked = true;
    EXPECT_DEATH(renderer->AddRenderableHitShader("late"),
                 "Assertion failed: !renderableShadersLocked, file game/graphics/GameRenderer");
    EXPECT_DEATH(renderer->AddRenderableCallableShader("late"), "Assertion failed: !renderableShadersLocked");
}

TEST_F(Renderer, BoundingSizeInScreenPixels) {
    Make();
    // No window: 1280 x 720; a render scale of 0.33 truncates to 422 x 237.
    renderer->renderScale = 0.33f;
    renderer->fov = 60.0f;
    const double halfSum = 422 * 0.5 + 237 * 0.5;
    const double pi = std::numbers::pi;
    renderer->cameraTransform = CameraAt({1, 2, 3});
    // 1 m at 10 m with a 90 degree field: 2 * (0.1 / (pi / 2)).
    EXPECT_NEAR(renderer->GetFixedBoundingSizeInScreenPixels({1, 2, -7}, 1.0, 90.0), halfSum * 2 * (0.1 / (pi / 2)),
                1e-9);
    // fov 0 takes the engine's 60 degrees.
    EXPECT_NEAR(renderer->GetFixedBoundingSizeInScreenPixels({1, 2, -7}, 1.0), halfSum * 2 * (0.1 / (pi / 3)), 1e-9);
    // At the camera, or an object that fills more than pi: 2 pi.
    EXPECT_NEAR(renderer->GetFixedBoundingSizeInScreenPixels({1, 2, 3}, 1.0, 90.0), halfSum * 2 * pi, 1e-9);
    EXPECT_NEAR(renderer->GetFixedBoundingSizeInScreenPixels({1, 2, 2}, 10.0, 90.0), halfSum * 2 * pi, 1e-9);
}

TEST_F(Renderer, TheAimFindsItsReferenceAndTheMonitor) {
    Make();
    EXPECT_EQ(renderer->aimReferences.size(), 1u);
    EXPECT_EQ(renderer->AddAimReference("ACME_rocket", 42), 1u);
    EXPECT_EQ(renderer->AddAimReference("ACME_tower", std::string("top")), 2u);

    game::graphics::AimBuffer record;
    record.aimID = 1;
    record.hitDistance = 3.5f;
    record.monitorID = 7;
    record.monitorX = 0.25f;
    record.monitorY = 0.75f;
    record.hitNormal = {0, 0, 1, 0};
    renderer->aim = record;
    EXPECT_EQ(renderer->aim.reference.moduleId, vesmo::modular::ModuleID("ACME_rocket"));
    EXPECT_EQ(std::any_cast<int>(renderer->aim.reference.data), 42);
    EXPECT_EQ(renderer->aim.buffer.hitNormal, glm::vec4(0, 0, 1, 0));
    EXPECT_EQ(Game::currentMonitorID, 7u);
    EXPECT_EQ(Game::currentMonitorDistance, 3.5);
    EXPECT_EQ(Game::currentMonitorX, 0.25);

    // An id past the table is nothing, and no failure; leaving the monitor keeps its last coordinates.
    record.aimID = 3;
    record.monitorID = 0;
    record.monitorX = 0.9f;
    renderer->aim = record;
    EXPECT_FALSE(renderer->aim.reference.data.has_value());
    EXPECT_EQ(Game::currentMonitorID, 0u);
    EXPECT_EQ(Game::currentMonitorX, 0.25);

    game::graphics::Aim copy;
    copy = renderer->aim;
    EXPECT_EQ(copy.buffer.aimID, 3u);
    renderer->Cleanup();
    EXPECT_EQ(renderer->TextureCount(), 0u);
}

namespace {

// A texture whose Push does something: counts its calls.
class CountingTexture : public vesmo::graphics::Texture {
public:
    CountingTexture() : Texture(1, 1, std::vector<uint8_t>{255, 255, 255, 255}) {}
    void Push(VkCommandBuffer) override { ++pushes; }
    int pushes = 0;
};

} // namespace

TEST_F(Renderer, PushedTexturesPushAndALoneOneLeavesThroughTheTrash) {
    Make();
    auto kept = std::make_shared<CountingTexture>();
    auto plain = std::make_shared<vesmo::graphics::Texture>(1, 1, std::vector<uint8_t>{});
    std::weak_ptr<CountingTexture> lone;
    {
        auto alone = std::make_shared<CountingTexture>();
        lone = alone;
        std::lock_guard lock(renderer->pushedTexturesMutex);
        renderer->pushedTextures = {kept, alone, plain};
    }
    renderer->FramePushCommands(VK_NULL_HANDLE);
    EXPECT_EQ(kept->pushes, 1);
    EXPECT_EQ(lone.lock()->pushes, 0);
    ASSERT_EQ(renderer->pushedTextures.size(), 2u);
    EXPECT_EQ(renderer->pushedTextures[0], kept);
    EXPECT_EQ(renderer->pushedTextures[1], plain);
    // In the trash now, released with it (GameLifecycle.TrashLivesThroughTwoCollections).
    EXPECT_EQ(renderer->trashNew.size(), 1u);
}

TEST_F(Renderer, ThePhysicsDebugListsChangeHandsOnlyWhileTheViewIsOn) {
    Make();
    renderer->StartRendering();
    Game::physicsDebugLines_staging = {{{}, {0, 0, 0}, {1, 0, 0}, {1, 0, 0, 1}}};
    Game::physicsDebugLines_front.clear();
    Game::physicsDebugCollidersUpdated = true;
    Game::debugServerSidePhysics = false;
    renderer->Frame();
    EXPECT_EQ(Game::physicsDebugLines_staging.size(), 1u);
    EXPECT_TRUE(Game::physicsDebugCollidersUpdated.load());

    Game::debugServerSidePhysics = true;
    renderer->Frame();
    EXPECT_EQ(Game::physicsDebugLines_front.size(), 1u);
    EXPECT_TRUE(Game::physicsDebugLines_staging.empty());
    EXPECT_FALSE(Game::physicsDebugCollidersUpdated.load());
    // Nothing new: the same lists draw again.
    renderer->Frame();
    EXPECT_EQ(Game::physicsDebugLines_front.size(), 1u);
    renderer->StopRendering();
    Game::debugServerSidePhysics = false;
    Game::physicsDebugLines_front.clear();
}

TEST_F(Renderer, OneFrameWalksEveryHookInItsOrder) {
    Make();
    GAME_Mod::LoadModule("Alpha", true);
    for (const char* list : {"update", "render", "post", "overlay", "ui"})
        GAME_Mod::SortModules(list, [](GAME_Mod::Ptr a, GAME_Mod::Ptr b) { return a->name < b->name; });
    renderer->StartRendering();
    hooklog::Clear();
    renderer->Frame();
    const std::string p = "Alpha.GAME_Mod:Renderer_";
    EXPECT_EQ(hooklog::Hooks(),
              (std::vector<std::string>{p + "FrameCollectGarbage", p + "FrameInit", p + "FrameBeforeUpdate",
                                        p + "FrameUpdate", p + "FrameAfterUpdate", p + "FrameUpdateDescriptorSets",
                                        p + "FrameUpdateUi", p + "FrameBeforeRender", p + "FramePushCommands",
                                        p + "FrameBuildCommands", p + "FrameRenderCommands", p + "FrameAfterRender",
                                        p + "FrameBeforePost", p + "FrameResolveCommands", p + "FramePostCommands",
                                        p + "FrameBlitCommands", p + "FrameOverlayCommands"}));
    hooklog::Clear();
    renderer->RefreshViewport();
    renderer->StopRendering();
    EXPECT_EQ(hooklog::Hooks(), (std::vector<std::string>{p + "RefreshViewport", p + "StopRendering"}));
    GAME_Mod::UnloadModules();
}
