#pragma once
// Inspection of camera RAW files, and what every inspection gives.

#include <filesystem>

#include "tessel/Inspection.hpp"

namespace tessel::detail {

struct ExifFacts;

/// What inspection says of `file` shown at `width` × `height`: those, one frame, the file's
/// size (0 when it cannot be read), and the capture date and camera model of `metadata`.
SheetImageInfo imageInfo(const std::filesystem::path& file, std::int64_t width, std::int64_t height,
                         const ExifFacts& metadata);

/// `TesselRenderer::inspect` for a camera RAW file: its developed size, its capture date and
/// camera model from its EXIF (or, in formats exiv2 does not read, from LibRaw), never its
/// sensor data. Throws `TesselError::cannotRead` with the cause.
SheetImageInfo inspectRaw(const std::filesystem::path& file);

}  // namespace tessel::detail
