#include "draw/PageDrawing.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "tessel/TesselError.hpp"

#include "base/Fatal.hpp"
#include "decode/Decode.hpp"
#include "draw/CaptionDate.hpp"

namespace tessel::detail {
namespace {

// Doubles at or above 2^63 do not fit a signed 64-bit integer.
constexpr double int64Limit = 9223372036854775808.0;

std::int64_t wholePixels(double value, const char* what) {
    if (!std::isfinite(value) || value >= int64Limit || value <= -int64Limit) fatal(what);
    return static_cast<std::int64_t>(value);
}

std::string fileName(const SheetInput& input) { return input.url.filename().string(); }

}  // namespace

std::int64_t decodeSize(const SheetRect& imageFrame) {
    const double longer = std::max(imageFrame.width, imageFrame.height) * 2.2;
    return std::max<std::int64_t>(1, wholePixels(longer, "decode size out of range"));
}

Bitmap decodeForCell(const SheetInput& input, const SheetCell& cell) {
    auto picture = decodeUpright(input.url, decodeSize(cell.imageFrame));
    if (!picture) throw TesselError::cannotRead(fileName(input));
    return std::move(*picture);
}

std::unique_ptr<PageCanvas> makePage(const SheetRecipe& recipe) {
    const SheetSize size = recipe.pageSize();
    return std::make_unique<PageCanvas>(wholePixels(size.width, "page size out of range"),
                                        wholePixels(size.height, "page size out of range"),
                                        recipe.background);
}

void drawCell(PageCanvas& page, const SheetInput& input, const SheetCell& cell,
              const Bitmap& picture, const SheetRecipe& recipe) {
    page.drawImage(picture, cell.imageFrame, recipe.fit);
    if (cell.captionFrame)
        page.drawCaption(captionText(input, recipe.caption), *cell.captionFrame, recipe);
}

Bitmap renderPage(std::int64_t pageIndex, const std::vector<SheetInput>& inputs,
                  const std::vector<SheetCell>& cells, const SheetRecipe& recipe) {
    if (inputs.size() < cells.size()) fatal("fewer inputs than cells");
    auto page = makePage(recipe);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (cells[i].page != pageIndex) continue;
        // Each picture is released as soon as it is drawn.
        const Bitmap picture = decodeForCell(inputs[i], cells[i]);
        drawCell(*page, inputs[i], cells[i], picture, recipe);
    }
    return page->finish();
}

std::string captionText(const SheetInput& input, SheetCaption mode) {
    const auto name = [&] { return input.url.filename().stem().string(); };
    const auto dimensions = [&] {
        return std::to_string(input.info.width) + " \u00D7 " + std::to_string(input.info.height);
    };
    const auto date = [&] {
        return input.info.dateTaken ? formatCaptionDate(*input.info.dateTaken)
                                    : std::string("Date unavailable");
    };
    const auto camera = [&] {
        return input.info.cameraModel ? *input.info.cameraModel : std::string("Camera unavailable");
    };
    const std::string separator = " \u00B7 ";
    switch (mode) {
        case SheetCaption::none: return {};
        case SheetCaption::filename: return name();
        case SheetCaption::date: return date();
        case SheetCaption::dimensions: return dimensions();
        case SheetCaption::camera: return camera();
        case SheetCaption::filenameAndDate: return name() + separator + date();
        case SheetCaption::details: return name() + separator + dimensions();
    }
    return {};
}

}  // namespace tessel::detail
