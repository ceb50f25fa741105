// Pixel screen costs on a 512 x 512 screen: drawing in pixels per second (items/s), and the compressed
// form in bytes of raw pixels per second beside zlib's own one-call compress2/uncompress on the same bytes.

#include "AllocationCounter.hpp"

#include "game/visual/VesmoScreen.hpp"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

constexpr int kSize = 512;
constexpr uint32_t kBlack = 0xFF000000;
constexpr uint32_t kOpaque = 0xFF40C0FF;
constexpr uint32_t kHalf = 0x8040C0FF;

uint32_t ColourFor(int64_t alphaArg) { return alphaArg == 255 ? kOpaque : kHalf; }

VesmoScreen& Screen() {
    static VesmoScreen screen(kSize, kSize);
    return screen;
}

// Pixels a drawing changes on a black screen: the work it does, counted once outside the timing.
template <typename DrawFn> int64_t PaintedPixels(DrawFn draw) {
    VesmoScreen probe(kSize, kSize, 8, 16);
    probe.Blank(kBlack);
    draw(probe);
    int64_t painted = 0;
    for (uint32_t p : probe.pixels)
        painted += p != kBlack;
    return painted;
}

} // namespace

static void BM_ScreenBlank(benchmark::State& state) {
    VesmoScreen& screen = Screen();
    for (auto _ : state) {
        screen.Blank(kBlack);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kSize * kSize);
}
BENCHMARK(BM_ScreenBlank);

// Arg: alpha of the colour (255 overwrites, 128 blends).
static void BM_ScreenDraw(benchmark::State& state) {
    VesmoScreen& screen = Screen();
    const uint32_t colour = ColourFor(state.range(0));
    for (auto _ : state) {
        screen.Draw(64, 64, colour, 384, 384);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 384 * 384);
}
BENCHMARK(BM_ScreenDraw)->Arg(255)->Arg(128);

// 256 lines corner to corner through the screen, 511 points each.
static void BM_ScreenDrawLine(benchmark::State& state) {
    VesmoScreen& screen = Screen();
    const uint32_t colour = ColourFor(state.range(0));
    for (auto _ : state) {
        for (int i = 0; i < 256; ++i)
            screen.DrawLine(0, i * 2, kSize - 1, kSize - 1 - i * 2, colour);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 256 * 511);
}
BENCHMARK(BM_ScreenDrawLine)->Arg(255)->Arg(128);

static void BM_ScreenDrawCircle(benchmark::State& state) {
    VesmoScreen& screen = Screen();
    const uint32_t colour = ColourFor(state.range(0));
    const int64_t painted = PaintedPixels([&](VesmoScreen& s) { s.DrawCircle(256, 256, 240, 0xFFFFFFFF, colour); });
    for (auto _ : state) {
        screen.DrawCircle(256, 256, 240, 0xFFFFFFFF, colour);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * painted);
}
BENCHMARK(BM_ScreenDrawCircle)->Arg(255)->Arg(128);

static void BM_ScreenDrawTriangle(benchmark::State& state) {
    VesmoScreen& screen = Screen();
    const uint32_t colour = ColourFor(state.range(0));
    auto draw = [&](VesmoScreen& s) { s.DrawTriangle(10, 5, 500, 200, 60, 505, 0xFFFFFFFF, colour); };
    const int64_t painted = PaintedPixels(draw);
    for (auto _ : state) {
        draw(screen);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * painted);
}
BENCHMARK(BM_ScreenDrawTriangle)->Arg(255)->Arg(128);

// A screenful of text: 32 lines of 64 characters at scale 1, 16 lines of 32 at scale 2. Items are the
// pixels of the character cells covered (the whole screen), so scales compare per pixel.
static void BM_ScreenWrite(benchmark::State& state) {
    VesmoScreen& screen = Screen();
    const int scale = static_cast<int>(state.range(0));
    screen.textScale = scale;
    screen.textAlign = 0;
    const int columns = kSize / (screen.charWidth * scale);
    const int rows = kSize / (screen.charHeight * scale);
    std::string text;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c)
            text += static_cast<char>('!' + (r * 7 + c) % 94);
        text += '\n';
    }
    screen.Write(0, 0, kOpaque, text); // fills the glyph cache outside the timing
    AllocationCounter::Reset();
    for (auto _ : state) {
        screen.Write(0, 0, kOpaque, text);
        benchmark::ClobberMemory();
    }
    state.counters["allocs/op"] = benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
    state.SetItemsProcessed(state.iterations() * int64_t{columns} * screen.charWidth * scale * rows *
                            screen.charHeight * scale);
    screen.textScale = 1;
}
BENCHMARK(BM_ScreenWrite)->Arg(1)->Arg(2);

namespace {

// Pictures to compress. 0: what programs draw (panels, shapes, a screenful of text); 1: smooth colour
// gradients, which compress far less.
VesmoScreen Picture(int64_t kind) {
    VesmoScreen screen(kSize, kSize);
    if (kind == 0) {
        screen.Blank(0xFF202830);
        screen.DrawRect(8, 8, 248, 248, 0xFFFFFFFF, 0xFF304060);
        screen.DrawCircle(380, 130, 100, 0xFF00FFFF, 0x80FF8000);
        screen.DrawTriangle(20, 500, 250, 270, 500, 500, 0xFFFFFFFF, 0x6000FF00);
        for (int i = 0; i < 40; ++i)
            screen.DrawLine(0, i * 12, kSize - 1, kSize - 1 - i * 12,
                            0xFF000000u | static_cast<uint32_t>(i * 0x030507));
        std::string text;
        for (int r = 0; r < 30; ++r)
            text += "line " + std::to_string(r) + ": x = " + std::to_string(r * 37 % 101) + ", status OK\n";
        screen.Write(270, 270, 0xFFE0E0E0, text);
    } else {
        for (int y = 0; y < kSize; ++y)
            for (int x = 0; x < kSize; ++x)
                screen.pixels[x + y * kSize] = 0xFF000000u | static_cast<uint32_t>(x / 2) |
                                               static_cast<uint32_t>(y / 2) << 8 |
                                               static_cast<uint32_t>((x + y) / 4) << 16;
    }
    return screen;
}

constexpr int64_t kRawBytes = int64_t{kSize} * kSize * 4;

} // namespace

static void BM_ScreenSerialize(benchmark::State& state) {
    VesmoScreen screen = Picture(state.range(0));
    std::vector<unsigned char> out;
    for (auto _ : state) {
        screen.Serialize(out);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["ratio"] = static_cast<double>(kRawBytes) / static_cast<double>(out.size());
    state.SetBytesProcessed(state.iterations() * kRawBytes);
}
BENCHMARK(BM_ScreenSerialize)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

static void BM_ZlibCompress2(benchmark::State& state) {
    VesmoScreen screen = Picture(state.range(0));
    std::vector<unsigned char> out(compressBound(kRawBytes));
    uLongf size = 0;
    for (auto _ : state) {
        size = out.size();
        compress2(out.data(), &size, reinterpret_cast<const Bytef*>(screen.pixels.data()), kRawBytes,
                  Z_DEFAULT_COMPRESSION);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["ratio"] = static_cast<double>(kRawBytes) / static_cast<double>(size);
    state.SetBytesProcessed(state.iterations() * kRawBytes);
}
BENCHMARK(BM_ZlibCompress2)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

static void BM_ScreenDeserialize(benchmark::State& state) {
    VesmoScreen screen = Picture(state.range(0));
    std::vector<unsigned char> stream;
    screen.Serialize(stream);
    for (auto _ : state) {
        screen.Deserialize(stream);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kRawBytes);
}
BENCHMARK(BM_ScreenDeserialize)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

static void BM_ZlibUncompress(benchmark::State& state) {
    VesmoScreen screen = Picture(state.range(0));
    std::vector<unsigned char> stream;
    screen.Serialize(stream);
    for (auto _ : state) {
        uLongf size = kRawBytes;
        uncompress(reinterpret_cast<Bytef*>(screen.pixels.data()), &size, stream.data(), stream.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kRawBytes);
}
BENCHMARK(BM_ZlibUncompress)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
