#include <algorithm>

#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "decode/Decode.hpp"
#include "decode/Reduce.hpp"
#include "formats/Encode.hpp"
#include "render/CellPictures.hpp"
#include "render/PictureStore.hpp"

namespace tessel {

std::optional<std::int64_t> TesselRenderer::pictureBound(const SheetRecipe& recipe) {
    try {
        return detail::decodeSize(cells(1, recipe).front().imageFrame);
    } catch (const TesselError&) {
        return std::nullopt;
    }
}

std::optional<std::vector<std::uint8_t>> TesselRenderer::thumbnailData(
    const std::filesystem::path& file, std::int64_t maxPixelSize, PictureCache& cache,
    std::int64_t pictureBound) {
    const std::int64_t size = std::max<std::int64_t>(maxPixelSize, 1);
    if (pictureBound <= size) return thumbnailData(file, size);
    const auto decode = [&] {
        std::optional<detail::Bitmap> decoded = detail::decodeUpright(file, pictureBound);
        if (!decoded) throw TesselError::cannotRead(file.filename().string());
        return std::move(*decoded);
    };
    try {
        const detail::SharedPicture picture =
            detail::PictureStore::picture(cache, file, pictureBound, CachedPictures::exact, decode);
        const std::optional<detail::Bitmap> thumbnail = detail::reducedPicture(*picture, size);
        if (!thumbnail) return std::nullopt;
        return detail::encodeThumbnail(*thumbnail);
    } catch (const TesselError&) {
        return std::nullopt;
    }
}

}  // namespace tessel
