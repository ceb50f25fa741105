#include "vesmo/renderer/Renderer.hpp"

namespace vesmo::renderer {

const char* LibraryName() { return "VesmoRenderer.so"; }

} // namespace vesmo::renderer
