#include "vesmo/audio/Bank.hpp"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace vesmo::audio {

namespace {

std::string Trim(const std::string& text) {
    const size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string::npos)
        return {};
    const size_t end = text.find_last_not_of(" \t\r");
    return text.substr(begin, end - begin + 1);
}

[[noreturn]] void Fail(size_t line, const std::string& what) {
    throw std::runtime_error("line " + std::to_string(line) + ": " + what);
}

// A whole token as a finite float, or false.
bool ToFloat(const std::string& token, float& out) {
    if (token.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    const float value = std::strtof(token.c_str(), &end);
    if (end != token.c_str() + token.size() || errno == ERANGE || !std::isfinite(value))
        return false;
    out = value;
    return true;
}

GainCurve ParseCurve(const std::string& parameter, const std::string& text, size_t line) {
    GainCurve curve{parameter, {}};
    std::istringstream tokens(text);
    std::string token;
    while (tokens >> token) {
        const size_t colon = token.find(':');
        float value = 0.0f;
        float gain = 0.0f;
        if (colon == std::string::npos || !ToFloat(token.substr(0, colon), value) ||
            !ToFloat(token.substr(colon + 1), gain))
            Fail(line, "curve point \"" + token + "\" is not value:gain");
        if (!curve.points.empty() && value <= curve.points.back().first)
            Fail(line, "curve points of \"" + parameter + "\" must go in increasing value order");
        curve.points.emplace_back(value, gain);
    }
    if (curve.points.empty())
        Fail(line, "curve of \"" + parameter + "\" has no points");
    return curve;
}

} // namespace

float GainCurve::At(float value) const {
    if (points.empty())
        return 1.0f;
    if (value <= points.front().first)
        return points.front().second;
    if (value >= points.back().first)
        return points.back().second;
    for (size_t i = 1; i < points.size(); ++i) {
        if (value <= points[i].first) {
            const auto& [x0, y0] = points[i - 1];
            const auto& [x1, y1] = points[i];
            return y0 + (y1 - y0) * (value - x0) / (x1 - x0);
        }
    }
    return points.back().second; // not reached: the last point bounds the walk
}

Bank Bank::Parse(const std::string& text, const std::string& path) {
    Bank bank{path, {}};
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    std::istringstream lines(text);
    std::string raw;
    size_t number = 0;
    while (std::getline(lines, raw)) {
        ++number;
        const std::string line = Trim(raw);
        if (line.empty() || line[0] == '#')
            continue;
        if (line[0] == '[') {
            if (line.back() != ']' || line.size() < 3)
                Fail(number, "event header must be [event path]");
            const std::string eventPath = Trim(line.substr(1, line.size() - 2));
            for (const EventDescription& event : bank.events)
                if (event.path == eventPath)
                    Fail(number, "event \"" + eventPath + "\" appears twice");
            bank.events.push_back(EventDescription{eventPath, {}, false, "bus:/", {}});
            continue;
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos)
            Fail(number, "expected key = value");
        if (bank.events.empty())
            Fail(number, "key outside of an event");
        EventDescription& event = bank.events.back();
        const std::string key = Trim(line.substr(0, equals));
        const std::string value = Trim(line.substr(equals + 1));
        if (key == "sound") {
            if (value.empty())
                Fail(number, "sound needs a file");
            event.sound = (folder / value).string();
        } else if (key == "loop") {
            if (value != "true" && value != "false")
                Fail(number, "loop must be true or false");
            event.loop = value == "true";
        } else if (key == "bus") {
            if (value.rfind("bus:/", 0) != 0)
                Fail(number, "bus must begin with bus:/");
            event.bus = value;
        } else if (key.rfind("gain ", 0) == 0 && !Trim(key.substr(5)).empty()) {
            const std::string parameter = Trim(key.substr(5));
            for (const GainCurve& curve : event.curves)
                if (curve.parameter == parameter)
                    Fail(number, "second curve for \"" + parameter + "\"");
            event.curves.push_back(ParseCurve(parameter, value, number));
        } else {
            Fail(number, "unknown key \"" + key + "\"");
        }
    }
    return bank;
}

} // namespace vesmo::audio
