#pragma once
// Shared by the harnesses: a scratch folder for parsers that read files, and the rule for what ends a run.
//
// A harness calls the parser the way the game does and catches what the game documents as a refusal
// (std::runtime_error and friends). A specified end of the process (an assertion, bad YAML) throws
// game::detail::SpecifiedEnd in the fuzzing build, which the harness catches too: none of these is a
// finding. A hang, a sanitizer report or memory past libFuzzer's bound is.

#include "game/Assert.hpp"

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace fuzz {

// A folder for the files a harness writes: ORKALIN_FUZZ_SCRATCH when set (the replay driver's, which it
// removes), else one of this process in memory (/dev/shm, where the fsync of every crash-safe write
// costs nothing) or under the temporary folder, made on first use and removed at exit.
inline const std::filesystem::path& Scratch() {
    struct Folder {
        std::filesystem::path path;
        bool owned = false;
        Folder() {
            if (const char* given = std::getenv("ORKALIN_FUZZ_SCRATCH")) {
                path = given;
            } else {
                std::error_code error;
                const std::filesystem::path base = std::filesystem::is_directory("/dev/shm", error)
                                                       ? std::filesystem::path("/dev/shm")
                                                       : std::filesystem::temp_directory_path();
                path = base / ("orkalin-fuzz-" + std::to_string(getpid()));
                owned = true;
            }
            std::filesystem::create_directories(path);
        }
        ~Folder() {
            std::error_code ignored;
            if (owned)
                std::filesystem::remove_all(path, ignored);
        }
    };
    static Folder folder;
    return folder.path;
}

inline void WriteFile(const std::filesystem::path& path, const uint8_t* data, size_t size) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

inline std::string Text(const uint8_t* data, size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

} // namespace fuzz

// The body of a harness, with the specified ends caught: FUZZ_BODY({ ... });
#define FUZZ_BODY(...)                                                                                                 \
    try {                                                                                                              \
        __VA_ARGS__                                                                                                    \
    } catch (const game::detail::SpecifiedEnd&) {                                                                      \
    }
