#include "game/Assert.hpp"

#include <gtest/gtest.h>

namespace {
int Checked(int value) {
    GAME_ASSERT(value > 0);
    return value;
}
} // namespace

TEST(GameAssert, PassingAssertionIsSilent) { EXPECT_EQ(Checked(3), 3); }

TEST(GameAssertDeathTest, FailureNamesTheTestAndTheSourceAndEndsTheProcess) {
    EXPECT_DEATH(Checked(0), "^Assertion failed: value > 0, file tests/game/AssertTest\n$");
    EXPECT_DEATH(GAME_ASSERT_TEXT(false, "mass > 0.0"), "Assertion failed: mass > 0.0, file tests/game/AssertTest");
}
