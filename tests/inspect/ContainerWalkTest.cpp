// The container walks on hand-made and edited streams: tolerance where decoders are
// tolerant, refusal where the data is cut or broken.

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "TestImages.hpp"
#include "vips/ContainerWalk.hpp"

namespace {

using namespace tessel::detail;
using tessel::test::Bytes;

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) {
        for (std::uint8_t byte : part) out.push_back(byte);
    }
    return out;
}

TEST(JpegWalk, ReachesTheEndThroughStuffingRestartsAndStrayBytes) {
    const Bytes scan = {0xFF, 0xDA, 0x00, 0x02, 0x12, 0xFF, 0x00, 0x34, 0xFF, 0xD0, 0x56};
    const Bytes soi = {0xFF, 0xD8}, eoi = {0xFF, 0xD9}, app = {0xFF, 0xE0, 0x00, 0x04, 0xFF, 0xD9};
    // A second progressive scan, and junk before a marker that libjpeg only warns about.
    EXPECT_TRUE(walkJpeg(concat({soi, app, scan, scan, {0x00, 0x11}, eoi})));
    // The FF D9 inside the APP segment is payload, not the end.
    EXPECT_FALSE(walkJpeg(concat({soi, app, scan})));
    EXPECT_FALSE(walkJpeg(concat({soi, app, eoi})));                        // no scan at all
    EXPECT_FALSE(walkJpeg(concat({soi, {0xFF, 0xE1, 0x40, 0x00, 0x01}})));  // segment past the end
}

// Read from a file, the walk goes through a window smaller than the file; markers and long
// segments that straddle the window's edges must be found exactly as in memory.
TEST(JpegWalk, FileWalkAgreesWithTheWalkInMemoryAcrossWindowEdges) {
    Bytes entropy;
    std::uint32_t state = 12345;
    for (int i = 0; i < 700'000; ++i) {
        state = state * 1103515245u + 12345u;
        const auto byte = static_cast<std::uint8_t>(state >> 24);
        entropy.push_back(byte);
        if (byte == 0xFF)
            entropy.push_back(static_cast<std::uint8_t>(i % 3 == 0 ? 0x00 : 0xD0 + i % 8));
    }
    const Bytes soi = {0xFF, 0xD8}, eoi = {0xFF, 0xD9};
    Bytes longSegment = {0xFF, 0xE2, 0xFF, 0xF0};  // 65,520 bytes of payload
    longSegment.resize(longSegment.size() + 0xFFF0 - 2, 0xD9);
    const Bytes scanHeader = {0xFF, 0xDA, 0x00, 0x02};
    const Bytes whole = concat({soi,
                                longSegment,
                                scanHeader,
                                entropy,
                                longSegment,
                                scanHeader,
                                entropy,
                                {0xFF, 0xFF, 0xFF},
                                eoi});
    const auto folder = std::filesystem::temp_directory_path() / "tessel-jpeg-walk";
    std::filesystem::create_directories(folder);
    const auto write = [&](const Bytes& bytes, const char* name) {
        const auto path = folder / name;
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return path;
    };
    EXPECT_TRUE(walkJpeg(whole));
    EXPECT_TRUE(walkJpeg(write(whole, "whole.jpg")));
    // Cut anywhere (inside a segment, inside a scan, just before the end), it is refused.
    for (const std::size_t keep : {std::size_t{40'000}, std::size_t{300'000}, whole.size() - 1}) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(keep));
        EXPECT_FALSE(walkJpeg(cut)) << keep;
        EXPECT_FALSE(walkJpeg(write(cut, "cut.jpg"))) << keep;
    }
    EXPECT_FALSE(walkJpeg(folder / "missing.jpg"));
    std::filesystem::remove_all(folder);
}

TEST(PngWalk, ChecksumsGuardCriticalChunksOnly) {
    using tessel::test::pngChunk;
    const Bytes signature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const Bytes header = pngChunk("IHDR", Bytes(13, 1)), data = pngChunk("IDAT", Bytes(5, 7)),
                end = pngChunk("IEND", {});
    Bytes badText = pngChunk("tEXt", Bytes(4, 'a'));
    badText.back() ^= 1;
    Bytes badData = data;
    badData.back() ^= 1;
    EXPECT_EQ(walkPng(concat({signature, header, badText, data, end}))->frameCount, 1);
    EXPECT_FALSE(walkPng(concat({signature, header, badData, end})));
    EXPECT_FALSE(walkPng(concat({signature, header, end})));        // no image data
    EXPECT_FALSE(walkPng(concat({signature, data, header, end})));  // IHDR not first
    EXPECT_FALSE(walkPng(concat({signature, header, data})));       // cut before IEND
    // acTL after the image data does not make an animation.
    EXPECT_EQ(walkPng(concat({signature, header, data, tessel::test::actl(5), end}))->frameCount,
              1);
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

// ISO base media boxes for hand-made HEIF files.
Bytes box(std::string_view type, const Bytes& payload) {
    const auto size = static_cast<std::uint32_t>(payload.size() + 8);
    Bytes out;
    for (int shift : {24, 16, 8, 0}) out.push_back(static_cast<std::uint8_t>(size >> shift));
    for (char c : type) out.push_back(static_cast<std::uint8_t>(c));
    return concat({out, payload});
}
Bytes fullBox(std::string_view type, std::uint8_t version, std::uint8_t flags, const Bytes& rest) {
    return box(type, concat({{version, 0, 0, flags}, rest}));
}
Bytes item(std::uint8_t id, std::string_view type, bool hidden = false) {
    return fullBox(
        "infe", 2, hidden ? 1 : 0,
        {0, id, 0, 0, static_cast<std::uint8_t>(type[0]), static_cast<std::uint8_t>(type[1]),
         static_cast<std::uint8_t>(type[2]), static_cast<std::uint8_t>(type[3]), 0});
}

class HeifWalk : public ::testing::Test {
protected:
    std::optional<ContainerFacts> walk(const Bytes& bytes) {
        const auto file = std::filesystem::temp_directory_path() /
                          ("tessel-heif-" + std::to_string(::getpid()) + ".heic");
        tessel::test::writeFile(file, bytes);
        auto facts = walkHeif(file);
        std::filesystem::remove(file);
        return facts;
    }
    const Bytes ftyp = box("ftyp", {'h', 'e', 'i', 'c', 0, 0, 0, 0});
};

TEST_F(HeifWalk, GridInputsThumbnailsAndHiddenItemsAreNoPictures) {
    const Bytes items = fullBox("iinf", 0, 0,
                                concat({{0, 5},
                                        item(1, "grid"),
                                        item(2, "hvc1"),
                                        item(3, "hvc1"),
                                        item(4, "hvc1"),
                                        item(5, "hvc1", true)}));
    // Item 4 is a thumbnail of the grid; 2 and 3 are its tiles, left visible as in the wild.
    const Bytes refs =
        fullBox("iref", 0, 0,
                concat({box("dimg", {0, 1, 0, 2, 0, 2, 0, 3}), box("thmb", {0, 4, 0, 1, 0, 1})}));
    const Bytes meta = fullBox("meta", 0, 0, concat({items, refs}));
    EXPECT_EQ(walk(concat({ftyp, meta, box("mdat", Bytes(16, 0))}))->frameCount, 1);
    const Bytes collection = fullBox(
        "meta", 0, 0, fullBox("iinf", 0, 0, concat({{0, 2}, item(1, "hvc1"), item(2, "hvc1")})));
    EXPECT_EQ(walk(concat({ftyp, collection}))->frameCount, 2);
}

TEST_F(HeifWalk, ImageSequenceTracksCountTheirSamples) {
    const Bytes meta =
        fullBox("meta", 0, 0, fullBox("iinf", 0, 0, concat({{0, 1}, item(1, "hvc1")})));
    const Bytes stbl = box("stbl", fullBox("stsz", 0, 0, {0, 0, 0, 0, 0, 0, 0, 120}));
    const Bytes trak =
        box("trak", box("mdia", concat({fullBox("hdlr", 0, 0, {0, 0, 0, 0, 'p', 'i', 'c', 't'}),
                                        box("minf", stbl)})));
    EXPECT_EQ(walk(concat({ftyp, meta, box("moov", trak)}))->frameCount, 120);
}

TEST_F(HeifWalk, BoxesRunningPastTheEndAreRefused) {
    Bytes cut = concat({ftyp, box("mdat", Bytes(64, 0))});
    cut.resize(cut.size() - 10);
    EXPECT_FALSE(walk(cut));
}

}  // namespace
