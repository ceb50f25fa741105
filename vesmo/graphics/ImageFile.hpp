#pragma once
// Writing pictures to disk, so that people and tests can look at what was drawn.

#include <cstdint>
#include <string>

namespace vesmo::graphics {

// Writes `width` * `height` pixels of 32 bits, row-major, as an 8-bit RGBA PNG file. Each pixel's bytes
// in memory are taken as red, green, blue, alpha (0xAABBGGRR read as a number on this little-endian
// platform), the layout of an R8G8B8A8 texture. Alpha is written as stored. Returns false when the file
// can't be written.
bool WritePng(const std::string& path, int width, int height, const uint32_t* pixels);

} // namespace vesmo::graphics
