#include "base/Uuid.hpp"

#include <uuid/uuid.h>

#include "tessel/Files.hpp"

namespace tessel {

std::string newUUIDString() {
    uuid_t id;
    uuid_generate_random(id);
    char text[37];
    uuid_unparse_upper(id, text);
    return text;
}

}  // namespace tessel

namespace tessel::detail {

std::optional<std::string> canonicalUUIDString(std::string_view text) {
    // uuid_parse reads a C string, so an embedded NUL would cut the text short unnoticed.
    if (text.size() != 36 || text.find('\0') != std::string_view::npos) return std::nullopt;
    const std::string terminated(text);
    uuid_t id;
    if (uuid_parse(terminated.c_str(), id) != 0) return std::nullopt;
    char upper[37];
    uuid_unparse_upper(id, upper);
    return upper;
}

}  // namespace tessel::detail
