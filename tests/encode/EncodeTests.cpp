#include <cmath>
#include <limits>
#include <mutex>

#include <gtest/gtest.h>
#include <vips/vips.h>

#include "PageBitmaps.hpp"
#include "encode/Encode.hpp"
#include "encode/Jpeg.hpp"
#include "encode/Png.hpp"

namespace tessel {
namespace {

using detail::encode;
using testing::Rgba;

constexpr std::uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

bool isPNG(const std::vector<std::uint8_t>& bytes) {
    return bytes.size() > 8 && std::equal(kPngSignature, kPngSignature + 8, bytes.begin());
}

// Names of the chunks of a PNG, in order.
std::vector<std::string> chunkNames(const std::vector<std::uint8_t>& png) {
    std::vector<std::string> names;
    for (std::size_t at = 8; at + 12 <= png.size();) {
        const std::size_t length = std::size_t{png[at]} << 24 | std::size_t{png[at + 1]} << 16 |
                                   std::size_t{png[at + 2]} << 8 | png[at + 3];
        names.emplace_back(reinterpret_cast<const char*>(&png[at + 4]), 4);
        at += 12 + length;
    }
    return names;
}

// The average colour of a JPEG, decoded by libvips.
std::array<double, 3> averageColor(const std::vector<std::uint8_t>& jpeg) {
    static std::once_flag once;
    std::call_once(once, [] { VIPS_INIT("encode_tests"); });
    VipsImage* image = vips_image_new_from_buffer(jpeg.data(), jpeg.size(), "", nullptr);
    if (image == nullptr) return {-1, -1, -1};
    std::array<double, 3> result{};
    for (int band = 0; band < 3; ++band) {
        VipsImage* one = nullptr;
        double mean = -1;
        if (vips_extract_band(image, &one, band, nullptr) == 0) {
            vips_avg(one, &mean, nullptr);
            g_object_unref(one);
        }
        result[static_cast<std::size_t>(band)] = mean;
    }
    g_object_unref(image);
    return result;
}

TEST(EncodePNG, QualityIsIgnoredAndPdfGivesPNG) {
    const auto page = testing::noiseBitmap(64, 48, 1);
    const auto low = encode(page, SheetOutputFormat::png, 0.1);
    const auto high = encode(page, SheetOutputFormat::png, 1.0);
    const auto forPdf = encode(page, SheetOutputFormat::pdf, 0.5);
    ASSERT_TRUE(low && high && forPdf);
    EXPECT_TRUE(isPNG(*low));
    EXPECT_EQ(*low, *high);
    EXPECT_EQ(*forPdf, *low);
}

TEST(EncodePNG, OpaquePageIsRGBWithExactPixelsAndNoMetadata) {
    const auto page = testing::noiseBitmap(37, 23, 2);
    const auto png = encode(page, SheetOutputFormat::png, 1);
    ASSERT_TRUE(png);
    EXPECT_EQ(chunkNames(*png), (std::vector<std::string>{"IHDR", "IDAT", "IEND"}));
    const auto parts = detail::readPNGParts(*png);
    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->colorType, 2);  // RGB, no alpha channel

    const auto decoded = detail::decodePNG(*png);
    ASSERT_TRUE(decoded);
    ASSERT_EQ(decoded->width, 37);
    ASSERT_EQ(decoded->height, 23);
    // Every pixel, so a swapped channel or a shifted row shows.
    for (std::size_t i = 0; i < decoded->pixels.size(); i += 4) {
        std::uint32_t word = 0;
        std::memcpy(&word, &page.pixels[i], 4);
        ASSERT_EQ(decoded->pixels[i], (word >> 16) & 0xFF) << "pixel " << i / 4;
        ASSERT_EQ(decoded->pixels[i + 1], (word >> 8) & 0xFF) << "pixel " << i / 4;
        ASSERT_EQ(decoded->pixels[i + 2], word & 0xFF) << "pixel " << i / 4;
        ASSERT_EQ(decoded->pixels[i + 3], 255);
    }
}

TEST(EncodePNG, TranslucentPageKeepsStraightAlpha) {
    auto page = testing::solidBitmap(8, 8, Rgba{255, 255, 255, 255});
    testing::setPixel(page, 3, 4, Rgba{200, 100, 40, 128});
    testing::setPixel(page, 5, 1, Rgba{0, 0, 0, 0});
    const auto png = encode(page, SheetOutputFormat::png, 1);
    ASSERT_TRUE(png);
    EXPECT_EQ(detail::readPNGParts(*png)->colorType, 6);  // RGBA
    const auto decoded = detail::decodePNG(*png);
    ASSERT_TRUE(decoded);
    const auto at = [&](std::size_t x, std::size_t y) { return &decoded->pixels[(y * 8 + x) * 4]; };
    // Un-premultiplying 8-bit values is exact to within one step.
    EXPECT_NEAR(at(3, 4)[0], 200, 1);
    EXPECT_NEAR(at(3, 4)[1], 100, 1);
    EXPECT_NEAR(at(3, 4)[2], 40, 1);
    EXPECT_EQ(at(3, 4)[3], 128);
    EXPECT_EQ(at(5, 1)[3], 0);
    EXPECT_EQ(at(0, 0)[3], 255);
}

TEST(EncodeJPEG, QualityIsClampedToZeroToOne) {
    const auto page = testing::noiseBitmap(48, 32, 3);
    const auto at = [&](double quality) { return *encode(page, SheetOutputFormat::jpeg, quality); };
    const auto best = at(1.0);
    const auto worst = at(0.0);
    EXPECT_NE(best, worst);  // the quality does reach the encoder
    EXPECT_EQ(at(1.7), best);
    EXPECT_EQ(at(std::numeric_limits<double>::infinity()), best);
    EXPECT_EQ(at(-0.2), worst);
    EXPECT_EQ(at(std::numeric_limits<double>::quiet_NaN()), worst);
}

TEST(EncodeJPEG, QualityScaleMapping) {
    const std::vector<std::pair<double, int>> cases{{0.0, 1},  {0.004, 1}, {0.5, 50},  {0.78, 78},
                                                    {0.9, 90}, {1.0, 100}, {2.0, 100}, {-3, 1}};
    for (const auto& [quality, scale] : cases)
        EXPECT_EQ(detail::jpegQualityScale(quality), scale) << quality;
}

TEST(EncodeJPEG, KeepsColoursAndSize) {
    const auto page = testing::solidBitmap(40, 30, Rgba{220, 30, 60, 255});
    const auto jpeg = encode(page, SheetOutputFormat::jpeg, 0.9);
    ASSERT_TRUE(jpeg);
    const auto frame = detail::readJPEGFrame(*jpeg);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->width, 40);
    EXPECT_EQ(frame->height, 30);
    EXPECT_EQ(frame->components, 3);
    const auto color = averageColor(*jpeg);
    EXPECT_NEAR(color[0], 220, 4);
    EXPECT_NEAR(color[1], 30, 4);
    EXPECT_NEAR(color[2], 60, 4);
}

TEST(Encode, MalformedBitmapsGiveNothing) {
    const std::vector<detail::Bitmap> bad{
        {0, 10, {}},
        {10, 0, {}},
        {-4, 10, std::vector<std::uint8_t>(160)},
        {10, 10, std::vector<std::uint8_t>(10 * 10 * 4 - 1)},  // one byte short of the rows
    };
    for (const auto& bitmap : bad)
        for (const auto format : allCases<SheetOutputFormat>())
            EXPECT_FALSE(encode(bitmap, format, 0.9))
                << bitmap.width << "x" << bitmap.height << " " << rawValue(format);
}

}  // namespace
}  // namespace tessel
