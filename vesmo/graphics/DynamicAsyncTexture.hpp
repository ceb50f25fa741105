#pragma once
// A texture of fixed size whose content arrives, encoded, from any thread.
//
// Load takes an encoded image (PNG, JPEG and the other formats of ImageDecoder.hpp), decodes it on the
// caller's thread into 8-bit RGBA and makes it the texture's content, so the thread that produces images
// (the web view's read thread) pays for the decoding and the render thread only copies. An image of
// another size than the texture's is scaled to it, nearest pixel, so a view whose page was laid out a pixel
// off still fills the whole surface. Bytes that don't decode leave the content as it was.
//
// The content is host memory, read with CopyPixels or Pixel; Generation() counts the images taken, so a
// reader can tell that something new came. All operations are safe from any thread.
//
// It is a Texture: added to a renderer's table on a device, it gets an R8G8B8A8_UNORM image, and Push
// (render thread, the frame's command buffer; the game renderer calls it for its pushed textures) copies
// the newest content into it when a new image came since the last Push. Texture::Pixels() of this class
// is empty: the content changes, read it with CopyPixels.

#include "vesmo/graphics/Texture.hpp"
#include "vesmo/vk/Buffer.hpp"

#include <array>
#include <cstdint>
#include <mutex>
#include <vector>

namespace vesmo::graphics {

class DynamicAsyncTexture : public Texture {
public:
    static constexpr std::uint32_t Channels = 4; // RGBA, 8 bits each

    // A texture of width x height pixels, transparent black until the first image comes.
    DynamicAsyncTexture(std::uint32_t width, std::uint32_t height);

    // Decodes and takes one encoded image. False when the bytes aren't an image.
    bool Load(const unsigned char* data, unsigned long size);

    // Number of images taken so far.
    std::uint64_t Generation() const;

    // Copies the content (Width() * Height() * 4 bytes, rows from the top) and returns its generation.
    std::uint64_t CopyPixels(std::vector<unsigned char>& out) const;

    // One pixel of the content as R, G, B, A; (0, 0) is the top left.
    std::array<unsigned char, 4> Pixel(std::uint32_t x, std::uint32_t y) const;

    // Makes the image (transparent black, or the content so far).
    void Upload(vk::Device* device) override;
    // Records the copy of a content newer than the image's.
    void Push(VkCommandBuffer commandBuffer) override;
    // Nothing to read again: the content comes from Load.
    void Reload() override {}

private:
    mutable std::mutex _mutex; // guards the two below
    std::vector<unsigned char> _content;
    std::uint64_t _generation = 0;

    // Render thread only: one staging buffer per frame in flight, so a copy never overwrites bytes that a
    // frame still reads.
    std::vector<vk::Buffer> _staging;
    std::uint32_t _nextStaging = 0;
    std::uint64_t _pushedGeneration = 0;
};

} // namespace vesmo::graphics
