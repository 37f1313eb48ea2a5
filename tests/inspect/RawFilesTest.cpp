// Camera RAW files: real cameras' files from the fixture corpus (skipped when it is absent), and
// DNG files made here for what the corpus lacks: large previews, orientations 6 and 8, Adobe RGB.

#include <cmath>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "tessel/Inspection.hpp"
#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "DngWriter.hpp"
#include "TemporaryFolder.hpp"
#include "decode/Decode.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using tessel::testing::RgbPicture;
namespace made = tessel::testing;

struct Colour {
    int red, green, blue;
};

std::ostream& operator<<(std::ostream& out, const Colour& c) {
    return out << "(" << c.red << ", " << c.green << ", " << c.blue << ")";
}

bool near(const Colour& a, const Colour& b, int tolerance) {
    return std::abs(a.red - b.red) <= tolerance && std::abs(a.green - b.green) <= tolerance &&
           std::abs(a.blue - b.blue) <= tolerance;
}

// The colour at a fraction of the way across and down a decoded picture (top row first).
Colour colourAt(const detail::Bitmap& bitmap, double across, double down) {
    const auto x = static_cast<std::int64_t>(across * static_cast<double>(bitmap.width - 1));
    const auto y = static_cast<std::int64_t>(down * static_cast<double>(bitmap.height - 1));
    const std::uint8_t* pixel = bitmap.pixels.data() + y * bitmap.stride() + x * 4;
    return {pixel[2], pixel[1], pixel[0]};  // opaque BGRA words
}

// Four quadrants (red, green / blue, white) in the stored orientation, so that a picture's
// turning can be read off its corners; white keeps LibRaw's automatic brightness where it is.
constexpr Colour kRed{200, 40, 40}, kGreen{40, 180, 60}, kBlue{40, 60, 200}, kWhite{250, 250, 250};

RgbPicture quadrants(int width, int height) {
    RgbPicture picture{width, height, {}};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const Colour c =
                y < height / 2 ? (x < width / 2 ? kRed : kGreen) : (x < width / 2 ? kBlue : kWhite);
            picture.rgb.insert(picture.rgb.end(), {static_cast<std::uint8_t>(c.red),
                                                   static_cast<std::uint8_t>(c.green),
                                                   static_cast<std::uint8_t>(c.blue)});
        }
    return picture;
}

RgbPicture solid(int width, int height, Colour c) {
    RgbPicture picture{width, height, {}};
    for (int i = 0; i < width * height; ++i)
        picture.rgb.insert(picture.rgb.end(),
                           {static_cast<std::uint8_t>(c.red), static_cast<std::uint8_t>(c.green),
                            static_cast<std::uint8_t>(c.blue)});
    return picture;
}

detail::Bitmap decoded(const fs::path& file, detail::DecodeRequest request) {
    std::string cause;
    std::optional<detail::Bitmap> picture = detail::decodeUpright(file, request, &cause);
    if (!picture) throw std::runtime_error("not decoded: " + cause);
    return std::move(*picture);
}

std::string causeOfInspecting(const fs::path& file) {
    try {
        TesselRenderer::inspect(file);
    } catch (const TesselError& error) {
        EXPECT_EQ(error.text(), file.filename().string());
        return error.cause();
    }
    return "accepted";
}

class MadeDng : public ::testing::Test {
protected:
    fs::path write(const std::string& name, const RgbPicture& picture,
                   const made::DngOptions& options) {
        const fs::path file = folder_.path() / name;
        made::writeDng(file, picture, options);
        return file;
    }
    made::TemporaryFolder folder_;
};

TEST_F(MadeDng, APortraitFrameStandsUprightFromItsPreviewAndFromItsSensorData) {
    // Stored landscape, shown turned a quarter clockwise (6) or anticlockwise (8): the corner
    // each colour reaches says which way the picture was turned.
    struct Case {
        int orientation;
        Colour topLeft, topRight, bottomLeft, bottomRight;
    };
    for (const Case& c :
         {Case{6, kBlue, kRed, kWhite, kGreen}, Case{8, kGreen, kWhite, kRed, kBlue}}) {
        for (const int previewLonger : {400, 0}) {
            SCOPED_TRACE(::testing::Message()
                         << "orientation " << c.orientation << ", preview " << previewLonger);
            const fs::path file =
                write("IMG_" + std::to_string(c.orientation) + ".dng", quadrants(400, 300),
                      {.orientation = c.orientation, .previewLonger = previewLonger});
            const SheetImageInfo info = TesselRenderer::inspect(file);
            EXPECT_EQ(info.width, 300);
            EXPECT_EQ(info.height, 400);
            const detail::Bitmap picture =
                decoded(file, {.maxPixelSize = 200, .drawnPixelSize = 200});
            EXPECT_EQ(picture.width, 150);
            EXPECT_EQ(picture.height, 200);
            EXPECT_TRUE(near(colourAt(picture, 0.1, 0.1), c.topLeft, 40))
                << colourAt(picture, 0.1, 0.1);
            EXPECT_TRUE(near(colourAt(picture, 0.9, 0.1), c.topRight, 40))
                << colourAt(picture, 0.9, 0.1);
            EXPECT_TRUE(near(colourAt(picture, 0.1, 0.9), c.bottomLeft, 40))
                << colourAt(picture, 0.1, 0.9);
            EXPECT_TRUE(near(colourAt(picture, 0.9, 0.9), c.bottomRight, 40))
                << colourAt(picture, 0.9, 0.9);
        }
    }
}

TEST_F(MadeDng, TheCamerasPreviewServesWhereItReachesTheDrawnSizeElseTheSensorDataIsDeveloped) {
    // The preview shows orange and the sensor saw the quadrants: each picture says where it
    // came from. The sensor data is 800 × 600, the preview 500 pixels long.
    static constexpr Colour kOrange{240, 140, 20};
    const fs::path file = write("IMG_0001.DNG", quadrants(800, 600),
                                {.previewLonger = 500, .previewSource = solid(800, 600, kOrange)});
    const auto fromPreview = [](const detail::Bitmap& picture) {
        return near(colourAt(picture, 0.5, 0.5), kOrange, 12);
    };
    struct Case {
        std::optional<std::int64_t> drawn;
        bool preview;
        std::int64_t width;  // the longer side, all of it kept
    };
    for (const Case& c : {Case{std::nullopt, true, 500}, Case{320, true, 500}, Case{500, true, 500},
                          Case{501, false, 800}}) {
        SCOPED_TRACE(::testing::Message() << "drawn at " << c.drawn.value_or(0));
        const detail::Bitmap picture =
            decoded(file, {.maxPixelSize = 5000, .drawnPixelSize = c.drawn});
        EXPECT_EQ(fromPreview(picture), c.preview) << colourAt(picture, 0.5, 0.5);
        EXPECT_EQ(picture.width, c.width);
    }
    // Too small a preview for the cell: developed at half size where that reaches it.
    const fs::path small = write("IMG_0002.DNG", quadrants(800, 600),
                                 {.previewLonger = 200, .previewSource = solid(800, 600, kOrange)});
    EXPECT_EQ(decoded(small, {.maxPixelSize = 5000, .drawnPixelSize = 400}).width, 400);
    EXPECT_EQ(decoded(small, {.maxPixelSize = 5000, .drawnPixelSize = 401}).width, 800);
    EXPECT_TRUE(
        near(colourAt(decoded(small, {.maxPixelSize = 5000, .drawnPixelSize = 401}), 0.1, 0.1),
             kRed, 40));
}

TEST_F(MadeDng, AnAdobeRgbPreviewIsDrawnInSrgb) {
    // Written as Adobe RGB numbers, this green reads about (100, 178, 70): drawn without the
    // conversion it would miss its sRGB colour by far more than the tolerance.
    const Colour patch{40, 180, 60};
    const fs::path file = write("IMG_0003.DNG", solid(600, 400, patch),
                                {.previewLonger = 600, .adobeRgbPreview = true});
    const detail::Bitmap picture = decoded(file, {.maxPixelSize = 300, .drawnPixelSize = 300});
    EXPECT_TRUE(near(colourAt(picture, 0.5, 0.5), patch, 6)) << colourAt(picture, 0.5, 0.5);
}

TEST_F(MadeDng, ListThumbnailsComeFromEmbeddedPicturesNeverFromTheSensorData) {
    // A DNG as old converters wrote it: a 128-pixel thumbnail, no JPEG preview.
    const fs::path thumbnailOnly = write("old.dng", quadrants(800, 600), {.thumbnailLonger = 128});
    const auto bytes = TesselRenderer::thumbnailData(thumbnailOnly, 320);
    ASSERT_TRUE(bytes);
    const fs::path written = folder_.path() / "thumbnail.jpg";
    made::writeBytes(written, *bytes);
    EXPECT_EQ(made::decodeJpegFile(written).width, 128);
    // Nothing embedded at all: no thumbnail rather than a development.
    const fs::path bare = write("bare.dng", quadrants(800, 600), {.thumbnailLonger = 0});
    EXPECT_FALSE(TesselRenderer::thumbnailData(bare, 320));
    // Pages still draw it, from its sensor data.
    EXPECT_EQ(decoded(bare, {.maxPixelSize = 400, .drawnPixelSize = 400}).width, 400);
}

TEST_F(MadeDng, ADngNamedLikeATiffIsStillDevelopedNotShownByItsThumbnail) {
    const fs::path file = write("scan.tif", quadrants(800, 600), {.thumbnailLonger = 128});
    const SheetImageInfo info = TesselRenderer::inspect(file);
    EXPECT_EQ(info.width, 800);
    EXPECT_EQ(info.height, 600);
    EXPECT_EQ(info.cameraModel, "Test Camera DX");
    EXPECT_EQ(decoded(file, {.maxPixelSize = 600, .drawnPixelSize = 600}).width, 600);
}

TEST_F(MadeDng, FailuresSayWhy) {
    const fs::path whole = write("IMG_0004.DNG", quadrants(800, 600), {.previewLonger = 400});
    const std::vector<std::uint8_t> bytes = made::readBytes(whole);
    // Cut in the sensor data: inspection already says so, before any page needs it.
    const fs::path cut = folder_.path() / "IMG_0005.DNG";
    made::writeBytes(
        cut, {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() * 6 / 10)});
    EXPECT_EQ(causeOfInspecting(cut), "The file is cut off before the end of the image.");
    const fs::path text = folder_.path() / "notes.NEF";
    std::ofstream(text) << "Shot list for Saturday\n";
    EXPECT_EQ(causeOfInspecting(text), "The file is not a camera RAW file.");
    // Sensor data too large to develop within the budget and no preview to show instead.
    const fs::path bare = write("IMG_0006.DNG", quadrants(800, 600), {.thumbnailLonger = 0});
    TesselRenderer::setDecodingBudget(std::int64_t{1} << 20);
    EXPECT_EQ(causeOfInspecting(bare),
              "The image is too large to decode within the memory budget (0.5 megapixels).");
    std::string cause;
    EXPECT_FALSE(detail::decodeUpright(bare, {.maxPixelSize = 400, .drawnPixelSize = 400}, &cause));
    EXPECT_EQ(cause, "The image is too large to decode within the memory budget (0.5 megapixels).");
    TesselRenderer::setDecodingBudget(0);
    // Stopped before it began, a development gives up with nothing.
    const std::atomic<bool> stop{true};
    EXPECT_FALSE(
        detail::decodeUpright(bare, {.maxPixelSize = 400, .drawnPixelSize = 400, .stop = &stop}));
}

// The real cameras' files, as their manifest describes them.
class CameraFiles : public ::testing::Test {
protected:
    void SetUp() override {
        if (!fs::exists(root_ / "MANIFEST.tsv")) GTEST_SKIP() << "no RAW fixtures at " << root_;
    }
    const fs::path root_ = fs::path(TESSEL_FIXTURES_DIR) / "raw";
};

TEST_F(CameraFiles, InspectionReadsTheDevelopedSizeTheCaptureDateAndTheModelAsStored) {
    std::ifstream manifest(root_ / "MANIFEST.tsv");
    std::string line;
    std::getline(manifest, line);  // header
    int read = 0;
    while (std::getline(manifest, line)) {
        std::vector<std::string> f;
        std::istringstream fields(line + '\t');
        for (std::string field; std::getline(fields, field, '\t');) f.push_back(field);
        if (f.size() < 14 || f[13] != "yes") continue;
        SCOPED_TRACE(f[0]);
        const SheetImageInfo info = TesselRenderer::inspect(root_ / f[0]);
        EXPECT_EQ(info.width, std::stoll(f[9]));
        EXPECT_EQ(info.height, std::stoll(f[10]));
        EXPECT_EQ(info.frameCount, 1);
        EXPECT_EQ(info.bytes, static_cast<std::int64_t>(fs::file_size(root_ / f[0])));
        EXPECT_EQ(info.cameraModel, f[5]);
        if (f[11].empty())
            EXPECT_FALSE(info.dateTaken);
        else
            EXPECT_EQ(info.dateTaken, TesselRenderer::parseExifDate(f[11]));
        ++read;
    }
    EXPECT_EQ(read, 5);
}

TEST_F(CameraFiles, EachBrokenFileSaysWhy) {
    const std::pair<const char*, const char*> cases[] = {
        {"broken_text-not-raw.cr2", "The file is not a camera RAW file."},
        {"broken_zero-byte.nef", "The file is empty."},
        {"broken_truncated40pct_Canon_PowerShotS40.crw",
         "The file is cut off before the end of the image."},
        {"broken_truncated40pct_Kodak_DC120.kdc",
         "The file is cut off before the end of the image."},
        {"dcc_GoPro_HERO7Black_GOPR8508.gpr",
         "Tessel does not read the RAW files of this camera (GoPro HERO7 Black)."},
    };
    for (const auto& [name, cause] : cases)
        EXPECT_EQ(causeOfInspecting(root_ / name), cause) << name;
}

TEST_F(CameraFiles, ASmallPreviewServesSmallCellsAndTheSensorDataLargerOnes) {
    // The Canon's preview is 640 × 480; its sensor data develops to 2312 × 1720.
    const fs::path canon = root_ / "dcc_Canon_PowerShotG2_CRW0304.crw";
    EXPECT_EQ(decoded(canon, {.maxPixelSize = 5000, .drawnPixelSize = 600}).width, 640);
    EXPECT_EQ(decoded(canon, {.maxPixelSize = 5000, .drawnPixelSize = 1000}).width, 1156);
    EXPECT_EQ(decoded(canon, {.maxPixelSize = 1500, .drawnPixelSize = 1500}).width, 1500);
    // The Kodak's pixels are not square: developed, it is stretched to 1301 × 976 (651 × 488 at
    // half size), the size inspection gave.
    const fs::path kodak = root_ / "dcc_Kodak_DC120_P003908.kdc";
    const detail::Bitmap half = decoded(kodak, {.maxPixelSize = 5000, .drawnPixelSize = 600});
    EXPECT_EQ(half.width, 651);
    EXPECT_EQ(half.height, 488);
    EXPECT_EQ(decoded(kodak, {.maxPixelSize = 5000, .drawnPixelSize = 700}).width, 1301);
}

}  // namespace
