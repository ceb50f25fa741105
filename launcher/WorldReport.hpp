#pragma once
// What the server tells about a running world: a census of its entities, the summary table at the end of
// a run, a top-down picture, and a dump of poses for tools and tests.
//
// Only vehicles count: an entity that is a component is part of its vehicle. A vehicle is moving while it
// is dynamic and not yet settled (settleTime below 1 s), resting otherwise (settled or immovable).

#include <cstddef>
#include <string>

namespace server {

struct Census {
    size_t entities = 0;
    size_t moving = 0;
    size_t resting = 0;
};

// Walks the registry under its shared lock: call it between ticks.
Census TakeCensus();

// The table of entities by type: count, moving, resting, mean height above the ground, fastest speed.
std::string SummaryTable();

// One line per vehicle, sorted by id: "<id> <type> x y z qw qx qy qz", full precision. False if the file
// can't be written.
bool DumpPoses(const std::string& path);

// A top-down picture of the ground around the vehicles, drawn from their environment's function: ground
// shaded by height and slope, water blue by depth, vehicles as marks (moving: orange ring; resting: grey
// dot), a scale bar and a caption. Written as PNG; false if there is nothing to draw or it can't be written.
bool DrawWorldPicture(const std::string& path, const std::string& caption);

} // namespace server
