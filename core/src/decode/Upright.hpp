#pragma once
// The last steps every decoded picture takes in libvips: reduced to its size and turned upright.

#include <cstdint>
#include <span>
#include <vector>

#include "decode/Reduce.hpp"
#include "decode/Vips.hpp"
#include "formats/jpeg/Jpeg.hpp"

namespace tessel::detail {

/// `operation(in, &out)` on `in`; an empty reference when it fails.
template <class Operation>
VipsImageRef apply(const VipsImageRef& in, Operation operation) {
    VipsImageRef out;
    if (operation(in.get(), out.out()) != 0) return {};
    return out;
}

/// Reduces a loaded image to `size` on its longer side (never enlarging) and turns it upright
/// by its orientation. Opaque images are resampled with `filter`: a triangle as wide as the
/// reduction for pictures that pages draw smaller still with cairo's own high-quality filter,
/// where a sharper kernel only costs time. Images with alpha go through libvips's thumbnail,
/// which resamples them premultiplied.
VipsImageRef reducedUpright(const VipsImageRef& image, int size, ReduceFilter filter);

/// A picture of interleaved 8-bit `samples` (1 or 3 bands, rows without padding), which it
/// owns from now on, shown in EXIF `orientation` (1 to 8) and described by `iccProfile`
/// (sRGB when empty).
VipsImageRef pictureOfSamples(std::vector<std::uint8_t> samples, std::int64_t width,
                              std::int64_t height, int bands, int orientation,
                              std::span<const std::uint8_t> iccProfile);

/// The same for a JPEG decoded at a reduced scale, whose pixels it takes.
VipsImageRef pictureOfSamples(ScaledJpeg decoded, int orientation,
                              std::span<const std::uint8_t> iccProfile);

}  // namespace tessel::detail
