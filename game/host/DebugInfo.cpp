#include "game/host/DebugInfo.hpp"

#include <algorithm>
#include <cstdio>

namespace game {

std::map<const char*, DebugInfo::Value> DebugInfo::infos;
std::mutex DebugInfo::infosMutex;

// The format comes from module code, as with ImGui::Text: it is trusted like any other module call.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
std::string DebugInfo::Format(const char* format, const Value& value) {
    char buffer[512];
    int length = 0;
    switch (value.kind) {
    case Value::Int: length = std::snprintf(buffer, sizeof buffer, format, value.i); break;
    case Value::Unsigned: length = std::snprintf(buffer, sizeof buffer, format, value.u); break;
    case Value::Double: length = std::snprintf(buffer, sizeof buffer, format, value.d); break;
    case Value::Text: length = std::snprintf(buffer, sizeof buffer, format, value.text); break;
    case Value::Pointer: length = std::snprintf(buffer, sizeof buffer, format, value.pointer); break;
    }
    if (length < 0)
        return {};
    return std::string(buffer, std::min<size_t>(static_cast<size_t>(length), sizeof buffer - 1));
}
#pragma GCC diagnostic pop

} // namespace game
