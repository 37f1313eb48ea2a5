#include "services/SettingsStore.hpp"

namespace tessel::app {

QtSettingsStore::QtSettingsStore()
    : settings_(QStringLiteral("Orvane"), QStringLiteral("Tessel")) {}

std::optional<QString> QtSettingsStore::string(const QString& key) const {
    const QVariant value = settings_.value(key);
    if (!value.isValid()) return std::nullopt;
    return value.toString();
}

void QtSettingsStore::setString(const QString& key, const QString& value) {
    settings_.setValue(key, value);
    settings_.sync();
}

}  // namespace tessel::app
