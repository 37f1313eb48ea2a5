#pragma once
// Reading back the header of an image file that was just written.

#include <filesystem>
#include <optional>

namespace tessel::detail {

struct WrittenImageHeader {
    int width = 0;
    int height = 0;
    int pageCount = 0;
};

/// The pixel size and page count of `file` from its header alone; the loader is picked by
/// the file's contents, not its name. Nothing when no trusted loader can open it.
std::optional<WrittenImageHeader> readWrittenImageHeader(const std::filesystem::path& file);

}  // namespace tessel::detail
