#pragma once
// The JSON form of a recipe as nlohmann values, for documents that embed recipes.

#include <nlohmann/json.hpp>

#include "tessel/SheetRecipe.hpp"

namespace tessel::detail {

nlohmann::json recipeToJSON(const SheetRecipe& recipe);

/// Throws `RecipeDecodingError` naming the key and the problem.
SheetRecipe recipeFromJSON(const nlohmann::json& object);

}  // namespace tessel::detail
