#include "formats/Encode.hpp"

#include "formats/BitmapRows.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/png/Png.hpp"

namespace tessel::detail {
std::optional<std::vector<std::uint8_t>> encode(const Bitmap& bitmap, SheetOutputFormat as,
                                                double quality) {
    if (!isWellFormed(bitmap)) return std::nullopt;
    if (as == SheetOutputFormat::jpeg) {
        // JPEG has no alpha: the premultiplied colour is the page composited over black.
        return encodeJPEG(bitmap.width, bitmap.height, jpegQualityScale(quality),
                          [&](std::int64_t y, std::uint8_t* row) { rgbRow(bitmap, y, row); });
    }
    if (isOpaque(bitmap)) {
        return encodePNG(bitmap.width, bitmap.height, PngColor::rgb,
                         [&](std::int64_t y, std::uint8_t* row) { rgbRow(bitmap, y, row); });
    }
    return encodePNG(bitmap.width, bitmap.height, PngColor::rgba,
                     [&](std::int64_t y, std::uint8_t* row) { straightRgbaRow(bitmap, y, row); });
}

}  // namespace tessel::detail
