#pragma once
// The system clock in seconds since its epoch: the server tick stamps Game::timestamp with it, and the timed
// entity phases book each vehicle's time with it.

#include <chrono>

namespace game {

// From the clock's nanosecond count, taken to milliseconds and then to seconds: stamps keep that rounding.
inline double ClockSeconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()) / 1e6 * 0.001;
}

} // namespace game
