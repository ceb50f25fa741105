#include "Snapshot.hpp"

#include <algorithm>
#include <cmath>

namespace net {

namespace {

constexpr int32_t ComponentMax = (1 << (OrientationBits - 1)) - 1;
constexpr double ComponentRange = 0.70710678118654752440; // 1/sqrt(2): the most a non-largest component is
// Positions beyond 2^52 steps are not a world any module makes; a packet claiming one is malformed.
constexpr int64_t PositionLimit = int64_t(1) << 52;

const QuantisedPose* Find(const Snapshot* snapshot, uint32_t index) {
    if (!snapshot)
        return nullptr;
    auto it = std::lower_bound(snapshot->begin(), snapshot->end(), index,
                               [](const EntityPose& entity, uint32_t i) { return entity.index < i; });
    return it != snapshot->end() && it->index == index ? &it->pose : nullptr;
}

void WriteIndex(BitWriter& out, uint32_t index, int64_t& previous) {
    out.WriteUnsigned(static_cast<uint64_t>(index - (previous + 1)));
    previous = index;
}

bool ReadIndex(BitReader& in, int64_t& previous, uint32_t& index) {
    const uint64_t next = static_cast<uint64_t>(previous + 1) + in.ReadUnsigned();
    if (!in.Ok() || next > UINT32_MAX)
        return false;
    index = static_cast<uint32_t>(next);
    previous = next;
    return true;
}

void WritePose(BitWriter& out, const QuantisedPose& pose, const QuantisedPose* base) {
    out.WriteBool(base != nullptr);
    for (int i = 0; i < 3; ++i)
        out.WriteSigned(pose.position[i] - (base ? base->position[i] : 0));
    const bool sameLargest = base && base->largest == pose.largest;
    if (base)
        out.WriteBool(sameLargest);
    if (sameLargest) {
        for (int i = 0; i < 3; ++i)
            out.WriteSigned(pose.rest[i] - base->rest[i]);
        return;
    }
    out.Write(pose.largest, 2);
    for (int i = 0; i < 3; ++i)
        out.Write(static_cast<uint64_t>(pose.rest[i] + ComponentMax), OrientationBits);
}

bool ReadPose(BitReader& in, const Snapshot* baseline, uint32_t index, QuantisedPose& pose) {
    const QuantisedPose* base = nullptr;
    if (in.ReadBool()) {
        base = Find(baseline, index);
        if (!base)
            return false;
    }
    for (int i = 0; i < 3; ++i) {
        const int64_t value = in.ReadSigned();
        if (value < -PositionLimit || value > PositionLimit)
            return false;
        pose.position[i] = value + (base ? base->position[i] : 0);
        if (pose.position[i] < -PositionLimit || pose.position[i] > PositionLimit)
            return false;
    }
    const bool sameLargest = base && in.ReadBool();
    pose.largest = sameLargest ? base->largest : static_cast<uint8_t>(in.Read(2));
    for (int i = 0; i < 3; ++i) {
        int64_t value = 0;
        if (sameLargest) {
            const int64_t difference = in.ReadSigned();
            if (difference < -2 * ComponentMax || difference > 2 * ComponentMax)
                return false;
            value = base->rest[i] + difference;
        } else {
            value = static_cast<int64_t>(in.Read(OrientationBits)) - ComponentMax;
        }
        if (value < -ComponentMax || value > ComponentMax)
            return false;
        pose.rest[i] = static_cast<int32_t>(value);
    }
    return in.Ok();
}

} // namespace

int StepExponent(double size) {
    if (!(size > 0.0))
        return -16;
    const int e = static_cast<int>(std::floor(std::log2(size / 512.0)));
    return std::clamp(e, -16, 8);
}

QuantisedPose Quantise(const glm::dvec3& position, const glm::dquat& orientation, int stepExponent) {
    QuantisedPose pose;
    for (int i = 0; i < 3; ++i) {
        const double steps = std::ldexp(position[i], -stepExponent);
        pose.position[i] =
            std::isfinite(steps) ? std::llround(std::clamp(steps, -double(PositionLimit), double(PositionLimit))) : 0;
    }
    glm::dquat q = glm::normalize(orientation);
    if (!std::isfinite(q.w))
        q = glm::dquat(1.0, 0.0, 0.0, 0.0);
    uint8_t largest = 3;
    for (uint8_t i = 0; i < 4; ++i)
        if (std::abs(q[i]) > std::abs(q[largest]))
            largest = i;
    const double sign = q[largest] < 0.0 ? -1.0 : 1.0;
    pose.largest = largest;
    for (int i = 0, j = 0; i < 4; ++i) {
        if (i == largest)
            continue;
        const double scaled = sign * q[i] / ComponentRange * ComponentMax;
        pose.rest[j++] = static_cast<int32_t>(std::clamp<long>(std::lround(scaled), -ComponentMax, ComponentMax));
    }
    return pose;
}

glm::dvec3 RestorePosition(const QuantisedPose& pose, int stepExponent) {
    return {std::ldexp(double(pose.position[0]), stepExponent), std::ldexp(double(pose.position[1]), stepExponent),
            std::ldexp(double(pose.position[2]), stepExponent)};
}

glm::dquat RestoreOrientation(const QuantisedPose& pose) {
    glm::dquat q;
    double sum = 0.0;
    for (int i = 0, j = 0; i < 4; ++i) {
        if (i == pose.largest)
            continue;
        q[i] = double(pose.rest[j++]) / ComponentMax * ComponentRange;
        sum += q[i] * q[i];
    }
    q[pose.largest] = std::sqrt(std::max(0.0, 1.0 - sum));
    return glm::normalize(q);
}

void Encode(BitWriter& out, uint16_t sequence, const Snapshot& current, const Snapshot* baseline,
            uint16_t baselineSequence) {
    out.Write(sequence, 16);
    out.WriteBool(baseline != nullptr);
    if (baseline)
        out.Write(baselineSequence, 16);

    // Entities of the baseline that are gone: both lists are sorted, so one walk finds them.
    size_t removed = 0;
    if (baseline) {
        auto it = current.begin();
        for (const EntityPose& old : *baseline) {
            while (it != current.end() && it->index < old.index)
                ++it;
            removed += (it == current.end() || it->index != old.index);
        }
    }
    out.WriteUnsigned(removed);
    if (removed) {
        int64_t previous = -1;
        auto it = current.begin();
        for (const EntityPose& old : *baseline) {
            while (it != current.end() && it->index < old.index)
                ++it;
            if (it == current.end() || it->index != old.index)
                WriteIndex(out, old.index, previous);
        }
    }

    size_t changed = 0;
    for (const EntityPose& entity : current) {
        const QuantisedPose* base = Find(baseline, entity.index);
        changed += !base || !(*base == entity.pose);
    }
    out.WriteUnsigned(changed);
    int64_t previous = -1;
    for (const EntityPose& entity : current) {
        const QuantisedPose* base = Find(baseline, entity.index);
        if (base && *base == entity.pose)
            continue;
        WriteIndex(out, entity.index, previous);
        WritePose(out, entity.pose, base);
    }
}

bool DecodeHeader(BitReader& in, SnapshotHeader& header) {
    header.sequence = static_cast<uint16_t>(in.Read(16));
    header.hasBaseline = in.ReadBool();
    header.baselineSequence = header.hasBaseline ? static_cast<uint16_t>(in.Read(16)) : 0;
    return in.Ok();
}

bool DecodeBody(BitReader& in, const Snapshot* baseline, Snapshot& out) {
    out.clear();
    // Every entry takes at least a bit, so a count beyond the bits left is a lie, refused before it sizes
    // anything.
    const uint64_t removedCount = in.ReadUnsigned();
    if (!in.Ok() || removedCount > in.Remaining() || removedCount > (baseline ? baseline->size() : 0))
        return false;
    std::vector<uint32_t> removed(removedCount);
    int64_t previous = -1;
    for (uint32_t& index : removed)
        if (!ReadIndex(in, previous, index) || !Find(baseline, index))
            return false;

    const uint64_t changedCount = in.ReadUnsigned();
    if (!in.Ok() || changedCount > in.Remaining())
        return false;
    Snapshot changed(changedCount);
    previous = -1;
    for (EntityPose& entity : changed)
        if (!ReadIndex(in, previous, entity.index) || !ReadPose(in, baseline, entity.index, entity.pose))
            return false;

    // The baseline less the removed, merged with the changed (all three lists are sorted by index).
    out.reserve((baseline ? baseline->size() - removed.size() : 0) + changed.size());
    auto gone = removed.begin();
    auto next = changed.begin();
    if (baseline) {
        for (const EntityPose& old : *baseline) {
            if (gone != removed.end() && *gone == old.index) {
                ++gone;
                continue;
            }
            for (; next != changed.end() && next->index < old.index; ++next)
                out.push_back(*next);
            if (next != changed.end() && next->index == old.index)
                out.push_back(*next++);
            else
                out.push_back(old);
        }
    }
    out.insert(out.end(), next, changed.end());
    return in.Ok();
}

} // namespace net
