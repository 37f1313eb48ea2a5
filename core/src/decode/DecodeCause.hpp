#pragma once
// Why an image file could not be read or decoded, worded as the cause of
// `TesselError::cannotRead`; shared by inspection and decoding.

#include <string>

namespace tessel::detail {

inline constexpr const char* kNotAnImageCause = "The file is not an image.";
inline constexpr const char* kEmptyFileCause = "The file is empty.";
inline constexpr const char* kCutOffCause = "The file is cut off before the end of the image.";
inline constexpr const char* kDamagedCause = "The file is damaged.";
inline constexpr const char* kNoSizeCause = "The image has no width or height.";

/// The decoder's reason, from libvips's error buffer (which it empties): the cut-off cause
/// when the decoder ran out of data, the damaged cause when it said nothing, else its last
/// message, e.g. "The decoder does not support this variant of the format: Unsupported JPEG
/// process: SOF type 0xc3.".
std::string decoderCause();

/// "Tessel does not read PPM files." for a libvips loader's nickname ("ppmload_source").
std::string unusedFormatCause(const std::string& loaderNickname);

}  // namespace tessel::detail
