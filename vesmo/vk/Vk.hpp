#pragma once
// The engine's vk area. The classes of this area arrive with the work that needs them.

namespace vesmo::vk {

// Name of the shared object that holds this area, for diagnostics.
const char* LibraryName();

} // namespace vesmo::vk
