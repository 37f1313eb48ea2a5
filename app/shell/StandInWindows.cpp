#include "shell/StandInWindows.hpp"

#include <QLabel>
#include <QVBoxLayout>

#include "model/AppModel.hpp"

namespace tessel::app {

std::unique_ptr<QMainWindow> standInMainWindow(AppModel& /*model*/, DesktopServices& /*services*/) {
    auto window = std::make_unique<QMainWindow>();
    window->setMinimumSize(1180, 760);
    window->setCentralWidget(new QWidget);
    return window;
}

std::unique_ptr<QWidget> standInSettingsWindow(AppModel& model, DesktopServices& /*services*/) {
    auto window = std::make_unique<QWidget>();
    auto* layout = new QVBoxLayout(window.get());
    layout->addWidget(new QLabel(QStringLiteral("Orvane Tessel %1").arg(model.version())));
    return window;
}

}  // namespace tessel::app
