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
    /// DateTimeOriginal (0x9003) of the EXIF IFD, else of IFD0 (where TIFF/EP cameras write
    /// it), up to its first NUL, untrimmed.
    std::optional<std::string> dateTimeOriginal;
    /// Make (0x010F) of IFD0, up to its first NUL, blanks kept.
    std::optional<std::string> make;
    /// Model (0x0110) of IFD0, up to its first NUL, blanks kept.
    std::optional<std::string> model;
    /// RowsPerStrip (0x0116) of IFD0, TIFF files only; absent means the whole image is one
    /// strip.
    std::optional<std::int64_t> rowsPerStrip;
    /// Marked as Adobe RGB the way cameras mark it: ColorSpace (0xA001) "uncalibrated"
    /// (0xFFFF) with the interoperability index "R03".
    bool adobeRGB = false;
    /// Whether IFD0 is tiled (TileWidth, 0x0142, is present), TIFF files only.
    bool tiled = false;
    /// Whether IFD0 carries a DNGVersion (0xC612): a camera RAW in a TIFF, files only.
    bool dng = false;
    /// Whether the metadata could be read at all: false for a format exiv2 does not know.
    bool read = false;
};

/// Reads a TIFF-structured EXIF block, with or without a leading "Exif\0\0" header.
ExifFacts readExifBlock(std::span<const std::uint8_t> block);

/// Reads IFD0 and the EXIF IFD of an image file exiv2 knows (TIFF and the camera RAW formats
/// built on it, Canon's CRW and CR3, Fujifilm's RAF ...), with a TIFF's strip layout.
ExifFacts readImageFile(const std::filesystem::path& file);

}  // namespace tessel::detail
