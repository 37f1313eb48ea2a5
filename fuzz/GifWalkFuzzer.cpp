// The GIF block walk on arbitrary bytes: it must never crash or read out of bounds, and a
// file it accepts holds at least one image.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "formats/gif/Gif.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto facts = tessel::detail::walkGif(std::span<const std::uint8_t>(data, size));
    if (facts && (!facts->frameCount || *facts->frameCount < 1)) std::abort();
    return 0;
}
