#pragma once
// Bounded, upright decoding of image files through libvips.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "base/Bitmap.hpp"
#include "decode/Reduce.hpp"

namespace tessel::detail {

/// Starts libvips once per process (safe under concurrent first use).
void ensureVipsStarted();

/// Starts libvips, and the decoder `file` needs when decoders start on demand
/// (`TesselRenderer::startDecodersOnDemand`): before libvips is asked which loader reads it.
void ensureDecodersFor(const std::filesystem::path& file);

/// Decodes image 0 of `file` from its full image (never an embedded thumbnail), with its
/// orientation applied, converted to sRGB, its longer side at most max(1, maxPixelSize) and
/// never enlarged. Nothing when the file cannot be opened or any part of it fails to decode:
/// a truncated or corrupt file never yields a partly grey picture.
///
/// A JPEG is decoded at the smallest DCT scale that leaves its longer side at least
/// `minimumPixelSize` (0 means `maxPixelSize`), then reduced to `maxPixelSize` when it is
/// still larger: a caller that can take a picture a little smaller than the bound saves the
/// larger scale and the reduction, and one that asks for more than it keeps decodes finer
/// detail before a single reduction. A JPEG's decoding is given up, with
/// nothing, once `stop` is raised. Opaque pictures are reduced with `filter`: a triangle for
/// pictures drawn smaller again, a sharper one for a picture decoded for the size it is drawn
/// at. When nothing is decoded and `cause` is given, it receives why, worded as the cause of
/// `TesselError::cannotRead`.
std::optional<Bitmap> decodeUpright(const std::filesystem::path& file, std::int64_t maxPixelSize,
                                    std::int64_t minimumPixelSize = 0,
                                    const std::atomic<bool>* stop = nullptr,
                                    ReduceFilter filter = ReduceFilter::linear,
                                    std::string* cause = nullptr);

}  // namespace tessel::detail
