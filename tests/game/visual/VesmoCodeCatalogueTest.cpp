// Node classes through their JSON form, reopening program texts, and the history of the editor.
#include "game/visual/VesmoCodeEditor.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace {

using VesmoCodeEditor::Editor;
using json = nlohmann::json;
using game::graphics::ui::Node;

// One node of every class, with every setting away from its default.
std::vector<Node*> OneOfEach() {
    const ImVec2 at(12.5f, -3.0f);
    std::vector<Node*> nodes;
    auto* input = new Editor::InputNode(at);
    input->type = 1;
    input->index = -1;
    input->channel = 4;
    input->alias = "dial";
    nodes.push_back(input);
    auto* constNumber = new Editor::ConstNumberNode(at);
    constNumber->name = "g";
    constNumber->value = -9.81;
    nodes.push_back(constNumber);
    auto* constText = new Editor::ConstTextNode(at);
    constText->name = "hello";
    constText->value = "wor\"ld";
    nodes.push_back(constText);
    auto* varNumber = new Editor::VarNumberNode(at);
    varNumber->name = "n";
    nodes.push_back(varNumber);
    auto* varText = new Editor::VarTextNode(at);
    varText->name = "t";
    nodes.push_back(varText);
    nodes.push_back(new Editor::DelayNode(at));
    nodes.push_back(new Editor::BlinkerNode(at));
    nodes.push_back(new Editor::CounterNode(at));
    nodes.push_back(new Editor::SmoothNode(at));
    nodes.push_back(new Editor::ConditionalNode(at));
    nodes.push_back(new Editor::MathNode(at, "CLAMP"));
    nodes.push_back(new Editor::PIDControllerNode(at));
    auto* include = new Editor::IncludeNode(at);
    include->file = "other.vc";
    nodes.push_back(include);
    nodes.push_back(new Editor::PulseNode(at));
    nodes.push_back(new Editor::PulseToggleNode(at));
    nodes.push_back(new Editor::TimeNode(at));
    auto* output = new Editor::OutputNode(at);
    output->index = -1;
    output->alias = "screen";
    output->AddInput();
    output->inputTypes[1] = 1;
    nodes.push_back(output);
    auto* expression = new Editor::ExpressionNode(at);
    expression->expression = "a * b";
    nodes.push_back(expression);
    auto* statement = new Editor::StatementNode(at);
    statement->expression = "print(a)";
    nodes.push_back(statement);
    nodes.push_back(new Editor::ExecuteNode(at));
    auto* sw = new Editor::SwitchNode(at);
    sw->type = 1;
    nodes.push_back(sw);
    nodes.push_back(new Editor::PrintNode(at));
    auto* text = new Editor::TextNode(at);
    text->format = "{} km";
    nodes.push_back(text);
    for (Node* node : nodes) {
        auto* vesmo = dynamic_cast<Editor::VesmoNode*>(node);
        for (size_t i = 0; i < vesmo->inputValues.size(); ++i)
            vesmo->inputValues[i] = "v" + std::to_string(i);
        node->size = ImVec2(150.0f, 90.0f);
    }
    return nodes;
}

TEST(VesmoCodeCatalogue, EveryClassSurvivesItsJsonForm) {
    Editor editor;
    const auto nodes = OneOfEach();
    ASSERT_EQ(nodes.size(), 23u);
    for (Node* node : nodes) {
        const json first = node->Serialize();
        Node* copy = editor.DeserializeNode(first);
        ASSERT_NE(copy, nullptr) << first.dump();
        EXPECT_EQ(typeid(*copy), typeid(*node)) << first.dump();
        EXPECT_EQ(copy->Serialize(), first);
        EXPECT_EQ(copy->id, node->id);
        EXPECT_EQ(copy->hasOutput, node->hasOutput) << first.dump();
        delete copy;
        delete node;
    }
}

TEST(VesmoCodeCatalogue, JsonOfANodeHasTheBaseKeys) {
    Editor::BlinkerNode node(ImVec2(1.0f, 2.0f));
    const json form = node.Serialize();
    EXPECT_EQ(form.at("id").get<std::string>().size(), 28u);
    EXPECT_EQ(form.at("title"), "Blinker");
    EXPECT_EQ(form.at("pos"), (json{{"x", 1.0}, {"y", 2.0}}));
    EXPECT_EQ(form.at("inputs"), json::array({""}));
    // A setting's key is part of the file format (a round trip alone would not notice one dropped).
    Editor::InputNode input(ImVec2(0.0f, 0.0f));
    input.channel = 4;
    EXPECT_EQ(input.Serialize().at("channel"), 4);

    Editor editor;
    EXPECT_EQ(editor.DeserializeNode(json{{"class", "NoSuchNode"}}), nullptr);
    EXPECT_THROW(editor.DeserializeNode(json{{"class", "TimeNode"}}), json::exception);
    json badId = form;
    badId["id"] = "NODE12";
    EXPECT_THROW(delete editor.DeserializeNode(badId), std::runtime_error);
}

TEST(VesmoCodeCatalogue, VariableInputsKeepLiteralsAndTypesAligned) {
    Editor::PrintNode print(ImVec2(0.0f, 0.0f));
    print.AddInput();
    print.AddInput();
    print.inputValues = {"a", "b", "c"};
    print.inputTypes[2] = 1;
    EXPECT_EQ(print.inputs.size(), 3u);
    print.RemoveInput();
    EXPECT_EQ(print.inputs.size(), 2u);
    EXPECT_EQ(print.inputValues, (std::vector<std::string>{"a", "b"}));
    EXPECT_FALSE(print.inputTypes.contains(2));
    print.RemoveInput();
    print.RemoveInput();
    print.RemoveInput();
    EXPECT_TRUE(print.inputs.empty());
    EXPECT_TRUE(print.inputValues.empty());

    Editor::SwitchNode sw(ImVec2(0.0f, 0.0f));
    for (int i = 0; i < 5; ++i)
        sw.RemoveInput();
    EXPECT_EQ(sw.inputs.size(), 1u) << "the selector stays";
}

TEST(VesmoCodeCatalogue, MinimumSizesOfTheEditorHold) {
    EXPECT_EQ(Editor::PIDControllerNode(ImVec2(0.0f, 0.0f)).GetMinimumHeight(), 55.0f + 7 * 20.0f);
    Editor::TimeNode time(ImVec2(0.0f, 0.0f));
    EXPECT_EQ(time.GetMinimumHeight(), 55.0f);
    EXPECT_EQ(time.GetMinimumWidth(), 35.0f);
}

TEST(VesmoCodeCatalogue, GetNodeFindsVesmoNodesByIdOnly) {
    Editor editor;
    auto* blinker = new Editor::BlinkerNode(ImVec2(0.0f, 0.0f));
    auto* plain = new Node("plain", ImVec2(0.0f, 0.0f), {});
    editor.nodes = {blinker, plain};
    EXPECT_EQ(editor.GetNode<Editor::VesmoNode>(blinker->id), blinker);
    EXPECT_EQ(editor.GetNode<Editor::VesmoNode>(plain->id), nullptr);
    EXPECT_EQ(editor.GetNode<Node>(plain->id), plain);
    EXPECT_FALSE(editor.GetNode<Node>(game::UniqueId()) || editor.GetNode<Node>(game::UniqueId::Generate("NODE")));
}

TEST(VesmoCodeCatalogue, PaletteOfTheTextView) {
    const auto& palette = VesmoCodeEditor::GetVesmoPalette();
    ASSERT_EQ(palette.size(), 22u);
    EXPECT_EQ(palette[0], 0xE6E1DCFFu);
    EXPECT_EQ(palette[12], 0x00000040u);
    EXPECT_EQ(palette[15], 0xFF3000F0u);
    EXPECT_EQ(palette[21], 0xA0A0A040u);
    Editor editor;
    EXPECT_EQ(editor.textEditor.GetPalette(), palette);
}

// ---- reopening and history ----------------------------------------------------------------------------

// A program that uses most classes, wired.
void BuildProgram(Editor& editor) {
    auto* input = new Editor::InputNode(ImVec2(10.0f, 10.0f));
    auto* counter = new Editor::CounterNode(ImVec2(200.0f, 10.0f));
    counter->inputValues = {"1", "0", "", "10", ""};
    counter->inputs[4] = input->id;
    auto* pid = new Editor::PIDControllerNode(ImVec2(200.0f, 200.0f));
    pid->inputs[0] = counter->id;
    pid->inputValues[6] = "-1";
    auto* text = new Editor::TextNode(ImVec2(400.0f, 10.0f));
    text->format = "pid {}";
    text->inputs[0] = pid->id;
    auto* output = new Editor::OutputNode(ImVec2(600.0f, 10.0f));
    output->inputTypes[0] = 1;
    output->inputs[0] = text->id;
    editor.nodes = {input, counter, pid, text, output};
}

TEST(VesmoCodeCatalogue, ReopenedProgramGivesTheSameGraphAndText) {
    Editor first;
    first.programName = "ship-door.main.vc";
    BuildProgram(first);
    first.Serialize(true);
    const std::string text = first.textEditor.GetText();

    Editor second;
    second.programName = "ship-door.main.vc";
    ASSERT_TRUE(second.Open(text));
    EXPECT_EQ(second.textEditor.GetText(), text);
    ASSERT_EQ(second.nodes.size(), first.nodes.size());
    for (size_t i = 0; i < first.nodes.size(); ++i) {
        EXPECT_EQ(typeid(*second.nodes[i]), typeid(*first.nodes[i]));
        EXPECT_EQ(second.nodes[i]->Serialize(), first.nodes[i]->Serialize());
    }
    EXPECT_EQ(second.history.size(), 1u);

    // Text without a graph, or a broken one, leaves the editor as it was.
    EXPECT_FALSE(second.Open("update\n\tprint(1)\n"));
    EXPECT_FALSE(second.Open("#NODES {\"nodes\":[{\"class\":\"TimeNode\"}]}\n"));
    EXPECT_EQ(second.nodes.size(), 5u);
    EXPECT_EQ(second.textEditor.GetText(), text);
}

TEST(VesmoCodeCatalogue, HistoryUndoRedoAndItsLimit) {
    Editor editor;
    editor.programName = "h";
    editor.historyLimit = 3;
    auto snapshot = [&] { return editor.textEditor.GetText(); };
    std::vector<std::string> texts;
    for (int i = 0; i < 4; ++i) {
        editor.nodes.push_back(new Editor::TimeNode(ImVec2(0.0f, 0.0f)));
        editor.Serialize(true);
        texts.push_back(snapshot());
    }
    ASSERT_EQ(editor.history.size(), 3u) << "the oldest snapshot is dropped";
    EXPECT_EQ(editor.history.front()["nodes"].size(), 4u);

    EXPECT_TRUE(editor.Undo());
    EXPECT_EQ(std::tuple(editor.historyPosition, editor.nodes.size(), snapshot()), std::tuple(1u, 3u, texts[2]));
    EXPECT_TRUE(editor.Undo());
    EXPECT_FALSE(editor.Undo()) << "the oldest kept snapshot is the end";
    EXPECT_EQ(snapshot(), texts[1]);
    EXPECT_TRUE(editor.Redo());
    EXPECT_EQ(std::tuple(editor.historyPosition, snapshot()), std::tuple(1u, texts[2]));

    // New work after an undo drops the undone snapshots.
    editor.nodes.push_back(new Editor::BlinkerNode(ImVec2(0.0f, 0.0f)));
    editor.Serialize(true);
    EXPECT_EQ(std::tuple(editor.historyPosition, editor.history.size()), std::tuple(0u, 3u));
    EXPECT_FALSE(editor.Redo());
    EXPECT_EQ(editor.history[1]["nodes"].size(), 3u);

    editor.readOnly = true;
    EXPECT_FALSE(editor.Undo());
}

TEST(VesmoCodeCatalogue, RefreshRegeneratesOnlyAfterChanges) {
    Editor editor;
    editor.programName = "r";
    EXPECT_FALSE(editor.Refresh());
    auto* blinker = new Editor::BlinkerNode(ImVec2(0.0f, 0.0f));
    editor.nodes.push_back(blinker);
    blinker->changed = true;
    EXPECT_TRUE(editor.Refresh());
    EXPECT_FALSE(blinker->changed);
    EXPECT_EQ(editor.history.size(), 1u);
    EXPECT_FALSE(editor.Refresh());
}

} // namespace
