#pragma once
// JPEG: encoding RGB rows and decoding a file at a reduced DCT scale (libjpeg-turbo), and the
// one walk over a file's markers, which both inspection and PDF assembly use.

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "base/Handle.hpp"
#include "formats/ContainerFacts.hpp"

namespace tessel::detail {

/// Fills one row (`y` from the top) of `width` R, G, B pixels.
using JpegRowSource = std::function<void(std::int64_t y, std::uint8_t* row)>;

/// What a page says about itself besides its pixels.
struct JpegTags {
    std::int64_t pixelsPerInch = 0;            ///< the JFIF density in dots per inch when above 0
    std::span<const std::uint8_t> iccProfile;  ///< in APP2 markers when not empty
};

/// A baseline JPEG (JFIF, 4:2:0, optimised Huffman tables, no other markers but the profile
/// `tags` may give) at libjpeg's `quality` scale, 1 to 100. Nothing when the size is out of
/// JPEG's range or the encoder fails.
std::optional<std::vector<std::uint8_t>> encodeJPEG(std::int64_t width, std::int64_t height,
                                                    int quality, const JpegRowSource& rows,
                                                    const JpegTags& tags = {});

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

/// Bytes libjpeg holds for a progressive frame's coefficients: 128 for every 8 × 8 block
/// of every component, padded to whole MCUs, computed from the frame header's payload
/// (`frame`, from its precision byte on). Nothing when `frame` is too short to be one.
std::optional<std::uint64_t> progressiveCoefficientBytes(std::span<const std::uint8_t> frame);

/// A JPEG's first frame header, as far as decoding's memory goes.
struct JpegDecodingCost {
    std::int64_t width = 0;
    std::int64_t height = 0;
    /// What the decoder holds at once beyond its output: every coefficient of a frame coded
    /// in several scans (progressive, or sequential with separate component scans), 0 for
    /// one decoded a few rows at a time.
    std::uint64_t bytes = 0;
};

/// The cost of decoding `file`, from its frame header and the header of its first scan.
/// Nothing when `file` is not a JPEG or no frame header comes before the first scan.
std::optional<JpegDecodingCost> jpegDecodingCost(const std::filesystem::path& file);

/// The same for a JPEG stream in memory (a camera RAW file's preview).
std::optional<JpegDecodingCost> jpegDecodingCost(std::span<const std::uint8_t> jpeg);

/// Inspection's walk: markers from SOI through the entropy-coded scans to the first EOI
/// (later images of a multi-picture file are not walked), read through a small window rather
/// than whole. Nothing when the stream ends before EOI or has no scan.
std::optional<ContainerFacts> walkJpeg(const std::filesystem::path& file);

/// One 8 × 8 block of 16-bit DCT coefficients.
constexpr std::uint64_t kCoefficientBlockBytes = 128;

/// A JPEG file decoded at a reduced scale, before any colour management or turning.
struct ScaledJpeg {
    std::int64_t width = 0;
    std::int64_t height = 0;
    int components = 0;  ///< 1 (grey) or 3 (RGB), interleaved 8-bit samples
    /// Rows top first, no padding; never cleared before decoding.
    MallocPointer<std::uint8_t> pixels;
    std::vector<std::uint8_t> exif;  ///< the APP1 Exif segment's payload, when there is one
    std::vector<std::uint8_t> icc;   ///< the embedded ICC profile, when there is one
};

/// Decodes `file` at the smallest of libjpeg's DCT scales (1/8, 1/4, 1/2, 1) that keeps its
/// longer side at least `size`. Chroma is upsampled by replication rather than libjpeg's
/// smoothing: the picture is always reduced further and drawn smaller, where the two cannot
/// be told apart, and replication is the cheaper. Nothing for CMYK and YCCK files, and nothing at
/// the first warning or error: damaged data, an early end, anything libjpeg only complains about.
/// The caller then has to take the slower, more forgiving way, unless `cut` is set: a
/// progressive file whose scans end before their data does, which no decoder can complete, or
/// a decoding given up because `stop` was raised (it is looked at before every read).
std::optional<ScaledJpeg> decodeScaledJPEG(const std::filesystem::path& file, int size, bool& cut,
                                           const std::atomic<bool>* stop = nullptr);

/// The same for a JPEG stream in memory (a camera RAW file's preview).
std::optional<ScaledJpeg> decodeScaledJPEG(std::span<const std::uint8_t> jpeg, int size, bool& cut,
                                           const std::atomic<bool>* stop = nullptr);

}  // namespace tessel::detail
