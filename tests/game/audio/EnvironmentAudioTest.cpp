// Environment audio on a studio without a device, with the game's own banks (copied into the build tree).
// UpdateData smooths into statics that live as long as the process, so the cases check each step against
// the value before it; the values the statics start from are checked in a process of their own.

#include "game/audio/EnvironmentAudio.hpp"

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"

#include "vesmo/audio/Studio.hpp"
#include "vesmo/graphics/HeadlessWindow.hpp"

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
    static EnvironmentAudioData Objects(int distance) {
        EnvironmentAudioData data;
        data.objectCount = 3;
        data.hydrosphereDistance = distance;
        return data;
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
            EnvironmentAudioData data;
            data.objectCount = 1;
            data.missCount = 1;
            data.hydrosphereDistance = 5000; // 50 metres
            audio.UpdateData(&data);
            const bool distance = audio.GetParameter("dist to water") == 0.8f * 10000.0f + 0.2f * 50.0f;
            const bool inside = std::fabs(audio.GetParameter("inside") - std::pow(0.2f * 0.5f, 4.0f)) < 1e-9f;
            std::exit(distance && inside ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(EnvironmentAudioTest, UpdateDataBlendsAFifthOfEachSampleAndResetsTheRecord) {
    EnvironmentAudio audio;
    EnvironmentAudioData data;
    data.missCount = 2;
    data.terrainCount = 3;
    data.objectCount = 1;
    data.hydrosphereCount = 2;
    data.hydrosphereDistance = 1234;
    audio.UpdateData(&data);
    EXPECT_EQ(data.missCount, 0);
    EXPECT_EQ(data.terrainCount, 0);
    EXPECT_EQ(data.objectCount, 0);
    EXPECT_EQ(data.hydrosphereCount, 0);
    EXPECT_EQ(data.hydrosphereDistance, 10000);

    float distance = audio.GetParameter("dist to water");
    float objects = std::pow(audio.GetParameter("inside"), 0.25f);
    // Each step: new = 0.8 × old + 0.2 × sample, with the object share over all four counts.
    const std::pair<int, int> steps[] = {{400, 1}, {0, 4}, {9000, 0}, {250, 2}};
    for (const auto& [hundredths, objectCount] : steps) {
        data.objectCount = objectCount;
        data.missCount = 1;
        data.terrainCount = 1;
        data.hydrosphereCount = 2;
        data.hydrosphereDistance = hundredths;
        const float total =
            static_cast<float>(data.missCount + data.terrainCount + data.objectCount + data.hydrosphereCount);
        audio.UpdateData(&data);
        distance = 0.8f * distance + 0.2f * static_cast<float>(hundredths) / 100.0f;
        objects = 0.8f * objects + 0.2f * static_cast<float>(objectCount) / total;
        EXPECT_FLOAT_EQ(audio.GetParameter("dist to water"), distance) << hundredths;
        EXPECT_NEAR(audio.GetParameter("inside"), std::pow(objects, 4.0f), 1e-6f) << hundredths;
        EXPECT_EQ(data.hydrosphereDistance, 10000);
        EXPECT_EQ(data.objectCount, 0);
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
    Game::settings->environment_volume = 1.0f;
    audio.SetWindSpeed(3.0f, 1.2f);
    EXPECT_EQ(audio.GetVolume(), 0.5f);
    Game::settings->environment_volume = 0.3f;
    audio.SetWindSpeed(3.0f, 1.2f);
    EXPECT_FLOAT_EQ(audio.GetVolume(), 0.15f);
    Game::settings->environment_volume = 0.0f;
    audio.SetWindSpeed(30.0f, 1.2f);
    EXPECT_EQ(audio.GetVolume(), 0.0f);
}

TEST_F(EnvironmentAudioTest, MissingBanksAndEventAreReportedAndTheGameGoesOn) {
    testing_support::TempDir empty;
    std::filesystem::current_path(empty.Path());
    ::testing::internal::CaptureStderr();
    EnvironmentAudio audio;
    const std::string errors = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(errors, "Studio: cannot load bank \"game/audio/banks/Master.bank\": no such file\n"
                      "Studio: cannot load bank \"game/audio/banks/Master.strings.bank\": no such file\n"
                      "Studio: cannot load bank \"game/audio/banks/environment.bank\": no such file\n"
                      "Studio: no loaded bank holds event \"event:/game/environment/planet surface\"; it stays "
                      "silent\n");
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

// Game::Update puts half the master_volume setting on the master bus; the event's gain follows the bus,
// its volume and the environment bank's curves.
TEST_F(EnvironmentAudioTest, GameUpdateSetsTheMasterBusToHalfTheSetting) {
    vesmo::graphics::HeadlessWindow window;
    game::graphics::GameRenderer renderer(&window, "test", 0);
    Game::window = &window;
    Game::renderer = &renderer;
    Game::Start();
    ASSERT_NE(Game::environmentAudio, nullptr);

    Game::settings->master_volume = 1.0f;
    Game::settings->environment_volume = 1.0f;
    Game::environmentAudio->SetWindSpeed(30.0f, 1.2f); // full wind in full air
    Game::Update(0.0);
    EXPECT_EQ(studio.GetVolume("bus:/"), 0.5f);
    // Not enclosed (inside 0, underwater 0): master 0.5 × event 0.5, the environment bus untouched.
    EXPECT_FLOAT_EQ(Game::environmentAudio->GetGain(), 0.25f);

    Game::settings->master_volume = 0.6f;
    Game::Update(0.0);
    EXPECT_FLOAT_EQ(studio.GetVolume("bus:/"), 0.3f);
    EXPECT_FLOAT_EQ(Game::environmentAudio->GetGain(), 0.15f);

    Game::Stop();
    EXPECT_EQ(Game::environmentAudio, nullptr);
    EXPECT_TRUE(studio.EventInstances().empty());
    Game::renderer = nullptr;
    Game::window = nullptr;
}
