#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include "formats/ContainerFacts.hpp"

namespace tessel::detail {

namespace {

std::uint32_t bigEndian32(const std::uint8_t* p) {
    return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 |
           std::uint32_t{p[3]};
}

std::uint16_t bigEndian16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}

std::uint64_t bigEndian64(const std::uint8_t* p) {
    return std::uint64_t{bigEndian32(p)} << 32 | bigEndian32(p + 4);
}

bool isRestartOrStuffing(std::uint8_t marker) {
    return marker == 0x00 || (marker >= 0xD0 && marker <= 0xD7);
}

// Bytes taken front to back, either from memory or from a file through a small window, so
// that walking a large file never holds it whole.
class ForwardReader {
public:
    explicit ForwardReader(std::span<const std::uint8_t> bytes)
        : at_(bytes.data()), end_(bytes.data() + bytes.size()) {}
    explicit ForwardReader(int descriptor) : descriptor_(descriptor), window_(kWindow) {}

    std::optional<std::uint8_t> next() {
        if (at_ == end_ && !refill()) return std::nullopt;
        return *at_++;
    }

    /// Passes over `count` bytes; false when the content ends first.
    bool skip(std::size_t count) {
        while (count > static_cast<std::size_t>(end_ - at_)) {
            count -= static_cast<std::size_t>(end_ - at_);
            at_ = end_;
            if (!refill()) return false;
        }
        at_ += count;
        return true;
    }

    /// Moves to the next byte equal to `value` without taking it; false when there is none.
    bool seek(std::uint8_t value) {
        for (;;) {
            if (const void* found = std::memchr(at_, value, static_cast<std::size_t>(end_ - at_))) {
                at_ = static_cast<const std::uint8_t*>(found);
                return true;
            }
            at_ = end_;
            if (!refill()) return false;
        }
    }

private:
    static constexpr std::size_t kWindow = 256 * 1024;

    bool refill() {
        if (descriptor_ < 0) return false;
        for (;;) {
            const ssize_t got = ::read(descriptor_, window_.data(), window_.size());
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) return false;
            at_ = window_.data();
            end_ = at_ + got;
            return true;
        }
    }

    int descriptor_ = -1;
    std::vector<std::uint8_t> window_;
    const std::uint8_t* at_ = nullptr;
    const std::uint8_t* end_ = nullptr;
};

std::optional<ContainerFacts> walkJpegStream(ForwardReader& in) {
    if (in.next() != std::optional<std::uint8_t>{0xFF} ||
        in.next() != std::optional<std::uint8_t>{0xD8})
        return std::nullopt;
    bool sawScan = false;
    int pending = -1;  // a marker found at the end of a scan
    for (;;) {
        std::uint8_t marker = 0;
        if (pending >= 0) {
            marker = static_cast<std::uint8_t>(std::exchange(pending, -1));
        } else {
            // Stray bytes before a marker are skipped as libjpeg does (it only warns).
            if (!in.seek(0xFF)) return std::nullopt;
            do {
                const auto byte = in.next();
                if (!byte) return std::nullopt;
                marker = *byte;
            } while (marker == 0xFF);
        }
        if (marker == 0xD9)
            return sawScan ? std::optional<ContainerFacts>{ContainerFacts{}} : std::nullopt;
        if (isRestartOrStuffing(marker) || marker == 0x01) continue;
        const auto high = in.next();
        const auto low = in.next();
        if (!high || !low) return std::nullopt;
        const std::size_t length = std::size_t{*high} << 8 | std::size_t{*low};
        if (length < 2 || !in.skip(length - 2)) return std::nullopt;
        if (marker != 0xDA) continue;
        sawScan = true;
        // Entropy-coded data runs to the first marker that is neither stuffing nor a restart.
        while (pending < 0) {
            if (!in.seek(0xFF)) return std::nullopt;
            std::uint8_t byte = 0xFF;
            while (byte == 0xFF) {
                const auto read = in.next();
                if (!read) return std::nullopt;
                byte = *read;
            }
            if (!isRestartOrStuffing(byte)) pending = byte;
        }
    }
}

}  // namespace

std::optional<ContainerFacts> walkJpeg(std::span<const std::uint8_t> file) {
    ForwardReader in(file);
    return walkJpegStream(in);
}

std::optional<ContainerFacts> walkJpeg(const std::filesystem::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return std::nullopt;
    ForwardReader in(descriptor);
    auto facts = walkJpegStream(in);
    ::close(descriptor);
    return facts;
}

std::optional<ContainerFacts> walkPng(std::span<const std::uint8_t> f) {
    static constexpr std::uint8_t signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const std::size_t n = f.size();
    if (n < 8 || std::memcmp(f.data(), signature, 8) != 0) return std::nullopt;
    ContainerFacts facts;
    std::optional<std::uint32_t> animationFrames;
    bool sawHeader = false;
    bool sawData = false;
    for (std::size_t i = 8;;) {
        if (n - i < 12) return std::nullopt;
        const std::uint32_t length = bigEndian32(f.data() + i);
        if (length > 0x7FFFFFFFu || length > n - i - 12) return std::nullopt;
        const std::uint8_t* type = f.data() + i + 4;
        const std::uint8_t* data = type + 4;
        const std::string_view name(reinterpret_cast<const char*>(type), 4);
        const bool crcOk =
            crc32(crc32(0, nullptr, 0), type, length + 4) == bigEndian32(data + length);
        // Decoders drop an ancillary chunk with a bad CRC but stop at a bad critical one; the
        // animation chunks decide the frame count, so they count as critical here.
        const bool critical =
            (type[0] & 0x20) == 0 || name == "acTL" || name == "fcTL" || name == "fdAT";
        if (!crcOk && critical) return std::nullopt;
        if (!sawHeader && name != "IHDR") return std::nullopt;
        sawHeader = true;
        if (crcOk) {
            if (name == "IDAT") {
                sawData = true;
            } else if (name == "acTL" && !sawData && length >= 8) {
                // acTL after the first IDAT is not an animation by the APNG rules.
                animationFrames = bigEndian32(data);
            } else if (name == "eXIf" && facts.exif.empty()) {
                facts.exif.assign(data, data + length);
            }
        }
        i += std::size_t{length} + 12;
        if (name == "IEND") break;
    }
    if (!sawData) return std::nullopt;
    if (animationFrames && *animationFrames == 0) return std::nullopt;
    facts.frameCount = animationFrames.value_or(1);
    return facts;
}

std::optional<ContainerFacts> walkGif(std::span<const std::uint8_t> f) {
    const std::size_t n = f.size();
    if (n < 13 ||
        (std::memcmp(f.data(), "GIF87a", 6) != 0 && std::memcmp(f.data(), "GIF89a", 6) != 0)) {
        return std::nullopt;
    }
    auto colourTableBytes = [](std::uint8_t packed) -> std::size_t {
        return (packed & 0x80) != 0 ? std::size_t{3} << ((packed & 0x07) + 1) : 0;
    };
    std::size_t i = 13 + colourTableBytes(f[10]);
    auto skipSubBlocks = [&]() {
        for (;;) {
            if (i >= n) return false;
            const std::size_t length = f[i++];
            if (length == 0) return true;
            if (length > n - i) return false;
            i += length;
        }
    };
    std::int64_t frames = 0;
    while (i < n) {
        const std::uint8_t introducer = f[i++];
        if (introducer == 0x21) {
            if (i >= n) return std::nullopt;
            ++i;  // extension label
            if (!skipSubBlocks()) return std::nullopt;
        } else if (introducer == 0x2C) {
            if (n - i < 9) return std::nullopt;
            i += 9 + colourTableBytes(f[i + 8]);
            if (i >= n) return std::nullopt;
            ++i;  // LZW minimum code size
            if (!skipSubBlocks()) return std::nullopt;
            ++frames;
        } else {
            // The trailer, or bytes after the last block that decoders ignore as well.
            break;
        }
    }
    if (frames == 0) return std::nullopt;
    ContainerFacts facts;
    facts.frameCount = frames;
    return facts;
}

namespace {

using Bytes = std::span<const std::uint8_t>;

// ISO base media boxes: calls visit(type, payload) for each box in `data`; false when a box
// header is cut or a box runs past the end of `data`.
template <class Visit>
bool forEachBox(Bytes data, Visit visit) {
    std::size_t i = 0;
    while (i < data.size()) {
        const std::size_t left = data.size() - i;
        if (left < 8) return false;
        std::uint64_t size = bigEndian32(data.data() + i);
        const std::string_view type(reinterpret_cast<const char*>(data.data() + i + 4), 4);
        std::size_t header = 8;
        if (size == 1) {
            if (left < 16) return false;
            size = bigEndian64(data.data() + i + 8);
            header = 16;
        } else if (size == 0) {
            size = left;
        }
        if (size < header || size > left) return false;
        visit(type, data.subspan(i + header, static_cast<std::size_t>(size) - header));
        i += static_cast<std::size_t>(size);
    }
    return true;
}

bool isImageItemType(std::string_view type) {
    return type == "hvc1" || type == "av01" || type == "grid" || type == "iovl" || type == "iden" ||
           type == "jpeg" || type == "unci" || type == "vvc1" || type == "j2k1" || type == "avc1";
}

// The pictures a viewer would list: image items minus hidden ones, thumbnails, auxiliary
// images (alpha, depth) and the inputs of derived images. libheif 1.15 still lists grid
// tiles and overlay inputs that are not flagged hidden, so the references are read here.
std::optional<std::int64_t> countPictureItems(Bytes meta) {
    if (meta.size() < 4) return std::nullopt;
    struct Item {
        bool image = false;
        bool hidden = false;
    };
    std::vector<std::pair<std::uint32_t, Item>> items;
    std::set<std::uint32_t> notPictures;
    bool ok = forEachBox(meta.subspan(4), [&](std::string_view type, Bytes box) {
        if (type == "iinf" && box.size() >= 6) {
            const std::size_t skip = box[0] == 0 ? 6 : 8;
            if (box.size() < skip) return;
            forEachBox(box.subspan(skip), [&](std::string_view entryType, Bytes entry) {
                if (entryType != "infe" || entry.size() < 4 || entry[0] < 2) return;
                const bool wide = entry[0] >= 3;
                if (entry.size() < (wide ? 14u : 12u)) return;
                Item item;
                item.hidden = (entry[3] & 1) != 0;
                const std::uint32_t id =
                    wide ? bigEndian32(entry.data() + 4) : bigEndian16(entry.data() + 4);
                const std::size_t typeAt = wide ? 10 : 8;
                item.image = isImageItemType(
                    std::string_view(reinterpret_cast<const char*>(entry.data() + typeAt), 4));
                items.emplace_back(id, item);
            });
        } else if (type == "iref" && box.size() >= 4) {
            const bool wide = box[0] != 0;
            const std::size_t idBytes = wide ? 4 : 2;
            auto idAt = [&](Bytes b, std::size_t at) {
                return wide ? bigEndian32(b.data() + at)
                            : std::uint32_t{bigEndian16(b.data() + at)};
            };
            forEachBox(box.subspan(4), [&](std::string_view referenceType, Bytes reference) {
                if (reference.size() < idBytes + 2) return;
                const std::uint32_t from = idAt(reference, 0);
                const std::size_t count = bigEndian16(reference.data() + idBytes);
                if (reference.size() < idBytes + 2 + count * idBytes) return;
                if (referenceType == "thmb" || referenceType == "auxl") {
                    notPictures.insert(from);
                } else if (referenceType == "dimg") {
                    for (std::size_t k = 0; k < count; ++k) {
                        notPictures.insert(idAt(reference, idBytes + 2 + k * idBytes));
                    }
                }
            });
        }
    });
    if (!ok || items.empty()) return std::nullopt;
    return std::count_if(items.begin(), items.end(), [&](const auto& entry) {
        const auto& [id, item] = entry;
        return item.image && !item.hidden && !notPictures.contains(id);
    });
}

// The samples of the longest image-sequence ('pict') track.
std::int64_t countSequenceSamples(Bytes moov) {
    std::int64_t longest = 0;
    forEachBox(moov, [&](std::string_view type, Bytes trak) {
        if (type != "trak") return;
        bool picture = false;
        std::int64_t samples = 0;
        forEachBox(trak, [&](std::string_view trakChild, Bytes mdia) {
            if (trakChild != "mdia") return;
            forEachBox(mdia, [&](std::string_view mdiaChild, Bytes box) {
                if (mdiaChild == "hdlr" && box.size() >= 12) {
                    picture = std::memcmp(box.data() + 8, "pict", 4) == 0;
                } else if (mdiaChild == "minf") {
                    forEachBox(box, [&](std::string_view minfChild, Bytes stbl) {
                        if (minfChild != "stbl") return;
                        forEachBox(stbl, [&](std::string_view stblChild, Bytes sizes) {
                            if ((stblChild == "stsz" || stblChild == "stz2") &&
                                sizes.size() >= 12) {
                                samples = bigEndian32(sizes.data() + 8);
                            }
                        });
                    });
                }
            });
        });
        if (picture) longest = std::max(longest, samples);
    });
    return longest;
}

}  // namespace

std::optional<ContainerFacts> walkHeif(const std::filesystem::path& file) {
    // The boxes worth reading are small; a larger meta or moov box is not a photograph's.
    constexpr std::uint64_t maxReadBox = 64u << 20;
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    if (!stream) return std::nullopt;
    const std::streamoff end = stream.tellg();
    if (end < 0) return std::nullopt;
    const auto fileSize = static_cast<std::uint64_t>(end);
    std::vector<std::uint8_t> meta;
    std::vector<std::uint8_t> moov;
    for (std::uint64_t at = 0; at < fileSize;) {
        std::uint8_t header[16];
        const std::uint64_t left = fileSize - at;
        if (left < 8) return std::nullopt;
        stream.seekg(static_cast<std::streamoff>(at));
        if (!stream.read(reinterpret_cast<char*>(header), left >= 16 ? 16 : 8)) {
            return std::nullopt;
        }
        std::uint64_t size = bigEndian32(header);
        std::uint64_t headerSize = 8;
        if (size == 1) {
            if (left < 16) return std::nullopt;
            size = bigEndian64(header + 8);
            headerSize = 16;
        } else if (size == 0) {
            size = left;
        }
        if (size < headerSize || size > left) return std::nullopt;
        const std::string_view type(reinterpret_cast<const char*>(header + 4), 4);
        if ((type == "meta" && meta.empty()) || (type == "moov" && moov.empty())) {
            if (size - headerSize > maxReadBox) return std::nullopt;
            std::vector<std::uint8_t>& target = type == "meta" ? meta : moov;
            target.resize(static_cast<std::size_t>(size - headerSize));
            stream.seekg(static_cast<std::streamoff>(at + headerSize));
            if (!stream.read(reinterpret_cast<char*>(target.data()),
                             static_cast<std::streamsize>(target.size()))) {
                return std::nullopt;
            }
        }
        at += size;
    }
    ContainerFacts facts;
    if (const std::optional<std::int64_t> pictures = countPictureItems(meta)) {
        facts.frameCount = std::max(*pictures, countSequenceSamples(moov));
    }
    return facts;
}

}  // namespace tessel::detail
