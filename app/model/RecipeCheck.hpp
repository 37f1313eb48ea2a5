#pragma once
/// What the model checks in a recipe before it previews or exports it.

#include <QString>
#include <cstdint>
#include <optional>

#include "tessel/SheetRecipe.hpp"

namespace tessel::app {

/// The first problem of `recipe` for a sheet of `itemCount` images (0 counts as 1), tested in
/// this order: columns, rows, margin, spacing, caption size (8 to 72, also when captions are
/// off; not a number fails), a margin too small for the title and page numbers, a slash in
/// the suffix, and a layout without any cell. A layout
/// that the core rejects outright gives no message: the render reports it.
std::optional<QString> validationMessage(const SheetRecipe& recipe, std::int64_t itemCount);

}  // namespace tessel::app
