// The network module as players meet it: a dedicated server runs the demo world with Net beside Planet, and
// headless clients (ENet, the module's own protocol, no window) join, leave, come back, and see the world.

#include "ClientSession.hpp"
#include "Protocol.hpp"
#include "Snapshot.hpp"
#include "TestSupport.hpp"

#include <enet/enet.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <list>
#include <map>
#include <netinet/in.h>
#include <random>
#include <sstream>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// A UDP socket bound on loopback (port 0: any free one).
int Socket(uint16_t port, int flags = 0) {
    const int s = socket(AF_INET, SOCK_DGRAM | flags, 0);
    sockaddr_in address = Loopback(port);
    bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address);
    return s;
}

uint16_t FreeUdpPort() {
    const int s = Socket(0);
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(s, reinterpret_cast<sockaddr*>(&address), &length);
    close(s);
    return ntohs(address.sin_port);
}

using net::ClientSession;

// A bad network between clients and the server: a UDP relay on loopback that drops a share of the
// datagrams, delays the rest (with jitter, so some overtake others) and sends a few twice. Each client gets
// its own socket towards the server, so the server sees them apart as it would across the Internet.
class LossyRelay {
public:
    LossyRelay(uint16_t serverPort, double loss, double delaySeconds)
        : _serverPort(serverPort), _loss(loss), _delay(delaySeconds) {
        _listen = Socket(0, SOCK_NONBLOCK);
        sockaddr_in address{};
        socklen_t length = sizeof address;
        getsockname(_listen, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
        _thread = std::thread([this] { Loop(); });
    }
    ~LossyRelay() {
        _stop = true;
        _thread.join();
        close(_listen);
        for (auto& [client, upstream] : _upstream)
            close(upstream);
    }
    uint16_t port = 0;

private:
    struct Datagram {
        Clock::time_point due;
        int socket;
        sockaddr_in to;
        std::vector<uint8_t> bytes;
    };

    void Pass(int socket, const sockaddr_in& to, const uint8_t* bytes, size_t size) {
        std::uniform_real_distribution<double> unit(0.0, 1.0);
        if (unit(_random) < _loss)
            return;
        const int copies = unit(_random) < 0.02 ? 2 : 1;
        for (int i = 0; i < copies; ++i) {
            const double delay = _delay * (0.9 + 0.2 * unit(_random));
            _queue.push_back(
                {Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(delay)),
                 socket, to, std::vector<uint8_t>(bytes, bytes + size)});
        }
    }
    void Loop() {
        std::vector<uint8_t> buffer(65536);
        while (!_stop) {
            sockaddr_in from{};
            socklen_t length = sizeof from;
            ssize_t n;
            while ((n = recvfrom(_listen, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from),
                                 &length)) > 0) {
                const uint16_t client = ntohs(from.sin_port);
                auto [it, added] = _upstream.try_emplace(client, -1);
                if (added)
                    it->second = Socket(0, SOCK_NONBLOCK);
                Pass(it->second, Loopback(_serverPort), buffer.data(), size_t(n));
                length = sizeof from;
            }
            for (auto& [client, upstream] : _upstream)
                while ((n = recv(upstream, buffer.data(), buffer.size(), 0)) > 0)
                    Pass(_listen, Loopback(client), buffer.data(), size_t(n));
            const auto now = Clock::now();
            for (auto it = _queue.begin(); it != _queue.end();) {
                if (it->due > now) {
                    ++it;
                    continue;
                }
                sendto(it->socket, it->bytes.data(), it->bytes.size(), 0, reinterpret_cast<const sockaddr*>(&it->to),
                       sizeof it->to);
                it = _queue.erase(it);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    uint16_t _serverPort;
    double _loss, _delay;
    std::atomic<bool> _stop{false};
    int _listen = -1;
    std::map<uint16_t, int> _upstream; // client port -> its socket towards the server
    std::list<Datagram> _queue;
    std::mt19937 _random{13};
    std::thread _thread;
};

class NetServer : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(enet_initialize(), 0);
        fs::create_directories(temp.Path() / "game");
        fs::create_symlink(ORKALIN_SAMPLE_MODULE_DIR, temp.Path() / "game" / "modules");
        port = FreeUdpPort();
        const fs::path world = temp.Path() / "Orkalin-data" / "server" / "worlds" / "net";
        fs::create_directories(world);
        testing_support::WriteText((world / "world.conf").string(),
                                   "modules Planet Net\nnet_port " + std::to_string(port) + "\n");
        server = fork();
        if (server == 0) {
            if (chdir((temp.Path() / "game").c_str()) != 0)
                _exit(127);
            const int out = open((temp.Path() / "stdout.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(out, 1);
            execl(ORKALIN_SERVER_BIN, ORKALIN_SERVER_BIN, "--dump", (temp.Path() / "poses.txt").c_str(), "net",
                  nullptr);
            _exit(127);
        }
        // Listening once the module says so.
        const auto deadline = Clock::now() + std::chrono::seconds(20);
        while (Output().find("Net: listening") == std::string::npos && Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ASSERT_NE(Output().find("Net: listening on UDP port " + std::to_string(port)), std::string::npos) << Output();
    }
    void TearDown() override {
        if (server > 0) {
            kill(server, SIGKILL);
            waitpid(server, nullptr, 0);
        }
        enet_deinitialize();
    }
    // Every entity the server dumped at its end, in every client, where the server left it (and a component
    // under its parent, whose frame its pose is in): what rests
    // within the grid (half a step each way), what moves within its last ticks' motion (the glider flies
    // 0.25 m a tick, and the very last snapshot may arrive after the server's goodbye and be dropped).
    void ExpectClientsSeeTheDumpedPoses(const std::vector<ClientSession>& clients) const {
        std::ifstream dump(temp.Path() / "poses.txt");
        std::string line;
        size_t checked = 0, onGrid = 0;
        while (std::getline(dump, line)) {
            std::istringstream words(line);
            std::string id, type;
            glm::dvec3 p;
            glm::dquat q;
            words >> id >> type >> p.x >> p.y >> p.z >> q.w >> q.x >> q.y >> q.z;
            for (const ClientSession& client : clients) {
                const net::EntityInfo* info = nullptr;
                for (const auto& [index, entity] : client.Entities())
                    if (entity.id.ToString() == id)
                        info = &entity;
                ASSERT_NE(info, nullptr) << id;
                EXPECT_EQ(info->parent.IsNull(), type != "wheel") << type; // a wheel hangs under its rover
                ASSERT_NE(client.Latest(), nullptr);
                const net::Snapshot& snapshot = *client.Latest();
                auto it = std::find_if(snapshot.begin(), snapshot.end(),
                                       [&](const net::EntityPose& e) { return e.index == info->index; });
                ASSERT_NE(it, snapshot.end());
                const glm::dvec3 seen = net::RestorePosition(it->pose, info->stepExponent);
                EXPECT_LT(glm::length(seen - p), 0.8) << type << " " << id;
                onGrid += glm::length(seen - p) <= std::ldexp(1.0, info->stepExponent);
                EXPECT_GT(std::abs(glm::dot(net::RestoreOrientation(it->pose), glm::normalize(q))), 0.99) << type;
            }
            ++checked;
        }
        EXPECT_GE(checked, 20u);
        EXPECT_GE(onGrid, 15 * clients.size()); // the crates at rest, exactly where the server has them
    }

    // The server's resident memory in KiB.
    long ServerMemory() const {
        std::ifstream status("/proc/" + std::to_string(server) + "/status");
        std::string key;
        long value = 0;
        while (status >> key && key != "VmRSS:")
            status.ignore(4096, '\n');
        status >> value;
        return value;
    }
    std::string Output() const { return testing_support::ReadText((temp.Path() / "stdout.txt").string()); }
    // Services every client for `seconds`.
    static void Run(std::vector<ClientSession>& clients, double seconds) {
        const auto end = Clock::now() + std::chrono::duration<double>(seconds);
        while (Clock::now() < end) {
            for (ClientSession& client : clients)
                client.Service();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    int Stop() {
        kill(server, SIGTERM);
        int status = 0;
        waitpid(server, &status, 0);
        server = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    testing_support::TempDir temp;
    uint16_t port = 0;
    pid_t server = -1;
};

TEST_F(NetServer, ClientsJoinLeaveRejoinAndSeeTheServersPoses) {
    std::vector<ClientSession> clients(8);
    for (ClientSession& client : clients)
        client.Connect("127.0.0.1", port);
    Run(clients, 1.0);
    for (int i = 0; i < 4; ++i)
        clients[i].Leave();
    Run(clients, 0.3);
    for (int i = 0; i < 4; ++i)
        clients[i].Connect("127.0.0.1", port);
    Run(clients, 2.0);
    ASSERT_EQ(Stop(), 0);
    Run(clients, 0.3); // the last tick's snapshot

    const std::string out = Output();
    auto count = [&](const std::string& word) {
        size_t n = 0;
        for (size_t at = 0; (at = out.find(word, at)) != std::string::npos; ++at)
            ++n;
        return n;
    };
    EXPECT_EQ(count(" joined ("), 12u) << out;
    EXPECT_EQ(count(" left ("), 4u) << out;

    ExpectClientsSeeTheDumpedPoses(clients);
}

TEST_F(NetServer, ClientsConvergeThroughLossDelayReorderingAndDuplicates) {
    LossyRelay relay(port, 0.10, 0.100);
    std::vector<ClientSession> clients(4);
    for (ClientSession& client : clients)
        client.Connect("127.0.0.1", relay.port);
    Run(clients, 3.0);
    ASSERT_EQ(Stop(), 0);
    Run(clients, 0.5); // the last snapshots still on their way
    ExpectClientsSeeTheDumpedPoses(clients);
}

TEST_F(NetServer, SurvivesGarbageFloodsAndLetsAChatteringClientGo) {
    const long memoryBefore = ServerMemory();
    // Raw UDP noise at the port: not even ENet's framing.
    const int s = socket(AF_INET, SOCK_DGRAM, 0);
    const sockaddr_in address = Loopback(port);
    std::mt19937 random(5);
    std::vector<uint8_t> noise(1400);
    for (int i = 0; i < 20000; ++i) {
        for (uint8_t& byte : noise)
            byte = uint8_t(random());
        sendto(s, noise.data(), 1 + random() % noise.size(), 0, reinterpret_cast<const sockaddr*>(&address),
               sizeof address);
    }
    close(s);

    // A well-behaved client, and one that connects as ENet should and then sends what no client sends.
    std::vector<ClientSession> clients(1);
    clients[0].Connect("127.0.0.1", port);
    ENetHost* chatterer = enet_host_create(nullptr, 1, net::ChannelCount, 0, 0);
    chatterer->checksum = enet_crc32;
    ENetAddress server{};
    enet_address_set_host(&server, "127.0.0.1");
    server.port = port;
    ENetPeer* peer = enet_host_connect(chatterer, &server, net::ChannelCount, 0);
    // Connection requests lost in the noise are sent again after ENet's first timeout (about a second).
    ENetEvent event;
    for (int i = 0; i < 50 && (peer->state != ENET_PEER_STATE_CONNECTED ||
                               clients[0].GetState() != ClientSession::State::CONNECTED);
         ++i) {
        Run(clients, 0.1);
        while (enet_host_service(chatterer, &event, 0) > 0)
            if (event.type == ENET_EVENT_TYPE_RECEIVE)
                enet_packet_destroy(event.packet);
    }
    ASSERT_EQ(peer->state, ENET_PEER_STATE_CONNECTED);
    for (int i = 0; i < 200; ++i) {
        const uint8_t bad[] = {uint8_t(random()), uint8_t(random()), uint8_t(random()), uint8_t(random())};
        enet_peer_send(peer, 1, enet_packet_create(bad, sizeof bad, 0));
    }
    bool letGo = false;
    for (int i = 0; i < 20 && !letGo; ++i) {
        Run(clients, 0.1);
        while (enet_host_service(chatterer, &event, 0) > 0) {
            letGo = letGo || event.type == ENET_EVENT_TYPE_DISCONNECT;
            if (event.type == ENET_EVENT_TYPE_RECEIVE)
                enet_packet_destroy(event.packet);
        }
    }
    enet_host_destroy(chatterer);
    EXPECT_TRUE(letGo);
    EXPECT_NE(Output().find("sends what it should not; letting it go"), std::string::npos);
    // The other still sees the world, and the server still saves and exits cleanly.
    ASSERT_EQ(clients[0].GetState(), ClientSession::State::CONNECTED);
    ASSERT_NE(clients[0].Latest(), nullptr);
    EXPECT_GE(clients[0].Entities().size(), 20u);
    EXPECT_EQ(clients[0].Malformed(), 0u);
    EXPECT_LT(ServerMemory() - memoryBefore, 16 * 1024) << "KiB";
    EXPECT_EQ(Stop(), 0);
}

} // namespace
