#pragma once
// Encoded pages kept in an unnamed file instead of memory while a large render runs.

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <span>
#include <vector>

#include "base/Handle.hpp"

namespace tessel::detail {

/// Where a run of bytes lies in a spool.
struct SpoolExtent {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

/// An unnamed file of `pageCount` pages' bytes, put in any order by any thread and read back
/// by page. It lives in the given folder where that folder can hold unnamed files, else in
/// the temporary folder; a crash leaves nothing behind either way. Move-only.
class PageSpool {
public:
    /// Throws `std::system_error` when no unnamed file can be made.
    PageSpool(const std::filesystem::path& folder, std::size_t pageCount);

    /// Stores page `page`'s bytes. Thread-safe. Throws `std::system_error` (a full disk).
    void put(std::size_t page, std::span<const std::uint8_t> bytes);

    /// Stores bytes that belong to no page (data derived from a page) and says where they
    /// are. Thread-safe. Throws `std::system_error`.
    SpoolExtent append(std::span<const std::uint8_t> bytes);

    std::size_t pageCount() const { return pages_.size(); }
    /// The open spool file, for reading pieces of it directly.
    int descriptor() const { return file_.get(); }
    /// Where page `page` lies; empty until it is put.
    SpoolExtent extent(std::size_t page) const;

    /// Page `page`'s bytes. Throws `std::system_error` when they cannot be read.
    std::vector<std::uint8_t> read(std::size_t page) const;

    /// Reads `extent` in pieces of at most `chunk` bytes, handing each to `take(data, size)`.
    /// Throws `std::system_error` when the file cannot be read.
    template <class Take>
    void readInPieces(SpoolExtent extent, Take take, std::size_t chunk = 1 << 18) const {
        std::vector<std::uint8_t> buffer(chunk);
        while (extent.size > 0) {
            const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(chunk, extent.size));
            readAt(extent.offset, buffer.data(), size);
            take(buffer.data(), size);
            extent.offset += size;
            extent.size -= size;
        }
    }

private:
    void readAt(std::uint64_t offset, std::uint8_t* into, std::size_t size) const;

    FileDescriptor file_;
    mutable std::mutex mutex_;  // guards end_ and pages_
    std::uint64_t end_ = 0;
    std::vector<SpoolExtent> pages_;
};

}  // namespace tessel::detail
