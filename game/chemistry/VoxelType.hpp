#pragma once
// The process-wide table of voxel materials.
//
// Modules declare the kinds of voxel they bring while they start, each under its module's name and its own
// name, and get back a small `id` (the row in `allVoxelTypes`) that voxels store in 16 bits. The library only
// keeps the table: it makes no type but the empty one (row 0, key ".") and reads none.
//
// Declaring. Constructing a VoxelType registers it, or finds it again when its key (module, ".", name) is
// known; the key is not escaped, so module "a.b" with name "c" and module "a" with name "b.c" are one type.
// The constructed object is the caller's own; the row is a copy. The `data` word is the modules' business and
// is reconciled with the row on every declaration: a declaration with 0 reads the row's word back, any other
// word overwrites the row (callers that declared earlier keep their old copy).
//
// Textures. A declaration with textures hands them to the renderer's texture table as one group, each paired
// with the renderer's texture sampler, and keeps the low 16 bits of where the group begins in
// `textureIndex` (0 without textures, which is also the index of a group at the very start of the table).
// So Game::renderer must exist before a textured type is declared ("Game::renderer" is asserted), while an
// untextured type can be declared at any time, also from a static initialiser. A second declaration of a
// known key with textures adds them to the renderer again, but only the caller's object shows their index:
// the row keeps the index of the first declaration.
//
// Locking. The first ForEach closes the table for the rest of the process: any declaration after it, new or
// repeated, throws std::runtime_error "Trying to add more voxel types after executing VoxelType::ForEach()"
// and changes nothing. Once closed, `allVoxelTypes` may be read without the lock, since nothing adds rows
// or rewrites them any more.
//
// Threads. `mu` guards every static here: declarations may come from any number of threads at once. ForEach
// holds `mu` while it calls back, so a callback must not declare a type or call ForEach (`mu` is not
// recursive).
//
// Limits. At most MAX_VOXEL_TYPES rows (ids 0 to 65534); a new key beyond that fails the assertion
// "allVoxelTypes.size() < MAX_VOXEL_TYPES".

#include "vesmo/graphics/Texture.hpp"
#include "vesmo/modular/ModuleID.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace game {

class VoxelType {
public:
    static constexpr size_t MAX_VOXEL_TYPES = 65535;

    // Registers the type `module`.`name`, or finds it again; see the header comment for `data` and textures.
    VoxelType(const std::string& module, const std::string& name, uint32_t data,
              const std::vector<vesmo::graphics::TextureRef>& textures);
    // A plain copy of all five fields; registers nothing.
    VoxelType(const VoxelType&) = default;
    VoxelType& operator=(const VoxelType&) = default;

    // Closes the table for good, then calls `fn` for every row but the empty one, in id order, under `mu`.
    // An empty `fn` throws std::bad_function_call once there is a row to show (the table is closed all the
    // same, and `mu` released).
    static void ForEach(std::function<void(uint16_t, const VoxelType&)>&& fn);

    vesmo::modular::ModuleID moduleId; // from the module text (null when the text is no module name)
    std::string name;
    uint32_t data = 0;         // the modules' word; stored, never interpreted
    uint16_t id = 0;           // the row in allVoxelTypes
    uint32_t textureIndex = 0; // low 16 bits of where the type's textures begin in the renderer's table

    static std::vector<VoxelType> allVoxelTypes;                          // by id; row 0 is the empty type
    static std::unordered_map<std::string, uint16_t> allVoxelTypesByName; // "module.name" to id
    static std::mutex mu;
    static bool locked;
    static VoxelType _empty;
};

} // namespace game
