// Open requests between processes: the real tessel program, and tessel-probe (the same
// start-up with a window that prints the model's list) where a test must see that list. What
// the delegate does with a request (dot components, the one-second window, the log) is
// DelegateTest's; here only what needs a second process.

#include <QElapsedTimer>
#include <QHostAddress>
#include <QStandardPaths>
#include <QTcpServer>
#include <algorithm>
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "Launches.hpp"
#include "TestImages.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel::test;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

// The later launches are queued while the first instance is stopped, so that they reach it
// within the same second whatever the machine's load; a last launch afterwards shows when both
// have been dealt with.
TEST(Launches, ALaterLaunchHandsItsFilesToTheRunningOneAndTheListHoldsThemOnce) {
    Launches launches;
    const auto photo = [&](const char* name) { return (launches.photos() / name).string(); };
    auto first = launches.start(Launches::probe(), {"photos/b.jpg", "photos/a.jpg"});
    ASSERT_TRUE(waitUntil([&] { return first->items().size() == 2; }));
    EXPECT_EQ(launches.logText(), launches.logOf({"photos/a.jpg", "photos/b.jpg"}));

    // The later launches need no display: they hand over before any window system is asked.
    const auto noDisplay = launches.environment(false);
    const auto pid = static_cast<pid_t>(first->process().processId());
    ::kill(pid, SIGSTOP);
    const Finished second =
        launches.run(Launches::tessel(), {"c.jpg"}, launches.photos(), noDisplay);
    const Finished duplicate = launches.run(Launches::tessel(), {"../photos/./c.jpg", "c.jpg"},
                                            launches.photos(), noDisplay);
    ::kill(pid, SIGCONT);
    EXPECT_EQ(second.status, 0) << second.errors;
    EXPECT_EQ(duplicate.status, 0) << duplicate.errors;

    EXPECT_EQ(launches.run(Launches::tessel(), {"photos/d.jpg"}).status, 0);
    ASSERT_TRUE(waitUntil([&] { return first->items().size() >= 4; })) << first->output();
    // The first launch's batch in the model's order, then each later file once; a second
    // delivery of c.jpg would have been reported as adding nothing new.
    const auto items = first->items();
    ASSERT_EQ(items.size(), 4u) << first->output();
    EXPECT_THAT(std::vector(items.begin(), items.begin() + 2),
                UnorderedElementsAre(photo("a.jpg"), photo("b.jpg")));
    EXPECT_EQ(items[2], photo("c.jpg"));
    EXPECT_EQ(items[3], photo("d.jpg"));
    EXPECT_THAT(first->errors(), IsEmpty());
    EXPECT_NE(launches.logText().find(photo("d.jpg")), std::string::npos);
    EXPECT_EQ(first->process().state(), QProcess::Running);
}

// A crashed instance leaves its socket behind; the next launch must start, not hand over to
// nobody.
TEST(Launches, TheSocketOfACrashedInstanceIsReplaced) {
    Launches launches;
    auto crashed = launches.start(Launches::tessel(), {});
    ASSERT_TRUE(waitUntil([&] { return fs::exists(launches.socket()); }));
    crashed->process().kill();
    crashed->process().waitForFinished();
    ASSERT_TRUE(fs::exists(launches.socket()));

    auto next = launches.start(Launches::tessel(), {"photos/a.jpg"});
    ASSERT_TRUE(waitUntil([&] { return launches.logText() == launches.logOf({"photos/a.jpg"}); }));
    EXPECT_EQ(next->process().state(), QProcess::Running);
    EXPECT_EQ(launches.run(Launches::tessel(), {"photos/b.jpg"}).status, 0);
    ASSERT_TRUE(waitUntil([&] { return launches.logText().find("b.jpg") != std::string::npos; }));
}

}  // namespace

namespace {

// A virtual display for a program that must get real key presses, and gives them with xdotool.
class VirtualDisplay {
public:
    VirtualDisplay() {
        server_.start(QStringLiteral("Xvfb"),
                      {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                       QStringLiteral("0"), QStringLiteral("1280x900x24"),
                       QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        if (!server_.waitForStarted() || !waitUntil([&] {
                return server_.canReadLine() || server_.state() != QProcess::Running;
            }))
            return;
        name_ = QStringLiteral(":") + QString::fromLatin1(server_.readLine()).trimmed();
    }
    ~VirtualDisplay() {
        server_.terminate();
        server_.waitForFinished();
    }
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    /// ":N"; empty when Xvfb could not start.
    const QString& name() const { return name_; }

    /// Presses `keys` ("ctrl+q") in the window of process `pid`, once it has one.
    bool press(qint64 pid, const QString& keys) const {
        QString window;
        waitUntil([&] {
            window =
                xdotool({QStringLiteral("search"), QStringLiteral("--pid"), QString::number(pid)})
                    .split(QLatin1Char('\n'), Qt::SkipEmptyParts)
                    .value(0);
            return !window.isEmpty();
        });
        if (window.isEmpty()) return false;
        xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"), window});
        xdotool({QStringLiteral("key"), QStringLiteral("--window"), window, keys});
        return true;
    }

private:
    QString xdotool(const QStringList& arguments) const {
        QProcess tool;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DISPLAY"), name_);
        tool.setProcessEnvironment(environment);
        tool.start(QStringLiteral("xdotool"), arguments);
        tool.waitForFinished();
        return QString::fromLocal8Bit(tool.readAllStandardOutput());
    }

    QProcess server_;
    QString name_;
};

}  // namespace

// Ctrl+Q while a batch is read, a page is drawn and the update check waits on a server that
// never answers: the process ends within a second, and a launch right after it does not hand
// its photo to the instance that is going: it starts one of its own and shows the photo.
TEST(Launches, QuittingEndsPromptlyAndALaunchMeanwhileStartsAfresh) {
    Launches launches;
    const VirtualDisplay display;
    if (display.name().isEmpty() || QStandardPaths::findExecutable("xdotool").isEmpty())
        GTEST_SKIP() << "needs Xvfb and xdotool";
    // A proxy that takes the connection and never says a word.
    QTcpServer silent;
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost));
    QProcessEnvironment environment = launches.environment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.insert(QStringLiteral("DISPLAY"), display.name());
    environment.insert(QStringLiteral("https_proxy"),
                       QStringLiteral("http://127.0.0.1:%1").arg(silent.serverPort()));
    const fs::path shoot = launches.root() / "shoot";
    fs::create_directories(shoot);
    for (int i = 0; i < 400; ++i)
        writeImage(shoot / ("p" + std::to_string(1000 + i) + ".jpg"), 400, 300, i % 256, 90, 40);

    auto first = launches.start(Launches::probe(), {"shoot"}, launches.root(), environment);
    ASSERT_TRUE(waitUntil([&] { return !first->items().empty(); })) << first->output();
    QElapsedTimer sinceQuit;
    ASSERT_TRUE(display.press(first->process().processId(), QStringLiteral("ctrl+q")));
    sinceQuit.start();
    QTest::qWait(300);
    auto second = launches.start(Launches::probe(), {"photos/a.jpg"}, launches.root(), environment);

    ASSERT_TRUE(first->process().waitForFinished(5000));
    EXPECT_LT(sinceQuit.elapsed(), 1000) << "ms from Ctrl+Q to the end of the process";
    EXPECT_EQ(first->process().exitCode(), 0);
    ASSERT_TRUE(waitUntil([&] { return !second->items().empty(); })) << second->output();
    EXPECT_THAT(second->items(), ::testing::ElementsAre((launches.photos() / "a.jpg").string()));
    EXPECT_EQ(second->process().state(), QProcess::Running);
}
