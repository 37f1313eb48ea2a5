// Open requests between processes: the real tessel program, and tessel-probe (the same
// start-up with a window that prints the model's list) where a test must see that list. What
// the delegate does with a request (dot components, the one-second window, the log) is
// DelegateTest's; here only what needs a second process.

#include <algorithm>
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "Launches.hpp"

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
