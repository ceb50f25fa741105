// The node editor's gestures, made as a user makes them: mouse and keys into ImGuiIO, one frame at a time.
#include "game/graphics/ui/NodeEditor.hpp"

#include "support/ImGuiHarness.hpp"

#include <gtest/gtest.h>
#include <imgui_internal.h>

#include <cmath>

namespace {

using game::UniqueId;
using game::graphics::ui::Node;
using game::graphics::ui::NodeEditor;

ImVec2 operator+(ImVec2 a, ImVec2 b) { return ImVec2(a.x + b.x, a.y + b.y); }
ImVec2 operator-(ImVec2 a, ImVec2 b) { return ImVec2(a.x - b.x, a.y - b.y); }

ImVec2 operator*(ImVec2 a, float s) { return ImVec2(a.x * s, a.y * s); }

// Both coordinates of a point, each within `tolerance` (canvas and screen units: pixels at zoom 1).
testing::AssertionResult Near(ImVec2 actual, ImVec2 expected, float tolerance = 1e-3f) {
    if (std::abs(actual.x - expected.x) <= tolerance && std::abs(actual.y - expected.y) <= tolerance)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "(" << actual.x << ", " << actual.y << ") instead of (" << expected.x << ", "
                                       << expected.y << ")";
}

class NodeEditorTest : public ::testing::Test {
protected:
    void SetUp() override {
        NodeEditor::clipboard = nullptr;
        NodeEditor::clipboardFrom = nullptr;
        ui.SetBody([this] { editor.Render(); });
    }

    Node* Add(const std::string& title, ImVec2 pos, size_t inputCount) {
        Node* node = editor.CreateNode(title, pos, std::vector<UniqueId>(inputCount));
        node->size = ImVec2(100.0f, 0.0f);
        editor.nodes.push_back(node);
        return node;
    }

    // Canvas scale of the harness: the UI scale is 1, so just the zoom.
    float Scale() const { return editor.zoom; }
    ImVec2 ScreenOf(ImVec2 canvas) const {
        return ImVec2(ui.windowPos.x + (canvas.x + editor.pan.x) * Scale(),
                      ui.windowPos.y + (canvas.y + editor.pan.y) * Scale());
    }
    // The middle of a node's title bar.
    ImVec2 Title(const Node* node) const { return ScreenOf(node->pos) + ImVec2(node->size.x * Scale() * 0.5f, 4.0f); }
    // Just inside the node's bottom-right corner: the resize grip.
    ImVec2 Grip(const Node* node) const { return ScreenOf(node->pos + node->size) - ImVec2(3.0f, 3.0f); }
    ImVec2 In(const Node* node, size_t i) { return editor.inputPinPositions.at(node->id).at(i); }
    ImVec2 Out(const Node* node) { return editor.outputPinPositions.at(node->id); }
    // The first item of the open popup.
    ImVec2 FirstMenuItem() const {
        const ImGuiContext& g = *ImGui::GetCurrentContext();
        EXPECT_FALSE(g.OpenPopupStack.empty());
        const ImGuiWindow* popup = g.OpenPopupStack.back().Window;
        return popup->Pos + ImVec2(popup->WindowPadding.x + 6.0f, popup->WindowPadding.y + 3.0f);
    }
    void CtrlClick(ImVec2 p) {
        ui.Key(test::key::LeftControl, true);
        ui.Click(p);
        ui.Key(test::key::LeftControl, false);
    }
    void PressDelete() {
        ui.Key(test::key::Delete, true);
        ui.Step();
        ui.Key(test::key::Delete, false);
    }
    bool CanvasMenuOpen() {
        bool open = false;
        ui.Frame([&] {
            editor.Render();
            open = ImGui::IsPopupOpen("canvas");
        });
        return open;
    }

    test::ImGuiHarness ui;
    NodeEditor editor;
};

// ---- wires --------------------------------------------------------------------------------------------

TEST_F(NodeEditorTest, WireDraggedBetweenAnOutputAndAnInputFillsTheSlot) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    Node* b = Add("b", ImVec2(300.0f, 50.0f), 2);
    ui.Step();
    ui.Drag(Out(a), In(b, 1));
    EXPECT_EQ(b->inputs[1], a->id);
    EXPECT_TRUE(b->inputs[0].IsNull());
    EXPECT_TRUE(b->changed);
    EXPECT_TRUE(editor.changed);
    EXPECT_FALSE(a->dragOutput);

    // Dropping on the same input again changes nothing: the slot already holds this output.
    b->changed = false;
    ui.Drag(Out(a), In(b, 1));
    EXPECT_FALSE(b->changed);

    // The other way, from an input onto an output; a drop on empty canvas connects nothing.
    ui.Drag(In(b, 0), Out(a));
    EXPECT_EQ(b->inputs[0], a->id);
    EXPECT_EQ(b->dragInput, -1);
    b->inputs[1] = UniqueId();
    ui.Drag(In(b, 1), ImVec2(600.0f, 500.0f));
    EXPECT_TRUE(b->inputs[1].IsNull());
}

TEST_F(NodeEditorTest, RightClickDuringAnOutputDragConnectsSeveralInputs) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    Node* b = Add("b", ImVec2(300.0f, 50.0f), 1);
    Node* c = Add("c", ImVec2(300.0f, 250.0f), 1);
    ui.Step();
    ui.MoveTo(Out(a));
    ui.Press(0);
    ui.DragTo(Out(a), In(b, 0));
    ui.Press(1);
    ui.Release(1);
    EXPECT_EQ(b->inputs[0], a->id);
    ui.DragTo(In(b, 0), In(c, 0));
    ui.Release(0);
    EXPECT_EQ(c->inputs[0], a->id);
    EXPECT_FALSE(CanvasMenuOpen());
}

TEST_F(NodeEditorTest, WiresThatWouldCloseACycleAreRefused) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 1);
    Node* b = Add("b", ImVec2(300.0f, 50.0f), 1);
    b->inputs[0] = a->id;
    ui.Step();
    ui.Drag(Out(b), In(a, 0));
    EXPECT_TRUE(a->inputs[0].IsNull());
    ui.Drag(Out(a), In(a, 0));
    EXPECT_TRUE(a->inputs[0].IsNull()) << "no wire from a node to itself";

    // Deeper chains: e <- d <- c <- b <- a; a may not take e.
    Node* c = Add("c", ImVec2(0.0f, 0.0f), 1);
    Node* d = Add("d", ImVec2(0.0f, 0.0f), 1);
    Node* e = Add("e", ImVec2(0.0f, 0.0f), 1);
    c->inputs[0] = b->id;
    d->inputs[0] = c->id;
    e->inputs[0] = d->id;
    EXPECT_EQ(std::tuple(editor.CanConnectInputToOutput(a, 0, e), editor.CanConnectInputToOutput(a, 0, d),
                         editor.CanConnectInputToOutput(e, 0, a), editor.CanConnectInputToOutput(nullptr, 0, a)),
              std::tuple(false, false, true, false));
    EXPECT_EQ(std::tuple(editor.NodeDependsOn(e, a), editor.NodeDependsOn(a, e)), std::tuple(true, false));
}

TEST_F(NodeEditorTest, DoubleClickOnAPinDisconnects) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    Node* b = Add("b", ImVec2(300.0f, 50.0f), 2);
    Node* c = Add("c", ImVec2(300.0f, 250.0f), 1);
    b->inputs = {a->id, a->id};
    c->inputs = {a->id};
    ui.Step();
    ui.DoubleClick(In(b, 1));
    EXPECT_TRUE(b->inputs[1].IsNull());
    EXPECT_EQ(b->inputs[0], a->id);
    ui.DoubleClick(Out(a));
    EXPECT_TRUE(b->inputs[0].IsNull() && c->inputs[0].IsNull() && c->changed);
}

TEST_F(NodeEditorTest, PinMenusDisconnect) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    Node* b = Add("b", ImVec2(300.0f, 50.0f), 2);
    Node* c = Add("c", ImVec2(300.0f, 250.0f), 1);
    b->inputs = {a->id, a->id};
    c->inputs = {a->id};
    ui.Step();
    ui.Click(In(b, 0), 1);
    ui.Click(FirstMenuItem()); // "Disconnect"
    EXPECT_TRUE(b->inputs[0].IsNull());
    EXPECT_EQ(b->inputs[1], a->id);

    ui.Click(Out(a), 1);
    ui.Click(FirstMenuItem()); // "Disconnect from all input nodes"
    ui.Step();
    EXPECT_TRUE(b->inputs[1].IsNull());
    EXPECT_TRUE(c->inputs[0].IsNull());
}

// ---- moving, resizing, selecting ----------------------------------------------------------------------

TEST_F(NodeEditorTest, TitleDragMovesSnapsAndStopsAtTheWindowEdge) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    ui.Step();
    ui.Drag(Title(a), Title(a) + ImVec2(40.0f, 30.0f));
    EXPECT_TRUE(Near(a->pos, ImVec2(90.0f, 80.0f)));
    EXPECT_TRUE(editor.changed);
    EXPECT_EQ(editor.draggingNode, nullptr);

    ui.Key(test::key::LeftShift, true);
    ui.Drag(Title(a), Title(a) + ImVec2(43.0f, 26.0f));
    ui.Key(test::key::LeftShift, false);
    EXPECT_TRUE(Near(a->pos, ImVec2(130.0f, 110.0f)));

    // Past the right edge: the centre stops on it.
    ui.Drag(Title(a), ImVec2(1250.0f, Title(a).y));
    EXPECT_FLOAT_EQ(a->pos.x + a->size.x * 0.5f, ui.windowSize.x);
}

TEST_F(NodeEditorTest, SelectedNodesFollowTheDraggedOne) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    Node* b = Add("b", ImVec2(300.0f, 50.0f), 0);
    ui.Step();
    CtrlClick(Title(b));
    ASSERT_TRUE(b->selected);
    ui.Drag(Title(a), Title(a) + ImVec2(20.0f, 10.0f));
    EXPECT_FLOAT_EQ(a->pos.x, 70.0f);
    EXPECT_TRUE(Near(b->pos, ImVec2(320.0f, 60.0f)));
}

TEST_F(NodeEditorTest, GripResizesWithinTheLimits) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    ui.Step();
    const ImVec2 before = a->size;
    ui.Drag(Grip(a), Grip(a) + ImVec2(50.0f, 40.0f));
    EXPECT_TRUE(Near(a->size, ImVec2(before.x + 47.0f, before.y + 37.0f), 0.01f));
    EXPECT_TRUE(editor.changed);
    ui.Drag(Grip(a), ScreenOf(a->pos) + ImVec2(1.0f, 1.0f));
    EXPECT_TRUE(Near(a->size, ImVec2(a->GetMinimumWidth(), a->GetMinimumHeight())));
}

TEST_F(NodeEditorTest, BandCtrlClickAndEmptyClickSelect) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    Node* b = Add("b", ImVec2(400.0f, 300.0f), 0);
    ui.Step();
    ui.Drag(ScreenOf(ImVec2(20.0f, 20.0f)), ScreenOf(ImVec2(200.0f, 150.0f)));
    EXPECT_TRUE(a->selected);
    EXPECT_FALSE(b->selected);
    EXPECT_FALSE(editor.rectSelecting);

    CtrlClick(Title(b));
    EXPECT_TRUE(a->selected);
    EXPECT_TRUE(b->selected);

    ui.Click(ScreenOf(ImVec2(600.0f, 50.0f)));
    EXPECT_FALSE(a->selected);
    EXPECT_FALSE(b->selected);
}

TEST_F(NodeEditorTest, MinimumHeightCountsInputsBeyondTheFirst) {
    Node three("n", ImVec2(0.0f, 0.0f), std::vector<UniqueId>(3));
    EXPECT_FLOAT_EQ(three.GetMinimumHeight(), 95.0f);
    Node none("n", ImVec2(0.0f, 0.0f), {});
    EXPECT_FLOAT_EQ(none.GetMinimumHeight(), 55.0f);
    none.resizable = false;
    EXPECT_FLOAT_EQ(none.GetMinimumHeight(), 45.0f);
}

// ---- clipboard and deletion ---------------------------------------------------------------------------

TEST_F(NodeEditorTest, CopyPasteRenewsIdsAndKeepsOnlyInternalWires) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    Node* b = Add("b", ImVec2(250.0f, 50.0f), 2);
    Node* outside = Add("outside", ImVec2(50.0f, 300.0f), 0);
    b->inputs = {a->id, outside->id};
    ui.Step();
    ui.Drag(ScreenOf(ImVec2(20.0f, 20.0f)), ScreenOf(ImVec2(370.0f, 150.0f)));
    ASSERT_TRUE(a->selected && b->selected && !outside->selected);

    ui.MoveTo(ScreenOf(ImVec2(400.0f, 400.0f)));
    ui.Shortcut(test::key::C);
    ASSERT_EQ(NodeEditor::clipboard.size(), 2u);
    EXPECT_FALSE(a->selected);
    ui.Shortcut(test::key::V);
    ASSERT_EQ(editor.nodes.size(), 5u);
    Node* a2 = editor.nodes[3];
    Node* b2 = editor.nodes[4];
    EXPECT_NE(a2->id, a->id);
    EXPECT_NE(b2->id, b->id);
    EXPECT_EQ(b2->inputs[0], a2->id) << "the wire inside the group follows it";
    EXPECT_TRUE(b2->inputs[1].IsNull()) << "the wire from outside is cleared";
    EXPECT_TRUE(a2->selected && b2->selected);
    // The group's centre lands on the mouse.
    EXPECT_TRUE(Near((a2->pos + b2->pos) * 0.5f, ImVec2(400.0f, 400.0f)));

    // A second paste of the same clipboard: same place, new ids, no internal wires.
    ui.Shortcut(test::key::V);
    ASSERT_EQ(editor.nodes.size(), 7u);
    Node* a3 = editor.nodes[5];
    Node* b3 = editor.nodes[6];
    EXPECT_NE(a3->id, a2->id);
    EXPECT_TRUE(b3->inputs[0].IsNull());
    EXPECT_FLOAT_EQ(a3->pos.x, a2->pos.x);
    EXPECT_FLOAT_EQ(b3->pos.y, b2->pos.y);
}

TEST_F(NodeEditorTest, SystemClipboardTextWinsOverTheNodeClipboard) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    ui.Step();
    a->selected = true;
    ui.Shortcut(test::key::C);
    ImGui::SetClipboardText("some text the user copied since");
    ui.Shortcut(test::key::V);
    EXPECT_EQ(editor.nodes.size(), 1u);

    // Copy with nothing selected empties the node clipboard and leaves the system's alone.
    ui.Shortcut(test::key::C);
    EXPECT_TRUE(NodeEditor::clipboard.empty());
    EXPECT_STREQ(ImGui::GetClipboardText(), "some text the user copied since");
}

TEST_F(NodeEditorTest, CtrlDDuplicatesAtTheMouse) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    ui.Step();
    a->selected = true;
    ui.MoveTo(ScreenOf(ImVec2(500.0f, 300.0f)));
    ui.Shortcut(test::key::D);
    ASSERT_EQ(editor.nodes.size(), 2u);
    EXPECT_FLOAT_EQ(editor.nodes[1]->pos.x, 500.0f);
    EXPECT_TRUE(editor.nodes[1]->selected);
    EXPECT_FALSE(a->selected);
}

class SingletonNode : public Node {
public:
    using Node::Node;
    bool CanClone() const override { return false; }
};

class SingletonEditor : public NodeEditor {
public:
    Node* DeserializeNode(const nlohmann::json& json) override { return new SingletonNode(json); }
};

TEST_F(NodeEditorTest, NodesThatCantCloneArePastedOnlyIntoAnotherEditor) {
    SingletonEditor first;
    SingletonEditor second;
    auto* only = new SingletonNode("only", ImVec2(50.0f, 50.0f), {});
    first.nodes.push_back(only);
    ui.SetBody([&] { first.Render(); });
    ui.Step();
    only->selected = true;
    ui.Shortcut(test::key::D);
    EXPECT_EQ(first.nodes.size(), 1u);
    EXPECT_TRUE(first.changed);

    ui.SetBody([&] { second.Render(); });
    ui.Step();
    ui.Shortcut(test::key::V);
    ASSERT_EQ(second.nodes.size(), 1u);
    EXPECT_EQ(second.nodes[0]->title, "only");
}

TEST_F(NodeEditorTest, DeleteKeyAndNodeMenuDestroyNodesAndTheirWires) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    Node* b = Add("b", ImVec2(300.0f, 50.0f), 1);
    Node* c = Add("c", ImVec2(300.0f, 250.0f), 1);
    b->inputs[0] = a->id;
    c->inputs[0] = b->id;
    ui.Step();
    a->selected = true;
    PressDelete();
    ASSERT_EQ(editor.nodes.size(), 2u);
    EXPECT_TRUE(b->inputs[0].IsNull());
    EXPECT_TRUE(b->changed);

    ui.Click(Title(b), 1);
    ui.Click(FirstMenuItem());
    ASSERT_EQ(editor.nodes.size(), 1u);
    EXPECT_EQ(editor.nodes[0], c);
    EXPECT_TRUE(c->inputs[0].IsNull());
}

TEST_F(NodeEditorTest, CanvasMenuAddsANodeCentredOnTheClick) {
    ui.Step();
    ui.Click(ScreenOf(ImVec2(300.0f, 200.0f)), 1);
    ui.Click(FirstMenuItem());
    ASSERT_EQ(editor.nodes.size(), 1u);
    const Node* node = editor.nodes[0];
    EXPECT_EQ(node->title, "New Node");
    EXPECT_EQ(node->inputs.size(), 2u);
    EXPECT_TRUE(Near(node->pos + node->size * 0.5f, ImVec2(300.0f, 200.0f)));
}

// ---- pan and zoom -------------------------------------------------------------------------------------

TEST_F(NodeEditorTest, WheelZoomKeepsThePointUnderThePointer) {
    ui.Step();
    const ImVec2 mouse = ui.windowPos + ImVec2(320.0f, 210.0f);
    auto canvasUnder = [&] {
        return ImVec2((mouse.x - ui.windowPos.x) / editor.zoom - editor.pan.x,
                      (mouse.y - ui.windowPos.y) / editor.zoom - editor.pan.y);
    };
    const ImVec2 before = canvasUnder();
    ui.Wheel(mouse, 1.0f);
    EXPECT_FLOAT_EQ(editor.zoom, 1.125f);
    EXPECT_TRUE(Near(canvasUnder(), before));
    ui.Wheel(mouse, -3.0f);
    EXPECT_FLOAT_EQ(editor.zoom, 1.0f) << "a step that lands near 1 snaps to 1";
    ui.Wheel(mouse, -1.0f);
    EXPECT_FLOAT_EQ(editor.zoom, 0.875f);
    EXPECT_NEAR(canvasUnder().x, before.x, 1e-3f);
    for (int i = 0; i < 40; ++i)
        ui.Wheel(mouse, 1.0f);
    EXPECT_FLOAT_EQ(editor.zoom, 2.0f) << "at most 2 / UI scale";
}

TEST_F(NodeEditorTest, RightDragPansWithoutOpeningTheMenuAndPanIsClamped) {
    ui.Step();
    const ImVec2 from = ScreenOf(ImVec2(300.0f, 300.0f));
    ui.Drag(from, from + ImVec2(100.0f, 50.0f), 1);
    EXPECT_TRUE(Near(editor.pan, ImVec2(100.0f, 50.0f)));
    EXPECT_FALSE(CanvasMenuOpen());

    editor.pan = ImVec2(-10000.0f, 90000.0f);
    ui.Step();
    EXPECT_TRUE(Near(editor.pan, ImVec2(-4000.0f, 40000.0f)));
}

// ---- read-only ----------------------------------------------------------------------------------------

TEST_F(NodeEditorTest, ReadOnlyRefusesEditsButPansZoomsSelectsAndCopies) {
    Node* a = Add("a", ImVec2(50.0f, 50.0f), 0);
    Node* b = Add("b", ImVec2(300.0f, 50.0f), 1);
    editor.readOnly = true;
    ui.Step();
    const nlohmann::json before = {a->Serialize(), b->Serialize()};

    ui.Drag(Out(a), In(b, 0));
    ui.Drag(Title(a), Title(a) + ImVec2(40.0f, 30.0f));
    ui.Drag(Grip(b), Grip(b) + ImVec2(40.0f, 30.0f));
    ui.Click(ScreenOf(ImVec2(500.0f, 400.0f)), 1);
    EXPECT_FALSE(CanvasMenuOpen());
    EXPECT_EQ(before, (nlohmann::json{a->Serialize(), b->Serialize()}));

    CtrlClick(Title(a));
    EXPECT_TRUE(a->selected);
    ui.Shortcut(test::key::C);
    EXPECT_EQ(NodeEditor::clipboard.size(), 1u);
    ui.Shortcut(test::key::V);
    a->selected = true;
    PressDelete();
    editor.DestroyNode(b);
    editor.ClearAllNodes();
    EXPECT_EQ(editor.nodes.size(), 2u);
    EXPECT_FALSE(editor.changed);

    ui.Drag(ScreenOf(ImVec2(500.0f, 400.0f)), ScreenOf(ImVec2(520.0f, 410.0f)), 1);
    EXPECT_FLOAT_EQ(editor.pan.x, 20.0f);
    ui.Wheel(ScreenOf(ImVec2(500.0f, 400.0f)), -1.0f);
    EXPECT_FLOAT_EQ(editor.zoom, 0.875f);
}

TEST_F(NodeEditorTest, DestroyAndClearKeepOtherNodesConsistent) {
    Node* a = Add("a", ImVec2(0.0f, 0.0f), 0);
    Node* b = Add("b", ImVec2(0.0f, 0.0f), 2);
    b->inputs = {a->id, a->id};
    editor.DestroyNode(a);
    editor.nodes.erase(editor.nodes.begin());
    EXPECT_TRUE(b->inputs[0].IsNull() && b->inputs[1].IsNull());
    EXPECT_TRUE(b->changed && editor.changed);
    editor.ClearAllNodes();
    EXPECT_TRUE(editor.nodes.empty());
}

} // namespace
