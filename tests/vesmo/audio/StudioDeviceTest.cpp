// The studio with a sound device. OpenAL's wave-file output stands in for a sound card: each device writes
// what it mixes to one file, complete once the device closes, which the tests read back with libsndfile.
// OpenAL reads its configuration once per process, so the output file is set up before any test runs.

#include "vesmo/audio/Studio.hpp"

#include "TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <thread>
#include <vector>

using testing_support::TempDir;
using testing_support::WriteText;
using vesmo::audio::Studio;

namespace {

// Where the device's output goes, for the whole process.
struct WaveOutput {
    WaveOutput() {
        WriteText(folder.File("openal.conf"), "[wave]\nfile = " + File() + "\n");
        setenv("ALSOFT_DRIVERS", "wave", 1);
        setenv("ALSOFT_CONF", folder.File("openal.conf").c_str(), 1);
    }
    std::string File() const { return folder.File("mixed.wav"); }
    TempDir folder;
};
const WaveOutput output;

// A mono sine of `seconds` at 22050 Hz and the given amplitude.
void WriteTone(const std::string& path, double seconds, double amplitude) {
    SF_INFO info{};
    info.samplerate = 22050;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    std::vector<float> samples(static_cast<size_t>(seconds * info.samplerate));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(amplitude * std::sin(2.0 * M_PI * 441.0 * static_cast<double>(i) / 22050.0));
    sf_write_float(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
}

// The largest sample the device wrote.
float MixedPeak() {
    SF_INFO info{};
    SNDFILE* file = sf_open(output.File().c_str(), SFM_READ, &info);
    EXPECT_NE(file, nullptr) << sf_strerror(nullptr);
    if (!file)
        return -1.0f;
    std::vector<float> samples(static_cast<size_t>(info.frames * info.channels));
    sf_readf_float(file, samples.data(), info.frames);
    sf_close(file);
    float peak = 0.0f;
    for (float sample : samples)
        peak = std::max(peak, std::fabs(sample));
    return peak;
}

class StudioDevice : public ::testing::Test {
protected:
    void SetUp() override {
        WriteTone(folder.File("tone.wav"), 0.25, 0.5);
        WriteText(bank, "[event:/tone]\nsound = tone.wav\nloop = true\n");
    }

    // Plays the looping tone for a moment through a fresh device, at the master bus volume given, and
    // returns the loudest sample mixed.
    float PlayTone(float masterVolume) {
        {
            Studio studio(Studio::Output::Device);
            EXPECT_TRUE(studio.HasDevice());
            EXPECT_TRUE(studio.LoadBank(bank.c_str()));
            studio.SetVolume(masterVolume, "bus:/");
            Studio::Event tone(&studio, "event:/tone");
            tone.Start();
            EXPECT_FALSE(tone.IsSounding()); // the device follows at Update
            studio.Update();
            EXPECT_TRUE(tone.IsSounding());
            std::this_thread::sleep_for(std::chrono::milliseconds(400)); // longer than the sound: it loops
            EXPECT_TRUE(tone.IsSounding());
            tone.Stop();
            studio.Update();
            EXPECT_FALSE(tone.IsSounding());
        }
        return MixedPeak();
    }

    TempDir folder;
    std::string bank = folder.File("tone.bank");
};

} // namespace

TEST_F(StudioDevice, PlaysAStartedEventAtTheGainOfItsBus) {
    const float full = PlayTone(1.0f);
    const float half = PlayTone(0.5f);
    const float none = PlayTone(0.0f);
    EXPECT_GT(full, 0.1f) << full << " " << half << " " << none;
    EXPECT_NEAR(half / full, 0.5f, 0.05f);
    EXPECT_LT(none, 1e-4f);
}

TEST_F(StudioDevice, ASoundThatCannotBeReadIsOneLineAndItsEventStaysQuiet) {
    const std::string broken = folder.File("broken.bank");
    WriteText(broken, "[event:/nothing]\nsound = nothing.wav\nloop = true\n");
    Studio studio(Studio::Output::Device);
    ASSERT_TRUE(studio.HasDevice());
    ::testing::internal::CaptureStderr();
    EXPECT_TRUE(studio.LoadBank(broken.c_str())); // the bank itself is fine
    const std::string errors = ::testing::internal::GetCapturedStderr();
    EXPECT_THAT(errors, ::testing::StartsWith("Studio: cannot load sound \"" + folder.File("nothing.wav") +
                                              "\" of event \"event:/nothing\": "));
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1);

    Studio::Event event(&studio, "event:/nothing");
    event.Start();
    studio.Update();
    EXPECT_TRUE(event.IsPlaying());
    EXPECT_FALSE(event.IsSounding());
    EXPECT_EQ(event.GetGain(), 1.0f); // the state is worked out all the same
}

TEST(StudioWithoutDevice, SaysSoInOneLineAndRunsSilent) {
    // A process of its own, whose OpenAL finds no output at all.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            setenv("ALSOFT_DRIVERS", "no-such-output", 1);
            Studio studio(Studio::Output::Device);
            Studio::Event event(&studio, "event:/anything");
            event.Start();
            studio.Update();
            std::exit(!studio.HasDevice() && event.IsPlaying() && !event.IsSounding() ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "Studio: no sound device \\(no output device\\); running silent");
}
