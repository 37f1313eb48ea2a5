#include <gtest/gtest.h>

#include "tessel/Layout.hpp"
#include "tessel/TesselError.hpp"

namespace tessel {
namespace {

using TesselRenderer::cells;

void expectRect(const SheetRect& r, double x, double y, double w, double h) {
    EXPECT_NEAR(r.x, x, 0.005);
    EXPECT_NEAR(r.y, y, 0.005);
    EXPECT_NEAR(r.width, w, 0.005);
    EXPECT_NEAR(r.height, h, 0.005);
}

TesselError::Kind errorOf(std::int64_t count, const SheetRecipe& r) {
    try {
        (void)cells(count, r);
    } catch (const TesselError& e) {
        return e.kind();
    }
    ADD_FAILURE() << "no error thrown";
    return TesselError::Kind::cannotEncode;
}

TEST(Layout, ContactPresetOnA4MatchesTheWorkedExample) {
    const auto result = cells(13, recipe(SheetPreset::contact));
    ASSERT_EQ(result.size(), 13u);

    expectRect(result[0].frame, 72, 1300.5, 346.67, 381.5);
    ASSERT_TRUE(result[0].captionFrame);
    expectRect(*result[0].captionFrame, 72, 1300.5, 346.67, 29.7);
    expectRect(result[0].imageFrame, 72, 1330.2, 346.67, 351.8);
    EXPECT_NEAR(result[1].frame.x, 446.67, 0.005);
    EXPECT_NEAR(result[3].frame.y, 891, 0.005);
    EXPECT_NEAR(result[3].frame.x, 72, 0.005);
    EXPECT_NEAR(result[11].frame.x, 821.33, 0.005);
    EXPECT_NEAR(result[11].frame.y, 72, 0.005);

    for (int i = 0; i < 12; ++i) EXPECT_EQ(result[static_cast<size_t>(i)].page, 0);
    EXPECT_EQ(result[12].page, 1);
    EXPECT_EQ(result[12].frame, result[0].frame);
    EXPECT_EQ(result[12].imageFrame, result[0].imageFrame);
}

TEST(Layout, NoImagesComesBeforeAnyLookAtTheRecipe) {
    SheetRecipe impossible = recipe(SheetPreset::contact);
    impossible.margin = 5000;
    EXPECT_EQ(errorOf(0, impossible), TesselError::Kind::noImages);
    EXPECT_EQ(errorOf(-4, impossible), TesselError::Kind::noImages);
    EXPECT_EQ(errorOf(1, impossible), TesselError::Kind::invalidLayout);
}

TEST(Layout, UsableAreaMustExceedFortyPixels) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.columns = 1;
    r.rows = 1;
    r.margin = 600;  // usable width exactly 40
    EXPECT_EQ(errorOf(1, r), TesselError::Kind::invalidLayout);
    r.margin = 599;  // usable 42 × 556
    const auto result = cells(1, r);
    EXPECT_NEAR(result[0].frame.width, 42, 1e-9);
    EXPECT_NEAR(result[0].frame.height, 556, 1e-9);
}

TEST(Layout, PictureHeightMustExceedTwentyPixels) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.rows = 30;  // cells of 26.6, caption band 29.7
    EXPECT_EQ(errorOf(1, r), TesselError::Kind::invalidLayout);
    r.caption = SheetCaption::none;
    const auto noCaption = cells(1, r);
    EXPECT_NEAR(noCaption[0].imageFrame.height, 26.6, 0.01);

    r.rows = 40;  // cells of 12.95 fail with or without captions
    EXPECT_EQ(errorOf(1, r), TesselError::Kind::invalidLayout);
    r.caption = SheetCaption::filename;
    EXPECT_EQ(errorOf(1, r), TesselError::Kind::invalidLayout);

    r.rows = 20;
    const auto twenty = cells(1, r);
    EXPECT_NEAR(twenty[0].frame.height, 53.9, 0.01);
    EXPECT_NEAR(twenty[0].imageFrame.height, 24.2, 0.01);
}

TEST(Layout, CaptionBandHasAFloorOfTwentyFour) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.captionFontSize = -3;
    EXPECT_NEAR(cells(1, r)[0].captionFrame->height, 24, 1e-9);
    r.captionFontSize = 10;  // 16.5 is below the floor
    EXPECT_NEAR(cells(1, r)[0].captionFrame->height, 24, 1e-9);
    r.captionFontSize = 40;
    EXPECT_NEAR(cells(1, r)[0].captionFrame->height, 66, 1e-9);
}

TEST(Layout, DegenerateGridIsOneCellPerPage) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.columns = 0;
    r.rows = -2;
    const auto result = cells(3, r);
    ASSERT_EQ(result.size(), 3u);
    for (std::size_t i = 0; i < result.size(); ++i) {
        EXPECT_EQ(result[i].page, static_cast<std::int64_t>(i));
        expectRect(result[i].frame, 72, 72, 1240 - 144, 1754 - 144);
    }
}

TEST(Layout, NegativeMarginAndSpacingActAsZero) {
    SheetRecipe negative = recipe(SheetPreset::proof);
    negative.margin = -10;
    negative.spacing = -5;
    SheetRecipe zero = negative;
    zero.margin = 0;
    zero.spacing = 0;
    EXPECT_EQ(cells(25, negative), cells(25, zero));
    EXPECT_EQ(cells(1, zero)[0].frame.x, 0);
}

TEST(Layout, PageCountIsItemsOverPerPageRoundedUp) {
    const SheetRecipe r = recipe(SheetPreset::portfolio);  // 6 per page
    for (std::int64_t n : {1, 5, 6, 7, 12, 13, 600}) {
        const auto result = cells(n, r);
        EXPECT_EQ(result.back().page + 1, (n + 5) / 6) << n;
    }
}

// The title and footer bands are a caption band high, centred in the top and bottom margins
// and as wide as the grid: never over a cell. A margin that cannot hold them is reported.
TEST(Layout, TitleAndFooterSitInTheMarginsOrTheMarginIsReported) {
    SheetRecipe r = recipe(SheetPreset::contact);  // margin 72, caption 18: bands of 29.7
    EXPECT_EQ(TesselRenderer::pageTextFrames(r), SheetPageTextFrames{});
    r.title = "  Trip \n";
    r.pageNumbers = true;
    r.resolution = SheetResolution::high;
    const SheetPageTextFrames frames = TesselRenderer::pageTextFrames(r);
    ASSERT_TRUE(frames.title && frames.footer);
    expectRect(*frames.title, 144, 3508 - 144 + 42.3, 2480 - 288, 59.4);
    expectRect(*frames.footer, 144, 42.3, 2480 - 288, 59.4);
    for (const SheetCell& cell : cells(12, r)) {
        EXPECT_GE(frames.title->y, cell.frame.y + cell.frame.height);
        EXPECT_LE(frames.footer->y + frames.footer->height, cell.frame.y);
    }
    EXPECT_EQ(TesselRenderer::pageTextMarginProblem(r), std::nullopt);

    const struct {
        const char* title;
        bool pageNumbers;
        std::int64_t margin;
        double fontSize;
        std::optional<std::string> problem;
    } rows[] = {
        {"Trip", true, 30, 18, std::nullopt},
        {"Trip", true, 29, 18, "The margin must be at least 30 px for the title and page numbers."},
        {"Trip", false, 23, 8, "The margin must be at least 24 px for the title."},
        {" ", true, 0, 72, "The margin must be at least 119 px for page numbers."},
        {" ", false, -5, 72, std::nullopt},  // nothing to hold
    };
    for (const auto& row : rows) {
        r.title = row.title;
        r.pageNumbers = row.pageNumbers;
        r.margin = row.margin;
        r.captionFontSize = row.fontSize;
        EXPECT_EQ(TesselRenderer::pageTextMarginProblem(r), row.problem) << row.margin;
    }
}

}  // namespace
}  // namespace tessel
