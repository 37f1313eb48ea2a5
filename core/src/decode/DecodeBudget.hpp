#pragma once
// How much memory decoding an image file will take, judged from its headers before any pixel
// is decoded, and the budget that refuses files that would take too much.

#include <cstdint>
#include <filesystem>
#include <string>

#include <vips/vips.h>

namespace tessel::detail {

/// What the loader of `file` holds at once while decoding it, from `header` (a libvips image
/// of the file whose pixels have not been read) and, for JPEG and TIFF, the file's own
/// headers: a progressive JPEG's coefficients, an interlaced PNG's whole image, a GIF's
/// canvas, a HEIF image and its planes, a TIFF's largest strip. Formats decoded a few rows at
/// a time count nothing. The maximum when `file`'s headers cannot be read.
std::uint64_t loaderBytes(VipsImage* header, const std::filesystem::path& file);

/// Whether a loader holding `loaderBytes` at once, decoding a `width` × `height` image to at
/// most `maxPixelSize` on its longer side (0: only the loader's own needs), stays within
/// `TesselRenderer::decodingBudget()`.
bool withinDecodingBudget(std::uint64_t loaderBytes, double width, double height,
                          std::int64_t maxPixelSize);

/// Whether decoding `file` to at most `maxPixelSize` on its longer side (0: only the
/// loader's own needs) stays within `TesselRenderer::decodingBudget()`.
bool withinDecodingBudget(VipsImage* header, const std::filesystem::path& file,
                          std::int64_t maxPixelSize = 0);

/// The same, reading the header of `file` first (false when it cannot be read).
bool withinDecodingBudget(const std::filesystem::path& file, std::int64_t maxPixelSize);

/// The cause for an image of `width` × `height` pixels refused by the budget: "The image is
/// too large to decode within the memory budget (4,290 megapixels).".
std::string budgetCause(double width, double height);

/// Why `withinDecodingBudget(file, ...)` refused `file`: its size as `budgetCause` gives it,
/// or why its header could not be read.
std::string budgetRefusalCause(const std::filesystem::path& file);

}  // namespace tessel::detail
