#pragma once
// PNG through libspng: encoding rows, decoding to straight RGBA, and taking a PNG file
// apart into its header fields and compressed image data.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessel::detail {

/// The colour types this encoder writes, all at 8 bits per sample.
enum class PngColor { gray, rgb, rgba };

/// Fills one row (`y` from the top) of `width` pixels in the chosen colour type.
using PngRowSource = std::function<void(std::int64_t y, std::uint8_t* row)>;

/// A non-interlaced 8-bit PNG of `width` × `height` pixels, without any ancillary chunk.
/// The deflate settings favour speed on photographic pages (see Png.cpp). Nothing when the
/// size is out of PNG's range or the encoder fails.
std::optional<std::vector<std::uint8_t>> encodePNG(std::int64_t width, std::int64_t height,
                                                   PngColor color, const PngRowSource& rows);

/// A decoded PNG as straight (not premultiplied) R, G, B, A bytes, rows top first.
struct RgbaImage {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::vector<std::uint8_t> pixels;
};

/// Decodes any PNG to 8-bit RGBA. Nothing when it is not a readable PNG.
std::optional<RgbaImage> decodePNG(std::span<const std::uint8_t> png);

/// The header fields of a PNG and where its IDAT chunks' data lie in the file; joined, they
/// are the zlib stream of filtered rows.
struct PngParts {
    std::int64_t width = 0;
    std::int64_t height = 0;
    int bitDepth = 0;
    int colorType = 0;  ///< 0 gray, 2 RGB, 3 palette, 4 gray + alpha, 6 RGBA
    int interlace = 0;
    std::vector<std::span<const std::uint8_t>> imageData;  ///< views into the PNG
};

/// Walks the chunks of a PNG file. Nothing when the signature, the chunk lengths or the
/// header are not those of a PNG, or when it holds no image data.
std::optional<PngParts> readPNGParts(std::span<const std::uint8_t> png);

}  // namespace tessel::detail
