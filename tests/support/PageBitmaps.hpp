#pragma once
// Page bitmaps made in memory for the encoding and output tests.

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "TemporaryFolder.hpp"
#include "base/Bitmap.hpp"

namespace tessel::testing {

/// A straight-alpha colour; the bitmap stores it premultiplied as cairo does.
struct Rgba {
    std::uint8_t r = 0, g = 0, b = 0, a = 255;
};

inline void setPixel(detail::Bitmap& bitmap, std::int64_t x, std::int64_t y, Rgba c) {
    const auto premultiply = [&](std::uint8_t v) {
        return static_cast<std::uint32_t>((v * c.a + 127) / 255);
    };
    const std::uint32_t word = (std::uint32_t{c.a} << 24) | (premultiply(c.r) << 16) |
                               (premultiply(c.g) << 8) | premultiply(c.b);
    std::memcpy(bitmap.pixels.data() + (y * bitmap.width + x) * 4, &word, 4);
}

template <class ColorAt>
detail::Bitmap makeBitmap(std::int64_t width, std::int64_t height, ColorAt colorAt) {
    detail::Bitmap bitmap{width, height,
                          std::vector<std::uint8_t>(static_cast<std::size_t>(width * height * 4))};
    for (std::int64_t y = 0; y < height; ++y)
        for (std::int64_t x = 0; x < width; ++x) setPixel(bitmap, x, y, colorAt(x, y));
    return bitmap;
}

inline detail::Bitmap solidBitmap(std::int64_t width, std::int64_t height, Rgba color) {
    return makeBitmap(width, height, [&](std::int64_t, std::int64_t) { return color; });
}

/// Random opaque pixels: every PNG filter type gets used, and any misplaced byte shows.
inline detail::Bitmap noiseBitmap(std::int64_t width, std::int64_t height, unsigned seed) {
    std::mt19937 random(seed);
    return makeBitmap(width, height, [&](std::int64_t, std::int64_t) {
        const auto v = random();
        return Rgba{static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v >> 8),
                    static_cast<std::uint8_t>(v >> 16), 255};
    });
}

/// Red top-left, green top-right, blue bottom-left, yellow bottom-right.
inline detail::Bitmap quadrantBitmap(std::int64_t width, std::int64_t height) {
    return makeBitmap(width, height, [&](std::int64_t x, std::int64_t y) {
        const bool right = x >= width / 2;
        const bool bottom = y >= height / 2;
        if (!bottom) return right ? Rgba{0, 255, 0, 255} : Rgba{255, 0, 0, 255};
        return right ? Rgba{255, 255, 0, 255} : Rgba{0, 0, 255, 255};
    });
}

}  // namespace tessel::testing
