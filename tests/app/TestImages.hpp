#pragma once
// Image files made at test time.

#include <filesystem>
#include <string>

namespace tessel::test {

/// A `width` × `height` picture of one colour (red, green, blue from 0 to 255); the format
/// follows the extension (png, jpg, tif, webp).
void writeImage(const std::filesystem::path& file, int width = 40, int height = 30, int red = 200,
                int green = 120, int blue = 40);

/// A grey picture of noise: slow to decode for its size, as large photographs are.
void writeNoise(const std::filesystem::path& file, int width, int height);

/// A JPEG whose EXIF DateTimeOriginal is `dateTaken` ("2023:12:31 23:59:59").
void writeDatedJpeg(const std::filesystem::path& file, const std::string& dateTaken);

/// An image of `frames` frames (animated WebP, multi-page TIFF) with a supported extension.
void writeAnimation(const std::filesystem::path& file, int frames);

/// A text file, whatever its name says.
void writeText(const std::filesystem::path& file, const std::string& text);

}  // namespace tessel::test
