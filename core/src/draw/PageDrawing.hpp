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

/// The longest side, in pixels, at which a picture for `imageFrame` is decoded: 2.2 times
/// the frame's longer side, fraction dropped, at least 1.
std::int64_t decodeSize(const SheetRect& imageFrame);

/// The upright, bounded picture for `cell`. Throws `TesselError::cannotRead` with the file's
/// name (extension included) when it cannot be decoded.
Bitmap decodeForCell(const SheetInput& input, const SheetCell& cell);

/// The blank page of `recipe`: `pageSize` with fractions dropped, filled with the background.
/// Throws `TesselError::cannotCreateContext`.
std::unique_ptr<PageCanvas> makePage(const SheetRecipe& recipe);

/// Draws a decoded picture into its cell and, when the cell has a band, the caption of the
/// recipe's mode under it.
void drawCell(PageCanvas& page, const SheetInput& input, const SheetCell& cell,
              const Bitmap& picture, const SheetRecipe& recipe);

/// Draws page `pageIndex`: the cells of that page in order, cell i showing `inputs[i]`.
/// Throws `TesselError::cannotRead` for the first file that cannot be decoded and
/// `TesselError::cannotCreateContext` when the page cannot be made.
Bitmap renderPage(std::int64_t pageIndex, const std::vector<SheetInput>& inputs,
                  const std::vector<SheetCell>& cells, const SheetRecipe& recipe);

/// The caption of `input` for `mode`: name (file name without extension), "W × H",
/// the capture date in the medium style or "Date unavailable", the camera model or
/// "Camera unavailable", joined by " · " where the mode combines two.
std::string captionText(const SheetInput& input, SheetCaption mode);

}  // namespace tessel::detail
