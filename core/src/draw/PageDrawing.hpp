#pragma once
// Drawing one page of a sheet: background, each cell's picture and its caption.

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

/// Draws a decoded picture into its cell and, when the cell has a band, the caption of the
/// recipe's mode under it.
void drawCell(PageCanvas& page, const SheetInput& input, const SheetCell& cell,
              const Bitmap& picture, const SheetRecipe& recipe);

/// The caption of `input` for `mode`: name (file name without extension), "W × H",
/// the capture date in the medium style or "Date unavailable", the camera model or
/// "Camera unavailable", joined by " · " where the mode combines two.
std::string captionText(const SheetInput& input, SheetCaption mode);

}  // namespace tessel::detail
