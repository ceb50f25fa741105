// What a snapshot costs on the wire: bits per tick per client, and the time to pack and unpack one.
//
// The scene: 900 crates of 1 m dropped as a 10 x 10 x 9 block, 5 cm apart, onto flat ground, simulated by our
// physics at 60 Hz with 4 sub-steps for 6 s (360 ticks): they fall, collide, topple and come to rest. The
// poses of every tick are quantised once; each benchmark then packs tick t against the snapshot of tick
// t - lag (the baseline a client has acknowledged: 6 ticks is a 100 ms round trip) and unpacks it. Phase 0
// is the first 2 s (everything moves), phase 1 the last 4 s (the pile settles). The counter kbit/s is the
// payload per client at 60 snapshots a second (no ENet or UDP headers).
//
// The demo world: the real orkalin-server runs the Planet world with the Net module at 60 Hz (real time) in
// a temporary folder, one client session on loopback takes what it sends for 10 s after a first second
// (the crates' drop), and the counter is every byte of the UDP payloads ENet received (its own headers,
// both channels; not the IP and UDP headers), per second.

#include "AllocationCounter.hpp"
#include "ClientSession.hpp"
#include "Snapshot.hpp"

#include "game/physics/PhysicsTestSupport.hpp"

#include <benchmark/benchmark.h>
#include <enet/enet.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <vector>

namespace {

using namespace physics_test;

constexpr int kTicks = 360;
constexpr int kLag = 6;

const std::vector<net::Snapshot>& Ticks() {
    static const std::vector<net::Snapshot> ticks = [] {
        ClearWorld();
        Game::_environmentFunctions[kGround] = FlatGround().Function();
        std::vector<ServerSideEntity::Ptr> crates;
        for (int z = 0; z < 9; ++z)
            for (int y = 0; y < 10; ++y)
                for (int x = 0; x < 10; ++x) {
                    ConvexMeshCollider c = CubeCollider(1.0f, 0.5);
                    c.weight = 0.0;
                    crates.push_back(MakeBody({1.05 * x, 1.05 * y, 0.55 + 1.05 * z}, 100.0, {c}));
                }
        const int e = net::StepExponent(1.0);
        std::vector<net::Snapshot> result;
        for (int t = 0; t < kTicks; ++t) {
            ServerSideEntity::PhysicsUpdate(1.0 / 60.0, 4);
            net::Snapshot snapshot;
            for (size_t i = 0; i < crates.size(); ++i)
                snapshot.push_back({uint32_t(i), net::Quantise(crates[i]->position, crates[i]->orientation, e)});
            result.push_back(std::move(snapshot));
        }
        crates.clear();
        ClearWorld();
        return result;
    }();
    return ticks;
}

void BM_Snapshot_900Crates(benchmark::State& state) {
    const std::vector<net::Snapshot>& ticks = Ticks();
    const int first = state.range(0) == 0 ? kLag : 120, last = state.range(0) == 0 ? 120 : kTicks;
    net::BitWriter out;
    net::Snapshot decoded;
    double bits = 0, snapshots = 0;
    int t = first;
    for (auto _ : state) {
        out.Clear();
        net::Encode(out, uint16_t(t), ticks[t], &ticks[t - kLag], uint16_t(t - kLag));
        net::BitReader in(out.Bytes().data(), out.Bytes().size());
        net::SnapshotHeader header;
        if (!net::DecodeHeader(in, header) || !net::DecodeBody(in, &ticks[t - kLag], decoded)) {
            state.SkipWithError("a snapshot did not decode");
            return;
        }
        bits += double(out.BitCount());
        snapshots += 1;
        t = t + 1 < last ? t + 1 : first;
    }
    state.counters["kbit/s"] = bits / snapshots * 60.0 / 1000.0;
    state.counters["bytes/snapshot"] = bits / snapshots / 8.0;
}

BENCHMARK(BM_Snapshot_900Crates)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_DemoWorld_BytesPerClient(benchmark::State& state) {
    namespace fs = std::filesystem;
    const fs::path root = fs::temp_directory_path() / ("orkalin-net-bench-" + std::to_string(getpid()));
    fs::create_directories(root / "game");
    fs::create_symlink(BENCH_RUN_DIR "/modules", root / "game" / "modules");
    const fs::path world = root / "Orkalin-data" / "server" / "worlds" / "bench";
    fs::create_directories(world);
    const uint16_t port = uint16_t(30000 + std::random_device()() % 20000);
    std::ofstream(world / "world.conf") << "modules Planet Net\nnet_port " << port << "\n";
    const pid_t server = fork();
    if (server == 0) {
        if (chdir((root / "game").c_str()) != 0)
            _exit(127);
        freopen("/dev/null", "w", stdout);
        execl(BENCH_SERVER_BIN, BENCH_SERVER_BIN, "bench", nullptr);
        _exit(127);
    }
    enet_initialize();
    net::ClientSession session;
    double kbits = 0.0;
    for (auto _ : state) {
        using Clock = std::chrono::steady_clock;
        session.Connect("127.0.0.1", port);
        const auto service = [&](double seconds) {
            const auto end = Clock::now() + std::chrono::duration<double>(seconds);
            while (Clock::now() < end) {
                session.Service();
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        };
        for (int i = 0; i < 100 && session.GetState() != net::ClientSession::State::CONNECTED; ++i)
            service(0.1);
        service(1.0);
        const uint64_t before = session.ReceivedBytes();
        service(10.0);
        kbits = double(session.ReceivedBytes() - before) * 8.0 / 10.0 / 1000.0;
        if (session.GetState() != net::ClientSession::State::CONNECTED || !session.Latest())
            state.SkipWithError("the client lost the server or never got a snapshot");
        state.counters["entities"] = double(session.Entities().size());
        session.Leave();
    }
    state.counters["kbit/s"] = kbits;
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
    enet_deinitialize();
    fs::remove_all(root);
}

BENCHMARK(BM_DemoWorld_BytesPerClient)->Iterations(1)->Unit(benchmark::kSecond);

} // namespace
