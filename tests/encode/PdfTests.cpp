#include <gtest/gtest.h>
#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include "tessel/TesselError.hpp"

#include "PageBitmaps.hpp"
#include "encode/Encode.hpp"
#include "encode/Png.hpp"

namespace tessel {
namespace {

using testing::Rgba;

// qpdf reads the bytes in place, so the document keeps them.
struct Document {
    std::vector<std::uint8_t> bytes;
    std::shared_ptr<QPDF> pdf = std::make_shared<QPDF>();
    std::vector<QPDFPageObjectHelper> pages;
};

Document open(std::vector<std::uint8_t> bytes) {
    Document document;
    document.bytes = std::move(bytes);
    document.pdf->processMemoryFile(
        "test.pdf", reinterpret_cast<const char*>(document.bytes.data()), document.bytes.size());
    document.pages = QPDFPageDocumentHelper(*document.pdf).getAllPages();
    return document;
}

std::string streamText(QPDFObjectHandle stream) {
    const auto data = stream.getStreamData();
    return {reinterpret_cast<const char*>(data->getBuffer()), data->getSize()};
}

QPDFObjectHandle pageImage(QPDFPageObjectHelper& page) {
    return page.getObjectHandle().getKey("/Resources").getKey("/XObject").getKey("/Im0");
}

TEST(MakePDF, OnePagePerBitmapWithTheMediaBoxOfTheSize) {
    const std::vector<detail::Bitmap> bitmaps{testing::noiseBitmap(51, 66, 1),
                                              testing::solidBitmap(51, 66, Rgba{9, 9, 9, 255}),
                                              testing::quadrantBitmap(51, 66)};
    auto document = open(detail::makePDF(bitmaps, {612, 792}));
    ASSERT_EQ(document.pages.size(), 3u);
    for (auto& page : document.pages) {
        const auto box = page.getMediaBox().getArrayAsRectangle();
        EXPECT_EQ(box.llx, 0);
        EXPECT_EQ(box.lly, 0);
        EXPECT_EQ(box.urx, 612);
        EXPECT_EQ(box.ury, 792);
    }
    // No document information dictionary and no producer.
    EXPECT_FALSE(document.pdf->getTrailer().hasKey("/Info"));
}

TEST(MakePDF, EmptyListGivesNoPages) {
    EXPECT_TRUE(open(detail::makePDF({}, {612, 792})).pages.empty());
    EXPECT_TRUE(open(detail::makePDFFromEncoded({}, {612, 792})).pages.empty());
}

TEST(MakePDF, SameInputGivesSameBytes) {
    const std::vector<detail::Bitmap> bitmaps{testing::noiseBitmap(20, 30, 4)};
    EXPECT_EQ(detail::makePDF(bitmaps, {595.28, 841.89}),
              detail::makePDF(bitmaps, {595.28, 841.89}));
}

TEST(MakePDF, LargeBitmapIsDrawnWholeOverThePage) {
    auto document = open(detail::makePDF({testing::quadrantBitmap(2550, 3300)}, {612, 792}));
    ASSERT_EQ(document.pages.size(), 1u);
    auto& page = document.pages.front();
    EXPECT_EQ(streamText(page.getObjectHandle().getKey("/Contents")),
              "q 612 0 0 792 0 0 cm /Im0 Do Q\n");
    auto image = pageImage(page);
    EXPECT_EQ(image.getDict().getKey("/Width").getIntValue(), 2550);
    EXPECT_EQ(image.getDict().getKey("/Height").getIntValue(), 3300);
}

TEST(MakePDF, FractionalSizesAreWrittenWithoutExponent) {
    auto document = open(detail::makePDF({testing::noiseBitmap(4, 4, 1)}, {595.28, 841.89}));
    EXPECT_EQ(streamText(document.pages.front().getObjectHandle().getKey("/Contents")),
              "q 595.28 0 0 841.89 0 0 cm /Im0 Do Q\n");
}

TEST(MakePDF, MalformedBitmapFails) {
    try {
        detail::makePDF({detail::Bitmap{10, 10, {}}}, {612, 792});
        FAIL() << "no error";
    } catch (const TesselError& error) {
        EXPECT_EQ(error, TesselError::cannotCreateContext());
    }
}

TEST(MakePDFFromEncoded, PNGPagesGiveTheSameDocumentAsBitmaps) {
    auto translucent = testing::noiseBitmap(33, 21, 5);
    testing::setPixel(translucent, 4, 4, Rgba{10, 200, 30, 90});
    testing::setPixel(translucent, 5, 4, Rgba{0, 0, 0, 0});
    const std::vector<detail::Bitmap> bitmaps{testing::noiseBitmap(33, 21, 6), translucent};
    std::vector<std::vector<std::uint8_t>> encoded;
    for (const auto& bitmap : bitmaps)
        encoded.push_back(*detail::encode(bitmap, SheetOutputFormat::png, 1));

    const auto fromBitmaps = detail::makePDF(bitmaps, {612, 792});
    EXPECT_EQ(detail::makePDFFromEncoded(encoded, {612, 792}), fromBitmaps);

    auto document = open(fromBitmaps);
    ASSERT_EQ(document.pages.size(), 2u);
    auto opaque = pageImage(document.pages[0]);
    EXPECT_EQ(opaque.getDict().getKey("/Filter").getName(), "/FlateDecode");
    EXPECT_FALSE(opaque.getDict().hasKey("/SMask"));
    auto masked = pageImage(document.pages[1]);
    ASSERT_TRUE(masked.getDict().hasKey("/SMask"));
    auto mask = masked.getDict().getKey("/SMask");
    EXPECT_EQ(mask.getDict().getKey("/ColorSpace").getName(), "/DeviceGray");
    // The mask decodes (through the PNG predictor) to the alpha channel.
    auto alpha = mask.getStreamData(qpdf_dl_generalized);
    ASSERT_EQ(alpha->getSize(), 33u * 21u);
    EXPECT_EQ(alpha->getBuffer()[4 * 33 + 4], 90);
    EXPECT_EQ(alpha->getBuffer()[4 * 33 + 5], 0);
    EXPECT_EQ(alpha->getBuffer()[0], 255);
}

TEST(MakePDFFromEncoded, PNGImageDataDecodesToThePagePixels) {
    const auto bitmap = testing::noiseBitmap(29, 17, 7);
    const auto png = *detail::encode(bitmap, SheetOutputFormat::png, 1);
    auto document = open(detail::makePDFFromEncoded({png}, {29, 17}));
    auto samples = pageImage(document.pages.front()).getStreamData(qpdf_dl_generalized);
    const auto decoded = detail::decodePNG(png);
    ASSERT_EQ(samples->getSize(), 29u * 17u * 3u);
    for (std::size_t i = 0; i < 29u * 17u; ++i)
        for (std::size_t c = 0; c < 3; ++c)
            ASSERT_EQ(samples->getBuffer()[i * 3 + c], decoded->pixels[i * 4 + c]) << i;
}

TEST(MakePDFFromEncoded, JPEGPagesAreEmbeddedUnchanged) {
    const auto jpeg =
        *detail::encode(testing::quadrantBitmap(64, 80), SheetOutputFormat::jpeg, 0.8);
    auto document = open(detail::makePDFFromEncoded({jpeg, jpeg}, {612, 792}));
    ASSERT_EQ(document.pages.size(), 2u);
    auto image = pageImage(document.pages.front());
    EXPECT_EQ(image.getDict().getKey("/Filter").getName(), "/DCTDecode");
    EXPECT_EQ(image.getDict().getKey("/Width").getIntValue(), 64);
    EXPECT_EQ(image.getDict().getKey("/Height").getIntValue(), 80);
    auto raw = image.getRawStreamData();
    EXPECT_EQ(std::vector<std::uint8_t>(raw->getBuffer(), raw->getBuffer() + raw->getSize()), jpeg);
}

TEST(MakePDFFromEncoded, UnreadablePageFails) {
    const std::vector<std::vector<std::uint8_t>> cases{
        {},
        {'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'a', 'g', 'e'},
        // A PNG cut off inside its image data.
        [] {
            auto png = *detail::encode(testing::noiseBitmap(30, 30, 8), SheetOutputFormat::png, 1);
            png.resize(png.size() / 2);
            return png;
        }(),
    };
    for (const auto& bytes : cases) {
        try {
            detail::makePDFFromEncoded({bytes}, {612, 792});
            ADD_FAILURE() << "no error for " << bytes.size() << " bytes";
        } catch (const TesselError& error) {
            EXPECT_EQ(error, TesselError::cannotCreateContext());
        }
    }
}

// Rendering by an independent reader catches what the object structure cannot show: a
// wrong predictor, a flipped image or a cropped page.
class RenderedPDF : public ::testing::Test {
protected:
    void SetUp() override {
        if (!testing::havePdftoppm()) GTEST_SKIP() << "pdftoppm is not installed";
    }
    std::optional<detail::RgbaImage> render(const std::vector<std::uint8_t>& pdf, int dpi) {
        const auto file = folder_.path() / ("page" + std::to_string(count_++) + ".pdf");
        testing::writeBytes(file, pdf);
        const auto png = testing::renderFirstPage(file, dpi);
        if (!png) return std::nullopt;
        return detail::decodePNG(*png);
    }
    testing::TemporaryFolder folder_;
    int count_ = 0;
};

TEST_F(RenderedPDF, LargeBitmapIsScaledDownNotCropped) {
    const auto rendered =
        render(detail::makePDF({testing::quadrantBitmap(2550, 3300)}, {612, 792}), 36);
    ASSERT_TRUE(rendered);
    ASSERT_EQ(rendered->width, 306);
    ASSERT_EQ(rendered->height, 396);
    const auto rgbAt = [&](std::int64_t x, std::int64_t y) {
        const auto* p = &rendered->pixels[static_cast<std::size_t>((y * rendered->width + x) * 4)];
        return std::array<int, 3>{p[0], p[1], p[2]};
    };
    const auto expectNear = [&](std::int64_t x, std::int64_t y, std::array<int, 3> color) {
        const auto actual = rgbAt(x, y);
        for (std::size_t c = 0; c < 3; ++c) EXPECT_NEAR(actual[c], color[c], 2) << x << "," << y;
    };
    expectNear(1, 1, {255, 0, 0});
    expectNear(304, 1, {0, 255, 0});
    expectNear(1, 394, {0, 0, 255});
    expectNear(304, 394, {255, 255, 0});
}

TEST_F(RenderedPDF, EncodedPagesRenderLikeBitmapPages) {
    // Blocks of 5 × 5 pixels in random colours, drawn at one point per pixel: the centre of
    // each block must come out in its colour, which a wrong predictor or row order breaks.
    const auto blocks = testing::noiseBitmap(8, 6, 9);
    const auto bitmap = testing::makeBitmap(40, 30, [&](std::int64_t x, std::int64_t y) {
        std::uint32_t word = 0;
        std::memcpy(&word, &blocks.pixels[static_cast<std::size_t>(((y / 5) * 8 + x / 5) * 4)], 4);
        return Rgba{static_cast<std::uint8_t>(word >> 16), static_cast<std::uint8_t>(word >> 8),
                    static_cast<std::uint8_t>(word), 255};
    });
    const auto png = *detail::encode(bitmap, SheetOutputFormat::png, 1);
    const auto jpeg = *detail::encode(bitmap, SheetOutputFormat::jpeg, 1);
    const auto fromBitmap = render(detail::makePDF({bitmap}, {40, 30}), 72);
    const auto fromPng = render(detail::makePDFFromEncoded({png}, {40, 30}), 72);
    const auto fromJpeg = render(detail::makePDFFromEncoded({jpeg}, {40, 30}), 72);
    ASSERT_TRUE(fromBitmap && fromPng && fromJpeg);
    EXPECT_EQ(fromPng->pixels, fromBitmap->pixels);
    ASSERT_EQ(fromBitmap->width, 40);
    ASSERT_EQ(fromJpeg->pixels.size(), fromBitmap->pixels.size());
    const auto source = detail::decodePNG(png);
    for (std::size_t by = 0; by < 6; ++by)
        for (std::size_t bx = 0; bx < 8; ++bx)
            for (std::size_t c = 0; c < 3; ++c) {
                const std::size_t i = ((by * 5 + 2) * 40 + bx * 5 + 2) * 4 + c;
                EXPECT_NEAR(fromBitmap->pixels[i], source->pixels[i], 3) << bx << "," << by;
                // JPEG's 4:2:0 chroma blurs across blocks; only gross errors count.
                EXPECT_NEAR(fromJpeg->pixels[i], source->pixels[i], 60) << bx << "," << by;
            }
}

}  // namespace
}  // namespace tessel
