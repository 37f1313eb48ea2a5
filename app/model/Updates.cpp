// The update flow: the automatic check at start, the manual check, the prompt and the hand-over
// to the installer. A check never reports a failure; it finds no update.

#include "model/AppModel.hpp"
#include "model/Background.hpp"

namespace tessel::app {
namespace {

const QString promptedVersionKey = QStringLiteral("orvane.tessel.updatePromptedVersion");
const QString alertTitle = QStringLiteral("Tessel");

}  // namespace

void AppModel::checkForUpdate() { startUpdateCheck(false); }

void AppModel::checkForUpdatesManually() {
    if (isUpdating_ || isCheckingForUpdate_) return;
    setIsCheckingForUpdate(true);
    startUpdateCheck(true);
}

void AppModel::startUpdateCheck(bool manual) {
    const UpdateSource& source = services_.updates;
    runInBackground(
        [&session = source.session, manifest = source.manifestURL, version = source.version] {
            return Updater::check(manifest, version, session);
        },
        [manual](AppModel& model, std::optional<UpdateInfo> update) {
            model.applyUpdateCheck(manual, std::move(update));
        });
}

void AppModel::applyUpdateCheck(bool manual, std::optional<UpdateInfo> update) {
    if (manual) setIsCheckingForUpdate(false);
    setAvailableUpdate(update);
    if (!manual) {
        // "Later" for exactly this version keeps the automatic check quiet about it.
        if (update && services_.settings.string(promptedVersionKey) !=
                          QString::fromStdString(update->version))
            promptForUpdate();
        return;
    }
    if (update) {
        promptForUpdate();
        return;
    }
    services_.dialogs.showAlert({alertTitle,
                                 QStringLiteral("You're up to date"),
                                 QStringLiteral("Tessel %1 is the latest version.").arg(version_),
                                 {QStringLiteral("OK")}});
}

void AppModel::promptForUpdate() {
    if (!availableUpdate_ || isUpdating_) return;
    const UpdateInfo update = *availableUpdate_;
    const QString offered = QString::fromStdString(update.version);
    if (services_.installer.ownedByPackageManager()) {
        // The package manager keeps track of these files: replacing them would leave it
        // believing in a version that is no longer there.
        services_.dialogs.showAlert(
            {alertTitle,
             QStringLiteral("A new version of Tessel is available"),
             QStringLiteral("Version %1 is available. Tessel was installed as a package: install "
                            "the new version the same way, from the Tessel website.")
                 .arg(offered),
             {QStringLiteral("OK")}});
        services_.settings.setString(promptedVersionKey, offered);
        return;
    }
    const std::optional<int> answer = services_.dialogs.showAlert(
        {alertTitle,
         QStringLiteral("A new version of Tessel is available"),
         QStringLiteral("Version %1 is ready. The app will update itself and relaunch.")
             .arg(offered),
         {QStringLiteral("Update Now"), QStringLiteral("Later")}});
    if (answer != 0) {
        services_.settings.setString(promptedVersionKey, offered);
        return;
    }
    setIsUpdating(true);
    runInBackground(
        [&installer = services_.installer, update, abandoned = abandoned_] {
            try {
                installer.install(update, *abandoned);
                return true;
            } catch (...) {
                return false;  // the reason is not shown; the update is offered again next start
            }
        },
        [](AppModel& model, bool installed) {
            if (installed) {
                emit model.quitRequested();
                return;
            }
            model.setIsUpdating(false);
            model.setErrorMessage(QStringLiteral("The update could not be installed."));
        });
}

}  // namespace tessel::app
