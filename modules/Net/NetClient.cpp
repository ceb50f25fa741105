// The network's GAME_Mod module: a client's side of joining a world that a dedicated server runs. When the
// launcher asks (NetClientLink.hpp), it connects a ClientSession, and every frame it mirrors what the server
// tells: one client-side entity per entity of the server (of the type and module the server names, so the
// GAME_Mod module that registered the type gives it its meshes), removed when the server removes it, and
// each one's newest received pose written as its target, so that it eases there the way it would in a
// world simulated in the same process.
//
// Threads: the session lives on the main loop (Game_Update); the launcher's requests and the state it
// reads cross over in atomics and a mutex-guarded address.

#include "ClientSession.hpp"
#include "NetClientLink.hpp"

#include "game/entity/ClientSideEntity.hpp"
#include "game/modular/Families.hpp"

#include <enet/enet.h>

#include <atomic>
#include <cstdio>
#include <mutex>
#include <string>
#include <unordered_map>

#define NET_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using game::entity::ClientSideEntity;

// The rate the in-process client eases at too: a pose comes every server tick, and the entity closes most of
// the gap before the next.
constexpr float kInterpolationRate = 20.0f;

std::mutex g_requestMutex;
std::string g_requestHost; // under g_requestMutex
uint16_t g_requestPort = 0;
std::atomic<bool> g_joinRequested{false}, g_leaveRequested{false};
std::atomic<net::LinkState> g_state{net::LinkState::Idle};
std::atomic<size_t> g_entityCount{0};

// Main loop only.
bool g_enetReady = false;
net::ClientSession* g_session = nullptr;
std::string g_address; // "host:port", for the messages
// The client-side entity of each net index, with the step its poses are sent on.
struct Mirrored {
    ClientSideEntity::Ptr entity; // empty when the type is not registered here
    int stepExponent = 0;
    bool placed = false; // has had a pose
};
std::unordered_map<uint32_t, Mirrored> g_mirrored;

void ForgetEntities() {
    for (auto& [index, mirrored] : g_mirrored)
        if (mirrored.entity)
            ClientSideEntity::Remove(mirrored.entity->GetID());
    g_mirrored.clear();
    g_entityCount = 0;
}

void LeaveNow() {
    ForgetEntities();
    if (g_session)
        g_session->Leave();
    g_state = net::LinkState::Idle;
}

void JoinNow() {
    std::string host;
    uint16_t port = 0;
    {
        std::lock_guard lock(g_requestMutex);
        host = g_requestHost;
        port = g_requestPort;
    }
    ForgetEntities(); // the state stays Joining: the launcher waits on it
    if (g_session)
        g_session->Leave();
    g_address = host + ":" + std::to_string(port);
    if (!g_enetReady && enet_initialize() == 0)
        g_enetReady = true;
    if (!g_session)
        g_session = new net::ClientSession();
    if (!g_enetReady || !g_session->Connect(host, port)) {
        std::printf("Net: cannot reach %s (the name does not resolve, or no socket)\n", g_address.c_str());
        std::fflush(stdout);
        g_state = net::LinkState::Lost;
        return;
    }
    std::printf("Net: joining %s\n", g_address.c_str());
    std::fflush(stdout);
    g_state = net::LinkState::Joining;
}

// Creations and removals the session has taken since the last frame.
void MirrorEntities() {
    const std::map<uint32_t, net::EntityInfo>& told = g_session->Entities();
    for (auto it = g_mirrored.begin(); it != g_mirrored.end();) {
        if (told.count(it->first)) {
            ++it;
            continue;
        }
        if (it->second.entity)
            ClientSideEntity::Remove(it->second.entity->GetID());
        it = g_mirrored.erase(it);
    }
    for (const auto& [index, info] : told) {
        auto [it, added] = g_mirrored.try_emplace(index);
        if (!added)
            continue;
        it->second.stepExponent = info.stepExponent;
        if (info.id.IsNull() || ClientSideEntity::Get(info.id))
            continue; // a local copy of the same entity is someone else's
        try {
            ClientSideEntity::Ptr entity =
                ClientSideEntity::Create(info.id, info.module, game::entity::Type(info.type));
            entity->interpolationRate = kInterpolationRate;
            entity->interpolate = true;
            entity->isDynamic = true; // eases, and a component follows its parent every frame
            entity->parentEntity = info.parent;
            it->second.entity = std::move(entity);
        } catch (const std::exception& error) {
            std::printf("Net: cannot show a '%s' entity: %s\n", info.type.c_str(), error.what());
        }
    }
    g_entityCount = told.size();
}

// The newest snapshot's poses as targets; an entity's first pose places it at once.
void ApplyPoses() {
    const net::Snapshot* latest = g_session->Latest();
    if (!latest)
        return;
    for (const net::EntityPose& received : *latest) {
        const auto it = g_mirrored.find(received.index);
        if (it == g_mirrored.end() || !it->second.entity)
            continue;
        Mirrored& mirrored = it->second;
        ClientSideEntity& entity = *mirrored.entity;
        const glm::dvec3 position = net::RestorePosition(received.pose, mirrored.stepExponent);
        const glm::dquat orientation = net::RestoreOrientation(received.pose);
        if (!mirrored.placed) {
            entity.position = position;
            entity.orientation = orientation;
            mirrored.placed = true;
        }
        entity.targetPosition = position;
        entity.targetOrientation = orientation;
    }
}

void Frame() {
    if (g_leaveRequested.exchange(false))
        LeaveNow();
    if (g_joinRequested.exchange(false))
        JoinNow();
    if (!g_session || g_session->GetState() == net::ClientSession::State::IDLE)
        return;
    g_session->Service();
    switch (g_session->GetState()) {
    case net::ClientSession::State::CONNECTED:
        if (g_state.exchange(net::LinkState::Joined) != net::LinkState::Joined) {
            std::printf("Net: joined %s\n", g_address.c_str());
            std::fflush(stdout);
        }
        MirrorEntities();
        ApplyPoses();
        break;
    case net::ClientSession::State::LOST:
        if (g_state.exchange(net::LinkState::Lost) != net::LinkState::Lost) {
            ForgetEntities();
            g_session->Leave();
        }
        break;
    default: break;
    }
}

net::ClientLink g_link{
    [](const char* host, uint16_t port) {
        {
            std::lock_guard lock(g_requestMutex);
            g_requestHost = host;
            g_requestPort = port;
        }
        g_state = net::LinkState::Joining;
        g_joinRequested = true;
    },
    [] {
        g_joinRequested = false;
        g_leaveRequested = true;
    },
    [] { return g_state.load(); },
    [] { return g_entityCount.load(); },
};

} // namespace

NET_EXPORT int ModuleSort() { return 100; } // after the modules that register the entity types

NET_EXPORT void* ModuleGetCustomPtr() { return &g_link; }

NET_EXPORT void Game_Start() {}

// The library drops the client-side entities after this hook; the module leaves the server first.
NET_EXPORT void Game_Stop() {
    LeaveNow();
    delete g_session;
    g_session = nullptr;
    if (g_enetReady)
        enet_deinitialize();
    g_enetReady = false;
}

NET_EXPORT void Game_Update(double) { Frame(); }

static_assert(std::is_same_v<decltype(&Game_Update), game::modular::DeltaHook>);
