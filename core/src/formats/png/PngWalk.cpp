// The one walk over a PNG's chunks, and the two readings built on it: inspection's check of
// the whole file and the PDF writer's view of an encoded page.
#include <cstring>
#include <string_view>

#include <zlib.h>

#include "formats/BigEndian.hpp"
#include "formats/png/Png.hpp"

namespace tessel::detail {
namespace {

constexpr std::uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
// PNG limits a chunk's length to 2^31 - 1.
constexpr std::uint32_t kLongestChunk = 0x7FFFFFFFu;

struct Chunk {
    std::string_view type;
    std::span<const std::uint8_t> data;
    std::uint32_t storedCrc = 0;

    /// Whether the CRC stored after the data is that of the type and the data. Computed only
    /// when asked: reading an encoded page back does not need it.
    bool crcMatches() const {
        const auto* covered = reinterpret_cast<const Bytef*>(type.data());
        return crc32(crc32(0, nullptr, 0), covered, static_cast<uInt>(data.size() + 4)) ==
               storedCrc;
    }
};

/// Calls visit(chunk) for every chunk from IHDR through IEND, in file order, until it returns
/// false. False when the signature is wrong, the first chunk is not IHDR, the file ends or a
/// chunk's length runs past it before IEND, or visit returned false.
template <class Visit>
bool walkChunks(std::span<const std::uint8_t> png, Visit visit) {
    const std::size_t n = png.size();
    if (n < 8 || std::memcmp(png.data(), kSignature, 8) != 0) return false;
    for (std::size_t at = 8;;) {
        if (n - at < 12) return false;
        const std::uint32_t length = bigEndian32(png.data() + at);
        if (length > kLongestChunk || length > n - at - 12) return false;
        const std::uint8_t* type = png.data() + at + 4;
        const Chunk chunk{std::string_view(reinterpret_cast<const char*>(type), 4),
                          {type + 4, length},
                          bigEndian32(type + 4 + length)};
        if (at == 8 && chunk.type != "IHDR") return false;
        if (!visit(chunk)) return false;
        if (chunk.type == "IEND") return true;
        at += std::size_t{length} + 12;
    }
}

}  // namespace

std::optional<PngParts> readPNGParts(std::span<const std::uint8_t> png) {
    PngParts parts;
    bool sawHeader = false;
    const bool walked = walkChunks(png, [&](const Chunk& chunk) {
        const std::uint8_t* data = chunk.data.data();
        if (chunk.type == "IHDR") {
            if (sawHeader || chunk.data.size() != 13) return false;
            sawHeader = true;
            parts.width = bigEndian32(data);
            parts.height = bigEndian32(data + 4);
            parts.bitDepth = data[8];
            parts.colorType = data[9];
            parts.interlace = data[12];
        } else if (chunk.type == "IDAT" && !chunk.data.empty()) {
            parts.imageData.push_back(chunk.data);
        }
        return true;
    });
    if (!walked || parts.width < 1 || parts.height < 1 || parts.imageData.empty())
        return std::nullopt;
    return parts;
}

std::optional<ContainerFacts> walkPng(std::span<const std::uint8_t> file) {
    ContainerFacts facts;
    std::optional<std::uint32_t> animationFrames;
    bool sawData = false;
    const bool walked = walkChunks(file, [&](const Chunk& chunk) {
        const std::string_view name = chunk.type;
        const bool crcOk = chunk.crcMatches();
        // Decoders drop an ancillary chunk with a bad CRC but stop at a bad critical one; the
        // animation chunks decide the frame count, so they count as critical here.
        const bool critical =
            (name[0] & 0x20) == 0 || name == "acTL" || name == "fcTL" || name == "fdAT";
        if (!crcOk) return !critical;
        if (name == "IDAT") {
            sawData = true;
        } else if (name == "acTL" && !sawData && chunk.data.size() >= 8) {
            // acTL after the first IDAT is not an animation by the APNG rules.
            animationFrames = bigEndian32(chunk.data.data());
        } else if (name == "eXIf" && facts.exif.empty()) {
            facts.exif.assign(chunk.data.begin(), chunk.data.end());
        }
        return true;
    });
    if (!walked || !sawData) return std::nullopt;
    if (animationFrames && *animationFrames == 0) return std::nullopt;
    facts.frameCount = animationFrames.value_or(1);
    return facts;
}

}  // namespace tessel::detail
