// Golden program texts of the code generator, node class by node class.
#include "game/visual/VesmoCodeEditor.hpp"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

namespace {

using VesmoCodeEditor::Editor;
using json = nlohmann::json;

// An editor with helpers to build a graph and read the program text below its "#NODES " line.
struct Program {
    explicit Program(const std::string& name = "p") { editor.programName = name; }

    template <class T, class... Args> T* Add(Args&&... args) {
        T* node = new T(ImVec2(0.0f, 0.0f), std::forward<Args>(args)...);
        editor.nodes.push_back(node);
        return node;
    }
    static void Connect(game::graphics::ui::Node* to, int input, const game::graphics::ui::Node* from) {
        to->inputs.at(static_cast<size_t>(input)) = from->id;
    }
    std::string Text() {
        editor.Serialize(false);
        return editor.textEditor.GetText();
    }
    // The program without its first line.
    std::string Body() {
        const std::string text = Text();
        return text.substr(text.find('\n') + 1);
    }

    Editor editor;
};

TEST(VesmoCodeGenerator, SmallExampleOfBlinkerBetweenInputAndOutput) {
    Program p("demo");
    auto* input = p.Add<Editor::InputNode>();
    auto* blinker = p.Add<Editor::BlinkerNode>();
    auto* output = p.Add<Editor::OutputNode>();
    output->index = 1;
    Program::Connect(blinker, 0, input);
    Program::Connect(output, 0, blinker);

    const std::string text = p.Text();
    const size_t firstLine = text.find('\n');
    EXPECT_EQ(text.substr(firstLine + 1), "\n"
                                          "update\n"
                                          "\tvar $_input_number_0_0 = input_number(0, 0)\n"
                                          "\tvar $_blinker1 = round(time / $_input_number_0_0) % 2 == 0\n"
                                          "\toutput_number(1, 0, $_blinker1)\n");
    ASSERT_EQ(text.rfind("#NODES {\"nodes\":[", 0), 0u);
    const json document = json::parse(text.substr(7, firstLine - 7));
    ASSERT_EQ(document.at("nodes").size(), 3u);
    EXPECT_EQ(document["nodes"][0], input->Serialize());
    EXPECT_EQ(document["nodes"][2]["inputs"][0], blinker->id.ToString());
    EXPECT_EQ(p.Text(), text) << "a second run over the same graph writes the same text";
}

TEST(VesmoCodeGenerator, EmptyGraphIsJustTheFirstLine) {
    Program p;
    EXPECT_EQ(p.Text(), "#NODES {\"nodes\":[]}\n");
}

TEST(VesmoCodeGenerator, ProgramNamesGivePrefixes) {
    Program p("a-b.main.vc");
    auto* delay = p.Add<Editor::DelayNode>();
    auto* pid = p.Add<Editor::PIDControllerNode>();
    auto* print = p.Add<Editor::PrintNode>();
    print->AddInput();
    Program::Connect(print, 0, delay);
    Program::Connect(print, 1, pid);
    const std::string body = p.Body();
    EXPECT_NE(body.find("var $_a_b_delay1 = 0"), std::string::npos) << body;
    EXPECT_NE(body.find("function @_a_b_pid1("), std::string::npos) << body;

    // A name that is just the suffix, or holds a blank, is refused and the old text stays.
    for (const char* bad : {"my prog", ".main.vc", ""}) {
        p.editor.programName = bad;
        std::ostringstream captured;
        auto* old = std::cerr.rdbuf(captured.rdbuf());
        p.editor.Serialize(false);
        std::cerr.rdbuf(old);
        EXPECT_EQ(p.editor.textEditor.GetText().find("#NODES "), 0u);
        EXPECT_NE(p.editor.textEditor.GetText().find("$_a_b_delay1"), std::string::npos);
        std::string expectedName = bad;
        if (expectedName == ".main.vc")
            expectedName = "";
        EXPECT_EQ(captured.str(), "Invalid program name: " + expectedName + "\n");
    }
}

TEST(VesmoCodeGenerator, NumberNormaliser) {
    using VesmoCodeEditor::NormalizeNumber;
    EXPECT_EQ(NormalizeNumber(""), "0");
    EXPECT_EQ(NormalizeNumber(".5"), "0.5");
    EXPECT_EQ(NormalizeNumber("-.5"), "-0.5");
    EXPECT_EQ(NormalizeNumber("+.5"), "+0.5");
    EXPECT_EQ(NormalizeNumber("  \t"), "");
    EXPECT_EQ(NormalizeNumber(" 12 \n"), "12");
    EXPECT_EQ(NormalizeNumber("-"), "-");
    EXPECT_EQ(NormalizeNumber("abc"), "abc");

    // Unconnected literals of an output go through it; an empty one writes nothing.
    Program p;
    auto* output = p.Add<Editor::OutputNode>();
    for (int i = 0; i < 3; ++i)
        output->AddInput();
    output->inputValues = {".5", "-.5", "", "+.5"};
    EXPECT_EQ(p.Body(), "\nupdate\n"
                        "\toutput_number(0, 0, 0.5)\n"
                        "\toutput_number(0, 1, -0.5)\n"
                        "\toutput_number(0, 3, +0.5)\n");
}

TEST(VesmoCodeGenerator, InputsByIndexAndAliasAreShared) {
    Program p;
    auto* a = p.Add<Editor::InputNode>();
    auto* b = p.Add<Editor::InputNode>();
    auto* byAlias = p.Add<Editor::InputNode>();
    byAlias->index = -1;
    byAlias->alias = "speed";
    byAlias->channel = 2;
    auto* textInput = p.Add<Editor::InputNode>();
    textInput->type = 1;
    textInput->index = 3;
    auto* nothing = p.Add<Editor::InputNode>();
    nothing->index = -1;
    auto* output = p.Add<Editor::OutputNode>();
    for (int i = 0; i < 4; ++i)
        output->AddInput();
    Program::Connect(output, 0, a);
    Program::Connect(output, 1, b);
    Program::Connect(output, 2, byAlias);
    Program::Connect(output, 3, textInput);
    Program::Connect(output, 4, nothing);
    output->inputTypes[3] = 1;
    EXPECT_EQ(p.Body(), "\nupdate\n"
                        "\tvar $_input_number_0_0 = input_number(0, 0)\n"
                        "\toutput_number(0, 0, $_input_number_0_0)\n"
                        "\toutput_number(0, 1, $_input_number_0_0)\n"
                        "\tvar $_input_alias_1 = input_number(\"speed\", 2)\n"
                        "\toutput_number(0, 2, $_input_alias_1)\n"
                        "\tvar $_input_text_3_0 = input_text(3, 0)\n"
                        "\toutput_text(0, 3, $_input_text_3_0)\n"
                        "\toutput_number(0, 4, 0)\n");
}

TEST(VesmoCodeGenerator, OutputByAliasAndTextLiterals) {
    Program p;
    auto* output = p.Add<Editor::OutputNode>();
    output->index = -1;
    output->alias = "lamp";
    output->AddInput();
    output->inputValues = {"7", "on"};
    output->inputTypes[1] = 1;
    EXPECT_EQ(p.Body(), "\nupdate\n"
                        "\toutput_number(\"lamp\", 0, 7)\n"
                        "\toutput_text(\"lamp\", 1, \"on\")\n");
}

TEST(VesmoCodeGenerator, SectionsInOrderWithConstantsVariablesAndIncludes) {
    Program p;
    auto* include = p.Add<Editor::IncludeNode>();
    include->file = "lib.vc";
    p.Add<Editor::IncludeNode>(); // no file: nothing
    auto* text = p.Add<Editor::ConstTextNode>();
    text->name = "greeting";
    text->value = "hi";
    auto* number = p.Add<Editor::ConstNumberNode>();
    number->name = "speed";
    number->value = 1.5;
    auto* var = p.Add<Editor::VarNumberNode>();
    var->name = "total";
    auto* time = p.Add<Editor::TimeNode>();
    Program::Connect(var, 0, time);
    var->inputValues = {"", "1", ""};
    auto* textVar = p.Add<Editor::VarTextNode>();
    textVar->name = "label";
    textVar->inputValues = {"x", "", "$reset"};
    EXPECT_EQ(p.Body(), "\ninclude \"lib.vc\"\n"
                        "\nconst $speed = 1.500000\n"
                        "\nconst $greeting = \"hi\"\n"
                        "\nvar $total : number\n"
                        "var $label : text\n"
                        "\nupdate\n"
                        "\tif 1\n"
                        "\t\t$total = time\n"
                        "\tif 0\n"
                        "\t\t$total = 0\n"
                        "\tif $reset\n"
                        "\t\t$label = \"\"\n");
}

TEST(VesmoCodeGenerator, VariablesNeedExactlyThreeInputsAndReadAsDollarNames) {
    Program p;
    auto* var = p.Add<Editor::VarNumberNode>();
    var->name = "v";
    var->inputs.pop_back();
    auto* print = p.Add<Editor::PrintNode>();
    Program::Connect(print, 0, var);
    EXPECT_EQ(p.Body(), "\nupdate\n\tprint($v)\n");
}

TEST(VesmoCodeGenerator, DelayFeedingTwoOutputsAppearsOnce) {
    Program p;
    auto* delay = p.Add<Editor::DelayNode>();
    delay->inputValues = {"0", "$go", "$stop"};
    auto* first = p.Add<Editor::OutputNode>();
    auto* second = p.Add<Editor::OutputNode>();
    second->index = 2;
    Program::Connect(first, 0, delay);
    Program::Connect(second, 0, delay);
    EXPECT_EQ(p.Body(), "\nvar $_p_delay1 = 0\n"
                        "\nupdate\n"
                        "\tvar $_p_delay1_ = $_p_delay1 > 0 and $_p_delay1 < time\n"
                        "\tif $go\n"
                        "\t\t$_p_delay1 = time + 1\n"
                        "\tif $stop\n"
                        "\t\t$_p_delay1 = 0\n"
                        "\toutput_number(0, 0, $_p_delay1_)\n"
                        "\toutput_number(2, 0, $_p_delay1_)\n");
}

TEST(VesmoCodeGenerator, CounterLimitsAreTestedRaw) {
    Program p;
    auto* counter = p.Add<Editor::CounterNode>();
    counter->inputValues = {"1", "5", "", "0", "$reset"};
    auto* output = p.Add<Editor::OutputNode>();
    Program::Connect(output, 0, counter);
    EXPECT_EQ(p.Body(), "\nvar $_p_counter1 : number\n"
                        "var $_p_counter1_init = 0\n"
                        "\nupdate\n"
                        "\t$_p_counter1 += 1\n"
                        "\tif !$_p_counter1_init\n"
                        "\t\t$_p_counter1 = 5\n"
                        "\t\t$_p_counter1_init = 1\n"
                        "\tif $_p_counter1 > 0\n"
                        "\t\t$_p_counter1 = 0\n"
                        "\tif $reset\n"
                        "\t\t$_p_counter1 = 5\n"
                        "\toutput_number(0, 0, $_p_counter1)\n");
}

TEST(VesmoCodeGenerator, SmoothWithAndWithoutTrigger) {
    Program p;
    auto* idle = p.Add<Editor::SmoothNode>();
    auto* active = p.Add<Editor::SmoothNode>();
    active->inputValues = {"10", "0", "$go"};
    auto* print = p.Add<Editor::PrintNode>();
    print->AddInput();
    Program::Connect(print, 0, idle);
    Program::Connect(print, 1, active);
    EXPECT_EQ(p.Body(), "\nvar $_p_smooth1 : number\n"
                        "var $_p_smooth1_a : number\n"
                        "var $_p_smooth1_b : number\n"
                        "var $_p_smooth1_t0 : number\n"
                        "var $_p_smooth1_t1 : number\n"
                        "var $_p_smooth2 : number\n"
                        "var $_p_smooth2_a : number\n"
                        "var $_p_smooth2_b : number\n"
                        "var $_p_smooth2_t0 : number\n"
                        "var $_p_smooth2_t1 : number\n"
                        "\nupdate\n"
                        "\tif $go\n"
                        "\t\t$_p_smooth2_a = $_p_smooth2\n"
                        "\t\t$_p_smooth2_b = 10\n"
                        "\t\t$_p_smooth2_t0 = time\n"
                        "\t\t$_p_smooth2_t1 = time + 1\n"
                        "\t$_p_smooth2 = lerp($_p_smooth2_a, $_p_smooth2_b, smoothstep($_p_smooth2_t0, "
                        "$_p_smooth2_t1, time))\n"
                        "\tprint($_p_smooth1, $_p_smooth2)\n");
}

TEST(VesmoCodeGenerator, PulsesByConnectedInputs) {
    Program p;
    auto* input = p.Add<Editor::InputNode>();
    auto* time = p.Add<Editor::TimeNode>();
    auto* none = p.Add<Editor::PulseNode>();
    auto* rising = p.Add<Editor::PulseNode>();
    Program::Connect(rising, 0, input);
    auto* both = p.Add<Editor::PulseToggleNode>();
    Program::Connect(both, 0, time);
    Program::Connect(both, 1, input);
    auto* falling = p.Add<Editor::PulseNode>();
    Program::Connect(falling, 1, time);
    auto* print = p.Add<Editor::PrintNode>();
    for (int i = 0; i < 3; ++i)
        print->AddInput();
    Program::Connect(print, 0, none);
    Program::Connect(print, 1, rising);
    Program::Connect(print, 2, both);
    Program::Connect(print, 3, falling);
    EXPECT_EQ(p.Body(), "\nvar $_p_pulse2_last_up = 0\n"
                        "var $_p_pulse3 = 0\n"
                        "var $_p_pulse3_last_up = 0\n"
                        "var $_p_pulse3_last_down = 1\n"
                        "var $_p_pulse4_last_down = 1\n"
                        "\nupdate\n"
                        "\tvar $_p_pulse1 = 0\n"
                        "\tvar $_input_number_0_0 = input_number(0, 0)\n"
                        "\tvar $_p_pulse2 = 0\n"
                        "\tif $_input_number_0_0 and !$_p_pulse2_last_up\n"
                        "\t\t$_p_pulse2!!\n"
                        "\t$_p_pulse2_last_up = $_input_number_0_0\n"
                        "\tvar $_p_pulse3_up_ = time\n"
                        "\tif ($_p_pulse3_up_ and !$_p_pulse3_last_up) or (!$_input_number_0_0 and "
                        "$_p_pulse3_last_down)\n"
                        "\t\t$_p_pulse3!!\n"
                        "\t$_p_pulse3_last_up = $_p_pulse3_up_\n"
                        "\t$_p_pulse3_last_down = $_input_number_0_0\n"
                        "\tvar $_p_pulse4 = 0\n"
                        "\tvar $_p_pulse4_down_ = time\n"
                        "\tif !$_p_pulse4_down_ and $_p_pulse4_last_down\n"
                        "\t\t$_p_pulse4!!\n"
                        "\t$_p_pulse4_last_down = $_p_pulse4_down_\n"
                        "\tprint($_p_pulse1, $_p_pulse2, $_p_pulse3, $_p_pulse4)\n");
}

TEST(VesmoCodeGenerator, SwitchWithTextCasesAndComputedSelector) {
    Program p;
    auto* selector = p.Add<Editor::MathNode>("ADD");
    selector->inputValues = {"1", "2"};
    auto* sw = p.Add<Editor::SwitchNode>();
    sw->type = 1;
    sw->inputTypes[1] = 1;
    sw->inputTypes[2] = 1;
    sw->inputValues = {"", "off", "on"};
    Program::Connect(sw, 0, selector);
    auto* simple = p.Add<Editor::SwitchNode>();
    simple->RemoveInput();
    simple->RemoveInput();
    simple->inputValues = {"3"};
    auto* print = p.Add<Editor::PrintNode>();
    print->AddInput();
    Program::Connect(print, 0, sw);
    Program::Connect(print, 1, simple);
    EXPECT_EQ(p.Body(), "\nupdate\n"
                        "\tvar $_switch1 = \"\"\n"
                        "\tvar $_switch1_ = (1 + 2)\n"
                        "\tif $_switch1_ == 0\n"
                        "\t\t$_switch1 = \"off\"\n"
                        "\telseif $_switch1_ == 1\n"
                        "\t\t$_switch1 = \"on\"\n"
                        "\tvar $_switch2 = 0\n"
                        "\tprint($_switch1, $_switch2)\n");
}

TEST(VesmoCodeGenerator, MathOperationsByTitle) {
    // clang-format off
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"ADD", "($x + $y)"}, {"SUBTRACT", "($x - $y)"}, {"MULTIPLY", "($x * $y)"}, {"DIVIDE", "($x / $y)"},
        {"MODULO", "($x % $y)"}, {"EQUAL", "($x == $y)"}, {"GREATER", "($x > $y)"}, {"LESSER", "($x < $y)"},
        {"AND", "($x and $y)"}, {"OR", "($x or $y)"}, {"XOR", "($x xor $y)"}, {"NOT", "(!$x)"}, {"NEGATIVE", "(-$x)"},
        {"ABSOLUTE", "abs($x)"}, {"SIGN", "sign($x)"}, {"SIN", "sin($x)"}, {"COS", "cos($x)"}, {"TAN", "tan($x)"},
        {"ASIN", "asin($x)"}, {"ACOS", "acos($x)"}, {"ATAN", "atan($x)"}, {"FLOOR", "floor($x)"}, {"CEIL", "ceil($x)"},
        {"ROUND", "round($x)"}, {"FRACT", "fract($x)"}, {"SQRT", "sqrt($x)"}, {"POW", "pow($x, $y)"},
        {"LOG", "log($x, $y)"}, {"STEP", "step($x, $y)"}, {"CLAMP", "clamp($x, $y, $z)"},
        {"SMOOTHSTEP", "smoothstep($x, $y, $z)"}, {"LERP", "lerp($x, $y, $z)"}};
    // clang-format on
    EXPECT_EQ(cases.size(), Editor::MathNode::Operations().size());
    for (const auto& [operation, expected] : cases) {
        Program p;
        auto* math = p.Add<Editor::MathNode>(operation);
        ASSERT_GE(math->inputs.size(), 1u) << operation;
        const char* names[] = {"$x", "$y", "$z"};
        for (size_t i = 0; i < math->inputs.size(); ++i)
            math->inputValues[i] = names[i];
        auto* print = p.Add<Editor::PrintNode>();
        Program::Connect(print, 0, math);
        EXPECT_EQ(p.Body(), "\nupdate\n\tprint(" + expected + ")\n") << operation;
    }
    Program p;
    auto* unknown = p.Add<Editor::MathNode>("HYPOT");
    unknown->inputs.resize(1);
    auto* execute = p.Add<Editor::ExecuteNode>();
    Program::Connect(execute, 0, unknown);
    EXPECT_EQ(p.Body(), "");
}

TEST(VesmoCodeGenerator, ExpressionsSubstituteLettersIncludingTheDataQuirk) {
    using VesmoCodeEditor::SubstituteInputs;
    const std::vector<std::string> in = {"$x", "$y", "$z"};
    EXPECT_EQ(SubstituteInputs("  a + b * c ", in), "$x + $y * $z");
    EXPECT_EQ(SubstituteInputs("data", in), "dat$x");
    EXPECT_EQ(SubstituteInputs("\"a b\" + d", in), "\"a b\" + d");
    EXPECT_EQ(SubstituteInputs("sin(A)", in), "sin($x)");
    EXPECT_EQ(SubstituteInputs(" \t", in), "");

    Program p;
    auto* time = p.Add<Editor::TimeNode>();
    auto* expression = p.Add<Editor::ExpressionNode>();
    expression->expression = "a * b";
    expression->inputValues = {"", ".5"};
    Program::Connect(expression, 0, time);
    auto* empty = p.Add<Editor::ExpressionNode>();
    auto* statement = p.Add<Editor::StatementNode>();
    statement->expression = "print(a)";
    Program::Connect(statement, 0, expression);
    auto* execute = p.Add<Editor::ExecuteNode>();
    execute->AddInput();
    Program::Connect(execute, 0, statement);
    execute->inputValues = {"", "beep()", ""};
    auto* print = p.Add<Editor::PrintNode>();
    Program::Connect(print, 0, empty);
    EXPECT_EQ(p.Body(), "\nupdate\n"
                        "\tvar $_expr1 = time * 0.5\n"
                        "\tprint($_expr1)\n"
                        "\tbeep()\n"
                        "\tvar $_expr2 = \n"
                        "\tprint($_expr2)\n");
}

TEST(VesmoCodeGenerator, ConditionalReachesTheProgramThroughExecute) {
    Program p;
    auto* yes = p.Add<Editor::StatementNode>();
    yes->expression = "print(1)";
    auto* no = p.Add<Editor::StatementNode>();
    no->expression = "print(2)";
    auto* conditional = p.Add<Editor::ConditionalNode>();
    conditional->inputValues = {"$ok", "", ""};
    Program::Connect(conditional, 1, yes);
    Program::Connect(conditional, 2, no);
    auto* thenOnly = p.Add<Editor::ConditionalNode>();
    thenOnly->inputValues = {"$ok", "", ""};
    Program::Connect(thenOnly, 1, conditional);
    auto* execute = p.Add<Editor::ExecuteNode>();
    Program::Connect(execute, 0, thenOnly);
    EXPECT_EQ(p.Body(), "\nupdate\n"
                        "\tif $ok\n"
                        "\t\tif $ok\n"
                        "\t\t\tprint(1)\n"
                        "\t\telse\n"
                        "\t\t\tprint(2)\n");
}

TEST(VesmoCodeGenerator, PrintAndTextArguments) {
    Program p;
    auto* text = p.Add<Editor::TextNode>();
    text->format = "speed {}";
    text->AddInput();
    text->inputValues = {"3", ".25"};
    auto* print = p.Add<Editor::PrintNode>();
    for (int i = 0; i < 3; ++i)
        print->AddInput();
    print->inputTypes[1] = 1;
    print->inputValues = {"", "", "", "4"};
    Program::Connect(print, 0, text);
    auto* bare = p.Add<Editor::TextNode>();
    bare->inputs.clear();
    Program::Connect(print, 2, bare);
    EXPECT_EQ(p.Body(), "\nupdate\n"
                        "\tvar $_text1 = text(\"speed {}\", 3, 0.25)\n"
                        "\tvar $_text2 = text(\"\")\n"
                        "\tprint($_text1, \"\", $_text2, 4)\n");
    // Only unconnected, empty number literals: nothing to print.
    Program q;
    q.Add<Editor::PrintNode>();
    EXPECT_EQ(q.Body(), "");
}

TEST(VesmoCodeGenerator, PIDControllerWithoutAndWithLimits) {
    Program p;
    auto* plain = p.Add<Editor::PIDControllerNode>();
    plain->inputValues = {"$sp", "$pv", "1", "0.1", ".5", "", "", ""};
    auto* limited = p.Add<Editor::PIDControllerNode>();
    limited->inputValues = {"$sp", "$pv", "1", "2", "3", "$reset", "0", "100"};
    auto* print = p.Add<Editor::PrintNode>();
    print->AddInput();
    Program::Connect(print, 0, plain);
    Program::Connect(print, 1, limited);
    const std::string head = "($_setpoint:number, $_processvalue:number, $_kp:number, $_ki:number, $_kd:number";
    EXPECT_EQ(p.Body(), "\nfunction @_p_pid1" + head +
                            ", $_integral:number, $_prev_error:number) : number\n"
                            "\tvar $_error = $_setpoint - $_processvalue\n"
                            "\tvar $_dt = delta_time\n"
                            "\tvar $_derivative = ($_error - $_prev_error) / $_dt\n"
                            "\tvar $_proportional = $_kp * $_error\n"
                            "\t$_integral += $_error * $_dt\n"
                            "\t$_prev_error = $_error\n"
                            "\tvar $_output = $_proportional + $_ki * $_integral + $_kd * $_derivative\n"
                            "\treturn $_output\n"
                            "function @_p_pid2" +
                            head +
                            ", $_min:number, $_max:number, $_integral:number, $_prev_error:number) : number\n"
                            "\tvar $_error = $_setpoint - $_processvalue\n"
                            "\tvar $_dt = delta_time\n"
                            "\tvar $_derivative = ($_error - $_prev_error) / $_dt\n"
                            "\tvar $_proportional = $_kp * $_error\n"
                            "\t$_integral += $_error * $_dt\n"
                            "\tif $_integral < $_min\n"
                            "\t\t$_integral = $_min\n"
                            "\tif $_integral > $_max\n"
                            "\t\t$_integral = $_max\n"
                            "\t$_prev_error = $_error\n"
                            "\tvar $_output = $_proportional + $_ki * $_integral + $_kd * $_derivative\n"
                            "\tif $_output < $_min\n"
                            "\t\t$_output = $_min\n"
                            "\tif $_output > $_max\n"
                            "\t\t$_output = $_max\n"
                            "\treturn $_output\n"
                            "\nupdate\n"
                            "\tvar $_pid1 = @_p_pid1($sp, $pv, 1, 0.1, 0.5)\n"
                            "\tvar $_pid2 = 0\n"
                            "\tif $reset\n"
                            "\t\t$_pid2 = @_p_pid2($sp, $pv, 1, 2, 3, 0, 100, 0, 0)\n"
                            "\telse\n"
                            "\t\t$_pid2 = @_p_pid2($sp, $pv, 1, 2, 3, 0, 100)\n"
                            "\tprint($_pid1, $_pid2)\n");
}

TEST(VesmoCodeGenerator, SharedSourcesAreEmittedOnce) {
    Program p;
    auto* blinker = p.Add<Editor::BlinkerNode>();
    auto* expression = p.Add<Editor::ExpressionNode>();
    expression->expression = "a + b";
    Program::Connect(expression, 0, blinker);
    Program::Connect(expression, 1, blinker);
    auto* print = p.Add<Editor::PrintNode>();
    print->AddInput();
    Program::Connect(print, 0, expression);
    Program::Connect(print, 1, blinker);
    p.Add<Editor::DelayNode>(); // nothing depends on it: no code, but it stays in the JSON
    const std::string text = p.Text();
    EXPECT_EQ(text.substr(text.find('\n') + 1), "\nupdate\n"
                                                "\tvar $_blinker1 = round(time / 1) % 2 == 0\n"
                                                "\tvar $_expr1 = $_blinker1 + $_blinker1\n"
                                                "\tprint($_expr1, $_blinker1)\n");
    EXPECT_NE(text.find("\"class\":\"DelayNode\""), std::string::npos);
}

TEST(VesmoCodeGenerator, PreparationAlignsLiteralsWithInputs) {
    Program p;
    auto* print = p.Add<Editor::PrintNode>();
    print->inputs.resize(3);
    print->inputValues = {"1", "2", "3", "4", "5"};
    p.Text();
    EXPECT_EQ(print->inputValues, (std::vector<std::string>{"1", "2", "3"}));
    print->inputs.resize(4);
    p.Text();
    EXPECT_EQ(print->inputValues.size(), 4u);
}

} // namespace
