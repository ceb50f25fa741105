// The network's packets, as a client and the server read them: a run of packets fed to a client session
// (reliable messages and snapshots, each snapshot possibly packed against an earlier one) and each also
// read as the client's acknowledgement, the one thing the server takes from a client.
//
// Input: records of [selector 1 byte][length 2 bytes, little-endian][payload]; the selector's low bit picks
// the channel (0: creation or removal, 1: snapshot). A cut record is fed as far as it goes.

#include "FuzzSupport.hpp"

#include "ClientSession.hpp"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ_BODY({
        net::ClientSession session;
        size_t creations = 0;
        while (size >= 3) {
            const bool snapshot = data[0] & 1;
            const size_t length = std::min<size_t>(data[1] | size_t(data[2]) << 8, size - 3);
            const uint8_t* packet = data + 3;
            data += 3 + length;
            size -= 3 + length;

            net::BitReader ack(packet, length);
            uint16_t sequence = 0;
            if (net::ReadAcknowledgement(ack, sequence)) {
                net::BitWriter again;
                net::WriteAcknowledgement(again, sequence);
                GAME_ASSERT(again.Bytes().size() == length &&
                            std::equal(packet, packet + length, again.Bytes().begin()));
            }

            if (snapshot) {
                session.TakeSnapshot(packet, length);
            } else {
                creations += net::PeekKind(packet, length) == net::Kind::Creation;
                session.TakeMessage(packet, length);
            }
        }
        // The client's state stays bounded by what it was sent, and a snapshot it keeps is in index order.
        GAME_ASSERT(session.Entities().size() <= creations);
        if (const net::Snapshot* latest = session.Latest())
            GAME_ASSERT(std::adjacent_find(latest->begin(), latest->end(), [](const auto& a, const auto& b) {
                            return a.index >= b.index;
                        }) == latest->end());
    });
    return 0;
}
