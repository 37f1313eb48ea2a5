#include <charconv>
#include <cmath>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include "tessel/TesselError.hpp"

#include "encode/Encode.hpp"
#include "encode/Jpeg.hpp"
#include "encode/Pixels.hpp"
#include "encode/Png.hpp"

namespace tessel::detail {
namespace {

// One image as it goes into the PDF: compressed samples and how to read them.
struct EmbeddedImage {
    enum class Filter { flatePng, dct };
    Filter filter = Filter::flatePng;
    std::int64_t width = 0;
    std::int64_t height = 0;
    int colors = 3;
    std::string data;
};

struct PageImage {
    EmbeddedImage color;
    std::optional<EmbeddedImage> alpha;
};

[[noreturn]] void fail() { throw TesselError::cannotCreateContext(); }

// A PNG's IDAT data is exactly a PDF Flate stream with the PNG predictors, so an 8-bit,
// non-interlaced gray or RGB PNG goes into the PDF without being decoded.
std::optional<EmbeddedImage> embeddablePNG(std::span<const std::uint8_t> png) {
    auto parts = readPNGParts(png);
    if (!parts || parts->bitDepth != 8 || parts->interlace != 0 ||
        (parts->colorType != 0 && parts->colorType != 2))
        return std::nullopt;
    return EmbeddedImage{EmbeddedImage::Filter::flatePng, parts->width, parts->height,
                         parts->colorType == 2 ? 3 : 1, std::move(parts->imageData)};
}

EmbeddedImage flateImage(std::int64_t width, std::int64_t height, PngColor color,
                         const PngRowSource& rows) {
    const auto png = encodePNG(width, height, color, rows);
    if (!png) fail();
    auto image = embeddablePNG(*png);
    if (!image) fail();
    return std::move(*image);
}

PageImage pageFromBitmap(const Bitmap& bitmap) {
    if (!isWellFormed(bitmap)) fail();
    const auto w = bitmap.width;
    const auto h = bitmap.height;
    if (isOpaque(bitmap))
        return {flateImage(w, h, PngColor::rgb,
                           [&](std::int64_t y, std::uint8_t* row) { rgbRow(bitmap, y, row); }),
                std::nullopt};
    return {flateImage(w, h, PngColor::rgb,
                       [&](std::int64_t y, std::uint8_t* row) { straightRgbRow(bitmap, y, row); }),
            flateImage(w, h, PngColor::gray,
                       [&](std::int64_t y, std::uint8_t* row) { alphaRow(bitmap, y, row); })};
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
    return {EmbeddedImage{EmbeddedImage::Filter::dct, frame->width, frame->height,
                          frame->components, std::string(bytes.begin(), bytes.end())},
            std::nullopt};
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

QPDFObjectHandle makeImageStream(QPDF& pdf, const EmbeddedImage& image) {
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf);
    QPDFObjectHandle parameters = QPDFObjectHandle::newNull();
    std::string filter = "/DCTDecode";
    if (image.filter == EmbeddedImage::Filter::flatePng) {
        filter = "/FlateDecode";
        parameters = QPDFObjectHandle::parse(
            "<< /Predictor 15 /Colors " + std::to_string(image.colors) +
            " /BitsPerComponent 8 /Columns " + std::to_string(image.width) + " >>");
    }
    stream.replaceStreamData(image.data, QPDFObjectHandle::newName(filter), parameters);
    QPDFObjectHandle dict = stream.getDict();
    dict.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    dict.replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
    dict.replaceKey("/Width", QPDFObjectHandle::newInteger(image.width));
    dict.replaceKey("/Height", QPDFObjectHandle::newInteger(image.height));
    dict.replaceKey("/ColorSpace",
                    QPDFObjectHandle::newName(image.colors == 1 ? "/DeviceGray" : "/DeviceRGB"));
    dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    return stream;
}

void addPage(QPDF& pdf, const PageImage& image, SheetSize size) {
    QPDFObjectHandle picture = makeImageStream(pdf, image.color);
    if (image.alpha) picture.getDict().replaceKey("/SMask", makeImageStream(pdf, *image.alpha));

    const std::string width = pdfNumber(size.width);
    const std::string height = pdfNumber(size.height);
    QPDFObjectHandle contents =
        QPDFObjectHandle::newStream(&pdf, "q " + width + " 0 0 " + height + " 0 0 cm /Im0 Do Q\n");
    QPDFObjectHandle page =
        QPDFObjectHandle::parse("<< /Type /Page /MediaBox [0 0 " + width + " " + height + "] >>");
    page.replaceKey("/Resources", QPDFObjectHandle::parse("<< /XObject << >> >>"));
    page.getKey("/Resources").getKey("/XObject").replaceKey("/Im0", picture);
    page.replaceKey("/Contents", contents);
    QPDFPageDocumentHelper(pdf).addPage(QPDFPageObjectHelper(pdf.makeIndirectObject(page)), false);
}

template <class Page, class MakeImage>
std::vector<std::uint8_t> assemble(const std::vector<Page>& pages, SheetSize size,
                                   MakeImage makeImage) {
    try {
        QPDF pdf;
        pdf.emptyPDF();
        // Each page's image is made just before it is added so only one uncompressed page
        // is alive at a time.
        for (const auto& page : pages) addPage(pdf, makeImage(page), size);

        QPDFWriter writer(pdf);
        writer.setOutputMemory();
        // Image streams are already compressed; they are written exactly as given.
        writer.setDecodeLevel(qpdf_dl_none);
        writer.setDeterministicID(true);
        writer.setMinimumPDFVersion("1.4");  // soft masks
        writer.write();
        const std::shared_ptr<Buffer> buffer = writer.getBufferSharedPointer();
        const auto* bytes = buffer->getBuffer();
        return std::vector<std::uint8_t>(bytes, bytes + buffer->getSize());
    } catch (const TesselError&) {
        throw;
    } catch (const std::exception&) {
        fail();
    }
}

}  // namespace

std::vector<std::uint8_t> makePDF(const std::vector<Bitmap>& pages, SheetSize size) {
    return assemble(pages, size, pageFromBitmap);
}

std::vector<std::uint8_t> makePDFFromEncoded(const std::vector<std::vector<std::uint8_t>>& pages,
                                             SheetSize size) {
    return assemble(pages, size, pageFromEncoded);
}

}  // namespace tessel::detail
