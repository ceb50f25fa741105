// Snapshots as a client sees them: poses come back within the grid, what rests costs nothing, and no
// packet, however broken, is read past its end or accepted half-made.

#include "Snapshot.hpp"

#include <gtest/gtest.h>

#include <glm/gtc/quaternion.hpp>

#include <cmath>
#include <random>

namespace {

using net::BitReader;
using net::BitWriter;
using net::Snapshot;

glm::dquat RandomRotation(std::mt19937& random) {
    std::normal_distribution<double> normal;
    return glm::normalize(glm::dquat(normal(random), normal(random), normal(random), normal(random)));
}

// Decodes `bytes` against `baseline` (which it names) into `out`.
bool Decode(const std::vector<uint8_t>& bytes, const Snapshot* baseline, Snapshot& out) {
    BitReader in(bytes.data(), bytes.size());
    net::SnapshotHeader header;
    return net::DecodeHeader(in, header) && header.hasBaseline == (baseline != nullptr) &&
           net::DecodeBody(in, baseline, out);
}

TEST(NetSnapshot, PosesComeBackWithinTheGridForEverySize) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> coordinate(-20000.0, 20000.0);
    for (double size : {0.05, 1.0, 3.2, 40.0}) {
        const int e = net::StepExponent(size);
        const double step = std::ldexp(1.0, e);
        EXPECT_LE(step, size / 512.0);
        EXPECT_GT(step, size / 1024.0);
        for (int i = 0; i < 2000; ++i) {
            const glm::dvec3 position(coordinate(random), coordinate(random), coordinate(random));
            const glm::dquat rotation = RandomRotation(random);
            const net::QuantisedPose pose = net::Quantise(position, rotation, e);
            const glm::dvec3 back = net::RestorePosition(pose, e);
            for (int k = 0; k < 3; ++k)
                ASSERT_LE(std::abs(back[k] - position[k]), step / 2) << size;
            // The same rotation (q or -q), within what 11 bits give: under 0.1 degree.
            const double dot = std::abs(glm::dot(net::RestoreOrientation(pose), rotation));
            ASSERT_GT(dot, std::cos(0.5 * 0.1 * M_PI / 180.0));
            ASSERT_EQ(net::Quantise(back, rotation, e).position, pose.position); // the grid is a fixed point
        }
    }
}

TEST(NetSnapshot, BaselineChainsDecodeExactlyAndRestingEntitiesCostNothing) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> jitter(-0.02, 0.02);
    const int e = net::StepExponent(1.0);
    // 300 entities: a third move each tick, the rest lie still; every tick one is removed and one added.
    struct Body {
        uint32_t index;
        glm::dvec3 position;
        glm::dquat rotation;
    };
    std::vector<Body> bodies;
    for (uint32_t i = 0; i < 300; ++i)
        bodies.push_back({i * 3, {i * 2.0, 1.0, 0.0}, RandomRotation(random)});
    uint32_t nextIndex = 900;

    Snapshot serverBaseline, clientBaseline;
    bool haveBaseline = false;
    for (uint16_t sequence = 65530; sequence != 20; ++sequence) { // through the wrap
        bodies.erase(bodies.begin() + sequence % bodies.size());
        bodies.push_back({nextIndex++, {0.0, 5.0, 0.0}, glm::dquat(1.0, 0.0, 0.0, 0.0)});
        for (size_t i = 0; i < bodies.size(); i += 3) {
            bodies[i].position += glm::dvec3(jitter(random), jitter(random), jitter(random));
            bodies[i].rotation = glm::normalize(bodies[i].rotation * glm::dquat(1.0, jitter(random), 0.0, 0.0));
        }
        Snapshot current;
        for (const Body& body : bodies)
            current.push_back({body.index, net::Quantise(body.position, body.rotation, e)});

        BitWriter out;
        net::Encode(out, sequence, current, haveBaseline ? &serverBaseline : nullptr, uint16_t(sequence - 1));
        Snapshot decoded;
        ASSERT_TRUE(Decode(out.Bytes(), haveBaseline ? &clientBaseline : nullptr, decoded));
        ASSERT_EQ(decoded.size(), current.size());
        for (size_t i = 0; i < current.size(); ++i) {
            ASSERT_EQ(decoded[i].index, current[i].index);
            ASSERT_EQ(decoded[i].pose, current[i].pose);
        }
        if (haveBaseline) { // 100 moving and 1 new entity, about 60 bits each; the 200 resting ones: nothing
            EXPECT_LT(out.BitCount(), 101u * 70u + 64u);
        }
        serverBaseline = current;
        clientBaseline = decoded;
        haveBaseline = true;
    }
    EXPECT_TRUE(net::Newer(3, 65530));
    EXPECT_FALSE(net::Newer(65530, 3));
}

TEST(NetSnapshot, BrokenPacketsAreRefused) {
    Snapshot baseline;
    for (uint32_t i = 0; i < 50; ++i)
        baseline.push_back({i, net::Quantise({double(i), 0.0, 0.0}, glm::dquat(1.0, 0.0, 0.0, 0.0), -9)});
    Snapshot current = baseline;
    current.erase(current.begin() + 7);
    for (size_t i = 0; i < current.size(); i += 2)
        current[i].pose.position[1] += 40;
    BitWriter out;
    net::Encode(out, 9, current, &baseline, 8);
    const std::vector<uint8_t> good = out.Bytes();
    Snapshot decoded;
    ASSERT_TRUE(Decode(good, &baseline, decoded));

    // Every truncation is refused (the whole packet is needed; none reads past its end).
    for (size_t size = 0; size + 1 < good.size(); ++size) {
        const std::vector<uint8_t> cut(good.begin(), good.begin() + std::ptrdiff_t(size));
        EXPECT_FALSE(Decode(cut, &baseline, decoded)) << size;
    }
    // A difference against a baseline the client does not have (here: an empty one) is refused.
    const Snapshot empty;
    EXPECT_FALSE(Decode(good, &empty, decoded));
    // Random bytes: refused or decoded, never a crash, and a count can't make the decoder allocate more
    // entries than the packet has bits.
    std::mt19937 random(11);
    for (int i = 0; i < 20000; ++i) {
        std::vector<uint8_t> noise(random() % 64);
        for (uint8_t& byte : noise)
            byte = static_cast<uint8_t>(random());
        if (Decode(noise, nullptr, decoded) || Decode(noise, &baseline, decoded)) {
            EXPECT_LE(decoded.size(), baseline.size() + noise.size() * 8);
        }
    }
}

} // namespace
