#pragma once
/// Files as the core writes and reads them, for front ends that write and read files of their
/// own: a new file that appears whole or not at all and never replaces another, whole-file
/// reading, the user's cache folder and fresh UUIDs for naming new things.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <system_error>

namespace tessel {

namespace detail {
class AtomicFile;
}  // namespace detail

/// A file being made where nothing may exist yet. It takes its bytes in pieces and appears
/// under its name only in `publish`, complete and flushed to disk; an existing file is never
/// replaced. Where the file system allows, the bytes wait in an unnamed file that a crash
/// cannot leave behind; elsewhere (exFAT and FAT memory cards, some network shares) in a
/// hidden ".orvane-tessel-{UUID}" file beside the destination, removed on every path. A file
/// that is never published leaves nothing behind. Move-only.
class NewFile {
public:
    /// Starts the file. Throws `std::system_error` when its folder cannot take a new file.
    explicit NewFile(const std::filesystem::path& destination);
    NewFile(NewFile&&) noexcept;
    NewFile& operator=(NewFile&&) noexcept;
    ~NewFile();

    /// Appends `bytes`. Throws `std::system_error` when they cannot be written (a full disk).
    void write(std::span<const std::uint8_t> bytes);

    /// Flushes the file to disk and gives it its name, once. Throws `std::system_error`: with
    /// `std::errc::file_exists` when something is at the destination (also when it appeared
    /// after the file was started), with the file system's error when the file cannot be
    /// flushed or named.
    void publish();

private:
    std::unique_ptr<detail::AtomicFile> file_;
};

/// Everything in `file`, as bytes. Throws `std::system_error` naming the file when it cannot
/// be opened or read. Only regular files are read (after following links): a folder is
/// refused with `std::errc::is_a_directory`, a FIFO, a device or a socket with
/// `std::errc::invalid_argument`, without ever waiting on it.
std::string readFile(const std::filesystem::path& file);

/// The same; when the file cannot be read, `error` says why and the result is empty.
std::string readFile(const std::filesystem::path& file, std::error_code& error);

/// The same for a file that must hold at most `maxBytes`: a larger one is refused with
/// `std::errc::file_too_large`, having read no more than `maxBytes` + 1 bytes of it.
std::string readFile(const std::filesystem::path& file, std::uintmax_t maxBytes,
                     std::error_code& error);

/// The user's cache folder: `$XDG_CACHE_HOME` when it is an absolute path, else `~/.cache`.
std::filesystem::path userCacheFolder();

/// A fresh random UUID in its 36-character upper-case text form
/// ("6F9619FF-8B86-D011-B42D-00C04FC964FF").
std::string newUUIDString();

}  // namespace tessel
