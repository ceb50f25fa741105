#pragma once
// Helpers shared by the tests.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace testing_support {

// The process that owns the temporary folders made here. A death test's child (re-run by GoogleTest as a
// process of its own) ends by abort and never runs a destructor, so its folders are named after the test
// process that started it, which sweeps them when it exits.
inline pid_t TempOwner() { return GTEST_FLAG_GET(internal_run_death_test).empty() ? getpid() : getppid(); }

inline std::string TempPrefix(pid_t owner) { return "orkalin-test-" + std::to_string(owner) + "-"; }

// Removes what this process's death-test children left, when the test process ends.
struct TempSweeper {
    ~TempSweeper() {
        if (!GTEST_FLAG_GET(internal_run_death_test).empty())
            return;
        const std::string prefix = TempPrefix(getpid());
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path(), error))
            if (entry.path().filename().string().rfind(prefix, 0) == 0)
                std::filesystem::remove_all(entry.path(), error);
    }
};
inline TempSweeper tempSweeper;

// A fresh folder under the system's temporary folder, removed with everything in it at the end.
class TempDir {
public:
    TempDir() {
        std::random_device random;
        _path = std::filesystem::temp_directory_path() / (TempPrefix(TempOwner()) + std::to_string(random()));
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

// The message of the E that `run` throws; a test failure (and "") when it throws nothing. Another type of
// exception passes through and fails the test as well.
template <class E = std::exception, class F> std::string ThrownMessage(F&& run) {
    try {
        run();
    } catch (const E& error) {
        return error.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return "";
}

// What `run` writes to stderr, and to stdout.
template <class F> std::string StderrOf(F&& run) {
    testing::internal::CaptureStderr();
    run();
    return testing::internal::GetCapturedStderr();
}
template <class F> std::string StdoutOf(F&& run) {
    testing::internal::CaptureStdout();
    run();
    return testing::internal::GetCapturedStdout();
}

} // namespace testing_support
