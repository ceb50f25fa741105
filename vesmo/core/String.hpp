#pragma once
// Small text helpers of the engine.

#include <string>

namespace vesmo {

struct String {
    // Fixed notation with `precision` digits after the point, then trailing zeros and a trailing point
    // removed: FromDouble(2.50, 3) == "2.5", FromDouble(3.0, 2) == "3", FromDouble(-0.0001, 2) == "0".
    // Non-finite values give "nan", "inf" or "-inf". A negative precision counts as 0.
    static std::string FromDouble(double value, int precision);
};

} // namespace vesmo
