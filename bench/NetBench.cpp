// What a snapshot costs on the wire: bits per tick per client, and the time to pack and unpack one.
//
// The scene: 900 crates of 1 m dropped as a 10 x 10 x 9 block, 5 cm apart, onto flat ground, simulated by our
// physics at 60 Hz with 4 sub-steps for 6 s (360 ticks): they fall, collide, topple and come to rest. The
// poses of every tick are quantised once; each benchmark then packs tick t against the snapshot of tick
// t - lag (the baseline a client has acknowledged: 6 ticks is a 100 ms round trip) and unpacks it. Phase 0
// is the first 2 s (everything moves), phase 1 the last 4 s (the pile settles). The counter kbit/s is the
// payload per client at 60 snapshots a second (no ENet or UDP headers).

#include "AllocationCounter.hpp"
#include "Snapshot.hpp"

#include "game/physics/PhysicsTestSupport.hpp"

#include <benchmark/benchmark.h>

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

} // namespace
