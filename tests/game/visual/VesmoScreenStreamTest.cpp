#include "ScreenArt.hpp"
#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <random>

using namespace screen_art;

namespace {

// A picture with flat areas, edges and translucency, like what programs draw.
VesmoScreen Scene(int width, int height) {
    VesmoScreen screen(width, height, 8, 16);
    screen.Blank(0xFF102030);
    screen.DrawRect(2, 2, width / 2, height / 2, kS, kF);
    screen.DrawCircle(width * 2 / 3, height * 2 / 3, width / 4, 0xFFFFFFFF, 0x80FF0000);
    screen.DrawTriangle(0, height - 1, width / 2, height / 3, width - 1, height - 1, 0, 0x6000FFFF);
    for (int i = 0; i < width; i += 3)
        screen.DrawLine(i, 0, width - 1 - i, height - 1, 0xFF000000u | static_cast<uint32_t>(i * 0x010203));
    return screen;
}

std::string Bytes(const std::vector<uint32_t>& pixels) {
    return std::string(reinterpret_cast<const char*>(pixels.data()), pixels.size() * 4);
}

bool HavePython() { return std::system("python3 -c 'import zlib' >/dev/null 2>&1") == 0; }

int Peer(const std::string& args) { return std::system(("python3 '" ZLIB_PEER_SCRIPT "' " + args).c_str()); }

// Runs the static Deserialize in a child process, into `size` bytes of shared memory fenced by guard
// bytes, so that the outcome can be inspected even when an assertion ends the child.
struct ChildOutcome {
    bool returned = false; // Deserialize came back
    bool aborted = false;  // an assertion ended the child
    bool guardsIntact = true;
};

ChildOutcome DeserializeInChild(const std::vector<unsigned char>& stream, size_t size) {
    constexpr size_t kGuard = 4096;
    constexpr unsigned char kFence = 0xA5;
    const size_t total = size + 2 * kGuard;
    auto* memory =
        static_cast<unsigned char*>(mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    EXPECT_NE(memory, MAP_FAILED);
    std::memset(memory, kFence, total);
    const pid_t child = fork();
    if (child == 0) {
        const int devnull = open("/dev/null", O_WRONLY);
        dup2(devnull, 2);
        VesmoScreen::Deserialize(stream, memory + kGuard, size);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ChildOutcome outcome;
    outcome.returned = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    outcome.aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
    for (size_t i = 0; i < kGuard; ++i)
        if (memory[i] != kFence || memory[kGuard + size + i] != kFence)
            outcome.guardsIntact = false;
    munmap(memory, total);
    return outcome;
}

} // namespace

TEST(VesmoScreenStream, RoundTripsThePixelsThroughOneZlibStream) {
    VesmoScreen source = Scene(64, 48);
    std::vector<unsigned char> stream;
    source.Serialize(stream);
    ASSERT_GE(stream.size(), 2u);
    EXPECT_EQ(stream[0], 0x78); // zlib header, deflate with a 32 KiB window
    EXPECT_EQ((stream[0] * 256 + stream[1]) % 31, 0);
    EXPECT_LT(stream.size(), source.pixels.size() * 4 / 4);

    VesmoScreen target(64, 48, 8, 16);
    target.Deserialize(stream);
    EXPECT_EQ(target.pixels, source.pixels);

    std::vector<uint8_t> buffer(64 * 48 * 4, 0xEE);
    VesmoScreen::Deserialize(stream, buffer.data(), buffer.size());
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), Bytes(source.pixels));
}

TEST(VesmoScreenStream, SerializeReusesTheOutputVectorAndFitsItToTheStream) {
    VesmoScreen screen = Scene(32, 32);
    std::vector<unsigned char> stream(100000, 7);
    screen.Serialize(stream);
    std::vector<unsigned char> fresh;
    screen.Serialize(fresh);
    EXPECT_EQ(stream, fresh);
    VesmoScreen flat(16, 16, 8, 16); // all zero: a tiny stream
    flat.Serialize(stream);
    EXPECT_LT(stream.size(), 32u);
}

TEST(VesmoScreenStream, AnIndependentDecoderReadsOurStream) {
    if (!HavePython())
        GTEST_SKIP() << "python3 with zlib is not available";
    testing_support::TempDir dir;
    VesmoScreen screen = Scene(64, 48);
    std::vector<unsigned char> stream;
    screen.Serialize(stream);
    testing_support::WriteText(dir.File("stream.z"), std::string(stream.begin(), stream.end()));
    ASSERT_EQ(Peer("decompress " + dir.File("stream.z") + " " + dir.File("raw")), 0);
    EXPECT_EQ(testing_support::ReadText(dir.File("raw")), Bytes(screen.pixels));
}

TEST(VesmoScreenStream, WeReadStreamsAnIndependentEncoderWrote) {
    if (!HavePython())
        GTEST_SKIP() << "python3 with zlib is not available";
    testing_support::TempDir dir;
    const VesmoScreen source = Scene(40, 30);
    testing_support::WriteText(dir.File("raw"), Bytes(source.pixels));
    for (int level : {0, 1, 6, 9}) {
        const std::string name = dir.File("stream" + std::to_string(level) + ".z");
        ASSERT_EQ(Peer("compress " + dir.File("raw") + " " + name + " " + std::to_string(level)), 0);
        const std::string text = testing_support::ReadText(name);
        const std::vector<unsigned char> stream(text.begin(), text.end());
        VesmoScreen target(40, 30, 8, 16);
        target.Deserialize(stream);
        EXPECT_EQ(target.pixels, source.pixels) << "level " << level;
    }
}

TEST(VesmoScreenStreamDeathTest, AStreamOfTheWrongSizeIsAProgrammerError) {
    VesmoScreen big = Scene(32, 32);
    std::vector<unsigned char> stream;
    big.Serialize(stream);
    VesmoScreen small(32, 31, 8, 16);
    EXPECT_DEATH(small.Deserialize(stream), "^Assertion failed: strm\\.avail_in == 0, file game/VesmoScreen\n$");
    VesmoScreen larger(32, 33, 8, 16);
    EXPECT_DEATH(larger.Deserialize(stream), "^Assertion failed: strm\\.avail_out == 0, file game/VesmoScreen\n$");
    EXPECT_DEATH(larger.Deserialize({}), "Assertion failed: strm\\.avail_out == 0, file game/VesmoScreen");
    EXPECT_DEATH(VesmoScreen::Deserialize(stream, nullptr, 0),
                 "^Assertion failed: ret != Z_STREAM_ERROR, file game/VesmoScreen\n$");
}

TEST(VesmoScreenStreamDeathTest, NoisyPicturesBeyondTheMarginTripSerialize) {
    // 256 bytes of margin cover any drawn picture; a megabyte of noise needs about 330 bytes more than
    // its raw size, which is the documented limit.
    VesmoScreen noise(512, 512, 8, 16);
    std::mt19937 random(3);
    for (uint32_t& p : noise.pixels)
        p = random();
    std::vector<unsigned char> stream;
    EXPECT_DEATH(noise.Serialize(stream), "^Assertion failed: ret == Z_STREAM_END, file game/VesmoScreen\n$");
    VesmoScreen smaller(256, 256, 8, 16);
    for (uint32_t& p : smaller.pixels)
        p = random();
    smaller.Serialize(stream);
    EXPECT_GT(stream.size(), smaller.pixels.size() * 4);
}

TEST(VesmoScreenStream, OnlyTheSizeIsCheckedNotTheTrailingChecksum) {
    VesmoScreen source = Scene(16, 16);
    std::vector<unsigned char> stream;
    source.Serialize(stream);
    stream.back() ^= 0x01;
    VesmoScreen target(16, 16, 8, 16);
    target.Deserialize(stream);
    EXPECT_EQ(target.pixels, source.pixels);
}

TEST(VesmoScreenStream, CorruptStreamsNeverWriteOutsideTheTarget) {
    VesmoScreen screen = Scene(24, 16);
    std::vector<unsigned char> good;
    screen.Serialize(good);
    const size_t size = screen.pixels.size() * 4;
    std::vector<std::vector<unsigned char>> streams;
    for (size_t cut = 0; cut < good.size(); cut += 7)
        streams.emplace_back(good.begin(), good.begin() + static_cast<long>(cut));
    for (size_t i = 0; i < good.size(); ++i) {
        std::vector<unsigned char> flipped = good;
        flipped[i] ^= static_cast<unsigned char>(1u << (i % 8));
        streams.push_back(flipped);
    }
    std::mt19937 random(11);
    for (int i = 0; i < 20; ++i) {
        std::vector<unsigned char> garbage(random() % 2000);
        for (unsigned char& b : garbage)
            b = static_cast<unsigned char>(random());
        if (garbage.size() >= 2)
            garbage[0] = 0x78, garbage[1] = 0x9C; // get past the header check into the block decoder
        streams.push_back(garbage);
    }
    std::vector<unsigned char> doubled = good;
    doubled.insert(doubled.end(), good.begin(), good.end());
    streams.push_back(doubled);

    int returned = 0, aborted = 0;
    for (const auto& stream : streams) {
        for (size_t target : {size, size / 2, size + 64}) {
            const ChildOutcome outcome = DeserializeInChild(stream, target);
            EXPECT_TRUE(outcome.returned || outcome.aborted) << "stream of " << stream.size() << " bytes";
            EXPECT_TRUE(outcome.guardsIntact) << "stream of " << stream.size() << " bytes";
            returned += outcome.returned;
            aborted += outcome.aborted;
        }
    }
    EXPECT_GT(aborted, 0);
    // The intact stream into the right size is among the returns.
    EXPECT_TRUE(DeserializeInChild(good, size).returned);
}
