#include "vesmo/graphics/ImageDecoder.hpp"

#include <climits>
#include <cstring>

// At -O3, g++ 12 inlines stb's reader into DecodeImageRgba8 and then takes a callback field of stb's context
// for possibly uninitialised on a path that memory decoding never takes; the warning lands on this file.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

// The decoder's functions stay private to this file, so another part of the engine that builds stb's image
// code for itself, or the system's libstb, can't clash with it.
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_NO_STDIO
#define STBI_FAILURE_USERMSG
#include <stb/stb_image.h>

namespace vesmo::graphics {

bool DecodeImageRgba8(const unsigned char* data, unsigned long size, DecodedImage& image) {
    if (data == nullptr || size == 0 || size > static_cast<unsigned long>(INT_MAX))
        return false;
    int width = 0;
    int height = 0;
    int channels = 0;
    stbi_uc* pixels = stbi_load_from_memory(data, static_cast<int>(size), &width, &height, &channels, 4);
    if (pixels == nullptr)
        return false;
    image.width = static_cast<std::uint32_t>(width);
    image.height = static_cast<std::uint32_t>(height);
    image.pixels.assign(pixels, pixels + static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    stbi_image_free(pixels);
    return true;
}

} // namespace vesmo::graphics
