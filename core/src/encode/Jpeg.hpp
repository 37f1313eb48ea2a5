#pragma once
// JPEG through libjpeg-turbo: encoding RGB rows, and reading a JPEG file's frame header.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace tessel::detail {

/// Fills one row (`y` from the top) of `width` R, G, B pixels.
using JpegRowSource = std::function<void(std::int64_t y, std::uint8_t* row)>;

/// A baseline JPEG (JFIF, 4:2:0, optimised Huffman tables, no other markers) at libjpeg's
/// `quality` scale, 1 to 100. Nothing when the size is out of JPEG's range or the encoder
/// fails.
std::optional<std::vector<std::uint8_t>> encodeJPEG(std::int64_t width, std::int64_t height,
                                                    int quality, const JpegRowSource& rows);

/// libjpeg's quality (1 to 100) for a quality from 0 to 1: round(100 × quality), clamped
/// first to 0...1 (NaN counts as 0) and then raised to libjpeg's floor of 1, so 0.9 gives 90.
int jpegQualityScale(double quality);

/// What a PDF needs to know of a JPEG to embed it unchanged.
struct JpegFrame {
    std::int64_t width = 0;
    std::int64_t height = 0;
    int components = 0;
};

/// Reads the frame header of a baseline, extended or progressive Huffman JPEG. Nothing for
/// anything else, including arithmetic-coded and lossless JPEGs.
std::optional<JpegFrame> readJPEGFrame(std::span<const std::uint8_t> jpeg);

}  // namespace tessel::detail
