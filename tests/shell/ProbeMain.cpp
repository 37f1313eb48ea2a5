// tessel-probe: the tessel program for the launch tests, with one difference: its main window
// reports the model's image list and error messages on standard output. Command line, hand-over,
// single instance, delegate, model, menus and quit guard are the real start-up (TesselApp::run).
//
//   items<TAB>path<TAB>path…   every time the list changes, in list order
//   error<TAB>text             every error message (then dismissed, as the window's alert does)

#include <QMainWindow>
#include <QWidget>
#include <cstdio>
#include <memory>
#include <string>

#include "shell/TesselApp.hpp"

namespace {

using namespace tessel::app;

void report(const std::string& line) {
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

std::unique_ptr<QMainWindow> probeWindow(AppModel& model, DesktopServices& /*services*/) {
    auto window = std::make_unique<QMainWindow>();
    QObject::connect(&model, &AppModel::itemsChanged, window.get(), [&model] {
        std::string line = "items";
        for (const ImageItem& item : model.items()) line += "\t" + item.url.string();
        report(line);
    });
    QObject::connect(&model, &AppModel::errorMessageChanged, window.get(), [&model] {
        if (!model.errorMessage()) return;
        report("error\t" + model.errorMessage()->toStdString());
        model.setErrorMessage(std::nullopt);
    });
    return window;
}

}  // namespace

int main(int argc, char** argv) {
    return TesselApp::run(
        argc, argv,
        {.mainWindow = probeWindow,
         .settingsWindow = [](AppModel&, DesktopServices&) { return std::make_unique<QWidget>(); },
         .imageList = {}});
}
