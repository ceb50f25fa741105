#pragma once
// The engine's reader/writer lock.
//
// Deliberately simple: one mutex, one condition variable, a reader count and a writer flag. Readers
// enter while no writer holds the lock; a writer enters once there are no readers and no writer.
// There is no writer preference, so a steady stream of readers can keep a writer waiting: registries
// take the exclusive side rarely (create, unload) and briefly. It is not recursive: a thread that
// already holds either side and asks again deadlocks.
//
// Meets the standard Lockable and SharedLockable requirements, so std::unique_lock and
// std::shared_lock work with it.

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace vesmo {

class SharedMutex {
public:
    SharedMutex() = default;
    SharedMutex(const SharedMutex&) = delete;
    SharedMutex& operator=(const SharedMutex&) = delete;

    void lock();
    bool try_lock();
    void unlock();

    void lock_shared();
    bool try_lock_shared();
    void unlock_shared();

private:
    std::mutex _mutex;
    std::condition_variable _cond;
    uint32_t _readers = 0;
    bool _writer = false;
};

} // namespace vesmo
