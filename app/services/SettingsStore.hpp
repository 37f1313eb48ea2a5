#pragma once
/// The user's persistent settings: texts under keys, kept across launches.

#include <QSettings>
#include <QString>
#include <optional>

namespace tessel::app {

class SettingsStore {
public:
    virtual ~SettingsStore() = default;

    /// The text stored under `key`; nothing when the key is unset.
    virtual std::optional<QString> string(const QString& key) const = 0;
    /// Stores `value` under `key`, replacing what was there.
    virtual void setString(const QString& key, const QString& value) = 0;

protected:
    SettingsStore() = default;
    SettingsStore(const SettingsStore&) = default;
    SettingsStore& operator=(const SettingsStore&) = default;
};

/// The settings of the user's Tessel through `QSettings` (organisation "Orvane", application
/// "Tessel"; on Linux `$XDG_CONFIG_HOME/Orvane/Tessel.conf`).
class QtSettingsStore final : public SettingsStore {
public:
    QtSettingsStore();

    std::optional<QString> string(const QString& key) const override;
    void setString(const QString& key, const QString& value) override;

private:
    QSettings settings_;
};

}  // namespace tessel::app
