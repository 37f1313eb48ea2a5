// The menu bar on a plain main window over a real model.

#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QSplitter>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AppHarness.hpp"
#include "TestImages.hpp"
#include "shell/Menus.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::test;
using ::testing::ElementsAre;

QMenu& menuNamed(QMainWindow& window, const QString& title) {
    for (QAction* action : window.menuBar()->actions())
        if (action->text() == title) return *action->menu();
    throw std::runtime_error("no menu " + title.toStdString());
}

QAction& item(QMainWindow& window, const QString& title) {
    for (QAction* bar : window.menuBar()->actions())
        for (QAction* action : bar->menu()->actions())
            if (action->text() == title) return *action;
    throw std::runtime_error("no item " + title.toStdString());
}

// "Title [shortcuts]" per item, "-" per separator; hidden items left out, as a user sees it.
std::vector<std::string> shown(QMenu& menu) {
    std::vector<std::string> entries;
    for (const QAction* action : menu.actions()) {
        if (!action->isVisible()) continue;
        if (action->isSeparator()) {
            entries.emplace_back("-");
            continue;
        }
        std::string entry = action->text().toStdString();
        QStringList keys;
        for (const QKeySequence& key : action->shortcuts())
            keys << key.toString(QKeySequence::PortableText);
        if (!keys.isEmpty()) entry += " [" + keys.join(QStringLiteral(", ")).toStdString() + "]";
        entries.push_back(entry);
    }
    return entries;
}

// A main window whose image list sits beside a text field, as in the real window.
struct Window {
    explicit Window(app::AppModel& model) {
        auto* split = new QSplitter;
        split->addWidget(list);
        split->addWidget(field);
        window.setCentralWidget(split);
        menus = new app::Menus(window, model,
                               {.showSettings = [this] { ++settingsShown; },
                                .quit = [] {},
                                .openURL = [this](const QUrl& url) { opened.push_back(url); }});
    }
    QMainWindow window;
    QListWidget* list = new QListWidget;
    QLineEdit* field = new QLineEdit;
    app::Menus* menus = nullptr;
    int settingsShown = 0;
    std::vector<QUrl> opened;
};

TEST(Menus, ItemsInOrderWithTheirShortcuts) {
    Harness harness;
    Window w(harness.model());
    EXPECT_THAT(shown(menuNamed(w.window, QStringLiteral("&File"))),
                ElementsAre("Add Images or Folders… [Ctrl+O]", "Remove Selected [Del, Backspace]",
                            "Remove All", "-", "Export Sheet… [Ctrl+E]", "Print… [Ctrl+P]", "-",
                            "Settings… [Ctrl+,]", "-", "Quit [Ctrl+Q]"));
    EXPECT_THAT(
        shown(menuNamed(w.window, QStringLiteral("&Layout"))),
        ElementsAre("Contact sheet", "Portfolio", "Proof grid", "Square grid", "-",
                    "Move Selected Up [Ctrl+Alt+Up]", "Move Selected Down [Ctrl+Alt+Down]"));
    EXPECT_THAT(shown(menuNamed(w.window, QStringLiteral("&Help"))),
                ElementsAre("About Tessel", "Check for Updates…", "-", "Tessel Feedback…"));

    item(w.window, QStringLiteral("Proof grid")).trigger();
    EXPECT_EQ(harness.model().recipe(), recipe(SheetPreset::proof));
    item(w.window, QStringLiteral("Tessel Feedback…")).trigger();
    EXPECT_THAT(w.opened, ElementsAre(QUrl(QStringLiteral("https://orvane.com/?app=tessel"))));
    item(w.window, QStringLiteral("About Tessel")).trigger();
    item(w.window, QStringLiteral("Settings…")).trigger();
    EXPECT_EQ(w.settingsShown, 2);
}

TEST(Menus, PrintExportAndRemoveAllFollowTheModel) {
    Harness harness;
    Window w(harness.model());
    QAction& print = item(w.window, QStringLiteral("Print…"));
    QAction& exportSheet = item(w.window, QStringLiteral("Export Sheet…"));
    QAction& removeAll = item(w.window, QStringLiteral("Remove All"));
    EXPECT_FALSE(print.isEnabled());  // no preview yet
    EXPECT_FALSE(exportSheet.isEnabled());
    EXPECT_FALSE(removeAll.isEnabled());

    writeImage(harness.path("a.png"));
    harness.add({harness.path("a.png")});
    EXPECT_TRUE(removeAll.isEnabled());
    EXPECT_FALSE(print.isEnabled());  // the preview is still on its way
    harness.settle();
    ASSERT_TRUE(harness.model().previewResult().has_value());
    EXPECT_TRUE(print.isEnabled());
    EXPECT_TRUE(exportSheet.isEnabled());

    harness.model().editRecipe([](SheetRecipe& recipe) { recipe.margin = -1; });
    EXPECT_FALSE(exportSheet.isEnabled());  // an invalid recipe
    EXPECT_FALSE(print.isEnabled());        // and its preview is gone

    removeAll.trigger();
    EXPECT_FALSE(removeAll.isEnabled());
}

TEST(Menus, DeleteAndBackspaceRemoveTheSelectionOnlyFromTheImageList) {
    Harness harness;
    Window w(harness.model());
    w.menus->bindRemoveKeys(*w.list);
    w.window.show();
    w.window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&w.window));
    QAction& removeSelected = item(w.window, QStringLiteral("Remove Selected"));

    for (const char* name : {"a.png", "b.png", "c.png"}) writeImage(harness.path(name));
    w.list->setFocus();
    QTest::keyClick(w.list, Qt::Key_Delete);  // nothing listed, nothing selected
    EXPECT_FALSE(removeSelected.isEnabled());

    harness.add({harness.path("a.png"), harness.path("b.png"), harness.path("c.png")});
    harness.model().setSelectedID({});
    EXPECT_FALSE(removeSelected.isEnabled());
    QTest::keyClick(w.list, Qt::Key_Delete);
    EXPECT_EQ(harness.model().items().size(), 3u);

    harness.model().setSelectedID(harness.model().items().front().id);
    EXPECT_TRUE(removeSelected.isEnabled());
    w.field->setFocus();
    QTest::keyClick(w.field, Qt::Key_Delete);  // text editing keeps its keys
    QTest::keyClick(w.field, Qt::Key_Backspace);
    EXPECT_EQ(harness.model().items().size(), 3u);

    w.list->setFocus();
    QTest::keyClick(w.list, Qt::Key_Delete);
    EXPECT_EQ(harness.model().items().size(), 2u);
    QTest::keyClick(w.list, Qt::Key_Backspace);
    ASSERT_EQ(harness.model().items().size(), 1u);
    EXPECT_EQ(harness.model().items().front().url, harness.path("c.png"));
}

// A manifest server offering version 2.1 to a running 2.0.
TEST(Menus, AKnownUpdateIsOfferedAboveCheckForUpdates) {
    TestHttpsServer server(Harness::authority(), [](const std::string&) {
        return TestReply{200, R"({"version":"2.1","url":"https://127.0.0.1/Tessel-2.1.zip"})", ""};
    });
    Harness harness({server.url("/tessel/latest.json"), "2.0"});
    harness.dialogs.alertAnswers.push_back(1);  // "Later" for the automatic prompt
    Window w(harness.model());
    QMenu& help = menuNamed(w.window, QStringLiteral("&Help"));
    ASSERT_TRUE(waitUntil([&] { return harness.model().availableUpdate().has_value(); }));
    EXPECT_THAT(shown(help), ElementsAre("About Tessel", "Update to 2.1…", "Check for Updates…",
                                         "-", "Tessel Feedback…"));

    item(w.window, QStringLiteral("Update to 2.1…")).trigger();  // asks again, although "Later"
    ASSERT_EQ(harness.dialogs.alerts.size(), 2u);
    EXPECT_EQ(harness.dialogs.alerts[1].text,
              QStringLiteral("A new version of Tessel is available"));
}

}  // namespace
