// Inspection of images made at test time, the container walks under it, the EXIF date parser.

#include <algorithm>
#include <ctime>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vips/vips.h>
#include <zlib.h>

#include "tessel/Inspection.hpp"
#include "tessel/TesselError.hpp"

#include "decode/Decode.hpp"
#include "formats/gif/Gif.hpp"
#include "formats/jpeg/Jpeg.hpp"
#include "formats/png/Png.hpp"

namespace tessel {
void PrintTo(const TesselError& error, std::ostream* os) { *os << error.errorDescription(); }
}  // namespace tessel

namespace {

using namespace tessel;
using namespace tessel::detail;
using TesselRenderer::inspect;
using TesselRenderer::parseExifDate;

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(std::string_view text) { return Bytes(text.begin(), text.end()); }
Bytes head(const Bytes& bytes, std::ptrdiff_t n) { return {bytes.begin(), bytes.begin() + n}; }

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

Bytes number(std::uint64_t value, int width, bool little = false) {
    Bytes out;
    for (int i = width - 1; i >= 0; --i)
        out.push_back(static_cast<std::uint8_t>(value >> 8 * (little ? width - 1 - i : i)));
    return out;
}

/// A noisy picture of `frames` stacked pages, saved by libvips in the format of `suffix`.
Bytes encodeImage(const char* suffix, int width, int height, int frames = 1) {
    detail::ensureVipsStarted();
    VipsImage* image = nullptr;
    void* data = nullptr;
    std::size_t size = 0;
    if (vips_gaussnoise(&image, width, height * frames, nullptr) == 0) {  // mean 128, sigma 30
        if (frames > 1) vips_image_set_int(image, "page-height", height);
        vips_image_write_to_buffer(image, suffix, &data, &size, nullptr);
        g_object_unref(image);
    }
    Bytes bytes(static_cast<std::uint8_t*>(data), static_cast<std::uint8_t*>(data) + size);
    g_free(data);
    return bytes;
}

struct ExifTags {
    std::optional<std::uint16_t> orientation;
    std::optional<std::string> model, dateTime, dateTimeOriginal;  // in IFD0, IFD0, EXIF IFD
};

/// EXIF as a little-endian TIFF structure; texts are stored as given (longer than 3 bytes).
Bytes tiffBlock(const ExifTags& spec) {
    using Entry = std::tuple<std::uint16_t, std::uint16_t, std::size_t, std::string>;
    const auto ifd = [](std::size_t at, const std::vector<Entry>& entries) {  // texts after it
        Bytes out = number(entries.size(), 2, true), texts;
        for (const auto& [tag, type, value, text] : entries) {
            const bool ascii = type == 2;
            const std::size_t textAt = at + 6 + 12 * entries.size() + texts.size();
            out = concat({out, number(tag, 2, true), number(type, 2, true),
                          number(ascii ? text.size() + 1 : 1, 4, true),
                          number(ascii ? textAt : value, 4, true)});
            if (ascii) texts = concat({texts, bytesOf(text), Bytes(2 - text.size() % 2, 0)});
        }
        return concat({out, number(0, 4), texts});
    };
    std::vector<Entry> ifd0, exifIfd;
    if (spec.model) ifd0.emplace_back(0x0110, 2, 0, *spec.model);
    if (spec.orientation) ifd0.emplace_back(0x0112, 3, *spec.orientation, "");
    if (spec.dateTime) ifd0.emplace_back(0x0132, 2, 0, *spec.dateTime);
    if (spec.dateTimeOriginal) exifIfd.emplace_back(0x9003, 2, 0, *spec.dateTimeOriginal);
    // The EXIF IFD follows IFD0, which grows by 12 bytes with the entry pointing to it.
    ifd0.emplace_back(0x8769, 4, 8 + ifd(8, ifd0).size() + 12, "");
    const Bytes first = ifd(8, ifd0);
    return concat({{'I', 'I', 42, 0, 8, 0, 0, 0}, first, ifd(8 + first.size(), exifIfd)});
}

Bytes withExif(const Bytes& jpeg, const Bytes& tiff) {
    return concat({bytesOf("\xFF\xD8\xFF\xE1"), number(tiff.size() + 8, 2),
                   bytesOf(std::string_view("Exif\0\0", 6)), tiff,
                   Bytes(jpeg.begin() + 2, jpeg.end())});
}

Bytes pngChunk(std::string_view type, const Bytes& data) {
    const Bytes body = concat({bytesOf(type), data});
    return concat({number(data.size(), 4), body,
                   number(crc32(0, body.data(), static_cast<uInt>(body.size())), 4)});
}

Bytes actl(std::uint8_t frames) { return pngChunk("acTL", {0, 0, 0, frames, 0, 0, 0, 0}); }

/// `bytes` with `part` inserted at `at`; for PNG, 33 is right after IHDR and size() - 12 is IEND.
Bytes insertAt(const Bytes& bytes, std::ptrdiff_t at, const Bytes& part) {
    return concat({head(bytes, at), part, Bytes(bytes.begin() + at, bytes.end())});
}

const std::filesystem::path scratch =
    std::filesystem::temp_directory_path() / ("tessel-inspect-" + std::to_string(::getpid()));

std::filesystem::path save(const std::string& name, const Bytes& bytes) {
    std::filesystem::create_directories(scratch);
    std::ofstream(scratch / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return scratch / name;
}

class Inspect : public ::testing::Test {
protected:
    ~Inspect() override { std::filesystem::remove_all(scratch); }
};
using JpegWalk = Inspect;

bool walksJpeg(const Bytes& bytes) { return walkJpeg(save("walk.jpg", bytes)).has_value(); }

TEST_F(JpegWalk, ReachesTheEndThroughStuffingRestartsAndStrayBytes) {
    const Bytes scan = {0xFF, 0xDA, 0x00, 0x02, 0x12, 0xFF, 0x00, 0x34, 0xFF, 0xD0, 0x56};
    const Bytes soi = {0xFF, 0xD8}, eoi = {0xFF, 0xD9}, app = {0xFF, 0xE0, 0x00, 0x04, 0xFF, 0xD9};
    // A second progressive scan, and junk before a marker that libjpeg only warns about.
    EXPECT_TRUE(walksJpeg(concat({soi, app, scan, scan, {0x00, 0x11}, eoi})));
    EXPECT_FALSE(walksJpeg(concat({soi, app, scan})));  // the FF D9 in APP0 is payload, not the end
    EXPECT_FALSE(walksJpeg(concat({soi, app, eoi})));   // no scan at all
    EXPECT_FALSE(walksJpeg(concat({soi, {0xFF, 0xE1, 0x40, 0x00, 0x01}})));  // segment past the end
    EXPECT_FALSE(walkJpeg(scratch / "missing.jpg"));

    // A sequential file that ends with the marker is taken without reading its scan; one cut
    // short, or progressive and cut after a segment that ends in FF D9, is walked and refused.
    const Bytes sequential = {0xFF, 0xC0, 0x00, 0x03, 0x08},
                progressive = {0xFF, 0xC2, 0x00, 0x03, 0x08};
    EXPECT_TRUE(walksJpeg(concat({soi, sequential, scan, {0x00}, eoi})));
    EXPECT_TRUE(walksJpeg(concat({soi, sequential, scan, eoi, {0x00, 0x00}})));  // bytes after it
    EXPECT_FALSE(walksJpeg(concat({soi, sequential, scan, {0xFF}})));
    EXPECT_FALSE(walksJpeg(concat({soi, progressive, scan, app})));
}

// The walk reads through a window: what straddles its edges must still be found.
TEST_F(JpegWalk, CrossesWindowEdgesAndRefusesAFileCutAnywhere) {
    Bytes entropy;
    std::uint32_t state = 12345;
    for (int i = 0; i < 700'000; ++i) {
        state = state * 1103515245u + 12345u;
        entropy.push_back(static_cast<std::uint8_t>(state >> 24));
        if (entropy.back() == 0xFF)
            entropy.push_back(static_cast<std::uint8_t>(i % 3 == 0 ? 0x00 : 0xD0 + i % 8));
    }
    const Bytes longSegment = concat({{0xFF, 0xE2, 0xFF, 0xF0}, Bytes(0xFFF0 - 2, 0xD9)});
    const Bytes part = concat({longSegment, {0xFF, 0xDA, 0x00, 0x02}, entropy});
    const Bytes whole = concat({{0xFF, 0xD8}, part, part, {0xFF, 0xFF, 0xFF, 0xFF, 0xD9}});
    EXPECT_TRUE(walksJpeg(whole));
    // Cut inside a segment, inside a scan or just before the end, it is refused.
    for (const Bytes& cut :
         {head(whole, 40'000), head(whole, 300'000), head(whole, std::ssize(whole) - 1)})
        EXPECT_FALSE(walksJpeg(cut)) << cut.size();
}

TEST(PngWalk, ChecksumsGuardCriticalAndAnimationChunksAndEXIfIsKept) {
    const Bytes signature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const Bytes tiff = {'I', 'I', 42, 0}, header = pngChunk("IHDR", Bytes(13, 1)),
                data = pngChunk("IDAT", Bytes(5, 7)), end = pngChunk("IEND", {});
    Bytes badText = pngChunk("tEXt", Bytes(4, 'a')), badData = data;
    badText.back() ^= 1;
    badData.back() ^= 1;
    const auto facts =
        walkPng(concat({signature, header, badText, data, pngChunk("eXIf", tiff), end}));
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->exif, tiff);
    // acTL after the image data does not make an animation.
    EXPECT_EQ(walkPng(concat({signature, header, data, actl(5), end}))->frameCount, 1);
    EXPECT_FALSE(walkPng(concat({signature, header, badData, end})));
    EXPECT_FALSE(walkPng(concat({signature, header, end})));        // no image data
    EXPECT_FALSE(walkPng(concat({signature, data, header, end})));  // IHDR not first
    EXPECT_FALSE(walkPng(concat({signature, header, data})));       // cut before IEND
}

TEST(GifWalk, CountsImagesAndRefusesACutBlock) {
    const Bytes screen = {'G', 'I', 'F', '8', '9', 'a', 2, 0, 2, 0, 0, 0, 0};
    const Bytes frame = {0x2C, 0, 0, 0, 0, 2, 0, 2, 0, 0, 2, 2, 0x4C, 0x01, 0};
    const Bytes comment = {0x21, 0xFE, 3, 'a', 'b', 'c', 0};
    EXPECT_EQ(walkGif(concat({screen, comment, frame, frame, frame, {0x3B}}))->frameCount, 3);
    // A file that stops cleanly between blocks lacks only its trailer; decoders accept it.
    EXPECT_EQ(walkGif(concat({screen, frame}))->frameCount, 1);
    EXPECT_FALSE(walkGif(concat({screen, frame, Bytes(frame.begin(), frame.end() - 3)})));
    EXPECT_FALSE(walkGif(concat({screen, comment, {0x3B}})));  // no image
}

auto throwsError(const TesselError& e) {
    return testing::ThrowsMessage<TesselError>(testing::StrEq(e.what()));  // shows the actual
}

TEST_F(Inspect, QuarterTurnOrientationsSwapTheDisplayedSize) {
    const Bytes jpeg = encodeImage(".jpg", 6000, 4000);
    for (std::uint16_t code = 0; code <= 9; ++code) {  // 0 and 9 are invalid: stored size
        SCOPED_TRACE(code);
        const auto info = inspect(save("o.jpg", withExif(jpeg, tiffBlock({.orientation = code}))));
        const bool quarter = code >= 5 && code <= 8;
        EXPECT_EQ(info.width, quarter ? 4000 : 6000);
        EXPECT_EQ(info.height, quarter ? 6000 : 4000);
    }
}

TEST_F(Inspect, JpegAndPngMetadataIsReadExactlyAsStoredWhateverTheName) {
    const Bytes exif = tiffBlock(
        {.orientation = 6, .model = "  EX-Z3  ", .dateTimeOriginal = "2023:12:31 23:59:59"});
    const Bytes jpeg = encodeImage(".jpg", 30, 20), png = encodeImage(".png", 30, 20);
    // An eXIf chunk after the image data is invisible to libvips' header read.
    for (const auto& [name, bytes] :
         {std::pair{"camera.jpg", withExif(jpeg, exif)},
          std::pair{"camera.png", insertAt(png, std::ssize(png) - 12, pngChunk("eXIf", exif))}}) {
        SCOPED_TRACE(name);
        const auto file = save(name, bytes);
        const auto info = inspect(file);
        EXPECT_EQ(info.width, 20);
        EXPECT_EQ(info.height, 30);
        EXPECT_EQ(info.cameraModel, "  EX-Z3  ");
        EXPECT_EQ(info.dateTaken, parseExifDate("2023:12:31 23:59:59"));
        EXPECT_EQ(info.bytes, static_cast<std::int64_t>(std::filesystem::file_size(file)));
        EXPECT_EQ(info.frameCount, 1);
    }
    // Content decides the format, whatever the name says.
    const auto plain = inspect(save("plain.jpg", png));
    EXPECT_EQ(plain.dateTaken, std::nullopt);
    EXPECT_EQ(plain.cameraModel, std::nullopt);
    // The TIFF date is no original date; "[...]" is part of a name, not load options.
    const Bytes dateOnly = withExif(jpeg, tiffBlock({.dateTime = "2023:12:31 23:59:59"}));
    const auto info = inspect(save("scan[shrink=2]", dateOnly));
    EXPECT_EQ(info.dateTaken, std::nullopt);
    EXPECT_EQ(info.width, 30);
}

TEST_F(Inspect, AnimationsAndPageSequencesAreRefusedWithTheirCount) {
    const Bytes png = encodeImage(".png", 16, 16);
    const std::vector<std::tuple<std::string, Bytes, int>> cases = {
        {"animation.gif", encodeImage(".gif", 32, 24, 12), 12},
        {"animation.webp", encodeImage(".webp", 32, 24, 12), 12},
        {"scan.tiff", encodeImage(".tif", 32, 24, 3), 3},
        {"ball.png", insertAt(png, 33, actl(4)), 4}};  // APNG: the count is in acTL
    for (const auto& [name, bytes, frames] : cases) {
        EXPECT_THAT([&] { inspect(save(name, bytes)); },
                    throwsError(TesselError::multiFrame(name, frames)));
    }
    EXPECT_EQ(inspect(save("one.png", insertAt(png, 33, actl(1)))).width, 16);
}

TEST_F(Inspect, FilesThatAreNotIntactPhotographsAreRefusedByNameSilentlyWithTheirCause) {
    const Bytes jpeg = encodeImage(".jpg", 200, 150), png = encodeImage(".png", 40, 30),
                gif = encodeImage(".gif", 40, 30, 3), ppm = encodeImage(".ppm", 8, 8);
    ASSERT_GT(ppm.size(), 8u);
    Bytes badCrc = png, badHeader = png;
    badCrc[png.size() - 13] ^= 0xFF;  // the CRC of the last IDAT
    badHeader[29] ^= 0xFF;            // the CRC of IHDR, which libpng warns about
    std::filesystem::create_directories(scratch / "folder.jpg");
    const std::string notAnImage = "The file is not an image.", damaged = "The file is damaged.",
                      cut = "The file is cut off before the end of the image.";
    const std::vector<std::tuple<std::string, Bytes, std::string>> files = {
        {"empty.jpg", {}, "The file is empty."},
        {"notes.jpg", bytesOf("just text\n"), notAnImage},
        {"drawing.png", bytesOf(R"(<svg xmlns="http://www.w3.org/2000/svg"/>)"),
         "Tessel does not read SVG files."},
        // Portable pixmaps open in libvips but are no photographs.
        {"scan.jpg", ppm, "Tessel does not read PPM files."},
        {"cut.jpg", head(jpeg, std::ssize(jpeg) * 6 / 10), cut},
        {"cut.png", head(png, std::ssize(png) - 20), cut},
        {"crc.png", badCrc, damaged},
        {"header.png", badHeader, damaged},
        {"zero.png", insertAt(png, 33, actl(0)), damaged},  // an animation of no frames
        {"cut.gif", head(gif, std::ssize(gif) * 3 / 4), cut},
        {"folder.jpg", {}, "It is a folder, not a file."},
        {"missing.heic", {}, "There is no such file or folder."},
    };
    ::testing::internal::CaptureStderr();
    for (const auto& [name, bytes, cause] : files) {
        if (name != "missing.heic") save(name, bytes);  // the folder stays a folder
        try {
            inspect(scratch / name);
            ADD_FAILURE() << name << " was accepted";
        } catch (const TesselError& error) {
            EXPECT_EQ(error, TesselError::cannotRead(name));
            EXPECT_EQ(error.cause(), cause) << name;
        }
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

// Threaded, yet the same results, first failure and progress (caller's thread) as in order.
TEST_F(Inspect, BatchAnswersAsInspectingInOrderWould) {
    const Bytes exif =
        tiffBlock({.orientation = 8, .model = "X100V", .dateTimeOriginal = "2021:03:04 05:06:07"});
    std::vector<std::filesystem::path> files;
    // Names are spelt out: GCC 12 misreads "p" + std::to_string(i) at -O3 (-Wrestrict).
    for (char digit = '0'; digit < '9'; ++digit)
        files.push_back(save(std::string{'p', digit, '.', 'j', 'p', 'g'},
                             withExif(encodeImage(".jpg", 20 + digit - '0', 30), exif)));
    const auto caller = std::this_thread::get_id();
    std::vector<std::int64_t> reported;
    const auto infos =
        TesselRenderer::inspectAll(files, [&](std::int64_t done, std::int64_t total) {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            EXPECT_EQ(total, 9);
            reported.push_back(done);
        });
    ASSERT_EQ(infos.size(), files.size());
    for (std::size_t i = 0; i < files.size(); ++i)
        EXPECT_EQ(infos[i], inspect(files[i])) << files[i];
    ASSERT_FALSE(reported.empty());
    EXPECT_TRUE(std::is_sorted(reported.begin(), reported.end()));
    EXPECT_EQ(reported.back(), 9);

    // A text file named .jpg comes before an animation: its error is the one reported.
    auto broken = files;
    broken.insert(broken.begin() + 3, save("notes.jpg", bytesOf("hello")));
    broken.insert(broken.begin() + 5, save("clip.gif", encodeImage(".gif", 16, 16, 12)));
    for (int round = 0; round < 5; ++round) {
        EXPECT_THAT([&] { TesselRenderer::inspectAll(broken); },
                    throwsError(TesselError::cannotRead("notes.jpg")));
    }
    EXPECT_TRUE(TesselRenderer::inspectAll({}).empty());
}

// List rows show what the sheet will: upright, bounded, JPEG; failures are only an absence.
TEST_F(Inspect, ThumbnailsAreUprightBoundedJpegsOrNothing) {
    const auto turned =
        save("turned.jpg", withExif(encodeImage(".jpg", 600, 400), tiffBlock({.orientation = 6})));
    const auto sizeOf = [](const Bytes& jpeg) {
        VipsImage* image = vips_image_new_from_buffer(jpeg.data(), jpeg.size(), "", nullptr);
        EXPECT_NE(image, nullptr);
        if (!image) return std::pair{0, 0};
        EXPECT_STREQ(vips_foreign_find_load_buffer(jpeg.data(), jpeg.size()),
                     "VipsForeignLoadJpegBuffer");
        const std::pair size{vips_image_get_width(image), vips_image_get_height(image)};
        g_object_unref(image);
        return size;
    };
    for (const auto& [bound, expected] :
         {std::pair{320, std::pair{213, 320}}, {1000, {400, 600}}, {0, {1, 1}}, {-5, {1, 1}}}) {
        SCOPED_TRACE(bound);
        const auto thumbnail = TesselRenderer::thumbnailData(turned, bound);
        ASSERT_TRUE(thumbnail);
        const auto [width, height] = sizeOf(*thumbnail);
        EXPECT_NEAR(width, expected.first, 1);
        EXPECT_EQ(height, expected.second);
    }
    EXPECT_EQ(TesselRenderer::thumbnailData(scratch / "missing.png", 320), std::nullopt);
    EXPECT_EQ(TesselRenderer::thumbnailData(save("notes.png", bytesOf("text")), 320), std::nullopt);
}

TEST(ExifDate, ReadsTheExactPatternAsWallClockTimeInTheMachinesZone) {
    std::tm t{59, 59, 23, 31, 11, 123, 0, 0, -1};  // 2023-12-31 23:59:59 local, glibc's order
    EXPECT_EQ(parseExifDate("2023:12:31 23:59:59"),
              std::chrono::system_clock::from_time_t(std::mktime(&t)));
    // Phones' dashes, old cameras' placeholders, partial or extra text, no such day or month,
    // years the clock cannot hold (a damaged field).
    for (const char* text :
         {"", "2023-12-31 23:59:59", "    :  :     :  :  ", "0000:00:00 00:00:00", "2023:12:31",
          "2023:12:31 23:59:59 ", "2023:12:31T23:59:59", "2023:02:30 10:00:00",
          "2023:13:01 10:00:00", "4048:05:17 10:00:00", "202306:05:17 10:00:00"}) {
        EXPECT_EQ(parseExifDate(text), std::nullopt) << "'" << text << "'";
    }
}

}  // namespace
