// The dedicated server. For now it only explains itself: the server loop arrives with the world and
// entity work, and this command already has its final name and place (build/bin/orkalin-server).

#include <cstdio>
#include <cstring>

namespace {

void PrintHelp() {
    std::printf("Usage: orkalin-server [--help] WORLD [options]\n"
                "\n"
                "The dedicated server of the Orkalin sandbox: it runs a world's simulation without a window or a GPU.\n"
                "\n"
                "This build holds the engine core and the file system layer only. The server loop comes next:\n"
                "  - load the world's SERVER_Mod modules and its saved entities,\n"
                "  - run server ticks at a fixed rate (60 Hz, 4 physics sub-steps) or as fast as possible,\n"
                "  - print a progress line about once a second,\n"
                "  - save the world on SIGINT or SIGTERM and exit cleanly.\n"
                "\n"
                "Options:\n"
                "  -h, --help   show this text and exit\n");
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            PrintHelp();
            return 0;
        }
    }
    std::fprintf(stderr, "orkalin-server: the server loop is not built yet; see --help\n");
    return 2;
}
