#pragma once
// A model with everything around it for one test: its own data and settings folders, the
// recording dialogs, a real file viewer on the private bus, printing into a PDF file, a real
// HTTPS session, and an installer that records what it was asked to install.

#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "model/AppModel.hpp"
#include "services/DBusFileViewer.hpp"
#include "update/TestHttpsServer.hpp"

namespace tessel::test {

/// Answers panels and alerts from queues and records every request. An empty queue cancels
/// a panel and dismisses an alert.
class RecordingDialogs final : public app::Dialogs {
public:
    std::deque<std::vector<std::filesystem::path>> openAnswers;
    std::deque<std::optional<std::filesystem::path>> saveAnswers;
    std::deque<std::optional<int>> alertAnswers;

    std::vector<app::OpenPanel> openPanels;
    std::vector<app::SavePanel> savePanels;
    std::vector<app::Alert> alerts;

    std::vector<std::filesystem::path> chooseFilesAndFolders(const app::OpenPanel& panel) override;
    std::optional<std::filesystem::path> chooseSaveLocation(const app::SavePanel& panel) override;
    std::optional<int> showAlert(const app::Alert& alert) override;
};

/// Succeeds or throws as told, keeping every update it was given. Called off the main thread.
class RecordingInstaller final : public app::UpdateInstaller {
public:
    explicit RecordingInstaller(bool fails = false) : fails_(fails) {}
    void install(const UpdateInfo& update, const std::atomic<bool>& abandoned) override;
    std::vector<UpdateInfo> installed() const;
    bool ownedByPackageManager() const override { return packaged; }

    /// Answers as a Tessel installed by the package manager.
    bool packaged = false;

private:
    bool fails_;
    mutable std::mutex mutex_;
    std::vector<UpdateInfo> installed_;
};

/// Prints into a PDF file through QPrinter, as the print dialog would after "Print".
class PdfFilePrinting final : public app::Printing {
public:
    explicit PdfFilePrinting(std::filesystem::path file) : file_(std::move(file)) {}
    void print(QPdfDocument& document, SheetSize pageSize) override;

    const std::filesystem::path& file() const { return file_; }
    int prints = 0;

private:
    std::filesystem::path file_;
};

/// How a harness's model looks for updates.
struct UpdateSetup {
    std::string manifestURL = "https://127.0.0.1:9/tessel/latest.json";  // nobody listens
    std::string version = "1.2";
    bool installerFails = false;
};

class Harness {
public:
    explicit Harness(UpdateSetup updates = {});
    ~Harness();

    /// The model, made on first use (so a test can prepare files and settings first).
    app::AppModel& model();
    /// Drops the model and makes a new one over the same folders: a restart.
    app::AppModel& restart();

    /// A path inside this test's own folder.
    std::filesystem::path path(const std::string& name) const;
    /// The layouts file of this test.
    std::filesystem::path layoutsFile() const;

    /// Adds `locations` and waits until the batch is merged.
    void add(const std::vector<std::filesystem::path>& locations);
    /// Waits until nothing loads, renders or exports, no page or thumbnail is being made and no
    /// background result is pending.
    void settle();

    static TestAuthority& authority();

    RecordingDialogs dialogs;
    app::DBusFileViewer fileViewer;
    std::vector<QUrl> openedFolders;  // the file viewer's fallback
    std::unique_ptr<PdfFilePrinting> printing;
    std::unique_ptr<app::QtSettingsStore> settings;
    CurlHttpSession session;
    RecordingInstaller installer;

private:
    QTemporaryDir folder_;
    UpdateSetup updates_;
    std::unique_ptr<app::AppModel> model_;
};

/// Spins the event loop until `done` holds; false after a minute. The limit only ends a test
/// that hangs; no test depends on how long anything takes.
template <class Predicate>
bool waitUntil(Predicate done) {
    return QTest::qWaitFor(done, 60'000);
}

}  // namespace tessel::test
