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

Editor::InputNode::InputNode(const json& json) : VesmoNode(json) {
    Read(json, "type", type);
    Read(json, "index", index);
    Read(json, "channel", channel);
    Read(json, "alias", alias);
}

json Editor::InputNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["type"] = type;
    result["index"] = index;
    result["channel"] = channel;
    result["alias"] = alias;
    return result;
}

bool Editor::InputNode::DrawSettings(float width) {
    bool edited = EditType("type", type, width * 0.6f);
    edited |= EditInt("index", index, width * 0.6f);
    edited |= EditInt("channel", channel, width * 0.6f);
    edited |= EditText("alias", alias, width * 0.6f);
    return edited;
}

Editor::ConstNumberNode::ConstNumberNode(ImVec2 pos) : VesmoNode("Constant number", pos, 0) {}

Editor::ConstNumberNode::ConstNumberNode(const json& json) : VesmoNode(json) {
    Read(json, "name", name);
    Read(json, "value", value);
}

json Editor::ConstNumberNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["name"] = name;
    result["value"] = value;
    return result;
}

bool Editor::ConstNumberNode::DrawSettings(float width) {
    bool edited = EditText("name", name, width * 0.6f);
    ImGui::SetNextItemWidth(width * 0.6f);
    ImGui::InputDouble("value", &value);
    return edited || ImGui::IsItemDeactivatedAfterEdit();
}

Editor::ConstTextNode::ConstTextNode(ImVec2 pos) : VesmoNode("Constant text", pos, 0) {}

Editor::ConstTextNode::ConstTextNode(const json& json) : VesmoNode(json) {
    Read(json, "name", name);
    Read(json, "value", value);
}

json Editor::ConstTextNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["name"] = name;
    result["value"] = value;
    return result;
}

bool Editor::ConstTextNode::DrawSettings(float width) {
    bool edited = EditText("name", name, width * 0.6f);
    edited |= EditText("value", value, width * 0.6f);
    return edited;
}

Editor::VarNumberNode::VarNumberNode(ImVec2 pos) : VesmoNode("Number variable", pos, 3) {}

Editor::VarNumberNode::VarNumberNode(const json& json) : VesmoNode(json) { Read(json, "name", name); }

json Editor::VarNumberNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["name"] = name;
    return result;
}

std::string Editor::VarNumberNode::InputLabel(int index) const { return Label({"value", "write", "clear"}, index); }

bool Editor::VarNumberNode::DrawSettings(float width) { return EditText("name", name, width * 0.6f); }

Editor::VarTextNode::VarTextNode(ImVec2 pos) : VesmoNode("Text variable", pos, 3) {}

Editor::VarTextNode::VarTextNode(const json& json) : VesmoNode(json) { Read(json, "name", name); }

json Editor::VarTextNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["name"] = name;
    return result;
}

std::string Editor::VarTextNode::InputLabel(int index) const { return Label({"value", "write", "clear"}, index); }

bool Editor::VarTextNode::DrawSettings(float width) { return EditText("name", name, width * 0.6f); }

Editor::IncludeNode::IncludeNode(ImVec2 pos) : VesmoNode("Include", pos, 0) { hasOutput = false; }

Editor::IncludeNode::IncludeNode(const json& json) : VesmoNode(json) {
    hasOutput = false;
    Read(json, "file", file);
}

json Editor::IncludeNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["file"] = file;
    return result;
}

bool Editor::IncludeNode::DrawSettings(float width) { return EditText("file", file, width * 0.6f); }

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
    Read(json, "index", index);
    Read(json, "alias", alias);
}

json Editor::OutputNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["index"] = index;
    result["alias"] = alias;
    return result;
}

bool Editor::OutputNode::DrawSettings(float width) {
    bool edited = EditInt("index", index, width * 0.6f);
    edited |= EditText("alias", alias, width * 0.6f);
    return edited;
}

Editor::ExpressionNode::ExpressionNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Expression", pos, 2, 0) {}

Editor::ExpressionNode::ExpressionNode(const json& json) : VesmoNodeWithVariableInputCount(json) {
    Read(json, "expression", expression);
}

json Editor::ExpressionNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["expression"] = expression;
    return result;
}

std::string Editor::ExpressionNode::InputLabel(int index) const { return VesmoNode::InputLabel(index); }

bool Editor::ExpressionNode::DrawSettings(float width) { return EditText("##expression", expression, width); }

Editor::StatementNode::StatementNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Statement", pos, 2, 0) {}

Editor::StatementNode::StatementNode(const json& json) : VesmoNodeWithVariableInputCount(json) {
    Read(json, "expression", expression);
}

json Editor::StatementNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["expression"] = expression;
    return result;
}

std::string Editor::StatementNode::InputLabel(int index) const { return VesmoNode::InputLabel(index); }

bool Editor::StatementNode::DrawSettings(float width) { return EditText("##statement", expression, width); }

Editor::ExecuteNode::ExecuteNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Execute", pos, 2, 1) {
    hasOutput = false;
}

Editor::SwitchNode::SwitchNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Switch", pos, 3, 1) {}

Editor::SwitchNode::SwitchNode(const json& json) : VesmoNodeWithVariableInputCount(json) {
    minimumInputs = 1;
    Read(json, "type", type);
}

json Editor::SwitchNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["type"] = type;
    return result;
}

std::string Editor::SwitchNode::InputLabel(int index) const {
    return index == 0 ? std::string("selector") : "case " + std::to_string(index - 1);
}

bool Editor::SwitchNode::DrawSettings(float width) { return EditType("type", type, width * 0.6f); }

Editor::PrintNode::PrintNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Print", pos, 1, 0) { hasOutput = false; }

Editor::TextNode::TextNode(ImVec2 pos) : VesmoNodeWithVariableInputCount("Text", pos, 1, 0) {}

Editor::TextNode::TextNode(const json& json) : VesmoNodeWithVariableInputCount(json) { Read(json, "format", format); }

json Editor::TextNode::Serialize() {
    json result = VesmoNode::Serialize();
    result["format"] = format;
    return result;
}

bool Editor::TextNode::DrawSettings(float width) { return EditText("format", format, width * 0.6f); }

} // namespace VesmoCodeEditor
