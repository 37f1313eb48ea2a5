#pragma once
/// The ranges a recipe keeps to, in one place: the window's controls and its validation
/// message, the command line's options and the recipes and saved layouts it reads all take
/// them from here. A recipe outside them is still a value (decoding never refuses one); it is
/// refused where it would be used.

#include <cstdint>
#include <optional>
#include <string>

#include "tessel/SheetRecipe.hpp"

namespace tessel {

namespace RecipeLimits {

/// Columns and rows: 1 up to this.
inline constexpr std::int64_t largestGrid = 1000;
/// Margin and spacing (from 0) and a custom page's sides (from 1), in pixels.
inline constexpr std::int64_t largestLength = 30000;
/// The caption's size in points.
inline constexpr double smallestCaptionSize = 8;
inline constexpr double largestCaptionSize = 72;

}  // namespace RecipeLimits

/// What is wrong with a recipe.
struct RecipeProblem {
    std::string key;      ///< the field, as its JSON key ("columns")
    std::string range;    ///< what it must be, in words ("from 1 to 1000")
    std::string value;    ///< what it is
    std::string message;  ///< the sentence the window shows under the options

    friend bool operator==(const RecipeProblem&, const RecipeProblem&) = default;
};

/// The first problem of `recipe`, tested in this order: columns, rows, margin, spacing, the
/// caption's size (also when captions are off; a size that is not a number fails), a margin
/// too small for the title and page numbers asked for, a slash in the filename suffix, and a
/// custom page's sides (only for custom paper). Whether the layout
/// leaves room for pictures is the layout's to say. Nothing when every field is in range.
std::optional<RecipeProblem> recipeProblem(const SheetRecipe& recipe);

}  // namespace tessel
