#pragma once
// A texture: a 2D image that the renderer's texture table refers to.
//
// The base class is an image of 8-bit RGBA pixels that doesn't change once made: its pixels in host
// memory, rows from the top, four bytes per pixel in the order red, green, blue, alpha. One object may sit
// in the table several times and be read from any thread.
//
// The device side. When a texture enters the table of a renderer that has a device, the renderer calls
// Upload(device): the base makes a VK_FORMAT_R8G8B8A8_UNORM image from the pixels, leaves it in
// VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL, and GetImageView() gives its view. Without a device nothing is
// uploaded and GetImageView() stays null; the table works the same.
//
// The image belongs to the device: every holder drops its textures before the renderer that owns the
// device goes (the game clears its table and trash in GameRenderer::Cleanup).
//
// Textures whose content changes (DynamicAsyncTexture, ComputeTexture) derive from this class: Push is
// called on the render thread with the frame's command buffer, for what must be recorded each frame (a new
// image from the web view, a compute pass); the base Push does nothing. Reload reads the file again.
//
// `TextureRef` is how textures are passed around and kept: a shared pointer, since the table, the voxel
// types and the materials of a mesh may all hold the same texture.

#include "vesmo/vk/Image.hpp"

#include <vulkan/vulkan.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vesmo::vk {
class Device;
}

namespace vesmo::graphics {

class Texture {
public:
    static constexpr uint32_t Channels = 4;

    // `pixels` holds width * height * 4 bytes; a shorter vector is padded with transparent black, a longer
    // one cut.
    Texture(uint32_t width, uint32_t height, std::vector<uint8_t> pixels, std::string path = {});
    virtual ~Texture();

    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    // Reads an image file (PNG, JPEG, BMP, TGA, the first frame of a GIF; anything stb_image reads) and
    // converts it to RGBA. Throws std::runtime_error "Cannot load texture <path>: <reason>" when the file is
    // missing or is no image.
    static std::shared_ptr<Texture> Load(const std::string& path);

    // Writes pixels to an image file, by the path's extension: ".png" (8-bit data; float data is clamped to
    // [0, 1] and scaled to 8 bits), ".hdr" (float data), ".jpg" (8-bit, `quality` 1 to 100, 0 for 90),
    // ".bmp", ".tga". `data` holds width * height * channels values, bytes or floats by `isFloat`, rows
    // from the top. Throws std::runtime_error "Cannot save image <path>" when the file can't be written or
    // the extension is none of these.
    static void SaveFile(const std::string& path, uint32_t width, uint32_t height, uint32_t channels, bool isFloat,
                         const void* data, int quality = 0);

    uint32_t Width() const { return _width; }
    uint32_t Height() const { return _height; }
    // The file it was loaded from; empty for a texture made from pixels.
    const std::string& Path() const { return _path; }
    // The host pixels (empty for textures that live on the device only, such as ComputeTexture).
    const std::vector<uint8_t>& Pixels() const { return _pixels; }
    // One pixel as 0xAABBGGRR (red in the low byte); (0, 0) is the top left. Out of range reads 0.
    uint32_t Pixel(uint32_t x, uint32_t y) const;

    // ---- the device side
    // Makes the image on `device` (once; later calls do nothing). Any thread: it waits for its upload.
    virtual void Upload(vk::Device* device);
    // Per-frame recording on the render thread; the base does nothing.
    virtual void Push(VkCommandBuffer commandBuffer);
    // Reads the file again (a texture made from pixels keeps them) and uploads it again where it was.
    virtual void Reload();
    // The image's view and layout for sampling; null before Upload and without a device.
    VkImageView GetImageView() const;
    VkImageLayout GetImageLayout() const { return _sampledLayout; }
    const vk::Image* GetImage() const { return _image.get(); }

protected:
    // For derived textures that keep no host pixels.
    Texture(uint32_t width, uint32_t height, std::string path);

    uint32_t _width;
    uint32_t _height;
    std::vector<uint8_t> _pixels;
    std::string _path;

    mutable std::mutex _deviceMutex; // guards _image and _view
    std::unique_ptr<vk::Image> _image;
    std::unique_ptr<vk::ImageView> _view;
    VkImageLayout _sampledLayout = VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL;
};

using TextureRef = std::shared_ptr<Texture>;

} // namespace vesmo::graphics
