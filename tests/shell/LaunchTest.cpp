// Open requests between processes: the real tessel program, and tessel-probe (the same
// start-up with a window that prints the model's list) where a test must see that list.

#include <QTest>
#include <algorithm>
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "Launches.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        result.push_back(text.substr(start, end - start));
    return result;
}

// The issue's own scenario. The two later launches are queued while the first instance is
// stopped, so that they reach it within the same second whatever the machine's load; a last
// launch afterwards shows when both have been dealt with.
TEST(Launches, ALaterLaunchHandsItsFilesToTheRunningOneAndTheListHoldsThemOnce) {
    Launches launches;
    const fs::path& root = launches.root();
    auto first = launches.start(Launches::probe(), {"photos/b.jpg", "photos/a.jpg"});
    ASSERT_TRUE(waitUntil([&] {
        return launches.logText() == launches.logOf({"photos/a.jpg", "photos/b.jpg"});
    })) << launches.logText();
    ASSERT_TRUE(waitUntil([&] { return first->items().size() == 2; }));
    EXPECT_THAT(first->items(), UnorderedElementsAre((root / "photos/a.jpg").string(),
                                                     (root / "photos/b.jpg").string()));

    // The later launches need no display: they hand over before any window system is asked.
    const auto noDisplay = launches.environment(false);
    const qint64 pid = first->process().processId();
    ::kill(static_cast<pid_t>(pid), SIGSTOP);
    const Finished second =
        launches.run(Launches::tessel(), {"c.jpg"}, launches.photos(), noDisplay);
    const Finished duplicate = launches.run(Launches::tessel(), {"../photos/./c.jpg", "c.jpg"},
                                            launches.photos(), noDisplay);
    ::kill(static_cast<pid_t>(pid), SIGCONT);
    EXPECT_EQ(second.status, 0) << second.errors;
    EXPECT_EQ(duplicate.status, 0) << duplicate.errors;

    EXPECT_EQ(launches.run(Launches::tessel(), {"photos/d.jpg"}).status, 0);
    ASSERT_TRUE(waitUntil([&] { return first->items().size() >= 4; })) << first->output();
    // The first launch's batch in the model's order, then each later file once.
    const auto items = first->items();
    ASSERT_EQ(items.size(), 4u) << first->output();
    EXPECT_THAT(
        std::vector(items.begin(), items.begin() + 2),
        UnorderedElementsAre((root / "photos/a.jpg").string(), (root / "photos/b.jpg").string()));
    EXPECT_EQ(items[2], (root / "photos/c.jpg").string());
    EXPECT_EQ(items[3], (root / "photos/d.jpg").string());
    // A second delivery of c.jpg reaching the model would have been reported as adding
    // nothing new.
    EXPECT_THAT(first->errors(), IsEmpty());

    // The log holds what was accepted within the last second, sorted: d.jpg, with c.jpg, b.jpg
    // and a.jpg only if their second had not passed yet.
    const auto logged = lines(launches.logText());
    EXPECT_TRUE(std::ranges::is_sorted(logged));
    EXPECT_TRUE(std::ranges::adjacent_find(logged) == logged.end());
    EXPECT_NE(std::ranges::find(logged, (root / "photos/d.jpg").string()), logged.end());
    for (const std::string& path : logged)
        EXPECT_TRUE(path.starts_with((root / "photos/").string()) && path.ends_with(".jpg"))
            << path;
    EXPECT_TRUE(first->process().state() == QProcess::Running);
}

TEST(Launches, TwoPathsThatDifferByADotComponentAreOneFile) {
    Launches launches;
    auto running = launches.start(Launches::tessel(),
                                  {"photos/./a.jpg", "photos/a.jpg", "photos/sub/../b.jpg"});
    ASSERT_TRUE(waitUntil([&] { return !launches.logText().empty(); }));
    EXPECT_EQ(launches.logText(), launches.logOf({"photos/a.jpg", "photos/b.jpg"}));
}

TEST(Launches, TheSameFileOpenedTwoSecondsApartIsAcceptedTwice) {
    Launches launches;
    auto running = launches.start(Launches::tessel(), {"photos/a.jpg"});
    ASSERT_TRUE(waitUntil([&] { return launches.logText() == launches.logOf({"photos/a.jpg"}); }));
    const auto firstLog = inode(launches.log());

    QTest::qWait(2000);
    EXPECT_EQ(launches.run(Launches::tessel(), {"photos/a.jpg"}).status, 0);
    // Every acceptance writes a new file over the log: a new inode is a new acceptance.
    ASSERT_TRUE(waitUntil([&] { return inode(launches.log()) != firstLog; }));
    EXPECT_EQ(launches.logText(), launches.logOf({"photos/a.jpg"}));
}

TEST(Launches, AnUnwritableLogDoesNotStopTheFiles) {
    Launches launches;
    auto environment = launches.environment();
    const fs::path unwritable = launches.root() / "no-such-folder/open.log";
    environment.insert(QStringLiteral("ORVANE_UI_TEST_OPEN_EVENT_LOG"),
                       QString::fromStdString(unwritable.string()));
    auto first = launches.start(Launches::probe(), {"photos/a.jpg"}, launches.root(), environment);
    ASSERT_TRUE(waitUntil([&] { return first->items().size() == 1; }));

    EXPECT_EQ(
        launches.run(Launches::tessel(), {"photos/b.jpg"}, launches.root(), environment).status, 0);
    ASSERT_TRUE(waitUntil([&] { return first->items().size() == 2; }));
    EXPECT_THAT(first->items(), ElementsAre((launches.root() / "photos/a.jpg").string(),
                                            (launches.root() / "photos/b.jpg").string()));
    EXPECT_FALSE(fs::exists(unwritable.parent_path()));
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
