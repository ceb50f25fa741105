#pragma once
// A path on disk and the few questions the game asks of it.

#include <filesystem>
#include <string>

namespace vesmo::filesystem {

class FilePath {
public:
    FilePath() = default;
    FilePath(std::string path) : _path(std::move(path)) {}
    FilePath(const char* path) : _path(path) {}
    virtual ~FilePath() = default;

    FilePath(const FilePath&) = default;
    FilePath& operator=(const FilePath&) = default;

    // Removes the file (or empty folder). True when something was removed; a missing file is not an error.
    virtual bool Delete();

    const std::string& String() const { return _path; }
    bool Exists() const;
    bool IsFile() const;
    bool IsDirectory() const;
    // The time of the last change; the clock's minimum when the file does not exist.
    std::filesystem::file_time_type LastWriteTime() const;

    std::string Parent() const { return std::filesystem::path(_path).parent_path().string(); }
    std::string Stem() const { return std::filesystem::path(_path).stem().string(); }
    std::string Extension() const { return std::filesystem::path(_path).extension().string(); }

    bool operator==(const FilePath& other) const { return _path == other._path; }

private:
    std::string _path;
};

} // namespace vesmo::filesystem
