// A world's own file: read whole, or refused with a sentence naming the line; what is read is written and
// reads back the same.

#include "FuzzSupport.hpp"

#include "WorldFile.hpp"

#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto path = fuzz::Scratch() / "world.conf";
    fuzz::WriteFile(path, data, size);
    FUZZ_BODY({
        try {
            server::WorldFile world;
            world.Read(path.string());
            world.Write(path.string());
            server::WorldFile again;
            again.Read(path.string());
            GAME_ASSERT(again.modules == world.modules && again.substeps == world.substeps);
        } catch (const std::runtime_error&) {
        }
    });
    return 0;
}
