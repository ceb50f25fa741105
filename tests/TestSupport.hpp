#pragma once
// Helpers shared by the tests.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace testing_support {

// A fresh folder under the system's temporary folder, removed with everything in it at the end.
class TempDir {
public:
    TempDir() {
        std::random_device random;
        _path = std::filesystem::temp_directory_path() / ("orkalin-test-" + std::to_string(random()));
        std::filesystem::create_directories(_path);
    }
    ~TempDir() {
        std::error_code error;
        std::filesystem::remove_all(_path, error);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const { return _path; }
    std::string File(const std::string& name) const { return (_path / name).string(); }

private:
    std::filesystem::path _path;
};

inline void WriteText(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

inline std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace testing_support
