// The files pane as a user works it.

#include <QContextMenuEvent>
#include <QFrame>
#include <QLabel>
#include <QMimeData>
#include <QTest>
#include <QToolButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DngWriter.hpp"
#include "TestImages.hpp"
#include "WindowHarness.hpp"
#include "window/EmptyState.hpp"
#include "window/FilesPane.hpp"
#include "window/ImageListView.hpp"
#include "window/SkippedNote.hpp"
#include "window/Texts.hpp"

namespace {

using namespace tessel;
using namespace tessel::test;
using ::testing::ElementsAre;

std::vector<std::string> names(app::AppModel& model) {
    std::vector<std::string> out;
    for (const app::ImageItem& item : model.items()) out.push_back(item.url.filename().string());
    return out;
}

std::string selectedName(app::AppModel& model) {
    const auto item = model.selectedItem();
    return item ? item->url.filename().string() : "(none)";
}

// The middle of `row` in the list's viewport.
QPoint rowCentre(app::ImageListView* list, int row) {
    return list->visualRect(list->listModel()->index(row, 0)).center();
}

// A right click on `row` as the platform delivers it: the button, then the menu request.
void rightClickRow(app::ImageListView* list, int row) {
    const QPoint at = rowCentre(list, row);
    QTest::mouseClick(list->viewport(), Qt::RightButton, {}, at);
    QContextMenuEvent request(QContextMenuEvent::Mouse, at, list->viewport()->mapToGlobal(at));
    QCoreApplication::sendEvent(list->viewport(), &request);
}

TEST(FilesPane, FilesSkippedOrShownByTheirJpegWhileAddingAreNotedInTheFooter) {
    WindowHarness ui;
    const std::filesystem::path trip = ui.harness.path("Trip");
    std::filesystem::create_directories(trip);
    for (const char* name : {"a.png", "b.png", "d.png"}) writeImage(trip / name);
    writeText(trip / "c.jpg", "Saved from a browser: 404 Not Found");
    writeImage(trip / "e.jpg", 400, 300);
    std::filesystem::resize_file(trip / "e.jpg", std::filesystem::file_size(trip / "e.jpg") / 2);
    // A camera's RAW and JPEG of one shot, and a RAW alone.
    const tessel::testing::RgbPicture grey{64, 48, std::vector<std::uint8_t>(64 * 48 * 3, 128)};
    tessel::testing::writeDng(trip / "f.CR2", grey);
    writeImage(trip / "f.jpg", 64, 48);
    tessel::testing::writeDng(trip / "g.NEF", grey);
    ui.harness.add({trip});
    ui.settle();
    EXPECT_THAT(names(ui.model()), ElementsAre("a.png", "b.png", "d.png", "f.jpg", "g.NEF"));
    app::SkippedNote* note = ui.window().filesPane()->skippedNote();
    ASSERT_TRUE(note->isVisible());
    EXPECT_EQ(text(note), "2 files skipped");
    QLabel* paired = ui.window().filesPane()->pairedNote();
    ASSERT_TRUE(paired->isVisible());
    EXPECT_EQ(text(paired), "1 RAW file shown by its JPEG");

    click(note);
    ASSERT_NE(note->popup(), nullptr);
    ASSERT_TRUE(note->popup()->isVisible());
    std::vector<std::string> shown;
    for (const QLabel* label : note->popup()->findChildren<QLabel*>()) shown.push_back(text(label));
    EXPECT_THAT(shown, ElementsAre("Not added", "c.jpg", "The file is not an image.", "e.jpg",
                                   "The file is cut off before the end of the image."));

    ui.harness.add({trip / "a.png"});  // the next batch: nothing skipped, the notes go
    ui.settle();
    EXPECT_FALSE(note->isVisible());
    EXPECT_FALSE(paired->isVisible());
    EXPECT_EQ(note->popup(), nullptr);
}

TEST(FilesPane, EmptyListInvitesADropAndOffersTheOpenPanel) {
    WindowHarness ui;
    app::FilesPane* files = ui.window().filesPane();
    EXPECT_EQ(files->body(), files->emptyState());
    EXPECT_EQ(files->emptyState()->title().toStdString(), "Drop images here");
    EXPECT_EQ(files->emptyState()->description().toStdString(),
              "Add individual images or whole folders. Originals are never changed.");
    EXPECT_EQ(text(files->count()), "0");

    auto* choose = files->emptyState()->findChild<QPushButton*>();
    ASSERT_NE(choose, nullptr);
    EXPECT_EQ(text(choose), "Choose Images…");
    click(choose);
    ASSERT_EQ(ui.harness.dialogs.openPanels.size(), 1u);
    EXPECT_EQ(ui.harness.dialogs.openPanels[0].prompt.toStdString(), "Add");
}

TEST(FilesPane, RowsShowEveryItemWithCountAndTotalSize) {
    WindowHarness ui;
    ui.addImages(3);
    app::FilesPane* files = ui.window().filesPane();
    EXPECT_NE(files->body(), files->emptyState());
    EXPECT_EQ(text(files->count()), "3");

    const QAbstractItemModel* rows = files->list()->model();
    ASSERT_EQ(rows->rowCount(), 3);
    EXPECT_EQ(rows->index(1, 0).data().toString().toStdString(), "b.png");
    EXPECT_EQ(rows->index(1, 0).data(app::ImageListModel::DimensionsRole).toString().toStdString(),
              "41 × 30");
    std::int64_t bytes = 0;
    for (const app::ImageItem& item : ui.model().items()) bytes += item.info.bytes;
    EXPECT_GT(bytes, 0);
    EXPECT_EQ(text(files->totalSize()), app::texts::byteCount(bytes).toStdString());
}

TEST(FilesPane, RowMenuRemovesTheSelectionButMovesTheClickedRow) {
    WindowHarness ui;
    ui.addImages(3);
    app::ImageListView* list = ui.window().filesPane()->list();
    QMenu* menu = list->menuForRow(0);
    EXPECT_THAT(titles(menu), ElementsAre("Move Up", "Move Down", "Show in Folder", "Remove"));
    menu->deleteLater();

    // "Remove" on c (not selected) removes a, the selection; the right click selects nothing.
    rightClickRow(list, 2);
    EXPECT_EQ(selectedName(ui.model()), "a.png");
    EXPECT_TRUE(chooseFromOpenMenu(QStringLiteral("Remove")));
    ui.settle();
    EXPECT_THAT(names(ui.model()), ElementsAre("b.png", "c.png"));
    EXPECT_EQ(selectedName(ui.model()), "b.png");

    // "Move Up" on c selects c, then moves it.
    rightClickRow(list, 1);
    EXPECT_TRUE(chooseFromOpenMenu(QStringLiteral("Move Up")));
    EXPECT_THAT(names(ui.model()), ElementsAre("c.png", "b.png"));
    EXPECT_EQ(selectedName(ui.model()), "c.png");
}

TEST(FilesPane, SortMenuOffersTheThreeOrdersAndSortsByTheChosenOne) {
    WindowHarness ui;
    ui.addImages(3);
    app::FilesPane* files = ui.window().filesPane();
    EXPECT_EQ(files->sortButton()->toolTip().toStdString(), "Sort images");
    EXPECT_THAT(titles(files->sortMenu()), ElementsAre("Manual", "Filename", "Date"));

    click(files->moveDownButton());  // b, a, c
    click(files->sortButton());
    EXPECT_TRUE(chooseFromOpenMenu(QStringLiteral("Filename")));
    EXPECT_EQ(ui.model().sort(), app::ImageSort::filename);
    EXPECT_THAT(names(ui.model()), ElementsAre("a.png", "b.png", "c.png"));
    EXPECT_TRUE(files->sortMenu()->actions()[1]->isChecked());
}

// A row drags as its item's UUID, and a UUID dropped on a row puts that item before it; any
// other text is refused.
TEST(FilesPane, RowsDragAsUuidsThatDropBeforeAnotherRow) {
    WindowHarness ui;
    ui.addImages(3);
    app::ImageListView* list = ui.window().filesPane()->list();
    app::ImageListModel* rows = list->listModel();
    std::unique_ptr<QMimeData> dragged(rows->mimeData({rows->index(2, 0)}));
    ASSERT_NE(dragged, nullptr);
    EXPECT_EQ(QUuid::fromString(dragged->text()), ui.model().items()[2].id);
    EXPECT_EQ(dragged->text(), dragged->text().toUpper());

    const QPoint onA = inWindow(list->viewport(), rowCentre(list, 0));
    for (const QString& refused : {QString(), QStringLiteral("not a uuid")}) {
        QMimeData payload;
        payload.setText(refused);
        EXPECT_FALSE(hover(&ui.window(), onA, payload));
        leave(&ui.window());
    }
    EXPECT_TRUE(hover(&ui.window(), onA, *dragged));  // c onto a
    EXPECT_TRUE(drop(&ui.window(), onA, *dragged));
    ui.settle();
    EXPECT_THAT(names(ui.model()), ElementsAre("c.png", "a.png", "b.png"));
}

}  // namespace
