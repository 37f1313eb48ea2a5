// The directories of camera RAW containers, walked only to tell a file cut short from a
// complete one and both from a file that is no RAW at all: LibRaw gives all three the same
// answer. Pixel data is never read, only where it lies.
#include <array>
#include <cstring>
#include <deque>
#include <set>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "base/Files.hpp"
#include "formats/BigEndian.hpp"
#include "formats/IsoBox.hpp"
#include "formats/raw/Raw.hpp"

namespace tessel::detail {
namespace {

// Reads at given offsets of an open file, never past its end.
class FileBytes {
public:
    FileBytes(int descriptor, std::uint64_t size) : descriptor_(descriptor), size_(size) {}

    std::uint64_t size() const { return size_; }

    bool read(std::uint64_t offset, void* out, std::size_t count) const {
        if (offset > size_ || count > size_ - offset) return false;
        auto* bytes = static_cast<std::uint8_t*>(out);
        while (count > 0) {
            const ssize_t got = ::pread(descriptor_, bytes, count, static_cast<off_t>(offset));
            if (got <= 0) return false;
            bytes += got;
            offset += static_cast<std::uint64_t>(got);
            count -= static_cast<std::size_t>(got);
        }
        return true;
    }

private:
    int descriptor_;
    std::uint64_t size_;
};

// Numbers in the byte order a TIFF or CIFF header names.
struct ByteOrder {
    bool little = true;
    std::uint16_t u16(const std::uint8_t* p) const {
        return little ? static_cast<std::uint16_t>(p[0] | p[1] << 8) : bigEndian16(p);
    }
    std::uint32_t u32(const std::uint8_t* p) const {
        return little ? std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
                            std::uint32_t{p[3]} << 24
                      : bigEndian32(p);
    }
};

// More directories or values than any camera writes: a loop or garbage, not a picture.
constexpr std::size_t kMostDirectories = 256;
constexpr std::uint32_t kMostEntries = 4096;
constexpr std::uint32_t kMostValues = 1 << 16;

// A TIFF directory entry's values (SHORT or LONG), inline or where the entry points; nothing
// when they lie past the end of the file.
std::optional<std::vector<std::uint32_t>> entryValues(const FileBytes& file, ByteOrder order,
                                                      const std::uint8_t* entry) {
    const std::uint16_t type = order.u16(entry + 2);
    const std::uint32_t count = std::min(order.u32(entry + 4), kMostValues);
    const std::size_t width = type == 3 ? 2 : 4;  // SHORT, else LONG or IFD
    std::vector<std::uint8_t> bytes(count * width);
    if (bytes.empty()) return std::vector<std::uint32_t>{};
    if (bytes.size() <= 4) {
        std::memcpy(bytes.data(), entry + 8, bytes.size());
    } else if (!file.read(order.u32(entry + 8), bytes.data(), bytes.size())) {
        return std::nullopt;
    }
    std::vector<std::uint32_t> values(count);
    for (std::size_t i = 0; i < count; ++i)
        values[i] = width == 2 ? order.u16(&bytes[i * 2]) : order.u32(&bytes[i * 4]);
    return values;
}

// TIFF and its camera variants: every directory of the chain, the sub-directories and the
// EXIF directory lie within the file, and so do the strips, tiles and JPEG streams they name.
RawContainer walkTiff(const FileBytes& file, ByteOrder order, std::uint32_t first) {
    std::deque<std::uint32_t> pending{first};
    std::set<std::uint32_t> seen;
    while (!pending.empty() && seen.size() < kMostDirectories) {
        const std::uint32_t offset = pending.front();
        pending.pop_front();
        if (offset == 0 || !seen.insert(offset).second) continue;
        std::uint8_t countBytes[2];
        if (!file.read(offset, countBytes, 2)) return RawContainer::cutOff;
        const std::uint16_t count = order.u16(countBytes);
        if (count == 0 || count > kMostEntries) return RawContainer::unknown;
        std::vector<std::uint8_t> entries(std::size_t{count} * 12 + 4);
        if (!file.read(offset + 2, entries.data(), entries.size())) return RawContainer::cutOff;
        // Where each kind of image data starts, and how long it is.
        std::vector<std::uint32_t> starts[3], lengths[3];
        for (std::uint16_t i = 0; i < count; ++i) {
            const std::uint8_t* entry = &entries[std::size_t{i} * 12];
            const std::uint16_t tag = order.u16(entry);
            std::vector<std::uint32_t>* target = nullptr;
            switch (tag) {
                case 0x0111: target = &starts[0]; break;   // StripOffsets
                case 0x0117: target = &lengths[0]; break;  // StripByteCounts
                case 0x0144: target = &starts[1]; break;   // TileOffsets
                case 0x0145: target = &lengths[1]; break;  // TileByteCounts
                case 0x0201: target = &starts[2]; break;   // JPEGInterchangeFormat
                case 0x0202: target = &lengths[2]; break;  // JPEGInterchangeFormatLength
                case 0x014A:                               // SubIFDs
                case 0x8769: {                             // ExifIFD
                    const auto values = entryValues(file, order, entry);
                    if (!values) return RawContainer::cutOff;
                    pending.insert(pending.end(), values->begin(), values->end());
                    continue;
                }
                default: continue;
            }
            auto values = entryValues(file, order, entry);
            if (!values) return RawContainer::cutOff;
            *target = std::move(*values);
        }
        for (int kind = 0; kind < 3; ++kind) {
            const std::size_t pieces = std::min(starts[kind].size(), lengths[kind].size());
            for (std::size_t i = 0; i < pieces; ++i)
                if (std::uint64_t{starts[kind][i]} + lengths[kind][i] > file.size())
                    return RawContainer::cutOff;
        }
        pending.push_back(order.u32(&entries[std::size_t{count} * 12]));  // the next directory
    }
    return RawContainer::whole;
}

// Canon's CIFF (CRW): a heap whose last four bytes give the offset of its directory, which
// ends where they start. Cut short, those bytes are some of the picture's.
RawContainer walkCiff(const FileBytes& file, ByteOrder order, std::uint32_t heapStart) {
    const std::uint64_t end = file.size();
    std::uint8_t bytes[4];
    if (heapStart >= end || end - heapStart < 6 || !file.read(end - 4, bytes, 4))
        return RawContainer::cutOff;
    const std::uint64_t directory = std::uint64_t{heapStart} + order.u32(bytes);
    if (directory + 2 > end - 4 || !file.read(directory, bytes, 2)) return RawContainer::cutOff;
    const std::uint64_t entries = order.u16(bytes);
    return directory + 2 + entries * 10 + 4 == end ? RawContainer::whole : RawContainer::cutOff;
}

// Canon's CR3, an ISO media file: every top-level box within the file.
RawContainer walkIsoMedia(const FileBytes& file) {
    for (std::uint64_t at = 0; at < file.size();) {
        std::uint8_t bytes[16] = {};
        const std::uint64_t left = file.size() - at;
        if (!file.read(at, bytes, left >= 16 ? 16 : std::min<std::uint64_t>(left, 8)))
            return RawContainer::cutOff;
        const auto header = boxHeader(bytes, left);
        if (!header) return RawContainer::cutOff;
        at += header->size;
    }
    return RawContainer::whole;
}

// Fujifilm's RAF: a header naming where its JPEG preview, its sensor header and its sensor
// data lie, as offset and length pairs.
RawContainer walkRaf(const FileBytes& file) {
    std::uint8_t bytes[24];
    if (!file.read(84, bytes, sizeof bytes)) return RawContainer::cutOff;
    for (std::size_t i = 0; i < 3; ++i)
        if (std::uint64_t{bigEndian32(bytes + i * 8)} + bigEndian32(bytes + i * 8 + 4) >
            file.size())
            return RawContainer::cutOff;
    return RawContainer::whole;
}

}  // namespace

RawContainer walkRawContainer(const std::filesystem::path& path) {
    const FileDescriptor descriptor = openRegularFile(path);
    struct stat status {};
    if (!descriptor || ::fstat(descriptor.get(), &status) != 0) return RawContainer::unknown;
    const FileBytes file(descriptor.get(), static_cast<std::uint64_t>(status.st_size));
    std::array<std::uint8_t, 16> head{};
    if (!file.read(0, head.data(), std::min<std::uint64_t>(file.size(), head.size())))
        return RawContainer::unknown;
    const std::string_view magic(reinterpret_cast<const char*>(head.data()), head.size());
    const bool little = magic.starts_with("II");
    if (little || magic.starts_with("MM")) {
        const ByteOrder order{little};
        if (magic.substr(6, 8) == "HEAPCCDR") return walkCiff(file, order, order.u32(&head[2]));
        const std::uint16_t mark = order.u16(&head[2]);
        // TIFF (42) and the variants of Olympus ("RO", "RS") and Panasonic (0x55).
        if (mark == 42 || mark == 0x4F52 || mark == 0x5352 || mark == 0x55)
            return walkTiff(file, order, order.u32(&head[4]));
        return RawContainer::unknown;
    }
    if (magic.substr(4, 4) == "ftyp") return walkIsoMedia(file);
    if (magic.starts_with("FUJIFILMCCD-RAW")) return walkRaf(file);
    return RawContainer::unknown;
}

}  // namespace tessel::detail
