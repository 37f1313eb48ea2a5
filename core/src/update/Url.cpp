#include "update/Url.hpp"

#include "update/CurlHandles.hpp"

namespace tessel::detail {

std::optional<UrlParts> parseUrl(const std::string& text) noexcept {
    try {
        const CurlUrl url(curl_url());
        if (!url || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) {
            return std::nullopt;
        }
        CurlString scheme;
        if (curl_url_get(url.get(), CURLUPART_SCHEME, scheme.out(), 0) != CURLUE_OK) {
            return std::nullopt;
        }
        UrlParts parts{scheme.get(), {}};
        CurlString host;
        // A URL without a host is still a URL; the caller decides whether it needs one.
        if (curl_url_get(url.get(), CURLUPART_HOST, host.out(), 0) == CURLUE_OK) {
            parts.host = host.get();
        }
        return parts;
    } catch (...) {
        return std::nullopt;
    }
}

}  // namespace tessel::detail
