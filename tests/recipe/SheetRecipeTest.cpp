#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tessel/SheetRecipe.hpp"

namespace tessel {
namespace {

using nlohmann::json;

// Custom raster sides are raised to 320 but the PDF size keeps the raw sides; landscape swaps.
// High resolution doubles the pixels of paper only; the PDF page keeps its size.
TEST(SheetRecipe, PageSizesInBothOrientations) {
    const struct {
        SheetPaper paper;
        std::int64_t customWidth, customHeight;
        SheetSize pixels, points;
        SheetResolution resolution = SheetResolution::standard;
    } rows[] = {
        {SheetPaper::a4, 0, 0, {2480, 3508}, {595.28, 841.89}, SheetResolution::high},
        {SheetPaper::letter, 0, 0, {2550, 3300}, {612, 792}, SheetResolution::high},
        {SheetPaper::square, 0, 0, {1600, 1600}, {720, 720}, SheetResolution::high},
        {SheetPaper::custom, 500, 500, {500, 500}, {792, 792}, SheetResolution::high},
        {SheetPaper::a4, 0, 0, {1240, 1754}, {595.28, 841.89}},
        {SheetPaper::letter, 0, 0, {1275, 1650}, {612, 792}},
        {SheetPaper::square, 0, 0, {1600, 1600}, {720, 720}},
        {SheetPaper::hd, 0, 0, {1080, 1920}, {405, 720}},
        {SheetPaper::custom, 100, 200, {320, 320}, {396, 792}},
        {SheetPaper::custom, 0, 0, {320, 320}, {0, 792}},
        {SheetPaper::custom, 500, 500, {500, 500}, {792, 792}},
        {SheetPaper::custom, 3000, 2000, {3000, 2000}, {792, 528}},
        {SheetPaper::custom, -10, -20, {320, 320}, {792, -20 * 792.0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << rawValue(row.paper) << " " << row.customWidth << "x" << row.customHeight);
        SheetRecipe r = recipe(SheetPreset::contact);
        r.paper = row.paper;
        r.customWidth = row.customWidth;
        r.customHeight = row.customHeight;
        r.resolution = row.resolution;
        EXPECT_EQ(r.pageSize(), row.pixels);
        EXPECT_EQ(r.pdfPageSize(), row.points);
        r.orientation = SheetOrientation::landscape;
        EXPECT_EQ(r.pageSize(), (SheetSize{row.pixels.height, row.pixels.width}));
        EXPECT_EQ(r.pdfPageSize(), (SheetSize{row.points.height, row.points.width}));
    }
}

TEST(SheetRecipe, ItemsPerPageClampsTheGridAndDiesOnOverflow) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.columns = 7;
    r.rows = -3;
    EXPECT_EQ(r.itemsPerPage(), 7);
    r.columns = std::numeric_limits<std::int64_t>::max();
    r.rows = 2;
    EXPECT_DEATH((void)r.itemsPerPage(), "overflow");
}

TEST(SheetRecipe, Presets) {
    using enum SheetCaption;
    using enum SheetOrientation;
    const struct {
        SheetPreset preset;
        SheetPaper paper;
        SheetOrientation orientation;
        std::int64_t columns, rows, margin, spacing;
        SheetCaption caption;
        double fontSize;
    } rows[] = {
        {SheetPreset::contact, SheetPaper::a4, portrait, 3, 4, 72, 28, filename, 18},
        {SheetPreset::portfolio, SheetPaper::a4, portrait, 2, 3, 90, 38, filenameAndDate, 20},
        {SheetPreset::proof, SheetPaper::a4, landscape, 5, 4, 55, 18, filename, 14},
        {SheetPreset::square, SheetPaper::square, portrait, 3, 3, 64, 24, none, 18},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(rawValue(row.preset));
        const SheetRecipe expected(  // compared as JSON, which names the field that differs
            row.paper, row.orientation, 2480, 3508, row.columns, row.rows, row.margin, row.spacing,
            SheetColor::white(), SheetFit::fit, row.caption, SheetCaptionAlignment::center,
            row.fontSize, SheetColor::black(), SheetOutputFormat::pdf, 0.9, "-sheet");
        EXPECT_EQ(encodeJSON(recipe(row.preset)), encodeJSON(expected));
    }
}

TEST(SheetRecipe, EqualityNaNAndCanonicalSuffix) {
    const SheetRecipe base = recipe(SheetPreset::contact);
    EXPECT_EQ(base, recipe(SheetPreset::contact));
    SheetRecipe other = base;
    other.captionAlignment = std::nullopt;  // absent differs from present center
    EXPECT_NE(base, other);
    other = base;
    other.jpegQuality = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(other == SheetRecipe(other));
    SheetRecipe composed = base, decomposed = base;
    composed.suffix = "-caf\xC3\xA9";     // é as one code point
    decomposed.suffix = "-cafe\xCC\x81";  // e + combining acute accent
    EXPECT_EQ(composed, decomposed);
    decomposed.suffix = "-cafe";
    EXPECT_NE(composed, decomposed);
}

json presetJSON() { return json::parse(encodeJSON(recipe(SheetPreset::contact))); }

TEST(RecipeJson, WritesEveryKeyAndRoundTrips) {
    const json object = presetJSON();
    EXPECT_EQ(object.size(), 20u);
    for (const char* key :
         {"paper",       "orientation",      "customWidth",     "customHeight", "columns",
          "rows",        "margin",           "spacing",         "background",   "fit",
          "caption",     "captionAlignment", "captionFontSize", "captionColor", "output",
          "jpegQuality", "suffix",           "resolution",      "title",        "pageNumbers"})
        EXPECT_TRUE(object.contains(key)) << key;
    EXPECT_TRUE(object["columns"].is_number_integer());
    EXPECT_EQ(object["background"],
              (json{{"red", 1.0}, {"green", 1.0}, {"blue", 1.0}, {"alpha", 1.0}}));
    for (SheetPreset preset : allCases<SheetPreset>()) {
        const SheetRecipe r = recipe(preset);
        EXPECT_EQ(decodeRecipeJSON(encodeJSON(r)), r) << rawValue(preset);
    }
    SheetRecipe r = recipe(SheetPreset::contact);
    r.resolution = SheetResolution::high;
    r.title = "Trip \u00B7 day 1";
    r.pageNumbers = true;
    EXPECT_EQ(decodeRecipeJSON(encodeJSON(r)), r);
    r.suffix = "-\xFF\xFE";  // not UTF-8, yet saving must not fail
    EXPECT_NO_THROW((void)decodeRecipeJSON(encodeJSON(r)));
}

TEST(RecipeJson, DecodesValuesAsTheyStand) {
    json object = presetJSON();
    object.erase("captionAlignment");
    // Recipes saved before the print settings lack them, or hold null.
    object.erase("resolution");
    object.erase("title");
    object["pageNumbers"] = nullptr;
    object.update(json::parse(R"({"margin": -5, "jpegQuality": 7.5, "columns": 0, "rows": 3.0,
        "background": {"red": 2, "green": 1, "blue": 1, "alpha": 1}, "unknownKey": [1, 2]})"));
    const SheetRecipe r = decodeRecipeJSON(object.dump());
    EXPECT_EQ(r.effectiveCaptionAlignment(), SheetCaptionAlignment::center);
    EXPECT_FALSE(json::parse(encodeJSON(r)).contains("captionAlignment"));
    EXPECT_EQ(r.margin, -5);  // nothing is clamped
    EXPECT_EQ(r.jpegQuality, 7.5);
    EXPECT_EQ(r.columns, 0);
    EXPECT_EQ(r.rows, 3);  // a whole float is an integer
    EXPECT_EQ(r.background.red, 2);
    EXPECT_EQ(r.resolution, SheetResolution::standard);
    EXPECT_EQ(r.title, "");
    EXPECT_FALSE(r.pageNumbers);
    object["captionAlignment"] = nullptr;
    EXPECT_EQ(decodeRecipeJSON(object.dump()).captionAlignment, std::nullopt);
}

// Each [key, value] replaces a key ([key] removes it); each must fail naming the key.
TEST(RecipeJson, StrictTypesAndRequiredKeys) {
    const json cases = json::parse(R"([
        ["paper", "A4"], ["fit", "stretch"], ["captionAlignment", "justified"], ["output", 0],
        ["rows", 1.5], ["columns", "3"], ["columns", true], ["margin", 18446744073709551615],
        ["captionFontSize", "18"], ["spacing", null], ["suffix"], ["orientation"], ["suffix", 3],
        ["captionColor", {"red": 0, "green": 0, "blue": 0}],
        ["background", {"red": 1, "green": "1", "blue": 1, "alpha": 1}],
        ["background", [1, 1, 1, 1]], ["resolution", "300"], ["title", 5],
        ["pageNumbers", "yes"]])");
    for (const json& c : cases) {
        SCOPED_TRACE(c.dump());
        const std::string key = c[0];
        json object = presetJSON();
        object.erase(key);
        if (c.size() > 1) object[key] = c[1];
        try {
            (void)decodeRecipeJSON(object.dump());
            ADD_FAILURE() << "decoded";
        } catch (const RecipeDecodingError& e) {
            EXPECT_TRUE(std::string(e.what()).starts_with('"' + key + '"')) << e.what();
        }
    }
    for (const char* text : {"[]", "{\"paper\": ", ""})
        EXPECT_THROW(decodeRecipeJSON(text), RecipeDecodingError) << text;
}

}  // namespace
}  // namespace tessel
