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

// The plurals and the contact sheet's pixels are read off the pane below.
TEST(PreviewText, PagePixelsAreTruncatedIntegers) {
    SheetRecipe recipe = tessel::recipe(SheetPreset::contact);
    recipe.paper = SheetPaper::hd;
    recipe.orientation = SheetOrientation::landscape;
    EXPECT_EQ(app::texts::pagePixels(recipe).toStdString(), "1920 × 1080 px");
    recipe.paper = SheetPaper::custom;
    recipe.customWidth = 100;  // raised to 320 on the raster page
    EXPECT_EQ(app::texts::pagePixels(recipe).toStdString(), "3508 × 320 px");
}

TEST(PreviewPane, EmptyWindowShowsTheEmptyStateAndZeroFigures) {
    WindowHarness ui;
    app::PreviewPane* preview = ui.window().previewPane();
    EXPECT_EQ(preview->body(), preview->emptyState());
    EXPECT_EQ(preview->emptyState()->title().toStdString(), "Your sheet appears here");
    EXPECT_EQ(preview->emptyState()->description().toStdString(),
              "Add images, choose a layout, then export or print.");
    EXPECT_EQ(text(preview->summary()), "A4 · Portrait · 3 × 4 grid");
    EXPECT_EQ(text(preview->imageCount()), "0 images");
    EXPECT_EQ(text(preview->pagePixels()), "1240 × 1754 px");
    EXPECT_EQ(text(preview->pageCount()), "1 page");
    EXPECT_TRUE(preview->navigation()->isHidden());
}

TEST(PreviewPane, OnePageHasNoNavigation) {
    WindowHarness ui;
    ui.addImages(1);
    app::PreviewPane* preview = ui.window().previewPane();
    ASSERT_TRUE(ui.model().previewResult().has_value());
    EXPECT_EQ(preview->body(), preview->pageView());
    EXPECT_TRUE(preview->navigation()->isHidden());
    EXPECT_EQ(text(preview->imageCount()), "1 image");
    EXPECT_EQ(text(preview->pageCount()), "1 page");
}

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

TEST(PreviewPane, PageSitsInsetOnItsShadowWithThePagesProportions) {
    WindowHarness ui;
    ui.addImages(1);
    app::PageView* view = ui.window().previewPane()->pageView();
    const QRectF page = view->pageRect();
    ASSERT_FALSE(page.isEmpty());
    EXPECT_GE(page.left(), 34.0);
    EXPECT_GE(page.top(), 34.0);
    EXPECT_LE(page.right(), view->width() - 34.0);
    EXPECT_LE(page.bottom(), view->height() - 34.0);
    EXPECT_NEAR(page.width() / page.height(), 1240.0 / 1754.0, 0.01);

    const QImage shown = view->grab().toImage();
    const auto lightness = [&shown](QPointF at) {
        return static_cast<double>(shown.pixelColor(at.toPoint()).lightnessF());
    };
    const QPointF under(page.center().x(), page.bottom() + 4);  // in the shadow, below the page
    const QPointF clear(page.center().x(), view->height() - 2.0);
    EXPECT_GT(lightness(page.center()), 0.95);  // the white page
    EXPECT_LT(lightness(under), lightness(clear) - 0.03);
}

}  // namespace
