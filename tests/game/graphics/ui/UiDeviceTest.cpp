// The screen UI on a Vulkan device (lavapipe in CI), offscreen at 1280 x 720 with validation on: the main
// menu's elements in the overlay pass, and an open inventory drawn by ImGui. Each picture is written to
// build/test-pictures and checked at a few pixels. Without a usable device the tests skip and say why.
#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/ui/InventoryUi.hpp"
#include "game/graphics/ui/MainMenu.hpp"

#include "vesmo/graphics/Texture.hpp"
#include "vesmo/vk/Device.hpp"

#include <gtest/gtest.h>
#include <imgui.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace {

using game::graphics::GameRenderer;
using game::graphics::ui::InventoryUi;
using vesmo::graphics::VulkanRenderer;

const glm::vec4 Clear(0.2f, 0.3f, 0.5f, 1.0f);

// The game's renderer with the inventories drawn in its UI step, as a "ui" module would.
class UiRenderer : public GameRenderer {
public:
    UiRenderer() : GameRenderer(nullptr, "ui test", VulkanRenderer::DEVICE | VulkanRenderer::VALIDATION) {
        clearColor = Clear;
    }
    ~UiRenderer() override { WaitIdle(); }
    void FrameUpdateUi() override {
        GameRenderer::FrameUpdateUi();
        if (ImGuiEnabled())
            InventoryUi::UpdateUi();
    }
};

class UiDeviceTest : public ::testing::Test {
protected:
    void SetUp() override {
        // The game opens its files relative to the run directory.
        _oldFolder = std::filesystem::current_path();
        std::filesystem::current_path(ORKALIN_RUN_DIR);
        try {
            renderer = std::make_unique<UiRenderer>();
        } catch (const vesmo::vk::NoDeviceError& error) {
            GTEST_SKIP() << error.what();
        }
        // The text shader reads the monospace atlas that the renderer put at index 0.
        ASSERT_GE(renderer->TextureCount(), 1u);
        Game::renderer = renderer.get();
    }
    void TearDown() override {
        Game::renderer = nullptr;
        if (renderer) {
            renderer->CollectAllTrash();
            renderer.reset();
        }
        std::filesystem::current_path(_oldFolder);
    }

    // The picture as RGBA bytes, and one pixel's channels.
    struct Picture {
        std::shared_ptr<vesmo::graphics::Texture> texture;
        glm::ivec3 At(int x, int y) const {
            const uint8_t* p = &texture->Pixels()[(static_cast<size_t>(y) * texture->Width() + x) * 4];
            return glm::ivec3(p[0], p[1], p[2]);
        }
    };
    Picture Save(const char* name) {
        std::filesystem::create_directories(ORKALIN_BUILD_DIR "/test-pictures");
        const std::string path = std::string(ORKALIN_BUILD_DIR "/test-pictures/") + name;
        EXPECT_EQ(renderer->SaveOutputImage(path), 1);
        return Picture{vesmo::graphics::Texture::Load(path)};
    }
    static glm::ivec3 Bytes(glm::vec3 c) { return glm::ivec3(glm::round(c * 255.0f)); }
    static void ExpectNear(glm::ivec3 got, glm::ivec3 expected, const char* what) {
        const glm::ivec3 d = glm::abs(got - expected);
        EXPECT_LE(std::max({d.x, d.y, d.z}), 3)
            << what << ": " << got.x << " " << got.y << " " << got.z << ", expected " << expected.x << " " << expected.y
            << " " << expected.z;
    }

    std::unique_ptr<UiRenderer> renderer;

private:
    std::filesystem::path _oldFolder;
};

TEST_F(UiDeviceTest, MainMenuDrawsItsPanelButtonsAndLabels) {
    game::MainMenu menu;
    menu.Init();
    renderer->StartRendering();
    renderer->Frame();
    renderer->StopRendering();
    const Picture picture = Save("ui-main-menu.png");
    ASSERT_EQ(picture.texture->Width(), 1280u);
    EXPECT_EQ(renderer->ValidationMessageCount(), 0u);

    // The panel spans y 310..410 around the middle; the buttons 550..730 across, PLAY at y 320..356 and
    // QUIT at 364..400 (their centres at device y -0.06 and 0.06, 0.1 high in half-screen units).
    const glm::vec3 clear(Clear);
    const glm::vec3 panel = clear * 0.7f;
    const glm::vec3 button = glm::vec3(0.5f) * 0.8f + panel * 0.2f;
    ExpectNear(picture.At(100, 100), Bytes(clear), "outside the menu");
    ExpectNear(picture.At(640, 360), Bytes(panel), "the panel between the buttons");
    ExpectNear(picture.At(640, 315), Bytes(panel), "the panel above PLAY");
    ExpectNear(picture.At(560, 338), Bytes(button), "PLAY's left end");
    ExpectNear(picture.At(720, 382), Bytes(button), "QUIT's right end");
    ExpectNear(picture.At(500, 360), Bytes(clear), "left of the panel");
    // The labels: light glyph pixels in the middle of each button, none in its ends.
    auto brightIn = [&](int x0, int y0, int x1, int y1) {
        int bright = 0;
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x)
                bright += picture.At(x, y).x > 170 ? 1 : 0;
        return bright;
    };
    EXPECT_GT(brightIn(620, 328, 660, 349), 40) << "PLAY";
    EXPECT_GT(brightIn(620, 371, 660, 392), 40) << "QUIT";
    EXPECT_EQ(brightIn(555, 322, 610, 355), 0);
}

TEST_F(UiDeviceTest, InventoryWithItemsDrawsOverTheFrame) {
    ImGuiContext* context = ImGui::CreateContext();
    ImGui::GetIO().IniFilename = nullptr;
    ImGui::GetIO().FontGlobalScale = 0.5f; // UI scale 1
    InventoryUi::LoadFonts();
    ASSERT_NE(game::graphics::ui::_defaultUiFont, nullptr);
    const vesmo::modular::ModuleID tools("ACME_tools");
    for (const char* type : {"bolt", "wrench", "drill", "cable", "fuel"})
        InventoryUi::ItemCreatorFunctions[tools.String()][type] = [](const game::Item& r, unsigned long long rev) {
            return std::make_shared<InventoryUi::Item>(r, rev);
        };
    auto chest = InventoryUi::Make<InventoryUi>(game::UniqueId(1, 1), "Chest", 16, false, true);
    chest->windowPos = ImVec2(340.0f, 180.0f);
    chest->windowSize = ImVec2(600.0f, 360.0f);
    game::Inventory record{16, {}};
    const char* types[] = {"bolt", "wrench", "drill", "cable", "fuel"};
    for (int i = 0; i < 11; ++i)
        record.items[std::to_string(i < 7 ? i : i + 2)] =
            game::Item{game::UniqueId(2, static_cast<uint64_t>(i + 1)), tools, types[i % 5], (i % 3) * 10 + 1, {}};
    chest->UpdateInventory(record);
    chest->Show();

    renderer->EnableImGui();
    renderer->StartRendering();
    for (int i = 0; i < 3; ++i)
        renderer->Frame();
    renderer->StopRendering();
    const Picture picture = Save("ui-inventory.png");
    EXPECT_EQ(renderer->ValidationMessageCount(), 0u);

    // An item's button corner (the inventory's button colour), the window's background between slots, and
    // the frame outside the window.
    const ImVec2 slot0 = chest->GetSlotPos(0);
    const int x0 = static_cast<int>(chest->windowPos.x + slot0.x), y0 = static_cast<int>(chest->windowPos.y + slot0.y);
    ExpectNear(picture.At(x0 + 3, y0 + 3), Bytes(glm::vec3(0.15f, 0.17f, 0.2f)), "an item");
    const glm::vec3 background = glm::vec3(0.05f, 0.06f, 0.08f) * 0.9f + glm::vec3(Clear) * 0.1f;
    ExpectNear(picture.At(x0 - 6, y0 + 30), Bytes(background), "the window between slots");
    ExpectNear(picture.At(100, 100), Bytes(glm::vec3(Clear)), "outside the window");

    InventoryUi::ItemCreatorFunctions.clear();
    game::graphics::ui::_defaultUiFont = nullptr;
    chest.reset();
    // The renderer's ImGui layer goes with the renderer, before the context.
    Game::renderer = nullptr;
    renderer.reset();
    ImGui::DestroyContext(context);
}

} // namespace
