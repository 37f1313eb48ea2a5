#pragma once
// GIF: the walk inspection uses. libvips decodes GIFs.

#include <optional>
#include <span>

#include "formats/ContainerFacts.hpp"

namespace tessel::detail {

/// Every block to the trailer, counting image descriptors. Nothing when the file ends inside
/// a block or holds no image.
std::optional<ContainerFacts> walkGif(std::span<const std::uint8_t> file);

}  // namespace tessel::detail
