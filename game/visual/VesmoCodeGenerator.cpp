// The code generator: VesmoCodeEditor::Editor::Serialize turns the graph into VesmoCode program text.
//
// A program has up to six sections, in this order: includes, constant numbers, constant texts, state
// variables, functions and the body of `update`. Sinks (outputs, prints, executes, includes, constants
// and variables) are emitted in the order of `nodes`; every other node exists in the text only if a sink
// reaches it through its inputs. GetExpr recurses into the sources of a node before it emits the node's
// own lines, which is the whole of the ordering: the editor refuses cycles when wires are made.
#include "game/visual/VesmoCodeEditor.hpp"

#include <cctype>
#include <cstdio>
#include <iostream>
#include <map>
#include <regex>
#include <tuple>

namespace VesmoCodeEditor {

using json = nlohmann::json;

std::string NormalizeNumber(const std::string& literal) {
    if (literal.empty())
        return "0";
    const char* blanks = " \f\n\r\t\v";
    const size_t first = literal.find_first_not_of(blanks);
    if (first == std::string::npos)
        return "";
    std::string s = literal.substr(first, literal.find_last_not_of(blanks) - first + 1);
    if (s[0] == '.')
        s = "0" + s;
    if (s.size() >= 2 && (s[0] == '-' || s[0] == '+') && s[1] == '.')
        s = s.substr(0, 1) + "0" + s.substr(1);
    return s;
}

std::string SubstituteInputs(const std::string& text, const std::vector<std::string>& inputExprs) {
    const char* blanks = " \f\n\r\t\v";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return "";
    const std::string s = text.substr(first, text.find_last_not_of(blanks) - first + 1);
    auto alpha = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; };
    std::string out;
    bool inQuotes = false;
    for (size_t k = 0; k < s.size(); ++k) {
        const char c = s[k];
        if (c == '"')
            inQuotes = !inQuotes;
        if (inQuotes || c == '"' || !alpha(c) || (k + 1 < s.size() && alpha(s[k + 1]))) {
            out += c;
            continue;
        }
        // The last letter of a word: only the forward neighbour is looked at, so the final letter of a
        // longer word ("data") stands for an input too. The language's texts are expanded this way.
        const size_t position = static_cast<size_t>(std::tolower(static_cast<unsigned char>(c)) - 'a') + 1;
        if (position <= inputExprs.size())
            out += inputExprs[position - 1];
        else
            out += c;
    }
    return out;
}

namespace {

using VesmoNode = Editor::VesmoNode;

bool IsSimple(const std::string& text) {
    return !text.empty() && (text[0] == '"' || text[0] == '$' || std::isdigit(static_cast<unsigned char>(text[0])));
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t end = text.find('\n', start);
        const std::string line = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (!line.empty())
            lines.push_back(line);
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return lines;
}

std::string FormatDouble(double value) {
    char buffer[512];
    std::snprintf(buffer, sizeof buffer, "%f", value);
    return buffer;
}

struct Generator {
    explicit Generator(const Editor& editor, const std::string& name)
        : editor(editor), statePrefix("$_" + name + "_"), functionPrefix("@_" + name + "_") {}

    const Editor& editor;
    const std::string localPrefix = "$_";
    const std::string statePrefix;
    const std::string functionPrefix;

    std::vector<std::string> includes, constNumbers, constTexts, vars, functions, update;

    int aliasCounter = 1, exprCounter = 1, switchCounter = 1, delayCounter = 1, blinkerCounter = 1, counterCounter = 1,
        smoothCounter = 1, pulseCounter = 1, textCounter = 1, pidCounter = 1;

    // One table for the memoised classes: a node has one class, so keying by node alone is the same as
    // one table per class.
    std::unordered_map<const game::graphics::ui::Node*, std::string> memo;
    std::map<std::tuple<std::string, std::string, int>, std::string> aliasMemo; // type, alias, channel
    std::map<std::tuple<std::string, int, int>, std::string> indexMemo;         // type, index, channel

    // The graph's VesmoNodes by id, built once per run: the same answers as GetNode<VesmoNode>, without a
    // scan of `nodes` per input.
    std::unordered_map<game::UniqueId, VesmoNode*> byId;

    VesmoNode* Source(const VesmoNode* node, size_t i) const {
        const game::UniqueId& id = node->inputs.at(i);
        if (id.IsNull())
            return nullptr;
        const auto it = byId.find(id);
        return it != byId.end() ? it->second : nullptr;
    }

    std::string Literal(VesmoNode* node, size_t i) const {
        const int type = node->InputType(static_cast<int>(i));
        const std::string& value = node->inputValues.at(i);
        if (type == 0)
            return NormalizeNumber(value);
        if (type == 1)
            return "\"" + value + "\"";
        return value;
    }

    std::vector<std::string> InputExprs(VesmoNode* node) {
        std::vector<std::string> exprs;
        exprs.reserve(node->inputs.size());
        for (size_t i = 0; i < node->inputs.size(); ++i) {
            VesmoNode* source = Source(node, i);
            exprs.push_back(source != nullptr ? GetExpr(source) : Literal(node, i));
        }
        return exprs;
    }

    std::string GetExpr(VesmoNode* node);
    std::string Input(Editor::InputNode* node);
    std::string Switch(Editor::SwitchNode* node, const std::vector<std::string>& in);
    std::string Delay(const std::vector<std::string>& in);
    std::string Blinker(const std::vector<std::string>& in);
    std::string Counter(VesmoNode* node, const std::vector<std::string>& in);
    std::string Smooth(const std::vector<std::string>& in);
    std::string Pulse(VesmoNode* node, bool toggle, const std::vector<std::string>& in);
    std::string Text(Editor::TextNode* node, const std::vector<std::string>& in);
    std::string PID(VesmoNode* node, const std::vector<std::string>& in);
    static std::string Conditional(const std::vector<std::string>& in);
    static std::string Math(const std::string& operation, const std::vector<std::string>& in);

    // A minimum or maximum is absent when unconnected with an empty raw literal.
    bool Present(VesmoNode* node, size_t i) const {
        return Source(node, i) != nullptr || !node->inputValues.at(i).empty();
    }

    void EmitSink(VesmoNode* node);
};

std::string Generator::GetExpr(VesmoNode* node) {
    using E = Editor;
    const auto memoised = memo.find(node);
    if (memoised != memo.end())
        return memoised->second;

    if (auto* input = dynamic_cast<E::InputNode*>(node))
        return Input(input);
    if (auto* n = dynamic_cast<E::ConstNumberNode*>(node))
        return "$" + n->name;
    if (auto* n = dynamic_cast<E::ConstTextNode*>(node))
        return "$" + n->name;
    if (auto* n = dynamic_cast<E::VarNumberNode*>(node))
        return "$" + n->name;
    if (auto* n = dynamic_cast<E::VarTextNode*>(node))
        return "$" + n->name;

    const std::vector<std::string> in = InputExprs(node);
    std::string value;
    if (auto* n = dynamic_cast<E::ExpressionNode*>(node)) {
        value = localPrefix + "expr" + std::to_string(exprCounter++);
        update.push_back("var " + value + " = " + SubstituteInputs(n->expression, in));
    } else if (auto* n = dynamic_cast<E::StatementNode*>(node)) {
        return SubstituteInputs(n->expression, in);
    } else if (dynamic_cast<E::ConditionalNode*>(node) != nullptr) {
        return Conditional(in);
    } else if (auto* n = dynamic_cast<E::SwitchNode*>(node)) {
        value = Switch(n, in);
    } else if (dynamic_cast<E::DelayNode*>(node) != nullptr) {
        value = Delay(in);
    } else if (dynamic_cast<E::BlinkerNode*>(node) != nullptr) {
        value = Blinker(in);
    } else if (dynamic_cast<E::CounterNode*>(node) != nullptr) {
        value = Counter(node, in);
    } else if (dynamic_cast<E::SmoothNode*>(node) != nullptr) {
        value = Smooth(in);
    } else if (dynamic_cast<E::PulseNode*>(node) != nullptr) {
        value = Pulse(node, dynamic_cast<E::PulseToggleNode*>(node) != nullptr, in);
    } else if (auto* n = dynamic_cast<E::BasicNumberNode*>(node)) {
        return n->Builtin();
    } else if (auto* n = dynamic_cast<E::TextNode*>(node)) {
        value = Text(n, in);
    } else if (dynamic_cast<E::MathNode*>(node) != nullptr) {
        return Math(node->title, in);
    } else if (dynamic_cast<E::PIDControllerNode*>(node) != nullptr) {
        value = PID(node, in);
    } else {
        return "";
    }
    memo[node] = value;
    return value;
}

std::string Generator::Input(Editor::InputNode* node) {
    const std::string& type = Editor::TYPES.at(static_cast<size_t>(node->type));
    const std::string channel = std::to_string(node->channel);
    if (node->index == -1 && node->alias.empty())
        return Editor::DEFAULT_TYPES_VAL.at(static_cast<size_t>(node->type));
    if (node->index == -1) {
        std::string& name = aliasMemo[{type, node->alias, node->channel}];
        if (name.empty()) {
            name = localPrefix + "input_alias_" + std::to_string(aliasCounter++);
            update.push_back("var " + name + " = input_" + type + "(\"" + node->alias + "\", " + channel + ")");
        }
        return name;
    }
    std::string& name = indexMemo[{type, node->index, node->channel}];
    if (name.empty()) {
        const std::string index = std::to_string(node->index);
        name = localPrefix + "input_" + type + "_" + index + "_" + channel;
        update.push_back("var " + name + " = input_" + type + "(" + index + ", " + channel + ")");
    }
    return name;
}

std::string Generator::Conditional(const std::vector<std::string>& in) {
    std::string text = "if " + in.at(0);
    for (const auto& line : SplitLines(in.at(1)))
        text += "\n\t" + line;
    if (!in.at(2).empty()) {
        text += "\nelse";
        for (const auto& line : SplitLines(in.at(2)))
            text += "\n\t" + line;
    }
    return text;
}

std::string Generator::Switch(Editor::SwitchNode* node, const std::vector<std::string>& in) {
    const std::string name = localPrefix + "switch" + std::to_string(switchCounter++);
    update.push_back("var " + name + " = " + Editor::DEFAULT_TYPES_VAL.at(static_cast<size_t>(node->type)));
    std::string selector = in.at(0);
    if (!IsSimple(selector)) {
        update.push_back("var " + name + "_ = " + selector);
        selector = name + "_";
    }
    for (size_t i = 1; i < in.size(); ++i) {
        update.push_back((i == 1 ? "if " : "elseif ") + selector + " == " + std::to_string(i - 1));
        update.push_back("\t" + name + " = " + in[i]);
    }
    return name;
}

std::string Generator::Delay(const std::vector<std::string>& in) {
    const std::string name = statePrefix + "delay" + std::to_string(delayCounter++);
    vars.push_back("var " + name + " = 0");
    update.push_back("var " + name + "_ = " + name + " > 0 and " + name + " < time");
    if (in.at(1) != "0") {
        const std::string time = in.at(0) == "0" ? "1" : in.at(0);
        update.push_back("if " + in.at(1));
        update.push_back("\t" + name + " = time + " + time);
    }
    if (in.at(2) != "0") {
        update.push_back("if " + in.at(2));
        update.push_back("\t" + name + " = 0");
    }
    return name + "_";
}

std::string Generator::Blinker(const std::vector<std::string>& in) {
    const std::string name = localPrefix + "blinker" + std::to_string(blinkerCounter++);
    const std::string period = in.at(0) == "0" ? "1" : in.at(0);
    update.push_back("var " + name + " = round(time / " + period + ") % 2 == 0");
    return name;
}

std::string Generator::Counter(VesmoNode* node, const std::vector<std::string>& in) {
    const std::string name = statePrefix + "counter" + std::to_string(counterCounter++);
    vars.push_back("var " + name + " : number");
    vars.push_back("var " + name + "_init = 0");
    update.push_back(name + " += " + in.at(0));
    if (in.at(1) != "0") {
        update.push_back("if !" + name + "_init");
        update.push_back("\t" + name + " = " + in.at(1));
        update.push_back("\t" + name + "_init = 1");
    }
    if (Present(node, 2)) {
        update.push_back("if " + name + " < " + in.at(2));
        update.push_back("\t" + name + " = " + in.at(2));
    }
    if (Present(node, 3)) {
        update.push_back("if " + name + " > " + in.at(3));
        update.push_back("\t" + name + " = " + in.at(3));
    }
    update.push_back("if " + in.at(4));
    update.push_back("\t" + name + " = " + in.at(1));
    return name;
}

std::string Generator::Smooth(const std::vector<std::string>& in) {
    const std::string n = statePrefix + "smooth" + std::to_string(smoothCounter++);
    for (const char* suffix : {"", "_a", "_b", "_t0", "_t1"})
        vars.push_back("var " + n + suffix + " : number");
    if (in.at(2) != "0") {
        const std::string duration = in.at(1) == "0" ? "1" : in.at(1);
        update.push_back("if " + in.at(2));
        update.push_back("\t" + n + "_a = " + n);
        update.push_back("\t" + n + "_b = " + in.at(0));
        update.push_back("\t" + n + "_t0 = time");
        update.push_back("\t" + n + "_t1 = time + " + duration);
        update.push_back(n + " = lerp(" + n + "_a, " + n + "_b, smoothstep(" + n + "_t0, " + n + "_t1, time))");
    }
    return n;
}

std::string Generator::Pulse(VesmoNode* node, bool toggle, const std::vector<std::string>& in) {
    const std::string n = statePrefix + "pulse" + std::to_string(pulseCounter++);
    // A toggle keeps its value between ticks; a pulse falls back to 0 on every tick.
    (toggle ? vars : update).push_back("var " + n + " = 0");
    const bool rising = Source(node, 0) != nullptr;
    const bool falling = Source(node, 1) != nullptr;
    std::string up = in.at(0);
    std::string down = in.at(1);
    if (rising) {
        vars.push_back("var " + n + "_last_up = 0");
        if (!IsSimple(up)) {
            update.push_back("var " + n + "_up_ = " + up);
            up = n + "_up_";
        }
        if (!falling)
            update.push_back("if " + up + " and !" + n + "_last_up");
    }
    if (falling) {
        vars.push_back("var " + n + "_last_down = 1");
        if (!IsSimple(down)) {
            update.push_back("var " + n + "_down_ = " + down);
            down = n + "_down_";
        }
        if (rising)
            update.push_back("if (" + up + " and !" + n + "_last_up) or (!" + down + " and " + n + "_last_down)");
        else
            update.push_back("if !" + down + " and " + n + "_last_down");
    }
    if (rising || falling) {
        update.push_back("\t" + n + "!!");
        if (rising)
            update.push_back(n + "_last_up = " + up);
        if (falling)
            update.push_back(n + "_last_down = " + down);
    }
    return n;
}

std::string Generator::Text(Editor::TextNode* node, const std::vector<std::string>& in) {
    const std::string name = localPrefix + "text" + std::to_string(textCounter++);
    std::string line = "var " + name + " = text(\"" + node->format + "\"";
    for (const auto& expr : in)
        line += ", " + expr;
    update.push_back(line + ")");
    return name;
}

std::string Generator::Math(const std::string& operation, const std::vector<std::string>& in) {
    auto binary = [&](const char* op) { return "(" + in.at(0) + " " + op + " " + in.at(1) + ")"; };
    auto call = [&](const char* function, size_t count) {
        std::string text = std::string(function) + "(" + in.at(0);
        for (size_t i = 1; i < count; ++i)
            text += ", " + in.at(i);
        return text + ")";
    };
    static const std::unordered_map<std::string, const char*> binaries = {
        {"ADD", "+"},     {"SUBTRACT", "-"}, {"MULTIPLY", "*"}, {"DIVIDE", "/"}, {"MODULO", "%"}, {"EQUAL", "=="},
        {"GREATER", ">"}, {"LESSER", "<"},   {"AND", "and"},    {"OR", "or"},    {"XOR", "xor"}};
    static const std::unordered_map<std::string, std::pair<const char*, size_t>> calls = {
        {"ABSOLUTE", {"abs", 1}}, {"SIGN", {"sign", 1}},   {"SIN", {"sin", 1}},
        {"COS", {"cos", 1}},      {"TAN", {"tan", 1}},     {"ASIN", {"asin", 1}},
        {"ACOS", {"acos", 1}},    {"ATAN", {"atan", 1}},   {"FLOOR", {"floor", 1}},
        {"CEIL", {"ceil", 1}},    {"ROUND", {"round", 1}}, {"FRACT", {"fract", 1}},
        {"SQRT", {"sqrt", 1}},    {"POW", {"pow", 2}},     {"LOG", {"log", 2}},
        {"STEP", {"step", 2}},    {"CLAMP", {"clamp", 3}}, {"SMOOTHSTEP", {"smoothstep", 3}},
        {"LERP", {"lerp", 3}}};
    if (const auto it = binaries.find(operation); it != binaries.end())
        return binary(it->second);
    if (operation == "NOT")
        return "(!" + in.at(0) + ")";
    if (operation == "NEGATIVE")
        return "(-" + in.at(0) + ")";
    if (const auto it = calls.find(operation); it != calls.end())
        return call(it->second.first, it->second.second);
    return "";
}

std::string Generator::PID(VesmoNode* node, const std::vector<std::string>& in) {
    const std::string c = std::to_string(pidCounter++);
    const bool hasMin = Present(node, 6);
    const bool hasMax = Present(node, 7);
    const std::string function = functionPrefix + "pid" + c;
    std::string parameters;
    if (hasMin)
        parameters += ", $_min:number";
    if (hasMax)
        parameters += ", $_max:number";
    functions.push_back("function " + function +
                        "($_setpoint:number, $_processvalue:number, $_kp:number, $_ki:number, $_kd:number" +
                        parameters + ", $_integral:number, $_prev_error:number) : number");
    functions.push_back("\tvar $_error = $_setpoint - $_processvalue");
    functions.push_back("\tvar $_dt = delta_time");
    functions.push_back("\tvar $_derivative = ($_error - $_prev_error) / $_dt");
    functions.push_back("\tvar $_proportional = $_kp * $_error");
    functions.push_back("\t$_integral += $_error * $_dt");
    if (hasMin) {
        functions.push_back("\tif $_integral < $_min");
        functions.push_back("\t\t$_integral = $_min");
    }
    if (hasMax) {
        functions.push_back("\tif $_integral > $_max");
        functions.push_back("\t\t$_integral = $_max");
    }
    functions.push_back("\t$_prev_error = $_error");
    functions.push_back("\tvar $_output = $_proportional + $_ki * $_integral + $_kd * $_derivative");
    if (hasMin) {
        functions.push_back("\tif $_output < $_min");
        functions.push_back("\t\t$_output = $_min");
    }
    if (hasMax) {
        functions.push_back("\tif $_output > $_max");
        functions.push_back("\t\t$_output = $_max");
    }
    functions.push_back("\treturn $_output");

    const std::string name = localPrefix + "pid" + c;
    std::string arguments = in.at(0) + ", " + in.at(1) + ", " + in.at(2) + ", " + in.at(3) + ", " + in.at(4);
    if (hasMin)
        arguments += ", " + in.at(6);
    if (hasMax)
        arguments += ", " + in.at(7);
    if (in.at(5) == "0") {
        update.push_back("var " + name + " = " + function + "(" + arguments + ")");
    } else {
        // The state parameters are passed as zeros on reset only; keeping them is the language's business.
        update.push_back("var " + name + " = 0");
        update.push_back("if " + in.at(5));
        update.push_back("\t" + name + " = " + function + "(" + arguments + ", 0, 0)");
        update.push_back("else");
        update.push_back("\t" + name + " = " + function + "(" + arguments + ")");
    }
    return name;
}

void Generator::EmitSink(VesmoNode* node) {
    using E = Editor;
    if (auto* n = dynamic_cast<E::ConstNumberNode*>(node)) {
        constNumbers.push_back("const $" + n->name + " = " + FormatDouble(n->value));
    } else if (auto* n = dynamic_cast<E::ConstTextNode*>(node)) {
        constTexts.push_back("const $" + n->name + " = \"" + n->value + "\"");
    } else if (auto* n = dynamic_cast<E::VarNumberNode*>(node)) {
        if (n->inputs.size() != 3)
            return;
        auto value = [&](size_t i) {
            VesmoNode* source = Source(n, i);
            return source != nullptr ? GetExpr(source) : NormalizeNumber(n->inputValues.at(i));
        };
        vars.push_back("var $" + n->name + " : number");
        const std::string in0 = value(0), in1 = value(1), in2 = value(2);
        if (!in1.empty()) {
            update.push_back("if " + in1);
            update.push_back("\t$" + n->name + " = " + in0);
        }
        if (!in2.empty()) {
            update.push_back("if " + in2);
            update.push_back("\t$" + n->name + " = 0");
        }
    } else if (auto* n = dynamic_cast<E::VarTextNode*>(node)) {
        if (n->inputs.size() != 3)
            return;
        auto value = [&](size_t i, bool quoted) {
            VesmoNode* source = Source(n, i);
            if (source != nullptr)
                return GetExpr(source);
            return quoted ? "\"" + n->inputValues.at(i) + "\"" : n->inputValues.at(i);
        };
        vars.push_back("var $" + n->name + " : text");
        const std::string in0 = value(0, true), in1 = value(1, false), in2 = value(2, false);
        if (!in1.empty()) {
            update.push_back("if " + in1);
            update.push_back("\t$" + n->name + " = " + in0);
        }
        if (!in2.empty()) {
            update.push_back("if " + in2);
            update.push_back("\t$" + n->name + " = \"\"");
        }
    } else if (auto* n = dynamic_cast<E::OutputNode*>(node)) {
        const std::string port = n->index == -1 ? "\"" + n->alias + "\"" : std::to_string(n->index);
        for (size_t i = 0; i < n->inputs.size(); ++i) {
            const std::string& type = E::TYPES.at(static_cast<size_t>(n->InputType(static_cast<int>(i))));
            VesmoNode* source = Source(n, i);
            std::string value;
            if (source != nullptr)
                value = GetExpr(source);
            else if (n->inputValues.at(i).empty())
                continue;
            else if (type == "text")
                value = "\"" + n->inputValues.at(i) + "\"";
            else
                value = NormalizeNumber(n->inputValues.at(i));
            update.push_back("output_" + type + "(" + port + ", " + std::to_string(i) + ", " + value + ")");
        }
    } else if (auto* n = dynamic_cast<E::PrintNode*>(node)) {
        std::string list;
        for (size_t i = 0; i < n->inputs.size(); ++i) {
            VesmoNode* source = Source(n, i);
            std::string item;
            if (source != nullptr)
                item = GetExpr(source);
            else if (n->InputType(static_cast<int>(i)) == 1)
                item = "\"" + n->inputValues.at(i) + "\"";
            else if (n->inputValues.at(i).empty())
                continue;
            else
                item = NormalizeNumber(n->inputValues.at(i));
            list += (list.empty() ? "" : ", ") + item;
        }
        if (!list.empty())
            update.push_back("print(" + list + ")");
    } else if (auto* n = dynamic_cast<E::ExecuteNode*>(node)) {
        for (size_t i = 0; i < n->inputs.size(); ++i) {
            VesmoNode* source = Source(n, i);
            if (source == nullptr) {
                if (!n->inputValues.at(i).empty())
                    update.push_back(n->inputValues.at(i));
                continue;
            }
            for (const auto& line : SplitLines(GetExpr(source)))
                update.push_back(line);
        }
    } else if (auto* n = dynamic_cast<E::IncludeNode*>(node)) {
        if (!n->file.empty())
            includes.push_back("include \"" + n->file + "\"");
    }
}

} // namespace

void Editor::Serialize(bool pushHistory) {
    std::string name = programName;
    const std::string suffix = ".main.vc";
    if (name.size() > 7 && name.ends_with(suffix))
        name.resize(name.size() - suffix.size());
    for (char& c : name)
        if (c == '-')
            c = '_';
    static const std::regex valid("[A-Za-z0-9_]+", std::regex::ECMAScript);
    if (!std::regex_match(name, valid)) {
        std::cerr << "Invalid program name: " << name << std::endl;
        return;
    }

    for (Node* node : nodes)
        if (auto* vesmo = dynamic_cast<VesmoNode*>(node))
            vesmo->inputValues.resize(vesmo->inputs.size());

    Generator generator(*this, name);
    generator.byId.reserve(nodes.size());
    for (Node* node : nodes)
        if (auto* vesmo = dynamic_cast<VesmoNode*>(node))
            generator.byId.emplace(vesmo->id, vesmo); // the first of equal ids wins, as with GetNode
    json document = {{"nodes", json::array()}};
    document["nodes"].get_ref<json::array_t&>().reserve(nodes.size());
    for (Node* node : nodes) {
        auto* vesmo = dynamic_cast<VesmoNode*>(node);
        if (vesmo == nullptr)
            continue;
        document["nodes"].push_back(vesmo->Serialize());
        generator.EmitSink(vesmo);
    }

    const std::string graph = document.dump();
    if (pushHistory) {
        // New work after an undo drops the undone snapshots.
        if (historyPosition != 0) {
            history.erase(history.begin(), history.begin() + static_cast<std::ptrdiff_t>(
                                                                 std::min<uint64_t>(historyPosition, history.size())));
            historyPosition = 0;
        }
        history.push_front(std::move(document)); // dumped already: the snapshot takes the tree itself
        if (history.size() > historyLimit)
            history.pop_back();
    }

    const std::vector<std::string>* sections[] = {&generator.includes, &generator.constNumbers, &generator.constTexts,
                                                  &generator.vars, &generator.functions};
    size_t length = graph.size() + 16;
    for (const auto* section : sections)
        for (const auto& entry : *section)
            length += entry.size() + 2;
    for (const auto& entry : generator.update)
        length += entry.size() + 2;
    std::string text;
    text.reserve(length); // one allocation for a text that may hold hundreds of kilobytes
    text += "#NODES ";
    text += graph;
    text += '\n';
    for (const auto* section : sections) {
        if (section->empty())
            continue;
        text += '\n';
        for (const auto& entry : *section) {
            text += entry;
            text += '\n';
        }
    }
    if (!generator.update.empty()) {
        text += "\nupdate\n";
        for (const auto& entry : generator.update) {
            text += '\t';
            text += entry;
            text += '\n';
        }
    }
    textEditor.SetText(std::move(text));
}

} // namespace VesmoCodeEditor
