#pragma once
// HEIF (and AVIF) containers: the walk inspection uses. libheif decodes them, through libvips.

#include <filesystem>
#include <optional>

#include "formats/ContainerFacts.hpp"

namespace tessel::detail {

/// The top-level boxes, with `meta` and `moov` read in full (never `mdat`). Frame count: the
/// larger of the pictures a viewer would list (image items that are not hidden, thumbnails,
/// auxiliary images or inputs of a grid or overlay) and the samples of the longest
/// image-sequence track; absent when the `meta` box holds no readable item list. Nothing when
/// a box runs past the end of the file.
std::optional<ContainerFacts> walkHeif(const std::filesystem::path& file);

}  // namespace tessel::detail
