#pragma once
/// Installing an update of the running application: the location checks, the download, the
/// unpacking, the signature and identity checks, and the hand-over to a script that swaps the
/// bundles once the application has quit and relaunches whichever bundle ends up in place.
///
/// A release is a folder "Tessel.app" holding `Contents/bin/tessel`, `Contents/bin/tessel-sheet`,
/// `Contents/lib/`, `Contents/Info.json` ({"identifier": …, "version": …}) and the signature in
/// `Contents/CodeSignature/` (see BundleSigning.hpp). The update archive is a ZIP with
/// "Tessel.app" at its top level.
///
/// Files, with {pid} the installing process's identifier in decimal, under the temporary
/// directory ($TMPDIR when it is an absolute path, else /tmp):
///   orvane-update-{pid}/             the work folder, made afresh by every installation
///   orvane-update-{pid}/update.zip   the downloaded archive
///   orvane-update-{pid}/unpacked/    the unpacked archive
///   orvane-update-{pid}.sh           the installer script
/// They stay after a hand-over and after a failure; the backup "{destination}.bak" is made and
/// removed by the script.

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "tessel/HttpSession.hpp"
#include "tessel/SheetTypes.hpp"
#include "tessel/Updater.hpp"

#include "update/BundleSigning.hpp"

namespace tessel {
namespace SelfUpdater {

/// Why an installation was refused. Failures of the platform (the transport error of the
/// download, a folder that cannot be made or listed, a script that cannot be written or started)
/// are not mapped to a case: they pass through as `HttpTransportError`,
/// `std::filesystem::filesystem_error` or `std::system_error`.
enum class UpdateError {
    download,          ///< the download's final response has a status other than 200
    unpack,            ///< the archive is not a readable ZIP, or an entry would land outside
    notFound,          ///< the unpacked archive has no item with the extension ".app" at its top
    badSignature,      ///< the unpacked application is not signed by the maker's key, or altered
    wrongApp,          ///< another identifier or version, or an unreadable Contents/Info.json
    readOnlyLocation,  ///< the running application cannot be replaced where it is
};

}  // namespace SelfUpdater

template <>
struct EnumTable<SelfUpdater::UpdateError> {
    using E = SelfUpdater::UpdateError;
    static constexpr std::array<EnumEntry<E>, 6> entries{{
        {E::download, "download", "Download"},
        {E::unpack, "unpack", "Unpack"},
        {E::notFound, "notFound", "Not found"},
        {E::badSignature, "badSignature", "Bad signature"},
        {E::wrongApp, "wrongApp", "Wrong application"},
        {E::readOnlyLocation, "readOnlyLocation", "Read-only location"},
    }};
};

namespace SelfUpdater {

/// The exception that carries an `UpdateError`. `what()` gives the case's raw value and a
/// detail for developers ("badSignature: Contents/bin/tessel changed"); users are shown one
/// fixed text for every failure, so no case has a user-facing text.
class UpdateFailure : public std::runtime_error {
public:
    UpdateFailure(UpdateError error, const std::string& detail);
    UpdateError error() const noexcept { return error_; }

private:
    UpdateError error_;
};

/// The running application's identifier; an update must carry exactly this one.
inline constexpr std::string_view applicationIdentifier = "com.orvane.Tessel";

/// How long the download may go without receiving a byte before it is given up.
inline constexpr std::chrono::seconds downloadStallTimeout{60};

/// Who installs and where: the running program, the temporary directory, the process the
/// work folder and script are named after (and that the script waits for), and the key that
/// releases must be signed with. `current()` describes this process; tests give their own.
struct Installation {
    std::filesystem::path executable;          ///< the running program, absolute
    std::filesystem::path temporaryDirectory;  ///< absolute
    pid_t processId = 0;
    BundleSigning::PublicKey makerKey{};
    /// Set when nobody waits for the installation any more (the application quit): it then
    /// ends with a failure before the swap is handed over, having installed nothing.
    const std::atomic<bool>* abandoned = nullptr;

    /// This process: /proc/self/exe, $TMPDIR when absolute (else /tmp), getpid() and the
    /// maker's key compiled in. Throws `std::filesystem::filesystem_error` when /proc/self/exe
    /// cannot be read.
    static Installation current();

    /// "{temporaryDirectory}/orvane-update-{processId}".
    std::filesystem::path workFolder() const;
    /// "{temporaryDirectory}/orvane-update-{processId}.sh".
    std::filesystem::path scriptLocation() const;
};

/// The "Tessel.app" folder whose `Contents/bin/tessel` is `executable`, or nothing when the
/// program is not inside such a folder (a build tree, a distribution package under /usr).
std::optional<std::filesystem::path> runningBundle(const std::filesystem::path& executable);

/// Whether `executable` belongs to the system's package manager: it lies under /usr, outside
/// /usr/local (the distribution's part of the file system). Such a Tessel takes a new version
/// as a new package; it never replaces its own files.
bool ownedByPackageManager(const std::filesystem::path& executable);

/// Installs `update` over the running application and starts the installer script; returns
/// once the script runs. The caller must then quit at once: the script waits for
/// `installation.processId` to end before it swaps. Steps, each failure ending it:
///  1. the destination is `runningBundle(executable)`; none, a read-only volume (statvfs), a
///     path inside an AppImage's read-only mount (a component starting with ".mount_") or a
///     parent folder this process cannot write: `readOnlyLocation`, before any request;
///  2. the work folder is removed (a failure ignored) and made anew, mode 0700;
///  3. `downloadURL` is fetched into "update.zip" through `session`; a final status other
///     than 200: `download`;
///  4. the archive is unpacked into "unpacked" in process: `unpack` for an unreadable archive
///     or an entry that would land outside (absolute, "..", a link that is absolute or has a
///     ".." component, a device or other special file);
///  5. the first top-level item, by byte order of names with hidden items included, whose
///     extension is exactly ".app": none gives `notFound`;
///  6. `verifySignature` and 7. `verifyIdentity` with the offered version;
///  8. `launchSwap` of that item over the destination.
/// Throws `UpdateFailure` or, unmapped, the platform's error (see `UpdateError`).
void install(const UpdateInfo& update, HttpSession& session,
             const Installation& installation = Installation::current());

/// Runs `executable` with `arguments` to completion. Throws `std::system_error` when it cannot
/// be started and `UpdateFailure` with `fail` when it exits with another status than 0 or is
/// killed by a signal.
void run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
         UpdateError fail);

/// Checks that `app` is signed by `key` and unaltered (see BundleSigning.hpp). Throws
/// `UpdateFailure` with `badSignature`, naming the first difference.
void verifySignature(const std::filesystem::path& app,
                     const BundleSigning::PublicKey& key = BundleSigning::makerPublicKey());

/// Checks that `app`'s `Contents/Info.json` is a JSON object whose "identifier" is exactly
/// `applicationIdentifier` and whose "version" is exactly `expectedVersion` (as text: "1.3.0"
/// is not "1.3"). Throws `UpdateFailure` with `wrongApp`, also when the file is unreadable.
void verifyIdentity(const std::filesystem::path& app, std::string_view expectedVersion);

/// The installer script for the process `processId`: eleven lines joined by line feeds, no
/// line feed after the last. It waits for the process to end, moves `$2` aside to "$2.bak",
/// copies `$1` to `$2` with `cp -a` and removes the backup; when any of that fails it clears
/// `$2` and moves the backup back. Last, it starts `$2/Contents/bin/tessel` detached.
std::string installerScript(pid_t processId);

/// Writes `installerScript(installation.processId)` atomically to
/// `installation.scriptLocation()` and starts it with /bin/sh, `newApp` as $1 and `dest` as $2,
/// in a session of its own that outlives this process; does not wait for it. Throws
/// `std::filesystem::filesystem_error` when the script cannot be written and `std::system_error`
/// when /bin/sh cannot be started.
void launchSwap(const std::filesystem::path& newApp, const std::filesystem::path& dest,
                const Installation& installation = Installation::current());

}  // namespace SelfUpdater
}  // namespace tessel
