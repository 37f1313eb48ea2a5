#include "recipe/RecipeJson.hpp"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace tessel::detail {
namespace {

using nlohmann::json;

json colorToJSON(const SheetColor& c) {
    return json{{"red", c.red}, {"green", c.green}, {"blue", c.blue}, {"alpha", c.alpha}};
}

[[noreturn]] void fail(const std::string& key, const std::string& problem) {
    throw RecipeDecodingError("\"" + key + "\": " + problem);
}

std::string describe(const json& value) {
    switch (value.type()) {
        case json::value_t::null: return "null";
        case json::value_t::boolean: return "a boolean";
        case json::value_t::string: return "a string";
        case json::value_t::array: return "an array";
        case json::value_t::object: return "an object";
        default: return value.dump();
    }
}

const json& required(const json& object, const std::string& key) {
    const auto it = object.find(key);
    if (it == object.end()) fail(key, "missing");
    if (it->is_null()) fail(key, "null where a value is required");
    return *it;
}

std::int64_t integerValue(const json& object, const std::string& key) {
    const json& value = required(object, key);
    if (value.is_number_integer() && !value.is_number_unsigned()) return value.get<std::int64_t>();
    if (value.is_number_unsigned()) {
        const auto u = value.get<std::uint64_t>();
        if (u <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            return static_cast<std::int64_t>(u);
        fail(key, "integer " + value.dump() + " is out of range");
    }
    if (value.is_number_float()) {
        // A float that is exactly a whole number in range (3.0, 1e2) is that integer;
        // anything with a fraction is refused rather than rounded.
        const double d = value.get<double>();
        constexpr double limit = 9223372036854775808.0;  // 2^63
        if (std::isfinite(d) && std::trunc(d) == d && d >= -limit && d < limit)
            return static_cast<std::int64_t>(d);
        fail(key, "expected an integer, found " + value.dump());
    }
    fail(key, "expected an integer, found " + describe(value));
}

double numberValue(const json& object, const std::string& key) {
    const json& value = required(object, key);
    if (!value.is_number()) fail(key, "expected a number, found " + describe(value));
    const double d = value.get<double>();
    if (!std::isfinite(d)) fail(key, "number out of range");
    return d;
}

std::string stringValue(const json& object, const std::string& key) {
    const json& value = required(object, key);
    if (!value.is_string()) fail(key, "expected a string, found " + describe(value));
    return value.get<std::string>();
}

template <class E>
E enumValue(const json& object, const std::string& key) {
    const std::string text = stringValue(object, key);
    if (auto e = fromRawValue<E>(text)) return *e;
    fail(key, "\"" + text + "\" is not one of its values");
}

// Keys added after the first recipes were saved: absent or null, they keep their defaults.
bool present(const json& object, const std::string& key) {
    const auto it = object.find(key);
    return it != object.end() && !it->is_null();
}

SheetColor colorValue(const json& object, const std::string& key) {
    const json& value = required(object, key);
    if (!value.is_object()) fail(key, "expected a colour object, found " + describe(value));
    try {
        return {numberValue(value, "red"), numberValue(value, "green"), numberValue(value, "blue"),
                numberValue(value, "alpha")};
    } catch (const RecipeDecodingError& inner) {
        fail(key, inner.what());
    }
}

}  // namespace

json recipeToJSON(const SheetRecipe& r) {
    json object = {
        {"paper", rawValue(r.paper)},
        {"orientation", rawValue(r.orientation)},
        {"customWidth", r.customWidth},
        {"customHeight", r.customHeight},
        {"columns", r.columns},
        {"rows", r.rows},
        {"margin", r.margin},
        {"spacing", r.spacing},
        {"background", colorToJSON(r.background)},
        {"fit", rawValue(r.fit)},
        {"caption", rawValue(r.caption)},
        {"captionFontSize", r.captionFontSize},
        {"captionColor", colorToJSON(r.captionColor)},
        {"output", rawValue(r.output)},
        {"jpegQuality", r.jpegQuality},
        {"suffix", r.suffix},
        {"resolution", rawValue(r.resolution)},
        {"title", r.title},
        {"pageNumbers", r.pageNumbers},
    };
    if (r.captionAlignment) object["captionAlignment"] = rawValue(*r.captionAlignment);
    return object;
}

SheetRecipe recipeFromJSON(const json& object) {
    if (!object.is_object()) throw RecipeDecodingError("a recipe must be a JSON object");
    std::optional<SheetCaptionAlignment> alignment;
    if (const auto it = object.find("captionAlignment"); it != object.end() && !it->is_null())
        alignment = enumValue<SheetCaptionAlignment>(object, "captionAlignment");
    SheetRecipe recipe{enumValue<SheetPaper>(object, "paper"),
                       enumValue<SheetOrientation>(object, "orientation"),
                       integerValue(object, "customWidth"),
                       integerValue(object, "customHeight"),
                       integerValue(object, "columns"),
                       integerValue(object, "rows"),
                       integerValue(object, "margin"),
                       integerValue(object, "spacing"),
                       colorValue(object, "background"),
                       enumValue<SheetFit>(object, "fit"),
                       enumValue<SheetCaption>(object, "caption"),
                       alignment,
                       numberValue(object, "captionFontSize"),
                       colorValue(object, "captionColor"),
                       enumValue<SheetOutputFormat>(object, "output"),
                       numberValue(object, "jpegQuality"),
                       stringValue(object, "suffix")};
    if (present(object, "resolution"))
        recipe.resolution = enumValue<SheetResolution>(object, "resolution");
    if (present(object, "title")) recipe.title = stringValue(object, "title");
    if (present(object, "pageNumbers")) {
        const json& value = object.at("pageNumbers");
        if (!value.is_boolean())
            fail("pageNumbers", "expected a boolean, found " + describe(value));
        recipe.pageNumbers = value.get<bool>();
    }
    return recipe;
}

}  // namespace tessel::detail

namespace tessel {

std::string encodeJSON(const SheetRecipe& recipe) {
    // A suffix typed by a user may hold bytes that are not UTF-8; they must not stop a save.
    return detail::recipeToJSON(recipe).dump(-1, ' ', false,
                                             nlohmann::json::error_handler_t::replace);
}

SheetRecipe decodeRecipeJSON(std::string_view text) {
    nlohmann::json object;
    try {
        object = nlohmann::json::parse(text);
    } catch (const nlohmann::json::exception& e) {
        throw RecipeDecodingError(std::string("not valid JSON: ") + e.what());
    }
    return detail::recipeFromJSON(object);
}

}  // namespace tessel
