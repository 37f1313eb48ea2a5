// The light or dark preference from the desktop portal, the palette for it, and the symbols.

#include <QApplication>
#include <QDBusConnection>
#include <QDBusVariant>
#include <QStyle>
#include <QThread>

#include <gtest/gtest.h>

#include "PrivateBus.hpp"
#include "window/ColorScheme.hpp"
#include "window/Look.hpp"
#include "window/Symbols.hpp"

// The desktop portal's settings, answering the colour scheme it was given.
class FakePortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")
public:
    explicit FakePortal(uint scheme) : scheme_(scheme) {}
public slots:
    QDBusVariant Read(const QString& group, const QString& key) {
        if (group != QLatin1String("org.freedesktop.appearance") ||
            key != QLatin1String("color-scheme"))
            return QDBusVariant(QVariant());
        // Read wraps the value in a second variant.
        return QDBusVariant(QVariant::fromValue(QDBusVariant(QVariant::fromValue(scheme_))));
    }

private:
    uint scheme_;
};

namespace {

using namespace tessel;
using namespace tessel::app;

TEST(ColorScheme, PortalValuesMapToSchemes) {
    const struct {
        QVariant value;
        std::optional<ColorScheme> scheme;
    } cases[] = {
        {QVariant::fromValue(0u), ColorScheme::noPreference},
        {QVariant::fromValue(1u), ColorScheme::dark},
        {QVariant::fromValue(2u), ColorScheme::light},
        {QVariant::fromValue(QDBusVariant(QVariant::fromValue(1u))), ColorScheme::dark},
        {QVariant::fromValue(3u), std::nullopt},
        {QVariant(QStringLiteral("dark")), std::nullopt},
        {QVariant(), std::nullopt},
    };
    for (const auto& c : cases) EXPECT_EQ(colorSchemeFromPortal(c.value), c.scheme);
}

TEST(ColorScheme, PaletteFollowsThePreferenceOnlyWhenThePlatformDiffers) {
    const QPalette light = QApplication::style()->standardPalette();
    const QPalette dark = darkPalette(light);
    ASSERT_FALSE(look::isDark(light));
    ASSERT_TRUE(look::isDark(dark));
    EXPECT_TRUE(look::isDark(paletteFor(ColorScheme::dark, light, light)));
    EXPECT_FALSE(look::isDark(paletteFor(ColorScheme::light, dark, light)));
    EXPECT_EQ(paletteFor(ColorScheme::dark, dark, light), dark);
    EXPECT_EQ(paletteFor(ColorScheme::noPreference, dark, light), dark);
    EXPECT_EQ(paletteFor(std::nullopt, light, light), light);
    // The dark palette keeps the platform's accent.
    EXPECT_EQ(dark.color(QPalette::Highlight).hue(), light.color(QPalette::Highlight).hue());
}

TEST(ColorScheme, ReadFromThePortalOnTheBus) {
    QDBusConnection client = test::testBus().connect(QStringLiteral("scheme-client"));
    EXPECT_EQ(readColorScheme(client, 2000), std::nullopt);  // no portal yet

    // The portal answers from a thread of its own, as another process would.
    QThread thread;
    FakePortal portal(1);
    portal.moveToThread(&thread);
    thread.start();
    QDBusConnection service = test::testBus().connect(QStringLiteral("scheme-portal"));
    ASSERT_TRUE(service.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    ASSERT_TRUE(service.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), &portal,
                                       QDBusConnection::ExportAllSlots));
    EXPECT_EQ(readColorScheme(client, 10000), ColorScheme::dark);
    service.unregisterObject(QStringLiteral("/org/freedesktop/portal/desktop"));
    service.unregisterService(QStringLiteral("org.freedesktop.portal.Desktop"));
    thread.quit();
    thread.wait();
}

TEST(Symbols, OurDrawingsArePaintedInTheGivenColour) {
    for (const Symbol symbol :
         {Symbol::dragHandle, Symbol::photoStack, Symbol::grid, Symbol::trash}) {
        const QImage image = symbolPixmap(symbol, {24, 24}, 2.0, QColor(200, 30, 30)).toImage();
        ASSERT_EQ(image.size(), QSize(48, 48));
        int inked = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                if (pixel.alpha() < 250) continue;
                ++inked;
                EXPECT_EQ(pixel.rgb(), QColor(200, 30, 30).rgb());
            }
        EXPECT_GT(inked, 20) << static_cast<int>(symbol);
    }
    // Symbols of our own have no theme name and are drawn; the others come from the theme.
    EXPECT_TRUE(themeName(Symbol::dragHandle).isEmpty());
    EXPECT_EQ(themeName(Symbol::plus).toStdString(), "list-add");
    EXPECT_FALSE(symbolIcon(Symbol::dragHandle).pixmap(16, 16).isNull());
}

}  // namespace

#include "LookTest.moc"
