// The studio without a sound device: banks from files, event instances, parameters, buses, the listener,
// gains worked out at Update, and failures that print one line and let the caller go on.

#include "vesmo/audio/Studio.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using testing_support::TempDir;
using testing_support::WriteText;
using vesmo::audio::Studio;

namespace {

class StudioTest : public ::testing::Test {
protected:
    std::string Bank(const std::string& name, const std::string& text) {
        const std::string path = folder.File(name);
        WriteText(path, text);
        return path;
    }

    TempDir folder;
    Studio studio;
};

} // namespace

TEST_F(StudioTest, LoadsBanksOnceInOrderAndKeepsTheFirstDescriptionOfAnEvent) {
    const std::string first = Bank("first.bank", "[event:/a]\nsound = a.wav\n[event:/shared]\nbus = bus:/one\n");
    const std::string second = Bank("second.bank", "[event:/shared]\nbus = bus:/two\n[event:/b]\n");
    const std::string empty = Bank("strings.bank", "# nothing\n");
    for (const std::string& bank : {first, empty, second, first}) // the second time of the first changes nothing
        EXPECT_TRUE(studio.LoadBank(bank.c_str())) << bank;
    EXPECT_EQ(studio.LoadedBanks(), (std::vector<std::string>{first, empty, second}));

    ASSERT_TRUE(studio.FindEvent("event:/a"));
    EXPECT_EQ(studio.FindEvent("event:/a")->sound, folder.File("a.wav"));
    EXPECT_EQ(studio.FindEvent("event:/shared")->bus, "bus:/one");
    EXPECT_TRUE(studio.FindEvent("event:/b"));
    EXPECT_FALSE(studio.FindEvent("event:/c"));
}

TEST_F(StudioTest, AMissingOrBrokenBankIsOneLineOnStderrAndNothingLoaded) {
    const std::string missing = folder.File("nowhere.bank");
    EXPECT_EQ(testing_support::StderrOf([&] { EXPECT_FALSE(studio.LoadBank(missing.c_str())); }),
              "Studio: cannot load bank \"" + missing + "\": no such file\n");

    const std::string broken = Bank("broken.bank", "[event:/good]\n[event:/bad]\nloop = often\n");
    EXPECT_EQ(testing_support::StderrOf([&] { EXPECT_FALSE(studio.LoadBank(broken.c_str())); }),
              "Studio: cannot load bank \"" + broken + "\": line 3: loop must be true or false\n");

    EXPECT_TRUE(studio.LoadedBanks().empty());
    EXPECT_FALSE(studio.FindEvent("event:/good")); // a bank loads whole or not at all

    // Fixed on disk, the same path loads.
    WriteText(broken, "[event:/good]\n");
    EXPECT_TRUE(studio.LoadBank(broken.c_str()));
    EXPECT_TRUE(studio.FindEvent("event:/good"));
}

TEST_F(StudioTest, AnUnknownEventIsReportedAndStaysSilentButReadable) {
    ::testing::internal::CaptureStderr();
    {
        Studio::Event event(&studio, "event:/nowhere");
        EXPECT_EQ(::testing::internal::GetCapturedStderr(),
                  "Studio: no loaded bank holds event \"event:/nowhere\"; it stays silent\n");
        EXPECT_FALSE(event.IsDescribed());
        event.Start();
        event.SetParameter("inside", 0.25f);
        event.SetVolume(0.7f);
        studio.Update();
        EXPECT_EQ(std::tuple(event.IsPlaying(), event.GetParameter("inside"), event.GetVolume(), event.GetGain()),
                  std::tuple(true, 0.25f, 0.7f, 0.0f));
        EXPECT_EQ(event.Path(), "event:/nowhere");
        EXPECT_EQ(studio.EventInstances().size(), 1u);
    }
    EXPECT_TRUE(studio.EventInstances().empty()); // the Event's destructor released its instance
}

TEST_F(StudioTest, KeepsGlobalParametersBusVolumesAndTheListener) {
    EXPECT_EQ(studio.GetParameter("underwater"), 0.0f);
    studio.SetParameter("underwater", 1.0f, true);
    EXPECT_EQ(studio.GetParameter("underwater"), 1.0f);

    EXPECT_EQ(studio.GetVolume("bus:/"), 1.0f);
    studio.SetVolume(0.5f, "bus:/");
    studio.SetVolume(0.25f, "bus:/environment");
    EXPECT_EQ(std::tuple(studio.GetVolume("bus:/"), studio.GetVolume("bus:/environment")), std::tuple(0.5f, 0.25f));

    studio.SetListenerAttributes(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12);
    const Studio::Listener listener = studio.GetListenerAttributes();
    const float* groups[] = {listener.position, listener.velocity, listener.forward, listener.up};
    float expected = 1.0f;
    for (const float* group : groups)
        for (int i = 0; i < 3; ++i, expected += 1.0f)
            EXPECT_EQ(group[i], expected);

    const uint64_t updates = studio.UpdateCount();
    studio.Update();
    studio.Update();
    EXPECT_EQ(studio.UpdateCount(), updates + 2);
}

TEST_F(StudioTest, GainIsVolumeTimesBusesTimesCurvesAsOfTheLastUpdate) {
    const std::string bank = Bank("gain.bank", "[event:/wind]\n"
                                               "bus = bus:/world/outside\n"
                                               "gain speed = 0:0 10:1\n"
                                               "gain underwater = 0:1 1:0.5\n"
                                               "[event:/plain]\n");
    ASSERT_TRUE(studio.LoadBank(bank.c_str()));
    Studio::Event wind(&studio, "event:/wind");
    Studio::Event plain(&studio, "event:/plain");
    EXPECT_TRUE(wind.IsDescribed());
    EXPECT_EQ(wind.GetGain(), 0.0f); // nothing until the first Update

    studio.Update();
    EXPECT_FLOAT_EQ(plain.GetGain(), 1.0f);
    EXPECT_FLOAT_EQ(wind.GetGain(), 0.0f); // "speed" unset reads as 0

    wind.SetParameter("speed", 5.0f);
    wind.SetVolume(0.8f);
    studio.SetVolume(0.5f, "bus:/");
    studio.SetVolume(0.5f, "bus:/world");
    studio.SetVolume(0.25f, "bus:/world/outside");
    studio.SetVolume(0.0f, "bus:/other");  // not on the event's path
    EXPECT_FLOAT_EQ(wind.GetGain(), 0.0f); // not before Update
    studio.Update();
    EXPECT_FLOAT_EQ(wind.GetGain(), 0.8f * 0.5f * 0.5f * 0.25f * 0.5f);
    EXPECT_FLOAT_EQ(plain.GetGain(), 0.5f); // master only

    // A curve reads the global parameter when the event has none of that name, its own one first.
    studio.SetParameter("underwater", 1.0f);
    studio.Update();
    EXPECT_FLOAT_EQ(wind.GetGain(), 0.8f * 0.5f * 0.5f * 0.25f * 0.5f * 0.5f);
    wind.SetParameter("underwater", 0.0f);
    studio.Update();
    EXPECT_FLOAT_EQ(wind.GetGain(), 0.8f * 0.5f * 0.5f * 0.25f * 0.5f);

    // Stopping doesn't touch what the instance holds.
    wind.Start();
    wind.Stop();
    studio.Update();
    EXPECT_FALSE(wind.IsPlaying());
    EXPECT_FLOAT_EQ(wind.GetGain(), 0.8f * 0.5f * 0.5f * 0.25f * 0.5f);
}

TEST_F(StudioTest, AnyThreadMayCall) {
    const std::string bank = Bank("shared.bank", "[event:/shared]\ngain a = 0:0 1000:1\n");
    ASSERT_TRUE(studio.LoadBank(bank.c_str()));
    Studio::Event event(&studio, "event:/shared");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 1000; ++i) {
                event.SetParameter(t % 2 ? "a" : "b", static_cast<float>(i));
                studio.SetVolume(static_cast<float>(i) / 1000.0f, "bus:/");
                studio.Update();
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(studio.UpdateCount(), 4000u);
    EXPECT_EQ(event.GetParameter("a"), 999.0f);
    studio.SetVolume(1.0f, "bus:/");
    studio.Update();
    EXPECT_FLOAT_EQ(event.GetGain(), 0.999f);
}
