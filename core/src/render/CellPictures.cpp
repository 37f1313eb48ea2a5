#include "render/CellPictures.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "tessel/TesselError.hpp"

#include "base/Fatal.hpp"
#include "decode/Decode.hpp"
#include "draw/PageCanvas.hpp"

namespace tessel::detail {

std::int64_t decodeSize(const SheetRect& imageFrame) {
    const double longer = std::max(imageFrame.width, imageFrame.height) * 2.2;
    return std::max<std::int64_t>(1, wholePart(longer, "decode size out of range"));
}

std::int64_t drawnSize(const SheetInput& input, const SheetCell& cell, SheetFit fit) {
    const double scale = drawingScale(input.info.width, input.info.height, cell.imageFrame, fit);
    const auto longer = static_cast<double>(std::max(input.info.width, input.info.height));
    if (!(scale > 0)) return 1;
    return std::max<std::int64_t>(1,
                                  wholePart(std::ceil(longer * scale), "drawn size out of range"));
}

Bitmap decodeForCell(const SheetInput& input, const SheetCell& cell, bool nearest,
                     const RenderCancellation* cancellation, SheetFit fit) {
    const std::int64_t bound = decodeSize(cell.imageFrame);
    // Four fifths of the bound still keep 1.7 pixels per pixel of the cell; for a camera JPEG
    // that is often the next smaller DCT scale, decoded faster and with nothing to reduce.
    std::string cause;
    auto picture = decodeUpright(input.url,
                                 {.maxPixelSize = bound,
                                  .minimumPixelSize = nearest ? (bound * 4 + 4) / 5 : bound,
                                  .drawnPixelSize = drawnSize(input, cell, fit),
                                  .stop = cancellation ? &cancellation->flag() : nullptr},
                                 &cause);
    if (!picture) throw TesselError::cannotRead(input.url.filename().string()).withCause(cause);
    return std::move(*picture);
}

std::optional<std::int64_t> finalSize(const SheetInput& input, const SheetCell& cell,
                                      SheetFit fit) {
    const std::int64_t bound = decodeSize(cell.imageFrame);
    const std::int64_t longer = std::max(input.info.width, input.info.height);
    const double scale = drawingScale(input.info.width, input.info.height, cell.imageFrame, fit);
    if (!(scale > 0 && scale < 1)) return std::nullopt;
    const auto drawn = std::llround(static_cast<double>(longer) * scale);
    if (drawn < 1 || drawn >= bound) return std::nullopt;
    return drawn;
}

SharedPicture pictureForCell(const SheetInput& input, const SheetCell& cell, PictureCache* cache,
                             CachedPictures reuse, SheetFit fit,
                             const RenderCancellation* cancellation) {
    if (reuse == CachedPictures::exact) {
        if (const std::optional<std::int64_t> drawn = finalSize(input, cell, fit)) {
            // Decoded at the scale the bound asks for, then reduced once, with a cubic filter,
            // to the size the cell draws it at: no copy at the bound, no resampling by cairo.
            const auto decode = [&] {
                std::string cause;
                auto picture =
                    decodeUpright(input.url,
                                  {.maxPixelSize = *drawn,
                                   .minimumPixelSize = decodeSize(cell.imageFrame),
                                   .drawnPixelSize = *drawn,
                                   .stop = cancellation ? &cancellation->flag() : nullptr,
                                   .filter = ReduceFilter::cubic},
                                  &cause);
                if (!picture)
                    throw TesselError::cannotRead(input.url.filename().string()).withCause(cause);
                return std::move(*picture);
            };
            if (!cache) return std::make_shared<const Bitmap>(decode());
            return PictureStore::picture(*cache, input.url, *drawn, reuse, decode, true);
        }
    }
    if (!cache)
        return std::make_shared<const Bitmap>(decodeForCell(input, cell, false, cancellation, fit));
    SharedPicture picture =
        PictureStore::picture(*cache, input.url, decodeSize(cell.imageFrame), reuse, [&] {
            return decodeForCell(input, cell, reuse == CachedPictures::nearest, cancellation, fit);
        });
    if (reuse != CachedPictures::nearest) return picture;
    // Below this scale cairo's filter averages a box of pixels for every pixel it draws, about
    // 3.5 ms for a contact-sheet cell; a picture at its drawn size is put down in a tenth of it.
    constexpr double kKeepDrawnBelowScale = 0.75;
    const double scale = drawingScale(picture->width, picture->height, cell.imageFrame, fit);
    if (!(scale > 0 && scale < kKeepDrawnBelowScale)) return picture;
    const auto longer = static_cast<double>(std::max(picture->width, picture->height));
    const auto drawnSize = std::max<std::int64_t>(1, std::llround(longer * scale));
    return PictureStore::drawnPicture(*cache, input.url, drawnSize, picture);
}

}  // namespace tessel::detail
