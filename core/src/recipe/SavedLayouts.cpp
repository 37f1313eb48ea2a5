#include "tessel/SavedLayouts.hpp"

#include <system_error>

#include <nlohmann/json.hpp>

#include "tessel/Files.hpp"

#include "base/AtomicFile.hpp"
#include "base/Files.hpp"
#include "base/Uuid.hpp"
#include "recipe/RecipeJson.hpp"

namespace tessel {
namespace {

using nlohmann::json;

[[noreturn]] void fail(std::size_t index, const std::string& problem) {
    throw SavedLayoutsDecodingError("layout " + std::to_string(index + 1) + ": " + problem);
}

const json& member(const json& object, std::size_t index, const char* key) {
    const auto it = object.find(key);
    if (it == object.end()) fail(index, std::string("\"") + key + "\" is missing");
    return *it;
}

SavedLayout layoutFromJSON(const json& object, std::size_t index) {
    if (!object.is_object()) fail(index, "expected an object");
    const json& id = member(object, index, "id");
    if (!id.is_string()) fail(index, "\"id\" must be a string");
    auto canonicalID = detail::canonicalUUIDString(id.get_ref<const std::string&>());
    if (!canonicalID) fail(index, "\"id\" is not a UUID");
    const json& name = member(object, index, "name");
    if (!name.is_string()) fail(index, "\"name\" must be a string");
    try {
        return {std::move(*canonicalID), name.get<std::string>(),
                detail::recipeFromJSON(member(object, index, "recipe"))};
    } catch (const RecipeDecodingError& e) {
        fail(index, std::string("recipe: ") + e.what());
    }
}

std::string upperASCII(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

}  // namespace

std::vector<SavedLayout> decodeSavedLayouts(std::string_view text) {
    json document;
    try {
        document = json::parse(text);
    } catch (const json::exception& e) {
        throw SavedLayoutsDecodingError(std::string("not valid JSON: ") + e.what());
    }
    if (!document.is_array()) throw SavedLayoutsDecodingError("expected a JSON array of layouts");
    std::vector<SavedLayout> layouts;
    layouts.reserve(document.size());
    for (std::size_t i = 0; i < document.size(); ++i)
        layouts.push_back(layoutFromJSON(document[i], i));
    return layouts;
}

std::string encodeSavedLayouts(const std::vector<SavedLayout>& layouts) {
    json array = json::array();
    for (const SavedLayout& layout : layouts) {
        // nlohmann objects keep their keys sorted, which is the order id, name, recipe.
        array.push_back(json{{"id", upperASCII(layout.id)},
                             {"name", layout.name},
                             {"recipe", detail::recipeToJSON(layout.recipe)}});
    }
    // Names and suffixes typed by a user may hold bytes that are not UTF-8; they must not
    // stop a save.
    return array.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::filesystem::path layoutsFileLocation() {
    return detail::userDataFolder() / "Orvane Tessel" / "layouts.json";
}

std::vector<SavedLayout> loadSavedLayouts(const std::filesystem::path& file) {
    std::error_code error;
    const std::string text = readFile(file, error);
    if (error) return {};
    try {
        return decodeSavedLayouts(text);
    } catch (const SavedLayoutsDecodingError&) {
        return {};
    }
}

bool saveSavedLayouts(const std::filesystem::path& file, const std::vector<SavedLayout>& layouts) {
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    if (error) return false;
    const std::string text = encodeSavedLayouts(layouts);
    try {
        detail::AtomicFile replacement(file, detail::AtomicFile::Publishing::replacing);
        replacement.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
        replacement.publishReplacing();
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace tessel
