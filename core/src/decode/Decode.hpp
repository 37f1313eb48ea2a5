#pragma once
// Bounded, upright decoding of image files through libvips.

#include <cstdint>
#include <filesystem>
#include <optional>

#include "base/Bitmap.hpp"

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
std::optional<Bitmap> decodeUpright(const std::filesystem::path& file, std::int64_t maxPixelSize);

}  // namespace tessel::detail
