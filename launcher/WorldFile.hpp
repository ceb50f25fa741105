#pragma once
// A world's own file, "<world folder>/world.conf": which SERVER_Mod modules the world runs, its tick rate
// and sub-steps, and how far its clock has run. Plain "key value" lines; '#' starts a comment line.
//
//   modules Planet Other     names under modules/<Name>/<Name>.SERVER_Mod.so, in any order, apart by blanks
//                            or commas
//   tick_rate 60             ticks per simulated second
//   substeps 4               physics sub-steps per tick
//   time 20                  simulated seconds run so far, over all sessions
//   ticks 1200               ticks run so far
//
// Unknown keys are kept and written back as they were, so a newer server's keys survive an older one. A rate
// or a sub-step count outside the ranges below is refused on reading, as the server's options are.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace server {

// What a world can run at: below one tick a second nothing moves, above a thousand a tick is too short to
// mean anything; more sub-steps than these make one tick take minutes.
constexpr double kMinTickRate = 1.0, kMaxTickRate = 1000.0;
constexpr int kMinSubsteps = 1, kMaxSubsteps = 64;

// Module names from a list apart by commas, blanks or both ("Planet,Other", "Planet, Other"); empty names
// are dropped.
std::vector<std::string> SplitModuleList(const std::string& list);

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
    // a number where one is wanted, or is out of its range.
    bool Read(const std::string& path);
    // Crash-safe: the old file or the new one, whole.
    void Write(const std::string& path) const;
};

} // namespace server
