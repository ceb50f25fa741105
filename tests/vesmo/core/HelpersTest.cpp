#include "vesmo/core/Base16.hpp"
#include "vesmo/core/FPSCounter.hpp"
#include "vesmo/core/Random.hpp"
#include "vesmo/core/String.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <stdexcept>
#include <thread>

TEST(StringFromDouble, TrimsTrailingZerosAndPoint) {
    // 0.125 rounds half-even as the binary value does; zeros left of the point stay.
    const std::tuple<double, int, const char*> cases[] = {
        {2.5, 3, "2.5"},         {3.0, 2, "3"},
        {0.125, 2, "0.12"},      {-1.75, 1, "-1.8"},
        {-0.0001, 2, "0"},       {1234567.0, 0, "1234567"},
        {100.0, 4, "100"},       {std::numeric_limits<double>::infinity(), 2, "inf"},
        {std::nan(""), 2, "nan"}};
    for (const auto& [value, digits, text] : cases)
        EXPECT_EQ(vesmo::String::FromDouble(value, digits), text) << value;
}

TEST(Base16, DecodesBothCasesAndRefusesBadDigits) {
    EXPECT_EQ(vesmo::Base16::Decode("00ff7Fa0"), (std::vector<unsigned char>{0x00, 0xff, 0x7f, 0xa0}));
    EXPECT_EQ(vesmo::Base16::Decode("ABCDEF"), vesmo::Base16::Decode("abcdef"));
    EXPECT_TRUE(vesmo::Base16::Decode("").empty());
    EXPECT_EQ(testing_support::ThrownMessage<std::invalid_argument>([] { vesmo::Base16::Decode("0g"); }),
              "not a hex digit");
    EXPECT_THROW(vesmo::Base16::Decode("abc"), std::invalid_argument);
    const unsigned char bytes[] = {0xde, 0xad, 0x01};
    EXPECT_EQ(vesmo::Base16::Encode(bytes, 3), "dead01");
    EXPECT_EQ(vesmo::Base16::Decode(vesmo::Base16::Encode(bytes, 3, true)),
              std::vector<unsigned char>(bytes, bytes + 3));
}

TEST(RandomGenerator, StaysInRangeAndCoversIt) {
    vesmo::RandomGenerator<unsigned int, 1, 4> generator;
    std::set<unsigned int> seen;
    for (int i = 0; i < 1000; ++i) {
        unsigned int value = generator();
        ASSERT_GE(value, 1u);
        ASSERT_LE(value, 4u);
        seen.insert(value);
    }
    EXPECT_EQ(seen.size(), 4u);

    // Two generators are seeded independently.
    vesmo::RandomGenerator<unsigned int, 1, 16383> a, b;
    int same = 0;
    for (int i = 0; i < 16; ++i)
        same += a() == b();
    EXPECT_LT(same, 16);
}

TEST(FPSCounter, MeasuresPeriodRateAndLoad) {
    vesmo::FPSCounter counter(0.0); // no smoothing: each tick shows itself
    counter.Tick();
    counter.BeginWork();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    counter.Tick();
    EXPECT_GE(counter.deltaTime, 0.019);
    EXPECT_NEAR(counter.ticksPerSecond, 1.0 / counter.deltaTime, 1e-9);
    EXPECT_GT(counter.load, 0.9); // busy for the whole period

    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    counter.BeginWork();
    counter.Tick();
    EXPECT_LT(counter.load, 0.5); // mostly idle
    EXPECT_EQ(counter.ticks, 3u);
}

TEST(FPSCounter, SmoothingWeighsHistory) {
    vesmo::FPSCounter counter(0.5);
    counter.Tick();
    const double first = counter.ticksPerSecond;
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    counter.Tick();
    const double newest = 1.0 / counter.deltaTime;
    EXPECT_NEAR(counter.ticksPerSecond, 0.5 * first + 0.5 * newest, 1e-6 * first);
}
