// The program editor driven through the canvas: the node palette, undo and redo keys, read-only nodes.
#include "game/visual/VesmoCodeEditor.hpp"

#include "support/ImGuiHarness.hpp"

#include <gtest/gtest.h>
#include <imgui_internal.h>

namespace {

using VesmoCodeEditor::Editor;

ImVec2 operator+(ImVec2 a, ImVec2 b) { return ImVec2(a.x + b.x, a.y + b.y); }

class VesmoCodeEditorTest : public ::testing::Test {
protected:
    void SetUp() override {
        editor.programName = "demo";
        ui.SetBody([this] {
            editor.Render();
            editor.Refresh();
        });
    }
    // The first item of the innermost open popup.
    static ImVec2 FirstMenuItem() {
        const ImGuiContext& g = *ImGui::GetCurrentContext();
        EXPECT_FALSE(g.OpenPopupStack.empty());
        const ImGuiWindow* popup = g.OpenPopupStack.back().Window;
        return popup->Pos + ImVec2(popup->WindowPadding.x + 6.0f, popup->WindowPadding.y + 3.0f);
    }
    void AddFromPalette(ImVec2 at) {
        ui.Click(at, 1);
        ui.MoveTo(FirstMenuItem()); // "Values" opens its submenu on hover
        ui.Step(2);
        ui.Click(FirstMenuItem());
    }

    test::ImGuiHarness ui;
    Editor editor;
};

TEST_F(VesmoCodeEditorTest, PaletteAddsANodeAndTheTextFollows) {
    ui.Step();
    AddFromPalette(ui.windowPos + ImVec2(300.0f, 200.0f));
    ASSERT_EQ(editor.nodes.size(), 1u);
    EXPECT_NE(dynamic_cast<Editor::InputNode*>(editor.nodes[0]), nullptr);
    EXPECT_FLOAT_EQ(editor.nodes[0]->pos.x + editor.nodes[0]->size.x * 0.5f, 300.0f);
    EXPECT_EQ(editor.history.size(), 1u);
    EXPECT_NE(editor.textEditor.GetText().find("\"class\":\"InputNode\""), std::string::npos);
}

TEST_F(VesmoCodeEditorTest, UndoAndRedoKeysStepThroughTheHistory) {
    ui.Step();
    AddFromPalette(ui.windowPos + ImVec2(200.0f, 200.0f));
    AddFromPalette(ui.windowPos + ImVec2(500.0f, 200.0f));
    ASSERT_EQ(editor.nodes.size(), 2u);
    ASSERT_EQ(editor.history.size(), 2u);

    ui.Shortcut(test::key::Z);
    EXPECT_EQ(std::tuple(editor.nodes.size(), editor.historyPosition), std::tuple(1u, 1u));
    ui.Shortcut(test::key::Y);
    EXPECT_EQ(std::tuple(editor.nodes.size(), editor.historyPosition), std::tuple(2u, 0u));
    EXPECT_EQ(editor.history.size(), 2u) << "stepping through the history pushes nothing";
}

TEST_F(VesmoCodeEditorTest, ReadOnlyEditorOffersNoPaletteAndNoUndo) {
    auto* blinker = new Editor::BlinkerNode(ImVec2(100.0f, 100.0f));
    editor.nodes.push_back(blinker);
    editor.Serialize(true);
    editor.nodes.push_back(new Editor::TimeNode(ImVec2(300.0f, 100.0f)));
    editor.Serialize(true);
    editor.readOnly = true;
    ui.Step();
    ui.Click(ui.windowPos + ImVec2(500.0f, 400.0f), 1);
    EXPECT_TRUE(ImGui::GetCurrentContext()->OpenPopupStack.empty());
    ui.Shortcut(test::key::Z);
    EXPECT_EQ(std::tuple(editor.nodes.size(), editor.historyPosition), std::tuple(2u, 0u));
    EXPECT_FALSE(Editor::VesmoNode::_locked) << "the lock lives for the editor's frame only";
}

TEST_F(VesmoCodeEditorTest, EveryClassDrawsEditableAndLocked) {
    const ImVec2 at(0.0f, 0.0f);
    std::vector<game::graphics::ui::Node*> all = {
        new Editor::InputNode(at),       new Editor::ConstNumberNode(at),  new Editor::ConstTextNode(at),
        new Editor::VarNumberNode(at),   new Editor::VarTextNode(at),      new Editor::DelayNode(at),
        new Editor::BlinkerNode(at),     new Editor::CounterNode(at),      new Editor::SmoothNode(at),
        new Editor::ConditionalNode(at), new Editor::MathNode(at, "LERP"), new Editor::PIDControllerNode(at),
        new Editor::IncludeNode(at),     new Editor::PulseNode(at),        new Editor::PulseToggleNode(at),
        new Editor::TimeNode(at),        new Editor::OutputNode(at),       new Editor::ExpressionNode(at),
        new Editor::StatementNode(at),   new Editor::ExecuteNode(at),      new Editor::SwitchNode(at),
        new Editor::PrintNode(at),       new Editor::TextNode(at)};
    for (size_t i = 0; i < all.size(); ++i) {
        all[i]->pos = ImVec2(static_cast<float>(i % 6) * 130.0f, static_cast<float>(i / 6) * 150.0f);
        editor.nodes.push_back(all[i]);
    }
    for (const bool locked : {false, true}) {
        editor.readOnly = locked;
        for (size_t i = 0; i < all.size(); ++i)
            ui.MoveTo(ui.windowPos + ImVec2(all[i]->pos.x + 60.0f, all[i]->pos.y + 30.0f));
    }
    EXPECT_EQ(std::tuple(editor.nodes.size(), editor.inputPinPositions.size()), std::tuple(all.size(), all.size()));
    EXPECT_EQ(editor.outputPinPositions.size(), all.size() - 4) << "outputs, prints, executes, includes: no pin";
}

TEST_F(VesmoCodeEditorTest, LiteralTypedIntoANodeRegeneratesTheTextAndKeepsKeysFromTheCanvas) {
    auto* blinker = new Editor::BlinkerNode(ImVec2(100.0f, 100.0f));
    auto* output = new Editor::OutputNode(ImVec2(400.0f, 100.0f));
    output->inputs[0] = blinker->id;
    editor.nodes = {blinker, output};
    blinker->size.y = blinker->GetMinimumHeight();
    ui.Step();

    // The literal field of input 0 stands beside its pin, below the title bar.
    const float titleHeight = ImGui::GetFontSize() * 1.5f;
    const ImVec2 field = ui.windowPos + ImVec2(100.0f + 16.0f + 10.0f, 100.0f + titleHeight + 6.0f);
    ui.Click(field);
    ui.Type("2");
    blinker->selected = true;        // the click into the field cleared the selection
    ui.Key(test::key::Delete, true); // the field's key, not the canvas's
    ui.Step();
    ui.Key(test::key::Delete, false);
    ui.Step();
    ASSERT_EQ(editor.nodes.size(), 2u);
    ui.Click(ui.windowPos + ImVec2(600.0f, 500.0f)); // the field loses the keyboard: the edit is done
    EXPECT_EQ(blinker->inputValues[0], "2");
    EXPECT_NE(editor.textEditor.GetText().find("round(time / 2) % 2 == 0"), std::string::npos)
        << editor.textEditor.GetText();
}

} // namespace
