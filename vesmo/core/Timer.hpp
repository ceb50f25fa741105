#pragma once
// Monotonic stopwatch. Starts on construction.

#include <chrono>

namespace vesmo {

class Timer {
public:
    using Clock = std::chrono::steady_clock;

    Timer() : _start(Clock::now()) {}

    void Reset() { _start = Clock::now(); }

    double ElapsedSeconds() const { return std::chrono::duration<double>(Clock::now() - _start).count(); }
    double ElapsedMilliseconds() const { return ElapsedSeconds() * 1000.0; }
    long long ElapsedNanoseconds() const {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - _start).count();
    }

private:
    Clock::time_point _start;
};

} // namespace vesmo
