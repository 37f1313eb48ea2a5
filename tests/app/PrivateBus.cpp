#include "PrivateBus.hpp"

#include <QFile>
#include <memory>
#include <stdexcept>

namespace tessel::test {
namespace {

std::unique_ptr<PrivateBus>& sharedBus() {
    static std::unique_ptr<PrivateBus> bus;
    return bus;
}

const char* const configuration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=%1</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

int connectionCount = 0;

}  // namespace

PrivateBus::PrivateBus() {
    if (!folder_.isValid()) throw std::runtime_error("no folder for the test bus");
    const QString config = folder_.filePath(QStringLiteral("bus.conf"));
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(QString::fromLatin1(configuration).arg(folder_.path()).toUtf8()) < 0)
        throw std::runtime_error("cannot write the test bus configuration");
    file.close();
    daemon_.start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                   QStringLiteral("--print-address=1")});
    if (!daemon_.waitForStarted(10'000)) throw std::runtime_error("dbus-daemon did not start");
    while (!daemon_.canReadLine())
        if (!daemon_.waitForReadyRead(10'000))
            throw std::runtime_error("dbus-daemon printed no address");
    address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
}

PrivateBus::~PrivateBus() {
    for (const QString& name : connections_) QDBusConnection::disconnectFromBus(name);
    daemon_.terminate();
    daemon_.waitForFinished(5'000);
}

QDBusConnection PrivateBus::connect(const QString& name) const {
    const QString unique = name + QString::number(++connectionCount);
    connections_ << unique;
    QDBusConnection connection = QDBusConnection::connectToBus(address_, unique);
    if (!connection.isConnected()) throw std::runtime_error("cannot connect to the test bus");
    return connection;
}

PrivateBus& testBus() {
    if (!sharedBus()) sharedBus() = std::make_unique<PrivateBus>();
    return *sharedBus();
}

void stopTestBus() { sharedBus().reset(); }

FileManagerOnBus::FileManagerOnBus()
    : connection_(testBus().connect(QStringLiteral("file-manager"))) {
    if (!connection_.registerObject(QStringLiteral("/org/freedesktop/FileManager1"), &recorder_,
                                    QDBusConnection::ExportAllSlots) ||
        !connection_.registerService(QStringLiteral("org.freedesktop.FileManager1")))
        throw std::runtime_error("cannot register the recording file manager");
}

FileManagerOnBus::~FileManagerOnBus() {
    connection_.unregisterService(QStringLiteral("org.freedesktop.FileManager1"));
    connection_.unregisterObject(QStringLiteral("/org/freedesktop/FileManager1"));
}

}  // namespace tessel::test
