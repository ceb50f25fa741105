#pragma once
// One client's end of the network: connects to a server's Net module, keeps the entities it is told of
// and the newest snapshots it decoded, and acknowledges each one so the next is packed against it.
//
//     net::ClientSession session;
//     session.Connect("example.org", net::DefaultPort);
//     every frame: session.Service();   then read Entities() and Latest()
//
// Not thread-safe: one thread services it and reads it. A server that sends something malformed has that
// message dropped and counted (Malformed()); a server that goes away leaves State() at LOST.

#include "Protocol.hpp"
#include "Snapshot.hpp"

#include <array>
#include <cstdint>
#include <map>
#include <string>

typedef struct _ENetHost ENetHost;
typedef struct _ENetPeer ENetPeer;

namespace net {

class ClientSession {
public:
    enum class State { IDLE, CONNECTING, CONNECTED, LOST };

    ClientSession() = default;
    ~ClientSession();
    ClientSession(const ClientSession&) = delete;
    ClientSession& operator=(const ClientSession&) = delete;

    // Starts connecting (the answer comes through Service). False when the host name does not resolve
    // or ENet cannot open a socket. The caller has called enet_initialize.
    bool Connect(const std::string& host, uint16_t port);
    // Leaves at once and forgets everything; the session can connect again.
    void Leave();
    // Takes every waiting event: connection, messages, snapshots; never blocks.
    void Service();

    State GetState() const { return _state; }
    // The entities the server has told of, by net index.
    const std::map<uint32_t, EntityInfo>& Entities() const { return _entities; }
    // The newest snapshot decoded, or null before the first.
    const Snapshot* Latest() const { return _haveLatest ? &_decoded[_latest % History].snapshot : nullptr; }
    uint16_t LatestSequence() const { return _latest; }
    uint64_t Malformed() const { return _malformed; }

    // What Service does with a received packet: a reliable message (channel 0) or a snapshot (channel 1).
    // Public so that a test or fuzzer can feed packets without a socket; a malformed one only counts in
    // Malformed(). A decoded snapshot is acknowledged when the session is connected.
    void TakeMessage(const uint8_t* data, size_t size);
    void TakeSnapshot(const uint8_t* data, size_t size);
    // Every byte of the datagrams' payloads received since Connect: ENet's headers and both channels.
    uint64_t ReceivedBytes() const;

private:
    static constexpr size_t History = 64; // as many as the server keeps as baselines

    struct Decoded {
        bool valid = false;
        uint16_t sequence = 0;
        Snapshot snapshot;
    };

    ENetHost* _host = nullptr;
    ENetPeer* _peer = nullptr;
    State _state = State::IDLE;
    std::map<uint32_t, EntityInfo> _entities;
    std::array<Decoded, History> _decoded;
    Snapshot _scratch;
    bool _haveLatest = false;
    uint16_t _latest = 0;
    uint64_t _malformed = 0;
};

} // namespace net
