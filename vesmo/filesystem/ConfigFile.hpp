#pragma once
// A text configuration file owned by an object: settings, entity type descriptions.
//
// File format (a person's own file, so it is forgiving and keeps what it does not touch):
//
//     # a comment: a line whose first non-blank character is '#' or ';'
//     [graphics]                      a header: '[' text ']' on a line of its own
//     fov = 70                        a line: a key, then '=' or blanks, then the value
//     upscaling_algo = "AUTO"         strings may be quoted ("\"" and "\\" inside); bare ones are trimmed
//
//     [COLLIDER left wheel]           the header text of an entity config: a keyword, then a name that
//     parent body                     may hold blanks; lines are a key, then values separated by blanks
//     vertices 0 0 0  1 0 0  0 1 0
//
// Lines before the first header, blank lines and comments belong to no section. A section may appear
// more than once; a later key wins on reading.
//
// Two ways to read:
//  - by descriptor (settings): ReadFromINI(section, {Conf...}, strict) sets each described field from
//    its key. A key the file lacks leaves the field untouched, which is how defaults survive. A value
//    that cannot be read also leaves the field; with `strict` a line on stderr names file, section and
//    key, without it the key is silently optional (keys a person adds by hand).
//  - by section (entity configs): ReadFromINI(callback) calls back once per header, in file order, with
//    the header text as a stream and each line cut into a key stream and a values stream. The values
//    stream holds the rest of the line after the key and its separator exactly as written, trailing
//    blanks included (a carriage return of a CRLF file is dropped).
//
// Writing: WriteToINI(section, {Conf...}) rewrites that section with exactly the given keys in the
// given order (keys a person added to the section are dropped), keeps every other section and comment
// of the file as it was, and replaces the file crash-safely.
//
// Value text, all of it round-tripping exactly:
//   string   "..." with \" \\ \n \t \r escapes     bool  true | false (reads also yes/no/on/off/1/0)
//   int      decimal                               float shortest text that reads back to the same float
//   InputBinding  "none", or blank-separated parts, each "name:value", parts at their "none" value
//                 left out: key:87 mouse:0 gamepad_guid:"..." gamepad_index:1 gamepad_button:0
//                 gamepad_axis:3 gamepad_axis_direction:-1 joystick_guid:"..." joystick_index:0
//                 joystick_button:2 joystick_axis:1 joystick_axis_direction:-1
//   Key, button and axis codes are GLFW's numbers.
//
// Reloading: StartAutoReloadThread() polls the file (inode, size, modification time) every `interval`
// milliseconds of the constructor (250 when none is given; 0 or less turns watching off) and calls the
// virtual ReadConfig() when it changed, including changes made with WriteToINI by others; this object's
// own writes do not trigger it. StopAutoReloadThread() returns promptly and is safe to call twice.

#include "vesmo/filesystem/FilePath.hpp"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace vesmo::filesystem {

struct ConfLineStream {
    std::stringstream key;
    std::stringstream values;
};

class ConfigFile : public FilePath {
public:
    struct InputBinding {
        int key = -1;
        int mouseButton = -1;
        std::string gamepadGuid;
        int gamepadIndex = 0;
        int gamepadButton = -1;
        int16_t gamepadAxis = -1;
        int16_t gamepadAxisDirection = 1;
        std::string joystickGuid;
        int joystickIndex = 0;
        int joystickButton = -1;
        int16_t joystickAxis = -1;
        int16_t joystickAxisDirection = 1;

        bool operator==(const InputBinding&) const = default;
        std::string ToString() const;
        // False, and `binding` untouched, when the text is not a binding.
        static bool FromString(const std::string& text, InputBinding& binding);
    };

    enum Type : int {
        TYPE_STRING = 1,
        TYPE_BOOL = 3,
        TYPE_INT = 5,
        TYPE_FLOAT = 7,
        TYPE_INPUT_BINDING = 8,
    };

    // Ties a key to a field of the owner: std::string, bool, int, float or InputBinding by `type`.
    struct Conf {
        Conf(ConfigFile* owner, std::string key, void* field, int type);
        ConfigFile* owner;
        std::string key;
        void* field;
        int type;
    };

    using SectionReader = std::function<void(std::stringstream& header, std::vector<ConfLineStream>& lines)>;

    ConfigFile(const std::string& path, std::optional<int> interval = std::nullopt);
    ~ConfigFile() override;

    virtual void ReadConfig() {}
    virtual void WriteConfig() {}

    void ReadFromINI(const std::string& section, std::vector<Conf> confs, bool strict);
    void ReadFromINI(const SectionReader& reader);
    void WriteToINI(const std::string& section, std::vector<Conf> confs);

    void StartAutoReloadThread();
    void StopAutoReloadThread();

    // Text form of one field, and its reverse (false when the text does not read as `type`).
    static std::string FormatValue(const void* field, int type);
    static bool ParseValue(const std::string& text, void* field, int type);

    // For the owner's use: guards lazy reading of the file, and says whether it has been read.
    std::mutex mutex;
    bool loaded = false;

private:
    struct Stamp {
        uint64_t inode = 0, size = 0;
        int64_t modified = 0;
        bool exists = false;
        bool operator==(const Stamp&) const = default;
    };
    Stamp CurrentStamp() const;
    std::string ReadText(); // empty when the file does not exist
    void WatchLoop();

    int _interval;
    std::mutex _fileMutex; // one read or write of the file at a time, and the stamp with it
    Stamp _stamp;          // what this object last read or wrote
    std::thread _watcher;
    std::mutex _watchMutex;
    std::condition_variable _watchWake;
    bool _stopWatching = false;
};

} // namespace vesmo::filesystem
