#include "vesmo/filesystem/ConfigFile.hpp"

#include "vesmo/filesystem/AtomicFile.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>

namespace vesmo::filesystem {

namespace {

constexpr std::string_view kBlanks = " \t\f\v\r\n";

std::string_view Trim(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    const size_t last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

bool IsBlank(char c) { return kBlanks.find(c) != std::string_view::npos; }

// One line of the file, classified.
struct Line {
    enum Kind { Other, Header, Entry } kind = Other;
    std::string_view raw;    // without the line end
    std::string_view header; // Header: the text between the brackets, trimmed
    std::string_view key;    // Entry
    std::string_view values; // Entry: the rest after the key and its separator, as written
};

std::vector<Line> SplitLines(std::string_view text) {
    std::vector<Line> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos)
            end = text.size();
        Line line;
        line.raw = text.substr(start, end - start);
        if (!line.raw.empty() && line.raw.back() == '\r')
            line.raw.remove_suffix(1);
        start = end + 1;

        const std::string_view trimmed = Trim(line.raw);
        if (trimmed.empty() || trimmed.front() == '#' || trimmed.front() == ';') {
            line.kind = Line::Other;
        } else if (trimmed.front() == '[' && trimmed.back() == ']' && trimmed.size() >= 2) {
            line.kind = Line::Header;
            line.header = Trim(trimmed.substr(1, trimmed.size() - 2));
        } else {
            line.kind = Line::Entry;
            const size_t keyStart = line.raw.find_first_not_of(kBlanks);
            size_t keyEnd = keyStart;
            while (keyEnd < line.raw.size() && !IsBlank(line.raw[keyEnd]) && line.raw[keyEnd] != '=')
                ++keyEnd;
            line.key = line.raw.substr(keyStart, keyEnd - keyStart);
            size_t valueStart = keyEnd;
            while (valueStart < line.raw.size() && IsBlank(line.raw[valueStart]))
                ++valueStart;
            if (valueStart < line.raw.size() && line.raw[valueStart] == '=') {
                ++valueStart;
                while (valueStart < line.raw.size() && IsBlank(line.raw[valueStart]))
                    ++valueStart;
            }
            line.values = line.raw.substr(valueStart);
        }
        lines.push_back(line);
    }
    return lines;
}

std::string Quote(std::string_view text) {
    std::string quoted = "\"";
    for (char c : text) {
        switch (c) {
        case '"': quoted += "\\\""; break;
        case '\\': quoted += "\\\\"; break;
        case '\n': quoted += "\\n"; break;
        case '\r': quoted += "\\r"; break;
        case '\t': quoted += "\\t"; break;
        default: quoted += c;
        }
    }
    quoted += '"';
    return quoted;
}

// Reads a quoted string at text[pos] == '"'; on success `pos` is just past the closing quote.
bool Unquote(std::string_view text, size_t& pos, std::string& out) {
    out.clear();
    for (size_t i = pos + 1; i < text.size(); ++i) {
        char c = text[i];
        if (c == '"') {
            pos = i + 1;
            return true;
        }
        if (c == '\\') {
            if (++i == text.size())
                return false;
            switch (text[i]) {
            case 'n': out += '\n'; break;
            case 'r': out += '\r'; break;
            case 't': out += '\t'; break;
            case '"':
            case '\\': out += text[i]; break;
            default: return false;
            }
        } else {
            out += c;
        }
    }
    return false;
}

bool ParseString(std::string_view text, std::string& out) {
    text = Trim(text);
    if (!text.empty() && text.front() == '"') {
        size_t pos = 0;
        std::string value;
        if (!Unquote(text, pos, value) || pos != text.size())
            return false;
        out = std::move(value);
        return true;
    }
    out = std::string(text);
    return true;
}

bool ParseBool(std::string_view text, bool& out) {
    std::string word(Trim(text));
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
    if (word == "true" || word == "yes" || word == "on" || word == "1") {
        out = true;
        return true;
    }
    if (word == "false" || word == "no" || word == "off" || word == "0") {
        out = false;
        return true;
    }
    return false;
}

template <class T> bool ParseNumber(std::string_view text, T& out) {
    text = Trim(text);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    T value{};
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty())
        return false;
    out = value;
    return true;
}

std::string FormatFloat(float value) {
    char buffer[64];
    auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, end);
}

bool ParseInt16(std::string_view text, int16_t& out) {
    int value;
    if (!ParseNumber(text, value) || value < std::numeric_limits<int16_t>::min() ||
        value > std::numeric_limits<int16_t>::max())
        return false;
    out = static_cast<int16_t>(value);
    return true;
}

const char* TypeName(int type) {
    switch (type) {
    case ConfigFile::TYPE_STRING: return "a string";
    case ConfigFile::TYPE_BOOL: return "a bool";
    case ConfigFile::TYPE_INT: return "an int";
    case ConfigFile::TYPE_FLOAT: return "a float";
    case ConfigFile::TYPE_INPUT_BINDING: return "an input binding";
    default: return "an unknown type";
    }
}

} // namespace

// ---- InputBinding text ----------------------------------------------------------------------------

std::string ConfigFile::InputBinding::ToString() const {
    const InputBinding none;
    std::string text;
    auto part = [&text](const char* name, const std::string& value) {
        if (!text.empty())
            text += ' ';
        text += name;
        text += ':';
        text += value;
    };
    if (key != none.key)
        part("key", std::to_string(key));
    if (mouseButton != none.mouseButton)
        part("mouse", std::to_string(mouseButton));
    if (gamepadGuid != none.gamepadGuid)
        part("gamepad_guid", Quote(gamepadGuid));
    if (gamepadIndex != none.gamepadIndex)
        part("gamepad_index", std::to_string(gamepadIndex));
    if (gamepadButton != none.gamepadButton)
        part("gamepad_button", std::to_string(gamepadButton));
    if (gamepadAxis != none.gamepadAxis)
        part("gamepad_axis", std::to_string(gamepadAxis));
    if (gamepadAxisDirection != none.gamepadAxisDirection)
        part("gamepad_axis_direction", std::to_string(gamepadAxisDirection));
    if (joystickGuid != none.joystickGuid)
        part("joystick_guid", Quote(joystickGuid));
    if (joystickIndex != none.joystickIndex)
        part("joystick_index", std::to_string(joystickIndex));
    if (joystickButton != none.joystickButton)
        part("joystick_button", std::to_string(joystickButton));
    if (joystickAxis != none.joystickAxis)
        part("joystick_axis", std::to_string(joystickAxis));
    if (joystickAxisDirection != none.joystickAxisDirection)
        part("joystick_axis_direction", std::to_string(joystickAxisDirection));
    return text.empty() ? "none" : text;
}

bool ConfigFile::InputBinding::FromString(const std::string& input, InputBinding& binding) {
    const std::string_view text = Trim(input);
    InputBinding parsed;
    if (text == "none") {
        binding = parsed;
        return true;
    }
    size_t pos = 0;
    while (pos < text.size()) {
        const size_t colon = text.find(':', pos);
        if (colon == std::string_view::npos)
            return false;
        const std::string_view name = text.substr(pos, colon - pos);
        std::string value;
        pos = colon + 1;
        if (pos < text.size() && text[pos] == '"') {
            if (!Unquote(text, pos, value))
                return false;
        } else {
            const size_t end = std::min(text.find_first_of(kBlanks, pos), text.size());
            value = std::string(text.substr(pos, end - pos));
            pos = end;
        }
        if (pos < text.size() && !IsBlank(text[pos]))
            return false;
        while (pos < text.size() && IsBlank(text[pos]))
            ++pos;

        bool ok;
        if (name == "key")
            ok = ParseNumber(value, parsed.key);
        else if (name == "mouse")
            ok = ParseNumber(value, parsed.mouseButton);
        else if (name == "gamepad_guid") {
            parsed.gamepadGuid = value;
            ok = true;
        } else if (name == "gamepad_index")
            ok = ParseNumber(value, parsed.gamepadIndex);
        else if (name == "gamepad_button")
            ok = ParseNumber(value, parsed.gamepadButton);
        else if (name == "gamepad_axis")
            ok = ParseInt16(value, parsed.gamepadAxis);
        else if (name == "gamepad_axis_direction")
            ok = ParseInt16(value, parsed.gamepadAxisDirection);
        else if (name == "joystick_guid") {
            parsed.joystickGuid = value;
            ok = true;
        } else if (name == "joystick_index")
            ok = ParseNumber(value, parsed.joystickIndex);
        else if (name == "joystick_button")
            ok = ParseNumber(value, parsed.joystickButton);
        else if (name == "joystick_axis")
            ok = ParseInt16(value, parsed.joystickAxis);
        else if (name == "joystick_axis_direction")
            ok = ParseInt16(value, parsed.joystickAxisDirection);
        else
            ok = false;
        if (!ok)
            return false;
    }
    binding = std::move(parsed);
    return true;
}

// ---- values ---------------------------------------------------------------------------------------

std::string ConfigFile::FormatValue(const void* field, int type) {
    switch (type) {
    case TYPE_STRING: return Quote(*static_cast<const std::string*>(field));
    case TYPE_BOOL: return *static_cast<const bool*>(field) ? "true" : "false";
    case TYPE_INT: return std::to_string(*static_cast<const int*>(field));
    case TYPE_FLOAT: return FormatFloat(*static_cast<const float*>(field));
    case TYPE_INPUT_BINDING: return static_cast<const InputBinding*>(field)->ToString();
    default: throw std::invalid_argument("unknown configuration value type " + std::to_string(type));
    }
}

bool ConfigFile::ParseValue(const std::string& text, void* field, int type) {
    switch (type) {
    case TYPE_STRING: return ParseString(text, *static_cast<std::string*>(field));
    case TYPE_BOOL: return ParseBool(text, *static_cast<bool*>(field));
    case TYPE_INT: return ParseNumber(text, *static_cast<int*>(field));
    case TYPE_FLOAT: return ParseNumber(text, *static_cast<float*>(field));
    case TYPE_INPUT_BINDING: return InputBinding::FromString(text, *static_cast<InputBinding*>(field));
    default: throw std::invalid_argument("unknown configuration value type " + std::to_string(type));
    }
}

ConfigFile::Conf::Conf(ConfigFile* owner_, std::string key_, void* field_, int type_)
    : owner(owner_), key(std::move(key_)), field(field_), type(type_) {
    if (type != TYPE_STRING && type != TYPE_BOOL && type != TYPE_INT && type != TYPE_FLOAT &&
        type != TYPE_INPUT_BINDING)
        throw std::invalid_argument("unknown configuration value type " + std::to_string(type) + " for key " + key);
}

// ---- the file -------------------------------------------------------------------------------------

ConfigFile::ConfigFile(const std::string& path, std::optional<int> interval)
    : FilePath(path), _interval(interval.value_or(250)) {}

ConfigFile::~ConfigFile() { StopAutoReloadThread(); }

ConfigFile::Stamp ConfigFile::CurrentStamp() const {
    struct stat status {};
    Stamp stamp;
    if (::stat(String().c_str(), &status) != 0)
        return stamp;
    stamp.exists = true;
    stamp.inode = status.st_ino;
    stamp.size = static_cast<uint64_t>(status.st_size);
    stamp.modified = static_cast<int64_t>(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
    return stamp;
}

std::string ConfigFile::ReadText() {
    _stamp = CurrentStamp(); // before the read: a change in between makes the watcher read once more
    if (!_stamp.exists)
        return {};
    try {
        return ReadWholeFile(String());
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        std::fflush(stderr);
        return {};
    }
}

void ConfigFile::ReadFromINI(const std::string& section, std::vector<Conf> confs, bool strict) {
    std::string text;
    {
        std::lock_guard guard(_fileMutex);
        text = ReadText();
    }
    bool inSection = false;
    for (const Line& line : SplitLines(text)) {
        if (line.kind == Line::Header) {
            inSection = line.header == section;
            continue;
        }
        if (!inSection || line.kind != Line::Entry)
            continue;
        for (const Conf& conf : confs) {
            if (conf.key != line.key)
                continue;
            const std::string value(Trim(line.values));
            if (!ParseValue(value, conf.field, conf.type) && strict) {
                std::fprintf(stderr, "%s: [%s] %s: cannot read \"%s\" as %s; keeping the current value\n",
                             String().c_str(), section.c_str(), conf.key.c_str(), value.c_str(), TypeName(conf.type));
                std::fflush(stderr);
            }
        }
    }
}

void ConfigFile::ReadFromINI(const SectionReader& reader) {
    std::string text;
    {
        std::lock_guard guard(_fileMutex);
        text = ReadText();
    }
    const std::vector<Line> lines = SplitLines(text);
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].kind != Line::Header)
            continue;
        std::stringstream header{std::string(lines[i].header)};
        std::vector<ConfLineStream> entries;
        size_t j = i + 1;
        for (; j < lines.size() && lines[j].kind != Line::Header; ++j) {
            if (lines[j].kind != Line::Entry)
                continue;
            ConfLineStream& entry = entries.emplace_back();
            entry.key.str(std::string(lines[j].key));
            entry.values.str(std::string(lines[j].values));
        }
        reader(header, entries);
        i = j - 1;
    }
}

void ConfigFile::WriteToINI(const std::string& section, std::vector<Conf> confs) {
    std::string block = "[" + section + "]\n";
    for (const Conf& conf : confs)
        block += conf.key + " = " + FormatValue(conf.field, conf.type) + "\n";

    std::lock_guard guard(_fileMutex);
    const std::string old = CurrentStamp().exists ? ReadWholeFile(String()) : std::string();
    const std::vector<Line> lines = SplitLines(old);

    // The section's first appearance becomes the new block; later appearances lose their keys so that
    // they cannot override it on the next read. Comments and blank lines at the end of a replaced stretch
    // stay, since they usually introduce what follows.
    std::string text;
    bool written = false;
    for (size_t i = 0; i < lines.size();) {
        if (lines[i].kind != Line::Header || lines[i].header != section) {
            text.append(lines[i].raw).append("\n");
            ++i;
            continue;
        }
        size_t end = i + 1;
        while (end < lines.size() && lines[end].kind != Line::Header)
            ++end;
        size_t keep = end;
        while (keep > i + 1 && lines[keep - 1].kind == Line::Other)
            --keep;
        if (!written) {
            text += block;
            written = true;
        }
        for (size_t k = keep; k < end; ++k)
            text.append(lines[k].raw).append("\n");
        i = end;
    }
    if (!written) {
        if (!text.empty() && text.size() >= 2 && text.substr(text.size() - 2) != "\n\n")
            text += "\n";
        text += block;
    }
    WriteFileAtomic(String(), text);
    _stamp = CurrentStamp();
}

// ---- reloading ------------------------------------------------------------------------------------

void ConfigFile::StartAutoReloadThread() {
    if (_interval <= 0 || _watcher.joinable())
        return;
    {
        std::lock_guard guard(_watchMutex);
        _stopWatching = false;
    }
    {
        std::lock_guard guard(_fileMutex);
        if (_stamp == Stamp{})
            _stamp = CurrentStamp();
    }
    _watcher = std::thread([this] { WatchLoop(); });
}

void ConfigFile::StopAutoReloadThread() {
    if (!_watcher.joinable())
        return;
    {
        std::lock_guard guard(_watchMutex);
        _stopWatching = true;
    }
    _watchWake.notify_all();
    _watcher.join();
}

void ConfigFile::WatchLoop() {
    const auto period = std::chrono::milliseconds(_interval);
    for (;;) {
        {
            std::unique_lock guard(_watchMutex);
            if (_watchWake.wait_for(guard, period, [this] { return _stopWatching; }))
                return;
        }
        bool changed;
        {
            std::lock_guard guard(_fileMutex);
            const Stamp now = CurrentStamp();
            changed = !(now == _stamp);
            if (changed)
                _stamp = now;
        }
        if (changed)
            ReadConfig();
    }
}

} // namespace vesmo::filesystem
