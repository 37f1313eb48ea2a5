// The open-request delegate in process, with a real model.

#include <QCoreApplication>
#include <QDir>
#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "Launches.hpp"
#include "TestImages.hpp"
#include "shell/TesselDelegate.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::test;
using app::TesselDelegate;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

// Each test's log in its harness folder; the variable is the process's, so it is put back.
class Delegate : public testing::Test {
protected:
    void SetUp() override {
        setenv(TesselDelegate::openEventLogVariable, log.c_str(), 1);
        for (const char* name : {"a.jpg", "b.jpg"}) writeImage(harness.path(name));
    }
    void TearDown() override { unsetenv(TesselDelegate::openEventLogVariable); }

    std::vector<fs::path> listed() {
        std::vector<fs::path> urls;
        for (const app::ImageItem& item : harness.model().items()) urls.push_back(item.url);
        return urls;
    }

    Harness harness;
    fs::path log = harness.path("open.log");
    TesselDelegate delegate;
};

TEST_F(Delegate, FilesWaitForTheModelAndArriveInTheOrderDelivered) {
    delegate.accept({harness.path("b.jpg")});
    delegate.accept({harness.path("a.jpg")});
    EXPECT_THAT(delegate.pending(), ElementsAre(harness.path("b.jpg"), harness.path("a.jpg")));
    EXPECT_FALSE(harness.model().isLoading());

    delegate.setModel(&harness.model());
    EXPECT_TRUE(delegate.pending().empty());
    EXPECT_TRUE(harness.model().isLoading());
    harness.settle();
    // One batch; its order in the list is the model's (file names in natural order).
    EXPECT_THAT(listed(), UnorderedElementsAre(harness.path("a.jpg"), harness.path("b.jpg")));
}

// The second delivery comes in the same turn of the event loop as the first: however slow the
// machine, well within the second.
TEST_F(Delegate, ASecondDeliveryWithinTheSecondIsDropped) {
    delegate.setModel(&harness.model());
    // One request naming a file twice, the second time with a dot component.
    delegate.accept({harness.path("a.jpg"), harness.path(".") / "a.jpg"});
    ASSERT_TRUE(harness.model().isLoading());
    const auto logged = inode(log);
    ASSERT_NE(logged, 0u);

    delegate.accept({harness.path("sub") / ".." / "a.jpg"});
    EXPECT_EQ(inode(log), logged);  // not logged again
    EXPECT_EQ(delegate.recentlyAccepted().size(), 1u);
    harness.settle();
    EXPECT_THAT(listed(), ElementsAre(harness.path("a.jpg")));
    // A second batch of the same file would have been reported as adding nothing.
    EXPECT_FALSE(harness.model().errorMessage().has_value());
}

TEST_F(Delegate, EachRequestForgetsExactlyItsOwnFilesASecondLater) {
    delegate.accept({harness.path("a.jpg")});
    QTest::qWait(600);  // half-way, so that each removal has a wide margin around it
    // Still within a.jpg's second: a.jpg again counts once, b.jpg is new.
    delegate.accept({harness.path("a.jpg"), harness.path("b.jpg")});
    EXPECT_THAT(delegate.pending(), ElementsAre(harness.path("a.jpg"), harness.path("b.jpg")));
    ASSERT_TRUE(
        waitUntil([&] { return !delegate.recentlyAccepted().contains(harness.path("a.jpg")); }));
    // b.jpg came later and keeps its own second.
    EXPECT_TRUE(delegate.recentlyAccepted().contains(harness.path("b.jpg")));

    // a.jpg is fresh again: accepted, logged and queued a second time.
    delegate.accept({harness.path("a.jpg")});
    EXPECT_THAT(delegate.pending(),
                ElementsAre(harness.path("a.jpg"), harness.path("b.jpg"), harness.path("a.jpg")));
    ASSERT_TRUE(waitUntil([&] { return delegate.recentlyAccepted().empty(); }));
}

// Code-point order of whole paths, which is not the order of their components: "-" (U+002D)
// sorts before "/" (U+002F), capitals before small letters, "é" after both.
TEST_F(Delegate, TheLogListsTheLastSecondInCodePointOrder) {
    delegate.accept({"/photos/a/b.jpg"});
    EXPECT_EQ(readFile(log), "/photos/a/b.jpg\n");
    delegate.accept({"/photos/é.jpg", "/photos/a-b.jpg", "/photos/Z.jpg", "/photos/a/b.jpg"});
    EXPECT_EQ(readFile(log), "/photos/Z.jpg\n/photos/a-b.jpg\n/photos/a/b.jpg\n/photos/é.jpg\n");
    // Written by renaming a finished file over the log: nothing else is left in the folder.
    const QStringList left =
        QDir(QString::fromStdString(harness.path("").string()))
            .entryList({QStringLiteral("open.log*")}, QDir::Files | QDir::Hidden);
    EXPECT_EQ(left, QStringList{QStringLiteral("open.log")});
}

TEST_F(Delegate, FilesWaitAgainWhenTheModelIsGone) {
    {
        app::AppModel& model = harness.model();
        delegate.setModel(&model);
    }
    harness.restart();  // the first model is destroyed
    delegate.accept({harness.path("a.jpg")});
    EXPECT_THAT(delegate.pending(), ElementsAre(harness.path("a.jpg")));
}

}  // namespace
