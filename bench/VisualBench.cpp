// Visual programming costs: generating the program text of a large graph, and one editor frame on a
// headless ImGui context (CPU only: the draw data is built, never rasterised).

#include "AllocationCounter.hpp"

#include "game/visual/VesmoCodeEditor.hpp"

#include <benchmark/benchmark.h>

namespace {

using VesmoCodeEditor::Editor;
using Node = game::graphics::ui::Node;

// Groups of five wired nodes: input -> counter, blinker, ADD(counter, blinker) -> output.
void BuildGraph(Editor& editor, int groups, float columnWidth, float rowHeight, int columns) {
    int slot = 0;
    auto place = [&] {
        const ImVec2 pos(static_cast<float>(slot % columns) * columnWidth,
                         static_cast<float>(slot / columns) * rowHeight);
        ++slot;
        return pos;
    };
    for (int g = 0; g < groups; ++g) {
        auto* input = new Editor::InputNode(place());
        input->index = g;
        auto* counter = new Editor::CounterNode(place());
        counter->inputValues = {"1", "0", "", "100", ""};
        counter->inputs[4] = input->id;
        auto* blinker = new Editor::BlinkerNode(place());
        blinker->inputs[0] = input->id;
        auto* add = new Editor::MathNode(place(), "ADD");
        add->inputs = {counter->id, blinker->id};
        auto* output = new Editor::OutputNode(place());
        output->index = g;
        output->inputs[0] = add->id;
        for (Node* node : std::initializer_list<Node*>{input, counter, blinker, add, output}) {
            node->size = ImVec2(columnWidth * 0.8f, 0.0f);
            editor.nodes.push_back(node);
        }
    }
}

} // namespace

static void BM_SerializeGraph(benchmark::State& state) {
    Editor editor;
    editor.programName = "bench";
    BuildGraph(editor, static_cast<int>(state.range(0)) / 5, 150.0f, 120.0f, 20);
    AllocationCounter::Reset();
    for (auto _ : state) {
        editor.Serialize(false);
        benchmark::DoNotOptimize(editor.textEditor.GetText().data());
    }
    state.counters["allocs/op"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
    state.counters["nodes"] = static_cast<double>(editor.nodes.size());
}
BENCHMARK(BM_SerializeGraph)->Arg(1000)->Unit(benchmark::kMillisecond);

// The floor under BM_SerializeGraph: only the JSON document of the same graph, built and dumped.
static void BM_GraphJsonOnly(benchmark::State& state) {
    Editor editor;
    BuildGraph(editor, static_cast<int>(state.range(0)) / 5, 150.0f, 120.0f, 20);
    AllocationCounter::Reset();
    for (auto _ : state) {
        nlohmann::json document = {{"nodes", nlohmann::json::array()}};
        for (Node* node : editor.nodes)
            document["nodes"].push_back(node->Serialize());
        std::string text = document.dump();
        benchmark::DoNotOptimize(text.data());
    }
    state.counters["allocs/op"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_GraphJsonOnly)->Arg(1000)->Unit(benchmark::kMillisecond);

static void BM_RenderFrame(benchmark::State& state) {
    ImGuiContext* context = ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.IniFilename = nullptr;
    io.DisplaySize = ImVec2(2560.0f, 1600.0f);
    io.DeltaTime = 1.0f / 60.0f;
    io.FontGlobalScale = 0.5f; // UI scale 1
    unsigned char* pixels = nullptr;
    int width = 0;
    int height = 0;
    io.Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);
    io.Fonts->SetTexID(reinterpret_cast<ImTextureID>(static_cast<intptr_t>(1)));
    io.MousePos = ImVec2(640.0f, 400.0f);
    {
        Editor editor;
        BuildGraph(editor, static_cast<int>(state.range(0)) / 5, 125.0f, 100.0f, 20);
        auto frame = [&] {
            ImGui::NewFrame();
            ImGui::SetNextWindowPos(ImVec2(0.0f, 0.0f));
            ImGui::SetNextWindowSize(io.DisplaySize);
            ImGui::Begin("canvas", nullptr,
                         ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoScrollbar |
                             ImGuiWindowFlags_NoScrollWithMouse | ImGuiWindowFlags_NoSavedSettings);
            editor.Render();
            ImGui::End();
            ImGui::Render();
        };
        frame(); // windows are created on the first frame
        AllocationCounter::Reset();
        for (auto _ : state)
            frame();
        state.counters["allocs/op"] =
            benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
        state.counters["vertices"] = static_cast<double>(ImGui::GetDrawData()->TotalVtxCount);
    }
    ImGui::DestroyContext(context);
}
BENCHMARK(BM_RenderFrame)->Arg(300)->Unit(benchmark::kMillisecond);
