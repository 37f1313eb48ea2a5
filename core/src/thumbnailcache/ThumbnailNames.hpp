#pragma once
// How the shared thumbnail cache names a file: its URI as the desktop writes it, and the MD5
// of that URI, which names its entries.

#include <filesystem>
#include <optional>
#include <string>

namespace tessel::detail {

/// The "file://" URI of the absolute path `file`, escaped as GLib (and so every GNOME, GTK and
/// Xfce program) escapes it. Nothing when `file` is not absolute.
std::optional<std::string> fileURI(const std::filesystem::path& file);

/// The name of a cache entry: the MD5 of `uri` in lower-case hexadecimal, then ".png".
std::string entryName(const std::string& uri);

}  // namespace tessel::detail
