#pragma once
// Image arguments given as URIs, as file managers may pass files they do not hold locally.

#include <filesystem>
#include <optional>
#include <string>

namespace tessel::cli {

/// What an argument that is a URI ("scheme://…") stands for.
struct UriArgument {
    /// The file a "file:" URI names; none for other schemes (a network location).
    std::optional<std::filesystem::path> localFile;
};

/// Reads `argument` as a URI when it is one; nothing when it is a path (one that exists is
/// always a path, whatever its name).
std::optional<UriArgument> uriArgument(const std::string& argument);

}  // namespace tessel::cli
