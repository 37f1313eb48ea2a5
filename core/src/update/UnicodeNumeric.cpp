#include "update/UnicodeNumeric.hpp"

#include <cstddef>
#include <cstdint>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace tessel::detail {

bool isAllUnicodeNumeric(std::string_view utf8) noexcept {
    if (utf8.size() > static_cast<std::size_t>(INT32_MAX)) return false;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(utf8.data());
    const auto length = static_cast<std::int32_t>(utf8.size());
    std::int32_t offset = 0;
    while (offset < length) {
        UChar32 c = 0;
        U8_NEXT(bytes, offset, length, c);
        if (c < 0) return false;  // ill-formed UTF-8
        switch (u_charType(c)) {
            case U_DECIMAL_DIGIT_NUMBER:
            case U_LETTER_NUMBER:
            case U_OTHER_NUMBER: break;
            default: return false;
        }
    }
    return true;
}

}  // namespace tessel::detail
