// The PNG chunk walk on arbitrary bytes: inspection's walk (checksums, frame counts, eXIf)
// and the PDF writer's view of the chunks must never crash or read out of bounds, and the
// image data the view hands out must lie inside the input.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "formats/png/Png.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tessel::detail;
    const std::span<const std::uint8_t> bytes(data, size);
    const auto facts = walkPng(bytes);
    if (facts && facts->frameCount && *facts->frameCount < 1) std::abort();
    if (const auto parts = readPNGParts(bytes)) {
        for (const auto chunk : parts->imageData)
            if (chunk.data() < data || chunk.data() + chunk.size() > data + size) std::abort();
    }
    return 0;
}
