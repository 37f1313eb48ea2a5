#include <cstdlib>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "tessel/SavedLayouts.hpp"

#include "TemporaryFolder.hpp"

namespace tessel {
namespace {

using nlohmann::json;

constexpr const char* tripID = "6F9619FF-8B86-D011-B42D-00C04FC964FF";

SavedLayout trip() {
    SheetRecipe r = recipe(SheetPreset::proof);
    r.suffix = "-web";
    r.captionAlignment = std::nullopt;
    return {tripID, "Trip", r};
}

/// The encoded trip with `key` set to `value`, or removed when `value` is null.
json tripWith(const char* key = "", const json& value = nullptr) {
    json element = json::parse(encodeSavedLayouts({trip()}))[0];
    if (value.is_null()) element.erase(key);
    if (!value.is_null()) element[key] = value;
    return element;
}
std::string doc(const char* key, const json& value = nullptr) {
    return json::array({tripWith(key, value)}).dump();
}

TEST(SavedLayouts, AnyBadElementFailsTheWholeDocumentSayingWhichAndWhy) {
    EXPECT_TRUE(decodeSavedLayouts("[]").empty());
    const std::pair<std::string, std::string> cases[] = {
        {json::array({tripWith(), tripWith("recipe")}).dump(), "layout 2: \"recipe\" is missing"},
        {doc("id"), "layout 1: \"id\" is missing"},
        {doc("id", "not-a-uuid"), "layout 1: \"id\" is not a UUID"},
        {doc("id", "6F9619FF8B86D011B42D00C04FC964FF"), "layout 1: \"id\" is not a UUID"},
        {doc("id", 7), "layout 1: \"id\" must be a string"},
        {doc("name", false), "layout 1: \"name\" must be a string"},
        {doc("recipe", {{"paper", "A4"}}), "layout 1: recipe: "},
        {"[1]", "layout 1: expected an object"},
        {tripWith().dump(), "expected a JSON array"},
        {"[{", "not valid JSON"}};
    for (const auto& [text, message] : cases) {
        EXPECT_THAT(
            [&] { decodeSavedLayouts(text); },
            ::testing::ThrowsMessage<SavedLayoutsDecodingError>(::testing::HasSubstr(message)))
            << text;
    }
}

TEST(SavedLayouts, TheFileHoldsCompactJsonAndIsReadBackByTheSameRules) {
    namespace fs = std::filesystem;
    const testing::TemporaryFolder folder;
    const fs::path file = folder / "layouts.json";
    EXPECT_TRUE(loadSavedLayouts(file).empty());
    const std::vector<SavedLayout> layouts{
        trip(), {"00000000-0000-0000-0000-0000000000AB", "Trip", recipe(SheetPreset::square)}};
    const std::string text = encodeSavedLayouts(layouts);
    EXPECT_TRUE(
        text.starts_with(std::string(R"([{"id":")") + tripID + R"(","name":"Trip","recipe":{)"))
        << text;
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_FALSE(json::parse(text)[0]["recipe"].contains("captionAlignment"));
    EXPECT_EQ(encodeSavedLayouts({}), "[]");
    std::ofstream(file) << text;
    EXPECT_EQ(loadSavedLayouts(file), layouts);
    // Ids are read in either case and kept upper-case; unknown keys are ignored.
    json element = tripWith("id", "6f9619ff-8b86-d011-b42d-00c04fc964ff");
    element["extra"] = true;
    std::ofstream(file) << json::array({element}).dump();
    EXPECT_EQ(loadSavedLayouts(file), std::vector<SavedLayout>{trip()});
    // A file saved before the print settings existed loads with today's values.
    for (const char* key : {"resolution", "title", "pageNumbers"}) element["recipe"].erase(key);
    std::ofstream(file) << json::array({element}).dump();
    EXPECT_EQ(loadSavedLayouts(file), std::vector<SavedLayout>{trip()});
    std::ofstream(file) << json::array({element, tripWith("id", 1)}).dump();
    EXPECT_TRUE(loadSavedLayouts(file).empty());
    EXPECT_TRUE(loadSavedLayouts(folder.path()).empty());  // a folder, not a file
}

}  // namespace
}  // namespace tessel
