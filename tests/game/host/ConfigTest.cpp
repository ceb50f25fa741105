#include "game/host/Config.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

// Parse wants a writable buffer that outlives nothing in particular; keep one per test.
struct Parsed {
    explicit Parsed(const std::string& text) : buffer(text.begin(), text.end()) {
        buffer.push_back('\0');
        config.Parse(buffer.data());
    }
    std::vector<char> buffer;
    game::Config config;
};

const char* const kWorld = R"(# the server's world list
name: demo world
version: 3
gravity: -9.81
seed: "0x10"
spawn: [0, 120.5, -4]
modules:
  - name: ORKALIN_planets
    enabled: true
  - name: ORKALIN_vehicles
    enabled: false
    options: {wheels: 4, mass: 1.2e3}
empty_value:
tilde: ~
)";

} // namespace

TEST(Config, TreeShapeSizesAndIndices) {
    Parsed parsed(kWorld);
    const game::Config& config = parsed.config;
    ASSERT_FALSE(config.Empty());

    // root, 8 top keys, 3 spawn items, 2 module maps with 2 + 3 keys, 2 option keys
    const size_t total = 1 + 8 + 3 + 2 + 5 + 2;
    EXPECT_EQ(config.Root().Size(), total);
    EXPECT_EQ(config["modules"][1]["options"]["mass"].Size(), total); // any node tells the whole tree

    EXPECT_EQ(std::tuple(config.Root().IsMap(), config.Root().HasKey(), config.Root().Index()),
              std::tuple(true, false, 0));

    game::Config::Node modules = config["modules"];
    EXPECT_EQ(std::tuple(modules.IsArray(), modules.HasKey(), modules.IsValue(), modules.Key(), modules.Index()),
              std::tuple(true, true, false, "modules", 5));
    // A sequence item has no key.
    EXPECT_EQ(std::tuple(modules[1].Index(), modules[1].HasKey(), modules[1].Key()), std::tuple(1, false, ""));
    EXPECT_EQ(modules[1]["options"].Index(), 2);
    EXPECT_EQ(modules[1]["options"]["mass"].Index(), 1);

    EXPECT_EQ(config["name"].AsString(), "demo world");
    EXPECT_EQ(config[0].Key(), "name"); // position lookup on the root
    EXPECT_EQ(config[3].AsString(), "0x10");
    EXPECT_TRUE(config["name"] == "demo world");
    EXPECT_TRUE(config["name"] != std::string("demo"));
    EXPECT_EQ(std::string(modules[0]["name"]), "ORKALIN_planets");
    EXPECT_EQ(modules[1]["options"]["wheels"].AsInt(), 4);
    EXPECT_EQ(modules[1]["options"]["mass"].AsDouble(), 1200.0);
    EXPECT_FLOAT_EQ(config["gravity"].AsFloat(), -9.81f);
    EXPECT_EQ(config["spawn"][2].AsInt64(), -4);

    // Nulls: a left-out value is empty text, an explicit one keeps its spelling.
    EXPECT_TRUE(config["empty_value"].IsValue());
    EXPECT_EQ(config["empty_value"].AsString(), "");
    EXPECT_EQ(config["tilde"].AsString(), "~");
    EXPECT_TRUE(config["tilde"].IsString());
}

TEST(Config, MissingKeysAndIndicesGiveEmptyNodes) {
    Parsed parsed(kWorld);
    const game::Config& config = parsed.config;

    game::Config::Node missing = config["nothing"]["deeper"][3];
    EXPECT_FALSE(missing);
    EXPECT_EQ(std::tuple(missing.Size(), missing.Index(), missing.AsString(), missing.Key()),
              std::tuple(0u, -1, "", ""));
    EXPECT_FALSE(missing.HasKey() || missing.IsMap() || missing.IsArray() || missing.IsValue());
    EXPECT_FALSE(missing.IsInt() || missing.IsFloat() || missing.IsNumeric() || missing.IsString());
    EXPECT_TRUE(missing.begin() == missing.end());

    EXPECT_FALSE(config["spawn"][3]); // one past the last item
    EXPECT_FALSE(config["spawn"][-1]);
    EXPECT_FALSE(config["spawn"]["0"]); // keys are not looked up in a sequence
    EXPECT_FALSE(config["name"]["x"]);  // nor in a scalar
    EXPECT_FALSE(config["name"][0]);
}

TEST(Config, IteratesChildrenBothWays) {
    Parsed parsed(kWorld);
    game::Config::Node root = parsed.config.Root();

    std::vector<std::string> keys;
    for (game::Config::Node child : root)
        keys.push_back(child.Key());
    EXPECT_EQ(keys, (std::vector<std::string>{"name", "version", "gravity", "seed", "spawn", "modules", "empty_value",
                                              "tilde"}));

    game::Config::Node spawn = root["spawn"];
    EXPECT_EQ(std::distance(spawn.begin(), spawn.end()), 3);

    // Backwards from the last item down to the first; one more step leaves the sequence.
    game::Config::Iterator it(spawn[2]);
    std::vector<std::string> backwards;
    for (; it != spawn.end(); --it)
        backwards.push_back((*it).AsString());
    EXPECT_EQ(backwards, (std::vector<std::string>{"-4", "120.5", "0"}));

    game::Config::Iterator walk = spawn.begin();
    ++walk;
    ++walk;
    EXPECT_EQ((*walk).AsString(), "-4");
    --walk;
    EXPECT_EQ((*walk).AsString(), "120.5");
    EXPECT_EQ((*walk++).AsString(), "120.5");
    EXPECT_EQ((*walk).AsString(), "-4");
    EXPECT_TRUE(++walk == spawn.end());
    EXPECT_TRUE(--spawn.begin() == spawn.end());

    // A scalar has no children.
    EXPECT_TRUE(root["name"].begin() == root["name"].end());
}

TEST(Config, NumberClassification) {
    struct Case {
        const char* text;
        bool isInt, isFloat;
    };
    const Case cases[] = {
        {"12", true, true},      {"-12", true, true},     {"+7", true, true},      {"0", true, true},
        {"0x10", false, false},  {"0b101", false, false}, {"0o17", false, false},  {"1e3", false, true},
        {"2.5E-4", false, true}, {".5", false, true},     {"5.", false, true},     {"-.5e+2", false, true},
        {"inf", false, true},    {"-nan", false, true},   {"-", false, false},     {"+", false, false},
        {".", false, false},     {"1e", false, false},    {"1e+", false, false},   {"e3", false, false},
        {" 12", false, false},   {"12 ", false, false},   {"12abc", false, false}, {"1.2.3", false, false},
        {"1,000", false, false}, {"", false, false},      {"INF", false, false},   {"--1", false, false},
    };
    for (const Case& c : cases) {
        // Double quotes keep the blanks, so the scanners see exactly the text of the case.
        Parsed parsed(std::string("v: \"") + c.text + "\"\n");
        game::Config::Node node = parsed.config["v"];
        ASSERT_TRUE(node.IsValue()) << c.text;
        EXPECT_EQ(node.IsInt(), c.isInt) << '"' << c.text << '"';
        EXPECT_EQ(node.IsFloat(), c.isFloat) << '"' << c.text << '"';
        EXPECT_EQ(node.IsNumeric(), c.isInt || c.isFloat) << '"' << c.text << '"';
        EXPECT_EQ(node.IsString(), !(c.isInt || c.isFloat)) << '"' << c.text << '"';
    }

    Parsed parsed("{a: +7, b: .5, c: 5., d: -1e-2, e: 9223372036854775807, f: 18446744073709551615}");
    const game::Config& c = parsed.config;
    EXPECT_EQ(std::tuple(c["a"].AsInt(), c["b"].AsDouble(), c["c"].AsFloat(), c["d"].AsDouble()),
              std::tuple(7, 0.5, 5.0f, -0.01));
    EXPECT_EQ(std::tuple(c["e"].AsInt64(), c["f"].AsUInt64()), std::tuple(INT64_MAX, UINT64_MAX));
    EXPECT_EQ(c["a"].AsDouble(), 7.0); // an integer reads as a real too

    // A map or a sequence is not a value, so none of its tests hold.
    EXPECT_FALSE(parsed.config.Root().IsString());
}

TEST(Config, EmptyTextsClearAndMoves) {
    game::Config config;
    EXPECT_TRUE(config.Empty());
    EXPECT_FALSE(config["a"]);
    EXPECT_FALSE(config[0]);
    EXPECT_EQ(config.Root().Size(), 0u);

    config.Parse(nullptr);
    EXPECT_TRUE(config.Empty());
    char empty[] = "";
    config.Parse(empty);
    EXPECT_TRUE(config.Empty());
    char comments[] = "# nothing here\n\n   # still nothing\n";
    config.Parse(comments);
    EXPECT_TRUE(config.Empty());
    EXPECT_FALSE(config["a"]["b"]);

    char text[] = "a: {b: 1}\n";
    config.Parse(text);
    EXPECT_EQ(config["a"]["b"].AsInt(), 1);
    text[0] = 'z'; // the tree does not point into the buffer
    EXPECT_EQ(config["a"]["b"].AsInt(), 1);

    game::Config moved = std::move(config);
    EXPECT_TRUE(config.Empty());
    EXPECT_EQ(moved["a"]["b"].AsInt(), 1);

    char other[] = "- x\n";
    moved.Parse(other); // a second parse replaces the first tree
    EXPECT_FALSE(moved["a"]);
    EXPECT_EQ(moved[0].AsString(), "x");

    moved.Clear();
    moved.Clear();
    EXPECT_TRUE(moved.Empty());
    EXPECT_FALSE(moved[0]);
}

TEST(Config, ScalarDocumentsAndStreams) {
    Parsed scalar("hello\n");
    EXPECT_TRUE(scalar.config.Root().IsValue());
    EXPECT_EQ(scalar.config.Root().AsString(), "hello");
    EXPECT_EQ(scalar.config.Root().Size(), 1u);

    // Several documents: the root is a sequence of them.
    Parsed stream("a: 1\n---\nb: 2\n--- [x, y]\n");
    game::Config::Node root = stream.config.Root();
    EXPECT_TRUE(root.IsArray());
    EXPECT_EQ(root[0]["a"].AsInt(), 1);
    EXPECT_EQ(root[1]["b"].AsInt(), 2);
    EXPECT_EQ(root[2][1].AsString(), "y");
    EXPECT_FALSE(root[0].HasKey());
    EXPECT_EQ(root.Size(), 1u + 2 + 2 + 3);
}

TEST(Config, AliasesAreCopiedAndKeysKeepTheirOrder) {
    Parsed parsed(R"(
base: &base {mass: 10, drag: 0.3}
left: *base
right: &r [1, 2]
again: *r
&k shared: 5
*k : 6
)");
    const game::Config& config = parsed.config;
    EXPECT_EQ(config["left"]["mass"].AsInt(), 10);
    EXPECT_EQ(config["left"]["drag"].Key(), "drag");
    EXPECT_TRUE(config["left"]["drag"].HasKey());
    EXPECT_EQ(config["left"]["drag"].Index(), 1);
    EXPECT_EQ(config["again"][1].AsInt(), 2);
    EXPECT_FALSE(config["again"][1].HasKey());
    // The repeated key is kept; lookup finds the first.
    EXPECT_EQ(config["shared"].AsInt(), 5);
    EXPECT_EQ(config[5].Key(), "shared");
    EXPECT_EQ(config[5].AsInt(), 6);
    EXPECT_EQ(config.Root().Size(), 1u + 6 + 2 + 2 + 2 + 2);
}

TEST(ConfigDeathTest, BadYamlEndsTheProcessWithLineAndColumn) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            char text[] = "list: [1, 2\nnext: 3\n";
            game::Config config;
            config.Parse(text);
        },
        "bad YAML at line 2, column [0-9]+: did not find expected ',' or ']'");
    EXPECT_DEATH(
        {
            char text[] = "? [a, b]\n: 1\n";
            game::Config config;
            config.Parse(text);
        },
        "line 1, column 3: a key must be a scalar");
}

// Texts that once hung the parser or would take the machine's memory end the documented way, at once.
TEST(ConfigDeathTest, HostileTextsEndAsBadYamlInsteadOfHangingOrGrowing) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            char text[] = ",\xffnu\xffs\xffs";
            game::Config config;
            config.Parse(text);
        },
        "Config: bad YAML at line 1, column [0-9]+: ");
    // Each line ten times the last: 10^9 nodes if aliases were copied without a bound.
    std::string laughs = "a0: &a0 [x, x, x, x, x, x, x, x, x, x]\n";
    for (int i = 1; i < 9; ++i) {
        const std::string previous = "*a" + std::to_string(i - 1);
        laughs += "a" + std::to_string(i) + ": &a" + std::to_string(i) + " [";
        for (int j = 0; j < 10; ++j)
            laughs += previous + (j < 9 ? ", " : "]\n");
    }
    EXPECT_DEATH(
        {
            std::vector<char> text(laughs.begin(), laughs.end());
            text.push_back('\0');
            game::Config config;
            config.Parse(text.data());
        },
        "line 5, column [0-9]+: aliases expand the document past 100000 nodes");
}

TEST(ConfigDeathTest, ConvertingWhatIsNotANumberEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    char text[] = "{hex: 0x10, word: abc, big: 99999999999, neg: -1, huge: 1e999}";
    game::Config config;
    config.Parse(text);
    EXPECT_DEATH(config["hex"].AsInt(), "cannot convert \"0x10\" of key \"hex\" to int");
    EXPECT_DEATH(config["hex"].AsDouble(), "cannot convert \"0x10\" of key \"hex\" to double");
    EXPECT_DEATH(config["word"].AsFloat(), "cannot convert \"abc\"");
    EXPECT_DEATH(config["big"].AsInt(), "cannot convert \"99999999999\" of key \"big\" to int");
    EXPECT_DEATH(config["neg"].AsUInt64(), "to uint64");
    EXPECT_DEATH(config["huge"].AsDouble(), "to double");
    EXPECT_DEATH(config["missing"].AsInt(), "cannot convert \"\" to int");
    EXPECT_EQ(config["big"].AsInt64(), 99999999999);
}
