#include "game/host/Options.hpp"
#include "game/host/DebugInfo.hpp"

#include <gtest/gtest.h>

TEST(Options, DefaultsTypesAndWidening) {
    game::Options::Clear();
    EXPECT_EQ(game::Options::Get<double>("world_origin_reset_distance_threshold", 1000.0), 1000.0);
    EXPECT_TRUE(game::Options::_options.empty()); // a read stores nothing

    game::Options::Set("threshold", 2.5f);
    EXPECT_EQ(game::Options::Get<double>("threshold", 0.0), 2.5); // float widened for double
    EXPECT_EQ(game::Options::Get<float>("threshold", 0.0f), 2.5f);
    EXPECT_THROW(game::Options::Get<int>("threshold", 0), std::bad_any_cast);

    game::Options::Set("name", std::string("crate"));
    EXPECT_EQ(game::Options::Get<std::string>("name", ""), "crate");
    game::Options::Clear();
    EXPECT_EQ(game::Options::Get<std::string>("name", "gone"), "gone");
}

TEST(DebugInfo, LinesKeepTheirArgumentKind) {
    static const char* const kSpeed = "speed %.1f m/s";
    static const char* const kCount = "entities %d";
    game::DebugInfo::Set(kSpeed, 12.25);
    game::DebugInfo::Set(kCount, 42);
    game::DebugInfo::Set(kCount, 43); // same literal: the line is updated, not added
    EXPECT_EQ(game::DebugInfo::infos.size(), 2u);
    EXPECT_EQ(game::DebugInfo::Format(kSpeed, game::DebugInfo::infos.at(kSpeed)), "speed 12.2 m/s");
    EXPECT_EQ(game::DebugInfo::Format(kCount, game::DebugInfo::infos.at(kCount)), "entities 43");
    EXPECT_EQ(game::DebugInfo::Format("world %s", "demo"), "world demo");
    game::DebugInfo::Remove(kSpeed);
    game::DebugInfo::Remove(kCount);
    EXPECT_TRUE(game::DebugInfo::infos.empty());
}
