#pragma once
// Big-endian numbers as PNG chunks and ISO media boxes store them.

#include <cstdint>

namespace tessel::detail {

inline std::uint16_t bigEndian16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}

inline std::uint32_t bigEndian32(const std::uint8_t* p) {
    return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 |
           std::uint32_t{p[3]};
}

inline std::uint64_t bigEndian64(const std::uint8_t* p) {
    return std::uint64_t{bigEndian32(p)} << 32 | bigEndian32(p + 4);
}

}  // namespace tessel::detail
