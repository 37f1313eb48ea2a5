#include "base/PageSpool.hpp"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace tessel::detail {
namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

FileDescriptor openUnnamed(const std::filesystem::path& folder) {
    return FileDescriptor(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
}

// exFAT, FAT and some network shares make no unnamed files: the temporary folder, and where
// even that cannot, a named file there that is unlinked at once.
FileDescriptor openSpool(const std::filesystem::path& folder) {
    if (FileDescriptor file = openUnnamed(folder)) return file;
    std::error_code error;
    const std::filesystem::path temporary = std::filesystem::temp_directory_path(error);
    if (error) fail("no folder for the page spool");
    if (FileDescriptor file = openUnnamed(temporary)) return file;
    std::string name = (temporary / ".orvane-tessel-spool-XXXXXX").string();
    FileDescriptor file(::mkostemp(name.data(), O_CLOEXEC));
    if (!file) fail("cannot create the page spool");
    ::unlink(name.c_str());
    return file;
}

}  // namespace

PageSpool::PageSpool(const std::filesystem::path& folder, std::size_t pageCount)
    : file_(openSpool(folder)), pages_(pageCount) {}

SpoolExtent PageSpool::append(std::span<const std::uint8_t> bytes) {
    std::uint64_t offset = 0;
    {
        // Space is claimed under the lock; the bytes are written outside it, in parallel.
        const std::lock_guard lock(mutex_);
        offset = end_;
        end_ += bytes.size();
    }
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t wrote = ::pwrite(file_.get(), bytes.data() + done, bytes.size() - done,
                                       static_cast<off_t>(offset + done));
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote <= 0) fail("cannot write the page spool");
        done += static_cast<std::size_t>(wrote);
    }
    return {offset, bytes.size()};
}

void PageSpool::put(std::size_t page, std::span<const std::uint8_t> bytes) {
    const SpoolExtent extent = append(bytes);
    const std::lock_guard lock(mutex_);
    pages_.at(page) = extent;
}

SpoolExtent PageSpool::extent(std::size_t page) const {
    const std::lock_guard lock(mutex_);
    return pages_.at(page);
}

std::vector<std::uint8_t> PageSpool::read(std::size_t page) const {
    const SpoolExtent where = extent(page);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(where.size));
    readAt(where.offset, bytes.data(), bytes.size());
    return bytes;
}

void PageSpool::readAt(std::uint64_t offset, std::uint8_t* into, std::size_t size) const {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got =
            ::pread(file_.get(), into + done, size - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) fail("cannot read the page spool");
        if (got == 0) {
            errno = EIO;
            fail("the page spool ended early");
        }
        done += static_cast<std::size_t>(got);
    }
}

}  // namespace tessel::detail
