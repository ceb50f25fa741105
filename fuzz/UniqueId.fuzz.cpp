// Unique ids from text: the null id, an id that prints back to the same id, or a documented refusal.

#include "FuzzSupport.hpp"

#include "game/host/UniqueId.hpp"

#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ_BODY({
        try {
            const game::UniqueId id(fuzz::Text(data, size));
            if (!id.IsNull())
                GAME_ASSERT(game::UniqueId(id.ToString()) == id);
        } catch (const std::runtime_error&) {
        } catch (const std::invalid_argument&) {
        }
    });
    return 0;
}
