#include "formats/Encode.hpp"

#include <algorithm>

#include "formats/BitmapRows.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/png/Png.hpp"

namespace tessel::detail {
namespace {

PngTags pngTags(const PageTags& tags) { return {tags.pixelsPerInch, !tags.srgbProfile.empty()}; }

}  // namespace

std::optional<std::vector<std::uint8_t>> encode(const Bitmap& bitmap, SheetOutputFormat as,
                                                double quality, bool compressed,
                                                const PageTags& tags) {
    if (!isWellFormed(bitmap)) return std::nullopt;
    if (as == SheetOutputFormat::jpeg) {
        // JPEG has no alpha: the premultiplied colour is the page composited over black.
        return encodeJPEG(bitmap.width, bitmap.height, jpegQualityScale(quality),
                          [&](std::int64_t y, std::uint8_t* row) { rgbRow(bitmap, y, row); },
                          {tags.pixelsPerInch, tags.srgbProfile});
    }
    if (isOpaque(bitmap)) {
        return encodePNG(
            bitmap.width, bitmap.height, PngColor::rgb,
            [&](std::int64_t y, std::uint8_t* row) { rgbRow(bitmap, y, row); }, compressed,
            pngTags(tags));
    }
    return encodePNG(
        bitmap.width, bitmap.height, PngColor::rgba,
        [&](std::int64_t y, std::uint8_t* row) { straightRgbaRow(bitmap, y, row); }, compressed,
        pngTags(tags));
}

std::optional<std::vector<std::uint8_t>> encodeThumbnail(const Bitmap& picture) {
    constexpr double thumbnailQuality = 0.78;
    return encode(picture, SheetOutputFormat::jpeg, thumbnailQuality);
}

OpaquePageWriter::OpaquePageWriter(std::unique_ptr<PngRowWriter> png) : png_(std::move(png)) {}

OpaquePageWriter::~OpaquePageWriter() = default;

std::unique_ptr<OpaquePageWriter> OpaquePageWriter::start(std::int64_t width, std::int64_t height,
                                                          bool compressed, const PageTags& tags) {
    auto png = PngRowWriter::start(width, height, PngColor::rgb, compressed, pngTags(tags));
    if (!png) return nullptr;
    return std::unique_ptr<OpaquePageWriter>(new OpaquePageWriter(std::move(png)));
}

void OpaquePageWriter::writeRows(const Bitmap& page, std::int64_t end) {
    png_->writeRows(std::min(end, page.height),
                    [&](std::int64_t y, std::uint8_t* row) { rgbRow(page, y, row); });
}

std::optional<std::vector<std::uint8_t>> OpaquePageWriter::finish(const Bitmap& page) {
    if (!isWellFormed(page) || !isOpaque(page)) return std::nullopt;
    writeRows(page, page.height);
    return png_->finish();
}

}  // namespace tessel::detail
