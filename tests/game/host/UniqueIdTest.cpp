#include "game/host/UniqueId.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <unordered_set>

using game::UniqueId;

TEST(UniqueId, TextFormIsTagOwnerAndSecondWordLowByteFirst) {
    const UniqueId id(0x12345678'00000000ull | 0x54544E45ull /* "ENTT" */, 0x0123456789ABCDEFull);
    EXPECT_EQ(id.ToString(), "ENTT78563412EFCDAB8967452301");
    EXPECT_EQ(UniqueId(id.ToString()), id);
    // Lower-case digits are read too.
    EXPECT_EQ(UniqueId("ENTT78563412efcdab8967452301"), id);
}

TEST(UniqueId, GeneratedIdsCarryTagOwnerTimeAndNoiseAndRoundTrip) {
    UniqueId::_this_owner = 0xCAFE;
    std::unordered_set<UniqueId> seen;
    for (int i = 0; i < 1000; ++i) {
        const UniqueId id = UniqueId::Generate("NODE");
        ASSERT_FALSE(id.IsNull());
        ASSERT_EQ(id.ToString().substr(0, 4), "NODE");
        ASSERT_EQ(id.First() >> 32, 0xCAFEu);
        const uint64_t noise = id.Second() >> 50;
        ASSERT_GE(noise, 1u);
        ASSERT_LE(noise, 16383u);
        ASSERT_EQ(UniqueId(id.ToString()), id);
        seen.insert(id);
    }
    EXPECT_GT(seen.size(), 990u); // equal only when time and 14 random bits both collide
    UniqueId::_this_owner = 0;
}

TEST(UniqueId, NullIdAndEmptyText) {
    EXPECT_TRUE(UniqueId().IsNull());
    EXPECT_EQ(UniqueId().ToString(), "");
    EXPECT_TRUE(UniqueId("").IsNull());
    EXPECT_TRUE(UniqueId(1, 0).IsNull()); // either word zero is null
    EXPECT_TRUE(UniqueId(0, 1).IsNull());
    EXPECT_FALSE(static_cast<bool>(UniqueId(0, 1)));
}

TEST(UniqueId, RefusesBadText) {
    EXPECT_EQ(testing_support::ThrownMessage<std::runtime_error>([] { UniqueId("ENTT78563412EFCDAB896745230"); }),
              "UniqueId string length should be 28");
    EXPECT_EQ(testing_support::ThrownMessage<std::invalid_argument>([] { UniqueId("ENTT7856341GEFCDAB8967452301"); }),
              "not a hex digit");
}

TEST(UniqueId, HashIsTheSecondWord) { EXPECT_EQ(std::hash<UniqueId>{}(UniqueId(7, 0x1234)), 0x1234u); }
