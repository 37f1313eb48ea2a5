#include "base/Files.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tessel/Files.hpp"

#include "base/Handle.hpp"

namespace tessel {
namespace {

// An XDG base folder: the variable when it holds an absolute path (a relative one is invalid
// and ignored), else `fallback` under the home folder.
std::filesystem::path xdgFolder(const char* variable, const char* fallback) {
    if (const char* value = std::getenv(variable); value && *value == '/') return value;
    return detail::homeFolder() / fallback;
}

}  // namespace

std::string readFile(const std::filesystem::path& file, std::uintmax_t maxBytes,
                     std::error_code& error) {
    error.clear();
    const auto failed = [&] {
        error.assign(errno, std::generic_category());
        return std::string();
    };
    const detail::FileDescriptor descriptor = detail::openRegularFile(file);
    if (!descriptor) return failed();
    struct stat status {};
    if (::fstat(descriptor.get(), &status) != 0) return failed();
    std::string bytes;
    // The size is a hint: files such as those in /proc report none, and a file may grow.
    if (status.st_size > 0)
        bytes.reserve(static_cast<std::size_t>(
            std::min<std::uintmax_t>(static_cast<std::uintmax_t>(status.st_size), maxBytes)));
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(descriptor.get(), buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return failed();
        if (got == 0) return bytes;
        if (static_cast<std::uintmax_t>(got) > maxBytes - bytes.size()) {
            error = std::make_error_code(std::errc::file_too_large);
            return {};
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
}

std::string readFile(const std::filesystem::path& file, std::error_code& error) {
    return readFile(file, std::numeric_limits<std::uintmax_t>::max(), error);
}

std::string readFile(const std::filesystem::path& file) {
    std::error_code error;
    std::string bytes = readFile(file, error);
    if (error) throw std::system_error(error, file.string());
    return bytes;
}

std::filesystem::path userCacheFolder() { return xdgFolder("XDG_CACHE_HOME", ".cache"); }

}  // namespace tessel

namespace tessel::detail {

FileDescriptor openRegularFile(const std::filesystem::path& file) {
    // O_NONBLOCK: opening a FIFO would otherwise wait for a writer. It changes nothing for
    // the regular files that pass the check.
    FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!descriptor) return descriptor;
    struct stat status {};
    if (::fstat(descriptor.get(), &status) != 0) return {};
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return {};
    }
    return descriptor;
}

std::filesystem::path homeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    if (const passwd* entry = ::getpwuid(::getuid()); entry && entry->pw_dir) return entry->pw_dir;
    return "/";
}

std::filesystem::path userDataFolder() { return xdgFolder("XDG_DATA_HOME", ".local/share"); }

}  // namespace tessel::detail
