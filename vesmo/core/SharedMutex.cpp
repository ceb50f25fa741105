#include "vesmo/core/SharedMutex.hpp"

namespace vesmo {

void SharedMutex::lock() {
    std::unique_lock guard(_mutex);
    _cond.wait(guard, [this] { return _readers == 0 && !_writer; });
    _writer = true;
}

bool SharedMutex::try_lock() {
    std::lock_guard guard(_mutex);
    if (_readers != 0 || _writer)
        return false;
    _writer = true;
    return true;
}

void SharedMutex::unlock() {
    {
        std::lock_guard guard(_mutex);
        _writer = false;
    }
    // Both waiting readers and a waiting writer may proceed now: wake them all.
    _cond.notify_all();
}

void SharedMutex::lock_shared() {
    std::unique_lock guard(_mutex);
    _cond.wait(guard, [this] { return !_writer; });
    ++_readers;
}

bool SharedMutex::try_lock_shared() {
    std::lock_guard guard(_mutex);
    if (_writer)
        return false;
    ++_readers;
    return true;
}

void SharedMutex::unlock_shared() {
    bool last;
    {
        std::lock_guard guard(_mutex);
        last = --_readers == 0;
    }
    // Only a writer waits on the reader count, and only the last reader can release it.
    if (last)
        _cond.notify_all();
}

} // namespace vesmo
