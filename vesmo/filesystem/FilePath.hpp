#pragma once
// A path on disk and the few questions the game asks of it.

#include <filesystem>
#include <string>
#include <vector>

namespace vesmo::filesystem {

// The time stamp of a file's last change, as the file system keeps it.
using FileTime = std::filesystem::file_time_type;

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
    FileTime LastWriteTime() const;
    // Makes this folder and the missing ones above it; true when it made one. Throws
    // std::filesystem::filesystem_error when the path cannot be a folder.
    bool CreateDirectories() const;
    // The regular files directly in this folder, in the order the file system lists them; none when this is no
    // folder. Throws std::filesystem::filesystem_error when the folder cannot be read.
    std::vector<FilePath> Files() const;

    std::string Parent() const { return std::filesystem::path(_path).parent_path().string(); }
    std::string Stem() const { return std::filesystem::path(_path).stem().string(); }
    std::string Extension() const { return std::filesystem::path(_path).extension().string(); }

    bool operator==(const FilePath& other) const { return _path == other._path; }

private:
    std::string _path;
};

} // namespace vesmo::filesystem
