#include <algorithm>

#include "tessel/Inspection.hpp"

#include "decode/Decode.hpp"
#include "formats/Encode.hpp"

namespace tessel {

std::optional<std::vector<std::uint8_t>> TesselRenderer::thumbnailData(
    const std::filesystem::path& file, std::int64_t maxPixelSize) {
    // The same bounded, upright decoding that pages use, so a list row shows what the sheet
    // will show; a camera RAW file's from the pictures it embeds, never from its sensor data.
    const std::optional<detail::Bitmap> picture = detail::decodeUpright(
        file,
        {.maxPixelSize = std::max<std::int64_t>(maxPixelSize, 1), .drawnPixelSize = std::nullopt});
    if (!picture) return std::nullopt;
    return detail::encodeThumbnail(*picture);
}

}  // namespace tessel
