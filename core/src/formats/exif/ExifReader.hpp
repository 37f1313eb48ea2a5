#pragma once
// The EXIF facts inspection needs, read with exiv2 exactly as stored.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace tessel::detail {

/// Tags read from an EXIF block; each is absent when missing, of the wrong type or when the
/// block is damaged.
struct ExifFacts {
    /// Orientation (0x0112) of IFD0 as stored, unchecked.
    std::optional<std::int64_t> orientation;
    /// DateTimeOriginal (0x9003) of the EXIF IFD, up to its first NUL, untrimmed.
    std::optional<std::string> dateTimeOriginal;
    /// Model (0x0110) of IFD0, up to its first NUL, blanks kept.
    std::optional<std::string> model;
    /// RowsPerStrip (0x0116) of IFD0, TIFF files only; absent means the whole image is one
    /// strip.
    std::optional<std::int64_t> rowsPerStrip;
    /// Whether IFD0 is tiled (TileWidth, 0x0142, is present), TIFF files only.
    bool tiled = false;
};

/// Reads a TIFF-structured EXIF block, with or without a leading "Exif\0\0" header.
ExifFacts readExifBlock(std::span<const std::uint8_t> block);

/// Reads IFD0 and the EXIF IFD of a TIFF file, with its strip layout.
ExifFacts readTiffFile(const std::filesystem::path& file);

}  // namespace tessel::detail
