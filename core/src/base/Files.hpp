#pragma once
// The user's folders as the core's own files need them (the cache folder is public, in
// "tessel/Files.hpp").

#include <filesystem>

#include "base/Handle.hpp"

namespace tessel::detail {

/// Opens `file` for reading when it is a regular file (after following links); an invalid
/// descriptor otherwise, with errno set (`EISDIR` for a folder, `EINVAL` for a FIFO, device or
/// socket). Never blocks: the file is opened without waiting for a writer and checked before any
/// read.
FileDescriptor openRegularFile(const std::filesystem::path& file);

/// `$HOME`, else the home folder in the password database, else "/".
std::filesystem::path homeFolder();

/// The user's data folder: `$XDG_DATA_HOME` when it is an absolute path, else
/// `~/.local/share`.
std::filesystem::path userDataFolder();

}  // namespace tessel::detail
