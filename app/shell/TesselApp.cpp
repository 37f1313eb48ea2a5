#include "shell/TesselApp.hpp"

#include <QApplication>
#include <QCoreApplication>
#include <QIcon>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <variant>

#include "shell/Menus.hpp"
#include "shell/QuitGuard.hpp"

namespace tessel::app {
namespace {

// How long quitting waits for background work to notice it was abandoned.
constexpr int quitWaitMs = 500;

void nameApplication() {
    QCoreApplication::setOrganizationName(QStringLiteral("Orvane"));
    QCoreApplication::setApplicationName(QStringLiteral("Tessel"));
    QCoreApplication::setApplicationVersion(
        QString::fromUtf8(std::string(Updater::currentVersion())));
}

}  // namespace

int TesselApp::run(int argc, char** argv, WindowFactories windows) {
    LaunchRequest launch;
    std::optional<SingleInstance> instance;
    {
        // Reading the command line and handing over need no display: a later launch, --help
        // and --version work without one.
        const QCoreApplication early(argc, argv);
        nameApplication();
        auto read = readCommandLine(argc, argv);
        if (const int* status = std::get_if<int>(&read)) return *status;
        launch = std::get<LaunchRequest>(std::move(read));
        instance.emplace();
        switch (instance->handOver(launch.files)) {
            case HandOver::delivered: return 0;
            case HandOver::failed:
                std::fprintf(stderr, "tessel: Tessel is running but did not take the files (%s)\n",
                             qUtf8Printable(instance->socketPath()));
                return 1;
            case HandOver::noInstance: break;
        }
    }

    const QApplication application(argc, argv);
    nameApplication();
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Tessel"));
    QGuiApplication::setDesktopFileName(QStringLiteral("com.orvane.Tessel"));
    QGuiApplication::setWindowIcon(
        QIcon::fromTheme(QStringLiteral("com.orvane.Tessel"),
                         QIcon(QStringLiteral(":/icons/com.orvane.Tessel.svg"))));
    TesselApp tessel(std::move(windows), launch, *instance);
    const int status = QApplication::exec();
    // Work that is still running after quitting is abandoned, not waited for: its results
    // would be dropped, and a stalled request could hold the process for seconds. What must
    // last (layouts, settings, written sheets) is on disk already.
    if (!tessel.model().waitForBackgroundWork(quitWaitMs)) {
        std::fflush(nullptr);
        std::_Exit(status);
    }
    return status;
}

TesselApp::TesselApp(WindowFactories windows, const LaunchRequest& launch, SingleInstance& instance)
    : windows_(std::move(windows)) {
    // The files of this launch arrive before the window exists and wait in `pending`.
    delegate_.accept(launch.files);
    server_ = instance.listen();
    if (server_)
        QObject::connect(server_.get(), &InstanceServer::openRequested, &delegate_,
                         [this](const std::vector<std::filesystem::path>& files) {
                             delegate_.accept(files);
                             bringToFront();
                         });

    model_ = std::make_unique<AppModel>(services_.services());

    mainWindow_ = windows_.mainWindow(*model_, services_);
    // The window has no title of its own; the title bar shows the application's name.
    if (mainWindow_->windowTitle().isEmpty())
        mainWindow_->setWindowTitle(QGuiApplication::applicationDisplayName());
    services_.setWindow(mainWindow_.get());
    quitGuard_ = std::make_unique<QuitGuard>(model_.get(), services_.dialogs, [this] { quit(); });
    quitGuard_->guardClosing(*mainWindow_);
    QObject::connect(model_.get(), &AppModel::quitRequested, quitGuard_.get(), &QuitGuard::quitNow);
    auto* menus = new Menus(*mainWindow_, *model_,
                            {.showSettings = [this] { showSettings(); },
                             .quit = [this] { quitGuard_->requestQuit(); },
                             .openURL = {}});
    if (windows_.imageList)
        if (QWidget* list = windows_.imageList(*mainWindow_)) menus->bindRemoveKeys(*list);
    mainWindow_->show();

    delegate_.setModel(model_.get());
}

TesselApp::~TesselApp() = default;

void TesselApp::quit() {
    // A launch from now on starts an instance of its own instead of handing its files to one
    // that will not show them.
    server_.reset();
    model_->abandonBackgroundWork();
    if (settingsWindow_) settingsWindow_->hide();
    mainWindow_->hide();
    QCoreApplication::quit();
}

void TesselApp::showSettings() {
    if (!settingsWindow_) settingsWindow_ = windows_.settingsWindow(*model_, services_);
    settingsWindow_->show();
    settingsWindow_->raise();
    settingsWindow_->activateWindow();
}

void TesselApp::bringToFront() {
    if (!mainWindow_) return;
    mainWindow_->setWindowState(mainWindow_->windowState() & ~Qt::WindowMinimized);
    mainWindow_->show();
    mainWindow_->raise();
    mainWindow_->activateWindow();
}

}  // namespace tessel::app
