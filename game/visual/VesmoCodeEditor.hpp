#pragma once
// The visual editor of VesmoCode programs: a NodeEditor whose nodes make up a program, and the code
// generator that turns the graph into program text.
//
// The text is the product. Its first line, "#NODES " and the graph as one line of compact JSON, carries
// the drawing it came from, so one file holds both: Open() reads such a text back into a graph.
//
// Every node class writes its settings into its JSON object under these keys, beside those of Node:
//   "class"        the class name ("DelayNode", ...), which DeserializeNode uses to pick the class
//   "inputValues"  array of strings, one literal per input
//   "inputTypes"   object from input index (as text) to type index into TYPES
//   settings       "type", "index", "channel", "alias", "name", "value", "format", "expression", "file"
//                  as the class has them (see each class)
//
// Inputs hold a literal while unconnected. A condition, trigger or reset left at its empty literal
// normalises to "0", which the generator reads as "not in use"; a minimum or maximum is tested raw, so
// an empty literal means no limit and an explicit 0 is a limit at 0.

#include "game/graphics/ui/NodeEditor.hpp"
#include "game/graphics/ui/TextEditor.hpp"

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

namespace VesmoCodeEditor {

// Colours of the program's text view, in TextEditor::PaletteIndex order, 0xRRGGBBAA.
const game::graphics::ui::TextEditor::Palette& GetVesmoPalette();

class Editor : public game::graphics::ui::NodeEditor {
public:
    using json = nlohmann::json;
    using Node = game::graphics::ui::Node;

    // Value types of inputs and ports, and the literal each starts from.
    static const std::array<std::string, 2> TYPES;             // "number", "text"
    static const std::array<std::string, 2> DEFAULT_TYPES_VAL; // "0", "\"\""

    // ---- node classes -------------------------------------------------------------------------------

    class VesmoNode : public Node {
    public:
        VesmoNode(const std::string& title, ImVec2 pos, size_t inputCount);
        explicit VesmoNode(const json& json);

        json Serialize() override;
        // The class name written as "class".
        virtual const char* ClassName() const = 0;
        // The label shown beside an input pin.
        virtual std::string InputLabel(int index) const;
        // Whether the user may choose the value type of an input from its pin menu.
        virtual bool HasTypedInputs() const { return false; }
        // How many rows of setting widgets the node draws below its input rows.
        virtual int SettingRows() const { return 0; }
        // The value type of an input; a missing entry reads as 0 and is created.
        int InputType(int index) { return inputTypes[index]; }

        void DrawContent(ImDrawList* drawList, ImVec2 contentSize, float scale) override;
        void ContextMenuInput(int index) override;

        std::vector<std::string> inputValues;
        std::unordered_map<int, int> inputTypes;

        // Set by Editor::Render for the frame: the node's own widgets don't edit a read-only graph.
        static bool _locked;

    protected:
        // Widgets of the class's settings, below the input rows; true when a setting was edited.
        virtual bool DrawSettings(float width);
    };

    // Reads one channel of an input port, by index or (index -1) by alias.
    class InputNode : public VesmoNode {
    public:
        explicit InputNode(ImVec2 pos);
        explicit InputNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "InputNode"; }
        int SettingRows() const override { return 4; }
        bool DrawSettings(float width) override;
        int type = 0;      // "type"
        int index = 0;     // "index"
        int channel = 0;   // "channel"
        std::string alias; // "alias"
    };

    class ConstNumberNode : public VesmoNode {
    public:
        explicit ConstNumberNode(ImVec2 pos);
        explicit ConstNumberNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "ConstNumberNode"; }
        int SettingRows() const override { return 2; }
        bool DrawSettings(float width) override;
        std::string name;   // "name"
        double value = 0.0; // "value"
    };

    class ConstTextNode : public VesmoNode {
    public:
        explicit ConstTextNode(ImVec2 pos);
        explicit ConstTextNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "ConstTextNode"; }
        int SettingRows() const override { return 2; }
        bool DrawSettings(float width) override;
        std::string name;  // "name"
        std::string value; // "value"
    };

    // Inputs: 0 value, 1 write condition, 2 clear condition.
    class VarNumberNode : public VesmoNode {
    public:
        explicit VarNumberNode(ImVec2 pos);
        explicit VarNumberNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "VarNumberNode"; }
        int SettingRows() const override { return 1; }
        std::string InputLabel(int index) const override;
        bool DrawSettings(float width) override;
        std::string name; // "name"
    };

    // Inputs: 0 value, 1 write condition, 2 clear condition.
    class VarTextNode : public VesmoNode {
    public:
        explicit VarTextNode(ImVec2 pos);
        explicit VarTextNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "VarTextNode"; }
        int SettingRows() const override { return 1; }
        std::string InputLabel(int index) const override;
        bool DrawSettings(float width) override;
        std::string name; // "name"
    };

    // Inputs: 0 time in seconds ("0" counts as 1), 1 trigger, 2 reset.
    class DelayNode : public VesmoNode {
    public:
        explicit DelayNode(ImVec2 pos);
        explicit DelayNode(const json& json) : VesmoNode(json) {}
        const char* ClassName() const override { return "DelayNode"; }
        std::string InputLabel(int index) const override;
    };

    // Input 0: period ("0" counts as 1).
    class BlinkerNode : public VesmoNode {
    public:
        explicit BlinkerNode(ImVec2 pos);
        explicit BlinkerNode(const json& json) : VesmoNode(json) {}
        const char* ClassName() const override { return "BlinkerNode"; }
        std::string InputLabel(int index) const override;
    };

    // Inputs: 0 step, 1 initial value, 2 minimum, 3 maximum, 4 reset condition.
    class CounterNode : public VesmoNode {
    public:
        explicit CounterNode(ImVec2 pos);
        explicit CounterNode(const json& json) : VesmoNode(json) {}
        const char* ClassName() const override { return "CounterNode"; }
        std::string InputLabel(int index) const override;
    };

    // Inputs: 0 target, 1 duration ("0" counts as 1), 2 trigger.
    class SmoothNode : public VesmoNode {
    public:
        explicit SmoothNode(ImVec2 pos);
        explicit SmoothNode(const json& json) : VesmoNode(json) {}
        const char* ClassName() const override { return "SmoothNode"; }
        std::string InputLabel(int index) const override;
    };

    // Inputs: 0 condition, 1 statements if true, 2 statements otherwise. Its value is an `if` statement.
    // Inputs 1 and 2 have type STATEMENT_TYPE: an unconnected one is its literal as written.
    class ConditionalNode : public VesmoNode {
    public:
        static constexpr int STATEMENT_TYPE = 2;
        explicit ConditionalNode(ImVec2 pos);
        explicit ConditionalNode(const json& json) : VesmoNode(json) {}
        const char* ClassName() const override { return "ConditionalNode"; }
        std::string InputLabel(int index) const override;
    };

    // The title names the operation ("ADD", "CLAMP", ...); the inputs are its operands.
    class MathNode : public VesmoNode {
    public:
        MathNode(ImVec2 pos, const std::string& operation);
        explicit MathNode(const json& json) : VesmoNode(json) {}
        const char* ClassName() const override { return "MathNode"; }
        // Every operation, in palette order, and how many operands each takes (0 for an unknown one).
        static const std::vector<std::string>& Operations();
        static int Arity(const std::string& operation);
    };

    // Inputs: 0 setpoint, 1 process value, 2 to 4 gains P, I, D, 5 reset, 6 minimum, 7 maximum.
    class PIDControllerNode : public VesmoNode {
    public:
        explicit PIDControllerNode(ImVec2 pos);
        explicit PIDControllerNode(const json& json) : VesmoNode(json) {}
        const char* ClassName() const override { return "PIDControllerNode"; }
        std::string InputLabel(int index) const override;
    };

    // A sink that includes another source file.
    class IncludeNode : public VesmoNode {
    public:
        explicit IncludeNode(ImVec2 pos);
        explicit IncludeNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "IncludeNode"; }
        int SettingRows() const override { return 1; }
        bool DrawSettings(float width) override;
        std::string file; // "file"
    };

    // Inputs: 0 rising input, 1 falling input; each counts only when connected. True for one tick per edge.
    class PulseNode : public VesmoNode {
    public:
        explicit PulseNode(ImVec2 pos);
        explicit PulseNode(const json& json) : VesmoNode(json) {}
        const char* ClassName() const override { return "PulseNode"; }
        std::string InputLabel(int index) const override;
    };

    // As PulseNode, but flips at each edge and keeps its value.
    class PulseToggleNode : public PulseNode {
    public:
        explicit PulseToggleNode(ImVec2 pos);
        explicit PulseToggleNode(const json& json) : PulseNode(json) {}
        const char* ClassName() const override { return "PulseToggleNode"; }
    };

    // A node that stands for one built-in number of the language.
    class BasicNumberNode : public VesmoNode {
    public:
        BasicNumberNode(const std::string& title, ImVec2 pos) : VesmoNode(title, pos, 0) {}
        explicit BasicNumberNode(const json& json) : VesmoNode(json) {}
        // The language's name of the number.
        virtual std::string Builtin() const = 0;
    };

    class TimeNode : public BasicNumberNode {
    public:
        explicit TimeNode(ImVec2 pos) : BasicNumberNode("Time", pos) {}
        explicit TimeNode(const json& json) : BasicNumberNode(json) {}
        const char* ClassName() const override { return "TimeNode"; }
        std::string Builtin() const override { return "time"; }
    };

    // Nodes whose number of inputs the user chooses; `inputs`, `inputValues` and `inputTypes` move together.
    class VesmoNodeWithVariableInputCount : public VesmoNode {
    public:
        VesmoNodeWithVariableInputCount(const std::string& title, ImVec2 pos, size_t inputCount, size_t minimumInputs);
        explicit VesmoNodeWithVariableInputCount(const json& json) : VesmoNode(json) {}
        void AddInput();
        // Removes the last input, never going below the class's minimum.
        void RemoveInput();
        void ContextMenu() override;
        bool HasTypedInputs() const override { return true; }
        size_t minimumInputs = 0;
    };

    // A sink: input i writes channel i of an output port, by index or (index -1) by alias.
    class OutputNode : public VesmoNodeWithVariableInputCount {
    public:
        explicit OutputNode(ImVec2 pos);
        explicit OutputNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "OutputNode"; }
        int SettingRows() const override { return 2; }
        std::string InputLabel(int index) const override { return "channel " + std::to_string(index); }
        bool DrawSettings(float width) override;
        int index = 0;     // "index"
        std::string alias; // "alias"
    };

    // A local variable holding `expression`, where single letters a, b, c ... stand for inputs 0, 1, 2 ...
    class ExpressionNode : public VesmoNodeWithVariableInputCount {
    public:
        explicit ExpressionNode(ImVec2 pos);
        explicit ExpressionNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "ExpressionNode"; }
        int SettingRows() const override { return 1; }
        std::string InputLabel(int index) const override;
        bool DrawSettings(float width) override;
        std::string expression; // "expression"
    };

    // The expanded `expression` itself, as a statement.
    class StatementNode : public VesmoNodeWithVariableInputCount {
    public:
        explicit StatementNode(ImVec2 pos);
        explicit StatementNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "StatementNode"; }
        int SettingRows() const override { return 1; }
        std::string InputLabel(int index) const override;
        bool DrawSettings(float width) override;
        std::string expression; // "expression"
    };

    // A sink that runs its inputs, statements, in order.
    class ExecuteNode : public VesmoNodeWithVariableInputCount {
    public:
        explicit ExecuteNode(ImVec2 pos);
        explicit ExecuteNode(const json& json) : VesmoNodeWithVariableInputCount(json) {
            hasOutput = false;
            minimumInputs = 1;
        }
        const char* ClassName() const override { return "ExecuteNode"; }
        bool HasTypedInputs() const override { return false; }
    };

    // Input 0 selects; input i holds case i - 1. `type` is the value type of the cases.
    class SwitchNode : public VesmoNodeWithVariableInputCount {
    public:
        explicit SwitchNode(ImVec2 pos);
        explicit SwitchNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "SwitchNode"; }
        int SettingRows() const override { return 1; }
        std::string InputLabel(int index) const override;
        bool DrawSettings(float width) override;
        int type = 0; // "type"
    };

    // A sink that prints its inputs.
    class PrintNode : public VesmoNodeWithVariableInputCount {
    public:
        explicit PrintNode(ImVec2 pos);
        explicit PrintNode(const json& json) : VesmoNodeWithVariableInputCount(json) { hasOutput = false; }
        const char* ClassName() const override { return "PrintNode"; }
    };

    // Its inputs formatted by `format`.
    class TextNode : public VesmoNodeWithVariableInputCount {
    public:
        explicit TextNode(ImVec2 pos);
        explicit TextNode(const json& json);
        json Serialize() override;
        const char* ClassName() const override { return "TextNode"; }
        int SettingRows() const override { return 1; }
        bool DrawSettings(float width) override;
        std::string format; // "format"
    };

    // ---- the editor ---------------------------------------------------------------------------------

    Editor();

    // Generates the program text from the graph into `textEditor`. With `pushHistory`, the graph becomes
    // the newest snapshot (dropping any undone ones). An invalid program name writes "Invalid program
    // name: <name>" to stderr and changes nothing.
    void Serialize(bool pushHistory);

    // Rebuilds the graph from a program text: the JSON after "#NODES " on its line. The text is then
    // generated again and the history restarts from this graph. False (graph untouched, message on
    // stderr) when the line is missing or its JSON can't be read. Works on a read-only editor too: loading
    // is not editing.
    bool Open(const std::string& text);

    // Steps through `history`; false when there is nothing to step to or the editor is read-only.
    bool Undo();
    bool Redo();

    // Regenerates the text, with a snapshot, when the graph or a node changed since the last call, and
    // clears those flags. The owner calls it after Render; true when the text was regenerated.
    bool Refresh();

    bool Render() override;
    Node* DeserializeNode(const json& json) override;
    void ContextMenu(ImVec2 pos) override;

    std::string programName;
    game::graphics::ui::TextEditor textEditor;
    uint64_t historyLimit = 100;
    std::deque<json> history;     // newest first
    uint64_t historyPosition = 0; // how many of the newest snapshots are undone

private:
    // Replaces every node by those of a snapshot document {"nodes": [...]}; throws on bad JSON.
    void LoadDocument(const json& document);
    // Adds a node made by the canvas menu, centred on `pos`.
    void AddNode(Node* node, ImVec2 pos);

    bool _undoArmed = true;
    bool _redoArmed = true;
};

// The number literal as the generator writes it (".5" gives "0.5", "" gives "0"); exposed for tests.
std::string NormalizeNumber(const std::string& literal);
// Replaces single letters standing for inputs in an expression text; exposed for tests.
std::string SubstituteInputs(const std::string& text, const std::vector<std::string>& inputExprs);

} // namespace VesmoCodeEditor
