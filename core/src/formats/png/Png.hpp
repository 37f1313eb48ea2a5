#pragma once
// PNG: encoding rows and decoding pixels (libspng), and the one walk over a file's chunks,
// which both inspection and PDF assembly use.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/ContainerFacts.hpp"

namespace tessel::detail {

/// The colour types this encoder writes, all at 8 bits per sample.
enum class PngColor { gray, rgb, rgba };

/// Fills one row (`y` from the top) of `width` pixels in the chosen colour type.
using PngRowSource = std::function<void(std::int64_t y, std::uint8_t* row)>;

/// A textual chunk: a keyword of 1 to 79 Latin-1 characters and its text.
struct PngText {
    std::string keyword;
    std::string text;

    friend bool operator==(const PngText&, const PngText&) = default;
};

/// What a page says about itself besides its pixels.
struct PngTags {
    std::int64_t pixelsPerInch = 0;  ///< a pHYs chunk when above 0
    /// An sRGB chunk, with the gAMA and cHRM chunks that stand for it in readers without it.
    bool srgb = false;
    /// tEXt chunks, written before the image data so that a reader finds them early.
    std::vector<PngText> text = {};
};

/// A non-interlaced 8-bit PNG of `width` × `height` pixels, without any ancillary chunk but
/// those `tags` ask for. The deflate settings favour speed on photographic pages (see
/// PngEncode.cpp); when not `compressed`, rows are stored as they are, for a page that is read
/// back at once. Nothing when the size is out of PNG's range or the encoder fails.
std::optional<std::vector<std::uint8_t>> encodePNG(std::int64_t width, std::int64_t height,
                                                   PngColor color, const PngRowSource& rows,
                                                   bool compressed = true,
                                                   const PngTags& tags = {});

/// The same PNG written a few rows at a time, as they become ready: the bytes are those
/// `encodePNG` gives for the same rows.
class PngRowWriter {
public:
    /// Nothing when the size is out of PNG's range or the encoder cannot start.
    static std::unique_ptr<PngRowWriter> start(std::int64_t width, std::int64_t height,
                                               PngColor color, bool compressed = true,
                                               const PngTags& tags = {});
    ~PngRowWriter();
    PngRowWriter(const PngRowWriter&) = delete;
    PngRowWriter& operator=(const PngRowWriter&) = delete;

    /// Rows written so far.
    std::int64_t rowsWritten() const { return rowsWritten_; }
    /// Writes rows from `rowsWritten()` up to, not including, `end` (at most the height).
    bool writeRows(std::int64_t end, const PngRowSource& rows);
    /// The file, once every row is written.
    std::optional<std::vector<std::uint8_t>> finish();

private:
    struct Encoder;
    explicit PngRowWriter(std::unique_ptr<Encoder> encoder, std::int64_t height,
                          std::size_t rowBytes);

    std::unique_ptr<Encoder> encoder_;
    std::int64_t height_;
    std::int64_t rowsWritten_ = 0;
    bool failed_ = false;
    std::vector<std::uint8_t> row_;
};

/// A decoded PNG as straight (not premultiplied) R, G, B, A bytes, rows top first.
struct RgbaImage {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::vector<std::uint8_t> pixels;
};

/// Decodes any PNG to 8-bit RGBA. Nothing when it is not a readable PNG. When `text` is
/// given, it receives the file's tEXt, zTXt and iTXt chunks (before and after the image data).
std::optional<RgbaImage> decodePNG(std::span<const std::uint8_t> png,
                                   std::vector<PngText>* text = nullptr);

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

/// Takes a PNG apart without decoding it. Nothing when the signature, the chunk lengths or
/// the header are not those of a PNG, or when it holds no image data. Checksums are not
/// checked: this reads PNGs the encoder above has just made.
std::optional<PngParts> readPNGParts(std::span<const std::uint8_t> png);

/// Inspection's walk: every chunk to IEND with its CRC. Frame count from acTL (APNG); EXIF
/// from eXIf. Nothing when the file is cut, a critical or animation chunk fails its CRC,
/// IDAT is missing, or acTL announces no frames.
std::optional<ContainerFacts> walkPng(std::span<const std::uint8_t> file);

}  // namespace tessel::detail
