#include "shell/SingleInstance.hpp"

#include <QDataStream>
#include <QLocalSocket>
#include <QStandardPaths>
#include <chrono>

namespace tessel::app {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto streamVersion = QDataStream::Qt_6_4;
// A listening instance accepts at once; waiting longer only delays a launch that is first.
constexpr int connectTimeoutMs = 3000;
constexpr int writeTimeoutMs = 10'000;
// Another launch deciding whether it is first holds the lock for a moment only.
constexpr auto lockTimeout = 10s;

enum class Sent { ok, nobodyListens, failed };

Sent send(const QString& socketPath, const std::vector<fs::path>& files) {
    QLocalSocket socket;
    socket.connectToServer(socketPath, QIODevice::WriteOnly);
    if (!socket.waitForConnected(connectTimeoutMs)) {
        // A full backlog means an instance exists but does not take connections: it is not
        // replaced, the launch fails. Anything else (no socket, a refused one) means none runs.
        return socket.error() == QLocalSocket::SocketTimeoutError ? Sent::failed
                                                                  : Sent::nobodyListens;
    }
    QByteArray request;
    {
        QDataStream out(&request, QIODevice::WriteOnly);
        out.setVersion(streamVersion);
        out << SingleInstance::requestMagic << static_cast<quint32>(files.size());
        for (const fs::path& file : files) out << QByteArray::fromStdString(file.native());
    }
    socket.write(request);
    while (socket.bytesToWrite() > 0)
        if (!socket.waitForBytesWritten(writeTimeoutMs)) return Sent::failed;
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(writeTimeoutMs);
    return Sent::ok;
}

}  // namespace

QString instanceSocketPath() {
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (runtime.isEmpty()) return {};
    return runtime + QStringLiteral("/com.orvane.Tessel.socket");
}

// --- The running instance ---------------------------------------------------------------------

InstanceServer::InstanceServer(QObject* parent) : QObject(parent) {
    connect(&server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* connection = server_.nextPendingConnection()) {
            connect(connection, &QLocalSocket::readyRead, this,
                    [this, connection] { read(connection); });
            connect(connection, &QLocalSocket::disconnected, connection, &QObject::deleteLater);
            read(connection);  // a launch that has already gone left its request behind
        }
    });
}

bool InstanceServer::listen(const QString& socketPath) {
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    if (server_.listen(socketPath)) return true;
    // The caller found nobody answering there: the socket is a crashed instance's.
    QLocalServer::removeServer(socketPath);
    return server_.listen(socketPath);
}

void InstanceServer::read(QLocalSocket* connection) {
    QDataStream in(connection);
    in.setVersion(streamVersion);
    in.startTransaction();
    quint32 magic = 0;
    quint32 count = 0;
    in >> magic >> count;
    if (in.status() == QDataStream::Ok &&
        (magic != SingleInstance::requestMagic || count > SingleInstance::maximumFiles)) {
        connection->abort();
        return;
    }
    std::vector<fs::path> files;
    for (quint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        QByteArray path;
        in >> path;
        files.emplace_back(path.toStdString());
    }
    if (!in.commitTransaction()) {
        // The rest is still on its way, unless the launch has gone without sending it.
        if (connection->state() == QLocalSocket::UnconnectedState) connection->deleteLater();
        return;
    }
    connection->disconnectFromServer();
    if (connection->state() == QLocalSocket::UnconnectedState) connection->deleteLater();
    emit openRequested(files);
}

// --- One launch -------------------------------------------------------------------------------

SingleInstance::SingleInstance(QString socketPath) : socketPath_(std::move(socketPath)) {}

SingleInstance::~SingleInstance() = default;

HandOver SingleInstance::handOver(const std::vector<fs::path>& files) {
    if (socketPath_.isEmpty()) return HandOver::noInstance;
    Sent sent = send(socketPath_, files);
    if (sent == Sent::nobodyListens) {
        lock_ = std::make_unique<QLockFile>(socketPath_ + QStringLiteral(".lock"));
        // A lock whose holder has died is taken over at once. Should a live one never let go,
        // this launch still starts rather than hang.
        if (!lock_->tryLock(lockTimeout)) lock_.reset();
        // Another launch may have become the first while this one waited.
        sent = send(socketPath_, files);
    }
    switch (sent) {
        case Sent::ok: lock_.reset(); return HandOver::delivered;
        case Sent::failed: lock_.reset(); return HandOver::failed;
        case Sent::nobodyListens: break;
    }
    return HandOver::noInstance;
}

std::unique_ptr<InstanceServer> SingleInstance::listen() {
    std::unique_ptr<InstanceServer> server;
    if (!socketPath_.isEmpty()) {
        server = std::make_unique<InstanceServer>();
        if (!server->listen(socketPath_)) server.reset();
    }
    lock_.reset();
    return server;
}

}  // namespace tessel::app
