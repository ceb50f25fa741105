// Runs a harness once on every input of its corpus folders, without libFuzzer: `./run test` replays the
// corpora so that an input that once found a fault never comes back unnoticed.
//
//   replay_<Name> FOLDER|FILE...
//
// Each input runs in a child process of its own, so that one input's end can't hide another's. An input
// passes when the child returns, or ends by abort after a documented line of its own ("Assertion failed:",
// "Config: "): a specified end is not a finding. Anything else fails: another signal, another exit, or no
// end within 20 seconds (a hang).

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

bool IsSpecifiedEnd(const std::string& errors) {
    for (const char* start : {"Assertion failed: ", "Config: "}) {
        const size_t at = errors.find(start);
        if (at != std::string::npos && (at == 0 || errors[at - 1] == '\n'))
            return true;
    }
    return false;
}

// True when the input passes; otherwise prints why.
bool RunOne(const fs::path& input) {
    std::ifstream in(input, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    int errors[2];
    if (pipe(errors) != 0)
        return false;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(errors[0]);
        dup2(errors[1], 2);
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        alarm(20);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        std::fflush(nullptr);
        _exit(0);
    }
    close(errors[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(errors[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(n));
    close(errors[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return true;
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT && IsSpecifiedEnd(text))
        return true;
    const std::string how =
        WIFSIGNALED(status)
            ? (WTERMSIG(status) == SIGALRM ? "hung (no end within 20 s)" : "signal " + std::to_string(WTERMSIG(status)))
            : "exit code " + std::to_string(WEXITSTATUS(status));
    std::fprintf(stderr, "FAILED %s: %s\n%s\n", input.c_str(), how.c_str(), text.c_str());
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const fs::path scratch = fs::temp_directory_path() / ("orkalin-replay-" + std::to_string(getpid()));
    fs::create_directories(scratch);
    setenv("ORKALIN_FUZZ_SCRATCH", scratch.c_str(), 1);
    size_t passed = 0, failed = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<fs::path> inputs;
        if (fs::is_directory(argv[i])) {
            for (const auto& entry : fs::directory_iterator(argv[i]))
                if (entry.is_regular_file())
                    inputs.push_back(entry.path());
        } else {
            inputs.emplace_back(argv[i]);
        }
        for (const fs::path& input : inputs)
            (RunOne(input) ? passed : failed)++;
    }
    std::error_code ignored;
    fs::remove_all(scratch, ignored);
    std::printf("%zu inputs replayed, %zu failed\n", passed + failed, failed);
    return failed == 0 && passed > 0 ? 0 : 1;
}
