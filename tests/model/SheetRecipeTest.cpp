#include <limits>

#include <gtest/gtest.h>

#include "tessel/SheetRecipe.hpp"

namespace tessel {
namespace {

SheetRecipe customRecipe(std::int64_t width, std::int64_t height,
                         SheetOrientation orientation = SheetOrientation::portrait) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.paper = SheetPaper::custom;
    r.customWidth = width;
    r.customHeight = height;
    r.orientation = orientation;
    return r;
}

TEST(SheetRecipePageSize, StandardPapersInBothOrientations) {
    const struct {
        SheetPaper paper;
        SheetSize pixels;
        SheetSize points;
    } rows[] = {
        {SheetPaper::a4, {1240, 1754}, {595.28, 841.89}},
        {SheetPaper::letter, {1275, 1650}, {612, 792}},
        {SheetPaper::square, {1600, 1600}, {720, 720}},
        {SheetPaper::hd, {1080, 1920}, {405, 720}},
    };
    for (const auto& row : rows) {
        SheetRecipe r = recipe(SheetPreset::contact);
        r.paper = row.paper;
        EXPECT_EQ(r.pageSize(), row.pixels) << rawValue(row.paper);
        EXPECT_EQ(r.pdfPageSize(), row.points) << rawValue(row.paper);
        r.orientation = SheetOrientation::landscape;
        EXPECT_EQ(r.pageSize(), (SheetSize{row.pixels.height, row.pixels.width}));
        EXPECT_EQ(r.pdfPageSize(), (SheetSize{row.points.height, row.points.width}));
    }
}

TEST(SheetRecipePageSize, CustomSizesKeepTheDeliberateAsymmetry) {
    // Raster sides are raised to 320; the PDF size uses the raw sides.
    EXPECT_EQ(customRecipe(100, 200).pageSize(), (SheetSize{320, 320}));
    EXPECT_EQ(customRecipe(100, 200).pdfPageSize(), (SheetSize{396, 792}));
    EXPECT_EQ(customRecipe(0, 0).pageSize(), (SheetSize{320, 320}));
    EXPECT_EQ(customRecipe(0, 0).pdfPageSize(), (SheetSize{0, 792}));
    EXPECT_EQ(customRecipe(500, 500).pdfPageSize(), (SheetSize{792, 792}));
    // A wide custom page turns tall in landscape.
    const auto wide = customRecipe(3000, 2000, SheetOrientation::landscape);
    EXPECT_EQ(wide.pageSize(), (SheetSize{2000, 3000}));
    EXPECT_EQ(wide.pdfPageSize(), (SheetSize{528, 792}));
    // Negative sides pass into the PDF size; only the divisor is raised to 1.
    EXPECT_EQ(customRecipe(-10, -20).pdfPageSize(), (SheetSize{792, -20 * 792.0}));
}

TEST(SheetRecipeDerived, ItemsPerPageClampsTheGrid) {
    SheetRecipe r = recipe(SheetPreset::contact);
    EXPECT_EQ(r.itemsPerPage(), 12);
    r.columns = 0;
    r.rows = -3;
    EXPECT_EQ(r.itemsPerPage(), 1);
    r.columns = 7;
    EXPECT_EQ(r.itemsPerPage(), 7);
}

TEST(SheetRecipeDerived, ItemsPerPageOverflowIsFatal) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.columns = std::numeric_limits<std::int64_t>::max();
    r.rows = 2;
    EXPECT_DEATH((void)r.itemsPerPage(), "overflow");
}

TEST(SheetRecipeDerived, AbsentAlignmentReadsCenter) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.captionAlignment = std::nullopt;
    EXPECT_EQ(r.effectiveCaptionAlignment(), SheetCaptionAlignment::center);
    r.captionAlignment = SheetCaptionAlignment::right;
    EXPECT_EQ(r.effectiveCaptionAlignment(), SheetCaptionAlignment::right);
}

TEST(SheetRecipePresets, TableValues) {
    const struct {
        SheetPreset preset;
        SheetPaper paper;
        SheetOrientation orientation;
        std::int64_t columns, rows, margin, spacing;
        SheetCaption caption;
        double fontSize;
    } rows[] = {
        {SheetPreset::contact, SheetPaper::a4, SheetOrientation::portrait, 3, 4, 72, 28,
         SheetCaption::filename, 18},
        {SheetPreset::portfolio, SheetPaper::a4, SheetOrientation::portrait, 2, 3, 90, 38,
         SheetCaption::filenameAndDate, 20},
        {SheetPreset::proof, SheetPaper::a4, SheetOrientation::landscape, 5, 4, 55, 18,
         SheetCaption::filename, 14},
        {SheetPreset::square, SheetPaper::square, SheetOrientation::portrait, 3, 3, 64, 24,
         SheetCaption::none, 18},
    };
    for (const auto& row : rows) {
        const SheetRecipe r = recipe(row.preset);
        SCOPED_TRACE(rawValue(row.preset));
        EXPECT_EQ(r.paper, row.paper);
        EXPECT_EQ(r.orientation, row.orientation);
        EXPECT_EQ(r.columns, row.columns);
        EXPECT_EQ(r.rows, row.rows);
        EXPECT_EQ(r.margin, row.margin);
        EXPECT_EQ(r.spacing, row.spacing);
        EXPECT_EQ(r.caption, row.caption);
        EXPECT_EQ(r.captionFontSize, row.fontSize);
        // Shared by all presets.
        EXPECT_EQ(r.customWidth, 2480);
        EXPECT_EQ(r.customHeight, 3508);
        EXPECT_EQ(r.background, SheetColor::white());
        EXPECT_EQ(r.fit, SheetFit::fit);
        EXPECT_EQ(r.captionAlignment, SheetCaptionAlignment::center);
        EXPECT_EQ(r.captionColor, SheetColor::black());
        EXPECT_EQ(r.output, SheetOutputFormat::pdf);
        EXPECT_EQ(r.jpegQuality, 0.9);
        EXPECT_EQ(r.suffix, "-sheet");
    }
}

TEST(SheetRecipeEquality, FieldByField) {
    const SheetRecipe base = recipe(SheetPreset::contact);
    EXPECT_EQ(base, recipe(SheetPreset::contact));
    EXPECT_NE(base, recipe(SheetPreset::portfolio));

    SheetRecipe other = base;
    other.captionAlignment = std::nullopt;  // absent differs from present center
    EXPECT_NE(base, other);
    other = base;
    other.background.alpha = 0.5;
    EXPECT_NE(base, other);
    other = base;
    other.spacing = 29;
    EXPECT_NE(base, other);
}

TEST(SheetRecipeEquality, NaNNeverEqualsItself) {
    SheetRecipe a = recipe(SheetPreset::contact);
    a.jpegQuality = std::numeric_limits<double>::quiet_NaN();
    const SheetRecipe b = a;
    EXPECT_FALSE(a == b);
    SheetRecipe c = recipe(SheetPreset::contact);
    c.captionColor.red = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(c == c);
}

TEST(SheetRecipeEquality, SuffixComparedUnderCanonicalEquivalence) {
    SheetRecipe composed = recipe(SheetPreset::contact);
    SheetRecipe decomposed = composed;
    composed.suffix = "-caf\xC3\xA9";     // é as one code point
    decomposed.suffix = "-cafe\xCC\x81";  // e + combining acute accent
    EXPECT_EQ(composed, decomposed);
    decomposed.suffix = "-cafe";
    EXPECT_NE(composed, decomposed);
}

}  // namespace
}  // namespace tessel
