// The editor around the graph: node palette, class lookup, reopening a program text, undo and redo.
#include "game/visual/VesmoCodeEditor.hpp"
#include "vesmo/input/CodeNames.hpp"

#include <functional>
#include <iostream>

namespace VesmoCodeEditor {

using json = nlohmann::json;
using game::graphics::ui::Node;

const std::array<std::string, 2> Editor::TYPES = {"number", "text"};
const std::array<std::string, 2> Editor::DEFAULT_TYPES_VAL = {"0", "\"\""};

namespace {

// The window reports GLFW's key codes into ImGuiIO::KeysDown[] (ImGui 1.86 has no named keys).
using vesmo::input::KEY_LEFT_CONTROL;
using vesmo::input::KEY_LEFT_SHIFT;
using vesmo::input::KEY_Y;
using vesmo::input::KEY_Z;

using Factory = std::function<Node*(const json&)>;

template <class T> Factory Make() {
    return [](const json& json) -> Node* { return new T(json); };
}

const std::unordered_map<std::string, Factory>& Factories() {
    using E = Editor;
    static const std::unordered_map<std::string, Factory> factories = {
        {"InputNode", Make<E::InputNode>()},
        {"ConstNumberNode", Make<E::ConstNumberNode>()},
        {"ConstTextNode", Make<E::ConstTextNode>()},
        {"VarNumberNode", Make<E::VarNumberNode>()},
        {"VarTextNode", Make<E::VarTextNode>()},
        {"DelayNode", Make<E::DelayNode>()},
        {"BlinkerNode", Make<E::BlinkerNode>()},
        {"CounterNode", Make<E::CounterNode>()},
        {"SmoothNode", Make<E::SmoothNode>()},
        {"ConditionalNode", Make<E::ConditionalNode>()},
        {"MathNode", Make<E::MathNode>()},
        {"PIDControllerNode", Make<E::PIDControllerNode>()},
        {"IncludeNode", Make<E::IncludeNode>()},
        {"PulseNode", Make<E::PulseNode>()},
        {"PulseToggleNode", Make<E::PulseToggleNode>()},
        {"TimeNode", Make<E::TimeNode>()},
        {"OutputNode", Make<E::OutputNode>()},
        {"ExpressionNode", Make<E::ExpressionNode>()},
        {"StatementNode", Make<E::StatementNode>()},
        {"ExecuteNode", Make<E::ExecuteNode>()},
        {"SwitchNode", Make<E::SwitchNode>()},
        {"PrintNode", Make<E::PrintNode>()},
        {"TextNode", Make<E::TextNode>()},
    };
    return factories;
}

} // namespace

const game::graphics::ui::TextEditor::Palette& GetVesmoPalette() {
    static const game::graphics::ui::TextEditor::Palette palette = {
        0xE6E1DCFF, 0x5094D4FF, 0xCEC083FF, 0xCA7F53FF, 0xF3E77BFF, 0xDD7E7AFF, 0x808040FF, 0x72C56BFF,
        0x8BD1FFFF, 0xA040C0FF, 0x7C7E81FF, 0x7C7E81FF, 0x00000040, 0xE0E0E0FF, 0x2060A080, 0xFF3000F0,
        0x50505050, 0x0080F040, 0x7C7E81FF, 0x00000040, 0x80808040, 0xA0A0A040};
    return palette;
}

Editor::Editor() { textEditor.SetPalette(GetVesmoPalette()); }

Node* Editor::DeserializeNode(const json& json) {
    const auto kind = json.find("class");
    // Graphs may hold plain nodes; the generator skips them.
    if (kind == json.end())
        return NodeEditor::DeserializeNode(json);
    const auto factory = Factories().find(kind->get<std::string>());
    return factory != Factories().end() ? factory->second(json) : nullptr;
}

void Editor::AddNode(Node* node, ImVec2 pos) {
    node->size.x = std::max(node->size.x, node->GetMinimumWidth());
    node->size.y = std::max(node->size.y, node->GetMinimumHeight());
    // Tall enough for its rows (title bar, 20 units per input or setting, a margin); the minimum height
    // of the editor counts inputs only, and the user may still shrink the node to it.
    if (const auto* vesmo = dynamic_cast<const VesmoNode*>(node))
        node->size.y =
            std::max(node->size.y, 30.0f + 20.0f * static_cast<float>(node->inputs.size() + vesmo->SettingRows()));
    node->pos = ImVec2(pos.x - node->size.x * 0.5f, pos.y - node->size.y * 0.5f);
    nodes.push_back(node);
    changed = true;
}

void Editor::ContextMenu(ImVec2 pos) {
    struct Item {
        const char* label;
        std::function<Node*(ImVec2)> make;
    };
    const Item values[] = {
        {"Input", [](ImVec2 p) { return new InputNode(p); }},
        {"Constant number", [](ImVec2 p) { return new ConstNumberNode(p); }},
        {"Constant text", [](ImVec2 p) { return new ConstTextNode(p); }},
        {"Number variable", [](ImVec2 p) { return new VarNumberNode(p); }},
        {"Text variable", [](ImVec2 p) { return new VarTextNode(p); }},
        {"Time", [](ImVec2 p) { return new TimeNode(p); }},
        {"Expression", [](ImVec2 p) { return new ExpressionNode(p); }},
        {"Text", [](ImVec2 p) { return new TextNode(p); }},
        {"Switch", [](ImVec2 p) { return new SwitchNode(p); }},
    };
    const Item logic[] = {
        {"Delay", [](ImVec2 p) { return new DelayNode(p); }},
        {"Blinker", [](ImVec2 p) { return new BlinkerNode(p); }},
        {"Counter", [](ImVec2 p) { return new CounterNode(p); }},
        {"Smooth", [](ImVec2 p) { return new SmoothNode(p); }},
        {"Pulse", [](ImVec2 p) { return new PulseNode(p); }},
        {"Pulse toggle", [](ImVec2 p) { return new PulseToggleNode(p); }},
        {"PID controller", [](ImVec2 p) { return new PIDControllerNode(p); }},
    };
    const Item statements[] = {
        {"Output", [](ImVec2 p) { return new OutputNode(p); }},
        {"Print", [](ImVec2 p) { return new PrintNode(p); }},
        {"Conditional", [](ImVec2 p) { return new ConditionalNode(p); }},
        {"Statement", [](ImVec2 p) { return new StatementNode(p); }},
        {"Execute", [](ImVec2 p) { return new ExecuteNode(p); }},
        {"Include", [](ImVec2 p) { return new IncludeNode(p); }},
    };
    auto menu = [&](const char* name, const auto& items) {
        if (!ImGui::BeginMenu(name))
            return;
        for (const Item& item : items)
            if (ImGui::MenuItem(item.label))
                AddNode(item.make(pos), pos);
        ImGui::EndMenu();
    };
    menu("Values", values);
    menu("Logic", logic);
    if (ImGui::BeginMenu("Math")) {
        for (const std::string& operation : MathNode::Operations())
            if (ImGui::MenuItem(operation.c_str()))
                AddNode(new MathNode(pos, operation), pos);
        ImGui::EndMenu();
    }
    menu("Statements", statements);
}

void Editor::LoadDocument(const json& document) {
    std::vector<Node*> loaded;
    try {
        for (const auto& entry : document.at("nodes")) {
            Node* node = DeserializeNode(entry);
            if (node != nullptr)
                loaded.push_back(node);
        }
    } catch (...) {
        for (Node* node : loaded)
            delete node;
        throw;
    }
    // Loading replaces the graph wholesale, read-only or not: it is not an edit of the graph.
    for (Node* node : nodes)
        delete node;
    nodes = std::move(loaded);
    inputPinPositions.clear();
    outputPinPositions.clear();
    draggingNode = nullptr;
    resizingNode = nullptr;
    changed = false;
}

bool Editor::Open(const std::string& text) {
    const std::string marker = "#NODES ";
    const size_t start = text.find(marker);
    if (start == std::string::npos) {
        std::cerr << "No node graph in program " << programName << std::endl;
        return false;
    }
    const size_t from = start + marker.size();
    const size_t end = text.find('\n', from);
    try {
        const json document = json::parse(text.substr(from, end == std::string::npos ? std::string::npos : end - from));
        LoadDocument(document);
    } catch (const std::exception& error) {
        std::cerr << "Unreadable node graph in program " << programName << ": " << error.what() << std::endl;
        return false;
    }
    history.clear();
    historyPosition = 0;
    Serialize(true);
    return true;
}

bool Editor::Undo() {
    if (readOnly || historyPosition + 1 >= history.size())
        return false;
    ++historyPosition;
    LoadDocument(history[historyPosition]);
    Serialize(false);
    return true;
}

bool Editor::Redo() {
    if (readOnly || historyPosition == 0 || history.empty())
        return false;
    --historyPosition;
    LoadDocument(history[historyPosition]);
    Serialize(false);
    return true;
}

bool Editor::Refresh() {
    bool dirty = changed;
    for (Node* node : nodes) {
        dirty = dirty || node->changed;
        node->changed = false;
    }
    changed = false;
    if (dirty)
        Serialize(true);
    return dirty;
}

bool Editor::Render() {
    VesmoNode::_locked = readOnly;
    const bool focused = NodeEditor::Render();
    VesmoNode::_locked = false;
    if (!focused) {
        _undoArmed = _redoArmed = false;
        return focused;
    }
    const bool* keys = ImGui::GetIO().KeysDown;
    const bool ctrl = keys[KEY_LEFT_CONTROL] && !ImGui::GetIO().WantTextInput; // a text field has its own undo
    const bool redoKeys = ctrl && (keys[KEY_Y] || (keys[KEY_Z] && keys[KEY_LEFT_SHIFT]));
    const bool undoKeys = ctrl && keys[KEY_Z] && !keys[KEY_LEFT_SHIFT];
    if (undoKeys && _undoArmed) {
        _undoArmed = false;
        Undo();
    } else if (!undoKeys) {
        _undoArmed = true;
    }
    if (redoKeys && _redoArmed) {
        _redoArmed = false;
        Redo();
    } else if (!redoKeys) {
        _redoArmed = true;
    }
    return focused;
}

} // namespace VesmoCodeEditor
