#pragma once
/// The update check: fetching the update manifest, validating it and comparing versions.
/// Deciding when to check and what to tell the user belongs to the application.

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "tessel/HttpSession.hpp"

namespace tessel {

/// A newer version offered by the update server.
struct UpdateInfo {
    std::string version;      ///< the version offered, as written in the manifest
    std::string downloadURL;  ///< the update archive; always "https://" with a host
    std::string notes;        ///< release notes; empty when the manifest has none

    friend bool operator==(const UpdateInfo&, const UpdateInfo&) = default;
};

namespace Updater {

/// How long a manifest request may take in total before the check gives up.
inline constexpr std::chrono::milliseconds manifestTimeout{10'000};

/// The application's manifest location: "https://updates.orvane.com/tessel/latest.json",
/// unless the build named another with the CMake cache variable TESSEL_UPDATE_MANIFEST_URL
/// (a local server for an end-to-end run of an update).
const std::string& manifestLocation();

/// The options of the session the application checks and downloads updates with: the
/// certificate authorities file named by the CMake cache variable TESSEL_UPDATE_CA_BUNDLE, or
/// the system's when the build named none.
CurlHttpSession::Options sessionOptions();

/// The running version: the release version compiled in (the CMake cache variable
/// TESSEL_VERSION), or "Development" when none was given.
std::string_view currentVersion() noexcept;

/// Fetches the manifest at `manifestURL` through `session` and returns the update it offers
/// when that update is newer than `currentVersion`. Every failure (transport, any status
/// other than 200, malformed JSON, a missing or mistyped "version" or "url", a "url" that is
/// not "https://" with a host, a version that is not newer) gives nothing. Never throws.
std::optional<UpdateInfo> check(const std::string& manifestURL, std::string_view currentVersion,
                                HttpSession& session,
                                std::chrono::milliseconds timeout = manifestTimeout);

/// Whether `candidate` is a newer version than `than`. Versions are dot-separated components
/// of Unicode numeric characters; when either is not (empty components, letters, blanks),
/// the answer is false. Components that are not plain ASCII numbers within 64 bits are
/// dropped, so "1.½.3" reads as 1.3. Missing trailing components count as 0, so "1.2.0" and
/// "1.2" are equal, and equal versions are not newer.
bool isNewer(std::string_view candidate, std::string_view than);

}  // namespace Updater
}  // namespace tessel
