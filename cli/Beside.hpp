#pragma once
// Where a sheet made with --beside goes: beside the photographs, or in the Pictures folder.

#include <filesystem>
#include <optional>
#include <string>

namespace tessel::cli {

/// The folder a `--beside` run writes into.
struct BesideFolder {
    std::filesystem::path folder;
    /// The folder beside the images, when it could not take a new file and `folder` is the
    /// Pictures folder instead.
    std::optional<std::filesystem::path> unwritable;
};

/// The folder of `firstImage`, or `firstImage` itself when it is a folder: the folder the
/// user picked the images in. When no new file can be made there (no permission, a read-only
/// file system, a folder that is gone), `pictures`, made if missing. Throws
/// `std::runtime_error` naming both folders when neither can take a new file.
BesideFolder besideFolder(const std::string& firstImage, const std::filesystem::path& pictures);

/// Whether a new file can be made in `folder`, found by starting one and dropping it.
bool canTakeNewFile(const std::filesystem::path& folder);

}  // namespace tessel::cli
