#pragma once
/// Saved layouts: named recipes kept by the user beside the four presets, and their file.

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/SheetRecipe.hpp"

namespace tessel {

/// One saved layout: a name and a full copy of a recipe.
struct SavedLayout {
    /// A UUID in its 36-character upper-case text form.
    std::string id;
    /// The name as the user typed it, trimmed.
    std::string name;
    SheetRecipe recipe;

    /// All three fields equal (the recipe by its own equality).
    friend bool operator==(const SavedLayout&, const SavedLayout&) = default;
};

/// Thrown when a layouts document cannot be decoded; `what()` says which element and why.
class SavedLayoutsDecodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Decodes a JSON array of saved layouts, each an object with "id" (a UUID), "name" and
/// "recipe" (a recipe's JSON form); unknown keys are ignored and ids are returned upper-case.
/// All or nothing: throws `SavedLayoutsDecodingError` when the text is not a JSON array or any
/// element is malformed.
std::vector<SavedLayout> decodeSavedLayouts(std::string_view json);

/// The layouts as one compact JSON array of objects with the keys id, name and recipe, in
/// list order; an empty list is "[]".
std::string encodeSavedLayouts(const std::vector<SavedLayout>& layouts);

/// The layouts file: `$XDG_DATA_HOME` (or `~/.local/share` when it is unset, empty or not an
/// absolute path) + "/Orvane Tessel/layouts.json".
std::filesystem::path layoutsFileLocation();

/// The layouts stored in `file`; empty when it cannot be read or decoded. Never throws.
std::vector<SavedLayout> loadSavedLayouts(const std::filesystem::path& file);

/// Rewrites `file` whole with `layouts` (`encodeSavedLayouts`), creating its folder when
/// missing. The text goes to a temporary file beside it that then replaces `file` in one step,
/// so a reader sees the old list or the new one, never a mix. False when the folder cannot be
/// made or the file cannot be written; the old file is then unchanged. Never throws.
bool saveSavedLayouts(const std::filesystem::path& file, const std::vector<SavedLayout>& layouts);

}  // namespace tessel
