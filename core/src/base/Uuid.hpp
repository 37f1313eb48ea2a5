#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace tessel::detail {

/// A fresh random UUID in its 36-character upper-case text form.
std::string newUUIDString();

/// `text` in upper-case 36-character form when it is a UUID's text (either case); otherwise
/// nothing.
std::optional<std::string> canonicalUUIDString(std::string_view text);

}  // namespace tessel::detail
