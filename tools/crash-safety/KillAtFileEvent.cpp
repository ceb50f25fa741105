// Loaded into orkalin-server with LD_PRELOAD by crash_safety.py: ends the process with SIGKILL at the Nth
// file event, so that a kill lands inside a save on purpose instead of by luck (a save takes milliseconds).
//
// A file event is a call that changes what a crash leaves on disk: mkstemp, write to a file (not the
// standard streams), fsync, syncfs, rename, unlink. The kill comes before the call runs.
//
//   ORKALIN_KILL_AT=N      kill at the Nth event (1 is the first); unset or 0: only count
//   ORKALIN_KILL_COUNT=F   write the number of events seen to file F when the process exits normally

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace {

std::atomic<long> g_events{0};

long KillAt() {
    static const long at = [] {
        const char* text = std::getenv("ORKALIN_KILL_AT");
        return text ? std::atol(text) : 0L;
    }();
    return at;
}

void Event() {
    const long n = g_events.fetch_add(1) + 1;
    if (KillAt() > 0 && n == KillAt())
        kill(getpid(), SIGKILL);
}

template <class F> F Next(const char* name) { return reinterpret_cast<F>(dlsym(RTLD_NEXT, name)); }

struct Reporter {
    ~Reporter() {
        if (const char* path = std::getenv("ORKALIN_KILL_COUNT")) {
            if (FILE* out = std::fopen(path, "w")) {
                std::fprintf(out, "%ld\n", g_events.load());
                std::fclose(out);
            }
        }
    }
} g_reporter;

} // namespace

extern "C" {

__attribute__((visibility("default"))) int mkstemp(char* pattern) {
    Event();
    static auto real = Next<int (*)(char*)>("mkstemp");
    return real(pattern);
}

__attribute__((visibility("default"))) ssize_t write(int fd, const void* data, size_t size) {
    if (fd > 2)
        Event();
    static auto real = Next<ssize_t (*)(int, const void*, size_t)>("write");
    return real(fd, data, size);
}

__attribute__((visibility("default"))) int fsync(int fd) {
    Event();
    static auto real = Next<int (*)(int)>("fsync");
    return real(fd);
}

__attribute__((visibility("default"))) int syncfs(int fd) {
    Event();
    static auto real = Next<int (*)(int)>("syncfs");
    return real(fd);
}

__attribute__((visibility("default"))) int rename(const char* from, const char* to) {
    Event();
    static auto real = Next<int (*)(const char*, const char*)>("rename");
    return real(from, to);
}

__attribute__((visibility("default"))) int unlink(const char* path) {
    Event();
    static auto real = Next<int (*)(const char*)>("unlink");
    return real(path);
}

} // extern "C"
