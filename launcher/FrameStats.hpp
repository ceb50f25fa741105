#pragma once
// What `orkalin --stats` measures: where a frame's CPU time goes and how many heap allocations it makes.
//
// The split, per rendered frame of the playing world:
//   game.so + engine   CPU time of the render thread in renderer->Frame() outside the module's render
//                      pass, plus the main loop's Game::Update and Game::ClientUpdate
//   module's pass      CPU time of the render thread in the "render" hooks (the sample module's raster pass)
//   driver             the rest of the process's CPU time, less the server and input loops: the Vulkan
//                      driver's own threads (lavapipe rasterises on them) and the submission it does
//   server loop        CPU time of the server thread (ticks run at the world's rate, not per frame)
// Allocations are counted per thread by the launcher's operator new (AllocationCounter.cpp): those made
// by game.so and the engine on the render and main loops (the module's pass excluded), and the pass's own;
// the server loop's per tick.
//
// Threads: each loop adds to its own fields; Report() reads them after the loops have stopped.

#include <atomic>
#include <cstdint>
#include <string>

namespace client {

// CPU seconds of the calling thread, and of the whole process.
double ThreadCpuSeconds();
double ProcessCpuSeconds();
// Heap allocations made so far by the calling thread (counted only in the orkalin executable).
uint64_t ThreadAllocations();

struct FrameStats {
    std::atomic<bool> measuring{false}; // set while the world plays
    // render thread
    uint64_t frames = 0;
    double wallSeconds = 0.0;
    double renderCpu = 0.0;
    double passCpu = 0.0;
    uint64_t renderAllocations = 0;
    uint64_t passAllocations = 0;
    // main loop
    std::atomic<uint64_t> mainCpuNanoseconds{0};
    std::atomic<uint64_t> mainAllocations{0};
    // server and input loops
    std::atomic<uint64_t> serverCpuNanoseconds{0};
    std::atomic<uint64_t> serverAllocations{0};
    std::atomic<uint64_t> serverTicks{0};
    std::atomic<uint64_t> inputCpuNanoseconds{0};
    // process, over the measured span
    double processCpuStart = 0.0;
    double processCpu = 0.0;

    std::string Report(unsigned width, unsigned height) const;
};

} // namespace client
