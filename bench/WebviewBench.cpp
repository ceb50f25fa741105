// The web view's frame path: image records read off a real FIFO by ElectronWebview::ReadFromPipe, beside
// the floor of plain read(2) calls on the same stream, and the decoding of a frame by
// DynamicAsyncTexture::Load. Allocations per record show that reading frames allocates nothing.

#include "AllocationCounter.hpp"

#include "PngEncoder.hpp"
#include "game/webview/ElectronWebview.hpp"
#include "game/webview/PipeServer.hpp"
#include "vesmo/graphics/DynamicAsyncTexture.hpp"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

// A working folder whose "../Orkalin-data" is private to the benchmark.
struct PipeFolder {
    std::filesystem::path root = std::filesystem::temp_directory_path() / "orkalin-bench-webview";
    std::filesystem::path previous = std::filesystem::current_path();
    PipeFolder() {
        std::filesystem::create_directories(root / "Orkalin-data");
        std::filesystem::create_directories(root / "work");
        std::filesystem::current_path(root / "work");
    }
    ~PipeFolder() {
        std::filesystem::current_path(previous);
        std::filesystem::remove_all(root);
    }
};

std::string Record(const std::string& id, std::size_t imageSize) {
    const std::uint32_t sizes[2] = {static_cast<std::uint32_t>(id.size()), static_cast<std::uint32_t>(imageSize)};
    return std::string(reinterpret_cast<const char*>(sizes), sizeof(sizes)) + id + std::string(imageSize, '\x5a');
}

// A writer thread that fills the browser-to-game FIFO with the same record, again and again, as the browser
// process would.
class RecordWriter {
public:
    RecordWriter(const PipeFolder& folder, const std::string& record)
        : _fd(open((folder.root / "Orkalin-data" / "bench.c2s").c_str(), O_RDWR)), _thread([this, &record] {
              while (!_stop) {
                  std::size_t sent = 0;
                  while (sent < record.size()) {
                      const ssize_t count = write(_fd, record.data() + sent, record.size() - sent);
                      if (count <= 0)
                          break;
                      sent += static_cast<std::size_t>(count);
                  }
              }
              close(_fd); // the only writer: the reader now meets end of file instead of waiting
              _finished = true;
          }) {}

    // Stops the writer; `read` takes from the pipe until the writer has finished the record it began.
    template <class Read> void Stop(Read&& read) {
        _stop = true;
        while (!_finished)
            read();
        _thread.join();
    }

private:
    std::atomic<bool> _stop{false};
    std::atomic<bool> _finished{false};
    int _fd;
    std::thread _thread;
};

} // namespace

static void BM_WebviewReadFromPipe(benchmark::State& state) {
    PipeFolder folder;
    PipeServer pipe("bench");
    game::ElectronWebview webview;
    webview.Open("view", "about:blank", 1, 1, 1); // a callback that drops the image
    const std::string record = Record("view", static_cast<std::size_t>(state.range(0)));

    RecordWriter writer(folder, record);

    webview.ReadFromPipe(pipe); // opens the pipe outside the timed loop
    AllocationCounter::Reset();
    for (auto _ : state)
        webview.ReadFromPipe(pipe);
    state.counters["allocs/record"] =
        benchmark::Counter(AllocationCounter::Count(), benchmark::Counter::kAvgIterations);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(record.size()));

    writer.Stop([&] { webview.ReadFromPipe(pipe); });
}
BENCHMARK(BM_WebviewReadFromPipe)->Arg(64 << 10)->Arg(1 << 20)->UseRealTime();

// The floor: the same records through the same kind of FIFO, taken with plain read(2) calls of up to
// 1 MiB into one buffer, without parsing or dispatch.
static void BM_PlainReadFloor(benchmark::State& state) {
    PipeFolder folder;
    PipeServer pipe("bench");
    const std::string record = Record("view", static_cast<std::size_t>(state.range(0)));
    std::vector<char> buffer(1 << 20);

    RecordWriter writer(folder, record);

    pipe.Read(buffer.data(), 1);
    for (auto _ : state) {
        std::size_t received = 0;
        while (received < record.size())
            received += pipe.Read(buffer.data(), std::min(buffer.size(), record.size() - received));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(record.size()));

    writer.Stop([&] { pipe.Read(buffer.data(), buffer.size()); });
}
BENCHMARK(BM_PlainReadFloor)->Arg(64 << 10)->Arg(1 << 20)->UseRealTime();

// Decoding one frame: a page-like picture (flat areas with some noise) as PNG, into a texture of its size.
static void BM_DynamicAsyncTextureLoad(benchmark::State& state) {
    const auto width = static_cast<std::uint32_t>(state.range(0));
    const auto height = static_cast<std::uint32_t>(state.range(1));
    std::vector<unsigned char> rgba(static_cast<std::size_t>(width) * height * 4, 255);
    std::mt19937 random(7);
    for (std::size_t i = 0; i < rgba.size(); i += 4)
        if ((i / 4) % width < width / 2 && random() % 8 == 0)
            rgba[i] = rgba[i + 1] = static_cast<unsigned char>(random());
    const std::string png = testing_support::EncodePng(width, height, rgba);
    vesmo::graphics::DynamicAsyncTexture texture(width, height);

    for (auto _ : state)
        benchmark::DoNotOptimize(texture.Load(reinterpret_cast<const unsigned char*>(png.data()), png.size()));
    state.counters["png_bytes"] = static_cast<double>(png.size());
    state.counters["pixels/s"] =
        benchmark::Counter(static_cast<double>(width) * height, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_DynamicAsyncTextureLoad)->Args({512, 256})->Args({1024, 768});
