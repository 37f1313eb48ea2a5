#pragma once
// Decoding an image held in memory, such as a list thumbnail that was made earlier.

#include <cstdint>
#include <optional>
#include <span>

#include "base/Bitmap.hpp"

namespace tessel::detail {

/// Decodes the image file `bytes` hold (any format libvips reads), upright, in sRGB, its
/// longer side at most max(1, maxPixelSize) and never enlarged. For small images already
/// decoded once: no decoding budget is applied. Nothing when it cannot be decoded.
std::optional<Bitmap> decodeImageBytes(std::span<const std::uint8_t> bytes,
                                       std::int64_t maxPixelSize);

}  // namespace tessel::detail
