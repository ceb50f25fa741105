#pragma once
// A texture: a 2D image of 8-bit RGBA pixels that the renderer's texture table refers to.
//
// Without a device a texture is its pixels in host memory, rows from the top, four bytes per pixel in the
// order red, green, blue, alpha; the device face uploads the same bytes into an image. A texture does not
// change once made, so one object may sit in the table several times and be read from any thread.
//
// `TextureRef` is how textures are passed around and kept: a shared pointer, since the table, the voxel
// types and the materials of a mesh may all hold the same texture.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vesmo::graphics {

class Texture {
public:
    static constexpr uint32_t Channels = 4;

    // `pixels` holds width * height * 4 bytes; a shorter vector is padded with transparent black, a longer
    // one cut.
    Texture(uint32_t width, uint32_t height, std::vector<uint8_t> pixels, std::string path = {});

    // Reads an image file (PNG, JPEG, BMP, TGA, the first frame of a GIF; anything stb_image reads) and
    // converts it to RGBA. Throws std::runtime_error "Cannot load texture <path>: <reason>" when the file is
    // missing or is no image.
    static std::shared_ptr<Texture> Load(const std::string& path);

    uint32_t Width() const { return _width; }
    uint32_t Height() const { return _height; }
    // The file it was loaded from; empty for a texture made from pixels.
    const std::string& Path() const { return _path; }
    const std::vector<uint8_t>& Pixels() const { return _pixels; }
    // One pixel as 0xAABBGGRR (red in the low byte); (0, 0) is the top left. Out of range reads 0.
    uint32_t Pixel(uint32_t x, uint32_t y) const;

private:
    uint32_t _width;
    uint32_t _height;
    std::vector<uint8_t> _pixels;
    std::string _path;
};

using TextureRef = std::shared_ptr<Texture>;

} // namespace vesmo::graphics
