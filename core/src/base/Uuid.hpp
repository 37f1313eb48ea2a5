#pragma once
// UUID texts; fresh UUIDs come from `newUUIDString` in "tessel/Files.hpp".

#include <optional>
#include <string>
#include <string_view>

namespace tessel::detail {

/// `text` in upper-case 36-character form when it is a UUID's text (either case); otherwise
/// nothing.
std::optional<std::string> canonicalUUIDString(std::string_view text);

}  // namespace tessel::detail
