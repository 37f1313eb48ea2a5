#include <random>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tessel/SheetRecipe.hpp"

namespace tessel {
namespace {

using nlohmann::json;

json presetJSON() { return json::parse(encodeJSON(recipe(SheetPreset::contact))); }

SheetRecipe decode(const json& object) { return decodeRecipeJSON(object.dump()); }

TEST(RecipeJson, EncodesAllSeventeenKeys) {
    const json object = presetJSON();
    EXPECT_EQ(object.size(), 17u);
    EXPECT_EQ(object["paper"], "a4");
    EXPECT_EQ(object["caption"], "filename");
    EXPECT_EQ(object["captionAlignment"], "center");
    EXPECT_TRUE(object["columns"].is_number_integer());
    EXPECT_EQ(object["background"],
              (json{{"red", 1.0}, {"green", 1.0}, {"blue", 1.0}, {"alpha", 1.0}}));
    EXPECT_EQ(object["suffix"], "-sheet");
}

TEST(RecipeJson, RoundTripsEveryPreset) {
    for (SheetPreset preset : allCases<SheetPreset>()) {
        const SheetRecipe r = recipe(preset);
        EXPECT_EQ(decodeRecipeJSON(encodeJSON(r)), r) << rawValue(preset);
    }
}

TEST(RecipeJson, AbsentAlignmentIsOmittedAndRestored) {
    json object = presetJSON();
    object.erase("captionAlignment");
    const SheetRecipe r = decode(object);
    EXPECT_EQ(r.captionAlignment, std::nullopt);
    EXPECT_EQ(r.effectiveCaptionAlignment(), SheetCaptionAlignment::center);
    EXPECT_FALSE(json::parse(encodeJSON(r)).contains("captionAlignment"));

    object["captionAlignment"] = nullptr;
    EXPECT_EQ(decode(object).captionAlignment, std::nullopt);
}

TEST(RecipeJson, ValuesAreTakenAsTheyStand) {
    json object = presetJSON();
    object["margin"] = -5;
    object["background"]["red"] = 2;
    object["jpegQuality"] = 7.5;
    object["columns"] = 0;
    object["unknownKey"] = {1, 2, 3};
    const SheetRecipe r = decode(object);
    EXPECT_EQ(r.margin, -5);
    EXPECT_EQ(r.background.red, 2);
    EXPECT_EQ(r.jpegQuality, 7.5);
    EXPECT_EQ(r.columns, 0);
}

TEST(RecipeJson, WholeFloatsAreIntegersButFractionsAreNot) {
    json object = presetJSON();
    object["rows"] = 3.0;
    EXPECT_EQ(decode(object).rows, 3);
    object["rows"] = 1.5;
    EXPECT_THROW(decode(object), RecipeDecodingError);
}

// Every malformed document must fail without producing a recipe.
TEST(RecipeJson, StrictTypesAndRequiredKeys) {
    const struct {
        const char* what;
        std::function<void(json&)> change;
    } cases[] = {
        {"display name as raw value", [](json& o) { o["paper"] = "A4"; }},
        {"unknown enumeration string", [](json& o) { o["fit"] = "stretch"; }},
        {"unknown alignment", [](json& o) { o["captionAlignment"] = "justified"; }},
        {"integer as string", [](json& o) { o["columns"] = "3"; }},
        {"integer as boolean", [](json& o) { o["columns"] = true; }},
        {"integer beyond 64 bits", [](json& o) { o["margin"] = 18446744073709551615ull; }},
        {"double as string", [](json& o) { o["captionFontSize"] = "18"; }},
        {"null required value", [](json& o) { o["spacing"] = nullptr; }},
        {"missing required key", [](json& o) { o.erase("suffix"); }},
        {"missing orientation", [](json& o) { o.erase("orientation"); }},
        {"suffix as number", [](json& o) { o["suffix"] = 3; }},
        {"colour without alpha", [](json& o) { o["captionColor"].erase("alpha"); }},
        {"colour component as string", [](json& o) { o["background"]["green"] = "1"; }},
        {"colour as array",
         [](json& o) {
             o["background"] = {1, 1, 1, 1};
         }},
        {"enumeration as number", [](json& o) { o["output"] = 0; }},
    };
    for (const auto& c : cases) {
        json object = presetJSON();
        c.change(object);
        EXPECT_THROW(decode(object), RecipeDecodingError) << c.what;
    }
    EXPECT_THROW(decodeRecipeJSON("[]"), RecipeDecodingError);
    EXPECT_THROW(decodeRecipeJSON("{\"paper\": "), RecipeDecodingError);
    EXPECT_THROW(decodeRecipeJSON(""), RecipeDecodingError);
}

TEST(RecipeJson, ErrorNamesTheKey) {
    json object = presetJSON();
    object["rows"] = "four";
    try {
        decode(object);
        FAIL() << "decoded a string as an integer";
    } catch (const RecipeDecodingError& e) {
        EXPECT_NE(std::string(e.what()).find("\"rows\""), std::string::npos) << e.what();
    }
}

TEST(RecipeJson, NonUTF8SuffixStillEncodes) {
    SheetRecipe r = recipe(SheetPreset::contact);
    r.suffix = "-\xFF\xFE";
    EXPECT_NO_THROW((void)decodeRecipeJSON(encodeJSON(r)));
}

// Mutated documents never crash the decoder; whatever decodes re-encodes to an equal recipe.
TEST(RecipeJson, RandomMutationsNeverCrash) {
    const std::string base = encodeJSON(recipe(SheetPreset::proof));
    std::mt19937 random(20261123);
    const std::string alphabet = "{}[]\":,.-+eE0123456789 truefalsnul\\u";
    int decoded = 0;
    for (int round = 0; round < 4000; ++round) {
        std::string text = base;
        const int edits = 1 + static_cast<int>(random() % 4);
        for (int e = 0; e < edits; ++e) {
            const auto at = random() % (text.size() + 1);
            switch (random() % 3) {
                case 0: text.insert(at, 1, alphabet[random() % alphabet.size()]); break;
                case 1:
                    if (at < text.size()) text.erase(at, 1);
                    break;
                default:
                    if (at < text.size()) text[at] = alphabet[random() % alphabet.size()];
            }
        }
        try {
            const SheetRecipe r = decodeRecipeJSON(text);
            ++decoded;
            EXPECT_EQ(decodeRecipeJSON(encodeJSON(r)), r) << text;
        } catch (const RecipeDecodingError&) {
        }
    }
    EXPECT_GT(decoded, 0);
}

}  // namespace
}  // namespace tessel
