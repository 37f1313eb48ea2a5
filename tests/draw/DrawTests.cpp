#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tessel/TesselError.hpp"

#include "GeneratedImages.hpp"
#include "decode/Decode.hpp"
#include "draw/PageDrawing.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "render/CellPictures.hpp"

namespace tessel {
namespace {

using detail::captionText;
using detail::decodeUpright;
using testing::pixelAt;
using testing::Rgba;
using testing::solidImage;
using testing::TemporaryFolder;

const Rgba red{255, 0, 0, 255}, green{0, 255, 0, 255}, blue{0, 0, 255, 255};

TEST(DecodeUpright, LibvipsFindsItsPrefixSetBeforeAnyThreadCouldReadTheEnvironment) {
    // Nothing has started libvips in this process yet; were the variable unset, libvips would
    // set it when it starts, on whatever thread, racing with readers of the environment.
    const char* home = std::getenv("VIPSHOME");
    ASSERT_NE(home, nullptr);
    EXPECT_TRUE(std::filesystem::is_directory(home)) << home;
}

TEST(DecodeUpright, ConvertsEveryKindOfPixelToSRGBWithinItsBound) {
    TemporaryFolder folder;
    VipsImage* p3 = nullptr;  // sRGB green stored as Display P3 values, profile embedded
    const auto sRGBGreen = solidImage(40, 40, {0, 255, 0});
    ASSERT_EQ(vips_icc_transform(sRGBGreen.get(), &p3, "p3", "input_profile", "srgb", nullptr), 0);
    save(testing::TestImage(p3), folder / "p3.jpg", "[Q=95]");
    VipsImage* cmyk = nullptr;  // untagged CMYK: full magenta and yellow make red
    const auto ink = solidImage(40, 40, {0, 255, 255, 0});
    ASSERT_EQ(vips_copy(ink.get(), &cmyk, "interpretation", VIPS_INTERPRETATION_CMYK, nullptr), 0);
    save(testing::TestImage(cmyk), folder / "cmyk.jpg", "[Q=95]");
    save(solidImage(40, 40, {65535, 0, 32768}, VIPS_FORMAT_USHORT), folder / "deep.png");
    save(solidImage(40, 40, {128}), folder / "grey.png");
    save(solidImage(40, 40, {0, 0, 255, 128}), folder / "half.png");
    // HEIF comes from a libvips module.
    save(solidImage(40, 40, {0, 0, 255}), folder / "blue.heic", "[Q=90]");
    using Case = std::tuple<const char*, Rgba, int>;  // file, unpremultiplied colour, tolerance
    for (const auto& [name, expected, tolerance] :
         std::vector<Case>{{"p3.jpg", green, 12},
                           {"cmyk.jpg", red, 75},
                           {"deep.png", {255, 0, 128, 255}, 2},
                           {"grey.png", {128, 128, 128, 255}, 2},
                           {"half.png", {0, 0, 255, 128}, 2},
                           {"blue.heic", blue, 24}}) {
        const auto picture = decodeUpright(folder / name, 773);
        ASSERT_TRUE(picture) << name;
        EXPECT_EQ(std::pair(picture->width, picture->height), std::pair(40L, 40L)) << name;
        const Rgba pixel = pixelAt(*picture, 20, 20);
        EXPECT_TRUE(near(pixel, expected, tolerance)) << name << " " << pixel;
    }

    // Pictures are decoded at 2.2 times the frame's longer side, fraction dropped, at least 1.
    EXPECT_EQ(detail::decodeSize({0, 0, 500, 100}), 1100);
    EXPECT_EQ(detail::decodeSize({0, 0, 0.1, 0.2}), 1);
    save(solidImage(4000, 3000, {40, 80, 120}), folder / "big.jpg");
    const auto big = decodeUpright(folder / "big.jpg", detail::decodeSize({72, 0, 346.67, 351.8}));
    ASSERT_TRUE(big);
    EXPECT_EQ(big->width, 773);
    EXPECT_NEAR(static_cast<double>(big->height), 773 * 0.75, 1);
    EXPECT_EQ(big->pixels.size(), static_cast<std::size_t>(big->stride() * big->height));
}

TEST(ScaledJpeg, FilesTakingManyReadsDecodeAsLibvipsDoesAndCutOnesFail) {
    // Noise barely compresses, so this file takes several of the decoder's reads; with chroma
    // at full resolution libvips's own loader gives the very same pixels.
    TemporaryFolder folder;
    testing::startVips();
    std::vector<testing::TestImage> bands;
    for (int seed = 1; seed <= 3; ++seed) {
        VipsImage* noise = nullptr;
        vips_gaussnoise(&noise, 900, 700, "mean", 128.0, "sigma", 70.0, "seed", seed, nullptr);
        bands.emplace_back(noise);
    }
    VipsImage* joinedBands = nullptr;
    VipsImage* inputs[] = {bands[0].get(), bands[1].get(), bands[2].get()};
    ASSERT_EQ(vips_bandjoin(inputs, &joinedBands, 3, nullptr), 0);
    const testing::TestImage noise(joinedBands);
    VipsImage* eightBit = nullptr;
    ASSERT_EQ(vips_cast_uchar(noise.get(), &eightBit, nullptr), 0);
    VipsImage* tagged = nullptr;
    const testing::TestImage cast(eightBit);
    ASSERT_EQ(vips_copy(cast.get(), &tagged, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr),
              0);
    save(testing::TestImage(tagged), folder / "noise.jpg", "[Q=98,subsample_mode=off]");
    ASSERT_GT(std::filesystem::file_size(folder / "noise.jpg"), 4 * 256 * 1024u);

    constexpr std::size_t kBytes = 900 * 700 * 3;
    bool cut = false;
    const auto picture = detail::decodeScaledJPEG(folder / "noise.jpg", 100'000, cut);
    ASSERT_TRUE(picture);
    ASSERT_EQ(std::tuple(picture->width, picture->height, picture->components),
              std::tuple(900L, 700L, 3));
    const testing::TestImage reference(
        vips_image_new_from_file((folder / "noise.jpg").c_str(), nullptr));
    std::size_t size = 0;
    void* expected = vips_image_write_to_memory(reference.get(), &size);
    ASSERT_EQ(size, kBytes);
    EXPECT_EQ(std::memcmp(picture->pixels.get(), expected, kBytes), 0);
    g_free(expected);

    // Comment segments are skipped rather than read; over a quarter megabyte of them changes
    // nothing.
    std::ifstream in(folder / "noise.jpg", std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    std::vector<char> padded(bytes.begin(), bytes.begin() + 2);
    for (int segment = 0; segment < 5; ++segment) {
        padded.insert(padded.end(), {'\xFF', '\xFE', '\xFF', '\xFF'});
        padded.insert(padded.end(), 0xFFFF - 2, 'x');
    }
    padded.insert(padded.end(), bytes.begin() + 2, bytes.end());
    std::ofstream(folder / "padded.jpg", std::ios::binary).write(padded.data(), std::ssize(padded));
    const auto paddedPicture = detail::decodeScaledJPEG(folder / "padded.jpg", 100'000, cut);
    ASSERT_TRUE(paddedPicture);
    EXPECT_EQ(std::memcmp(paddedPicture->pixels.get(), picture->pixels.get(), kBytes), 0);

    // A file cut in its scan data, in a comment or before its first byte is no picture, here
    // nor through libvips's loader.
    for (const double kept : {0.9, 0.3, 0.0}) {
        const auto cutFile = folder / ("cut" + std::to_string(kept) + ".jpg");
        std::filesystem::copy_file(folder / "padded.jpg", cutFile);
        testing::truncateFile(
            cutFile, static_cast<std::uintmax_t>(kept * static_cast<double>(padded.size())));
        EXPECT_FALSE(detail::decodeScaledJPEG(cutFile, 100'000, cut)) << kept;
        EXPECT_FALSE(decodeUpright(cutFile, 100'000)) << kept;
    }
}

TEST(DecodeUpright, RealFilesDecodeUprightOrFail) {
    const std::filesystem::path fixtures = TESSEL_FIXTURES_DIR;
    if (!std::filesystem::exists(fixtures / "MANIFEST.tsv")) GTEST_SKIP() << "no fixtures";
    using Size = std::pair<std::int64_t, std::int64_t>;  // displayed, after orientation
    for (const auto& [file, size] : std::vector<std::pair<const char*, Size>>{
             {"orientation/recurser_Portrait_8.jpg", {1200, 1800}},
             {"exif/androidx_jpeg_with_exif_byte_order_ii.jpg", {480, 640}},
             {"heif/nokia_autumn_1440x960.heic", {1440, 960}},
             {"orientation/pillow_g4_orientation_6.tif", {590, 88}}}) {
        const auto picture = decodeUpright(fixtures / file, 100'000);
        ASSERT_TRUE(picture) << file;
        EXPECT_EQ(Size(picture->width, picture->height), size) << file;
    }
    for (const char* broken :
         {"broken/pillow_truncated_jpeg.jpg", "broken/trunc50pct_recurser_Landscape_6.jpg",
          "broken/trunc30pct_mei_IMG_2927.HEIC", "broken/pngsuite_xcsn0g01.png", "broken/empty.jpg",
          "broken/html_error_page.jpg"})
        EXPECT_FALSE(decodeUpright(fixtures / broken, 500)) << broken;
}

SheetRecipe plainRecipe(SheetFit fit = SheetFit::fit) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.caption = SheetCaption::none;
    r.fit = fit;
    return r;
}

SheetCell cellAt(SheetRect frame, std::int64_t page = 0) { return {page, frame, frame, {}}; }

/// A page drawn as a render draws it: every cell's picture decoded, then drawn with its caption.
detail::Bitmap drawPage(const std::vector<SheetInput>& inputs, const std::vector<SheetCell>& cells,
                        const SheetRecipe& recipe) {
    const auto page = detail::makePage(recipe);
    for (std::size_t i = 0; i < cells.size(); ++i)
        detail::drawCell(*page, inputs[i], cells[i], detail::decodeForCell(inputs[i], cells[i]),
                         recipe);
    return page->finish();
}

auto throws(const TesselError& e) { return ::testing::Throws<TesselError>(::testing::Eq(e)); }

TEST(PageDrawing, DrawsPicturesUprightByTheFitOverTheClampedBackground) {
    TemporaryFolder folder;
    save(solidImage(400, 300, {0, 255, 0}), folder / "wide.png");
    // Stored red left, blue right, with orientation 6: upright, red is on top.
    save(joined(solidImage(200, 300, {255, 0, 0}), solidImage(200, 300, {0, 0, 255}), false),
         folder / "turned.jpg", "[Q=95]", 6);
    save(joined(solidImage(100, 100, {0, 0, 0, 0}), solidImage(100, 100, {0, 0, 255, 255}), false),
         folder / "cutout.png");
    // The sizes found by inspection only matter to captions.
    const std::vector<SheetInput> inputs{
        {folder / "wide.png", {}}, {folder / "turned.jpg", {}}, {folder / "cutout.png", {}}};
    const std::vector cells{cellAt({100, 100, 300, 300}), cellAt({500, 100, 300, 400}),
                            cellAt({900, 100, 200, 100})};
    SheetRecipe fit = plainRecipe(SheetFit::fit), fill = plainRecipe(SheetFit::fill);
    fit.background = {1.5, 1, 0.25, 7};           // clamped: (255, 255, 64)
    fill.background = {1, std::nan(""), 0.5, 1};  // NaN as 0: (255, 0, 128)
    const auto fitted = drawPage(inputs, cells, fit);
    const auto filled = drawPage(inputs, cells, fill);
    const struct {
        const detail::Bitmap& page;
        std::vector<std::pair<double, double>> points;
        Rgba expected;
        int tolerance;
    } cases[] = {
        // The whole page, and fit's 300 × 225 picture centred with background above and below.
        {fitted,
         {{0, 0}, {1239, 1753}, {250, 120}, {250, 380}, {950, 150}},
         {255, 255, 64, 255},
         0},
        {fitted, {{250, 250}, {101, 250}, {398, 250}}, green, 0},
        {fitted, {{650, 420}}, red, 40},  // upright
        {fitted, {{650, 180}}, blue, 40},
        {fitted, {{1050, 150}}, blue, 0},  // the opaque half of the cut-out
        // Fill: 400 × 300 centred and cropped to the frame, nothing beyond it.
        {filled, {{100, 100}, {399, 399}, {100, 399}}, green, 0},
        {filled, {{0, 0}, {99, 250}, {400, 250}, {250, 99}, {250, 400}}, {255, 0, 128, 255}, 0}};
    for (const auto& c : cases)
        for (const auto& [x, y] : c.points) {
            const Rgba pixel = pixelAt(c.page, x, y);
            EXPECT_TRUE(near(pixel, c.expected, c.tolerance))
                << (&c.page == &fitted ? "fit " : "fill ") << x << ", " << y << ": " << pixel;
        }
}

TEST(PageDrawing, APictureAlreadyAtItsDrawnSizeIsNotResampled) {
    // A checkerboard of single pixels: any resampling would blend its squares into grey.
    detail::Bitmap checker{8, 6, std::vector<std::uint8_t>(8 * 6 * 4)};
    const auto isWhite = [](std::int64_t x, std::int64_t y) { return (x + y) % 2 == 0; };
    for (std::int64_t y = 0; y < 6; ++y)
        for (std::int64_t x = 0; x < 8; ++x) {
            const std::uint32_t word = isWhite(x, y) ? 0xffffffffu : 0xff000000u;
            std::memcpy(checker.pixels.data() + (y * 8 + x) * 4, &word, 4);
        }
    detail::PageCanvas canvas(40, 40, SheetColor::white());
    // Drawn 8.5 x 6.375 in its frame: within a pixel of its size, so it is not scaled, and
    // lands where the scaled picture would, here on whole pixels (x from 10, rows from 24
    // counted from the top).
    canvas.drawImage(checker, {10, 9.625, 8.5, 6.375}, SheetFit::fit);
    const detail::Bitmap page = canvas.finish();
    for (std::int64_t row = 24; row <= 28; ++row)
        for (std::int64_t x = 10; x <= 17; ++x) {
            const int level = isWhite(x - 10, row - 24) ? 255 : 0;
            const Rgba pixel = pixelAt(page, static_cast<double>(x), static_cast<double>(39 - row));
            EXPECT_TRUE(near(pixel, {level, level, level, 255}, 0)) << x << ", " << row;
        }
}

TEST(PageDrawing, AnUnreadablePictureFailsByNameAndAPageTooLargeCannotBeMade) {
    TemporaryFolder folder;
    save(solidImage(1200, 900, {200, 30, 30}), folder / "cut.jpg", "[Q=95]");
    testing::truncateFile(folder / "cut.jpg", 3000);  // must fail, not show its lower part grey
    std::ofstream(folder / "notes.jpg") << "not an image at all";
    const SheetInput gone{folder / "gone.jpg", {}};
    const std::vector cells{cellAt({0, 0, 100, 100}), cellAt({200, 0, 100, 100})};
    for (const char* bad : {"cut.jpg", "notes.jpg", "gone.jpg"}) {
        const std::vector<SheetInput> inputs{{folder / bad, {}}, gone};
        EXPECT_THAT([&] { drawPage(inputs, cells, plainRecipe()); },
                    throws(TesselError::cannotRead(bad)));
    }

    SheetRecipe tooWide = plainRecipe();  // wider than cairo allows
    tooWide.paper = SheetPaper::custom;
    tooWide.customWidth = 40'000;
    tooWide.customHeight = 400;
    EXPECT_THAT([&] { drawPage({}, {}, tooWide); }, throws(TesselError::cannotCreateContext()));
}

TEST(CaptionText, BuildsEachModeFromItsPieces) {
    SheetInput input{"/photos/IMG_0042.HEIC", {}};
    input.info.width = 4032;
    input.info.height = 3024;
    const struct {
        SheetCaption mode;
        const char* text;
    } cases[] = {{SheetCaption::none, ""},
                 {SheetCaption::filename, "IMG_0042"},
                 {SheetCaption::dimensions, "4032 × 3024"},
                 {SheetCaption::details, "IMG_0042 · 4032 × 3024"},
                 {SheetCaption::date, "Date unavailable"},
                 {SheetCaption::filenameAndDate, "IMG_0042 · Date unavailable"},
                 {SheetCaption::camera, "Camera unavailable"}};
    for (const auto& c : cases) EXPECT_EQ(captionText(input, c.mode), c.text) << rawValue(c.mode);
    input.info.cameraModel = "  Canon EOS 40D ";  // exactly as stored
    EXPECT_EQ(captionText(input, SheetCaption::camera), "  Canon EOS 40D ");
    EXPECT_EQ(captionText({"/a/holiday.2024.jpeg", {}}, SheetCaption::filename), "holiday.2024");

    using namespace std::chrono;  // the date in medium style, without the time
    input.info.dateTaken = sys_days{2024y / January / 5} + 12h;
    const auto date = captionText(input, SheetCaption::date);
    EXPECT_NE(date.find("2024"), std::string::npos) << date;
    EXPECT_EQ(date.find("12:00"), std::string::npos) << date;
}

/// The inked pixels' bounds in the layout's coordinates: [left, right) × [bottom, top).
struct Ink {
    double left = 1e9, right = -1e9, bottom = 1e9, top = -1e9;
    bool any() const { return right > left; }
};

Ink inkOf(const detail::Bitmap& page, const SheetRect& within = {0, 0, 600, 200}) {
    Ink ink;
    for (double y = within.y; y < within.y + within.height; ++y)
        for (double x = within.x; x < within.x + within.width; ++x) {
            const auto pixel = pixelAt(page, x, y);
            if (pixel.red > 200 && pixel.green > 200 && pixel.blue > 200) continue;
            ink = {std::min(ink.left, x), std::max(ink.right, x + 1), std::min(ink.bottom, y),
                   std::max(ink.top, y + 1)};
        }
    return ink;
}

TEST(CaptionDrawing, AlignsTruncatesAndClipsTheLineToItsBand) {
    constexpr SheetRect band{100, 80, 300, 30};
    const struct {
        std::string text;
        double fontSize;
        SheetRect where;
        bool aligned, truncated;
    } cases[] = {
        {"HHHH", 18, band, true, false},
        {std::string(200, 'H'), 18, band, true, true},
        {"Hgjpqy|ÅÉ " + std::string(60, 'W'), 40, band, false, false},  // tall, in a short band
        {"Hello", 18, {200, 80, 4, 30}, false, false},  // narrower than the ellipsis
        {"\xFF\xFE not UTF-8 \xC3", 18, band, false, false}};
    for (const auto& c : cases)
        for (auto alignment : allCases<SheetCaptionAlignment>()) {
            SCOPED_TRACE(c.text.substr(0, 20) + " " + std::string(rawValue(alignment)));
            SheetRecipe r = recipe(SheetPreset::contact);
            r.captionAlignment = alignment;
            r.captionFontSize = c.fontSize;
            detail::PageCanvas canvas(600, 200, SheetColor::white());
            canvas.drawText(c.text, c.where, detail::captionStyle(r));
            const auto page = canvas.finish();
            const Ink ink = inkOf(page);
            ASSERT_TRUE(ink.any() || !c.aligned);
            if (!ink.any()) continue;
            EXPECT_GE(ink.left, c.where.x);
            EXPECT_LE(ink.right, c.where.x + c.where.width);
            EXPECT_GE(ink.bottom, c.where.y);
            EXPECT_LE(ink.top, c.where.y + c.where.height);
            if (!c.aligned) continue;
            // Baseline half the spare height above the band's bottom: capitals sit on y = 86.
            EXPECT_NEAR(ink.bottom, band.y + (band.height - 18) / 2, 1);
            EXPECT_NEAR(ink.top - ink.bottom, 13, 2);
            if (c.truncated) {
                EXPECT_GT(ink.right - ink.left, band.width - 20);
                // It ends in "…": the last columns hold only dots on the baseline, no clipped "H".
                const Ink tail = inkOf(page, {ink.right - 3, band.y, 3, band.height});
                ASSERT_TRUE(tail.any());
                EXPECT_LE(tail.top - ink.bottom, 4);
            }
            // Within a glyph's side bearing of the edge it is aligned to, or centred; a truncated
            // line is aligned on its own, shorter width.
            using enum SheetCaptionAlignment;
            const double offset =
                alignment == left ? ink.left - band.x
                : alignment == right
                    ? band.x + band.width - ink.right
                    : std::abs((ink.left + ink.right) / 2 - (band.x + band.width / 2));
            EXPECT_LE(offset, alignment == center ? 2 : 3);
        }
}

}  // namespace
}  // namespace tessel
