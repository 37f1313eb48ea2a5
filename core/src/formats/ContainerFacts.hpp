#pragma once
// What inspection learns by walking a container's structure (chunk, marker, block and box
// headers and checksums, never compressed pixel data): what libvips's header read cannot
// tell, such as a stream cut after its first frame, a checksum error in image data, APNG
// frame counts and PNG eXIf. Each format's walk sits in its folder under formats/.

#include <cstdint>
#include <optional>
#include <vector>

namespace tessel::detail {

/// What a walk learnt about an intact container.
struct ContainerFacts {
    /// Frames the walk counted; absent when this container's walk does not count them.
    std::optional<std::int64_t> frameCount;
    /// The EXIF block (a TIFF structure) found by the walk; empty when the walk does not
    /// look for one or the file has none.
    std::vector<std::uint8_t> exif;
};

}  // namespace tessel::detail
