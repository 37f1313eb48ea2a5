#include "window/ColorScheme.hpp"

#include <QApplication>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QStyle>

#include "window/Look.hpp"

namespace tessel::app {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settingsInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearanceGroup = QStringLiteral("org.freedesktop.appearance");
const QString colorSchemeKey = QStringLiteral("color-scheme");

}  // namespace

std::optional<ColorScheme> colorSchemeFromPortal(const QVariant& value) {
    // Read answers a variant inside a variant; ReadOne and SettingChanged one level less.
    QVariant inner = value;
    while (inner.metaType() == QMetaType::fromType<QDBusVariant>())
        inner = inner.value<QDBusVariant>().variant();
    if (inner.metaType() != QMetaType::fromType<uint>()) return std::nullopt;
    switch (inner.toUInt()) {
        case 0: return ColorScheme::noPreference;
        case 1: return ColorScheme::dark;
        case 2: return ColorScheme::light;
        default: return std::nullopt;
    }
}

std::optional<ColorScheme> readColorScheme(const QDBusConnection& bus, int timeoutMs) {
    if (!bus.isConnected()) return std::nullopt;
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, settingsInterface,
                                                       QStringLiteral("Read"));
    call << appearanceGroup << colorSchemeKey;
    const QDBusMessage reply = bus.call(call, QDBus::Block, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    return colorSchemeFromPortal(reply.arguments().constFirst());
}

QPalette darkPalette(const QPalette& accentFrom) {
    const QColor window(0x2b, 0x2b, 0x2d);
    const QColor base(0x1f, 0x1f, 0x21);
    const QColor text(0xee, 0xee, 0xef);
    const QColor button(0x38, 0x38, 0x3b);
    const QColor disabledText(0x80, 0x80, 0x84);
    QColor highlight = accentFrom.color(QPalette::Highlight);
    if (highlight.lightnessF() < 0.35f) highlight = highlight.lighter(140);

    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor(0x27, 0x27, 0x29));
    palette.setColor(QPalette::ToolTipBase, QColor(0x3a, 0x3a, 0x3d));
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x8a, 0x8a, 0x8e));
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, button);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, QColor(0xff, 0x6b, 0x68));
    palette.setColor(QPalette::Light, button.lighter(130));
    palette.setColor(QPalette::Midlight, button.lighter(115));
    palette.setColor(QPalette::Mid, button.darker(120));
    palette.setColor(QPalette::Dark, button.darker(160));
    palette.setColor(QPalette::Shadow, QColor(0, 0, 0));
    palette.setColor(QPalette::Highlight, highlight);
    palette.setColor(QPalette::HighlightedText, QColor(0xff, 0xff, 0xff));
    palette.setColor(QPalette::Link, highlight.lighter(125));
    palette.setColor(QPalette::LinkVisited, highlight.lighter(110));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, disabledText);
    palette.setColor(QPalette::Disabled, QPalette::Button, window);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, QColor(0x55, 0x55, 0x58));
    palette.setColor(QPalette::Disabled, QPalette::HighlightedText, disabledText);
    return palette;
}

QPalette paletteFor(std::optional<ColorScheme> scheme, const QPalette& platform,
                    const QPalette& lightStandard) {
    const bool platformIsDark = look::isDark(platform);
    if (scheme == ColorScheme::dark && !platformIsDark) return darkPalette(platform);
    if (scheme == ColorScheme::light && platformIsDark) return lightStandard;
    return platform;
}

ColorSchemeFollower::ColorSchemeFollower(QDBusConnection bus, QObject* parent)
    : QObject(parent), platform_(QApplication::palette()) {
    apply(readColorScheme(bus));
    bus.connect(portalService, portalPath, settingsInterface, QStringLiteral("SettingChanged"),
                this, SLOT(settingChanged(QString, QString, QDBusVariant)));
}

void ColorSchemeFollower::settingChanged(const QString& group, const QString& key,
                                         const QDBusVariant& value) {
    if (group == appearanceGroup && key == colorSchemeKey)
        apply(colorSchemeFromPortal(value.variant()));
}

void ColorSchemeFollower::apply(std::optional<ColorScheme> scheme) {
    QApplication::setPalette(
        paletteFor(scheme, platform_, QApplication::style()->standardPalette()));
}

}  // namespace tessel::app
