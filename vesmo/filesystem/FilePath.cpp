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

std::filesystem::file_time_type FilePath::LastWriteTime() const {
    std::error_code error;
    auto time = std::filesystem::last_write_time(_path, error);
    return error ? std::filesystem::file_time_type::min() : time;
}

} // namespace vesmo::filesystem
