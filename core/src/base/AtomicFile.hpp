#pragma once
// The one writer of files that must appear whole: output files and standard input's image
// (never replacing anything), the layouts file (replaced in one step) and entries of the
// desktop's thumbnail cache.

#include <cstdint>
#include <filesystem>
#include <span>

#include <sys/types.h>

#include "base/Handle.hpp"

namespace tessel::detail {

/// The system calls that give a finished file its name. Tests replace them to act as the file
/// systems that lack some of them: exFAT and FAT make neither unnamed files (EOPNOTSUPP) nor
/// hard links (EPERM), and FUSE file systems may refuse renameat2's flags (EINVAL). Each
/// returns what the system call returns and sets errno.
struct FileNamingCalls {
    /// open(2) of an unnamed file in `folder` (O_TMPFILE) with `flags` added.
    int (*openUnnamed)(const char* folder, int flags, mode_t mode);
    /// linkat(2) giving the unnamed file open as `descriptor` the name `to`.
    int (*linkUnnamed)(int descriptor, const char* to);
    /// link(2).
    int (*link)(const char* from, const char* to);
    /// renameat2(2) with RENAME_NOREPLACE.
    int (*renameNoReplace)(const char* from, const char* to);
};

/// The calls as the system makes them.
const FileNamingCalls& systemNamingCalls();

/// A file being written that appears under its name only when complete and flushed to disk.
///
/// A new file (`publish`) takes its name by the first of these the file system allows: an
/// unnamed file linked to the name (nothing is visible until it is complete, nothing is left
/// after a crash); a hidden ".orvane-tessel-{UUID}" file beside the destination, hard-linked
/// to the name; that file renamed with RENAME_NOREPLACE; or the destination created
/// exclusively, empty, and the hidden file renamed onto it. None of them replaces a file,
/// also not one that appears meanwhile. A replacement (`publishReplacing`) is written to a
/// hidden file that is renamed over the destination. The hidden file is removed on every path.
class AtomicFile {
public:
    enum class Publishing {
        newFile,
        replacing,
        /// Like `replacing`, for a cache: readable by its owner only, and not flushed to disk
        /// first (a cut power loses an entry that is made again, never a half-written one).
        cacheEntry,
    };

    /// Starts a file for `destination`. Throws `std::system_error` when its folder cannot take
    /// a new file.
    AtomicFile(std::filesystem::path destination, Publishing publishing,
               const FileNamingCalls& calls = systemNamingCalls());
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    ~AtomicFile();

    /// Appends `bytes`. Throws `std::system_error` when they cannot be written.
    void write(std::span<const std::uint8_t> bytes);

    /// For `Publishing::newFile`: flushes the file and gives it its name. Throws
    /// `std::system_error`, with `std::errc::file_exists` when something is at the destination.
    void publish();

    /// For `Publishing::replacing` and `cacheEntry`: flushes the file (not a cache entry) and
    /// puts it in the place of whatever is at the destination in one step. Throws
    /// `std::system_error`.
    void publishReplacing();

private:
    [[noreturn]] void fail(const char* what) const;
    /// Creates the hidden file (with `mode` before the umask) and makes it the one being
    /// written.
    FileDescriptor openHidden(mode_t mode = 0666);
    /// Gives the unnamed file's bytes a hidden name, for a folder that takes unnamed files but
    /// no links.
    void copyToHidden();
    void flush();
    /// Names the hidden file by link, renameat2 or an exclusive create and rename.
    void nameHidden();
    void syncFolder() const;

    std::filesystem::path destination_;
    std::filesystem::path folder_;
    const FileNamingCalls& calls_;
    FileDescriptor file_;
    std::filesystem::path hidden_;  ///< empty while the file is unnamed, and once it is named
    bool durable_ = true;           ///< flushed to disk before it is named
    bool published_ = false;
};

}  // namespace tessel::detail
