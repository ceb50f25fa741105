#include "vesmo/renderer/Upscaler.hpp"

namespace vesmo::renderer {

Upscaler::Algo Upscaler::GetAlgoEnumFromStr(const std::string&) {
    // NONE is the one algorithm of this engine, so every name, known elsewhere or not, comes to it.
    return Algo::NONE;
}

const char* Upscaler::GetAlgoName(Algo) { return "NONE"; }

bool Upscaler::IsTemporal(Algo) { return false; }

} // namespace vesmo::renderer
