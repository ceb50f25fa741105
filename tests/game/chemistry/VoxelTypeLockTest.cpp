// The closing of the voxel type table. The first ForEach closes it for the life of the process, so this
// binary holds one life of the table, start to end, in one test; the empty table's case runs in a child.

#include "game/chemistry/VoxelType.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using game::VoxelType;

namespace {

const char* const kClosed = "Trying to add more voxel types after executing VoxelType::ForEach()";

// True if declaring `name` is refused with the closed table's sentence.
bool Refused(const std::string& name) {
    try {
        VoxelType("LOCK_test", name, 1, {});
    } catch (const std::runtime_error& error) {
        return error.what() == std::string(kClosed);
    }
    return false;
}

} // namespace

TEST(VoxelTypeLock, TheFirstForEachClosesTheTableForGood) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    // With only the empty type, ForEach calls nothing and still closes the table (in a child, so that this
    // process keeps an open table for what follows).
    EXPECT_EXIT(
        {
            int calls = 0;
            VoxelType::ForEach([&](uint16_t, const VoxelType&) { ++calls; });
            std::exit(calls == 0 && VoxelType::locked && Refused("late") ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");

    // Declarations from several threads, then the walk: ids from 1 in order, row 0 never shown.
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 25; ++i)
                VoxelType("LOCK_test", "t" + std::to_string(t) + "_" + std::to_string(i), 0, {});
        });
    for (std::thread& thread : threads)
        thread.join();
    const VoxelType ore("LOCK_test", "ore", 11, {});

    std::vector<uint16_t> seen;
    VoxelType::ForEach([&](uint16_t id, const VoxelType& type) {
        EXPECT_EQ(type.id, id);
        seen.push_back(id);
    });
    ASSERT_EQ(seen.size(), 101u);
    for (size_t i = 0; i < seen.size(); ++i)
        EXPECT_EQ(seen[i], i + 1);
    EXPECT_TRUE(VoxelType::locked);

    // Closed: new and repeated declarations are refused, the table is unchanged, and the lock is free again
    // (a second refusal does not hang; a reader can take it).
    const size_t rows = VoxelType::allVoxelTypes.size();
    EXPECT_TRUE(Refused("new"));
    EXPECT_TRUE(Refused("ore"));
    EXPECT_EQ(VoxelType::allVoxelTypes.size(), rows);
    EXPECT_EQ(VoxelType::allVoxelTypes[ore.id].data, 11u);
    EXPECT_TRUE(VoxelType::mu.try_lock());
    VoxelType::mu.unlock();

    // An empty function is a bad call out of ForEach, with the lock released.
    EXPECT_THROW(VoxelType::ForEach(std::function<void(uint16_t, const VoxelType&)>()), std::bad_function_call);
    EXPECT_TRUE(VoxelType::mu.try_lock());
    VoxelType::mu.unlock();

    // Walking again shows the same table; it never opens again.
    size_t again = 0;
    VoxelType::ForEach([&](uint16_t, const VoxelType&) { ++again; });
    EXPECT_EQ(again, 101u);
    EXPECT_TRUE(Refused("after"));
}
