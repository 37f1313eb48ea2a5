#pragma once
// Drawing one page of a sheet: background, each cell's picture and its caption.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tessel/Inspection.hpp"
#include "tessel/Layout.hpp"
#include "tessel/SheetRecipe.hpp"

#include "base/Bitmap.hpp"
#include "draw/PageCanvas.hpp"

namespace tessel::detail {

/// The blank page of `recipe`: `pageSize` with fractions dropped, filled with the background.
/// Throws `TesselError::cannotCreateContext`.
std::unique_ptr<PageCanvas> makePage(const SheetRecipe& recipe);

/// A caption's style in `recipe`: its size at the raster's scale, its colour and alignment.
TextStyle captionStyle(const SheetRecipe& recipe);

/// Which page of how many is drawn, and when the sheet was made, for its footer.
struct PageNumber {
    std::int64_t index = 0;  ///< from 0, in the whole sheet
    std::int64_t count = 1;  ///< pages of the whole sheet
    std::chrono::system_clock::time_point madeAt;
};

/// Draws the recipe's title, centred in the top margin, and with page numbers the footer in
/// the bottom margin: the date `page` was made (medium style) at the left, "Page N of M" at
/// the right. Both in the caption's font, size and colour, within `pageTextFrames`.
void drawPageText(PageCanvas& canvas, const SheetRecipe& recipe, const PageNumber& page);

/// Draws a decoded picture into its cell and, when the cell has a band, the caption of the
/// recipe's mode under it.
void drawCell(PageCanvas& page, const SheetInput& input, const SheetCell& cell,
              const Bitmap& picture, const SheetRecipe& recipe);

/// The caption of `input` for `mode`: name (file name without extension), "W × H",
/// the capture date in the medium style or "Date unavailable", the camera model or
/// "Camera unavailable", joined by " · " where the mode combines two.
std::string captionText(const SheetInput& input, SheetCaption mode);

}  // namespace tessel::detail
