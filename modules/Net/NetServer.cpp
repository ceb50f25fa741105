// The network's SERVER_Mod module: lets clients on other machines watch (and later drive) a world that a
// dedicated server runs. A world runs it by naming it among its modules ("modules Planet Net").
//
// The port: "net_port N" in the world's world.conf (a key the server keeps as it is), else the environment's
// ORKALIN_NET_PORT, else DefaultPort. The server listens on every address of the machine.
//
// Channels (ENet):
//   0, reliable: what must arrive once and in order: entity creations and removals (Protocol.hpp).
//   1, unreliable: a snapshot of every entity's pose each tick, packed against the newest snapshot that
//      client has acknowledged (Snapshot.hpp); a lost one is replaced by the next.
// A client sends acknowledgements (and nothing else yet) on channel 1.
//
// A client is untrusted: its packets are read with bounds checks, a packet that is not an acknowledgement is
// counted and dropped (after MaxBadPackets the client is let go), nothing it sends reaches the world, and
// ENet's own limits bound what a peer may make the server hold (MaxPeers, the packet size, the data
// waiting to be read: a few MB at most over all peers).

#include "Protocol.hpp"
#include "Snapshot.hpp"

#include "game/entity/ServerSideEntity.hpp"

#include <enet/enet.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#define NET_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using game::entity::ServerSideEntity;

constexpr size_t MaxPeers = 64;
constexpr uint32_t MaxBadPackets = 64;
constexpr size_t History = 64; // snapshots kept as baselines: about a second at 60 Hz

struct Known {
    uint32_t index = 0;
    int stepExponent = 0;
    uint64_t seenAt = 0;
};

struct Client {
    ENetPeer* peer = nullptr;
    std::string address;
    bool acknowledged = false;
    uint16_t acked = 0;
    uint32_t badPackets = 0;
    std::vector<uint32_t> told; // indices of the entities it has been told about, sorted
};

struct Server {
    ENetHost* host = nullptr;
    uint16_t port = 0;
    uint64_t tick = 0;
    uint16_t sequence = 0;
    uint32_t nextIndex = 0;
    std::unordered_map<game::entity::Id, Known> known;
    std::vector<net::EntityInfo> infos; // this tick's entities, by index
    std::array<net::Snapshot, History> history;
    std::array<uint16_t, History> historySequence{};
    std::array<bool, History> historyValid{};
    std::vector<std::unique_ptr<Client>> clients;
    net::BitWriter writer;
};

std::unique_ptr<Server> g_server;

std::string AddressText(const ENetAddress& address) {
    char host[64] = "?";
    enet_address_get_host_ip(&address, host, sizeof host);
    return std::string(host) + ":" + std::to_string(address.port);
}

uint16_t PortOf(const std::string& worldFolder) {
    std::ifstream file(worldFolder + "world.conf");
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string key;
        long value = 0;
        if (words >> key && key == "net_port") {
            if (!(words >> value) || value < 1 || value > 65535)
                throw std::runtime_error("Net: world.conf's net_port wants a whole number from 1 to 65535");
            return static_cast<uint16_t>(value);
        }
    }
    if (const char* text = std::getenv("ORKALIN_NET_PORT")) {
        const long value = std::strtol(text, nullptr, 10);
        if (value >= 1 && value <= 65535)
            return static_cast<uint16_t>(value);
    }
    return net::DefaultPort;
}

void Send(ENetPeer* peer, uint8_t channel, const net::BitWriter& writer, bool reliable) {
    ENetPacket* packet = enet_packet_create(writer.Bytes().data(), writer.Bytes().size(),
                                            reliable ? ENET_PACKET_FLAG_RELIABLE : ENET_PACKET_FLAG_UNSEQUENCED);
    if (enet_peer_send(peer, channel, packet) != 0)
        enet_packet_destroy(packet);
}

void Receive(Client& client, const ENetPacket& packet) {
    net::BitReader in(packet.data, packet.dataLength);
    uint16_t sequence = 0;
    if (!net::ReadAcknowledgement(in, sequence)) {
        if (++client.badPackets == MaxBadPackets) {
            std::printf("Net: %s sends what it should not; letting it go\n", client.address.c_str());
            std::fflush(stdout);
            enet_peer_disconnect(client.peer, 0);
        }
        return;
    }
    // Only a snapshot this server sent lately can be a baseline.
    const size_t slot = sequence % History;
    if (!g_server->historyValid[slot] || g_server->historySequence[slot] != sequence)
        return;
    if (!client.acknowledged || net::Newer(sequence, client.acked)) {
        client.acked = sequence;
        client.acknowledged = true;
    }
}

void Service() {
    Server& server = *g_server;
    ENetEvent event;
    while (enet_host_service(server.host, &event, 0) > 0) {
        switch (event.type) {
        case ENET_EVENT_TYPE_CONNECT: {
            auto client = std::make_unique<Client>();
            client->peer = event.peer;
            client->address = AddressText(event.peer->address);
            event.peer->data = client.get();
            server.clients.push_back(std::move(client));
            std::printf("Net: %s joined (%zu connected, %zu entities)\n", server.clients.back()->address.c_str(),
                        server.clients.size(), server.infos.size());
            std::fflush(stdout);
            break;
        }
        case ENET_EVENT_TYPE_RECEIVE:
            if (event.peer->data)
                Receive(*static_cast<Client*>(event.peer->data), *event.packet);
            enet_packet_destroy(event.packet);
            break;
        case ENET_EVENT_TYPE_DISCONNECT:
            for (size_t i = 0; i < server.clients.size(); ++i) {
                if (server.clients[i]->peer != event.peer)
                    continue;
                std::printf("Net: %s left (%zu connected)\n", server.clients[i]->address.c_str(),
                            server.clients.size() - 1);
                std::fflush(stdout);
                server.clients.erase(server.clients.begin() + std::ptrdiff_t(i));
                break;
            }
            event.peer->data = nullptr;
            break;
        case ENET_EVENT_TYPE_NONE: break;
        }
    }
}

// This tick's entities, each with its net index (new ones get the next), sorted by index; entities gone
// since the last tick are forgotten.
void Gather() {
    Server& server = *g_server;
    ++server.tick;
    server.infos.clear();
    net::Snapshot& snapshot = server.history[server.sequence % History];
    snapshot.clear();
    ServerSideEntity::ForEach([&](ServerSideEntity::Ptr entity) {
        auto [it, added] = server.known.try_emplace(entity->GetID());
        Known& known = it->second;
        if (added) {
            known.index = server.nextIndex++;
            known.stepExponent = net::StepExponent(2.0 * entity->boundingRadius);
        }
        known.seenAt = server.tick;
        net::EntityInfo& info = server.infos.emplace_back();
        info.index = known.index;
        info.id = entity->GetID();
        info.module = entity->moduleId;
        info.type = entity->type;
        info.stepExponent = known.stepExponent;
        info.parent = entity->parentEntity;
        snapshot.push_back({known.index, net::Quantise(entity->position, entity->orientation, known.stepExponent)});
    });
    std::erase_if(server.known, [&](const auto& entry) { return entry.second.seenAt != server.tick; });
    const auto byIndex = [](const auto& a, const auto& b) { return a.index < b.index; };
    std::sort(server.infos.begin(), server.infos.end(), byIndex);
    std::sort(snapshot.begin(), snapshot.end(), byIndex);
    server.historySequence[server.sequence % History] = server.sequence;
    server.historyValid[server.sequence % History] = true;
}

// Tells `client` of the entities made and gone since it was last told, on the reliable channel.
void Tell(Client& client) {
    Server& server = *g_server;
    net::BitWriter& out = server.writer;
    std::vector<uint32_t> now;
    now.reserve(server.infos.size());
    auto told = client.told.begin();
    for (const net::EntityInfo& info : server.infos) {
        for (; told != client.told.end() && *told < info.index; ++told) {
            out.Clear();
            net::WriteRemoval(out, *told);
            Send(client.peer, 0, out, true);
        }
        if (told != client.told.end() && *told == info.index) {
            ++told;
        } else {
            out.Clear();
            net::WriteCreation(out, info);
            Send(client.peer, 0, out, true);
        }
        now.push_back(info.index);
    }
    for (; told != client.told.end(); ++told) {
        out.Clear();
        net::WriteRemoval(out, *told);
        Send(client.peer, 0, out, true);
    }
    client.told = std::move(now);
}

void SendSnapshots() {
    Server& server = *g_server;
    const net::Snapshot& current = server.history[server.sequence % History];
    for (const auto& client : server.clients) {
        Tell(*client);
        const net::Snapshot* baseline = nullptr;
        if (client->acknowledged && uint16_t(server.sequence - client->acked) < History) {
            const size_t slot = client->acked % History;
            if (server.historyValid[slot] && server.historySequence[slot] == client->acked)
                baseline = &server.history[slot];
        }
        server.writer.Clear();
        net::Encode(server.writer, server.sequence, current, baseline, client->acked);
        Send(client->peer, 1, server.writer, false);
    }
    enet_host_flush(server.host);
    ++server.sequence;
}

} // namespace

NET_EXPORT void ModuleLoad() {}

NET_EXPORT void ModuleUnload() {
    if (!g_server)
        return;
    for (const auto& client : g_server->clients)
        enet_peer_disconnect_now(client->peer, 0);
    enet_host_destroy(g_server->host);
    g_server.reset();
    enet_deinitialize();
}

NET_EXPORT int ModuleSort() { return 100; } // after the modules that make the world's entities

NET_EXPORT void Server_Load(const char* worldFolder) {
    const uint16_t port = PortOf(worldFolder);
    if (enet_initialize() != 0)
        throw std::runtime_error("Net: cannot start the network library");
    ENetAddress address{};
    address.host = ENET_HOST_ANY;
    address.port = port;
    ENetHost* host = enet_host_create(&address, MaxPeers, net::ChannelCount, 0, 0);
    if (!host) {
        enet_deinitialize();
        throw std::runtime_error("Net: cannot listen on UDP port " + std::to_string(port) + " (in use?)");
    }
    // ENet applies the packet limit to what the host sends too, so it must hold a whole snapshot; what
    // a peer can make the server hold stays bounded by it and by the data waiting to be read.
    host->checksum = enet_crc32; // see Protocol.hpp
    host->maximumPacketSize = net::MaxPacket;
    host->maximumWaitingData = net::MaxPacket;
    g_server = std::make_unique<Server>();
    g_server->host = host;
    g_server->port = port;
    std::printf("Net: listening on UDP port %u\n", unsigned(port));
    std::fflush(stdout);
}

NET_EXPORT void Server_GameUpdate(double) {
    if (!g_server)
        return;
    Service();
    Gather();
    SendSnapshots();
}
