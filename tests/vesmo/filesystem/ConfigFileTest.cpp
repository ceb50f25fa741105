#include "vesmo/filesystem/ConfigFile.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>

using testing_support::ReadText;
using testing_support::TempDir;
using testing_support::WriteText;
using vesmo::filesystem::ConfigFile;
using vesmo::filesystem::ConfLineStream;

namespace {

// A small settings record of every value type, written and read the way a game's settings are.
struct Record : ConfigFile {
    using ConfigFile::ConfigFile;
    ~Record() override { StopAutoReloadThread(); }

    std::string name = "default name";
    bool flag = false;
    int count = 3;
    float scale = 0.675f;
    InputBinding binding;
    std::atomic<int> reads{0};

    std::vector<Conf> Confs() {
        return {Conf(this, "name", &name, TYPE_STRING), Conf(this, "flag", &flag, TYPE_BOOL),
                Conf(this, "count", &count, TYPE_INT), Conf(this, "scale", &scale, TYPE_FLOAT),
                Conf(this, "binding", &binding, TYPE_INPUT_BINDING)};
    }
    void ReadConfig() override {
        ReadFromINI("record", Confs(), true);
        ++reads;
    }
    void WriteConfig() override { WriteToINI("record", Confs()); }
};

// Every field away from its default; any 16-bit axis direction survives, not only +1 and -1.
ConfigFile::InputBinding OddBinding() {
    return {.key = 87,
            .mouseButton = 7,
            .gamepadGuid = "03000000 \"odd\" \\guid",
            .gamepadIndex = 2,
            .gamepadButton = 14,
            .gamepadAxis = 5,
            .gamepadAxisDirection = -1,
            .joystickGuid = "0300abcd",
            .joystickIndex = 1,
            .joystickButton = 15,
            .joystickAxis = 8,
            .joystickAxisDirection = -32768};
}

} // namespace

TEST(ConfigFile, EveryTypeRoundTripsExactly) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    {
        Record record(path, 0);
        record.name = "  spaced \"quoted\" \\ back\tslash\nline ";
        record.flag = true;
        record.count = std::numeric_limits<int>::min();
        record.scale = std::nextafter(0.1f, 1.0f);
        record.binding = OddBinding();
        record.WriteConfig();
    }
    Record back(path, 0);
    back.ReadConfig();
    EXPECT_EQ(std::tie(back.name, back.flag, back.count, back.scale),
              std::tuple("  spaced \"quoted\" \\ back\tslash\nline ", true, std::numeric_limits<int>::min(),
                         std::nextafter(0.1f, 1.0f)));
    EXPECT_EQ(back.binding, OddBinding());
}

TEST(ConfigFile, BindingTextIsReadableAndNoneIsNone) {
    ConfigFile::InputBinding binding;
    EXPECT_EQ(binding.ToString(), "none");
    binding.key = 87;
    binding.gamepadAxis = 1;
    binding.gamepadAxisDirection = -1;
    EXPECT_EQ(binding.ToString(), "key:87 gamepad_axis:1 gamepad_axis_direction:-1");

    ConfigFile::InputBinding parsed = OddBinding();
    ASSERT_TRUE(ConfigFile::InputBinding::FromString("  none ", parsed));
    EXPECT_EQ(parsed, ConfigFile::InputBinding{});
    // A person's edit: order does not matter, blanks are free.
    ASSERT_TRUE(ConfigFile::InputBinding::FromString("gamepad_button:0   key:32", parsed));
    EXPECT_EQ(std::tie(parsed.key, parsed.gamepadButton, parsed.mouseButton), std::tuple(32, 0, -1));
    // Refusals leave the binding as it was.
    for (const char* bad : {"key:W", "keyboard:32", "key 32", "gamepad_axis:40000", "gamepad_guid:\"open"}) {
        ConfigFile::InputBinding before = OddBinding();
        EXPECT_FALSE(ConfigFile::InputBinding::FromString(bad, before)) << bad;
        EXPECT_EQ(before, OddBinding()) << bad;
    }
}

TEST(ConfigFile, AbsentKeysAndBadValuesLeaveFieldsUntouched) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    WriteText(path, "[record]\ncount = 12\nscale = not a number\n[other]\nflag = true\n");
    Record record(path, 0);
    const std::string errors = testing_support::StderrOf([&] { record.ReadConfig(); });
    // The scale does not read: kept, and said on stderr; flag is in another section; name is absent.
    EXPECT_EQ(std::tie(record.count, record.scale, record.flag, record.name),
              std::tuple(12, 0.675f, false, "default name"));
    EXPECT_NE(errors.find("[record] scale"), std::string::npos) << errors;

    // Without strict, a bad value is silent.
    EXPECT_EQ(testing_support::StderrOf([&] { record.ReadFromINI("record", record.Confs(), false); }), "");

    // A missing file is all defaults.
    Record fresh(dir.File("absent.ini"), 0);
    fresh.ReadConfig();
    EXPECT_EQ(fresh.count, 3);
}

TEST(ConfigFile, WritingASectionKeepsTheRestOfTheFile) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    WriteText(path, "# my settings\n[first]\nkeep = me\n\n[record]\ncount = 1\nhand_added = yes\n"
                    "# about last\n[last]\nalso = kept\n[record]\nflag = true\n");
    Record record(path, 0);
    record.count = 5;
    record.WriteConfig();
    const std::string text = ReadText(path);
    EXPECT_EQ(text, "# my settings\n[first]\nkeep = me\n\n[record]\nname = \"default name\"\nflag = false\n"
                    "count = 5\nscale = 0.675\nbinding = none\n# about last\n[last]\nalso = kept\n");

    // A section the file lacks is appended.
    WriteText(path, "[first]\nkeep = me\n");
    record.WriteConfig();
    EXPECT_EQ(ReadText(path).rfind("[first]\nkeep = me\n\n[record]\nname = ", 0), 0u) << ReadText(path);
}

TEST(ConfigFile, HandEditsInFreeFormAreRead) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    WriteText(path, "  [ record ]  \r\n\tcount=7\r\n name   bare words  \r\n; comment\nflag YES\n");
    Record record(path, 0);
    record.ReadConfig();
    EXPECT_EQ(std::tie(record.count, record.name, record.flag), std::tuple(7, "bare words", true));
}

TEST(ConfigFile, SectionReaderHandsHeaderAndLineStreams) {
    TempDir dir;
    const std::string path = dir.File("crate.conf");
    WriteText(path, "# crate\n[ENTITY crate]\nmass 12.5\nbase_planes -Z -Y \n\n[COLLIDER left  wheel ]\n"
                    "vertices 0 0 0  1 0 0\n[]\n[TARGET]\n");
    ConfigFile file(path, 0);
    struct Seen {
        std::string keyword, name;
        std::vector<std::pair<std::string, std::string>> lines;
    };
    std::vector<Seen> seen;
    file.ReadFromINI([&](std::stringstream& header, std::vector<ConfLineStream>& lines) {
        Seen section;
        header >> section.keyword;
        std::getline(header, section.name);
        for (ConfLineStream& line : lines) {
            std::string key;
            line.key >> key;
            section.lines.emplace_back(key, line.values.str());
        }
        seen.push_back(section);
    });
    ASSERT_EQ(seen.size(), 4u);
    using Lines = std::vector<std::pair<std::string, std::string>>;
    // A value's trailing blank is kept; a header is trimmed with its inner blanks kept; an empty header is
    // still handed on.
    EXPECT_EQ(std::tie(seen[0].keyword, seen[0].name), std::tuple("ENTITY", " crate"));
    EXPECT_EQ(seen[0].lines, (Lines{{"mass", "12.5"}, {"base_planes", "-Z -Y "}}));
    EXPECT_EQ(std::tie(seen[1].keyword, seen[1].name), std::tuple("COLLIDER", " left  wheel"));
    EXPECT_EQ(seen[1].lines, (Lines{{"vertices", "0 0 0  1 0 0"}}));
    EXPECT_EQ(seen[2].keyword, "");
    EXPECT_EQ(seen[3].keyword, "TARGET");
    EXPECT_TRUE(seen[3].lines.empty());
}

TEST(ConfigFile, AutoReloadPicksUpAnEditAndStopsPromptly) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    WriteText(path, "[record]\ncount = 1\n");
    Record record(path, 20);
    record.ReadConfig();
    record.StartAutoReloadThread();
    const int readsBefore = record.reads.load();

    // Our own write does not count as a change.
    record.WriteConfig();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(record.reads.load(), readsBefore);

    WriteText(path, "[record]\ncount = 42\n");
    // The fields belong to the reload thread until it stops: wait on the atomic count of reads, and look
    // at the field only after the stop (ThreadSanitizer caught the test reading it while being written).
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (record.reads.load() == readsBefore && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));

    const auto start = std::chrono::steady_clock::now();
    record.StopAutoReloadThread();
    record.StopAutoReloadThread();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_EQ(record.count, 42);
}

TEST(ConfigFile, UnknownTypeCodesAreRefused) {
    ConfigFile file("unused.ini", 0);
    int field = 0;
    EXPECT_THROW(ConfigFile::Conf(&file, "x", &field, 2), std::invalid_argument);
}
