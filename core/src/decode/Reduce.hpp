#pragma once
// Making a decoded picture smaller in memory, without going back to its file.

#include <cstdint>
#include <optional>

#include "base/Bitmap.hpp"

namespace tessel::detail {

/// How a reduction weighs the pixels it averages.
enum class ReduceFilter {
    /// A triangle as wide as the reduction, as decoding reduces opaque pictures: for pictures
    /// that are drawn smaller again.
    linear,
    /// Catmull-Rom, about as sharp as cairo's filter: for pictures put down as they are. (Not
    /// Lanczos: its many taps take a vector path of libvips 8.14 that corrupts memory now and
    /// then when several threads reduce at once.)
    cubic,
};

/// `picture` with its longer side at most max(1, maxPixelSize), resampled with `filter` on the
/// premultiplied pixels; never enlarged. Nothing when libvips fails.
std::optional<Bitmap> reducedPicture(const Bitmap& picture, std::int64_t maxPixelSize,
                                     ReduceFilter filter = ReduceFilter::linear);

}  // namespace tessel::detail
