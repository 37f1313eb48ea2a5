// Inspection of images made at test time: displayed size, frame-count refusal, metadata and
// the refusal of files that are not intact photographs.

#include <algorithm>
#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tessel/Inspection.hpp"
#include "tessel/TesselError.hpp"

#include "TestImages.hpp"

namespace tessel {
void PrintTo(const TesselError& error, std::ostream* os) { *os << error.errorDescription(); }
}  // namespace tessel

namespace {

using namespace tessel;
using namespace tessel::test;

using Size = std::pair<std::int64_t, std::int64_t>;
Size sizeOf(const SheetImageInfo& info) { return {info.width, info.height}; }

class Inspect : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = std::filesystem::temp_directory_path() /
               ("tessel-inspect-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    std::filesystem::path save(const std::string& name, const Bytes& bytes) {
        writeFile(dir_ / name, bytes);
        return dir_ / name;
    }

    static TesselError refusal(const std::filesystem::path& file) {
        try {
            TesselRenderer::inspect(file);
        } catch (const TesselError& error) {
            return error;
        }
        ADD_FAILURE() << file << " was accepted";
        return TesselError::noImages();
    }

    std::filesystem::path dir_;
};

TEST_F(Inspect, CameraJpegTurnedByAQuarterReportsSwappedSize) {
    const Bytes jpeg = encodeImage(Saver::jpeg, 6000, 4000);
    const auto turned =
        TesselRenderer::inspect(save("turned.jpg", withExif(jpeg, tiffBlock({.orientation = 6}))));
    EXPECT_EQ(turned.width, 4000);
    EXPECT_EQ(turned.height, 6000);
    const auto upsideDown = TesselRenderer::inspect(
        save("upside-down.jpg", withExif(jpeg, tiffBlock({.orientation = 3}))));
    EXPECT_EQ(upsideDown.width, 6000);
    EXPECT_EQ(upsideDown.height, 4000);
}

TEST_F(Inspect, EveryOrientationCodeSwapsOnlyForQuarterTurns) {
    const Bytes jpeg = encodeImage(Saver::jpeg, 60, 40);
    // 0 and 9 are invalid codes and leave the stored size, as 1 does.
    for (std::uint16_t code = 0; code <= 9; ++code) {
        SCOPED_TRACE(code);
        const auto info = TesselRenderer::inspect(
            save("o.jpg", withExif(jpeg, tiffBlock({.orientation = code}))));
        const bool quarter = code >= 5 && code <= 8;
        EXPECT_EQ(info.width, quarter ? 40 : 60);
        EXPECT_EQ(info.height, quarter ? 60 : 40);
    }
}

TEST_F(Inspect, PngKeepsStoredSizeWithoutOrientationAndHonoursLateEXIf) {
    const Bytes png = encodeImage(Saver::png, 30, 20);
    const auto plain = TesselRenderer::inspect(save("plain.png", png));
    EXPECT_EQ(sizeOf(plain), Size(30, 20));
    EXPECT_EQ(plain.dateTaken, std::nullopt);
    EXPECT_EQ(plain.cameraModel, std::nullopt);

    // An eXIf chunk after the image data is invisible to libvips' header read.
    const Bytes exif = tiffBlock(
        {.orientation = 6, .model = "Pixel 8", .dateTimeOriginal = "2024:05:17 14:03:09"});
    const auto tagged = TesselRenderer::inspect(
        save("tagged.png", insertChunk(png, "IEND", pngChunk("eXIf", exif))));
    EXPECT_EQ(sizeOf(tagged), Size(20, 30));
    EXPECT_EQ(tagged.cameraModel, "Pixel 8");
    EXPECT_EQ(tagged.dateTaken, TesselRenderer::parseExifDate("2024:05:17 14:03:09"));
}

TEST_F(Inspect, MetadataIsReadExactlyAsStored) {
    const Bytes jpeg = encodeImage(Saver::jpeg, 64, 48);
    const auto file =
        save("camera.jpg", withExif(jpeg, tiffBlock({
                                              .model = "  EX-Z3  ",
                                              .dateTimeOriginal = "2023:12:31 23:59:59",
                                          })));
    const auto info = TesselRenderer::inspect(file);
    EXPECT_EQ(info.cameraModel, "  EX-Z3  ");
    ASSERT_TRUE(info.dateTaken.has_value());
    EXPECT_EQ(info.dateTaken, TesselRenderer::parseExifDate("2023:12:31 23:59:59"));
    EXPECT_EQ(info.bytes, static_cast<std::int64_t>(std::filesystem::file_size(file)));
    EXPECT_EQ(info.frameCount, 1);

    // Neither the TIFF date nor a capture date in another form stands in for the original.
    const auto tiffDateOnly = TesselRenderer::inspect(
        save("tiff-date.jpg", withExif(jpeg, tiffBlock({.dateTime = "2023:12:31 23:59:59"}))));
    EXPECT_EQ(tiffDateOnly.dateTaken, std::nullopt);
    const auto dashed = TesselRenderer::inspect(
        save("dashed.jpg", withExif(jpeg, tiffBlock({.dateTimeOriginal = "2023-12-31 23:59:59"}))));
    EXPECT_EQ(dashed.dateTaken, std::nullopt);
}

struct FramesCase {
    Saver saver;
    const char* name;
    int frames;
};

TEST_F(Inspect, AnimationsAndPageSequencesAreRefusedWithTheirCount) {
    for (const FramesCase& c :
         {FramesCase{Saver::gif, "animation.gif", 12},
          FramesCase{Saver::webp, "animation.webp", 12}, FramesCase{Saver::tiff, "scan.tiff", 3}}) {
        SCOPED_TRACE(c.name);
        const TesselError error = refusal(save(c.name, encodeImage(c.saver, 32, 24, c.frames)));
        EXPECT_EQ(error, TesselError::multiFrame(c.name, c.frames));
    }
    EXPECT_EQ(refusal(dir_ / "animation.gif").errorDescription(),
              "animation.gif contains 12 frames. Tessel never discards frames silently.");
}

TEST_F(Inspect, ApngFramesComeFromItsAnimationControlChunk) {
    const Bytes png = encodeImage(Saver::png, 16, 16);
    EXPECT_EQ(refusal(save("ball.png", insertChunk(png, "IDAT", actl(4)))),
              TesselError::multiFrame("ball.png", 4));
    EXPECT_EQ(TesselRenderer::inspect(save("one.png", insertChunk(png, "IDAT", actl(1)))).width,
              16);
    // An animation of zero frames is malformed.
    EXPECT_EQ(refusal(save("zero.png", insertChunk(png, "IDAT", actl(0)))),
              TesselError::cannotRead("zero.png"));
}

TEST_F(Inspect, FilesThatAreNotIntactPhotographsAreRefusedByName) {
    const Bytes jpeg = encodeImage(Saver::jpeg, 200, 150);
    const Bytes png = encodeImage(Saver::png, 40, 30);
    const Bytes gif = encodeImage(Saver::gif, 40, 30, 3);
    Bytes badCrc = png;
    badCrc[findChunk(png, "IDAT") + 10] ^= 0xFF;
    // Portable pixmaps open in libvips but are not photographs for a sheet.
    VipsImage* gray = nullptr;
    ASSERT_EQ(vips_black(&gray, 8, 8, nullptr), 0);
    ASSERT_EQ(vips_image_write_to_file(gray, (dir_ / "scan.ppm").c_str(), nullptr), 0);
    g_object_unref(gray);
    std::filesystem::rename(dir_ / "scan.ppm", dir_ / "scan.jpg");
    std::filesystem::create_directory(dir_ / "folder.jpg");

    const std::vector<std::pair<std::string, Bytes>> files = {
        {"empty.jpg", {}},
        {"notes.jpg", Bytes{'j', 'u', 's', 't', ' ', 't', 'e', 'x', 't', '\n'}},
        {"page.png",
         Bytes{'<', '!', 'D', 'O', 'C', 'T', 'Y', 'P', 'E', ' ', 'h', 't', 'm', 'l', '>'}},
        {"drawing.png", Bytes{'<', 's', 'v', 'g', ' ', 'x', 'm', 'l', 'n', 's', '=', '"', 'h', 't',
                              't', 'p', ':', '/', '/', 'w', 'w', 'w', '.', 'w', '3', '.', 'o', 'r',
                              'g', '/', '2', '0', '0', '0', '/', 's', 'v', 'g', '"', '/', '>'}},
        {"cut.jpg",
         Bytes(jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(jpeg.size() * 6 / 10))},
        {"cut.png", Bytes(png.begin(), png.end() - 20)},
        {"crc.png", badCrc},
        {"cut.gif", Bytes(gif.begin(), gif.end() - static_cast<std::ptrdiff_t>(gif.size() / 4))},
    };
    for (const auto& [name, bytes] : files) save(name, bytes);
    for (const std::string name :
         {"empty.jpg", "notes.jpg", "page.png", "drawing.png", "cut.jpg", "cut.png", "crc.png",
          "cut.gif", "scan.jpg", "folder.jpg", "missing.heic"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(refusal(dir_ / name), TesselError::cannotRead(name));
    }
}

TEST_F(Inspect, ContentDecidesTheFormatAndNamesAreTakenLiterally) {
    const Bytes png = encodeImage(Saver::png, 30, 20);
    EXPECT_EQ(TesselRenderer::inspect(save("really-a-png.jpg", png)).width, 30);
    // libvips reads "[...]" after a file name as load options; a file may be named so.
    const auto bracketed =
        TesselRenderer::inspect(save("scan[shrink=2]", encodeImage(Saver::jpeg, 64, 48)));
    EXPECT_EQ(sizeOf(bracketed), Size(64, 48));
}

TEST_F(Inspect, DamagedFilesLeaveNothingOnStandardError) {
    Bytes png = encodeImage(Saver::png, 40, 30);
    png[findChunk(png, "IHDR") + 10] ^= 0xFF;  // libpng warns about a bad IHDR CRC
    const auto file = save("warned.png", png);
    ::testing::internal::CaptureStderr();
    EXPECT_THROW(TesselRenderer::inspect(file), TesselError);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(Inspect, ConcurrentInspectionsAgree) {
    const Bytes jpeg = encodeImage(Saver::jpeg, 120, 80);
    const auto file =
        save("shared.jpg", withExif(jpeg, tiffBlock({.orientation = 8,
                                                     .model = "X100V",
                                                     .dateTimeOriginal = "2021:03:04 05:06:07"})));
    const auto gif = save("clip.gif", encodeImage(Saver::gif, 20, 20, 5));
    const SheetImageInfo expected = TesselRenderer::inspect(file);
    std::vector<std::thread> threads;
    std::atomic<int> mismatches{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int k = 0; k < 25; ++k) {
                if (!(TesselRenderer::inspect(file) == expected)) ++mismatches;
                try {
                    TesselRenderer::inspect(gif);
                    ++mismatches;
                } catch (const TesselError& error) {
                    if (!(error == TesselError::multiFrame("clip.gif", 5))) ++mismatches;
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_EQ(expected.width, 80);
    EXPECT_EQ(expected.cameraModel, "X100V");
}

}  // namespace

// The batch form runs files on several threads but must answer exactly as inspecting them one
// by one in the order given would: same results in the same order, the first failure in that
// order (not the first to happen), and progress counted up to the total on the caller's thread.
TEST_F(Inspect, BatchAnswersAsInspectingInOrderWould) {
    std::vector<std::filesystem::path> files;
    for (int i = 0; i < 9; ++i)
        files.push_back(
            save("p" + std::to_string(i) + ".png", encodeImage(Saver::png, 20 + i, 30)));
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
        EXPECT_EQ(infos[i], TesselRenderer::inspect(files[i])) << files[i];
    ASSERT_FALSE(reported.empty());
    EXPECT_TRUE(std::is_sorted(reported.begin(), reported.end()));
    EXPECT_EQ(reported.back(), 9);

    // A text file named .jpg comes before an animation: its error is the one reported.
    auto broken = files;
    broken.insert(broken.begin() + 3, save("notes.jpg", Bytes{'h', 'e', 'l', 'l', 'o'}));
    broken.insert(broken.begin() + 5, save("clip.gif", encodeImage(Saver::gif, 16, 16, 12)));
    for (int round = 0; round < 5; ++round) {
        try {
            TesselRenderer::inspectAll(broken);
            ADD_FAILURE() << "a broken batch was accepted";
        } catch (const TesselError& error) {
            EXPECT_EQ(error, TesselError::cannotRead("notes.jpg"));
        }
    }
    EXPECT_TRUE(TesselRenderer::inspectAll({}).empty());
}
