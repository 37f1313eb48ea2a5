// window_screenshots: shows the main window over sample images in the states the README,
// docs/screenshots/ and the AppStream file show (empty, a three-page preview in light and dark,
// a proof grid, custom paper, a validation message, files hovering, an error, the save dialog,
// the settings window), and saves each as a PNG. Run by scripts/screenshots.sh under Xvfb.
//
//   window_screenshots OUTPUT_FOLDER IMAGES_FOLDER
//
// The model gets the real services with a scratch folder for its settings and layouts, and an
// update check pointed at a port where nobody listens.

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPainter>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>

#include "tessel/HttpSession.hpp"

#include "model/AppModel.hpp"
#include "services/DBusFileViewer.hpp"
#include "services/DialogPrinting.hpp"
#include "services/SettingsStore.hpp"
#include "services/WidgetDialogs.hpp"
#include "window/ColorScheme.hpp"
#include "window/MainWindow.hpp"
#include "window/OptionsPane.hpp"
#include "window/SaveLayoutDialog.hpp"
#include "window/SettingsWindow.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::app;

class NoInstaller final : public UpdateInstaller {
public:
    void install(const UpdateInfo&, const std::atomic<bool>&) override {
        throw std::runtime_error("not in screenshots");
    }
};

void waitUntil(const std::function<bool()>& done) {
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > 120'000) throw std::runtime_error("the window never settled");
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        QThread::msleep(10);
    }
    // Let the last results paint.
    for (int i = 0; i < 10; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

// Every row's thumbnail and the page on screen drawn.
void settle(AppModel& model) {
    waitUntil([&] { return !model.isLoading() && !model.isRendering() && model.isIdle(); });
}

// The window with every dialog open over it, as the user sees them.
void save(QWidget& window, const QString& file) {
    QPixmap picture = window.grab();
    {
        QPainter painter(&picture);
        for (QWidget* top : QApplication::topLevelWidgets()) {
            if (top == &window || !top->isVisible() || top->isHidden()) continue;
            const QPoint at = top->frameGeometry().topLeft() - window.geometry().topLeft();
            painter.drawPixmap(at, top->grab());
        }
    }
    if (!picture.save(file)) throw std::runtime_error("cannot write " + file.toStdString());
    std::printf("%s\n", qPrintable(file));
}

std::vector<fs::path> sampleImages(const fs::path& folder, std::size_t count) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::ranges::sort(files);
    if (files.size() > count) files.resize(count);
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: window_screenshots OUTPUT_FOLDER IMAGES_FOLDER\n");
        return 2;
    }
    const QString output = QString::fromLocal8Bit(argv[1]);
    const fs::path images = argv[2];
    QDir().mkpath(output);

    QTemporaryDir scratch;
    setenv("XDG_DATA_HOME", qPrintable(scratch.filePath(QStringLiteral("data"))), 1);
    setenv("XDG_CACHE_HOME", qPrintable(scratch.filePath(QStringLiteral("cache"))), 1);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                       scratch.filePath(QStringLiteral("config")));
    const QPalette light = QApplication::palette();

    WidgetDialogs dialogs;
    DBusFileViewer fileViewer;
    DialogPrinting printing;
    QtSettingsStore settings;
    CurlHttpSession session;
    NoInstaller installer;
    AppModel model(AppServices{
        dialogs, fileViewer, printing, settings,
        UpdateSource{session, "https://127.0.0.1:9/tessel/latest.json", "1.0"}, installer});
    MainWindow window(model);
    window.resize(1400, 900);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window)) return 1;
    settle(model);
    save(window, output + QStringLiteral("/empty.png"));

    // Thirty images on a 3 × 4 grid: three pages.
    model.add(sampleImages(images, 30));
    settle(model);
    waitUntil([&] { return model.previewResult().has_value(); });
    save(window, output + QStringLiteral("/preview.png"));

    model.nextPage();
    settle(model);
    QApplication::setPalette(darkPalette(light));
    waitUntil([] { return true; });
    save(window, output + QStringLiteral("/dark.png"));
    QApplication::setPalette(light);
    model.previousPage();

    // Twenty to a landscape page, each with its file name.
    model.applyPreset(SheetPreset::proof);
    settle(model);
    save(window, output + QStringLiteral("/proof.png"));
    model.applyPreset(SheetPreset::contact);
    settle(model);

    // Custom paper, wider than tall, without captions.
    model.editRecipe([](SheetRecipe& recipe) {
        recipe.paper = SheetPaper::custom;
        recipe.customWidth = 3000;
        recipe.customHeight = 2000;
        recipe.caption = SheetCaption::none;
        recipe.columns = 4;
        recipe.rows = 3;
    });
    settle(model);
    save(window, output + QStringLiteral("/custom-paper.png"));

    // A negative margin, typed and submitted as a user would.
    QLineEdit* margin = window.optionsPane()->margin();
    margin->setFocus();
    margin->selectAll();
    QTest::keyClicks(margin, QStringLiteral("-5"));
    QTest::keyClick(margin, Qt::Key_Return);
    settle(model);
    save(window, output + QStringLiteral("/validation.png"));

    model.applyPreset(SheetPreset::contact);
    settle(model);
    model.setIsDropTargeted(true);  // as while files are dragged over the window
    waitUntil([] { return true; });
    save(window, output + QStringLiteral("/drop-target.png"));
    model.setIsDropTargeted(false);

    model.setErrorMessage(QStringLiteral("A file already exists at the destination."));
    waitUntil([] { return true; });
    save(window, output + QStringLiteral("/error.png"));
    model.setErrorMessage(std::nullopt);

    window.saveLayoutDialog()->present();
    QTest::keyClicks(window.saveLayoutDialog()->nameField(), QStringLiteral("Wedding proofs"));
    waitUntil([] { return true; });
    save(window, output + QStringLiteral("/save-dialog.png"));
    window.saveLayoutDialog()->reject();

    SettingsWindow about(model);
    about.show();
    if (!QTest::qWaitForWindowExposed(&about)) return 1;
    waitUntil([] { return true; });
    about.grab().save(output + QStringLiteral("/settings.png"));
    std::printf("%s\n", qPrintable(output + QStringLiteral("/settings.png")));
    return 0;
}
