#pragma once
// Why an image file could not be read or decoded, worded as the cause of
// `TesselError::cannotRead`; shared by inspection and decoding.

#include <filesystem>
#include <string>

#include "formats/raw/Raw.hpp"

namespace tessel::detail {

inline constexpr const char* kNotAnImageCause = "The file is not an image.";
inline constexpr const char* kEmptyFileCause = "The file is empty.";
inline constexpr const char* kCutOffCause = "The file is cut off before the end of the image.";
inline constexpr const char* kDamagedCause = "The file is damaged.";
inline constexpr const char* kNoSizeCause = "The image has no width or height.";
inline constexpr const char* kNotRawCause = "The file is not a camera RAW file.";
inline constexpr const char* kNoPreviewCause = "The RAW file holds no preview picture.";

/// The decoder's reason, from libvips's error buffer (which it empties): the cut-off cause
/// when the decoder ran out of data, the damaged cause when it said nothing, else its last
/// message, e.g. "The decoder does not support this variant of the format: Unsupported JPEG
/// process: SOF type 0xc3.".
std::string decoderCause();

/// "Tessel does not read PPM files." for a libvips loader's nickname ("ppmload_source").
std::string unusedFormatCause(const std::string& loaderNickname);

/// Why a camera RAW `file` failed as `failure` says: "The file is cut off before the end of
/// the image.", "The file is not a camera RAW file.", and for a camera LibRaw does not know,
/// "Tessel does not read the RAW files of this camera (GoPro HERO7 Black).", naming the camera
/// as the file's EXIF does.
std::string rawCause(RawFailure failure, const std::filesystem::path& file);

}  // namespace tessel::detail
