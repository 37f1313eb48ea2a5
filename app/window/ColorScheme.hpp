#pragma once
/// The desktop's light or dark preference, and the palette that follows it.
///
/// Qt 6.4 keeps the platform's palette whatever the desktop prefers; the preference itself is
/// published by the desktop portal as `org.freedesktop.appearance` `color-scheme` (0 no
/// preference, 1 dark, 2 light). This is the one place that reads it and picks the palette.

#include <QDBusConnection>
#include <QDBusVariant>
#include <QObject>
#include <QPalette>
#include <QVariant>
#include <optional>

namespace tessel::app {

enum class ColorScheme { noPreference, dark, light };

/// The scheme of a portal value (the unsigned integer, possibly wrapped in D-Bus variants);
/// nothing for anything else.
std::optional<ColorScheme> colorSchemeFromPortal(const QVariant& value);

/// Asks the desktop portal on `bus` for the preferred scheme; nothing when no portal answers.
/// Waits at most `timeoutMs` for the answer.
std::optional<ColorScheme> readColorScheme(const QDBusConnection& bus, int timeoutMs = 1000);

/// A dark palette in the Fusion manner, accent taken from `accentFrom`'s highlight.
QPalette darkPalette(const QPalette& accentFrom);

/// The palette to use for `scheme`: the platform's own when it already matches (or when there
/// is no preference), else a dark one or the style's light standard palette.
QPalette paletteFor(std::optional<ColorScheme> scheme, const QPalette& platform,
                    const QPalette& lightStandard);

/// Sets the application palette from the portal's preference now and whenever the portal
/// announces a change. Lives as long as the application; made once by main().
class ColorSchemeFollower final : public QObject {
    Q_OBJECT
public:
    explicit ColorSchemeFollower(QDBusConnection bus = QDBusConnection::sessionBus(),
                                 QObject* parent = nullptr);

private slots:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void apply(std::optional<ColorScheme> scheme);

    QPalette platform_;
};

}  // namespace tessel::app
