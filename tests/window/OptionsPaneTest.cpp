// The options pane driven with the keyboard and mouse.

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QTest>
#include <QToolButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tessel/RecipeLimits.hpp"

#include "WindowHarness.hpp"
#include "window/ColorWell.hpp"
#include "window/Look.hpp"
#include "window/NumberField.hpp"
#include "window/OptionsPane.hpp"
#include "window/SegmentedControl.hpp"

namespace {

using namespace tessel;
using namespace tessel::test;
using ::testing::ElementsAre;

// The control of the row labelled `label`, found through the label's buddy.
template <class Control>
Control* control(app::OptionsPane* pane, const QString& label) {
    for (QLabel* name : pane->findChildren<QLabel*>())
        if (name->text() == label && name->buddy() != nullptr)
            return qobject_cast<Control*>(name->buddy());
    return nullptr;
}

// What a control shows: a list's or field's text, a stepper's value, a segment's index.
std::string shown(const QWidget* control) {
    if (const auto* list = qobject_cast<const QComboBox*>(control))
        return list->currentText().toStdString();
    if (const auto* field = qobject_cast<const QLineEdit*>(control))
        return field->text().toStdString();
    if (const auto* stepper = qobject_cast<const QSpinBox*>(control))
        return std::to_string(stepper->value());
    if (const auto* segments = qobject_cast<const app::SegmentedControl*>(control))
        return std::to_string(segments->currentIndex());
    return "(no control)";
}

// Types `text` into `field` after selecting what it holds, and presses Return.
void typeAndSubmit(QLineEdit* field, const QString& text) {
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, text);
    QTest::keyClick(field, Qt::Key_Return);
}

class OptionsPaneTest : public ::testing::Test {
protected:
    app::OptionsPane* pane() { return ui.window().optionsPane(); }
    const SheetRecipe& recipe() { return ui.model().recipe(); }

    WindowHarness ui;
};

TEST_F(OptionsPaneTest, CustomPaperShowsWidthAndHeightAndKeepsThemWhenHidden) {
    auto* paper = control<QComboBox>(pane(), "Paper");
    paper->setFocus();
    QTest::keyClick(paper, Qt::Key_End);  // "Custom", the last
    EXPECT_EQ(recipe().paper, SheetPaper::custom);
    EXPECT_TRUE(pane()->customSizeRow()->isVisible());
    EXPECT_EQ(pane()->customWidth()->text().toStdString(), "2480");
    EXPECT_EQ(pane()->customHeight()->text().toStdString(), "3508");

    typeAndSubmit(pane()->customWidth(), QStringLiteral("3000"));
    EXPECT_EQ(recipe().customWidth, 3000);

    paper->setFocus();
    QTest::keyClick(paper, Qt::Key_Home);  // "A4"
    EXPECT_EQ(recipe().paper, SheetPaper::a4);
    EXPECT_TRUE(pane()->customSizeRow()->isHidden());
    EXPECT_EQ(recipe().customWidth, 3000);

    QTest::keyClick(paper, Qt::Key_End);
    EXPECT_TRUE(pane()->customSizeRow()->isVisible());
    EXPECT_EQ(pane()->customWidth()->text().toStdString(), "3000");
}

TEST_F(OptionsPaneTest, NoCaptionHidesThreeRowsWhoseValuesComeBack) {
    auto* show = control<QComboBox>(pane(), "Show");
    show->setFocus();
    QTest::keyClick(show, Qt::Key_Home);  // "None"
    EXPECT_EQ(recipe().caption, SheetCaption::none);
    EXPECT_TRUE(pane()->alignmentRow()->isHidden());
    EXPECT_TRUE(pane()->sizeRow()->isHidden());
    EXPECT_TRUE(pane()->captionColorRow()->isHidden());
    EXPECT_EQ(recipe().captionFontSize, 18.0);

    QTest::keyClick(show, Qt::Key_Down);  // "Filename"
    EXPECT_EQ(recipe().caption, SheetCaption::filename);
    EXPECT_TRUE(pane()->sizeRow()->isVisible());
    EXPECT_EQ(control<QLineEdit>(pane(), "Size")->text().toStdString(), "18");
    EXPECT_EQ(control<app::SegmentedControl>(pane(), "Alignment")->currentIndex(), 1);
}

// Resolution is offered for paper only. The title and page numbers are set in the captions'
// size and colour, so those rows show while either is on, also without captions.
TEST_F(OptionsPaneTest, PrintSettingsShowWhereTheyApply) {
    auto* resolution = control<QComboBox>(pane(), "Resolution");
    ASSERT_NE(resolution, nullptr);
    EXPECT_EQ(shown(resolution), "Standard (150 ppi)");
    resolution->setFocus();
    QTest::keyClick(resolution, Qt::Key_Down);
    EXPECT_EQ(recipe().resolution, SheetResolution::high);
    ui.model().editRecipe([](SheetRecipe& r) { r.paper = SheetPaper::square; });
    EXPECT_TRUE(pane()->resolutionRow()->isHidden());

    ui.model().editRecipe([](SheetRecipe& r) { r.caption = SheetCaption::none; });
    EXPECT_TRUE(pane()->sizeRow()->isHidden());
    auto* title = control<QLineEdit>(pane(), "Page title");
    ASSERT_EQ(title, pane()->title());
    title->setFocus();
    QTest::keyClicks(title, "Trip");
    EXPECT_EQ(recipe().title, "Trip");
    EXPECT_TRUE(pane()->sizeRow()->isVisible());
    EXPECT_TRUE(pane()->captionColorRow()->isVisible());
    EXPECT_TRUE(pane()->alignmentRow()->isHidden());
    title->selectAll();
    QTest::keyClick(title, Qt::Key_Backspace);
    EXPECT_EQ(recipe().title, "");
    EXPECT_TRUE(pane()->sizeRow()->isHidden());
    for (QCheckBox* box : pane()->findChildren<QCheckBox*>())
        if (box->text() == "Page numbers and date") QTest::mouseClick(box, Qt::LeftButton);
    EXPECT_TRUE(recipe().pageNumbers);
    EXPECT_TRUE(pane()->sizeRow()->isVisible());
}

TEST_F(OptionsPaneTest, QualityShowsOnlyForJpegAndStopsAt45Percent) {
    auto* format = control<QComboBox>(pane(), "Format");
    format->setFocus();
    QTest::keyClick(format, Qt::Key_End);  // "JPEG"
    EXPECT_TRUE(pane()->qualityRow()->isVisible());
    EXPECT_EQ(text(pane()->qualityValue()), "90%");
    EXPECT_EQ(text(pane()->outputNote()), "Multi-page layouts are saved as numbered image files.");

    pane()->quality()->setFocus();
    QTest::keyClick(pane()->quality(), Qt::Key_Home);
    for (int i = 0; i < 3; ++i) QTest::keyClick(pane()->quality(), Qt::Key_Left);
    EXPECT_EQ(pane()->quality()->value(), 45);
    EXPECT_DOUBLE_EQ(recipe().jpegQuality, 0.45);
    EXPECT_EQ(text(pane()->qualityValue()), "45%");

    QTest::keyClick(format, Qt::Key_Home);  // "PDF"
    EXPECT_TRUE(pane()->qualityRow()->isHidden());
}

// The steppers keep to the recipe's own range, and show a saved layout's grid as it is.
TEST_F(OptionsPaneTest, SteppersShowTheRecipesGridWithinItsRange) {
    SheetRecipe wide = ui.model().recipe();
    wide.columns = 20;
    ui.model().applyLayout({"5D1E3F2A-0000-4000-8000-000000000020", "Wide", wide});
    EXPECT_EQ(pane()->columns()->value(), 20);
    for (QSpinBox* stepper : {pane()->columns(), pane()->rows()}) {
        stepper->setFocus();
        for (int i = 0; i < 25; ++i) QTest::keyClick(stepper, Qt::Key_Down);
        EXPECT_EQ(stepper->value(), 1);
        stepper->setValue(5000);
        EXPECT_EQ(stepper->value(), RecipeLimits::largestGrid);
    }
    EXPECT_EQ(recipe().columns, RecipeLimits::largestGrid);
    EXPECT_EQ(recipe().rows, RecipeLimits::largestGrid);
}

TEST_F(OptionsPaneTest, NegativeMarginIsStoredOnReturnShownInRedAndBlocksExport) {
    ui.addImages(2);
    EXPECT_TRUE(pane()->exportSheet()->isEnabled());

    app::NumberField* margin = pane()->margin();
    margin->setFocus();
    margin->selectAll();
    QTest::keyClicks(margin, QStringLiteral("-5"));
    EXPECT_EQ(recipe().margin, 72);  // nothing is told before Return
    QTest::keyClick(margin, Qt::Key_Return);
    EXPECT_EQ(recipe().margin, -5);

    EXPECT_TRUE(pane()->validation()->isVisible());
    EXPECT_EQ(text(pane()->validation()), "Margins and spacing cannot be negative.");
    EXPECT_EQ(pane()->validation()->palette().color(QPalette::WindowText),
              app::look::validationRed(pane()->palette()));
    EXPECT_FALSE(pane()->exportSheet()->isEnabled());

    typeAndSubmit(margin, QStringLiteral("10"));
    EXPECT_TRUE(pane()->validation()->isHidden());
}

TEST_F(OptionsPaneTest, TextThatIsNoNumberIsNeverStoredButTheSuffixIsAsTyped) {
    app::NumberField* spacing = pane()->spacing();
    spacing->setFocus();
    spacing->selectAll();
    QTest::keyClick(spacing, Qt::Key_Backspace);
    QTest::keyClick(spacing, Qt::Key_Return);
    EXPECT_EQ(recipe().spacing, 28);
    pane()->margin()->setFocus();  // leaving the field
    EXPECT_EQ(spacing->text().toStdString(), "28");

    auto* suffix = control<QLineEdit>(pane(), "Filename suffix");  // free text: stored as typed
    suffix->setFocus();
    suffix->selectAll();
    QTest::keyClicks(suffix, QStringLiteral("-web"));
    EXPECT_EQ(recipe().suffix, "-web");
}

TEST_F(OptionsPaneTest, SavedLayoutRowsApplyAndDelete) {
    ui.model().applyPreset(SheetPreset::square);
    ui.model().saveCurrentLayout(QStringLiteral("Squares"));
    ui.model().applyPreset(SheetPreset::contact);

    auto* apply = pane()->savedLayouts()->findChild<QPushButton*>();
    ASSERT_NE(apply, nullptr);
    EXPECT_EQ(text(apply), "Squares");
    click(apply);
    EXPECT_EQ(recipe(), tessel::recipe(SheetPreset::square));

    auto* remove = pane()->savedLayouts()->findChild<QToolButton*>();
    ASSERT_NE(remove, nullptr);
    EXPECT_EQ(remove->accessibleName().toStdString(), "Delete Squares");
    click(remove);
    EXPECT_TRUE(ui.model().savedLayouts().empty());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(pane()->savedLayouts()->findChild<QPushButton*>(), nullptr);
}

}  // namespace
