// The preview pane as a user reads it.

#include <QLabel>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

#include "TestImages.hpp"
#include "WindowHarness.hpp"
#include "window/EmptyState.hpp"
#include "window/Look.hpp"
#include "window/PageView.hpp"
#include "window/PreviewPane.hpp"
#include "window/Texts.hpp"

namespace {

using namespace tessel;
using namespace tessel::test;

TEST(PreviewPane, ChevronsStepThroughThePagesAndStopAtTheEnds) {
    WindowHarness ui;
    ui.model().editRecipe([](SheetRecipe& recipe) { recipe.columns = recipe.rows = 1; });
    ui.addImages(3);
    app::PreviewPane* preview = ui.window().previewPane();
    ASSERT_TRUE(preview->navigation()->isVisible());
    EXPECT_EQ(text(preview->pageLabel()), "Page 1 of 3");
    EXPECT_EQ(text(preview->pageCount()), "3 pages");
    EXPECT_EQ(text(preview->imageCount()), "3 images");
    EXPECT_EQ(text(preview->summary()), "A4 · Portrait · 1 × 1 grid");
    EXPECT_FALSE(preview->previousButton()->isEnabled());
    EXPECT_TRUE(preview->nextButton()->isEnabled());

    click(preview->nextButton());
    click(preview->nextButton());
    EXPECT_EQ(text(preview->pageLabel()), "Page 3 of 3");
    EXPECT_EQ(ui.model().previewPage(), 2);
    EXPECT_TRUE(preview->previousButton()->isEnabled());
    EXPECT_FALSE(preview->nextButton()->isEnabled());

    click(preview->previousButton());
    EXPECT_EQ(text(preview->pageLabel()), "Page 2 of 3");
}

TEST(PreviewPane, ProgressIsLabelledByWhatIsUnderWay) {
    WindowHarness ui;
    app::PreviewPane* preview = ui.window().previewPane();
    writeImage(ui.harness.path("a.png"));
    ui.model().add(std::vector{ui.harness.path("a.png")});
    ASSERT_TRUE(ui.model().isLoading());
    EXPECT_EQ(preview->body(), preview->progressLabel()->parentWidget());
    EXPECT_EQ(text(preview->progressLabel()), "Reading images…");
    ui.settle();

    // An invalid recipe clears the preview; making it valid again lays the pages out afresh.
    ui.model().editRecipe([](SheetRecipe& recipe) { recipe.margin = -1; });
    ui.model().editRecipe([](SheetRecipe& recipe) { recipe.margin = 10; });
    ASSERT_TRUE(ui.model().isRendering());
    EXPECT_EQ(preview->body(), preview->progressLabel()->parentWidget());
    EXPECT_EQ(text(preview->progressLabel()), "Laying out pages…");
    ui.settle();
    EXPECT_EQ(preview->body(), preview->pageView());
}

TEST(PreviewPane, ANewPreviewRendersUnderASpinnerOverTheOldOne) {
    WindowHarness ui;
    ui.addImages(2);
    app::PreviewPane* preview = ui.window().previewPane();
    EXPECT_FALSE(preview->pageView()->isBusy());
    ui.model().editRecipe([](SheetRecipe& recipe) { recipe.columns = 2; });
    EXPECT_EQ(preview->body(), preview->pageView());
    EXPECT_TRUE(preview->pageView()->isBusy());
    ui.settle();
    EXPECT_FALSE(preview->pageView()->isBusy());
}

}  // namespace
