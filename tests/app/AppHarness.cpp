#include "AppHarness.hpp"

#include <QCoreApplication>
#include <QSettings>
#include <cstdlib>
#include <stdexcept>

#include "PrivateBus.hpp"
#include "services/DialogPrinting.hpp"

namespace tessel::test {

std::vector<std::filesystem::path> RecordingDialogs::chooseFilesAndFolders(
    const app::OpenPanel& panel) {
    openPanels.push_back(panel);
    if (openAnswers.empty()) return {};
    auto answer = std::move(openAnswers.front());
    openAnswers.pop_front();
    return answer;
}

std::optional<std::filesystem::path> RecordingDialogs::chooseSaveLocation(
    const app::SavePanel& panel) {
    savePanels.push_back(panel);
    if (saveAnswers.empty()) return std::nullopt;
    auto answer = std::move(saveAnswers.front());
    saveAnswers.pop_front();
    return answer;
}

std::optional<int> RecordingDialogs::showAlert(const app::Alert& alert) {
    alerts.push_back(alert);
    if (alertAnswers.empty()) return std::nullopt;
    const auto answer = alertAnswers.front();
    alertAnswers.pop_front();
    return answer;
}

void RecordingInstaller::install(const UpdateInfo& update, const std::atomic<bool>&) {
    {
        const std::lock_guard lock(mutex_);
        installed_.push_back(update);
    }
    if (fails_) throw std::runtime_error("the archive's signature does not verify");
}

std::vector<UpdateInfo> RecordingInstaller::installed() const {
    const std::lock_guard lock(mutex_);
    return installed_;
}

void PdfFilePrinting::print(QPdfDocument& document, SheetSize pageSize) {
    ++prints;
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(QString::fromStdString(file_.string()));
    app::preparePrinter(printer, pageSize);
    if (!app::printPages(document, printer)) throw std::runtime_error("cannot print to a file");
}

TestAuthority& Harness::authority() {
    static TestAuthority authority;
    return authority;
}

Harness::Harness(UpdateSetup updates)
    : fileViewer(testBus().connect(QStringLiteral("viewer")),
                 [this](const QUrl& folder) { openedFolders.push_back(folder); }),
      session(CurlHttpSession::Options{authority().caFile.string()}),
      installer(updates.installerFails),
      updates_(std::move(updates)) {
    if (!folder_.isValid()) throw std::runtime_error("no scratch folder");
    // Layouts, settings and the desktop's thumbnail cache of this test only.
    setenv("XDG_DATA_HOME", path("data").c_str(), 1);
    setenv("XDG_CACHE_HOME", path("cache").c_str(), 1);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                       QString::fromStdString(path("config").string()));
    settings = std::make_unique<app::QtSettingsStore>();
    printing = std::make_unique<PdfFilePrinting>(path("printed.pdf"));
}

Harness::~Harness() {
    model_.reset();
    QCoreApplication::processEvents();  // results of the model's last work are dropped
}

app::AppModel& Harness::model() {
    if (!model_)
        model_ = std::make_unique<app::AppModel>(app::AppServices{
            dialogs, fileViewer, *printing, *settings,
            app::UpdateSource{session, updates_.manifestURL, updates_.version}, installer});
    return *model_;
}

app::AppModel& Harness::restart() {
    model_.reset();
    settings = std::make_unique<app::QtSettingsStore>();
    return model();
}

std::filesystem::path Harness::path(const std::string& name) const {
    return std::filesystem::path(folder_.path().toStdString()) / name;
}

std::filesystem::path Harness::layoutsFile() const {
    return path("data") / "Orvane Tessel" / "layouts.json";
}

void Harness::add(const std::vector<std::filesystem::path>& locations) {
    model().add(locations);
    if (!waitUntil([&] { return !model().isLoading(); }))
        throw std::runtime_error("the batch never finished");
}

void Harness::settle() {
    app::AppModel& m = model();
    const bool settled = waitUntil([&] {
        m.waitForBackgroundWork();
        QCoreApplication::processEvents();
        return !m.isLoading() && !m.isRendering() && !m.isExporting() && m.isIdle();
    });
    if (!settled) throw std::runtime_error("the model never settled");
}

}  // namespace tessel::test
