#include "formats/BitmapRows.hpp"

#include <cstddef>
#include <cstring>

namespace tessel::detail {
namespace {

// cairo stores a pixel as one native-endian word 0xAARRGGBB, so the byte order in memory
// depends on the machine; reading the word keeps this independent of it.
std::uint32_t pixelAt(const Bitmap& bitmap, std::int64_t y, std::int64_t x) {
    std::uint32_t word = 0;
    std::memcpy(&word, bitmap.pixels.data() + static_cast<std::size_t>(y * bitmap.stride() + x * 4),
                sizeof word);
    return word;
}

std::uint8_t channel(std::uint32_t word, int shift) {
    return static_cast<std::uint8_t>((word >> shift) & 0xFFu);
}

std::uint8_t unpremultiply(std::uint8_t value, std::uint8_t alpha) {
    if (alpha == 0) return 0;
    if (alpha == 255) return value;
    const unsigned straight = (value * 255u + alpha / 2u) / alpha;
    return static_cast<std::uint8_t>(straight > 255u ? 255u : straight);
}

std::uint32_t premultiply(std::uint32_t value, std::uint32_t alpha) {
    return (value * alpha + 127u) / 255u;
}

}  // namespace

bool isWellFormed(const Bitmap& bitmap) {
    constexpr std::int64_t kMaxSide = std::int64_t{1} << 30;
    if (bitmap.width < 1 || bitmap.height < 1 || bitmap.width > kMaxSide ||
        bitmap.height > kMaxSide)
        return false;
    return bitmap.pixels.size() / 4 / static_cast<std::size_t>(bitmap.width) >=
           static_cast<std::size_t>(bitmap.height);
}

bool isOpaque(const Bitmap& bitmap) {
    for (std::int64_t y = 0; y < bitmap.height; ++y)
        for (std::int64_t x = 0; x < bitmap.width; ++x)
            if (channel(pixelAt(bitmap, y, x), 24) != 255) return false;
    return true;
}

void rgbRow(const Bitmap& bitmap, std::int64_t y, std::uint8_t* out) {
    for (std::int64_t x = 0; x < bitmap.width; ++x) {
        const std::uint32_t word = pixelAt(bitmap, y, x);
        *out++ = channel(word, 16);
        *out++ = channel(word, 8);
        *out++ = channel(word, 0);
    }
}

void straightRgbaRow(const Bitmap& bitmap, std::int64_t y, std::uint8_t* out) {
    for (std::int64_t x = 0; x < bitmap.width; ++x) {
        const std::uint32_t word = pixelAt(bitmap, y, x);
        const std::uint8_t alpha = channel(word, 24);
        *out++ = unpremultiply(channel(word, 16), alpha);
        *out++ = unpremultiply(channel(word, 8), alpha);
        *out++ = unpremultiply(channel(word, 0), alpha);
        *out++ = alpha;
    }
}

Bitmap bitmapFromStraightRgba(const std::uint8_t* rgba, std::int64_t width, std::int64_t height) {
    Bitmap bitmap{width, height, {}};
    const auto count = static_cast<std::size_t>(width * height);
    bitmap.pixels.resize(count * 4);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* in = rgba + i * 4;
        const std::uint32_t alpha = in[3];
        const std::uint32_t word = (alpha << 24) | (premultiply(in[0], alpha) << 16) |
                                   (premultiply(in[1], alpha) << 8) | premultiply(in[2], alpha);
        std::memcpy(bitmap.pixels.data() + i * 4, &word, sizeof word);
    }
    return bitmap;
}

}  // namespace tessel::detail
