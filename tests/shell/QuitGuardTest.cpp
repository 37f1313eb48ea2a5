// The quit guard over a real model and a real export, asking through the recording dialogs.

#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "TestImages.hpp"
#include "shell/Menus.hpp"
#include "shell/QuitGuard.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const app::Alert exportAlert{
    QStringLiteral("Tessel"),
    QStringLiteral("Export is still in progress"),
    QStringLiteral("Wait for the contact sheet to finish before quitting. Your originals are "
                   "unchanged."),
    {QStringLiteral("Continue Export"), QStringLiteral("Quit")}};

// A main window with the menus and the guard as the shell wires them; quitting is counted.
class Guarded : public testing::Test {
protected:
    Guarded() {
        guard.guardClosing(window);
        new app::Menus(
            window, harness.model(),
            {.showSettings = {}, .quit = [this] { guard.requestQuit(); }, .openURL = {}});
        window.show();
    }

    void quitCommand() {
        for (QAction* bar : window.menuBar()->actions())
            for (QAction* action : bar->menu()->actions())
                if (action->text() == QStringLiteral("Quit")) action->trigger();
    }

    // Starts an export of one image; it runs until the event loop turns.
    void startExport() {
        writeImage(harness.path("a.png"));
        harness.add({harness.path("a.png")});
        harness.settle();
        harness.dialogs.saveAnswers.push_back(harness.path("out/Sheet.pdf"));
        fs::create_directories(harness.path("out"));
        harness.model().exportSheet();
        ASSERT_TRUE(harness.model().isExporting());
    }

    Harness harness;
    int quits = 0;
    app::QuitGuard guard{&harness.model(), harness.dialogs, [this] { ++quits; }};
    QMainWindow window;
};

TEST_F(Guarded, WithoutAnExportQuitAndClosingQuitAtOnce) {
    quitCommand();
    EXPECT_EQ(quits, 1);
    EXPECT_THAT(harness.dialogs.alerts, IsEmpty());

    app::QuitGuard fresh(&harness.model(), harness.dialogs, [this] { ++quits; });
    fresh.guardClosing(window);
    EXPECT_TRUE(window.close());
    ASSERT_TRUE(waitUntil([&] { return quits == 2; }));
    EXPECT_THAT(harness.dialogs.alerts, IsEmpty());
}

TEST_F(Guarded, ContinueExportKeepsTheApplicationAndItsExportRunning) {
    startExport();
    harness.dialogs.alertAnswers = {0, std::nullopt};  // "Continue Export", then Escape
    quitCommand();
    EXPECT_FALSE(window.close());
    EXPECT_THAT(harness.dialogs.alerts, ElementsAre(exportAlert, exportAlert));
    EXPECT_EQ(quits, 0);
    EXPECT_TRUE(window.isVisible());
    EXPECT_TRUE(harness.model().isExporting());

    harness.settle();  // the export goes on to its end
    EXPECT_FALSE(harness.model().errorMessage().has_value());
    EXPECT_THAT(harness.model().lastExportedURLs(), ElementsAre(harness.path("out/Sheet.pdf")));
    EXPECT_TRUE(fs::exists(harness.path("out/Sheet.pdf")));
    EXPECT_EQ(quits, 0);
}

TEST_F(Guarded, QuitDuringAnExportQuits) {
    startExport();
    harness.dialogs.alertAnswers = {1};
    EXPECT_TRUE(window.close());
    ASSERT_TRUE(waitUntil([&] { return quits == 1; }));
    EXPECT_THAT(harness.dialogs.alerts, ElementsAre(exportAlert));
    harness.settle();
}

TEST_F(Guarded, AnUpdateHandedOverQuitsWithoutAsking) {
    startExport();
    guard.quitNow();
    EXPECT_EQ(quits, 1);
    EXPECT_TRUE(window.close());  // the close that quitting causes is not asked about again
    EXPECT_THAT(harness.dialogs.alerts, IsEmpty());
    harness.settle();
}

}  // namespace
