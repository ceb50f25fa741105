#pragma once
// vesmo::renderer::Upscaler: how the picture drawn at the render size reaches the output size.
//
// This engine has one algorithm, "NONE": the render size is the output size times the render scale, and
// the frame's passes draw at that size; no temporal accumulation, no sharpening. The names are looked up
// without regard to case, and a name the engine doesn't know is NONE, so a settings file written for an
// engine with more algorithms still starts.

#include <cstdint>
#include <string>

namespace vesmo::renderer {

class Upscaler {
public:
    enum class Algo : int32_t {
        NONE = 0,
    };

    // "NONE", "none", "" and unknown names give NONE.
    static Algo GetAlgoEnumFromStr(const std::string& name);
    // The upper-case name: "NONE".
    static const char* GetAlgoName(Algo algo);
    // True for algorithms that accumulate over frames (and want jittered camera rays); false for NONE.
    static bool IsTemporal(Algo algo);
};

} // namespace vesmo::renderer
