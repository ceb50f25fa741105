#include "vesmo/vk/Vk.hpp"

namespace vesmo::vk {

const char* LibraryName() { return "VesmoVk.so"; }

} // namespace vesmo::vk
