#include <fstream>

#include <gtest/gtest.h>

#include "GeneratedImages.hpp"
#include "vips/Decode.hpp"

namespace tessel {
namespace {

using detail::decodeUpright;
using testing::pixelAt;
using testing::Rgba;
using testing::ScratchFolder;
using testing::solidImage;

TEST(DecodeUpright, BoundsTheLongerSideAndNeverEnlarges) {
    ScratchFolder folder;
    save(solidImage(4000, 3000, {40, 80, 120}), folder / "big.jpg");
    save(solidImage(100, 50, {40, 80, 120}), folder / "small.png");

    const auto big = decodeUpright(folder / "big.jpg", 773);
    ASSERT_TRUE(big);
    EXPECT_EQ(big->width, 773);
    EXPECT_NEAR(static_cast<double>(big->height), 773 * 0.75, 1);
    EXPECT_EQ(big->pixels.size(), static_cast<std::size_t>(big->stride() * big->height));

    const auto small = decodeUpright(folder / "small.png", 773);
    ASSERT_TRUE(small);
    EXPECT_EQ(small->width, 100);
    EXPECT_EQ(small->height, 50);

    // A bound below 1 still decodes, at a single pixel.
    const auto tiny = decodeUpright(folder / "small.png", -5);
    ASSERT_TRUE(tiny);
    EXPECT_EQ(std::max(tiny->width, tiny->height), 1);
}

TEST(DecodeUpright, AppliesAQuarterTurnOrientation) {
    ScratchFolder folder;
    // Stored red on the left and blue on the right, tagged "rotate 90° clockwise to view":
    // upright it is red above blue.
    const auto stored =
        joined(solidImage(200, 300, {255, 0, 0}), solidImage(200, 300, {0, 0, 255}), false);
    save(stored, folder / "turned.jpg", "", 6);

    const auto picture = decodeUpright(folder / "turned.jpg", 1000);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 300);
    EXPECT_EQ(picture->height, 400);
    const Rgba top = pixelAt(*picture, 150, 350);
    const Rgba bottom = pixelAt(*picture, 150, 50);
    EXPECT_TRUE(near(top, {255, 0, 0, 255}, 40)) << top;
    EXPECT_TRUE(near(bottom, {0, 0, 255, 255}, 40)) << bottom;
}

TEST(DecodeUpright, FailsOnMissingTruncatedAndNonImageFiles) {
    ScratchFolder folder;
    save(solidImage(1200, 900, {200, 30, 30}), folder / "cut.jpg", "[Q=95]");
    testing::truncateFile(folder / "cut.jpg", 4000);
    std::ofstream(folder / "notes.jpg") << "not an image at all";

    EXPECT_FALSE(decodeUpright(folder / "missing.jpg", 500));
    // A cut-off JPEG must fail instead of showing its lower part grey.
    EXPECT_FALSE(decodeUpright(folder / "cut.jpg", 500));
    EXPECT_FALSE(decodeUpright(folder / "notes.jpg", 500));
}

TEST(DecodeUpright, ConvertsEmbeddedProfilesToSRGB) {
    ScratchFolder folder;
    // sRGB green stored as Display P3 values with the P3 profile embedded.
    VipsImage* p3 = nullptr;
    const auto green = solidImage(64, 64, {0, 255, 0});
    ASSERT_EQ(vips_icc_transform(green.get(), &p3, "p3", "input_profile", "srgb", nullptr), 0);
    save(testing::TestImage(p3), folder / "p3.jpg", "[Q=95]");
    // Untagged CMYK, as print workflows write it: full magenta and yellow make red.
    VipsImage* cmyk = nullptr;
    const auto ink = solidImage(64, 64, {0, 255, 255, 0});
    ASSERT_EQ(vips_copy(ink.get(), &cmyk, "interpretation", VIPS_INTERPRETATION_CMYK, nullptr), 0);
    save(testing::TestImage(cmyk), folder / "cmyk.jpg", "[Q=95]");

    const auto fromP3 = decodeUpright(folder / "p3.jpg", 64);
    ASSERT_TRUE(fromP3);
    const Rgba greenPixel = pixelAt(*fromP3, 32, 32);
    EXPECT_TRUE(near(greenPixel, {0, 255, 0, 255}, 12)) << greenPixel;

    const auto fromCMYK = decodeUpright(folder / "cmyk.jpg", 64);
    ASSERT_TRUE(fromCMYK);
    const Rgba redPixel = pixelAt(*fromCMYK, 32, 32);
    EXPECT_GT(redPixel.red, 180) << redPixel;
    EXPECT_LT(redPixel.green, 80) << redPixel;
    EXPECT_LT(redPixel.blue, 80) << redPixel;
}

TEST(DecodeUpright, ReadsSixteenBitGreyAndAlphaImages) {
    ScratchFolder folder;
    save(solidImage(40, 40, {65535, 0, 32768}, VIPS_FORMAT_USHORT), folder / "deep.png");
    save(solidImage(40, 40, {128}), folder / "grey.png");
    save(solidImage(40, 40, {0, 0, 255, 128}), folder / "half.png");

    const struct {
        const char* name;
        Rgba expected;  // unpremultiplied
    } cases[] = {
        {"deep.png", {255, 0, 128, 255}},
        {"grey.png", {128, 128, 128, 255}},
        {"half.png", {0, 0, 255, 128}},
    };
    for (const auto& c : cases) {
        const auto picture = decodeUpright(folder / c.name, 40);
        ASSERT_TRUE(picture) << c.name;
        const Rgba pixel = pixelAt(*picture, 20, 20);
        EXPECT_TRUE(near(pixel, c.expected, 2)) << c.name << " " << pixel;
    }
    // Premultiplied storage: half-transparent blue keeps half its blue in the stored word.
    const auto half = decodeUpright(folder / "half.png", 40);
    ASSERT_TRUE(half);
    EXPECT_NEAR(half->pixels[0], 128, 1);  // B of B, G, R, A on little-endian machines
}

TEST(DecodeUpright, RealFilesDecodeUprightOrFail) {
    const std::filesystem::path fixtures = TESSEL_FIXTURES_DIR;
    if (!std::filesystem::exists(fixtures / "MANIFEST.tsv")) GTEST_SKIP() << "no fixtures";
    // Displayed sizes after orientation, and files that must not decode.
    const struct {
        const char* file;
        std::int64_t width, height;
    } upright[] = {
        {"orientation/recurser_Landscape_6.jpg", 1800, 1200},
        {"orientation/recurser_Portrait_8.jpg", 1200, 1800},
        {"exif/androidx_jpeg_with_exif_byte_order_ii.jpg", 480, 640},
        {"heif/nokia_autumn_1440x960.heic", 1440, 960},
        {"orientation/pillow_g4_orientation_6.tif", 590, 88},
    };
    for (const auto& c : upright) {
        const auto picture = decodeUpright(fixtures / c.file, 100'000);
        ASSERT_TRUE(picture) << c.file;
        EXPECT_EQ(picture->width, c.width) << c.file;
        EXPECT_EQ(picture->height, c.height) << c.file;
    }
    for (const char* broken :
         {"broken/pillow_truncated_jpeg.jpg", "broken/trunc50pct_recurser_Landscape_6.jpg",
          "broken/trunc30pct_mei_IMG_2927.HEIC", "broken/pngsuite_xcsn0g01.png", "broken/empty.jpg",
          "broken/html_error_page.jpg"}) {
        EXPECT_FALSE(decodeUpright(fixtures / broken, 500)) << broken;
    }
}

}  // namespace
}  // namespace tessel
