#pragma once
/// Page layout: turns an item count and a recipe into one cell per item.

#include <cstdint>
#include <optional>
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

namespace TesselRenderer {

/// One cell per item, in item order, filling each page row by row from the top left.
/// Throws `TesselError::noImages` when `itemCount` < 1 and `TesselError::invalidLayout` when
/// the usable area is not above 40 pixels both ways or the picture height not above 20.
std::vector<SheetCell> cells(std::int64_t itemCount, const SheetRecipe& recipe);

}  // namespace TesselRenderer
}  // namespace tessel
