#include "FrameStats.hpp"

#include <cstdio>
#include <ctime>

namespace client {

namespace {

double Seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

} // namespace

double ThreadCpuSeconds() { return Seconds(CLOCK_THREAD_CPUTIME_ID); }
double ProcessCpuSeconds() { return Seconds(CLOCK_PROCESS_CPUTIME_ID); }

std::string FrameStats::Report(unsigned width, unsigned height) const {
    if (frames == 0)
        return "orkalin: no frame of the world was measured\n";
    const double n = static_cast<double>(frames);
    const double mainCpu = 1e-9 * static_cast<double>(mainCpuNanoseconds.load());
    const double serverCpu = 1e-9 * static_cast<double>(serverCpuNanoseconds.load());
    const double inputCpu = 1e-9 * static_cast<double>(inputCpuNanoseconds.load());
    const double game = renderCpu - passCpu + mainCpu;
    double driver = processCpu - renderCpu - mainCpu - serverCpu - inputCpu;
    if (driver < 0.0)
        driver = 0.0;
    const double ms = 1000.0 / n;
    const double ticks = static_cast<double>(serverTicks.load());
    char text[1024];
    std::snprintf(text, sizeof text,
                  "orkalin: %llu frames at %ux%u in %.2f s: %.1f frames per second, %.2f ms per frame\n"
                  "  CPU per frame:  game.so + engine %.2f ms | module's pass %.2f ms | driver %.2f ms | "
                  "server loop %.2f ms | input loop %.2f ms\n"
                  "  heap allocations per frame:  game.so + engine %.2f (render %.2f, main loop %.2f) | "
                  "module's pass %.2f | server loop %.2f per tick\n",
                  static_cast<unsigned long long>(frames), width, height, wallSeconds, n / wallSeconds,
                  1000.0 * wallSeconds / n, game * ms, passCpu * ms, driver * ms, serverCpu * ms, inputCpu * ms,
                  static_cast<double>(renderAllocations - passAllocations + mainAllocations.load()) / n,
                  static_cast<double>(renderAllocations - passAllocations) / n,
                  static_cast<double>(mainAllocations.load()) / n, static_cast<double>(passAllocations) / n,
                  ticks > 0 ? static_cast<double>(serverAllocations.load()) / ticks : 0.0);
    return text;
}

} // namespace client
