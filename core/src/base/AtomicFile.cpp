#include "base/AtomicFile.hpp"

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "tessel/Files.hpp"

#include "base/Fatal.hpp"

namespace tessel::detail {
namespace {

int systemOpenUnnamed(const char* folder, int flags, mode_t mode) {
    return ::open(folder, O_TMPFILE | flags, mode);
}

int systemLinkUnnamed(int descriptor, const char* to) {
    // Linking a descriptor itself (AT_EMPTY_PATH) takes a capability most users lack; its
    // entry in /proc names the same file for anyone.
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, to, AT_SYMLINK_FOLLOW) == 0) return 0;
    if (errno != ENOENT) return -1;  // ENOENT: no /proc mounted
    return ::linkat(descriptor, "", AT_FDCWD, to, AT_EMPTY_PATH);
}

int systemLink(const char* from, const char* to) { return ::link(from, to); }

int systemRenameNoReplace(const char* from, const char* to) {
    return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
}

// How link(2) says the file system makes no hard links at all.
bool makesNoLinks(int error) { return error == EPERM || error == EOPNOTSUPP || error == ENOSYS; }

// How renameat2(2) says the file system does not know the flag.
bool refusesFlags(int error) { return error == EINVAL || error == EOPNOTSUPP || error == ENOSYS; }

[[noreturn]] void failWith(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

const FileNamingCalls& systemNamingCalls() {
    static const FileNamingCalls calls{systemOpenUnnamed, systemLinkUnnamed, systemLink,
                                       systemRenameNoReplace};
    return calls;
}

AtomicFile::AtomicFile(std::filesystem::path destination, Publishing publishing,
                       const FileNamingCalls& calls)
    : destination_(std::move(destination)),
      folder_(destination_.has_parent_path() ? destination_.parent_path() : "."),
      calls_(calls) {
    // Read access too: a file system that takes unnamed files but cannot link them gets a
    // named copy instead.
    if (publishing == Publishing::newFile)
        file_.reset(calls_.openUnnamed(folder_.c_str(), O_RDWR | O_CLOEXEC, 0666));
    durable_ = publishing != Publishing::cacheEntry;
    if (!file_) file_ = openHidden(durable_ ? 0666 : 0600);
}

AtomicFile::~AtomicFile() {
    if (!hidden_.empty()) ::unlink(hidden_.c_str());
}

void AtomicFile::fail(const char* what) const { failWith(errno, what + destination_.string()); }

FileDescriptor AtomicFile::openHidden(mode_t mode) {
    // A fresh name no other writer uses: a stale hidden file from a crash never blocks one.
    hidden_ = folder_ / (".orvane-tessel-" + newUUIDString());
    FileDescriptor file(::open(hidden_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file) {
        const int error = errno;
        hidden_.clear();
        failWith(error, "Could not create a file in " + folder_.string());
    }
    return file;
}

void AtomicFile::write(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file_.get(), bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            fail("Could not write ");
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

void AtomicFile::flush() {
    if (::fsync(file_.get()) != 0) fail("Could not write ");
}

void AtomicFile::copyToHidden() {
    const FileDescriptor unnamed = std::exchange(file_, openHidden());
    std::uint8_t buffer[65536];
    for (off_t at = 0;;) {
        const ssize_t got = ::pread(unnamed.get(), buffer, sizeof buffer, at);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) fail("Could not write ");
        if (got == 0) break;
        write({buffer, static_cast<std::size_t>(got)});
        at += got;
    }
    flush();
}

void AtomicFile::publish() {
    if (published_) fatal("a file is published twice");
    flush();
    if (hidden_.empty()) {
        if (calls_.linkUnnamed(file_.get(), destination_.c_str()) != 0) {
            // EEXIST and real failures end here; a folder that takes unnamed files but does
            // not link them (or a system without /proc) has the file named another way.
            if (!makesNoLinks(errno) && errno != ENOENT) fail("Could not create ");
            copyToHidden();
            nameHidden();
        }
    } else {
        nameHidden();
    }
    file_.reset();
    published_ = true;
    syncFolder();
}

void AtomicFile::nameHidden() {
    // Closing reports write-back errors that must not be missed.
    if (::close(file_.release()) != 0) fail("Could not write ");
    const char* from = hidden_.c_str();
    const char* to = destination_.c_str();
    // link(2) and RENAME_NOREPLACE never replace: a file that appeared meanwhile fails them
    // with EEXIST, which ends the write.
    if (calls_.link(from, to) == 0) {
        ::unlink(from);
        hidden_.clear();
        return;
    }
    if (!makesNoLinks(errno)) fail("Could not create ");
    if (calls_.renameNoReplace(from, to) == 0) {
        hidden_.clear();
        return;
    }
    if (!refusesFlags(errno)) fail("Could not create ");
    // No link and no exclusive rename (exFAT through FUSE): the name is claimed with an empty
    // file only this writer can create, and the finished file is renamed onto it.
    if (!FileDescriptor(::open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)))
        fail("Could not create ");
    if (::rename(from, to) != 0) {
        const int error = errno;
        ::unlink(to);
        failWith(error, "Could not create " + destination_.string());
    }
    hidden_.clear();
}

void AtomicFile::publishReplacing() {
    if (published_ || hidden_.empty()) fatal("a replacement is published once, from a named file");
    if (durable_) flush();
    if (::close(file_.release()) != 0) fail("Could not write ");
    if (::rename(hidden_.c_str(), destination_.c_str()) != 0) fail("Could not replace ");
    hidden_.clear();
    published_ = true;
    if (durable_) syncFolder();
}

void AtomicFile::syncFolder() const {
    // Makes the new directory entry durable, so a finished file survives a power cut. Some
    // file systems cannot sync a folder; the file itself is complete either way.
    const FileDescriptor folder(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) ::fsync(folder.get());
}

}  // namespace tessel::detail
