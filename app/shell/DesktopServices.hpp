#pragma once
/// The application's own platform services, made once at start-up and kept for the life of
/// the process: alerts and panels as widgets, the file viewer on the session bus, printing
/// through the print dialog, settings in QSettings, and updates checked and installed over
/// the update session. Windows reach them here.

#include "tessel/HttpSession.hpp"
#include "tessel/Updater.hpp"

#include "services/AppServices.hpp"
#include "services/DBusFileViewer.hpp"
#include "services/DialogPrinting.hpp"
#include "services/SelfUpdateInstaller.hpp"
#include "services/SettingsStore.hpp"
#include "services/WidgetDialogs.hpp"

namespace tessel::app {

struct DesktopServices {
    WidgetDialogs dialogs;
    DBusFileViewer fileViewer;
    DialogPrinting printing;
    QtSettingsStore settings;
    CurlHttpSession session{Updater::sessionOptions()};
    SelfUpdateInstaller installer{session};

    /// The services as the model takes them: the compiled-in manifest location and version.
    AppServices services() {
        return {dialogs, fileViewer, printing, settings, UpdateSource{session}, installer};
    }

    /// Makes alerts, panels and the print dialog modal to `window` (the main window).
    void setWindow(QWidget* window) {
        dialogs.setWindow(window);
        printing.setWindow(window);
    }
};

}  // namespace tessel::app
