// HEIF's box structure: the top-level boxes of the file, with `meta` and `moov` read in full
// (never `mdat`), to count the pictures a viewer would list.
#include <algorithm>
#include <cstring>
#include <fstream>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "formats/BigEndian.hpp"
#include "formats/IsoBox.hpp"
#include "formats/heif/Heif.hpp"

namespace tessel::detail {

namespace {

using Bytes = std::span<const std::uint8_t>;

// Calls visit(type, payload) for each box in `data`; false when a box header is cut or a box
// runs past the end of `data`.
template <class Visit>
bool forEachBox(Bytes data, Visit visit) {
    for (std::size_t i = 0; i < data.size();) {
        const auto header = boxHeader(data.data() + i, data.size() - i);
        if (!header) return false;
        const auto size = static_cast<std::size_t>(header->size);
        visit(header->type, data.subspan(i + header->headerSize, size - header->headerSize));
        i += size;
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
        std::uint8_t bytes[16];
        const std::uint64_t left = fileSize - at;
        if (left < 8) return std::nullopt;
        stream.seekg(static_cast<std::streamoff>(at));
        if (!stream.read(reinterpret_cast<char*>(bytes), left >= 16 ? 16 : 8)) return std::nullopt;
        const auto header = boxHeader(bytes, left);
        if (!header) return std::nullopt;
        const std::uint64_t payload = header->size - header->headerSize;
        if ((header->type == "meta" && meta.empty()) || (header->type == "moov" && moov.empty())) {
            if (payload > maxReadBox) return std::nullopt;
            std::vector<std::uint8_t>& target = header->type == "meta" ? meta : moov;
            target.resize(static_cast<std::size_t>(payload));
            stream.seekg(static_cast<std::streamoff>(at + header->headerSize));
            if (!stream.read(reinterpret_cast<char*>(target.data()),
                             static_cast<std::streamsize>(target.size())))
                return std::nullopt;
        }
        at += header->size;
    }
    ContainerFacts facts;
    if (const std::optional<std::int64_t> pictures = countPictureItems(meta)) {
        facts.frameCount = std::max(*pictures, countSequenceSamples(moov));
    }
    return facts;
}

}  // namespace tessel::detail
