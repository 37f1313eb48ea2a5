#pragma once
// DNG files made from a picture, for tests and benchmarks: no modern camera RAW could be had
// with a clear licence, and a DNG is what every camera's RAW file is in the parts that matter
// here (a TIFF with a colour-filter-array image, previews in sub-directories, EXIF).

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tessel::testing {

/// 8-bit sRGB pixels, three bands, top row first.
struct RgbPicture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;
};

/// How the DNG is made.
struct DngOptions {
    /// EXIF orientation of IFD0 (1 to 8): it turns the sensor data and every preview.
    int orientation = 1;
    /// The longer side of a JPEG preview in a sub-directory, as cameras and Adobe's converter
    /// store their large preview; 0 for none.
    int previewLonger = 0;
    /// What the preview shows, when it is not the sensor's picture (to tell which one was drawn).
    std::optional<RgbPicture> previewSource{};
    /// The preview's pixels converted to Adobe RGB (1998) and marked so the way cameras do
    /// (EXIF ColorSpace "uncalibrated", interoperability index "R03").
    bool adobeRgbPreview = false;
    /// The longer side of the uncompressed RGB thumbnail in IFD0; 0 for none.
    int thumbnailLonger = 128;
    /// Bits of each sensor sample, 8 or 16.
    int bitsPerSample = 16;
    std::string make = "Tessel";
    std::string model = "Test Camera DX";
    std::string dateTimeOriginal = "2024:05:17 14:03:09";
    int jpegQuality = 92;
};

/// The bytes of a DNG whose sensor data is `picture` as an RGGB colour filter array would have
/// recorded it (linear light, D65 white, a camera whose colours are sRGB's), with the previews
/// `options` asks for.
std::vector<std::uint8_t> makeDng(const RgbPicture& picture, const DngOptions& options = {});

/// `makeDng` written to `file`.
void writeDng(const std::filesystem::path& file, const RgbPicture& picture,
              const DngOptions& options = {});

/// `picture` reduced (box filter) so that its longer side is at most `longer`.
RgbPicture reducedPicture(const RgbPicture& picture, int longer);

/// The picture of a JPEG file or stream, decoded with libjpeg.
RgbPicture decodeJpegFile(const std::filesystem::path& file);

/// The JPEG bytes of `picture` at `quality` (1 to 100).
std::vector<std::uint8_t> encodeJpeg(const RgbPicture& picture, int quality);

}  // namespace tessel::testing
