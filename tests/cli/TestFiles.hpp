#pragma once
// Images made for the tests with libvips, and what the tests read back from written sheets.

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tessel::test {

using RGB = std::array<std::uint8_t, 3>;

/// Writes a `width` × `height` image of one colour; the format follows the extension.
void writeImage(const std::filesystem::path& file, int width, int height, RGB color);

/// Writes an animated GIF of `frames` frames.
void writeAnimatedGIF(const std::filesystem::path& file, int frames);

/// The file's bytes.
std::string fileBytes(const std::filesystem::path& file);

struct PageSize {
    double width = 0;
    double height = 0;
};

/// The MediaBox size of every page of a PDF, in points.
std::vector<PageSize> pdfPageSizes(const std::filesystem::path& file);

/// Width and height of a PNG or JPEG file.
std::array<int, 2> imageSize(const std::filesystem::path& file);

/// The colour at (`x`, `y`) from the top-left of an image file.
RGB pixelAt(const std::filesystem::path& file, int x, int y);

}  // namespace tessel::test
