#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tessel/SavedLayouts.hpp"

namespace tessel {
namespace {

using nlohmann::json;

constexpr const char* tripID = "6F9619FF-8B86-D011-B42D-00C04FC964FF";

SavedLayout trip() {
    SheetRecipe r = recipe(SheetPreset::proof);
    r.output = SheetOutputFormat::png;
    r.suffix = "-web";
    r.captionAlignment = std::nullopt;
    return {tripID, "Trip", r};
}

json layoutJSON() { return json::parse(encodeSavedLayouts({trip()}))[0]; }

TEST(SavedLayouts, RoundTripInOrder) {
    SavedLayout second{"00000000-0000-0000-0000-0000000000AB", "Trip", recipe(SheetPreset::square)};
    const std::vector<SavedLayout> layouts{trip(), second};
    EXPECT_EQ(decodeSavedLayouts(encodeSavedLayouts(layouts)), layouts);
    EXPECT_EQ(encodeSavedLayouts({}), "[]");
    EXPECT_TRUE(decodeSavedLayouts("[]").empty());
}

TEST(SavedLayouts, EncodesCompactlyWithIdNameRecipe) {
    const std::string text = encodeSavedLayouts({trip()});
    EXPECT_EQ(
        text.rfind(std::string("[{\"id\":\"") + tripID + "\",\"name\":\"Trip\",\"recipe\":{", 0),
        0u)
        << text;
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_FALSE(layoutJSON()["recipe"].contains("captionAlignment"));
}

TEST(SavedLayouts, IdsAreReadInEitherCaseAndKeptUpperCase) {
    json element = layoutJSON();
    element["id"] = "6f9619ff-8b86-d011-b42d-00c04fc964ff";
    element["extra"] = true;  // unknown keys are ignored
    const auto layouts = decodeSavedLayouts(json::array({element}).dump());
    ASSERT_EQ(layouts.size(), 1u);
    EXPECT_EQ(layouts[0].id, tripID);
    EXPECT_EQ(layouts[0], trip());
}

TEST(SavedLayouts, AnyBadElementFailsTheWholeDocument) {
    const json good = layoutJSON();
    const auto without = [&](const char* key) {
        json e = good;
        e.erase(key);
        return e;
    };
    const auto with = [&](const char* key, json value) {
        json e = good;
        e[key] = std::move(value);
        return e;
    };
    const std::pair<std::string, std::string> cases[] = {
        {json::array({good, without("recipe")}).dump(), "layout 2: \"recipe\" is missing"},
        {json::array({without("id")}).dump(), "layout 1: \"id\" is missing"},
        {json::array({with("id", "not-a-uuid")}).dump(), "layout 1: \"id\" is not a UUID"},
        {json::array({with("id", "6F9619FF8B86D011B42D00C04FC964FF")}).dump(),
         "layout 1: \"id\" is not a UUID"},
        {json::array({with("id", 7)}).dump(), "layout 1: \"id\" must be a string"},
        {json::array({with("name", nullptr)}).dump(), "layout 1: \"name\" must be a string"},
        {json::array({with("recipe", json{{"paper", "A4"}})}).dump(), "layout 1: recipe: "},
        {json::array({1}).dump(), "layout 1: expected an object"},
        {good.dump(), "expected a JSON array"},
        {"[{", "not valid JSON"},
    };
    for (const auto& [text, message] : cases) {
        try {
            decodeSavedLayouts(text);
            ADD_FAILURE() << "decoded: " << text;
        } catch (const SavedLayoutsDecodingError& e) {
            EXPECT_NE(std::string(e.what()).find(message), std::string::npos)
                << e.what() << " / expected " << message;
        }
    }
}

class Environment {
public:
    Environment(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) old_ = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~Environment() {
        if (old_)
            setenv(name_, old_->c_str(), 1);
        else
            unsetenv(name_);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    const char* name_;
    std::optional<std::string> old_;
};

TEST(SavedLayouts, FileLocationFollowsXdgDataHome) {
    Environment home("HOME", "/home/ann");
    {
        Environment data("XDG_DATA_HOME", "/data/ann");
        EXPECT_EQ(layoutsFileLocation(), "/data/ann/Orvane Tessel/layouts.json");
    }
    for (const char* unusable : {static_cast<const char*>(nullptr), "", "relative/data"}) {
        Environment data("XDG_DATA_HOME", unusable);
        EXPECT_EQ(layoutsFileLocation(), "/home/ann/.local/share/Orvane Tessel/layouts.json");
    }
}

TEST(SavedLayouts, LoadingIsEmptyWhenTheFileIsMissingOrDamaged) {
    namespace fs = std::filesystem;
    std::string pattern = (fs::temp_directory_path() / "tessel-layouts-XXXXXX").string();
    const fs::path folder = mkdtemp(pattern.data());
    const fs::path file = folder / "layouts.json";

    EXPECT_TRUE(loadSavedLayouts(file).empty());
    std::ofstream(file) << encodeSavedLayouts({trip()});
    EXPECT_EQ(loadSavedLayouts(file), std::vector<SavedLayout>{trip()});
    std::ofstream(file) << "[" << layoutJSON().dump() << ", {\"id\": 1}]";
    EXPECT_TRUE(loadSavedLayouts(file).empty());
    EXPECT_TRUE(loadSavedLayouts(folder).empty());  // a folder, not a file
    fs::remove_all(folder);
}

}  // namespace
}  // namespace tessel
