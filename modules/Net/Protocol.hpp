#pragma once
// The network modules' messages besides snapshots (Snapshot.hpp), shared by the server and its clients.
//
// Server to client, channel 0 (reliable, in order), one message per packet, kind first (8 bits):
//   Creation   index u | step exponent s | id 2 x 64 | module 2 x 64 | type: length u (at most
//              MaxTypeLength) then its bytes | has parent 1 | [parent's id 2 x 64]
//              (a component's pose is in its parent's frame, so the client must hang it there too)
//   Removal    index u
// Client to server, channel 1 (unreliable):
//   Acknowledgement   the sequence of the newest snapshot the client has decoded, 16
//
// ("u" and "s" are BitWriter::WriteUnsigned and WriteSigned.) Every Read function refuses (returns false)
// a packet of another kind, a short one, or one with bytes left over.

#include "BitStream.hpp"

#include "game/host/UniqueId.hpp"
#include "vesmo/modular/ModuleID.hpp"

#include <cstdint>
#include <string>

namespace net {

constexpr uint16_t DefaultPort = 29170;
// Both sides set their ENet host's checksum to enet_crc32: random datagrams at the port then fail the
// check before ENet reads them as commands (without it, noise that happens to look like connection
// requests takes peer slots until they time out, and real clients find the server full).
constexpr uint8_t ChannelCount = 2;
// The largest packet either side sends or takes: a snapshot of some 10,000 entities packed whole. (A world
// with more would need its snapshots split.)
constexpr size_t MaxPacket = 256 * 1024;
constexpr size_t MaxTypeLength = 200;

enum class Kind : uint8_t { Creation = 1, Removal = 2, Acknowledgement = 3 };

// What a client needs to make its own copy of an entity.
struct EntityInfo {
    uint32_t index = 0;
    game::UniqueId id;
    vesmo::modular::ModuleID module;
    std::string type;
    int stepExponent = 0;
    game::UniqueId parent; // null: a free entity
};

inline void WriteCreation(BitWriter& out, const EntityInfo& info) {
    out.Write(uint8_t(Kind::Creation), 8);
    out.WriteUnsigned(info.index);
    out.WriteSigned(info.stepExponent);
    out.Write(info.id.First(), 64);
    out.Write(info.id.Second(), 64);
    out.Write(info.module.vendor, 64);
    out.Write(info.module.name, 64);
    const size_t length = info.type.size() < MaxTypeLength ? info.type.size() : MaxTypeLength;
    out.WriteUnsigned(length);
    for (size_t i = 0; i < length; ++i)
        out.Write(uint8_t(info.type[i]), 8);
    const bool hasParent = !info.parent.IsNull();
    out.Write(hasParent, 1);
    if (hasParent) {
        out.Write(info.parent.First(), 64);
        out.Write(info.parent.Second(), 64);
    }
}

inline void WriteRemoval(BitWriter& out, uint32_t index) {
    out.Write(uint8_t(Kind::Removal), 8);
    out.WriteUnsigned(index);
}

inline void WriteAcknowledgement(BitWriter& out, uint16_t sequence) {
    out.Write(uint8_t(Kind::Acknowledgement), 8);
    out.Write(sequence, 16);
}

// The kind of a reliable message, without consuming it from `in`'s copy.
inline Kind PeekKind(const uint8_t* data, size_t size) { return size ? Kind(data[0]) : Kind(0); }

// Whatever is left must be the padding of the last byte.
inline bool Finished(const BitReader& in) { return in.Ok() && in.Remaining() < 8; }

inline bool ReadCreation(BitReader& in, EntityInfo& info) {
    if (in.Read(8) != uint8_t(Kind::Creation))
        return false;
    const uint64_t index = in.ReadUnsigned();
    const int64_t exponent = in.ReadSigned();
    const uint64_t first = in.Read(64), second = in.Read(64);
    info.module.vendor = in.Read(64);
    info.module.name = in.Read(64);
    const uint64_t length = in.ReadUnsigned();
    if (!in.Ok() || index > UINT32_MAX || exponent < -16 || exponent > 8 || length > MaxTypeLength)
        return false;
    info.index = uint32_t(index);
    info.stepExponent = int(exponent);
    info.id = game::UniqueId(first, second);
    info.type.resize(length);
    for (char& c : info.type)
        c = char(in.Read(8));
    info.parent = game::UniqueId();
    if (in.Read(1)) {
        const uint64_t parentFirst = in.Read(64), parentSecond = in.Read(64);
        info.parent = game::UniqueId(parentFirst, parentSecond);
    }
    return Finished(in);
}

inline bool ReadRemoval(BitReader& in, uint32_t& index) {
    if (in.Read(8) != uint8_t(Kind::Removal))
        return false;
    const uint64_t value = in.ReadUnsigned();
    index = uint32_t(value);
    return Finished(in) && value <= UINT32_MAX;
}

inline bool ReadAcknowledgement(BitReader& in, uint16_t& sequence) {
    if (in.Read(8) != uint8_t(Kind::Acknowledgement))
        return false;
    sequence = uint16_t(in.Read(16));
    return Finished(in);
}

} // namespace net
