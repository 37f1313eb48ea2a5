#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <vips/vips.h>

#include "tessel/TesselError.hpp"

#include "PageBitmaps.hpp"
#include "formats/Encode.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/png/Png.hpp"

namespace tessel {
namespace {

using detail::encode;
using detail::makePDF;
using testing::Rgba;
using Bytes = std::vector<std::uint8_t>;

// The chunks of a PNG in order, each as its name and data.
std::vector<std::pair<std::string, Bytes>> pngChunks(const Bytes& png) {
    std::vector<std::pair<std::string, Bytes>> chunks;
    for (std::size_t at = 8; at + 12 <= png.size();) {
        const std::size_t length = std::size_t{png[at]} << 24 | std::size_t{png[at + 1]} << 16 |
                                   std::size_t{png[at + 2]} << 8 | png[at + 3];
        if (at + 12 + length > png.size()) break;  // cut off
        chunks.emplace_back(std::string(reinterpret_cast<const char*>(&png[at + 4]), 4),
                            Bytes(&png[at + 8], &png[at + 8] + length));
        at += 12 + length;
    }
    return chunks;
}

TEST(EncodePNG, KeepsExactPixelsAndStraightAlphaWithoutMetadata) {
    const auto page = testing::noiseBitmap(37, 23, 2);
    const auto png = encode(page, SheetOutputFormat::png, 1);
    ASSERT_TRUE(png);
    EXPECT_EQ(encode(page, SheetOutputFormat::png, 0.1), png);  // quality is ignored
    EXPECT_EQ(encode(page, SheetOutputFormat::pdf, 0.5), png);  // PDF pages start as PNG
    const auto chunks = pngChunks(*png);
    ASSERT_EQ(chunks.size(), 3u);
    EXPECT_EQ(chunks[0].first + chunks[1].first + chunks[2].first, "IHDRIDATIEND");
    EXPECT_EQ(chunks[0].second[9], 2);  // colour type RGB, no alpha channel
    const auto decoded = detail::decodePNG(*png);
    ASSERT_TRUE(decoded);
    ASSERT_EQ(std::pair(decoded->width, decoded->height), std::pair(37L, 23L));
    // Every pixel, so a swapped channel or a shifted row shows.
    for (std::size_t i = 0; i < decoded->pixels.size(); i += 4) {
        std::uint32_t word = 0;
        std::memcpy(&word, &page.pixels[i], 4);
        ASSERT_EQ(decoded->pixels[i], (word >> 16) & 0xFF) << "pixel " << i / 4;
        ASSERT_EQ(decoded->pixels[i + 1], (word >> 8) & 0xFF) << "pixel " << i / 4;
        ASSERT_EQ(decoded->pixels[i + 2], word & 0xFF) << "pixel " << i / 4;
        ASSERT_EQ(decoded->pixels[i + 3], 255);
    }

    auto translucent = testing::solidBitmap(8, 8, Rgba{255, 255, 255, 255});
    testing::setPixel(translucent, 3, 4, Rgba{200, 100, 40, 128});
    testing::setPixel(translucent, 5, 1, Rgba{0, 0, 0, 0});
    const auto rgba = encode(translucent, SheetOutputFormat::png, 1);
    ASSERT_TRUE(rgba);
    EXPECT_EQ(pngChunks(*rgba)[0].second[9], 6);  // colour type RGBA
    const auto back = detail::decodePNG(*rgba);
    ASSERT_TRUE(back);
    const auto at = [&](std::size_t x, std::size_t y) { return &back->pixels[(y * 8 + x) * 4]; };
    // Un-premultiplying 8-bit values is exact to within one step.
    EXPECT_NEAR(at(3, 4)[0], 200, 1);
    EXPECT_NEAR(at(3, 4)[1], 100, 1);
    EXPECT_NEAR(at(3, 4)[2], 40, 1);
    EXPECT_EQ(std::tuple(at(3, 4)[3], at(5, 1)[3], at(0, 0)[3]), std::tuple(128, 0, 255));
}

TEST(EncodeJPEG, ClampsTheQualityAndDecodesBackAtItsSizeAndColours) {
    const auto noise = testing::noiseBitmap(48, 32, 3);
    const auto at = [&](double q) { return *encode(noise, SheetOutputFormat::jpeg, q); };
    const auto best = at(1.0), worst = at(0.0);
    EXPECT_NE(best, worst);  // the quality does reach the encoder
    EXPECT_EQ(at(1.7), best);
    EXPECT_EQ(at(std::numeric_limits<double>::infinity()), best);
    EXPECT_EQ(at(-0.2), worst);
    EXPECT_EQ(at(std::numeric_limits<double>::quiet_NaN()), worst);
    for (const auto& [quality, scale] :
         std::vector<std::pair<double, int>>{{0.004, 1}, {0.5, 50}, {0.78, 78}, {0.9, 90}})
        EXPECT_EQ(detail::jpegQualityScale(quality), scale) << quality;

    const auto jpeg =
        encode(testing::solidBitmap(40, 30, Rgba{220, 30, 60, 255}), SheetOutputFormat::jpeg, 0.9);
    ASSERT_TRUE(jpeg);
    ASSERT_EQ(VIPS_INIT("encode_tests"), 0);
    VipsImage* image = vips_image_new_from_buffer(jpeg->data(), jpeg->size(), "", nullptr);
    ASSERT_TRUE(image);
    double* pixel = nullptr;
    int bands = 0;
    ASSERT_EQ(vips_getpoint(image, &pixel, &bands, 20, 15, nullptr), 0);
    EXPECT_EQ(std::tuple(vips_image_get_width(image), vips_image_get_height(image), bands),
              std::tuple(40, 30, 3));
    EXPECT_NEAR(pixel[0], 220, 4);
    EXPECT_NEAR(pixel[1], 30, 4);
    EXPECT_NEAR(pixel[2], 60, 4);
    g_free(pixel);
    g_object_unref(image);
}

struct Document {
    Bytes bytes;  // qpdf reads them in place
    QPDF pdf;
    std::vector<QPDFPageObjectHelper> pages;
    explicit Document(Bytes bytesRead) : bytes(std::move(bytesRead)) {
        pdf.processMemoryFile("test.pdf", reinterpret_cast<const char*>(bytes.data()),
                              bytes.size());
        pages = QPDFPageDocumentHelper(pdf).getAllPages();
    }
};

QPDFObjectHandle pageImage(QPDFPageObjectHelper& page) {
    return page.getObjectHandle().getKey("/Resources").getKey("/XObject").getKey("/Im0");
}

Bytes bytesOf(const std::shared_ptr<Buffer>& buffer) {
    return {buffer->getBuffer(), buffer->getBuffer() + buffer->getSize()};
}

TEST(MakePDF, OnePagePerEncodedPageStretchedOverAMediaBoxInPoints) {
    const std::vector<detail::Bitmap> bitmaps{testing::noiseBitmap(51, 66, 1),
                                              testing::quadrantBitmap(2550, 3300)};
    const std::vector<Bytes> pages{*encode(bitmaps[0], SheetOutputFormat::png, 1),
                                   *encode(bitmaps[1], SheetOutputFormat::jpeg, 0.9)};
    const auto pdf = makePDF(pages, {595.28, 841.89});
    EXPECT_EQ(makePDF(pages, {595.28, 841.89}), pdf);  // same input, same bytes
    Document document(pdf);
    EXPECT_FALSE(document.pdf.getTrailer().hasKey("/Info"));  // no document information
    ASSERT_EQ(document.pages.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        const auto box = document.pages[i].getMediaBox().getArrayAsRectangle();
        EXPECT_EQ(std::tuple(box.llx, box.lly, box.urx, box.ury),
                  std::tuple(0.0, 0.0, 595.28, 841.89));
        // The whole image over the whole page, sizes written without an exponent.
        const auto contents =
            bytesOf(document.pages[i].getObjectHandle().getKey("/Contents").getStreamData());
        EXPECT_EQ(std::string(contents.begin(), contents.end()),
                  "q 595.28 0 0 841.89 0 0 cm /Im0 Do Q\n");
        auto image = pageImage(document.pages[i]).getDict();
        EXPECT_EQ(image.getKey("/Width").getIntValue(), bitmaps[i].width);
        EXPECT_EQ(image.getKey("/Height").getIntValue(), bitmaps[i].height);
    }
    EXPECT_TRUE(Document(makePDF({}, {612, 792})).pages.empty());
}

TEST(MakePDF, PNGPagesReuseTheirImageDataAndMaskTheAlpha) {
    auto translucent = testing::noiseBitmap(33, 21, 5);
    testing::setPixel(translucent, 4, 4, Rgba{10, 200, 30, 90});
    testing::setPixel(translucent, 5, 4, Rgba{0, 0, 0, 0});
    const std::vector<detail::Bitmap> bitmaps{testing::noiseBitmap(33, 21, 6), translucent};
    std::vector<Bytes> pngs;
    for (const auto& bitmap : bitmaps) pngs.push_back(*encode(bitmap, SheetOutputFormat::png, 1));
    Document document(makePDF(pngs, {612, 792}));
    ASSERT_EQ(document.pages.size(), 2u);

    // The opaque page holds the PNG's IDAT data unchanged, read through the PNG predictor.
    auto opaque = pageImage(document.pages[0]);
    EXPECT_FALSE(opaque.getDict().hasKey("/SMask"));
    Bytes idat;
    for (const auto& [name, data] : pngChunks(pngs[0]))
        if (name == "IDAT") idat.insert(idat.end(), data.begin(), data.end());
    EXPECT_EQ(bytesOf(opaque.getRawStreamData()), idat);
    const auto samples = bytesOf(opaque.getStreamData(qpdf_dl_generalized));
    const auto decoded = detail::decodePNG(pngs[0]);
    ASSERT_EQ(samples.size(), 33u * 21u * 3u);
    for (std::size_t i = 0; i < samples.size(); ++i)
        ASSERT_EQ(samples[i], decoded->pixels[i / 3 * 4 + i % 3]) << i;

    // The translucent page's alpha becomes a grey soft mask.
    auto mask = pageImage(document.pages[1]).getDict().getKey("/SMask");
    EXPECT_EQ(mask.getDict().getKey("/ColorSpace").getName(), "/DeviceGray");
    const auto alpha = bytesOf(mask.getStreamData(qpdf_dl_generalized));
    ASSERT_EQ(alpha.size(), 33u * 21u);
    EXPECT_EQ(std::tuple(alpha[4 * 33 + 4], alpha[4 * 33 + 5], alpha[0]), std::tuple(90, 0, 255));
}

TEST(Encode, MalformedInputGivesNothingOrFails) {
    for (const detail::Bitmap& bitmap :
         {detail::Bitmap{0, 10, {}}, detail::Bitmap{10, 0, {}}, detail::Bitmap{-4, 10, Bytes(160)},
          detail::Bitmap{10, 10, Bytes(10 * 10 * 4 - 1)}})
        for (const auto format : allCases<SheetOutputFormat>())
            EXPECT_FALSE(encode(bitmap, format, 0.9))
                << bitmap.width << "x" << bitmap.height << " " << rawValue(format);

    const auto fails =
        ::testing::Throws<TesselError>(::testing::Eq(TesselError::cannotCreateContext()));
    auto cut = *encode(testing::noiseBitmap(30, 30, 8), SheetOutputFormat::png, 1);
    cut.resize(cut.size() / 2);  // a PNG cut off inside its image data
    for (const auto& bytes : {Bytes{}, Bytes{'n', 'o', 't', ' ', 'P', 'N', 'G'}, cut})
        EXPECT_THAT([&] { makePDF({bytes}, {612, 792}); }, fails) << bytes.size();
}

}  // namespace
}  // namespace tessel
