#pragma once
// What the server-side entity's files agree on about parent ids (private to game/entity).

#include "game/entity/common.hpp"

namespace game::entity::detail {

// An id names a parent (or is taken as given by the constructor) only when both its words are set.
inline bool HasParentId(const Id& id) { return id.First() != 0 && id.Second() != 0; }

} // namespace game::entity::detail
