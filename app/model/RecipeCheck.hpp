#pragma once
/// What the model checks in a recipe before it previews or exports it.

#include <QString>
#include <cstdint>
#include <optional>

#include "tessel/SheetRecipe.hpp"

namespace tessel::app {

/// The first problem of `recipe` for a sheet of `itemCount` images (0 counts as 1): the core's
/// `recipeProblem` (the ranges of the grid, margin, spacing, caption size and custom page, a
/// margin too small for the title and page numbers, a slash in the suffix), then a layout
/// without any cell. A layout that the core rejects outright gives no message: the render
/// reports it.
std::optional<QString> validationMessage(const SheetRecipe& recipe, std::int64_t itemCount);

}  // namespace tessel::app
