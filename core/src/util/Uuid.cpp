#include "util/Uuid.hpp"

#include <uuid/uuid.h>

namespace tessel::detail {

std::string newUUIDString() {
    uuid_t id;
    uuid_generate_random(id);
    char text[37];
    uuid_unparse_upper(id, text);
    return text;
}

}  // namespace tessel::detail
