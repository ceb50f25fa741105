// The bank text format: what a good bank yields, how curves read, and that every bad line is refused with
// its number.

#include "vesmo/audio/Bank.hpp"

#include "TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using vesmo::audio::Bank;
using vesmo::audio::GainCurve;

TEST(Bank, ParsesEventsWithSoundLoopBusAndCurves) {
    const Bank bank = Bank::Parse("# ambience\n"
                                  "\n"
                                  "[event:/game/environment/planet surface]\n"
                                  "  sound = environment/wind.wav  \n"
                                  "loop = true\n"
                                  "bus = bus:/environment\n"
                                  "gain wind speed = 0:0.1 5:0.4   30:1\n"
                                  "gain dist to water=0:1 50:0\n"
                                  "[ event:/ui/click ]\r\n"
                                  "sound = click.wav\r\n",
                                  "game/audio/banks/environment.bank");
    EXPECT_EQ(bank.path, "game/audio/banks/environment.bank");
    ASSERT_EQ(bank.events.size(), 2u);
    const auto& surface = bank.events[0];
    // The sound is found beside the bank.
    EXPECT_EQ(std::tie(surface.path, surface.sound, surface.loop, surface.bus),
              std::tuple("event:/game/environment/planet surface", "game/audio/banks/environment/wind.wav", true,
                         "bus:/environment"));
    ASSERT_EQ(surface.curves.size(), 2u);
    EXPECT_EQ(surface.curves[0].parameter, "wind speed");
    EXPECT_EQ(surface.curves[0].points,
              (std::vector<std::pair<float, float>>{{0.0f, 0.1f}, {5.0f, 0.4f}, {30.0f, 1.0f}}));
    EXPECT_EQ(surface.curves[1].parameter, "dist to water");

    const auto& click = bank.events[1];
    EXPECT_EQ(std::tie(click.path, click.sound, click.loop, click.bus),
              std::tuple("event:/ui/click", "game/audio/banks/click.wav", false, "bus:/"));
    EXPECT_TRUE(click.curves.empty());

    EXPECT_TRUE(Bank::Parse("# only words\n", "Master.strings.bank").events.empty());
}

TEST(Bank, CurvesInterpolateAndHoldBeyondTheirEnds) {
    const GainCurve curve{"x", {{0.0f, 0.2f}, {10.0f, 1.0f}, {20.0f, 0.0f}}};
    EXPECT_FLOAT_EQ(curve.At(-5.0f), 0.2f);
    EXPECT_FLOAT_EQ(curve.At(0.0f), 0.2f);
    EXPECT_FLOAT_EQ(curve.At(2.5f), 0.4f);
    EXPECT_FLOAT_EQ(curve.At(10.0f), 1.0f);
    EXPECT_FLOAT_EQ(curve.At(15.0f), 0.5f);
    EXPECT_FLOAT_EQ(curve.At(1e9f), 0.0f);
    EXPECT_FLOAT_EQ((GainCurve{"one", {{3.0f, 0.7f}}}.At(-1.0f)), 0.7f);
}

TEST(Bank, RefusesEachBadLineByNumber) {
    const std::pair<const char*, const char*> cases[] = {
        {"sound = a.wav\n", "line 1: key outside of an event"},
        {"[e]\nloop = yes\n", "line 2: loop must be true or false"},
        {"[e]\n\nbus = music\n", "line 3: bus must begin with bus:/"},
        {"[e]\nvolume = 1\n", "line 2: unknown key \"volume\""},
        {"[e]\ngain = 0:1\n", "line 2: unknown key \"gain\""},
        {"[e]\njust words\n", "line 2: expected key = value"},
        {"[e\n", "line 1: event header must be [event path]"},
        {"[e]\nsound =\n", "line 2: sound needs a file"},
        {"[e]\ngain x =\n", "line 2: curve of \"x\" has no points"},
        {"[e]\ngain x = 0:1 0:2\n", "line 2: curve points of \"x\" must go in increasing value order"},
        {"[e]\ngain x = 0:1 2\n", "line 2: curve point \"2\" is not value:gain"},
        {"[e]\ngain x = 0:1 2:y\n", "line 2: curve point \"2:y\" is not value:gain"},
        {"[e]\ngain x = 0:nan\n", "line 2: curve point \"0:nan\" is not value:gain"},
        {"[e]\ngain x = 0:1\ngain x = 1:1\n", "line 3: second curve for \"x\""},
        {"[e]\n[e]\n", "line 2: event \"e\" appears twice"},
    };
    for (const auto& [text, message] : cases) {
        EXPECT_EQ(testing_support::ThrownMessage<std::runtime_error>([&] { Bank::Parse(text, "b.bank"); }), message)
            << text;
    }
}
