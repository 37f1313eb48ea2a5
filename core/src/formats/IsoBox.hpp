#pragma once
// The box headers of ISO base media files, as HEIF and Canon's CR3 store them.

#include <cstdint>
#include <optional>
#include <string_view>

#include "formats/BigEndian.hpp"

namespace tessel::detail {

struct BoxHeader {
    std::string_view type;
    std::uint64_t size = 0;      ///< the whole box, header included
    std::size_t headerSize = 0;  ///< 8, or 16 with a 64-bit size
};

/// An ISO base media box header from the first bytes of a box with `left` bytes up to the end
/// of its container; `bytes` holds at least 8 of them, or 16 when `left` allows. Nothing when
/// the header is cut or the box runs past the end of its container.
inline std::optional<BoxHeader> boxHeader(const std::uint8_t* bytes, std::uint64_t left) {
    if (left < 8) return std::nullopt;
    BoxHeader header{std::string_view(reinterpret_cast<const char*>(bytes + 4), 4),
                     bigEndian32(bytes), 8};
    if (header.size == 1) {
        if (left < 16) return std::nullopt;
        header.size = bigEndian64(bytes + 8);
        header.headerSize = 16;
    } else if (header.size == 0) {
        header.size = left;  // to the end of the container
    }
    if (header.size < header.headerSize || header.size > left) return std::nullopt;
    return header;
}

}  // namespace tessel::detail
