#include "shell/TesselDelegate.hpp"

#include <QFile>
#include <QSaveFile>
#include <QTimer>
#include <algorithm>
#include <cstdlib>
#include <string>
#include <system_error>

#include "model/AppModel.hpp"

namespace tessel::app {
namespace {

namespace fs = std::filesystem;

// The same file however it was named: absolute, with "." and ".." resolved lexically (links
// are not followed, as a file manager names a file by the path it shows) and without a
// trailing separator.
fs::path standardized(const fs::path& file) {
    std::error_code failed;
    fs::path absolute = fs::absolute(file, failed);
    if (failed) absolute = file;
    fs::path normal = absolute.lexically_normal();
    if (!normal.has_filename() && normal.has_relative_path()) normal = normal.parent_path();
    return normal;
}

}  // namespace

TesselDelegate::TesselDelegate(QObject* parent) : QObject(parent) {}

void TesselDelegate::setModel(AppModel* model) {
    model_ = model;
    flush();
}

void TesselDelegate::flush() {
    if (model_.isNull() || pending_.empty()) return;
    // Emptied before the model is called: whatever it does, these files are handed over once.
    const std::vector<fs::path> files = std::exchange(pending_, {});
    model_->add(files);
}

void TesselDelegate::accept(const std::vector<fs::path>& files) {
    std::vector<fs::path> fresh;
    for (const fs::path& file : files) {
        if (file.empty()) continue;
        fs::path standard = standardized(file);
        if (recentlyAccepted_.insert(standard).second) fresh.push_back(std::move(standard));
    }
    if (fresh.empty()) return;

    pending_.insert(pending_.end(), fresh.begin(), fresh.end());
    logAcceptedSelection();
    // Exactly this call's files are forgotten; files of later calls stay for their own second.
    QTimer::singleShot(deduplicationWindow, Qt::PreciseTimer, this, [this, fresh] {
        for (const fs::path& file : fresh) recentlyAccepted_.erase(file);
    });
    flush();
}

void TesselDelegate::logAcceptedSelection() const {
    const char* target = std::getenv(openEventLogVariable);
    if (target == nullptr) return;

    // Code-point order of the whole path is the byte order of its UTF-8 form, which is not
    // the component-wise order of std::filesystem::path ("/a-b" before "/a/b").
    std::vector<std::string> paths;
    paths.reserve(recentlyAccepted_.size());
    for (const fs::path& file : recentlyAccepted_) paths.push_back(file.native());
    std::ranges::sort(paths);
    std::string text;
    for (const std::string& path : paths) text += path + '\n';

    // Written to a temporary file beside the log and renamed over it; a failure changes nothing.
    QSaveFile log(QFile::decodeName(target));
    if (!log.open(QIODevice::WriteOnly)) return;
    log.write(text.data(), static_cast<qint64>(text.size()));
    log.commit();
}

}  // namespace tessel::app
