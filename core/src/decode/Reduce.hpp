#pragma once
// Making a decoded picture smaller in memory, without going back to its file.

#include <cstdint>
#include <optional>

#include "base/Bitmap.hpp"

namespace tessel::detail {

/// `picture` with its longer side at most max(1, maxPixelSize), resampled as decoding reduces
/// opaque pictures (a triangle filter as wide as the reduction, on the premultiplied pixels);
/// never enlarged. Nothing when libvips fails.
std::optional<Bitmap> reducedPicture(const Bitmap& picture, std::int64_t maxPixelSize);

}  // namespace tessel::detail
