#pragma once
// The raster that passes between decoding, page drawing and encoding.

#include <cstdint>
#include <vector>

namespace tessel::detail {

/// Pixels in cairo's ARGB32 layout: premultiplied alpha, one native-endian 32-bit word per
/// pixel (bytes B, G, R, A on little-endian machines), rows of exactly `width * 4` bytes,
/// top row first.
struct Bitmap {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::vector<std::uint8_t> pixels;

    std::int64_t stride() const { return width * 4; }
};

}  // namespace tessel::detail
