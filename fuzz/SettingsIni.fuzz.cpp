// The settings file as a person may have edited it: read with every section's descriptors, then written
// back, which must leave a file that reads to the same settings.

#include "FuzzSupport.hpp"

#include "game/host/GameSettings.hpp"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto path = fuzz::Scratch() / "settings.ini";
    fuzz::WriteFile(path, data, size);
    FUZZ_BODY({
        game::GameSettings settings(path.string(), 0);
        settings.WriteConfig();
        game::GameSettings again(path.string(), 0);
        GAME_ASSERT(std::memcmp(&again.fov, &settings.fov, sizeof settings.fov) == 0); // NaN too
        GAME_ASSERT(again.input_binding_sit == settings.input_binding_sit);
    });
    return 0;
}
