#pragma once
// The engine's audio area. The classes of this area arrive with the work that needs them.

namespace vesmo::audio {

// Name of the shared object that holds this area, for diagnostics.
const char* LibraryName();

} // namespace vesmo::audio
