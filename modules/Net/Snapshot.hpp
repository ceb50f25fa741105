#pragma once
// Snapshots: the poses of a world's entities at one server tick, packed for one client.
//
// What a client needs from a pose is what its player can see, so a pose is sent on a grid, not as doubles:
//
// - Position: on a grid of 2^e metres, e chosen from the entity's size so that a step is at most 1/512 of
//   it (StepExponent). Half a step of error is then 1/1024 of the entity: under a pixel until the entity
//   fills a thousand pixels of the screen, and the client eases towards each pose anyway. A power of two
//   keeps the grid exact in doubles, so both sides agree on every quantised value.
// - Orientation: "smallest three". A unit quaternion's largest component (in magnitude) follows from the
//   other three, which then lie within +-1/sqrt(2); the largest's index takes 2 bits and the three others
//   OrientationBits each. q and -q are the same rotation, so the largest is made positive and not sent.
//
// A snapshot is a sorted list of (net index, quantised pose). The server gives each entity a net index of
// its own when it tells a client about it (on the reliable channel, with the entity's type and step);
// indices are never reused within a server's run, so an old snapshot can't lend its pose to a new entity.
//
// Packing against a baseline. Each client acknowledges the newest snapshot it has decoded; the server
// packs the next one against that baseline (which both sides keep), and an entity whose quantised pose
// equals the baseline's costs nothing at all: an entity at rest is sent until the client has it, then
// never again while it rests. A changed entity sends its position as a difference from the baseline (a few
// bits for anything moving at a sane speed) and its orientation the same way when the dropped component is
// the same. Without a baseline (the first snapshots, or a client that has acknowledged nothing recent),
// poses go whole.
//
// Loss, reordering and duplication cost nothing but bits: a snapshot names its baseline's sequence, and the
// client decodes it only when it still holds that baseline and the snapshot is newer than the last one it
// applied.
//
// Packet layout (bits, lowest first; "u" = BitWriter::WriteUnsigned, "s" = WriteSigned):
//     sequence 16 | has baseline 1 | [baseline sequence 16]
//     | removed count u | per entity of the baseline no longer there: index gap u
//     | changed count u
//     per changed entity, in index order: index gap u (from the previous index + 1; the first from 0)
//         | in baseline 1 | position 3 x s (difference, or whole) | same largest 1 (only if in baseline)
//         | [largest 2] | three components: differences 3 x s, or whole 3 x OrientationBits

#include "BitStream.hpp"

#include <glm/gtc/quaternion.hpp>
#include <glm/vec3.hpp>

#include <array>
#include <cstdint>
#include <vector>

namespace net {

constexpr unsigned OrientationBits = 11;

struct QuantisedPose {
    std::array<int64_t, 3> position{};
    uint8_t largest = 3; // index (x, y, z, w) of the component left out
    std::array<int32_t, 3> rest{};
    bool operator==(const QuantisedPose&) const = default;
};

struct EntityPose {
    uint32_t index = 0;
    QuantisedPose pose;
};

// Sorted by index, each index once.
using Snapshot = std::vector<EntityPose>;

// The grid exponent for an entity of `size` metres (its largest extent): the largest e with 2^e <= size/512,
// within [-16, 8] (a step of 15 um up to 256 m).
int StepExponent(double size);

QuantisedPose Quantise(const glm::dvec3& position, const glm::dquat& orientation, int stepExponent);
glm::dvec3 RestorePosition(const QuantisedPose& pose, int stepExponent);
glm::dquat RestoreOrientation(const QuantisedPose& pose);

// Packs `current` against `baseline` (null: no baseline, every pose whole).
void Encode(BitWriter& out, uint16_t sequence, const Snapshot& current, const Snapshot* baseline,
            uint16_t baselineSequence);

struct SnapshotHeader {
    uint16_t sequence = 0;
    bool hasBaseline = false;
    uint16_t baselineSequence = 0;
};
// Reads the header, so the caller can find the baseline it names. False: too short.
bool DecodeHeader(BitReader& in, SnapshotHeader& header);
// Reads the rest into `out`: the baseline's entities less the removed ones, with the changed ones replaced
// or added. False when the packet is malformed (too short, indices out of order or overflowing, a component
// out of range, a removal or a difference naming an entity the baseline lacks); `out` is then unspecified.
bool DecodeBody(BitReader& in, const Snapshot* baseline, Snapshot& out);

// Sequence numbers wrap at 2^16: `a` is newer than `b` when it is less than half the circle ahead.
inline bool Newer(uint16_t a, uint16_t b) { return a != b && uint16_t(a - b) < 0x8000; }

} // namespace net
