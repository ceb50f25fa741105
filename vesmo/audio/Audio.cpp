#include "vesmo/audio/Audio.hpp"

namespace vesmo::audio {

const char* LibraryName() { return "VesmoAudio.so"; }

} // namespace vesmo::audio
