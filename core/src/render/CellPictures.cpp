#include "render/CellPictures.hpp"

#include <algorithm>

#include "tessel/TesselError.hpp"

#include "base/Fatal.hpp"
#include "decode/Decode.hpp"

namespace tessel::detail {

std::int64_t decodeSize(const SheetRect& imageFrame) {
    const double longer = std::max(imageFrame.width, imageFrame.height) * 2.2;
    return std::max<std::int64_t>(1, wholePart(longer, "decode size out of range"));
}

Bitmap decodeForCell(const SheetInput& input, const SheetCell& cell) {
    auto picture = decodeUpright(input.url, decodeSize(cell.imageFrame));
    if (!picture) throw TesselError::cannotRead(input.url.filename().string());
    return std::move(*picture);
}

SharedPicture pictureForCell(const SheetInput& input, const SheetCell& cell, PictureCache* cache,
                             CachedPictures reuse) {
    if (!cache) return std::make_shared<const Bitmap>(decodeForCell(input, cell));
    return PictureStore::picture(*cache, input.url, decodeSize(cell.imageFrame), reuse,
                                 [&] { return decodeForCell(input, cell); });
}

}  // namespace tessel::detail
