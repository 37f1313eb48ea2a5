#pragma once
/// The file viewer over D-Bus: `org.freedesktop.FileManager1.ShowItems`, which every common
/// Linux file manager answers; when the call fails, the first file's folder is opened instead.

#include <QDBusConnection>
#include <QObject>
#include <QUrl>
#include <functional>

#include "services/FileViewer.hpp"

namespace tessel::app {

class DBusFileViewer final : public QObject, public FileViewer {
    Q_OBJECT
public:
    /// Opens a folder some other way when the file manager cannot be asked.
    using OpenFolder = std::function<void(const QUrl& folder)>;

    /// Calls the file manager on `bus`; a failed call hands the folder to `openFolder`, which
    /// is `QDesktopServices::openUrl` when none is given.
    explicit DBusFileViewer(QDBusConnection bus = QDBusConnection::sessionBus(),
                            OpenFolder openFolder = {}, QObject* parent = nullptr);

    void showItems(const std::vector<std::filesystem::path>& files) override;

private:
    QDBusConnection bus_;
    OpenFolder openFolder_;
};

}  // namespace tessel::app
