#pragma once
/// One Tessel per user. The first launch listens on a local socket in the user's runtime
/// folder; a later launch sends its files there and ends, so that they land in the window
/// already open. A socket left behind by a crashed instance answers nobody and is replaced.
///
/// A request is a `QDataStream` (Qt 6.4 format): the magic number `requestMagic`, the number of
/// files (at most `maximumFiles`) and each file's absolute path as bytes. No files means "show
/// the window".

#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QObject>
#include <QString>
#include <filesystem>
#include <memory>
#include <vector>

namespace tessel::app {

/// "{runtime folder}/com.orvane.Tessel.socket": $XDG_RUNTIME_DIR, or the private folder Qt
/// makes under /tmp when that is not set. Empty when there is no usable runtime folder.
QString instanceSocketPath();

/// How handing files to a running instance ended.
enum class HandOver {
    delivered,   ///< the whole request is in the running instance's socket
    noInstance,  ///< nobody listens (no socket, or a stale one): this launch is the first
    failed,      ///< an instance listens but the request could not be written
};

/// Listens for the requests of later launches. Made by `SingleInstance::listen`.
class InstanceServer final : public QObject {
    Q_OBJECT
public:
    explicit InstanceServer(QObject* parent = nullptr);

    /// Listens on `socketPath`, replacing a socket nobody answers on. False when it cannot.
    bool listen(const QString& socketPath);

signals:
    /// A later launch handed over `files` (absolute paths; none when it was started without).
    void openRequested(const std::vector<std::filesystem::path>& files);

private:
    void read(QLocalSocket* connection);

    QLocalServer server_;
};

/// The single-instance check of one launch: `handOver` first (no application object needed,
/// so a later launch needs no display), then `listen` once the application object exists.
class SingleInstance {
public:
    static constexpr quint32 requestMagic = 0x54534c31;  // "TSL1"
    static constexpr quint32 maximumFiles = 100'000;

    explicit SingleInstance(QString socketPath = instanceSocketPath());
    ~SingleInstance();

    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    /// Sends `files` to the running instance. On `noInstance` this process is to be the first:
    /// a lock beside the socket is held until `listen`, so that of two launches at the same
    /// moment only one becomes the first and the other hands over to it. Needs a
    /// QCoreApplication.
    HandOver handOver(const std::vector<std::filesystem::path>& files);

    /// Starts listening and releases the lock. Nothing when there is no runtime folder or the
    /// socket cannot be made: the application then runs on its own.
    std::unique_ptr<InstanceServer> listen();

    const QString& socketPath() const { return socketPath_; }

private:
    QString socketPath_;
    std::unique_ptr<QLockFile> lock_;
};

}  // namespace tessel::app
