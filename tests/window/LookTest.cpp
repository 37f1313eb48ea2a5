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

}  // namespace

#include "LookTest.moc"
