// The window as a whole, and the settings window.

#include <QAccessible>
#include <QDesktopServices>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QToolBar>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestImages.hpp"
#include "WindowHarness.hpp"
#include "window/ErrorAlert.hpp"
#include "window/FileDrops.hpp"
#include "window/FilesPane.hpp"
#include "window/ImageListView.hpp"
#include "window/OptionsPane.hpp"
#include "window/PreviewPane.hpp"
#include "window/SaveLayoutDialog.hpp"
#include "window/SettingsWindow.hpp"

namespace {

using namespace tessel;
using namespace tessel::test;
using ::testing::ElementsAre;

std::unique_ptr<QMimeData> filesPayload(const std::vector<std::filesystem::path>& files) {
    auto data = std::make_unique<QMimeData>();
    QList<QUrl> urls;
    for (const auto& file : files)
        urls << QUrl::fromLocalFile(QString::fromStdString(file.string()));
    data->setUrls(urls);
    return data;
}

}  // namespace

// Stands in for the desktop's browser: keeps the links it is asked to open.
class UrlCatcher : public QObject {
    Q_OBJECT
public:
    std::vector<QUrl> opened;
public slots:
    void open(const QUrl& url) { opened.push_back(url); }
};

namespace {

bool highlightShown(WindowHarness& ui) {
    const auto* highlight = ui.window().centralWidget()->findChild<app::DropHighlight*>();
    return highlight != nullptr && highlight->isVisible();
}

// Over the preview and over the image list alike: the hover shows, leaving ends it, and a drop
// adds its files as one batch.
TEST(Window, FilesDroppedAnywhereAreAddedAsOneBatch) {
    WindowHarness ui;
    const struct {
        QWidget* target;
        std::vector<std::filesystem::path> files;
    } drops[] = {{ui.window().previewPane(), {ui.harness.path("a.png"), ui.harness.path("b.jpg")}},
                 {ui.window().filesPane()->list()->viewport(), {ui.harness.path("c.png")}}};
    std::size_t listed = 0;
    for (const auto& [target, files] : drops) {
        SCOPED_TRACE(target->metaObject()->className());
        for (const auto& file : files) writeImage(file);
        const auto payload = filesPayload(files);
        const QPoint at = inWindow(target, target->rect().center());
        EXPECT_TRUE(hover(&ui.window(), at, *payload));
        EXPECT_TRUE(ui.model().isDropTargeted());
        EXPECT_TRUE(highlightShown(ui));
        leave(&ui.window());
        EXPECT_FALSE(ui.model().isDropTargeted());

        EXPECT_TRUE(hover(&ui.window(), at, *payload));
        EXPECT_TRUE(drop(&ui.window(), at, *payload));
        EXPECT_FALSE(ui.model().isDropTargeted());
        EXPECT_FALSE(highlightShown(ui));
        ui.settle();
        listed += files.size();
        EXPECT_EQ(ui.model().items().size(), listed);
    }
}

TEST(Window, SaveDialogNeedsANameAndSavesItAsTyped) {
    WindowHarness ui;
    QPushButton* saveCurrent = nullptr;
    for (QPushButton* button : ui.window().optionsPane()->findChildren<QPushButton*>())
        if (button->text() == QStringLiteral("Save Current Layout…")) saveCurrent = button;
    ASSERT_EQ(text(saveCurrent), "Save Current Layout…");

    app::SaveLayoutDialog* dialog = ui.window().saveLayoutDialog();
    click(saveCurrent);
    ASSERT_TRUE(dialog->isVisible());
    EXPECT_EQ(dialog->windowTitle().toStdString(), "Save Layout Preset");
    EXPECT_EQ(dialog->nameField()->placeholderText().toStdString(), "Preset name");
    EXPECT_FALSE(dialog->saveButton()->isEnabled());

    QTest::keyClicks(dialog->nameField(), QStringLiteral("   "));
    EXPECT_FALSE(dialog->saveButton()->isEnabled());
    QTest::keyClick(dialog->nameField(), Qt::Key_Return);  // the default button stays off
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_TRUE(ui.model().savedLayouts().empty());

    QTest::keyClicks(dialog->nameField(), QStringLiteral("Trip "));
    EXPECT_TRUE(dialog->saveButton()->isEnabled());
    click(dialog->saveButton());
    EXPECT_FALSE(dialog->isVisible());
    ASSERT_EQ(ui.model().savedLayouts().size(), 1u);
    EXPECT_EQ(ui.model().savedLayouts()[0].name, "Trip");

    click(saveCurrent);  // opens empty again; Cancel changes nothing
    EXPECT_TRUE(dialog->nameField()->text().isEmpty());
    QTest::keyClicks(dialog->nameField(), QStringLiteral("Other"));
    click(dialog->cancelButton());
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(ui.model().savedLayouts().size(), 1u);
}

TEST(Window, ErrorAlertShowsTheLatestMessageAndClearsItWhenDismissed) {
    WindowHarness ui;
    QMessageBox* box = ui.window().errorAlert()->box();
    EXPECT_FALSE(box->isVisible());

    ui.model().setErrorMessage(QStringLiteral("a.jpg could not be read.\nPermission denied."));
    ASSERT_TRUE(box->isVisible());
    EXPECT_EQ(box->windowTitle().toStdString(), "Tessel");
    EXPECT_EQ(box->text().toStdString(), "a.jpg could not be read.");
    EXPECT_EQ(box->informativeText().toStdString(), "Permission denied.");  // the cause, under it
    ASSERT_EQ(box->buttons().size(), 1);
    EXPECT_EQ(box->buttons()[0]->text().toStdString(), "OK");

    ui.model().setErrorMessage(QStringLiteral("The contact sheet could not be drawn."));
    EXPECT_EQ(box->text().toStdString(), "The contact sheet could not be drawn.");  // the latest
    EXPECT_EQ(box->informativeText().toStdString(), "");
    click(box->buttons()[0]);
    EXPECT_FALSE(box->isVisible());
    EXPECT_EQ(ui.model().errorMessage(), std::nullopt);

    ui.model().setErrorMessage(QStringLiteral("Add at least one image."));
    ASSERT_TRUE(box->isVisible());
    QTest::keyClick(box, Qt::Key_Escape);  // dismissed another way
    EXPECT_EQ(ui.model().errorMessage(), std::nullopt);
}

TEST(Window, EveryControlIsReachableByKeyboardAndNamedForScreenReaders) {
    WindowHarness ui;
    ui.addImages(2);
    ui.model().saveCurrentLayout(QStringLiteral("Trip"));
    std::vector<std::string> unnamed;
    for (QWidget* widget : ui.window().findChildren<QWidget*>()) {
        if (!widget->isVisibleTo(&ui.window()) || !(widget->focusPolicy() & Qt::TabFocus)) continue;
        if (widget->focusProxy() != nullptr) continue;
        QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(widget);
        ASSERT_NE(accessible, nullptr);
        if (accessible->text(QAccessible::Name).trimmed().isEmpty())
            unnamed.emplace_back(widget->metaObject()->className());
    }
    EXPECT_THAT(unnamed, ElementsAre());

    // Tab walks from the file list through to the export button.
    QWidget* exportButton = ui.window().optionsPane()->exportSheet();
    ui.window().filesPane()->list()->setFocus();
    bool reached = false;
    for (int i = 0; i < 80 && !reached; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        reached = QApplication::focusWidget() == exportButton;
    }
    EXPECT_TRUE(reached);
}

}  // namespace

#include "WindowTest.moc"
