// The desktop application `tessel`: the shell with the main window and the settings window.

#include <QDBusConnection>

#include "shell/TesselApp.hpp"
#include "window/ColorScheme.hpp"
#include "window/FilesPane.hpp"
#include "window/ImageListView.hpp"
#include "window/MainWindow.hpp"
#include "window/SettingsWindow.hpp"

int main(int argc, char** argv) {
    using namespace tessel::app;
    return TesselApp::run(
        argc, argv,
        {.mainWindow =
             [](AppModel& model, DesktopServices&) {
                 auto window = std::make_unique<MainWindow>(model);
                 // The palette follows the desktop's light or dark preference for as long as
                 // the main window, that is the application, lives.
                 new ColorSchemeFollower(QDBusConnection::sessionBus(), window.get());
                 return std::unique_ptr<QMainWindow>(std::move(window));
             },
         .settingsWindow =
             [](AppModel& model, DesktopServices&) {
                 return std::unique_ptr<QWidget>(std::make_unique<SettingsWindow>(model));
             },
         .imageList = [](QMainWindow& window) -> QWidget* {
             return static_cast<MainWindow&>(window).filesPane()->list();
         }});
}
