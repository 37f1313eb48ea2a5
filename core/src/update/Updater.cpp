#include "tessel/Updater.hpp"

#include <nlohmann/json.hpp>

#include "update/Url.hpp"

namespace tessel::Updater {
namespace {

// The download link must be https with a host. curl's parser lower-cases the scheme and
// forgives extra slashes ("https:///a.zip" would get the host "a.zip"), so the text itself must
// start with "https://" and an authority: "HTTPS://" and an empty host are refused.
bool isSecureLink(const std::string& text) {
    if (!text.starts_with("https://") || text.starts_with("https:///")) return false;
    const auto parts = detail::parseUrl(text);
    return parts && parts->scheme == "https" && !parts->host.empty();
}

std::optional<UpdateInfo> parseManifest(const std::string& body, std::string_view currentVersion) {
    const auto manifest = nlohmann::json::parse(body, nullptr, /*allow_exceptions=*/false);
    if (!manifest.is_object()) return std::nullopt;  // also the parse failure (discarded)

    const auto version = manifest.find("version");
    if (version == manifest.end() || !version->is_string()) return std::nullopt;
    const auto url = manifest.find("url");
    if (url == manifest.end() || !url->is_string()) return std::nullopt;

    UpdateInfo info;
    info.version = version->get<std::string>();
    info.downloadURL = url->get<std::string>();
    if (!isSecureLink(info.downloadURL)) return std::nullopt;
    if (!isNewer(info.version, currentVersion)) return std::nullopt;

    const auto notes = manifest.find("notes");
    if (notes != manifest.end() && notes->is_string()) info.notes = notes->get<std::string>();
    return info;
}

}  // namespace

const std::string& manifestLocation() {
    static const std::string location = TESSEL_UPDATE_MANIFEST_URL;
    return location;
}

CurlHttpSession::Options sessionOptions() { return {TESSEL_UPDATE_CA_BUNDLE}; }

std::string_view currentVersion() noexcept {
#ifdef TESSEL_VERSION
    return TESSEL_VERSION;
#else
    return "Development";
#endif
}

std::optional<UpdateInfo> check(const std::string& manifestURL, std::string_view currentVersion,
                                HttpSession& session, std::chrono::milliseconds timeout) {
    // Best effort: whatever goes wrong, including an exception from a session, means no update.
    try {
        const auto response = session.get(manifestURL, timeout);
        if (!response || response->statusCode != 200) return std::nullopt;
        return parseManifest(response->body, currentVersion);
    } catch (...) {
        return std::nullopt;
    }
}

}  // namespace tessel::Updater
