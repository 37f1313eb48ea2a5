#pragma once
// Camera RAW files as pictures: the camera's largest embedded preview when it is large enough
// for the size the picture is drawn at, else the sensor data developed.

#include <filesystem>
#include <string>

#include "decode/Decode.hpp"
#include "decode/Vips.hpp"

namespace tessel::detail {

/// Whether `file` is read as a camera RAW: by its extension (`TesselRenderer::rawExtensions`),
/// or, named like a TIFF or not at all like an image, because it is a DNG.
bool readsAsRaw(const std::filesystem::path& file);

/// The picture of the camera RAW `file` for `request`, with its longer side at most `size`,
/// a JPEG preview decoded at the DCT scale that leaves at least `minimum`, upright; its
/// colours sRGB or described by its ICC profile. Empty when nothing could be decoded, with
/// `cause` saying why.
VipsImageRef rawPicture(const std::filesystem::path& file, const DecodeRequest& request, int size,
                        int minimum, std::string& cause);

}  // namespace tessel::detail
