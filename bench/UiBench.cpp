// The screen UI's frame on the CPU: the main menu (the renderer's element sort, the input's hover test and
// the overlay walk) and an open inventory of 200 items drawn by Dear ImGui (headless: the draw lists are
// built, nothing is rasterised). Time and heap allocations per frame, after a warm-up.
#include "AllocationCounter.hpp"

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/ui/InventoryUi.hpp"
#include "game/graphics/ui/MainMenu.hpp"

#include <benchmark/benchmark.h>
#include <imgui.h>

#include <filesystem>
#include <string>

namespace {

using game::graphics::ui::Element;
using game::graphics::ui::InventoryUi;

void BM_MainMenuFrame(benchmark::State& state) {
    // The renderer opens its font atlas relative to the run directory.
    std::filesystem::current_path(BENCH_RUN_DIR);
    game::graphics::GameRenderer renderer(nullptr, "bench", 0);
    Game::renderer = &renderer;
    Element::RemoveExpired();
    game::MainMenu menu;
    menu.Init();
    const glm::ivec2 screen(1280, 720);
    int frame = 0;
    auto oneFrame = [&] {
        // The mouse moves across the PLAY button, as a user's would.
        const glm::ivec2 mouse(560 + (frame++ % 160), 338);
        menu.play->Hover(mouse, screen, false);
        menu.quit->Hover(mouse, screen, false);
        Element::SortByOrder();
        Element::DrawAll(VK_NULL_HANDLE);
    };
    for (int i = 0; i < 10; ++i)
        oneFrame();
    AllocationCounter::Reset();
    for (auto _ : state)
        oneFrame();
    state.counters["allocs/frame"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
    state.counters["elements"] = static_cast<double>(Element::_sharedObjects.size());
    Game::renderer = nullptr;
}
BENCHMARK(BM_MainMenuFrame);

void BM_InventoryFrame(benchmark::State& state) {
    const int items = static_cast<int>(state.range(0));
    ImGuiContext* context = ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.IniFilename = nullptr;
    io.DisplaySize = ImVec2(1280.0f, 720.0f);
    io.DeltaTime = 1.0f / 60.0f;
    io.FontGlobalScale = 0.5f;
    unsigned char* pixels = nullptr;
    int width = 0, height = 0;
    io.Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);
    io.Fonts->SetTexID(reinterpret_cast<ImTextureID>(static_cast<intptr_t>(1)));

    const vesmo::modular::ModuleID tools("ACME_tools");
    const char* types[] = {"bolt", "wrench", "drill", "cable", "fuel"};
    for (const char* type : types)
        InventoryUi::ItemCreatorFunctions[tools.String()][type] = [](const game::Item& r, unsigned long long rev) {
            return std::make_shared<InventoryUi::Item>(r, rev);
        };
    auto chest =
        InventoryUi::Make<InventoryUi>(game::UniqueId(1, 1), "Chest", static_cast<uint64_t>(items), false, true);
    chest->windowPos = ImVec2(100.0f, 40.0f);
    chest->windowSize = ImVec2(1080.0f, 640.0f);
    game::Inventory record{static_cast<uint64_t>(items), {}};
    for (int i = 0; i < items; ++i)
        record.items[std::to_string(i)] =
            game::Item{game::UniqueId(2, static_cast<uint64_t>(i + 1)), tools, types[i % 5], i % 7 + 1, {}};
    chest->UpdateInventory(record);
    chest->Show();

    auto oneFrame = [&] {
        ImGui::NewFrame();
        InventoryUi::UpdateUi();
        ImGui::Render();
    };
    for (int i = 0; i < 10; ++i)
        oneFrame();
    AllocationCounter::Reset();
    for (auto _ : state)
        oneFrame();
    state.counters["allocs/frame"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
    state.counters["vertices"] = static_cast<double>(ImGui::GetDrawData()->TotalVtxCount);
    InventoryUi::ItemCreatorFunctions.clear();
    chest.reset();
    ImGui::DestroyContext(context);
}
BENCHMARK(BM_InventoryFrame)->Arg(200);

} // namespace
