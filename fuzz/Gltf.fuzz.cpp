// Meshes: a glTF file of the subset the game reads, with its one buffer file beside it. The input is the
// JSON text, a zero byte, then the bytes of "buffer.bin". A file outside the subset ends by assertion, a
// missing key or a wrong JSON type by nlohmann::json's exception, an unreadable buffer by its sentence.

#include "FuzzSupport.hpp"

#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"
#include "game/graphics/Mesh.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The renderer without a device, as the tests make it: buffers are host memory.
    static std::unique_ptr<game::graphics::GameRenderer> renderer = [] {
        auto made = std::make_unique<game::graphics::GameRenderer>(nullptr, "fuzz", 0);
        Game::renderer = made.get();
        return made;
    }();
    const uint8_t* split = std::find(data, data + size, uint8_t{0});
    const auto gltf = fuzz::Scratch() / "mesh.gltf";
    fuzz::WriteFile(gltf, data, static_cast<size_t>(split - data));
    const uint8_t* buffer = split == data + size ? split : split + 1;
    fuzz::WriteFile(fuzz::Scratch() / "buffer.bin", buffer, static_cast<size_t>(data + size - buffer));
    FUZZ_BODY({
        try {
            game::graphics::Mesh mesh(gltf.string());
            mesh.Load();
        } catch (const nlohmann::json::exception&) {
        } catch (const std::runtime_error&) {
        }
    });
    renderer->CollectAllTrash();
    return 0;
}
