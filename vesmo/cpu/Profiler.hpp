#pragma once
// Scoped CPU profiler.
//
//     {
//         vesmo::cpu::Profiler scope("ServerUpdate", true);
//         ...                     // timed until scope.Stop() or the end of the block
//     }
//
// Every finished scope adds to the record of its name: count, total, last and maximum duration. Scopes
// nest freely (each is timed on its own) and may run on any thread: each thread keeps its own figures per
// name, written without locks or locked instructions, and a reader sums them. A scope takes no lock once
// its name has been seen on that thread.
// A scope built with `enabled == false` reads no clock and touches no record.
//
// Capturing. Scopes stay in the code for good, but the clock is read only while the process captures:
// a scope opened while capture is off costs a load and a test, like a disabled one. The two clock reads
// are most of a timed scope's price (26 of its 30 ns on the virtual machine of our benchmarks), and
// code such as the physics opens tens of scopes per body and tick: nobody should pay for figures that
// nobody reads.
// Capture is off when a process starts, unless the environment variable VESMO_PROFILE is set to
// anything but "0"; SetCapturing turns it on and off at any time (the server's --profile does). A scope
// that began while capturing is finished and counted even if capture stops meanwhile.
//
// A name given as a `const char*` must stay valid while its code is loaded (a literal); a std::string
// name is copied once per thread when first seen. Whoever unloads code that may have named scopes
// (the module host) calls ForgetNameAddresses() afterwards, so that a literal address reused by the next
// library cannot land in the old name's record.
//
// Time is read from the processor's invariant time-stamp counter where there is one (13 ns a read on the
// virtual machine of our benchmarks, against 28 for the system clock) and converted to wall time when
// read; other machines use std::chrono::steady_clock.

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace vesmo::cpu {

class Profiler {
public:
    struct Record; // aggregation of one name, opaque

    // The path that does not time is inline, so that it costs a load and a test and nothing else.
    Profiler(const char* name, bool enabled = true) {
        if (enabled && _capturing.load(std::memory_order_relaxed))
            Begin(name);
    }
    Profiler(const std::string& name, bool enabled = true) {
        if (enabled && _capturing.load(std::memory_order_relaxed))
            Begin(name);
    }
    ~Profiler() {
        if (_record)
            Finish();
    }

    Profiler(const Profiler&) = delete;
    Profiler& operator=(const Profiler&) = delete;

    // Ends the scope now; later calls and the destructor do nothing.
    void Stop() {
        if (_record)
            Finish();
    }

    struct Entry {
        std::string name;
        uint64_t count = 0;
        double totalMs = 0.0;
        double lastMs = 0.0;
        double maxMs = 0.0;
        double AverageMs() const { return count ? totalMs / static_cast<double>(count) : 0.0; }
    };

    // All names seen so far, sorted by name. Entries being written at the moment may be a scope behind.
    static std::vector<Entry> Snapshot();
    // The snapshot as a fixed-width text table in milliseconds, one line per name.
    static std::string Table();
    // Whether scopes are timed now (see above).
    static void SetCapturing(bool capturing) { _capturing.store(capturing, std::memory_order_relaxed); }
    static bool IsCapturing() { return _capturing.load(std::memory_order_relaxed); }
    // Zeroes every record; names stay known.
    static void Reset();
    // Drops every thread's cached name addresses (see above). Cheap; takes effect at each thread's next scope.
    static void ForgetNameAddresses();

private:
    void Begin(const char* name);
    void Begin(const std::string& name);
    void Finish();

    static std::atomic<bool> _capturing;

    Record* _record = nullptr;
    uint64_t _start = 0; // clock ticks
};

} // namespace vesmo::cpu
