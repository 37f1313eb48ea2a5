#include <limits>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tessel/SheetRecipe.hpp"

namespace tessel {
namespace {

using nlohmann::json;

TEST(SheetRecipe, ItemsPerPageClampsTheGridAndDiesOnOverflow) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.columns = 7;
    r.rows = -3;
    EXPECT_EQ(r.itemsPerPage(), 7);
    r.columns = std::numeric_limits<std::int64_t>::max();
    r.rows = 2;
    EXPECT_DEATH((void)r.itemsPerPage(), "overflow");
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
