#include "vesmo/cpu/Profiler.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

using vesmo::cpu::Profiler;

namespace {
Profiler::Entry Find(const std::string& name) {
    for (const Profiler::Entry& entry : Profiler::Snapshot())
        if (entry.name == name)
            return entry;
    return {};
}

// Every test here captures, as a process does with VESMO_PROFILE set or after SetCapturing(true).
class Profiling : public ::testing::Test {
protected:
    void SetUp() override { Profiler::SetCapturing(true); }
    void TearDown() override { Profiler::SetCapturing(false); }
};
} // namespace

TEST_F(Profiling, AggregatesOneNameAcrossThreads) {
    constexpr int kThreads = 4;
    constexpr int kScopes = 5000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < kScopes; ++i) {
                Profiler scope("ProfilerTest::threads", true);
                // A dynamic name with the same text lands in the same record.
                if (i % 2 == 0) {
                    Profiler dynamic(std::string("ProfilerTest::") + "dynamic", true);
                }
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    const Profiler::Entry entry = Find("ProfilerTest::threads");
    EXPECT_EQ(entry.count, static_cast<uint64_t>(kThreads * kScopes));
    EXPECT_GE(entry.totalMs, entry.maxMs);
    EXPECT_GE(entry.maxMs, entry.lastMs);
    EXPECT_EQ(Find("ProfilerTest::dynamic").count, static_cast<uint64_t>(kThreads * kScopes / 2));
}

TEST_F(Profiling, NestedScopesAndStop) {
    {
        Profiler outer("ProfilerTest::outer", true);
        {
            Profiler inner("ProfilerTest::inner", true);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            inner.Stop();
            inner.Stop(); // a second Stop and the destructor add nothing
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const Profiler::Entry outer = Find("ProfilerTest::outer");
    const Profiler::Entry inner = Find("ProfilerTest::inner");
    EXPECT_EQ(outer.count, 1u);
    EXPECT_EQ(inner.count, 1u);
    EXPECT_GE(inner.lastMs, 4.0);
    EXPECT_GE(outer.lastMs, inner.lastMs + 4.0); // the outer scope includes the inner one
}

TEST_F(Profiling, DisabledScopeRecordsNothing) {
    { Profiler scope("ProfilerTest::disabled", false); }
    EXPECT_EQ(Find("ProfilerTest::disabled").name, ""); // never even registered
}

TEST_F(Profiling, OnlyScopesBegunWhileCapturingAreCounted) {
    Profiler::SetCapturing(false);
    { Profiler scope("ProfilerTest::idle", true); }
    EXPECT_EQ(Find("ProfilerTest::idle").name, ""); // not even registered
    Profiler::SetCapturing(true);
    {
        Profiler scope("ProfilerTest::across", true);
        Profiler::SetCapturing(false); // a scope already under way still finishes and counts
    }
    { Profiler scope("ProfilerTest::across", true); }
    EXPECT_EQ(Find("ProfilerTest::across").count, 1u);
}

TEST_F(Profiling, TableAndReset) {
    { Profiler scope("ProfilerTest::table", true); }
    const std::string table = Profiler::Table();
    EXPECT_NE(table.find("ProfilerTest::table"), std::string::npos);
    EXPECT_NE(table.find("max ms"), std::string::npos);

    Profiler::Reset();
    const Profiler::Entry entry = Find("ProfilerTest::table");
    EXPECT_EQ(std::tuple(entry.name, entry.count, entry.totalMs),
              std::tuple("ProfilerTest::table", 0u, 0.0)); // named still
}
