#include "update/SelfUpdater.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "update/Posix.hpp"
#include "update/Unpack.hpp"

namespace tessel::SelfUpdater {
namespace {

namespace fs = std::filesystem;

// An Info.json is a few lines; anything much larger is not one.
constexpr std::size_t maxInfoBytes = 1u << 20;

std::string describe(UpdateError error, const std::string& detail) {
    std::string text(rawValue(error));
    if (!detail.empty()) text += ": " + detail;
    return text;
}

bool isOnReadOnlyVolume(const fs::path& path) {
    struct statvfs volume {};
    // A volume whose state cannot be read counts as writable; the copy in the script will tell.
    return ::statvfs(path.c_str(), &volume) == 0 && (volume.f_flag & ST_RDONLY) != 0;
}

// An AppImage runs from a read-only image mounted at "$TMPDIR/.mount_{name}{random}".
bool isInsideAppImageMount(const fs::path& path) {
    return std::any_of(path.begin(), path.end(),
                       [](const fs::path& part) { return part.native().starts_with(".mount_"); });
}

// The bundle that `executable` runs from, when this process may replace it where it is.
fs::path replaceableBundle(const fs::path& executable) {
    const auto bundle = runningBundle(executable);
    if (!bundle) {
        throw UpdateFailure(UpdateError::readOnlyLocation,
                            executable.string() + " is not the program of a Tessel.app bundle");
    }
    if (isInsideAppImageMount(*bundle) || isOnReadOnlyVolume(*bundle)) {
        throw UpdateFailure(UpdateError::readOnlyLocation,
                            bundle->string() + " is on a read-only volume");
    }
    const fs::path parent = bundle->parent_path();
    if (::faccessat(AT_FDCWD, parent.c_str(), W_OK, AT_EACCESS) != 0) {
        throw UpdateFailure(UpdateError::readOnlyLocation, parent.string() + " is not writable");
    }
    return *bundle;
}

// A fresh folder of our own: an old one of the same name goes first, and mkdir (not
// create_directories) fails should anyone else put something there in between.
fs::path makeWorkFolder(const Installation& installation) {
    const fs::path folder = installation.workFolder();
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    fs::create_directories(installation.temporaryDirectory);
    if (::mkdir(folder.c_str(), 0700) != 0) {
        posix::throwFileError("Could not make the work folder", folder);
    }
    return fs::canonical(folder);
}

// The first top-level item, in byte order of names and hidden items included, whose extension
// is exactly ".app".
fs::path firstApplication(const fs::path& folder) {
    std::vector<fs::path> names;
    for (const auto& item : fs::directory_iterator(folder)) names.push_back(item.path().filename());
    std::sort(names.begin(), names.end(),
              [](const fs::path& a, const fs::path& b) { return a.native() < b.native(); });
    const auto app = std::find_if(names.begin(), names.end(),
                                  [](const fs::path& name) { return name.extension() == ".app"; });
    if (app == names.end()) {
        throw UpdateFailure(UpdateError::notFound, "no item named *.app at the top of the archive");
    }
    return folder / *app;
}

std::string readInfoFile(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::string text(maxInfoBytes + 1, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (in.bad() || (!in.eof() && !in)) {
        throw UpdateFailure(UpdateError::wrongApp, file.string() + " cannot be read");
    }
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.size() > maxInfoBytes) {
        throw UpdateFailure(UpdateError::wrongApp, file.string() + " is too large");
    }
    return text;
}

}  // namespace

UpdateFailure::UpdateFailure(UpdateError error, const std::string& detail)
    : std::runtime_error(describe(error, detail)), error_(error) {}

Installation Installation::current() {
    Installation installation;
    installation.executable = fs::read_symlink("/proc/self/exe");
    const char* temporary = std::getenv("TMPDIR");
    installation.temporaryDirectory =
        temporary != nullptr && temporary[0] == '/' ? fs::path(temporary) : fs::path("/tmp");
    installation.processId = ::getpid();
    installation.makerKey = BundleSigning::makerPublicKey();
    return installation;
}

fs::path Installation::workFolder() const {
    return temporaryDirectory / ("orvane-update-" + std::to_string(processId));
}

fs::path Installation::scriptLocation() const {
    return temporaryDirectory / ("orvane-update-" + std::to_string(processId) + ".sh");
}

bool ownedByPackageManager(const fs::path& executable) {
    const fs::path program = executable.lexically_normal();
    const auto under = [&](const fs::path& folder) {
        const auto [end, at] =
            std::mismatch(folder.begin(), folder.end(), program.begin(), program.end());
        return end == folder.end();
    };
    return program.is_absolute() && under("/usr") && !under("/usr/local");
}

std::optional<fs::path> runningBundle(const fs::path& executable) {
    if (!executable.is_absolute()) return std::nullopt;
    const fs::path program = executable.lexically_normal();
    const fs::path bin = program.parent_path();
    const fs::path contents = bin.parent_path();
    const fs::path bundle = contents.parent_path();
    if (program.filename() != "tessel" || bin.filename() != "bin" ||
        contents.filename() != "Contents" || bundle.filename() != "Tessel.app") {
        return std::nullopt;
    }
    // The bundle folder itself must be a real folder: the script moves and replaces it.
    std::error_code error;
    if (!fs::is_directory(fs::symlink_status(bundle, error))) return std::nullopt;
    if (!fs::equivalent(bundle / "Contents/bin/tessel", executable, error) || error) {
        return std::nullopt;
    }
    return bundle;
}

void install(const UpdateInfo& update, HttpSession& session, const Installation& installation) {
    const fs::path destination = replaceableBundle(installation.executable);
    const fs::path work = makeWorkFolder(installation);

    const fs::path archive = work / "update.zip";
    const long status = session.download(update.downloadURL, archive,
                                         std::chrono::milliseconds(downloadStallTimeout));
    if (status != 200) {
        throw UpdateFailure(UpdateError::download,
                            update.downloadURL + " answered with status " + std::to_string(status));
    }

    const fs::path unpacked = work / "unpacked";
    fs::create_directory(unpacked);
    detail::unpackZip(archive, unpacked);

    const fs::path app = firstApplication(unpacked);
    verifySignature(app, installation.makerKey);
    verifyIdentity(app, update.version);
    // The user quit while it downloaded: nothing is swapped and nothing relaunched.
    if (installation.abandoned && installation.abandoned->load())
        throw std::runtime_error("the installation was abandoned: the application quit");
    launchSwap(app, destination, installation);
}

void verifySignature(const fs::path& app, const BundleSigning::PublicKey& key) {
    try {
        BundleSigning::verify(app, key);
    } catch (const BundleSigning::SignatureError& error) {
        throw UpdateFailure(UpdateError::badSignature, error.what());
    } catch (const fs::filesystem_error& error) {
        throw UpdateFailure(UpdateError::badSignature, error.what());
    }
}

void verifyIdentity(const fs::path& app, std::string_view expectedVersion) {
    const fs::path file = app / "Contents/Info.json";
    const auto info =
        nlohmann::json::parse(readInfoFile(file), nullptr, /*allow_exceptions=*/false);
    const auto text = [&](const char* key) -> std::optional<std::string> {
        if (!info.is_object()) return std::nullopt;
        const auto member = info.find(key);
        if (member == info.end() || !member->is_string()) return std::nullopt;
        return member->get<std::string>();
    };
    const auto identifier = text("identifier");
    if (identifier != applicationIdentifier) {
        throw UpdateFailure(UpdateError::wrongApp,
                            file.string() + " does not name " + std::string(applicationIdentifier));
    }
    const auto version = text("version");
    if (version != expectedVersion) {
        throw UpdateFailure(UpdateError::wrongApp, file.string() + " has version \"" +
                                                       version.value_or("") + "\", not \"" +
                                                       std::string(expectedVersion) + "\"");
    }
}

}  // namespace tessel::SelfUpdater
