#pragma once
// Structural walks over image containers: chunk, marker and block headers and checksums,
// never compressed pixel data. They find what libvips' header read cannot: a stream cut
// after its first frame, a checksum error in image data, APNG frame counts and PNG eXIf.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <vector>

namespace tessel::detail {

/// What a walk learnt about an intact container.
struct ContainerFacts {
    /// Frames the walk counted; absent when this container's walk does not count them.
    std::optional<std::int64_t> frameCount;
    /// The EXIF block (a TIFF structure) found by the walk; empty when the walk does not
    /// look for one or the file has none.
    std::vector<std::uint8_t> exif;
};

/// JPEG: markers from SOI through the entropy-coded scans to the first EOI (later images of
/// a multi-picture file are not walked). Nothing when the stream ends before EOI or has no
/// scan.
std::optional<ContainerFacts> walkJpeg(std::span<const std::uint8_t> file);
/// The same walk over a file, read through a small window rather than whole.
std::optional<ContainerFacts> walkJpeg(const std::filesystem::path& file);

/// PNG: every chunk to IEND with its CRC. Frame count from acTL (APNG); EXIF from eXIf.
/// Nothing when the file is cut, a critical or animation chunk fails its CRC, IDAT is
/// missing, or acTL announces no frames.
std::optional<ContainerFacts> walkPng(std::span<const std::uint8_t> file);

/// GIF: every block to the trailer, counting image descriptors. Nothing when the file ends
/// inside a block or holds no image.
std::optional<ContainerFacts> walkGif(std::span<const std::uint8_t> file);

/// HEIF: the top-level boxes, with `meta` and `moov` read in full (never `mdat`). Frame
/// count: the larger of the pictures a viewer would list (image items that are not hidden,
/// thumbnails, auxiliary images or inputs of a grid or overlay) and the samples of the
/// longest image-sequence track; absent when the `meta` box holds no readable item list.
/// Nothing when a box runs past the end of the file.
std::optional<ContainerFacts> walkHeif(const std::filesystem::path& file);

}  // namespace tessel::detail
