// An entity's state file as the world's load meets it, and its checkpoint file as a module rolls back to
// it. The first input byte chooses which; the rest is the file. A damaged file is refused with a sentence
// (state) or a message (checkpoint); no module registers the types here, so a state file that reads whole
// leaves its entity dropped and its file kept.

#include "FuzzSupport.hpp"

#include "game/Game.hpp"
#include "game/entity/ServerSideEntity.hpp"

#include <filesystem>
#include <stdexcept>

namespace {

using game::entity::ServerSideEntity;

const char* const kId = "ENTT0000000100000000000000AB";

// The world lives under the scratch folder: "../Orkalin-data/server/worlds/fuzz/entities".
void EnterWorld() {
    static bool entered = false;
    if (entered)
        return;
    std::filesystem::create_directories(fuzz::Scratch() / "run");
    std::filesystem::current_path(fuzz::Scratch() / "run");
    Game::_current_world = "fuzz";
    std::filesystem::create_directories(ServerSideEntity::GetCheckpointDir());
    entered = true;
}

void DropEntitiesKeepingFiles() {
    std::unique_lock lock(ServerSideEntity::_sharedObjectsMutex);
    for (auto& [id, entity] : ServerSideEntity::_sharedObjects)
        if (entity)
            entity->deleteFilesOnDestroy = false;
    ServerSideEntity::_sharedObjects.clear();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    EnterWorld();
    const bool checkpoint = data[0] & 1;
    const std::filesystem::path file = std::filesystem::path(ServerSideEntity::GetCheckpointDir()) /
                                       (std::string(kId) + (checkpoint ? ".checkpoint" : ".entitystate"));
    fuzz::WriteFile(file, data + 1, size - 1);
    FUZZ_BODY({
        if (checkpoint) {
            auto entity = ServerSideEntity::Create<ServerSideEntity>(ServerSideEntity::ModuleID("FUZZ_nothing"),
                                                                     game::entity::Type("thing"),
                                                                     game::entity::Id(std::string(kId)));
            entity->DeserializeCheckpoint();
        } else {
            try {
                ServerSideEntity::LoadAllEntities();
            } catch (const std::runtime_error&) {
            } catch (const std::invalid_argument&) {
            }
        }
    });
    DropEntitiesKeepingFiles();
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    return 0;
}
