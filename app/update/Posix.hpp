#pragma once
// Small owners and helpers over POSIX calls shared by the installer's files.

#include <cerrno>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace tessel::posix {

/// Owns one file descriptor; -1 when empty.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) noexcept : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { close(); }

    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }
    /// Closes now; false when closing reported an error (a write that did not land).
    bool close() noexcept { return fd_ < 0 || ::close(std::exchange(fd_, -1)) == 0; }

private:
    int fd_;
};

/// Throws `std::filesystem::filesystem_error` for `path` with the current errno.
[[noreturn]] inline void throwFileError(const std::string& what, const std::filesystem::path& path,
                                        int error = errno) {
    throw std::filesystem::filesystem_error(what, path,
                                            std::error_code(error, std::generic_category()));
}

/// Writes all of `bytes` to `fd`, retrying after signals; false on a write error.
bool writeAll(int fd, std::string_view bytes) noexcept;

/// Replaces whatever is at `to` with exactly `text` in one step: a temporary file beside it,
/// written, flushed to disk and renamed over `to`. Throws `std::filesystem::filesystem_error`;
/// the temporary file is gone on every path.
void replaceAtomically(const std::filesystem::path& to, std::string_view text);

}  // namespace tessel::posix
