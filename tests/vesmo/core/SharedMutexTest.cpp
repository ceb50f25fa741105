#include "vesmo/core/SharedMutex.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <shared_mutex>
#include <thread>
#include <vector>

using vesmo::SharedMutex;

TEST(SharedMutex, ReadersHoldTheLockTogether) {
    SharedMutex mutex;
    constexpr int kReaders = 4;
    std::atomic<int> inside{0};
    std::atomic<int> maxInside{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < kReaders; ++i) {
        readers.emplace_back([&] {
            std::shared_lock lock(mutex);
            int now = ++inside;
            int seen = maxInside.load();
            while (now > seen && !maxInside.compare_exchange_weak(seen, now)) {
            }
            // Stay until every reader has come in: this only ends if they can share the lock.
            while (maxInside.load() < kReaders)
                std::this_thread::yield();
            --inside;
        });
    }
    for (auto& reader : readers)
        reader.join();
    EXPECT_EQ(maxInside.load(), kReaders);
}

TEST(SharedMutex, WriterExcludesReadersAndWriters) {
    SharedMutex mutex;
    std::atomic<int> readers{0};
    std::atomic<int> writers{0};
    std::atomic<bool> violated{false};
    long long shared = 0;
    constexpr int kIterations = 20000;

    auto writer = [&] {
        for (int i = 0; i < kIterations; ++i) {
            std::unique_lock lock(mutex);
            if (++writers != 1 || readers.load() != 0)
                violated = true;
            ++shared;
            --writers;
        }
    };
    auto reader = [&] {
        for (int i = 0; i < kIterations; ++i) {
            std::shared_lock lock(mutex);
            ++readers;
            if (writers.load() != 0)
                violated = true;
            --readers;
        }
    };
    std::vector<std::thread> threads;
    threads.emplace_back(writer);
    threads.emplace_back(writer);
    threads.emplace_back(reader);
    threads.emplace_back(reader);
    for (auto& thread : threads)
        thread.join();
    EXPECT_FALSE(violated.load());
    EXPECT_EQ(shared, 2LL * kIterations);
}

TEST(SharedMutex, TryLockRespectsBothSides) {
    SharedMutex mutex;
    mutex.lock_shared();
    EXPECT_FALSE(mutex.try_lock());
    EXPECT_TRUE(mutex.try_lock_shared());
    mutex.unlock_shared();
    mutex.unlock_shared();

    mutex.lock();
    EXPECT_FALSE(mutex.try_lock());
    EXPECT_FALSE(mutex.try_lock_shared());
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

// A writer waiting on readers and readers waiting on a writer must all be woken: repeated hand-overs
// with threads parked on both sides end only if no wake-up is lost.
TEST(SharedMutex, NoLostWakeUps) {
    SharedMutex mutex;
    constexpr int kRounds = 2000;
    std::atomic<int> done{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                std::shared_lock lock(mutex);
            }
            ++done;
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < kRounds; ++i) {
            std::unique_lock lock(mutex);
            if (i % 64 == 0)
                std::this_thread::sleep_for(std::chrono::microseconds(50)); // let waiters park
        }
        ++done;
    });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(done.load(), 4);
}

TEST(SharedMutex, ReaderWaitsForWriterRelease) {
    SharedMutex mutex;
    mutex.lock();
    std::atomic<bool> entered{false};
    std::thread reader([&] {
        std::shared_lock lock(mutex);
        entered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(entered.load());
    mutex.unlock();
    reader.join();
    EXPECT_TRUE(entered.load());
}
