#pragma once
// The rows of Element::elements, kept apart from game/Chemistry because they are long plain data.

#include "game/chemistry/Chemistry.hpp"

#include <vector>

namespace game::detail {

// 119 rows, index = atomic number; row 0 is the placeholder "_".
std::vector<Element> PeriodicTable();

} // namespace game::detail
