#pragma once
// A world's own file, "<world folder>/world.conf": which SERVER_Mod modules the world runs, its tick rate
// and sub-steps, and how far its clock has run. Plain "key value" lines; '#' starts a comment line.
//
//   modules Planet Other     names under modules/<Name>/<Name>.SERVER_Mod.so, in any order
//   tick_rate 60             ticks per simulated second
//   substeps 4               physics sub-steps per tick
//   time 20                  simulated seconds run so far, over all sessions
//   ticks 1200               ticks run so far
//
// Unknown keys are kept and written back as they were, so a newer server's keys survive an older one.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace server {

// The folder of a world's files, relative to the working directory, with a trailing '/'; the entity state
// files are in its "entities" folder (ServerSideEntity::GetCheckpointDir()).
std::string WorldFolder(const std::string& world);

struct WorldFile {
    std::vector<std::string> modules;
    double tickRate = 60.0;
    int substeps = 4;
    double time = 0.0;
    uint64_t ticks = 0;
    std::vector<std::pair<std::string, std::string>> unknown;

    // False if the file does not exist; throws std::runtime_error naming the line for a value that is not
    // a number where one is wanted.
    bool Read(const std::string& path);
    // Crash-safe: the old file or the new one, whole.
    void Write(const std::string& path) const;
};

} // namespace server
