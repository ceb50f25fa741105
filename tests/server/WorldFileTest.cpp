// A world's own file: what the server writes it reads back, keys it does not know survive, and a damaged
// number is named with its line.

#include "WorldFile.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using server::WorldFile;
using testing_support::ReadText;
using testing_support::TempDir;
using testing_support::WriteText;

TEST(WorldFile, RoundTripsAndKeepsUnknownKeys) {
    TempDir dir;
    const std::string path = dir.File("world.conf");
    WorldFile missing;
    EXPECT_FALSE(missing.Read(path));

    WriteText(path, "# a world\nmodules Planet Other\ntick_rate 30\nsubsteps 2\ntime 12.5\nticks 375\nweather rain\n");
    WorldFile world;
    ASSERT_TRUE(world.Read(path));
    EXPECT_EQ(world.modules, (std::vector<std::string>{"Planet", "Other"}));
    EXPECT_EQ(std::tuple(world.tickRate, world.substeps, world.time, world.ticks), std::tuple(30.0, 2, 12.5, 375u));

    world.time = 0.1 + 0.2; // not a short decimal: the clock must come back bit for bit
    world.Write(path);
    EXPECT_NE(ReadText(path).find("weather rain"), std::string::npos);
    WorldFile again;
    ASSERT_TRUE(again.Read(path));
    EXPECT_EQ(again.time, world.time);
    EXPECT_EQ(again.modules, world.modules);
    EXPECT_EQ(again.unknown, world.unknown);
}

TEST(WorldFile, ANumberThatIsNotOneNamesItsLine) {
    TempDir dir;
    const std::string path = dir.File("world.conf");
    WriteText(path, "modules Planet\ntick_rate fast\n");
    WorldFile world;
    const std::string message = testing_support::ThrownMessage<std::runtime_error>([&] { world.Read(path); });
    EXPECT_NE(message.find("world.conf:2: 'tick_rate' needs a number"), std::string::npos) << message;
}

TEST(WorldFile, ModuleListsSplitAtCommasAndOutOfRangeValuesAreRefused) {
    TempDir dir;
    const std::string path = dir.File("world.conf");
    WriteText(path, "modules Planet,Nope  Other, Last\n");
    WorldFile world;
    ASSERT_TRUE(world.Read(path));
    EXPECT_EQ(world.modules, (std::vector<std::string>{"Planet", "Nope", "Other", "Last"}));
    EXPECT_EQ(server::SplitModuleList(" A ,,B "), (std::vector<std::string>{"A", "B"}));

    for (const char* line : {"substeps 0", "substeps 100000000", "tick_rate 0.5", "tick_rate 1e9"}) {
        WriteText(path, std::string("modules Planet\n") + line + "\n");
        WorldFile bad;
        const std::string message = testing_support::ThrownMessage<std::runtime_error>([&] { bad.Read(path); });
        EXPECT_NE(message.find("world.conf:2:"), std::string::npos) << line;
        EXPECT_NE(message.find(" from 1 to "), std::string::npos) << message;
    }
}

} // namespace
