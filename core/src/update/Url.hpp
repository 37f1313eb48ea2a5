#pragma once
#include <optional>
#include <string>

namespace tessel::detail {

/// The parts of an absolute URL that callers check; curl's parser lower-cases the scheme.
struct UrlParts {
    std::string scheme;
    std::string host;  ///< empty when the URL has none
};

/// Parses `text` as an absolute URL with curl's URL parser; nothing when it does not parse.
std::optional<UrlParts> parseUrl(const std::string& text) noexcept;

}  // namespace tessel::detail
