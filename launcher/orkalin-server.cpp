// The dedicated server: loads a world's SERVER_Mod modules and saved entities, runs Game::ServerUpdate at a
// fixed rate (or as fast as it can for a number of ticks), and saves the world when it ends.
//
// Working directory: the game's run directory, build/game/ in a build tree and <prefix>/share/orkalin/game/ when
// installed (run it from there, or name it with --game-dir). Modules are found as
// modules/<Name>/<Name>.SERVER_Mod.so and worlds under ../Orkalin-data/server/worlds/<world>/, both relative to
// it, as the module host and the entity persistence fix them.

#include "WorldFile.hpp"
#include "WorldReport.hpp"
#include "WorldSession.hpp"

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"
#include "game/modular/Families.hpp"
#include "game/modular/ServerHooks.hpp"
#include "vesmo/cpu/Profiler.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using game::entity::ServerSideEntity;
using Clock = std::chrono::steady_clock;
using game::modular::SERVER_Mod;

using namespace server; // the exit codes

std::atomic<bool> g_stopRequested{false};

void OnStopSignal(int) { g_stopRequested.store(true); }

struct Options {
    std::string world;
    std::vector<std::string> modules; // from --modules; empty: the world file's
    bool create = false;
    long long ticks = -1;  // -1: until a signal
    double seconds = -1.0; // simulated seconds to run, as fast as possible
    double rate = 0.0;     // 0: the world file's
    int substeps = -1;     // -1: the world file's
    bool fast = false;
    bool summary = false;
    bool profile = false;
    std::string picture;
    std::string dump;
    std::string gameDir; // empty: the working directory
};

void PrintHelp() {
    std::printf(
        "Usage: orkalin-server [options] WORLD\n"
        "\n"
        "The dedicated server of the Orkalin sandbox: runs a world's simulation without a window or a GPU.\n"
        "\n"
        "It runs from the game's run directory: the working directory, or the one --game-dir names\n"
        "(build/game/ in a build tree, PREFIX/share/orkalin/game/ when installed). From there, modules are\n"
        "  modules/<Name>/<Name>.SERVER_Mod.so\n"
        "and the world's files are in\n"
        "  ../Orkalin-data/server/worlds/WORLD/            world.conf, the modules' own files\n"
        "  ../Orkalin-data/server/worlds/WORLD/entities/   one .entitystate file per saved entity\n"
        "\n"
        "The server loads the world's modules (sorted by their ModuleSort rank, then name) and its saved entities,\n"
        "then ticks: at the world's rate (default 60 Hz, 4 physics sub-steps) until SIGINT or SIGTERM, or as fast\n"
        "as it can for --ticks or --seconds. About once a second it prints the simulated time, ticks per second,\n"
        "milliseconds per tick and how many entities (components not counted) are moving and resting. When it\n"
        "stops it finishes the tick, lets the modules save, saves every entity, and exits 0.\n"
        "\n"
        "Options:\n"
        "  --game-dir DIR      run from DIR instead of the working directory (other paths stay as given)\n"
        "  --create            make the world if it does not exist (needs --modules)\n"
        "  --modules A,B       the modules to run, apart by commas or blanks; stored in the world's file\n"
        "                      (default: the file's list)\n"
        "  --ticks N           run N ticks as fast as possible, then save and exit (0: load and save only);\n"
        "                      0 to 1000000000\n"
        "  --seconds S         run S seconds of simulated time as fast as possible, then save and exit;\n"
        "                      0 to 10000000\n"
        "  --fast              never sleep between ticks\n"
        "  --rate HZ           ticks per simulated second, 1 to 1000 (default: the world's, 60)\n"
        "  --substeps N        physics sub-steps per tick, 1 to 64 (default: the world's, 4)\n"
        "  --summary           print a table of the entities by type at the end\n"
        "  --profile           time every profiled scope of the run and print their table at the end\n"
        "                      (count, total, average, last and longest, in milliseconds); costs some speed\n"
        "  --picture PATH      write a top-down picture of the world (PNG) at the end\n"
        "  --dump PATH         write every entity's pose at the end, before saving\n"
        "  -h, --help          show this text\n"
        "\n"
        "A value out of its range is refused (exit code 2) before anything is loaded or written.\n"
        "\n"
        "Exit codes: 0 saved and done; 1 a tick or the save failed; 2 bad command line; 3 no such world;\n"
        "4 a module failed to load; 5 a saved entity file is damaged (named; no file is changed).\n");
}

// What the command line may ask for: values outside these ranges can't be honoured (a tick count past what
// the loop can count, a clock that never ends, a tick that takes minutes and ignores SIGTERM) and are
// refused before anything is loaded or written.
constexpr long long kMaxTicks = 1000000000LL; // about 190 days of simulated time at 60 Hz
constexpr double kMaxSeconds = 10000000.0;    // about 115 days

bool ParseReal(const char* text, double& value) {
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text, &end);
    return end != text && *end == '\0' && errno == 0 && std::isfinite(value);
}

bool ParseWhole(const char* text, long long& value) {
    const char* end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, value);
    return text != end && stop == end && error == std::errc();
}

// Fills `options`; returns -1 to go on, else the exit code.
int ParseArguments(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto value = [&]() -> const char* {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "orkalin-server: %s needs a value (see --help)\n", arg.c_str());
                return nullptr;
            }
            return argv[++i];
        };
        auto real = [&](double& out, double min, double max) {
            const char* text = value();
            if (!text)
                return false;
            if (!ParseReal(text, out) || out < min || out > max) {
                std::fprintf(stderr, "orkalin-server: %s wants a number from %g to %g, not '%s'\n", arg.c_str(), min,
                             max, text);
                return false;
            }
            return true;
        };
        auto whole = [&](long long& out, long long min, long long max) {
            const char* text = value();
            if (!text)
                return false;
            if (!ParseWhole(text, out) || out < min || out > max) {
                std::fprintf(stderr, "orkalin-server: %s wants a whole number from %lld to %lld, not '%s'\n",
                             arg.c_str(), min, max, text);
                return false;
            }
            return true;
        };
        long long n = 0;
        if (arg == "-h" || arg == "--help") {
            PrintHelp();
            return kExitOk;
        } else if (arg == "--create") {
            options.create = true;
        } else if (arg == "--fast") {
            options.fast = true;
        } else if (arg == "--summary") {
            options.summary = true;
        } else if (arg == "--profile") {
            options.profile = true;
        } else if (arg == "--modules") {
            const char* text = value();
            if (!text)
                return kExitUsage;
            options.modules = server::SplitModuleList(text);
        } else if (arg == "--ticks") {
            if (!whole(options.ticks, 0, kMaxTicks))
                return kExitUsage;
        } else if (arg == "--seconds") {
            if (!real(options.seconds, 0, kMaxSeconds))
                return kExitUsage;
        } else if (arg == "--rate") {
            if (!real(options.rate, server::kMinTickRate, server::kMaxTickRate))
                return kExitUsage;
        } else if (arg == "--substeps") {
            if (!whole(n, server::kMinSubsteps, server::kMaxSubsteps))
                return kExitUsage;
            options.substeps = static_cast<int>(n);
        } else if (arg == "--picture" || arg == "--dump" || arg == "--game-dir") {
            const char* text = value();
            if (!text)
                return kExitUsage;
            // Paths the user gives mean what they meant where the server was started, also after --game-dir.
            const std::string path = std::filesystem::absolute(text).string();
            (arg == "--picture" ? options.picture : arg == "--dump" ? options.dump : options.gameDir) = path;
        } else if (!arg.empty() && arg[0] == '-') {
            std::fprintf(stderr, "orkalin-server: unknown option '%s' (see --help)\n", arg.c_str());
            return kExitUsage;
        } else if (options.world.empty()) {
            options.world = arg;
        } else {
            std::fprintf(stderr, "orkalin-server: one world at a time ('%s' and '%s')\n", options.world.c_str(),
                         arg.c_str());
            return kExitUsage;
        }
    }
    if (options.world.empty() || options.world.find('/') != std::string::npos || options.world[0] == '.') {
        std::fprintf(stderr, "orkalin-server: name a world, a plain folder name (see --help)\n");
        return kExitUsage;
    }
    return -1;
}

void PrintProgress(const std::string& world, double time, double ticksPerSecond, double msPerTick) {
    const server::Census census = server::TakeCensus();
    std::printf("[%s] t=%.2f s | %.0f ticks/s | %.3f ms/tick | %zu entities: %zu moving, %zu resting\n", world.c_str(),
                time, ticksPerSecond, msPerTick, census.entities, census.moving, census.resting);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (const int code = ParseArguments(argc, argv, options); code >= 0)
        return code;
    if (options.profile)
        vesmo::cpu::Profiler::SetCapturing(true);
    if (!options.gameDir.empty() && chdir(options.gameDir.c_str()) != 0) {
        std::fprintf(stderr, "orkalin-server: cannot run from --game-dir %s: %s\n", options.gameDir.c_str(),
                     std::strerror(errno));
        return kExitUsage;
    }

    // From here on a stop request is noted, never fatal: one that arrives while the world loads ends the run
    // before its first tick, with the world saved.
    struct sigaction action {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    // ---- the world, its modules and its saved entities
    WorldSession session("orkalin-server");
    if (const int code = session.ReadFile(options.world, options.create, options.modules); code != kExitOk)
        return code;
    WorldFile& world = session.file;
    if (options.rate > 0)
        world.tickRate = options.rate;
    if (options.substeps >= 0)
        world.substeps = options.substeps;
    Game::_is_server = true;
    if (const int code = session.LoadModules(); code != kExitOk)
        return code;
    std::printf("orkalin-server: world '%s' (%s), modules:", options.world.c_str(), session.existed ? "saved" : "new");
    for (const SERVER_Mod::Ptr& m : session.Modules())
        std::printf(" %s", m->name.c_str());
    std::printf("\n");
    std::fflush(stdout);
    if (const int code = session.LoadEntities(); code != kExitOk)
        return code;

    // ---- ticks
    const double deltaTime = 1.0 / world.tickRate;
    long long limit = options.ticks;
    if (options.seconds >= 0)
        limit = static_cast<long long>(std::llround(options.seconds * world.tickRate));
    const bool fast = options.fast || limit >= 0;
    Game::isActive = true;

    long long ticksRun = 0;
    double busySeconds = 0.0;
    const Clock::time_point started = Clock::now();
    Clock::time_point nextTick = started, lastReport = started;
    long long reportTicks = 0;
    double reportBusy = 0.0;
    int exitCode = kExitOk;
    try {
        while (!g_stopRequested.load() && (limit < 0 || ticksRun < limit)) {
            const Clock::time_point begin = Clock::now();
            Game::serverFramerate.BeginWork();
            Game::ServerUpdate(deltaTime, world.substeps);
            Game::serverFramerate.Tick();
            const Clock::time_point end = Clock::now();
            const double busy = std::chrono::duration<double>(end - begin).count();
            busySeconds += busy;
            reportBusy += busy;
            ++ticksRun;
            ++reportTicks;
            session.Advance();
            if (end - lastReport >= std::chrono::seconds(1)) {
                const double span = std::chrono::duration<double>(end - lastReport).count();
                PrintProgress(options.world, world.time, reportTicks / span, 1000.0 * reportBusy / reportTicks);
                lastReport = end;
                reportTicks = 0;
                reportBusy = 0.0;
            }
            if (!fast) {
                nextTick += std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(deltaTime));
                if (Clock::now() - nextTick > std::chrono::milliseconds(250))
                    nextTick = Clock::now(); // far behind: don't try to catch up in a burst
                std::this_thread::sleep_until(nextTick);
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orkalin-server: tick %llu failed: %s; the world is not saved\n",
                     static_cast<unsigned long long>(world.ticks + 1), error.what());
        exitCode = kExitRunFailed;
    }
    Game::isActive = false;

    if (exitCode != kExitOk) {
        session.Abandon();
        return exitCode;
    }

    // ---- the end of the run
    const double wall = std::chrono::duration<double>(Clock::now() - started).count();
    const double msPerTick = ticksRun ? 1000.0 * busySeconds / static_cast<double>(ticksRun) : 0.0;
    PrintProgress(options.world, world.time, wall > 0 ? static_cast<double>(ticksRun) / wall : 0.0, msPerTick);
    if (g_stopRequested.load())
        std::printf("orkalin-server: stop requested, saving\n");
    if (options.summary) {
        std::printf("\n%s", server::SummaryTable().c_str());
        std::printf(
            "\n%lld ticks (%.2f s simulated) in %.2f s of wall time, %.3f ms per tick; world clock at %.2f s\n\n",
            ticksRun, static_cast<double>(ticksRun) * deltaTime, wall, msPerTick, world.time);
    }
    if (options.profile)
        std::printf("\nProfiled scopes of the run, in milliseconds:\n%s\n", vesmo::cpu::Profiler::Table().c_str());
    if (!options.dump.empty() && !server::DumpPoses(options.dump))
        std::fprintf(stderr, "orkalin-server: could not write %s\n", options.dump.c_str());
    if (!options.picture.empty()) {
        char caption[160];
        std::snprintf(caption, sizeof caption, "world %s at t=%.1f s", options.world.c_str(), world.time);
        if (server::DrawWorldPicture(options.picture, caption))
            std::printf("orkalin-server: picture of the world in %s\n",
                        std::filesystem::absolute(options.picture).lexically_normal().c_str());
        else
            std::fprintf(stderr, "orkalin-server: could not draw the picture into %s\n", options.picture.c_str());
    }

    if (!session.Save())
        exitCode = kExitRunFailed;
    std::fflush(stdout);
    session.UnloadModules();
    return exitCode;
}
