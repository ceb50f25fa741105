#pragma once
// Counts the turns of a loop: the last turn's length, smoothed turns per second and the load fraction.
//
// A loop calls BeginWork() where its useful work starts (after any sleep) and Tick() once per turn at the
// end. `deltaTime` is the time between the last two ticks; `load` is the busy share of that period
// (0 when BeginWork() is never called, 1 when the loop never idles).
//
// Smoothing: each tick, smoothed = factor * smoothed + (1 - factor) * newest. A factor of 0 shows the
// newest turn as it is; a factor near 1 changes slowly. The first tick sets the smoothed values outright.
//
// The fields are written by the loop's own thread and read elsewhere (debug window): single words, an
// old or new value is harmless.

#include <chrono>

namespace vesmo {

class FPSCounter {
public:
    explicit FPSCounter(double smoothingFactor);

    void BeginWork();
    void Tick();

    double smoothing;
    double deltaTime = 0.0;      // seconds between the last two ticks
    double ticksPerSecond = 0.0; // smoothed
    double load = 0.0;           // smoothed busy time / period, 0..1
    unsigned long long ticks = 0;

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point _lastTick;
    Clock::time_point _workStart;
    bool _working = false;
};

} // namespace vesmo
