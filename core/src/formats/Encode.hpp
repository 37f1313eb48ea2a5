#pragma once
// Page encoding: one bitmap as PNG or JPEG bytes, and pages as one PDF document.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tessel/SheetTypes.hpp"

#include "base/Bitmap.hpp"
#include "base/PageSpool.hpp"
#include "formats/pdf/PdfBuilder.hpp"
#include "formats/png/Png.hpp"

namespace tessel::detail {

/// What a page image says about itself: its density, and the sRGB profile its pixels are in.
struct PageTags {
    std::int64_t pixelsPerInch = 0;  ///< none when 0
    /// PNG pages get the sRGB chunk and JPEG pages these bytes; untagged when empty.
    std::span<const std::uint8_t> srgbProfile;
};

/// JPEG for `jpeg` (quality clamped to 0...1, NaN as 0), PNG for `png` and `pdf` (quality
/// ignored; rows stored as they are unless `compressed`), tagged with `tags`. Nothing when
/// encoding fails; never throws.
std::optional<std::vector<std::uint8_t>> encode(const Bitmap& bitmap, SheetOutputFormat as,
                                                double quality, bool compressed = true,
                                                const PageTags& tags = {});

/// A list thumbnail: `picture` as JPEG at quality 0.78.
std::optional<std::vector<std::uint8_t>> encodeThumbnail(const Bitmap& picture);

/// An opaque page encoded as PNG while it is drawn: rows go to the encoder as soon as
/// nothing drawn later can reach them, so little is left to encode once the last picture is
/// drawn. The bytes are those `encode` gives for the finished page.
class OpaquePageWriter {
public:
    /// Nothing when the page is out of PNG's range or the encoder cannot start.
    static std::unique_ptr<OpaquePageWriter> start(std::int64_t width, std::int64_t height,
                                                   bool compressed = true,
                                                   const PageTags& tags = {});
    ~OpaquePageWriter();
    OpaquePageWriter(const OpaquePageWriter&) = delete;
    OpaquePageWriter& operator=(const OpaquePageWriter&) = delete;

    /// Encodes the rows of `page` not yet encoded, up to, not including, row `end`.
    void writeRows(const Bitmap& page, std::int64_t end);
    /// The PNG file of the finished `page`; nothing when encoding failed.
    std::optional<std::vector<std::uint8_t>> finish(const Bitmap& page);

private:
    explicit OpaquePageWriter(std::unique_ptr<PngRowWriter> png);
    std::unique_ptr<PngRowWriter> png_;
};

/// The document information of a sheet: its `title`, the creator "Tessel {version}", the
/// creation date `created` (none when absent), and its RGB page images tagged with
/// `rgbProfile`.
PdfDocumentInfo sheetDocumentInfo(const std::string& title,
                                  std::optional<std::chrono::system_clock::time_point> created,
                                  std::span<const std::uint8_t> rgbProfile);

/// One PDF page per page that `encode` produced (PNG or JPEG bytes), each image stretched
/// over a media box of `size` points, with the document information `info`. The pages'
/// compressed data is reused as it is wherever PDF can hold it, so no page is compressed
/// twice. Throws `TesselError::cannotCreateContext` when a page cannot be taken apart or the
/// document cannot be built.
std::vector<std::uint8_t> makePDF(const std::vector<std::vector<std::uint8_t>>& pages,
                                  SheetSize size, const PdfDocumentInfo& info = {});

/// The same document made from the pages in `spool`, handed to `sink` as it is written: the
/// same bytes as `makePDF` of those pages. Each page's image data is read back from the
/// spool only while the document is written (what has to be re-encoded is spooled too), so
/// memory holds about one page whatever the page count. Throws as `makePDF` does, and
/// `std::system_error` when the spool cannot be read or `sink` throws it.
void makePDF(PageSpool& spool, SheetSize size, const PdfDocumentInfo& info, const PdfSink& sink);

}  // namespace tessel::detail
