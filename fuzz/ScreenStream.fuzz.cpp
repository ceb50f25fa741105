// The pixel screen's compressed stream, inflated into screens of a few sizes: the first input byte picks
// the size, the rest is the stream.

#include "FuzzSupport.hpp"

#include "game/visual/VesmoScreen.hpp"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    static const size_t sizes[] = {0, 4, 64, 4 * 32 * 16, 4 * 320 * 200};
    std::vector<uint8_t> pixels(sizes[data[0] % 5]);
    const std::vector<unsigned char> stream(data + 1, data + size);
    FUZZ_BODY({ VesmoScreen::Deserialize(stream, pixels.data(), pixels.size()); });
    return 0;
}
