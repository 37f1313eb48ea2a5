#pragma once
// The user's Pictures folder, as the desktop names it.

#include <filesystem>

namespace tessel::cli {

/// The Pictures folder of the XDG user directories (`XDG_PICTURES_DIR` in
/// `$XDG_CONFIG_HOME/user-dirs.dirs`, as `xdg-user-dir PICTURES` reads it), else
/// `~/Pictures`. It may not exist yet.
std::filesystem::path picturesFolder();

}  // namespace tessel::cli
