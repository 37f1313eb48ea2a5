#include <algorithm>

#include "tessel/Render.hpp"

#include "decode/Decode.hpp"
#include "decode/Reduce.hpp"
#include "formats/Encode.hpp"
#include "render/PictureStore.hpp"

namespace tessel {

std::optional<std::vector<std::uint8_t>> TesselRenderer::thumbnailData(
    const std::filesystem::path& file, std::int64_t maxPixelSize, PictureCache& cache,
    const RenderCancellation* cancellation) {
    const std::int64_t size = std::max<std::int64_t>(maxPixelSize, 1);
    const detail::SharedPicture picture = detail::PictureStore::atLeast(cache, file, size);
    if (!picture) {
        // A camera RAW file's thumbnail comes from the pictures it embeds, never from its
        // sensor data: developing takes a hundred times as long.
        const std::optional<detail::Bitmap> decoded =
            detail::decodeUpright(file, {.maxPixelSize = size,
                                         .minimumPixelSize = size,
                                         .drawnPixelSize = std::nullopt,
                                         .stop = cancellation ? &cancellation->flag() : nullptr});
        if (!decoded) return std::nullopt;
        return detail::encodeThumbnail(*decoded);
    }
    const std::optional<detail::Bitmap> thumbnail =
        detail::reducedPicture(*picture, size, detail::ReduceFilter::cubic);
    if (!thumbnail) return std::nullopt;
    return detail::encodeThumbnail(*thumbnail);
}

}  // namespace tessel
