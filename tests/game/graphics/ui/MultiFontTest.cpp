// Fonts: a missing file costs one line and the default font stays; the build's fonts load.
#include "game/graphics/ui/MultiFont.hpp"
#include "game/graphics/ui/InventoryUi.hpp"

#include <gtest/gtest.h>
#include <imgui.h>

#include <filesystem>

namespace {

class ScopedContext {
public:
    explicit ScopedContext(const std::filesystem::path& folder) : _old(std::filesystem::current_path()) {
        std::filesystem::current_path(folder);
        _context = ImGui::CreateContext();
    }
    ~ScopedContext() {
        ImGui::DestroyContext(_context);
        std::filesystem::current_path(_old);
    }

private:
    std::filesystem::path _old;
    ImGuiContext* _context;
};

TEST(MultiFont, MissingFilesAreNamedAndTheFontsOfTheBuildLoad) {
    const std::filesystem::path empty = std::filesystem::temp_directory_path() / "multifont-test";
    std::filesystem::create_directories(empty);
    {
        ScopedContext context(empty);
        testing::internal::CaptureStderr();
        game::MultiFont font;
        const std::string errors = testing::internal::GetCapturedStderr();
        EXPECT_EQ(font.font, nullptr);
        EXPECT_EQ(errors, "Font file does not exist: game/graphics/ui/fonts/NotoSans-Regular.ttf\n"
                          "Font file does not exist: game/graphics/ui/fonts/NotoEmoji-Regular.ttf\n");
    }
    std::filesystem::remove_all(empty);

    ScopedContext context(ORKALIN_RUN_DIR);
    game::MultiFont font;
    ASSERT_NE(font.font, nullptr);
    game::graphics::ui::InventoryUi::LoadFonts();
    ASSERT_NE(game::graphics::ui::_defaultUiFont, nullptr);
    ASSERT_TRUE(ImGui::GetIO().Fonts->Build());
    EXPECT_NE(font.font->FindGlyphNoFallback(0x03A9), nullptr) << "Greek";
    EXPECT_NE(font.font->FindGlyphNoFallback(0x0416), nullptr) << "Cyrillic";
    EXPECT_NE(font.font->FindGlyphNoFallback(0x2600), nullptr) << "a pictograph of the emoji font";
    EXPECT_FLOAT_EQ(game::graphics::ui::_defaultUiFont->FontSize, 56.0f);
    game::graphics::ui::_defaultUiFont = nullptr;
}

} // namespace
