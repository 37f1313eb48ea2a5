#pragma once
/// `TesselDelegate`: where files opened from the desktop arrive (the command line of the first
/// launch, and the files every later launch hands over). It drops a second delivery of the same
/// files within a second, keeps what arrives before the main window exists, and hands the rest
/// to the model. All on the main thread.

#include <QObject>
#include <QPointer>
#include <chrono>
#include <filesystem>
#include <set>
#include <vector>

#include "model/AppModel.hpp"

namespace tessel::app {

class TesselDelegate final : public QObject {
    Q_OBJECT
public:
    /// The environment variable naming the test log of accepted files. When it is set, every
    /// fresh acceptance rewrites that file with the paths accepted within the last second.
    static constexpr const char* openEventLogVariable = "ORVANE_UI_TEST_OPEN_EVENT_LOG";
    /// How long an accepted file counts as recently accepted: a delivery of the same file
    /// within this time is dropped.
    static constexpr std::chrono::milliseconds deduplicationWindow{1000};

    explicit TesselDelegate(QObject* parent = nullptr);

    /// The model files are handed to; held weakly, so nothing once it is gone.
    AppModel* model() const { return model_; }
    /// Sets the model (the shell does so once the main window is shown) and hands it what
    /// waits in `pending`; `pending` is emptied before the model is called.
    void setModel(AppModel* model);

    /// Files accepted but not handed to the model yet, in the order they arrived.
    const std::vector<std::filesystem::path>& pending() const { return pending_; }
    /// Files accepted within the last second, standardised (absolute, "." and ".." resolved,
    /// no trailing separator).
    const std::set<std::filesystem::path>& recentlyAccepted() const { return recentlyAccepted_; }

    /// Takes an open request: each file is standardised (a relative one against the working
    /// directory); those already accepted within the last second, or earlier in `files`, are
    /// dropped. The fresh ones go to `pending`, the test log is written, each fresh file is
    /// forgotten again exactly one second later, and `flush` runs. Never fails.
    void accept(const std::vector<std::filesystem::path>& files);

    /// Hands `pending` to the model when there is one; otherwise the files keep waiting.
    void flush();

private:
    void logAcceptedSelection() const;

    QPointer<AppModel> model_;
    std::vector<std::filesystem::path> pending_;
    std::set<std::filesystem::path> recentlyAccepted_;
};

}  // namespace tessel::app
