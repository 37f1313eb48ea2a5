#include <cstring>

#include "formats/gif/Gif.hpp"

namespace tessel::detail {

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
    std::int64_t frames = 0;
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
            ++frames;
        } else {
            // The trailer, or bytes after the last block that decoders ignore as well.
            break;
        }
    }
    if (frames == 0) return std::nullopt;
    ContainerFacts facts;
    facts.frameCount = frames;
    return facts;
}

}  // namespace tessel::detail
