#include "vesmo/graphics/Graphics.hpp"

namespace vesmo::graphics {

const char* LibraryName() { return "VesmoGraphics.so"; }

} // namespace vesmo::graphics
