#include "services/DBusFileViewer.hpp"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFile>
#include <QStringList>

namespace tessel::app {
namespace {

// Starting a file manager on demand can take a few seconds; a missing one answers at once.
constexpr int callTimeoutMilliseconds = 10'000;

QUrl fileURL(const std::filesystem::path& path) {
    return QUrl::fromLocalFile(QFile::decodeName(path.c_str()));
}

}  // namespace

DBusFileViewer::DBusFileViewer(QDBusConnection bus, OpenFolder openFolder, QObject* parent)
    : QObject(parent), bus_(std::move(bus)), openFolder_(std::move(openFolder)) {
    if (!openFolder_) openFolder_ = [](const QUrl& folder) { QDesktopServices::openUrl(folder); };
}

void DBusFileViewer::showItems(const std::vector<std::filesystem::path>& files) {
    if (files.empty()) return;
    QStringList uris;
    for (const std::filesystem::path& file : files)
        uris << fileURL(file).toString(QUrl::FullyEncoded);
    const QUrl folder = fileURL(files.front().parent_path());

    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << uris << QString();  // no start-up notification id
    auto* watcher =
        new QDBusPendingCallWatcher(bus_.asyncCall(call, callTimeoutMilliseconds), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, folder](QDBusPendingCallWatcher* finished) {
                if (finished->isError()) openFolder_(folder);
                finished->deleteLater();
            });
}

}  // namespace tessel::app
