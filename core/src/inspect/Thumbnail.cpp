#include <algorithm>

#include "tessel/Inspection.hpp"

#include "decode/Decode.hpp"
#include "formats/Encode.hpp"

namespace tessel {

std::optional<std::vector<std::uint8_t>> TesselRenderer::thumbnailData(
    const std::filesystem::path& file, std::int64_t maxPixelSize) {
    // The same bounded, upright decoding that pages use, so a list row shows what the sheet
    // will show.
    const std::optional<detail::Bitmap> picture =
        detail::decodeUpright(file, std::max<std::int64_t>(maxPixelSize, 1));
    if (!picture) return std::nullopt;
    return detail::encodeThumbnail(*picture);
}

}  // namespace tessel
