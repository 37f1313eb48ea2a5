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

/// What a picture is decoded for.
struct DecodeRequest {
    /// The longer side at most (raised to 1); never enlarged.
    std::int64_t maxPixelSize = 1;
    /// A JPEG is decoded at the smallest DCT scale that leaves its longer side at least this
    /// (0: `maxPixelSize`), then reduced to `maxPixelSize` when it is still larger: a caller
    /// that can take a picture a little smaller than the bound saves the larger scale and the
    /// reduction, and one that asks for more than it keeps decodes finer detail before a
    /// single reduction.
    std::int64_t minimumPixelSize = 0;
    /// The longer side at which the picture is drawn. A camera RAW file's largest embedded
    /// preview is used when it reaches this size; below it the sensor data is developed (at
    /// half size when that reaches it). Absent: the embedded preview whatever its size, never
    /// the sensor data, as list thumbnails are made.
    std::optional<std::int64_t> drawnPixelSize{};
    /// Decoding is given up, with nothing, once this is raised (JPEG and RAW).
    const std::atomic<bool>* stop = nullptr;
    /// How opaque pictures are reduced: a triangle for pictures drawn smaller again, a sharper
    /// one for a picture decoded for the size it is drawn at.
    ReduceFilter filter = ReduceFilter::linear;
};

/// Decodes image 0 of `file` from its full image (never an embedded thumbnail; a camera RAW
/// file's embedded preview as `request` allows), with its orientation applied, converted to
/// sRGB and bounded as `request` says. Nothing when the file cannot be opened or any part of
/// it fails to decode: a truncated or corrupt file never yields a partly grey picture. When
/// nothing is decoded and `cause` is given, it receives why, worded as the cause of
/// `TesselError::cannotRead`.
std::optional<Bitmap> decodeUpright(const std::filesystem::path& file, const DecodeRequest& request,
                                    std::string* cause = nullptr);

/// `decodeUpright` with `request` given field by field; a camera RAW file's preview is used
/// when it reaches `maxPixelSize`.
inline std::optional<Bitmap> decodeUpright(const std::filesystem::path& file,
                                           std::int64_t maxPixelSize,
                                           std::int64_t minimumPixelSize = 0,
                                           const std::atomic<bool>* stop = nullptr,
                                           ReduceFilter filter = ReduceFilter::linear,
                                           std::string* cause = nullptr) {
    return decodeUpright(file, {maxPixelSize, minimumPixelSize, maxPixelSize, stop, filter}, cause);
}

}  // namespace tessel::detail
