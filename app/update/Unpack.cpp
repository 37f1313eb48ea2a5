#include "update/Unpack.hpp"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <archive.h>
#include <archive_entry.h>

#include "update/SelfUpdater.hpp"

namespace tessel::SelfUpdater::detail {
namespace {

namespace fs = std::filesystem;

struct ReadFree {
    void operator()(archive* handle) const noexcept { archive_read_free(handle); }
};
struct WriteFree {
    void operator()(archive* handle) const noexcept { archive_write_free(handle); }
};
using ArchiveReader = std::unique_ptr<archive, ReadFree>;
using DiskWriter = std::unique_ptr<archive, WriteFree>;

[[noreturn]] void refuse(const std::string& why) { throw UpdateFailure(UpdateError::unpack, why); }

std::string archiveError(archive* handle) {
    const char* text = archive_error_string(handle);
    return text != nullptr ? text : "unknown error";
}

// `name` as a clean relative path ("./" parts and a trailing "/" dropped), or nothing when
// it is absolute, empty or climbs with "..".
std::optional<std::string> relativeName(std::string_view name) {
    if (name.empty() || name.front() == '/') return std::nullopt;
    std::string clean;
    std::size_t start = 0;
    while (start <= name.size()) {
        const std::size_t slash = std::min(name.find('/', start), name.size());
        const std::string_view part = name.substr(start, slash - start);
        if (part == "..") return std::nullopt;
        if (!part.empty() && part != ".") {
            if (!clean.empty()) clean += '/';
            clean += part;
        }
        start = slash + 1;
    }
    if (clean.empty()) return std::nullopt;
    return clean;
}

// A link target may only lead into the link's own folder: relative and without "..", so that
// no chain of links, each harmless on its own, can climb out of the unpacked folder.
bool staysInside(std::string_view target) {
    if (target.empty() || target.front() == '/') return false;
    std::size_t start = 0;
    while (start <= target.size()) {
        const std::size_t slash = std::min(target.find('/', start), target.size());
        if (target.substr(start, slash - start) == "..") return false;
        start = slash + 1;
    }
    return true;
}

// Checks one entry and points it at its place under `root`; refuses entries that would land
// outside.
void placeEntry(archive_entry* entry, const fs::path& root) {
    const char* rawName = archive_entry_pathname(entry);
    if (rawName == nullptr) refuse("an entry has no readable name");
    const auto name = relativeName(rawName);
    if (!name) refuse(std::string("entry \"") + rawName + "\" would land outside the folder");

    const auto type = archive_entry_filetype(entry);
    if (type != AE_IFREG && type != AE_IFDIR && type != AE_IFLNK) {
        refuse("entry \"" + *name + "\" is neither a file, a folder nor a link");
    }
    if (type == AE_IFLNK) {
        const char* target = archive_entry_symlink(entry);
        if (target == nullptr || !staysInside(target)) {
            refuse("link \"" + *name + "\" points out of its folder (" +
                   (target != nullptr ? target : "") + ")");
        }
    }
    if (const char* linked = archive_entry_hardlink(entry); linked != nullptr) {
        const auto linkedName = relativeName(linked);
        if (!linkedName) refuse("hard link \"" + *name + "\" points outside (" + linked + ")");
        archive_entry_set_hardlink(entry, (root / *linkedName).c_str());
    }
    archive_entry_set_pathname(entry, (root / *name).c_str());
    // Only permission bits that a bundle needs: no set-user-ID, set-group-ID or sticky bit,
    // nothing writable by others; folders stay open to their owner so they can be filled.
    const auto perm = archive_entry_perm(entry) & 0755;
    archive_entry_set_perm(entry, type == AE_IFDIR ? (perm | 0700) : perm);
}

void copyData(archive* reader, archive* writer, const std::string& name, std::uint64_t& total) {
    while (true) {
        const void* block = nullptr;
        std::size_t size = 0;
        la_int64_t offset = 0;
        const int status = archive_read_data_block(reader, &block, &size, &offset);
        if (status == ARCHIVE_EOF) return;
        if (status != ARCHIVE_OK) refuse(name + ": " + archiveError(reader));
        total += size;
        if (total > maxUnpackedBytes) refuse("the archive unpacks to more than 2 GiB");
        if (archive_write_data_block(writer, block, size, offset) != ARCHIVE_OK) {
            refuse(name + ": " + archiveError(writer));
        }
    }
}

}  // namespace

void unpackZip(const fs::path& archivePath, const fs::path& folder) {
    // libarchive's own checks back ours up: no writing through a link on disk, no "..".
    // (It cannot refuse absolute names for us: every name is made absolute under `root`.)
    const fs::path root = fs::canonical(folder);
    ArchiveReader reader(archive_read_new());
    DiskWriter writer(archive_write_disk_new());
    if (reader == nullptr || writer == nullptr) refuse("libarchive could not start");
    archive_read_support_format_zip(reader.get());
    archive_write_disk_set_options(writer.get(), ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_TIME |
                                                     ARCHIVE_EXTRACT_SECURE_SYMLINKS |
                                                     ARCHIVE_EXTRACT_SECURE_NODOTDOT);
    if (archive_read_open_filename(reader.get(), archivePath.c_str(), 1u << 16) != ARCHIVE_OK) {
        refuse(archivePath.string() + ": " + archiveError(reader.get()));
    }
    std::uint64_t total = 0;
    std::size_t count = 0;
    while (true) {
        archive_entry* entry = nullptr;
        const int status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF) break;
        if (status != ARCHIVE_OK) refuse(archivePath.string() + ": " + archiveError(reader.get()));
        if (++count > maxUnpackedEntries) refuse("the archive has too many entries");
        const std::string name =
            archive_entry_pathname(entry) != nullptr ? archive_entry_pathname(entry) : "";
        placeEntry(entry, root);
        if (archive_write_header(writer.get(), entry) != ARCHIVE_OK) {
            refuse(name + ": " + archiveError(writer.get()));
        }
        // Sizes may be unknown until the data is read (streamed ZIP entries): always copy.
        copyData(reader.get(), writer.get(), name, total);
        if (archive_write_finish_entry(writer.get()) != ARCHIVE_OK) {
            refuse(name + ": " + archiveError(writer.get()));
        }
    }
    if (archive_write_close(writer.get()) != ARCHIVE_OK) refuse(archiveError(writer.get()));
}

}  // namespace tessel::SelfUpdater::detail
