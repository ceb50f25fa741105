#include "ClientSession.hpp"

#include <enet/enet.h>

namespace net {

ClientSession::~ClientSession() { Leave(); }

bool ClientSession::Connect(const std::string& host, uint16_t port) {
    Leave();
    ENetAddress address{};
    if (enet_address_set_host(&address, host.c_str()) != 0)
        return false;
    address.port = port;
    _host = enet_host_create(nullptr, 1, ChannelCount, 0, 0);
    if (!_host)
        return false;
    _host->checksum = enet_crc32;
    _host->maximumPacketSize = MaxPacket;
    _peer = enet_host_connect(_host, &address, ChannelCount, 0);
    if (!_peer) {
        Leave();
        return false;
    }
    _state = State::CONNECTING;
    return true;
}

uint64_t ClientSession::ReceivedBytes() const { return _host ? _host->totalReceivedData : 0; }

void ClientSession::Leave() {
    if (_peer)
        enet_peer_disconnect_now(_peer, 0);
    if (_host) {
        enet_host_flush(_host);
        enet_host_destroy(_host);
    }
    _host = nullptr;
    _peer = nullptr;
    _state = State::IDLE;
    _entities.clear();
    for (Decoded& decoded : _decoded)
        decoded.valid = false;
    _haveLatest = false;
}

void ClientSession::Service() {
    ENetEvent event;
    while (_host && enet_host_service(_host, &event, 0) > 0) {
        switch (event.type) {
        case ENET_EVENT_TYPE_CONNECT: _state = State::CONNECTED; break;
        case ENET_EVENT_TYPE_DISCONNECT: _state = State::LOST; break;
        case ENET_EVENT_TYPE_RECEIVE:
            if (event.channelID == 0)
                TakeMessage(event.packet->data, event.packet->dataLength);
            else
                TakeSnapshot(event.packet->data, event.packet->dataLength);
            enet_packet_destroy(event.packet);
            break;
        case ENET_EVENT_TYPE_NONE: break;
        }
    }
}

void ClientSession::TakeMessage(const uint8_t* data, size_t size) {
    BitReader in(data, size);
    if (PeekKind(data, size) == Kind::Creation) {
        EntityInfo info;
        if (ReadCreation(in, info))
            _entities[info.index] = std::move(info);
        else
            ++_malformed;
        return;
    }
    uint32_t index = 0;
    if (ReadRemoval(in, index))
        _entities.erase(index);
    else
        ++_malformed;
}

void ClientSession::TakeSnapshot(const uint8_t* data, size_t size) {
    BitReader in(data, size);
    SnapshotHeader header;
    if (!DecodeHeader(in, header)) {
        ++_malformed;
        return;
    }
    if (_haveLatest && !Newer(header.sequence, _latest))
        return; // late or doubled: a newer one is applied already
    const Snapshot* baseline = nullptr;
    if (header.hasBaseline) {
        const Decoded& slot = _decoded[header.baselineSequence % History];
        if (!slot.valid || slot.sequence != header.baselineSequence)
            return; // packed against one this client never decoded: the next will name another
        baseline = &slot.snapshot;
    }
    if (!DecodeBody(in, baseline, _scratch)) {
        ++_malformed;
        return;
    }
    Decoded& slot = _decoded[header.sequence % History];
    std::swap(slot.snapshot, _scratch); // the baseline may be this very slot's old contents: read first
    slot.sequence = header.sequence;
    slot.valid = true;
    _latest = header.sequence;
    _haveLatest = true;

    if (!_peer)
        return;
    BitWriter ack;
    WriteAcknowledgement(ack, header.sequence);
    enet_peer_send(_peer, 1, enet_packet_create(ack.Bytes().data(), ack.Bytes().size(), 0));
}

} // namespace net
