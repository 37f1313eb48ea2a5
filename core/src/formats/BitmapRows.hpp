#pragma once
// Row conversions from the premultiplied page bitmap into the straight-alpha rows that PNG,
// JPEG and PDF images hold, and back.

#include <cstdint>

#include "base/Bitmap.hpp"

namespace tessel::detail {

/// True when the size is at least 1 × 1, each side at most 2^30, and `pixels` holds every
/// row.
bool isWellFormed(const Bitmap& bitmap);

/// True when every pixel's alpha is 255.
bool isOpaque(const Bitmap& bitmap);

/// Row `y` as R, G, B bytes with the premultiplied colour kept as it is, which is the page
/// composited over black (used only for pixels that are opaque, or for JPEG which has no
/// alpha). `out` holds width * 3 bytes.
void rgbRow(const Bitmap& bitmap, std::int64_t y, std::uint8_t* out);

/// Row `y` as R, G, B, A bytes with the colour un-premultiplied. `out` holds width * 4 bytes.
void straightRgbaRow(const Bitmap& bitmap, std::int64_t y, std::uint8_t* out);

/// The bitmap of `width` × `height` straight R, G, B, A pixels (`rgba` holds them all, rows
/// top first), premultiplied.
Bitmap bitmapFromStraightRgba(const std::uint8_t* rgba, std::int64_t width, std::int64_t height);

}  // namespace tessel::detail
