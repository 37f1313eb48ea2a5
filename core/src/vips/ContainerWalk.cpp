#include "vips/ContainerWalk.hpp"

#include <cstring>
#include <string_view>

#include <zlib.h>

namespace tessel::detail {

namespace {

std::uint32_t bigEndian32(const std::uint8_t* p) {
    return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 |
           std::uint32_t{p[3]};
}

bool isRestartOrStuffing(std::uint8_t marker) {
    return marker == 0x00 || (marker >= 0xD0 && marker <= 0xD7);
}

}  // namespace

std::optional<ContainerFacts> walkJpeg(std::span<const std::uint8_t> f) {
    const std::size_t n = f.size();
    if (n < 4 || f[0] != 0xFF || f[1] != 0xD8) return std::nullopt;
    std::size_t i = 2;
    bool sawScan = false;
    for (;;) {
        // Stray bytes before a marker are skipped as libjpeg does (it only warns about them).
        while (i < n && f[i] != 0xFF) ++i;
        while (i < n && f[i] == 0xFF) ++i;
        if (i >= n) return std::nullopt;
        const std::uint8_t marker = f[i++];
        if (marker == 0xD9)
            return sawScan ? std::optional<ContainerFacts>{ContainerFacts{}} : std::nullopt;
        if (isRestartOrStuffing(marker) || marker == 0x01) continue;
        if (n - i < 2) return std::nullopt;
        const std::size_t length = std::size_t{f[i]} << 8 | std::size_t{f[i + 1]};
        if (length < 2 || length > n - i) return std::nullopt;
        i += length;
        if (marker != 0xDA) continue;
        sawScan = true;
        // Entropy-coded data runs to the first marker that is neither stuffing nor a restart.
        for (;;) {
            const void* ff = std::memchr(f.data() + i, 0xFF, n - i);
            if (ff == nullptr) return std::nullopt;
            std::size_t j =
                static_cast<std::size_t>(static_cast<const std::uint8_t*>(ff) - f.data());
            while (j < n && f[j] == 0xFF) ++j;
            if (j >= n) return std::nullopt;
            if (!isRestartOrStuffing(f[j])) {
                i = j - 1;
                break;
            }
            i = j + 1;
        }
    }
}

std::optional<ContainerFacts> walkPng(std::span<const std::uint8_t> f) {
    static constexpr std::uint8_t signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const std::size_t n = f.size();
    if (n < 8 || std::memcmp(f.data(), signature, 8) != 0) return std::nullopt;
    ContainerFacts facts;
    std::optional<std::uint32_t> animationFrames;
    bool sawHeader = false;
    bool sawData = false;
    for (std::size_t i = 8;;) {
        if (n - i < 12) return std::nullopt;
        const std::uint32_t length = bigEndian32(f.data() + i);
        if (length > 0x7FFFFFFFu || length > n - i - 12) return std::nullopt;
        const std::uint8_t* type = f.data() + i + 4;
        const std::uint8_t* data = type + 4;
        const std::string_view name(reinterpret_cast<const char*>(type), 4);
        const bool crcOk =
            crc32(crc32(0, nullptr, 0), type, length + 4) == bigEndian32(data + length);
        // Decoders drop an ancillary chunk with a bad CRC but stop at a bad critical one; the
        // animation chunks decide the frame count, so they count as critical here.
        const bool critical =
            (type[0] & 0x20) == 0 || name == "acTL" || name == "fcTL" || name == "fdAT";
        if (!crcOk && critical) return std::nullopt;
        if (!sawHeader && name != "IHDR") return std::nullopt;
        sawHeader = true;
        if (crcOk) {
            if (name == "IDAT") {
                sawData = true;
            } else if (name == "acTL" && !sawData && length >= 8) {
                // acTL after the first IDAT is not an animation by the APNG rules.
                animationFrames = bigEndian32(data);
            } else if (name == "eXIf" && facts.exif.empty()) {
                facts.exif.assign(data, data + length);
            }
        }
        i += std::size_t{length} + 12;
        if (name == "IEND") break;
    }
    if (!sawData) return std::nullopt;
    if (animationFrames) {
        if (*animationFrames == 0) return std::nullopt;
        facts.frameCount = *animationFrames;
    }
    return facts;
}

std::optional<ContainerFacts> walkGif(std::span<const std::uint8_t> f) {
    const std::size_t n = f.size();
    if (n < 13 ||
        (std::memcmp(f.data(), "GIF87a", 6) != 0 && std::memcmp(f.data(), "GIF89a", 6) != 0)) {
        return std::nullopt;
    }
    auto colourTableBytes = [](std::uint8_t packed) -> std::size_t {
        return (packed & 0x80) != 0 ? std::size_t{3} << ((packed & 0x07) + 1) : 0;
    };
    std::size_t i = 13 + colourTableBytes(f[10]);
    auto skipSubBlocks = [&]() {
        for (;;) {
            if (i >= n) return false;
            const std::size_t length = f[i++];
            if (length == 0) return true;
            if (length > n - i) return false;
            i += length;
        }
    };
    ContainerFacts facts;
    facts.frameCount = 0;
    while (i < n) {
        const std::uint8_t introducer = f[i++];
        if (introducer == 0x21) {
            if (i >= n) return std::nullopt;
            ++i;  // extension label
            if (!skipSubBlocks()) return std::nullopt;
        } else if (introducer == 0x2C) {
            if (n - i < 9) return std::nullopt;
            i += 9 + colourTableBytes(f[i + 8]);
            if (i >= n) return std::nullopt;
            ++i;  // LZW minimum code size
            if (!skipSubBlocks()) return std::nullopt;
            ++facts.frameCount;
        } else {
            // The trailer, or bytes after the last block that decoders ignore as well.
            break;
        }
    }
    if (facts.frameCount == 0) return std::nullopt;
    return facts;
}

}  // namespace tessel::detail
