#pragma once
/// Page layout: turns an item count and a recipe into one cell per item.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tessel/SheetRecipe.hpp"

namespace tessel {

/// One laid-out cell, in raster pixels of the page with the origin at the bottom-left.
struct SheetCell {
    std::int64_t page = 0;                  ///< zero-based page index
    SheetRect frame;                        ///< the whole cell
    SheetRect imageFrame;                   ///< the picture area above the caption band
    std::optional<SheetRect> captionFrame;  ///< the caption band; absent for `none` captions

    friend bool operator==(const SheetCell&, const SheetCell&) = default;
};

/// Where a page's title and footer go, in raster pixels of the page (origin bottom-left).
struct SheetPageTextFrames {
    std::optional<SheetRect> title;   ///< in the top margin; absent without a title
    std::optional<SheetRect> footer;  ///< in the bottom margin; absent without page numbers

    friend bool operator==(const SheetPageTextFrames&, const SheetPageTextFrames&) = default;
};

namespace TesselRenderer {

/// One cell per item, in item order, filling each page row by row from the top left. The
/// layout is worked out in the recipe's own numbers and scaled by its `rasterScale`, so a
/// sheet at high resolution has the same cells at twice the size.
/// Throws `TesselError::noImages` when `itemCount` < 1 and `TesselError::invalidLayout` when
/// the usable area is not above 40 pixels both ways or the picture height not above 20
/// (in the recipe's numbers).
std::vector<SheetCell> cells(std::int64_t itemCount, const SheetRecipe& recipe);

/// The margin, in the recipe's numbers, that the title and the footer need: the height of a
/// caption band at the caption size (1.65 times it, at least 24); 0 when the recipe asks for
/// neither.
double marginForPageText(const SheetRecipe& recipe);

/// Why the recipe's margin cannot hold the title and footer it asks for, as the window and
/// the command line say it: "The margin must be at least {n} px for the title." (or "for page
/// numbers.", "for the title and page numbers."), n the band's height rounded up. Nothing
/// when it can.
std::optional<std::string> pageTextMarginProblem(const SheetRecipe& recipe);

/// The title's and the footer's bands: as high as `marginForPageText`, centred in the top
/// and bottom margins and as wide as the grid, so they never reach a cell. A band that the
/// margin cannot hold is clipped to the margin.
SheetPageTextFrames pageTextFrames(const SheetRecipe& recipe);

}  // namespace TesselRenderer
}  // namespace tessel
