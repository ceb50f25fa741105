// The node classes of the visual language: construction, JSON form and their widgets.
#include "game/visual/VesmoCodeEditor.hpp"

#include <imgui_stdlib.h>

#include <algorithm>

namespace VesmoCodeEditor {

using json = nlohmann::json;

namespace {

// New nodes start this wide; the height is raised to the minimum when the node is added.
constexpr float INITIAL_WIDTH = 200.0f;

std::string Label(const std::vector<const char*>& labels, int index) {
    return index >= 0 && static_cast<size_t>(index) < labels.size() ? labels[static_cast<size_t>(index)]
                                                                    : std::to_string(index);
}

// Reads an optional key: nodes written before a setting existed still load.
template <class T> void Read(const json& json, const char* key, T& into) {
    const auto it = json.find(key);
    if (it != json.end())
        into = it->get<T>();
}

bool EditText(const char* label, std::string& text, float width) {
    ImGui::SetNextItemWidth(width);
    ImGui::InputText(label, &text);
    return ImGui::IsItemDeactivatedAfterEdit();
}

bool EditInt(const char* label, int& value, float width) {
    ImGui::SetNextItemWidth(width);
    ImGui::InputInt(label, &value);
    return ImGui::IsItemDeactivatedAfterEdit();
}

bool EditType(const char* label, int& type, float width) {
    const char* names[] = {Editor::TYPES[0].c_str(), Editor::TYPES[1].c_str()};
    ImGui::SetNextItemWidth(width);
    return ImGui::Combo(label, &type, names, 2);
}

// One setting of a node: its key in the node's JSON, the label of its widget ("##..." shows none), the
// widget's share of the node's width, and for an int whether it picks one of Editor::TYPES.
struct Setting {
    const char* key;
    const char* label;
    float width = 0.6f;
    bool typeChoice = false;
};
constexpr Setting Named(const char* key) { return {key, key}; }
constexpr Setting TypeChoice(const char* key) { return {key, key, 0.6f, true}; }

bool Edit(const Setting& setting, std::string& value, float width) {
    return EditText(setting.label, value, width * setting.width);
}
bool Edit(const Setting& setting, int& value, float width) {
    return setting.typeChoice ? EditType(setting.label, value, width * setting.width)
                              : EditInt(setting.label, value, width * setting.width);
}
bool Edit(const Setting& setting, double& value, float width) {
    ImGui::SetNextItemWidth(width * setting.width);
    ImGui::InputDouble(setting.label, &value);
    return ImGui::IsItemDeactivatedAfterEdit();
}

// Each node class with settings lists them once, in the order they are drawn; reading, writing and drawing
// follow from that list.
template <class Visit> void Settings(Editor::InputNode& n, Visit&& visit) {
    visit(TypeChoice("type"), n.type);
    visit(Named("index"), n.index);
    visit(Named("channel"), n.channel);
    visit(Named("alias"), n.alias);
}
template <class Visit> void Settings(Editor::ConstNumberNode& n, Visit&& visit) {
    visit(Named("name"), n.name);
    visit(Named("value"), n.value);
}
template <class Visit> void Settings(Editor::ConstTextNode& n, Visit&& visit) {
    visit(Named("name"), n.name);
    visit(Named("value"), n.value);
}
template <class Visit> void Settings(Editor::VarNumberNode& n, Visit&& visit) { visit(Named("name"), n.name); }
template <class Visit> void Settings(Editor::VarTextNode& n, Visit&& visit) { visit(Named("name"), n.name); }
template <class Visit> void Settings(Editor::IncludeNode& n, Visit&& visit) { visit(Named("file"), n.file); }
template <class Visit> void Settings(Editor::OutputNode& n, Visit&& visit) {
    visit(Named("index"), n.index);
    visit(Named("alias"), n.alias);
}
template <class Visit> void Settings(Editor::ExpressionNode& n, Visit&& visit) {
    visit(Setting{"expression", "##expression", 1.0f}, n.expression);
}
template <class Visit> void Settings(Editor::StatementNode& n, Visit&& visit) {
    visit(Setting{"expression", "##statement", 1.0f}, n.expression);
}
template <class Visit> void Settings(Editor::SwitchNode& n, Visit&& visit) { visit(TypeChoice("type"), n.type); }
template <class Visit> void Settings(Editor::TextNode& n, Visit&& visit) { visit(Named("format"), n.format); }

template <class N> void ReadSettings(N& node, const json& from) {
    Settings(node, [&](const Setting& setting, auto& value) { Read(from, setting.key, value); });
}
template <class N> json WriteSettings(N& node, json into) {
    Settings(node, [&](const Setting& setting, auto& value) { into[setting.key] = value; });
    return into;
}
// Every widget is drawn, edited or not.
template <class N> bool DrawAll(N& node, float width) {
    bool edited = false;
    Settings(node, [&](const Setting& setting, auto& value) { edited |= Edit(setting, value, width); });
    return edited;
}

} // namespace

bool Editor::VesmoNode::_locked = false;

// ---------------------------------------------------------------------------------------------------------
// VesmoNode

Editor::VesmoNode::VesmoNode(const std::string& title, ImVec2 pos, size_t inputCount)
    : Node(title, pos, std::vector<game::UniqueId>(inputCount)), inputValues(inputCount) {
    size.x = INITIAL_WIDTH;
}

Editor::VesmoNode::VesmoNode(const json& json) : Node(json) {
    Read(json, "inputValues", inputValues);
    const auto types = json.find("inputTypes");
    if (types != json.end())
        for (const auto& [key, value] : types->items())
            inputTypes[std::stoi(key)] = value.get<int>();
}

json Editor::VesmoNode::Serialize() {
    json result = Node::Serialize();
    result["class"] = ClassName();
    result["inputValues"] = inputValues;
    // Every input is written with its type, a missing entry as 0: the generator creates missing entries
    // as it reads them, and the graph's JSON must not change with that.
    json types = json::object();
    for (const auto& [key, value] : inputTypes)
        types[std::to_string(key)] = value;
    for (size_t i = 0; i < inputs.size(); ++i)
        if (!inputTypes.contains(static_cast<int>(i)))
            types[std::to_string(i)] = 0;
    result["inputTypes"] = types;
    return result;
}

std::string Editor::VesmoNode::InputLabel(int index) const { return std::string(1, static_cast<char>('a' + index)); }

bool Editor::VesmoNode::DrawSettings(float) { return false; }

void Editor::VesmoNode::DrawContent(ImDrawList*, ImVec2 contentSize, float scale) {
    inputValues.resize(inputs.size());
    const ImVec2 origin = ImGui::GetCursorPos();
    const float width = std::max(contentSize.x, 10.0f);
    bool edited = false;
    if (_locked)
        ImGui::BeginDisabled();
    for (size_t i = 0; i < inputs.size(); ++i) {
        const int slot = static_cast<int>(i);
        ImGui::SetCursorPos(ImVec2(origin.x, origin.y + 2.0f * scale + 20.0f * scale * static_cast<float>(slot)));
        ImGui::PushID(slot);
        if (inputs[i].IsNull()) {
            edited |= EditText("##literal", inputValues[i], width * 0.5f);
            ImGui::SameLine();
        }
        ImGui::TextUnformatted(InputLabel(slot).c_str());
        ImGui::PopID();
    }
    ImGui::SetCursorPos(ImVec2(origin.x, origin.y + 2.0f * scale + 20.0f * scale * static_cast<float>(inputs.size())));
    edited |= DrawSettings(width);
    if (_locked)
        ImGui::EndDisabled();
    if (edited)
        changed = true;
}

void Editor::VesmoNode::ContextMenuInput(int index) {
    if (!HasTypedInputs() || _locked)
        return;
    for (int type = 0; type < static_cast<int>(TYPES.size()); ++type) {
        if (ImGui::MenuItem(TYPES[static_cast<size_t>(type)].c_str(), nullptr, InputType(index) == type)) {
            inputTypes[index] = type;
            changed = true;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------
// Nodes with settings

Editor::InputNode::InputNode(ImVec2 pos) : VesmoNode("Input", pos, 0) {}

Editor::InputNode::InputNode(const json& json) : VesmoNode(json) { ReadSettings(*this, json); }

json Editor::InputNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

bool Editor::InputNode::DrawSettings(float width) { return DrawAll(*this, width); }

Editor::ConstNumberNode::ConstNumberNode(ImVec2 pos) : VesmoNode("Constant number", pos, 0) {}

Editor::ConstNumberNode::ConstNumberNode(const json& json) : VesmoNode(json) { ReadSettings(*this, json); }

json Editor::ConstNumberNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

bool Editor::ConstNumberNode::DrawSettings(float width) { return DrawAll(*this, width); }

Editor::ConstTextNode::ConstTextNode(ImVec2 pos) : VesmoNode("Constant text", pos, 0) {}

Editor::ConstTextNode::ConstTextNode(const json& json) : VesmoNode(json) { ReadSettings(*this, json); }

json Editor::ConstTextNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

bool Editor::ConstTextNode::DrawSettings(float width) { return DrawAll(*this, width); }

Editor::VarNumberNode::VarNumberNode(ImVec2 pos) : VesmoNode("Number variable", pos, 3) {}

Editor::VarNumberNode::VarNumberNode(const json& json) : VesmoNode(json) { ReadSettings(*this, json); }

json Editor::VarNumberNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

std::string Editor::VarNumberNode::InputLabel(int index) const { return Label({"value", "write", "clear"}, index); }

bool Editor::VarNumberNode::DrawSettings(float width) { return DrawAll(*this, width); }

Editor::VarTextNode::VarTextNode(ImVec2 pos) : VesmoNode("Text variable", pos, 3) {}

Editor::VarTextNode::VarTextNode(const json& json) : VesmoNode(json) { ReadSettings(*this, json); }

json Editor::VarTextNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

std::string Editor::VarTextNode::InputLabel(int index) const { return Label({"value", "write", "clear"}, index); }

bool Editor::VarTextNode::DrawSettings(float width) { return DrawAll(*this, width); }

Editor::IncludeNode::IncludeNode(ImVec2 pos) : VesmoNode("Include", pos, 0) { hasOutput = false; }

Editor::IncludeNode::IncludeNode(const json& json) : VesmoNode(json) {
    hasOutput = false;
    ReadSettings(*this, json);
}

json Editor::IncludeNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

bool Editor::IncludeNode::DrawSettings(float width) { return DrawAll(*this, width); }

// ---------------------------------------------------------------------------------------------------------
// Fixed-input nodes

Editor::DelayNode::DelayNode(ImVec2 pos) : VesmoNode("Delay", pos, 3) {}
std::string Editor::DelayNode::InputLabel(int index) const { return Label({"time", "trigger", "reset"}, index); }

Editor::BlinkerNode::BlinkerNode(ImVec2 pos) : VesmoNode("Blinker", pos, 1) {}
std::string Editor::BlinkerNode::InputLabel(int index) const { return Label({"period"}, index); }

Editor::CounterNode::CounterNode(ImVec2 pos) : VesmoNode("Counter", pos, 5) {}
std::string Editor::CounterNode::InputLabel(int index) const {
    return Label({"step", "initial", "minimum", "maximum", "reset"}, index);
}

Editor::SmoothNode::SmoothNode(ImVec2 pos) : VesmoNode("Smooth", pos, 3) {}
std::string Editor::SmoothNode::InputLabel(int index) const { return Label({"target", "duration", "trigger"}, index); }

// The statement inputs take their literal as written (a type beyond TYPES), so that an unconnected,
// empty "else" stays empty instead of reading as the number 0.
Editor::ConditionalNode::ConditionalNode(ImVec2 pos) : VesmoNode("Conditional", pos, 3) {
    inputTypes[1] = STATEMENT_TYPE;
    inputTypes[2] = STATEMENT_TYPE;
}
std::string Editor::ConditionalNode::InputLabel(int index) const { return Label({"condition", "then", "else"}, index); }

Editor::PulseNode::PulseNode(ImVec2 pos) : VesmoNode("Pulse", pos, 2) {}
std::string Editor::PulseNode::InputLabel(int index) const { return Label({"rising", "falling"}, index); }

Editor::PulseToggleNode::PulseToggleNode(ImVec2 pos) : PulseNode(pos) { title = "Pulse toggle"; }

Editor::PIDControllerNode::PIDControllerNode(ImVec2 pos) : VesmoNode("PID controller", pos, 8) {}
std::string Editor::PIDControllerNode::InputLabel(int index) const {
    return Label({"setpoint", "process value", "kp", "ki", "kd", "reset", "minimum", "maximum"}, index);
}

Editor::MathNode::MathNode(ImVec2 pos, const std::string& operation)
    : VesmoNode(operation, pos, static_cast<size_t>(Arity(operation))) {}

const std::vector<std::string>& Editor::MathNode::Operations() {
    static const std::vector<std::string> operations = {
        "ADD",  "SUBTRACT", "MULTIPLY", "DIVIDE", "MODULO", "EQUAL", "GREATER", "LESSER", "AND",        "OR",   "XOR",
        "NOT",  "NEGATIVE", "ABSOLUTE", "SIGN",   "SIN",    "COS",   "TAN",     "ASIN",   "ACOS",       "ATAN", "FLOOR",
        "CEIL", "ROUND",    "FRACT",    "SQRT",   "POW",    "LOG",   "STEP",    "CLAMP",  "SMOOTHSTEP", "LERP"};
    return operations;
}

int Editor::MathNode::Arity(const std::string& operation) {
    static const std::unordered_map<std::string, int> arity = {
        {"ADD", 2},        {"SUBTRACT", 2}, {"MULTIPLY", 2}, {"DIVIDE", 2}, {"MODULO", 2}, {"EQUAL", 2},
        {"GREATER", 2},    {"LESSER", 2},   {"AND", 2},      {"OR", 2},     {"XOR", 2},    {"NOT", 1},
        {"NEGATIVE", 1},   {"ABSOLUTE", 1}, {"SIGN", 1},     {"SIN", 1},    {"COS", 1},    {"TAN", 1},
        {"ASIN", 1},       {"ACOS", 1},     {"ATAN", 1},     {"FLOOR", 1},  {"CEIL", 1},   {"ROUND", 1},
        {"FRACT", 1},      {"SQRT", 1},     {"POW", 2},      {"LOG", 2},    {"STEP", 2},   {"CLAMP", 3},
        {"SMOOTHSTEP", 3}, {"LERP", 3}};
    const auto it = arity.find(operation);
    return it != arity.end() ? it->second : 0;
}

// ---------------------------------------------------------------------------------------------------------
// Variable-input nodes

Editor::VesmoNodeWithVariableInputCount::VesmoNodeWithVariableInputCount(const std::string& title, ImVec2 pos,
                                                                         size_t inputCount, size_t minimum)
    : VesmoNode(title, pos, inputCount), minimumInputs(minimum) {}

void Editor::VesmoNodeWithVariableInputCount::AddInput() {
    inputValues.resize(inputs.size());
    inputs.emplace_back();
    inputValues.emplace_back();
    changed = true;
}

void Editor::VesmoNodeWithVariableInputCount::RemoveInput() {
    if (inputs.size() <= minimumInputs)
        return;
    inputs.pop_back();
    inputValues.resize(inputs.size());
    inputTypes.erase(static_cast<int>(inputs.size()));
    changed = true;
}

void Editor::VesmoNodeWithVariableInputCount::ContextMenu() {
    if (_locked)
        return;
    if (ImGui::MenuItem("Add input"))
        AddInput();
    if (ImGui::MenuItem("Remove input", nullptr, false, inputs.size() > minimumInputs))
        RemoveInput();
}

Editor::OutputNode::OutputNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Output", pos, 1, 0) { hasOutput = false; }

Editor::OutputNode::OutputNode(const json& json) : VesmoNodeWithVariableInputCount(json) {
    hasOutput = false;
    ReadSettings(*this, json);
}

json Editor::OutputNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

bool Editor::OutputNode::DrawSettings(float width) { return DrawAll(*this, width); }

Editor::ExpressionNode::ExpressionNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Expression", pos, 2, 0) {}

Editor::ExpressionNode::ExpressionNode(const json& json) : VesmoNodeWithVariableInputCount(json) {
    ReadSettings(*this, json);
}

json Editor::ExpressionNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

std::string Editor::ExpressionNode::InputLabel(int index) const { return VesmoNode::InputLabel(index); }

bool Editor::ExpressionNode::DrawSettings(float width) { return DrawAll(*this, width); }

Editor::StatementNode::StatementNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Statement", pos, 2, 0) {}

Editor::StatementNode::StatementNode(const json& json) : VesmoNodeWithVariableInputCount(json) {
    ReadSettings(*this, json);
}

json Editor::StatementNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

std::string Editor::StatementNode::InputLabel(int index) const { return VesmoNode::InputLabel(index); }

bool Editor::StatementNode::DrawSettings(float width) { return DrawAll(*this, width); }

Editor::ExecuteNode::ExecuteNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Execute", pos, 2, 1) {
    hasOutput = false;
}

Editor::SwitchNode::SwitchNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Switch", pos, 3, 1) {}

Editor::SwitchNode::SwitchNode(const json& json) : VesmoNodeWithVariableInputCount(json) {
    minimumInputs = 1;
    ReadSettings(*this, json);
}

json Editor::SwitchNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

std::string Editor::SwitchNode::InputLabel(int index) const {
    return index == 0 ? std::string("selector") : "case " + std::to_string(index - 1);
}

bool Editor::SwitchNode::DrawSettings(float width) { return DrawAll(*this, width); }

Editor::PrintNode::PrintNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Print", pos, 1, 0) { hasOutput = false; }

Editor::TextNode::TextNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Text", pos, 1, 0) {}

Editor::TextNode::TextNode(const json& json) : VesmoNodeWithVariableInputCount(json) { ReadSettings(*this, json); }

json Editor::TextNode::Serialize() { return WriteSettings(*this, VesmoNode::Serialize()); }

bool Editor::TextNode::DrawSettings(float width) { return DrawAll(*this, width); }

} // namespace VesmoCodeEditor
