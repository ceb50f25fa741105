#include "game/chemistry/VoxelType.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/graphics/GameRenderer.hpp"

#include <stdexcept>
#include <tuple>

namespace game {

// In this order: the table and its index must exist before the empty type registers itself in them.
std::vector<VoxelType> VoxelType::allVoxelTypes;
std::unordered_map<std::string, uint16_t> VoxelType::allVoxelTypesByName;
std::mutex VoxelType::mu;
bool VoxelType::locked = false;
VoxelType VoxelType::_empty("", "", 0, {});

VoxelType::VoxelType(const std::string& module, const std::string& typeName, uint32_t word,
                     const std::vector<vesmo::graphics::TextureRef>& textures)
    : moduleId(module), name(typeName), data(word), textureIndex(0) {
    std::lock_guard lock(mu);
    if (locked)
        throw std::runtime_error("Trying to add more voxel types after executing VoxelType::ForEach()");

    if (!textures.empty()) {
        GAME_ASSERT(Game::renderer);
        const VkSampler sampler = Game::renderer->GetTextureSampler();
        std::vector<std::tuple<vesmo::graphics::TextureRef, VkSampler>> group;
        group.reserve(textures.size());
        for (const vesmo::graphics::TextureRef& texture : textures)
            group.emplace_back(texture, sampler);
        textureIndex = Game::renderer->AddTextures(group) & 0xFFFF;
    }

    const std::string key = module + "." + typeName;
    if (const auto known = allVoxelTypesByName.find(key); known != allVoxelTypesByName.end()) {
        id = known->second;
    } else {
        GAME_ASSERT(allVoxelTypes.size() < MAX_VOXEL_TYPES);
        id = static_cast<uint16_t>(allVoxelTypes.size());
        allVoxelTypes.push_back(*this);
        allVoxelTypesByName.emplace(key, id);
    }

    VoxelType& row = allVoxelTypes[id];
    if (data == 0)
        data = row.data;
    else
        row.data = data;
}

void VoxelType::ForEach(std::function<void(uint16_t, const VoxelType&)>&& fn) {
    std::lock_guard lock(mu);
    locked = true;
    for (size_t row = 1; row < allVoxelTypes.size(); ++row)
        fn(static_cast<uint16_t>(row), allVoxelTypes[row]);
}

} // namespace game
