#include "vesmo/graphics/ImageFile.hpp"

// Internal linkage for the same reason as the font rasteriser: no clash with other copies in the process.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wsign-compare"
#define STB_IMAGE_WRITE_STATIC
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>
#pragma GCC diagnostic pop

namespace vesmo::graphics {

bool WritePng(const std::string& path, int width, int height, const uint32_t* pixels) {
    if (width <= 0 || height <= 0 || pixels == nullptr)
        return false;
    return stbi_write_png(path.c_str(), width, height, 4, pixels, width * 4) != 0;
}

} // namespace vesmo::graphics
