// The tessel program: the application object, the real platform services, the one model and
// its main window. Start-up order, open requests, single instance, menus and the quit guard
// belong to the application shell.

#include <QApplication>
#include <stdexcept>

#include "tessel/HttpSession.hpp"
#include "tessel/Updater.hpp"

#include "model/AppModel.hpp"
#include "services/DBusFileViewer.hpp"
#include "services/DialogPrinting.hpp"
#include "services/SettingsStore.hpp"
#include "services/WidgetDialogs.hpp"
#include "window/ColorScheme.hpp"
#include "window/MainWindow.hpp"

namespace {

// Stands in for the self-installer until the shell provides it: an accepted update fails
// with this message instead of installing.
class InstallerNotYetAvailable final : public tessel::app::UpdateInstaller {
public:
    void install(const tessel::UpdateInfo&) override {
        throw std::runtime_error("Updates cannot be installed by this build.");
    }
};

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Orvane"));
    QApplication::setApplicationName(QStringLiteral("Tessel"));
    QApplication::setApplicationDisplayName(QStringLiteral("Tessel"));
    tessel::app::ColorSchemeFollower colorScheme;

    tessel::app::WidgetDialogs dialogs;
    tessel::app::DBusFileViewer fileViewer;
    tessel::app::DialogPrinting printing;
    tessel::app::QtSettingsStore settings;
    tessel::CurlHttpSession session(tessel::Updater::sessionOptions());
    InstallerNotYetAvailable installer;
    tessel::app::AppModel model(tessel::app::AppServices{
        dialogs, fileViewer, printing, settings,
        tessel::app::UpdateSource{session, tessel::Updater::manifestLocation()}, installer});

    tessel::app::MainWindow window(model);
    dialogs.setWindow(&window);
    printing.setWindow(&window);
    window.show();
    return QApplication::exec();
}
