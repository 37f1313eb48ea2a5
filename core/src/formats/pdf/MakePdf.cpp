#include <charconv>
#include <cmath>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "tessel/TesselError.hpp"
#include "tessel/Updater.hpp"

#include "formats/Encode.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/pdf/PdfBuilder.hpp"
#include "formats/png/Png.hpp"

namespace tessel::detail {
namespace {

struct PageImage {
    PdfImageData color;
    std::optional<PdfImageData> alpha;
};

[[noreturn]] void fail() { throw TesselError::cannotCreateContext(); }

// A PNG's IDAT data is exactly a PDF Flate stream with the PNG predictors, so an 8-bit,
// non-interlaced gray or RGB PNG goes into the PDF without being decoded. The image borrows
// the chunks from `png`, which must outlive the document.
std::optional<PdfImageData> embeddablePNG(std::span<const std::uint8_t> png) {
    auto parts = readPNGParts(png);
    if (!parts || parts->bitDepth != 8 || parts->interlace != 0 ||
        (parts->colorType != 0 && parts->colorType != 2))
        return std::nullopt;
    PdfImageData image{PdfImageData::Filter::flatePng,
                       parts->width,
                       parts->height,
                       parts->colorType == 2 ? 3 : 1,
                       {},
                       {},
                       {}};
    for (const auto chunk : parts->imageData)
        image.borrowed.push_back({chunk.data(), chunk.size()});
    return image;
}

PdfImageData flateImage(std::int64_t width, std::int64_t height, PngColor color,
                        const PngRowSource& rows) {
    const auto png = encodePNG(width, height, color, rows);
    if (!png) fail();
    auto image = embeddablePNG(*png);
    if (!image) fail();
    // The PNG is dropped here, so the image keeps its own copy of the samples.
    for (const auto& piece : image->borrowed)
        image->owned.append(reinterpret_cast<const char*>(piece.bytes), piece.size);
    image->borrowed.clear();
    return std::move(*image);
}

// Other PNGs (with alpha, interlaced, palette, 16-bit) are decoded and split into colour
// and alpha, the same two images a bitmap with alpha gives.
PageImage pageFromDecodedPNG(const RgbaImage& image) {
    const auto w = image.width;
    const auto rowAt = [&](std::int64_t y) {
        return image.pixels.data() + static_cast<std::size_t>(y * w * 4);
    };
    bool opaque = true;
    for (std::size_t i = 3; i < image.pixels.size(); i += 4)
        opaque = opaque && image.pixels[i] == 255;
    PageImage page{flateImage(w, image.height, PngColor::rgb,
                              [&](std::int64_t y, std::uint8_t* row) {
                                  const std::uint8_t* in = rowAt(y);
                                  for (std::int64_t x = 0; x < w; ++x, in += 4) {
                                      *row++ = in[0];
                                      *row++ = in[1];
                                      *row++ = in[2];
                                  }
                              }),
                   std::nullopt};
    if (!opaque)
        page.alpha =
            flateImage(w, image.height, PngColor::gray, [&](std::int64_t y, std::uint8_t* row) {
                const std::uint8_t* in = rowAt(y);
                for (std::int64_t x = 0; x < w; ++x) row[x] = in[x * 4 + 3];
            });
    return page;
}

PageImage pageFromEncoded(const std::vector<std::uint8_t>& bytes) {
    if (auto image = embeddablePNG(bytes)) return {std::move(*image), std::nullopt};
    if (auto decoded = decodePNG(bytes)) return pageFromDecodedPNG(*decoded);
    const auto frame = readJPEGFrame(bytes);
    if (!frame || (frame->components != 1 && frame->components != 3)) fail();
    PdfImageData image{
        PdfImageData::Filter::dct, frame->width, frame->height, frame->components, {}, {}, {}};
    image.borrowed.push_back({bytes.data(), bytes.size()});
    return {std::move(image), std::nullopt};
}

// Numbers in content streams and arrays: at most four decimals, no exponent, whatever the
// locale. A size that is not finite becomes 0.
std::string pdfNumber(double value) {
    if (!std::isfinite(value)) return "0";
    char text[64];
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 4);
    if (error != std::errc{}) return "0";
    std::string number(text, end);
    number.erase(number.find_last_not_of('0') + 1);
    if (number.back() == '.') number.pop_back();
    return number == "-0" ? "0" : number;
}

// Points an image at the spool instead of memory: pieces borrowed from `page` (the bytes of
// the spool's `where`) become ranges of the spool file, samples of its own are spooled.
void moveToSpool(PdfImageData& image, PageSpool& spool, const std::vector<std::uint8_t>& page,
                 SpoolExtent where) {
    for (const auto& piece : image.borrowed)
        image.fromFile.push_back(
            {spool.descriptor(),
             where.offset + static_cast<std::uint64_t>(piece.bytes - page.data()), piece.size});
    image.borrowed.clear();
    if (!image.owned.empty()) {
        const SpoolExtent own = spool.append(
            {reinterpret_cast<const std::uint8_t*>(image.owned.data()), image.owned.size()});
        image.fromFile.push_back({spool.descriptor(), own.offset, own.size});
        std::string().swap(image.owned);
    }
}

}  // namespace

PdfDocumentInfo sheetDocumentInfo(const std::string& title,
                                  std::optional<std::chrono::system_clock::time_point> created,
                                  std::span<const std::uint8_t> rgbProfile) {
    PdfDocumentInfo info{title,
                         "Tessel " + std::string(Updater::currentVersion()),
                         std::nullopt,
                         {rgbProfile.begin(), rgbProfile.end()}};
    if (created)
        info.created =
            std::chrono::duration_cast<std::chrono::seconds>(created->time_since_epoch()).count();
    return info;
}

void makePDF(PageSpool& spool, SheetSize size, const PdfDocumentInfo& info, const PdfSink& sink) {
    const std::string width = pdfNumber(size.width);
    const std::string height = pdfNumber(size.height);
    try {
        PdfBuilder builder(info);
        for (std::size_t i = 0; i < spool.pageCount(); ++i) {
            const std::vector<std::uint8_t> bytes = spool.read(i);
            PageImage image = pageFromEncoded(bytes);
            moveToSpool(image.color, spool, bytes, spool.extent(i));
            if (image.alpha) moveToSpool(*image.alpha, spool, bytes, spool.extent(i));
            builder.addPage(width, height, std::move(image.color), std::move(image.alpha));
        }
        builder.finish(sink);
    } catch (const TesselError&) {
        throw;
    } catch (const std::system_error&) {
        throw;
    } catch (const std::exception&) {
        fail();
    }
}

std::vector<std::uint8_t> makePDF(const std::vector<std::vector<std::uint8_t>>& pages,
                                  SheetSize size, const PdfDocumentInfo& info) {
    const std::string width = pdfNumber(size.width);
    const std::string height = pdfNumber(size.height);
    try {
        PdfBuilder builder(info);
        // Each page's image is made just before it is added so only one decoded page is alive
        // at a time.
        for (const auto& page : pages) {
            PageImage image = pageFromEncoded(page);
            builder.addPage(width, height, std::move(image.color), std::move(image.alpha));
        }
        return builder.finish();
    } catch (const TesselError&) {
        throw;
    } catch (const std::exception&) {
        fail();
    }
}

}  // namespace tessel::detail
