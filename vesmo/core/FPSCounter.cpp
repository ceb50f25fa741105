#include "vesmo/core/FPSCounter.hpp"

#include <algorithm>

namespace vesmo {

FPSCounter::FPSCounter(double smoothingFactor)
    : smoothing(std::clamp(smoothingFactor, 0.0, 1.0)), _lastTick(Clock::now()), _workStart(_lastTick) {}

void FPSCounter::BeginWork() {
    _workStart = Clock::now();
    _working = true;
}

void FPSCounter::Tick() {
    const Clock::time_point now = Clock::now();
    const double dt = std::chrono::duration<double>(now - _lastTick).count();
    const double busy = _working ? std::chrono::duration<double>(now - _workStart).count() : 0.0;
    _lastTick = now;
    _working = false;
    deltaTime = dt;

    const double rate = dt > 0.0 ? 1.0 / dt : 0.0;
    const double fraction = dt > 0.0 ? std::clamp(busy / dt, 0.0, 1.0) : 0.0;
    if (ticks == 0) {
        ticksPerSecond = rate;
        load = fraction;
    } else {
        ticksPerSecond = smoothing * ticksPerSecond + (1.0 - smoothing) * rate;
        load = smoothing * load + (1.0 - smoothing) * fraction;
    }
    ++ticks;
}

} // namespace vesmo
