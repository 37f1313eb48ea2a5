// The real services: the file viewer on a private bus, printing into PDF, the widget dialogs.

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QTreeView>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include "AppHarness.hpp"
#include "PrivateBus.hpp"
#include "TestImages.hpp"
#include "services/DialogPrinting.hpp"
#include "services/WidgetDialogs.hpp"

namespace {

namespace fs = std::filesystem;
using namespace tessel;
using namespace tessel::test;
using ::testing::ElementsAre;

TEST(FileViewer, AsksTheFileManagerToShowTheFilesSelected) {
    FileManagerOnBus fileManager;
    std::vector<QUrl> opened;
    app::DBusFileViewer viewer(testBus().connect(QStringLiteral("viewer")),
                               [&](const QUrl& folder) { opened.push_back(folder); });
    viewer.showItems({"/photos/Trip 1/a.jpg", "/photos/b#2.png"});
    viewer.showItems({});
    ASSERT_TRUE(waitUntil([&] { return !fileManager.calls().empty(); }));
    EXPECT_THAT(fileManager.calls()[0].uris,
                ElementsAre("file:///photos/Trip%201/a.jpg", "file:///photos/b%232.png"));
    EXPECT_EQ(fileManager.calls()[0].startupId, QString());
    QCoreApplication::processEvents();
    EXPECT_EQ(fileManager.calls().size(), 1u);
    EXPECT_TRUE(opened.empty());
}

TEST(FileViewer, OpensTheFolderWhenNoFileManagerAnswers) {
    std::vector<QUrl> opened;
    app::DBusFileViewer viewer(testBus().connect(QStringLiteral("viewer")),
                               [&](const QUrl& folder) { opened.push_back(folder); });
    viewer.showItems({"/photos/Trip/a.jpg", "/elsewhere/b.jpg"});
    ASSERT_TRUE(waitUntil([&] { return !opened.empty(); }));
    EXPECT_THAT(opened, ElementsAre(QUrl(QStringLiteral("file:///photos/Trip"))));
}

struct PdfPage {
    double width, height;
};

std::vector<PdfPage> pdfPages(const fs::path& file) {
    QPDF pdf;
    pdf.processFile(file.c_str());
    std::vector<PdfPage> pages;
    for (QPDFPageObjectHelper& page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        const QPDFObjectHandle::Rectangle box = page.getMediaBox().getArrayAsRectangle();
        pages.push_back({box.urx - box.llx, box.ury - box.lly});
    }
    return pages;
}

// Three pages are more than the preview draws ahead (the page on screen and the next): the
// third is drawn for printing, with its progress shown.
TEST(Printing, PrintsEveryPageOfTheSheetAtTheRecipesPageSize) {
    struct Case {
        SheetPaper paper;
        SheetOrientation orientation;
        int images;
    };
    for (const Case& c : {Case{SheetPaper::a4, SheetOrientation::portrait, 3},
                          Case{SheetPaper::hd, SheetOrientation::landscape, 1}}) {
        Harness harness;
        app::AppModel& model = harness.model();
        model.printSheet();  // no preview yet: nothing, and no message
        EXPECT_EQ(harness.printing->prints, 0);
        EXPECT_EQ(model.errorMessage(), std::nullopt);

        model.editRecipe([&](SheetRecipe& recipe) {
            recipe.paper = c.paper;
            recipe.orientation = c.orientation;
            recipe.columns = recipe.rows = 1;
        });
        std::vector<fs::path> files;
        for (int i = 0; i < c.images; ++i) {
            files.push_back(harness.path("p" + std::to_string(i) + ".png"));
            writeImage(files.back());
        }
        harness.add(files);
        harness.settle();
        const bool allDrawn = model.previewResult()->holdsEveryPage();
        EXPECT_EQ(allDrawn, c.images == 1);
        QSignalSpy progress(&model, &app::AppModel::printProgressChanged);
        model.printSheet();
        harness.settle();
        ASSERT_EQ(harness.printing->prints, 1);
        EXPECT_EQ(model.errorMessage(), std::nullopt);
        EXPECT_EQ(progress.isEmpty(), allDrawn);
        EXPECT_EQ(model.printProgress(), std::nullopt);

        const std::vector<PdfPage> pages = pdfPages(harness.printing->file());
        ASSERT_EQ(std::ssize(pages), c.images);
        const SheetSize expected = model.recipe().pdfPageSize();
        for (const PdfPage& page : pages) {
            EXPECT_NEAR(page.width, expected.width, 1.0);  // QPrinter keeps whole points
            EXPECT_NEAR(page.height, expected.height, 1.0);
        }
    }
}

// Runs `answer` on the modal dialog that `open` shows, once it is up.
template <class Dialog, class Answer>
void whenShown(Answer answer) {
    QTimer::singleShot(0, [answer] {
        Dialog* dialog = nullptr;
        waitUntil([&] {
            dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
            return dialog != nullptr;
        });
        ASSERT_NE(dialog, nullptr);
        answer(*dialog);
    });
}

TEST(Dialogs, TheOpenPanelTakesFilesAndFoldersInOnePick) {
    Harness harness;
    fs::create_directories(harness.path("pick/Folder"));
    writeImage(harness.path("pick/a.png"));
    writeImage(harness.path("pick/b.png"));
    app::WidgetDialogs dialogs;
    whenShown<QFileDialog>([&](QFileDialog& dialog) {
        dialog.setDirectory(QString::fromStdString(harness.path("pick").string()));
        auto* view = dialog.findChild<QTreeView*>(QStringLiteral("treeView"));
        auto* list = dialog.findChild<QAbstractItemView*>(QStringLiteral("listView"));
        QAbstractItemView* shown = list != nullptr && list->isVisible() ? list : view;
        ASSERT_NE(shown, nullptr);
        // The directory loads in the background; pick once its three entries are listed.
        waitUntil([&] { return shown->model()->rowCount(shown->rootIndex()) == 3; });
        for (int row = 0; row < 3; ++row) {
            const QModelIndex index = shown->model()->index(row, 0, shown->rootIndex());
            if (index.data().toString() != QStringLiteral("b.png"))
                shown->selectionModel()->select(
                    index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
        static_cast<QDialog&>(dialog).accept();  // as the confirming button does
    });
    const std::vector<fs::path> chosen = dialogs.chooseFilesAndFolders(
        {QStringLiteral("Choose images or folders"), QStringLiteral("Add")});
    EXPECT_THAT(chosen, ::testing::UnorderedElementsAre(harness.path("pick/Folder"),
                                                        harness.path("pick/a.png")));
}

}  // namespace
