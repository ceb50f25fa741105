#pragma once
// The engine's audio area: the Studio (Studio.hpp), its bank format (Bank.hpp) and its OpenAL device
// (Device.hpp, used by the studio alone).

namespace vesmo::audio {

// Name of the shared object that holds this area, for diagnostics.
const char* LibraryName();

} // namespace vesmo::audio
