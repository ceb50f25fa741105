#include "vesmo/core/String.hpp"

#include <cmath>
#include <cstdio>

namespace vesmo {

std::string String::FromDouble(double value, int precision) {
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return value < 0 ? "-inf" : "inf";
    if (precision < 0)
        precision = 0;
    if (precision > 17)
        precision = 17;

    char buffer[400]; // enough for the largest double in fixed notation
    int length = std::snprintf(buffer, sizeof buffer, "%.*f", precision, value);
    std::string text(buffer, static_cast<size_t>(length));
    if (text.find('.') != std::string::npos) {
        while (text.back() == '0')
            text.pop_back();
        if (text.back() == '.')
            text.pop_back();
    }
    if (text == "-0")
        text = "0";
    return text;
}

} // namespace vesmo
