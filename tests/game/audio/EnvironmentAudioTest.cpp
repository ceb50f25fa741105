// Environment audio on a studio without a device, with the game's own banks (copied into the build tree).
// UpdateData smooths into statics that live as long as the process, so the cases check each step against
// the value before it; the values the statics start from are checked in a process of their own.

#include "game/audio/EnvironmentAudio.hpp"

#include "game/Game.hpp"

#include "vesmo/audio/Studio.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>

using game::audio::EnvironmentAudio;
using game::audio::EnvironmentAudioData;

namespace {

constexpr const char* kEvent = "event:/game/environment/planet surface";

class EnvironmentAudioTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::filesystem::current_path(BANK_ROOT);
        Game::audio = &studio;
        Game::settings = std::make_unique<game::GameSettings>(folder.File("settings.conf"), 0);
    }
    void TearDown() override {
        Game::audio = nullptr;
        Game::settings.reset();
    }

    // One all-object sample with the given distance (hundredths): the objects' share is 1.
    static EnvironmentAudioData Objects(int distance) { return {0, 0, 3, 0, distance}; }
    // A record as UpdateData leaves it: counts back at 0, the distance back at its 100 m.
    static void ExpectReset(const EnvironmentAudioData& data) {
        EXPECT_EQ(std::tuple(data.missCount, data.terrainCount, data.objectCount, data.hydrosphereCount),
                  std::tuple(0, 0, 0, 0));
        EXPECT_EQ(data.hydrosphereDistance, 10000);
    }

    testing_support::TempDir folder;
    vesmo::audio::Studio studio;
};

} // namespace

// Order of the banks and the event's path and play state are the lifecycle tests' concern; here, that the
// game's own banks describe the event it plays.
TEST_F(EnvironmentAudioTest, TheShippedBanksDescribeTheLoopingEvent) {
    EnvironmentAudio audio;
    EXPECT_EQ(studio.LoadedBanks().size(), 3u);
    EXPECT_TRUE(audio.IsDescribed());
    EXPECT_TRUE(studio.FindEvent(kEvent)->loop);
    EXPECT_FALSE(audio.underwater);
}

TEST_F(EnvironmentAudioTest, StaticsStartAtZeroSharesAndNoWater) {
    // A fresh process: the death-test child re-runs this case alone, so the statics are untouched.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            EnvironmentAudio audio;
            EnvironmentAudioData data(1, 0, 1, 0, 5000); // water at 50 metres
            audio.UpdateData(&data);
            const bool distance = audio.GetParameter("dist to water") == 0.8f * 10000.0f + 0.2f * 50.0f;
            const bool inside = std::fabs(audio.GetParameter("inside") - std::pow(0.2f * 0.5f, 4.0f)) < 1e-9f;
            std::exit(distance && inside ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(EnvironmentAudioTest, UpdateDataBlendsAFifthOfEachSampleAndResetsTheRecord) {
    EnvironmentAudio audio;
    EnvironmentAudioData data{2, 3, 1, 2, 1234};
    audio.UpdateData(&data);
    ExpectReset(data);

    float distance = audio.GetParameter("dist to water");
    float objects = std::pow(audio.GetParameter("inside"), 0.25f);
    // Each step: new = 0.8 × old + 0.2 × sample, with the object share over all four counts.
    const std::pair<int, int> steps[] = {{400, 1}, {0, 4}, {9000, 0}, {250, 2}};
    for (const auto& [hundredths, objectCount] : steps) {
        data = {1, 1, objectCount, 2, hundredths};
        const float total = static_cast<float>(1 + 1 + objectCount + 2);
        audio.UpdateData(&data);
        distance = 0.8f * distance + 0.2f * static_cast<float>(hundredths) / 100.0f;
        objects = 0.8f * objects + 0.2f * static_cast<float>(objectCount) / total;
        EXPECT_FLOAT_EQ(audio.GetParameter("dist to water"), distance) << hundredths;
        EXPECT_NEAR(audio.GetParameter("inside"), std::pow(objects, 4.0f), 1e-6f) << hundredths;
        ExpectReset(data);
    }
}

TEST_F(EnvironmentAudioTest, AnEmptyRecordChangesNothingButItsDistance) {
    EnvironmentAudio audio;
    EnvironmentAudioData data = Objects(700);
    audio.UpdateData(&data);
    audio.underwater = true; // would reach the global parameter if the record had samples
    const float inside = audio.GetParameter("inside");
    const float distance = audio.GetParameter("dist to water");

    data = EnvironmentAudioData{0, 0, 0, 0, 42};
    audio.UpdateData(&data);
    EXPECT_EQ(data.hydrosphereDistance, 10000);
    EXPECT_EQ(audio.GetParameter("inside"), inside);
    EXPECT_EQ(audio.GetParameter("dist to water"), distance);
    EXPECT_EQ(studio.GetParameter("underwater"), 0.0f);

    // Nor did the empty record move the statics: the next sample blends with the values from before it.
    data = Objects(700);
    audio.UpdateData(&data);
    EXPECT_FLOAT_EQ(audio.GetParameter("dist to water"), 0.8f * distance + 0.2f * 7.0f);
}

TEST_F(EnvironmentAudioTest, ParametersReachTheStudioByName) {
    EnvironmentAudio audio;
    audio.underwater = true;
    EnvironmentAudioData data = Objects(300);
    audio.UpdateData(&data);
    EXPECT_EQ(studio.GetParameter("underwater"), 1.0f); // global, not on the event
    audio.underwater = false;
    data = Objects(300);
    audio.UpdateData(&data);
    EXPECT_EQ(studio.GetParameter("underwater"), 0.0f);

    audio.SetWindSpeed(12.5f, 1.1f);
    const auto state = studio.EventInstances().at(0);
    EXPECT_EQ(state->path, kEvent);
    std::vector<std::string> names;
    for (const auto& [name, value] : state->parameters)
        names.push_back(name);
    EXPECT_EQ(names, (std::vector<std::string>{"density", "dist to water", "inside", "wind speed"}));
    EXPECT_EQ(state->parameters.at("wind speed"), 12.5f);
    EXPECT_EQ(state->parameters.at("density"), 1.1f);
}

TEST_F(EnvironmentAudioTest, WindSetsTheEventVolumeToHalfTheEnvironmentSetting) {
    EnvironmentAudio audio;
    const std::tuple<float, float, float> rows[] = {{1.0f, 3.0f, 0.5f}, {0.3f, 3.0f, 0.15f}, {0.0f, 30.0f, 0.0f}};
    for (const auto& [setting, wind, volume] : rows) {
        Game::settings->environment_volume = setting;
        audio.SetWindSpeed(wind, 1.2f);
        EXPECT_FLOAT_EQ(audio.GetVolume(), volume) << setting;
    }
}

TEST_F(EnvironmentAudioTest, MissingBanksAndEventAreReportedAndTheGameGoesOn) {
    testing_support::TempDir empty;
    std::filesystem::current_path(empty.Path());
    std::unique_ptr<EnvironmentAudio> made;
    EXPECT_EQ(testing_support::StderrOf([&] { made = std::make_unique<EnvironmentAudio>(); }),
              "Studio: cannot load bank \"game/audio/banks/Master.bank\": no such file\n"
              "Studio: cannot load bank \"game/audio/banks/Master.strings.bank\": no such file\n"
              "Studio: cannot load bank \"game/audio/banks/environment.bank\": no such file\n"
              "Studio: no loaded bank holds event \"event:/game/environment/planet surface\"; it stays "
              "silent\n");
    EnvironmentAudio& audio = *made;
    EXPECT_TRUE(studio.LoadedBanks().empty());
    EXPECT_FALSE(audio.IsDescribed());
    EXPECT_TRUE(audio.IsPlaying());

    // Every operation still works and reads back; the event is only silent.
    EnvironmentAudioData data = Objects(100);
    audio.UpdateData(&data);
    audio.SetWindSpeed(10.0f, 1.0f);
    studio.Update();
    EXPECT_GT(audio.GetParameter("inside"), 0.0f);
    EXPECT_EQ(audio.GetParameter("wind speed"), 10.0f);
    EXPECT_EQ(audio.GetGain(), 0.0f);
    std::filesystem::current_path(BANK_ROOT);
}
