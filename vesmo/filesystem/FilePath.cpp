#include "vesmo/filesystem/FilePath.hpp"

namespace vesmo::filesystem {

bool FilePath::Delete() {
    std::error_code error;
    return std::filesystem::remove(_path, error);
}

bool FilePath::Exists() const {
    std::error_code error;
    return std::filesystem::exists(_path, error);
}

bool FilePath::IsFile() const {
    std::error_code error;
    return std::filesystem::is_regular_file(_path, error);
}

bool FilePath::IsDirectory() const {
    std::error_code error;
    return std::filesystem::is_directory(_path, error);
}

FileTime FilePath::LastWriteTime() const {
    std::error_code error;
    auto time = std::filesystem::last_write_time(_path, error);
    return error ? FileTime::min() : time;
}

bool FilePath::CreateDirectories() const { return std::filesystem::create_directories(_path); }

std::vector<FilePath> FilePath::Files() const {
    std::vector<FilePath> files;
    if (!IsDirectory())
        return files;
    for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator(_path))
        if (entry.is_regular_file())
            files.emplace_back(entry.path().string());
    return files;
}

} // namespace vesmo::filesystem
