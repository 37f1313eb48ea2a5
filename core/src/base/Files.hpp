#pragma once
// The user's folders as the core's own files need them (the cache folder is public, in
// "tessel/Files.hpp").

#include <filesystem>

namespace tessel::detail {

/// `$HOME`, else the home folder in the password database, else "/".
std::filesystem::path homeFolder();

/// The user's data folder: `$XDG_DATA_HOME` when it is an absolute path, else
/// `~/.local/share`.
std::filesystem::path userDataFolder();

}  // namespace tessel::detail
