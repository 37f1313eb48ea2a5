// Files that are not photographs at all, or whose headers ask for more memory than any
// photograph needs: refused by name, quickly, without blocking and without decoding.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <jpeglib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vips/vips.h>
#include <zlib.h>

#include "tessel/Files.hpp"
#include "tessel/Inspection.hpp"
#include "tessel/TesselError.hpp"

#include "TemporaryFolder.hpp"
#include "decode/Decode.hpp"
#include "decode/DecodeBudget.hpp"
#include "decode/Vips.hpp"
#include "formats/jpeg/Jpeg.hpp"

namespace tessel {
namespace {

using testing::TemporaryFolder;
using Bytes = std::vector<std::uint8_t>;
namespace fs = std::filesystem;

void writeBytes(const fs::path& file, const Bytes& bytes) {
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

Bytes big(std::uint32_t value, int width) {
    Bytes out;
    for (int i = width - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    return out;
}

void append(Bytes& to, const Bytes& part) { to.insert(to.end(), part.begin(), part.end()); }

/// A small noisy picture saved by libvips with `options` ("[interlace]" makes a progressive
/// JPEG or an interlaced PNG).
Bytes encoded(const char* suffix, int width, int height) {
    detail::ensureVipsStarted();
    detail::VipsImageRef noise;
    if (vips_gaussnoise(noise.out(), width, height, nullptr) != 0) return {};
    detail::VipsImageRef image;
    if (vips_cast_uchar(noise.get(), image.out(), nullptr) != 0) return {};
    void* data = nullptr;
    std::size_t size = 0;
    if (vips_image_write_to_buffer(image.get(), suffix, &data, &size, nullptr) != 0) return {};
    Bytes bytes(static_cast<std::uint8_t*>(data), static_cast<std::uint8_t*>(data) + size);
    g_free(data);
    return bytes;
}

/// A progressive JPEG whose frame header claims `width` × `height` while its scans hold the
/// data of a 32 × 32 picture: tiny on disk, cut short for what it claims.
Bytes patchedProgressiveJpeg(std::uint16_t width, std::uint16_t height) {
    Bytes jpeg = encoded(".jpg[interlace]", 32, 32);
    for (std::size_t i = 0; i + 9 < jpeg.size(); ++i) {
        if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xC2) {
            jpeg[i + 5] = static_cast<std::uint8_t>(height >> 8);
            jpeg[i + 6] = static_cast<std::uint8_t>(height);
            jpeg[i + 7] = static_cast<std::uint8_t>(width >> 8);
            jpeg[i + 8] = static_cast<std::uint8_t>(width);
            return jpeg;
        }
    }
    ADD_FAILURE() << "libvips wrote no progressive frame";
    return jpeg;
}

/// A sequential JPEG of `side` × `side` pixels whose three components come in three scans of
/// their own, so that libjpeg holds all of its coefficients, as for a progressive one.
Bytes separateScansJpeg(int side) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &data, &size);
    info.image_width = info.image_height = static_cast<JDIMENSION>(side);
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    const jpeg_scan_info scans[] = {{1, {0, 0, 0, 0}, 0, 63, 0, 0},
                                    {1, {1, 0, 0, 0}, 0, 63, 0, 0},
                                    {1, {2, 0, 0, 0}, 0, 63, 0, 0}};
    info.scan_info = scans;
    info.num_scans = 3;
    jpeg_start_compress(&info, TRUE);
    std::vector<JSAMPLE> row(static_cast<std::size_t>(side) * 3);
    for (std::size_t i = 0; i < row.size(); ++i) row[i] = static_cast<JSAMPLE>(i * 7);
    while (info.next_scanline < info.image_height) {
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&info, rows, 1);
    }
    jpeg_finish_compress(&info);
    Bytes bytes(data, data + size);
    jpeg_destroy_compress(&info);
    std::free(data);
    return bytes;
}

Bytes pngChunk(const char* type, const Bytes& data) {
    Bytes body(type, type + 4);
    append(body, data);
    Bytes chunk = big(static_cast<std::uint32_t>(data.size()), 4);
    append(chunk, body);
    append(
        chunk,
        big(static_cast<std::uint32_t>(crc32(0, body.data(), static_cast<uInt>(body.size()))), 4));
    return chunk;
}

/// A grey PNG whose header claims `side` × `side` pixels, with intact chunks around a few
/// bytes of image data: made in microseconds, whatever it claims.
Bytes claimedPng(std::uint32_t side, bool interlaced) {
    Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    Bytes header = big(side, 4);
    append(header, big(side, 4));
    append(header, {8, 0, 0, 0, static_cast<std::uint8_t>(interlaced ? 1 : 0)});
    append(png, pngChunk("IHDR", header));
    Bytes rows(64, 0);
    Bytes deflated(compressBound(static_cast<uLong>(rows.size())));
    uLongf size = static_cast<uLongf>(deflated.size());
    compress(deflated.data(), &size, rows.data(), static_cast<uLong>(rows.size()));
    deflated.resize(size);
    append(png, pngChunk("IDAT", deflated));
    append(png, pngChunk("IEND", {}));
    return png;
}

/// A GIF whose screen and only image are `side` × `side`, with one byte of image data.
Bytes claimedGif(std::uint16_t side) {
    const auto little = [](std::uint16_t v) {
        return Bytes{static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v >> 8)};
    };
    Bytes gif = {'G', 'I', 'F', '8', '9', 'a'};
    append(gif, little(side));
    append(gif, little(side));
    append(gif, {0x80, 0, 0, 0, 0, 0, 255, 255, 255, 0x2C, 0, 0, 0, 0});
    append(gif, little(side));
    append(gif, little(side));
    append(gif, {0x00, 0x02, 0x02, 0x44, 0x01, 0x00, 0x3B});
    return gif;
}

TesselError inspectError(const fs::path& file) {
    try {
        (void)TesselRenderer::inspect(file);
    } catch (const TesselError& error) {
        return error;
    }
    ADD_FAILURE() << file << " was accepted";
    return TesselError::noImages();
}

std::uint64_t loaderBytesOf(const fs::path& file) {
    detail::ensureVipsStarted();
    const detail::VipsImageRef header(vips_image_new_from_file(file.c_str(), nullptr));
    if (!header) {
        vips_error_clear();
        ADD_FAILURE() << "libvips cannot read the header of " << file;
        return 0;
    }
    return detail::loaderBytes(header.get(), file);
}

TEST(NotARegularFile, IsRefusedAsUnreadableWithoutWaitingOnIt) {
    TemporaryFolder folder;
    const fs::path fifo = folder / "y.jpg";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const fs::path socketFile = folder / "s.png";
    const int socketDescriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketFile.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(socketDescriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    fs::create_directory(folder / "folder.jpg");

    for (const fs::path& file : {fifo, fs::path("/dev/zero"), socketFile, folder / "folder.jpg"}) {
        SCOPED_TRACE(file);
        // Run aside, so that a blocking open fails the test instead of hanging it: a writer
        // is then connected to let the inspection return.
        auto inspected = std::async(std::launch::async, [&] { return inspectError(file); });
        auto thumbnail =
            std::async(std::launch::async, [&] { return TesselRenderer::thumbnailData(file, 64); });
        if (inspected.wait_for(std::chrono::seconds(20)) != std::future_status::ready ||
            thumbnail.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            ADD_FAILURE() << "blocked on " << file;
            for (int i = 0; i < 2; ++i) ::close(::open(fifo.c_str(), O_WRONLY | O_NONBLOCK));
        }
        EXPECT_EQ(inspected.get(), TesselError::cannotRead(file.filename().string()));
        EXPECT_FALSE(thumbnail.get().has_value());
    }
    ::close(socketDescriptor);
}

TEST(NotARegularFile, RecipeAndLayoutReadingRefusesItAndFilesLargerThanAsked) {
    TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
    std::error_code error;
    EXPECT_EQ(readFile(folder / "fifo", error), "");
    EXPECT_EQ(error, std::errc::invalid_argument);
    EXPECT_EQ(readFile("/dev/zero", 100, error), "");
    EXPECT_EQ(error, std::errc::invalid_argument);
    std::ofstream(folder / "large") << std::string(5000, 'x');
    EXPECT_EQ(readFile(folder / "large", 4999, error), "");
    EXPECT_EQ(error, std::errc::file_too_large);
    EXPECT_EQ(readFile(folder / "large", 5000, error).size(), 5000u);
    EXPECT_FALSE(error);
}

TEST(DecodingBudget, ProgressiveJpegCoefficientsComeFromTheFrameHeader) {
    // 3 components, luma 2 × 2, chroma 1 × 1 (4:2:0): luma blocks pad to whole MCUs of 16.
    const Bytes frame = {8, 0, 100, 0, 50, 3, 1, 0x22, 0, 2, 0x11, 1, 3, 0x11, 1};
    // Luma: 50 px → 7 blocks → 8 across; 100 → 13 → 14 down. Chroma: 25 → 4; 50 → 7.
    EXPECT_EQ(detail::progressiveCoefficientBytes(frame), (8 * 14 + 2 * 4 * 7) * 128u);
    // Only the first component's sampling at hand: every component counted at full size.
    EXPECT_EQ(detail::progressiveCoefficientBytes(Bytes{8, 0, 16, 0, 16, 4, 1, 0x22, 0}),
              4 * 4 * 128u);
    EXPECT_EQ(detail::progressiveCoefficientBytes(Bytes{8, 0, 16}), std::nullopt);
}

TEST(DecodingBudget, EachFormatIsJudgedByWhatItsDecoderHolds) {
    TemporaryFolder folder;
    writeBytes(folder / "progressive.jpg", patchedProgressiveJpeg(65500, 65500));
    writeBytes(folder / "baseline.jpg", encoded(".jpg", 64, 48));
    writeBytes(folder / "interlaced.png", claimedPng(60000, true));
    writeBytes(folder / "plain.png", claimedPng(60000, false));
    writeBytes(folder / "screen.gif", claimedGif(20000));
    const std::uint64_t blocks = 65500 / 8 + 1;  // 8188 blocks of 8, and a partial one
    EXPECT_EQ(loaderBytesOf(folder / "progressive.jpg"), blocks * blocks * 128);
    EXPECT_EQ(loaderBytesOf(folder / "baseline.jpg"), 0u);  // decoded a few rows at a time
    EXPECT_EQ(loaderBytesOf(folder / "interlaced.png"), 60000ull * 60000);
    EXPECT_EQ(loaderBytesOf(folder / "plain.png"), 0u);
    EXPECT_EQ(loaderBytesOf(folder / "screen.gif"), 20000ull * 20000 * 5);
}

TEST(DecodingBudget, TheDefaultLeavesRoomForA200MegapixelPanorama) {
    // 20 000 × 10 000, 4:2:0 progressive: every coefficient of the three planes is held.
    const Bytes frame = {8, 0x27, 0x10, 0x4E, 0x20, 3, 1, 0x22, 0, 2, 0x11, 1, 3, 0x11, 1};
    const auto budget = static_cast<std::uint64_t>(TesselRenderer::decodingBudget());
    EXPECT_LE(detail::progressiveCoefficientBytes(frame).value_or(budget + 1), budget);
    // An interlaced PNG of 14 142 × 14 142 is held whole as well.
    TemporaryFolder folder;
    writeBytes(folder / "panorama.png", claimedPng(14142, true));
    EXPECT_LE(loaderBytesOf(folder / "panorama.png"), budget);
}

TEST(DecodingBudget, HugeHeadersAreRefusedByNameBeforeAnyDecoding) {
    // Each of these took gigabytes and minutes when decoded as its header asks.
    TemporaryFolder folder;
    writeBytes(folder / "claims.jpg", patchedProgressiveJpeg(65500, 65500));
    writeBytes(folder / "claims.png", claimedPng(60000, true));
    writeBytes(folder / "claims.gif", claimedGif(20000));
    const std::string tooLarge = "The image is too large to decode within the memory budget (";
    for (const auto& [name, megapixels] :
         {std::pair("claims.jpg", "4,290"), std::pair("claims.png", "3,600"),
          std::pair("claims.gif", "400")}) {
        const TesselError error = inspectError(folder / name);
        EXPECT_EQ(error, TesselError::cannotRead(name));
        EXPECT_EQ(error.cause(), tooLarge + megapixels + " megapixels).");
        std::string cause;
        EXPECT_FALSE(detail::decodeUpright(folder / name, 300, 0, nullptr,
                                           detail::ReduceFilter::linear, &cause)
                         .has_value());
        EXPECT_EQ(cause, error.cause());
    }
}

TEST(DecodingBudget, TheCallerSetsItAndDecodingCountsTheReducedPicture) {
    TemporaryFolder folder;
    writeBytes(folder / "small.png", encoded(".png[interlace]", 100, 100));  // 10 000 bytes held
    EXPECT_EQ(TesselRenderer::inspect(folder / "small.png").width, 100);
    TesselRenderer::setDecodingBudget(9999);
    EXPECT_EQ(TesselRenderer::decodingBudget(), 9999);
    EXPECT_EQ(inspectError(folder / "small.png"), TesselError::cannotRead("small.png"));
    TesselRenderer::setDecodingBudget(20000);
    // The loader's 10 000 bytes fit; a 100 × 100 result at 8 bytes a pixel does not.
    EXPECT_EQ(TesselRenderer::inspect(folder / "small.png").width, 100);
    EXPECT_TRUE(detail::decodeUpright(folder / "small.png", 30).has_value());
    EXPECT_FALSE(detail::decodeUpright(folder / "small.png", 100).has_value());
    TesselRenderer::setDecodingBudget(0);
    EXPECT_EQ(TesselRenderer::decodingBudget(), std::int64_t{3} << 29);
    EXPECT_TRUE(detail::decodeUpright(folder / "small.png", 100).has_value());
}

TEST(DecodingBudget, JpegsAreJudgedByTheirScansAtDecodingToo) {
    TemporaryFolder folder;
    writeBytes(folder / "baseline.jpg", encoded(".jpg", 200, 200));
    writeBytes(folder / "progressive.jpg", encoded(".jpg[interlace]", 200, 200));
    writeBytes(folder / "scans.jpg", separateScansJpeg(200));
    writeBytes(folder / "plain.png", claimedPng(200, false));
    // 4:2:0 in 200 × 200: 25 luma blocks padded to 26 each way, 13 chroma blocks; the
    // progressive one is grey.
    const std::uint64_t coefficients = (26 * 26 + 2 * 13 * 13) * 128;
    EXPECT_EQ(detail::jpegDecodingCost(folder / "baseline.jpg")->bytes, 0u);
    EXPECT_EQ(detail::jpegDecodingCost(folder / "scans.jpg")->bytes, coefficients);
    EXPECT_EQ(loaderBytesOf(folder / "scans.jpg"), coefficients);
    EXPECT_EQ(detail::jpegDecodingCost(folder / "progressive.jpg")->bytes, 25 * 25 * 128u);
    EXPECT_EQ(detail::jpegDecodingCost(folder / "plain.png"), std::nullopt);

    // Room for a small result but not for the coefficients.
    TesselRenderer::setDecodingBudget(70'000);
    EXPECT_TRUE(detail::decodeUpright(folder / "baseline.jpg", 30).has_value());
    EXPECT_FALSE(detail::decodeUpright(folder / "baseline.jpg", 200).has_value());
    for (const char* name : {"scans.jpg", "progressive.jpg"}) {
        EXPECT_FALSE(detail::decodeUpright(folder / name, 30).has_value()) << name;
        EXPECT_EQ(inspectError(folder / name), TesselError::cannotRead(name));
    }
    TesselRenderer::setDecodingBudget(0);
    for (const char* name : {"scans.jpg", "progressive.jpg"})
        EXPECT_TRUE(detail::decodeUpright(folder / name, 30).has_value()) << name;
}

TEST(DecodingBudget, AProgressiveJpegWhoseScansAreCutIsNeverDrawnGrey) {
    // Within the budget, intact as a container (it runs to its EOI), but its scans hold a
    // fraction of the blocks its frame claims: libvips would fill the rest with grey.
    TemporaryFolder folder;
    writeBytes(folder / "cut.jpg", patchedProgressiveJpeg(640, 480));
    EXPECT_EQ(TesselRenderer::inspect(folder / "cut.jpg").width, 640);
    std::string cause;
    EXPECT_FALSE(detail::decodeUpright(folder / "cut.jpg", 200, 0, nullptr,
                                       detail::ReduceFilter::linear, &cause)
                     .has_value());
    EXPECT_EQ(cause, "The file is cut off before the end of the image.");
    // Brackets are part of the name, never load options, also for the budget's look.
    writeBytes(folder / "whole[1].jpg", encoded(".jpg[interlace]", 640, 480));
    EXPECT_TRUE(detail::decodeUpright(folder / "whole[1].jpg", 200).has_value());
}

}  // namespace
}  // namespace tessel
