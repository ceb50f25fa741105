// Entity config text, one file per entity type: read into the config and its joint solver.

#include "FuzzSupport.hpp"

#include "game/entity/EntityConfig.hpp"

#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto path = fuzz::Scratch() / "entity.config";
    fuzz::WriteFile(path, data, size);
    FUZZ_BODY({
        try {
            game::entity::EntityConfig config(path.string());
            config.ReadConfig();
        } catch (const std::runtime_error&) {
        }
    });
    return 0;
}
