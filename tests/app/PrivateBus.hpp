#pragma once
// A private D-Bus session bus for the tests, and a file manager on it that records every
// ShowItems call instead of showing anything.

#include <QDBusConnection>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <utility>
#include <vector>

namespace tessel::test {

/// A `dbus-daemon` of session type with a configuration of its own, so that no service of
/// the machine can be started on it.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// A new connection to the bus under `name` (unique within the process).
    QDBusConnection connect(const QString& name) const;

private:
    QTemporaryDir folder_;
    QProcess daemon_;
    QString address_;
    mutable QStringList connections_;
};

/// The bus shared by every test of the run; started on first use.
PrivateBus& testBus();
/// Stops the shared bus; main() calls it before the application object goes.
void stopTestBus();

/// Answers `org.freedesktop.FileManager1.ShowItems` and keeps what it was given.
class RecordingFileManager : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")
public:
    struct Call {
        QStringList uris;
        QString startupId;
    };
    std::vector<Call> calls;

public Q_SLOTS:
    void ShowItems(const QStringList& uris, const QString& startupId) {
        calls.push_back({uris, startupId});
    }
};

/// Owns the name org.freedesktop.FileManager1 on the test bus while it lives.
class FileManagerOnBus {
public:
    FileManagerOnBus();
    ~FileManagerOnBus();
    FileManagerOnBus(const FileManagerOnBus&) = delete;
    FileManagerOnBus& operator=(const FileManagerOnBus&) = delete;

    const std::vector<RecordingFileManager::Call>& calls() const { return recorder_.calls; }

private:
    RecordingFileManager recorder_;
    QDBusConnection connection_;
};

}  // namespace tessel::test
