#pragma once
// Inspection of camera RAW files.

#include <filesystem>

#include "tessel/Inspection.hpp"

namespace tessel::detail {

/// `TesselRenderer::inspect` for a camera RAW file: its developed size, its capture date and
/// camera model from its EXIF (or, in formats exiv2 does not read, from LibRaw), never its
/// sensor data. Throws `TesselError::cannotRead` with the cause.
SheetImageInfo inspectRaw(const std::filesystem::path& file);

}  // namespace tessel::detail
