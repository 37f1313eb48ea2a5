#pragma once
/// Everything of the platform that the model uses, handed to it at construction. The shell
/// keeps every service alive for the life of the model; tests pass their own.

#include <string>
#include <string_view>

#include "tessel/HttpSession.hpp"
#include "tessel/Updater.hpp"

#include "services/Dialogs.hpp"
#include "services/FileViewer.hpp"
#include "services/Printing.hpp"
#include "services/SettingsStore.hpp"
#include "services/UpdateInstaller.hpp"

namespace tessel::app {

/// Where updates are looked for, and the version they are compared with.
struct UpdateSource {
    /// The session every manifest request goes through, used from background threads; the
    /// application's is `CurlHttpSession(Updater::sessionOptions())`.
    HttpSession& session;
    /// The manifest's location; the application's is `Updater::manifestLocation()`.
    std::string manifestURL = Updater::manifestLocation();
    /// The running version, shown as `AppModel::version`; the application's is the release
    /// version compiled in, or "Development".
    std::string version = std::string(Updater::currentVersion());
};

/// The services of one model.
struct AppServices {
    Dialogs& dialogs;
    FileViewer& fileViewer;
    Printing& printing;
    SettingsStore& settings;
    UpdateSource updates;
    UpdateInstaller& installer;
};

}  // namespace tessel::app
