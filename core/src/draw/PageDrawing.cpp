#include "draw/PageDrawing.hpp"

#include "base/Fatal.hpp"
#include "draw/CaptionDate.hpp"

namespace tessel::detail {

std::unique_ptr<PageCanvas> makePage(const SheetRecipe& recipe) {
    const SheetSize size = recipe.pageSize();
    return std::make_unique<PageCanvas>(wholePart(size.width, "page size out of range"),
                                        wholePart(size.height, "page size out of range"),
                                        recipe.background);
}

void drawCell(PageCanvas& page, const SheetInput& input, const SheetCell& cell,
              const Bitmap& picture, const SheetRecipe& recipe) {
    page.drawImage(picture, cell.imageFrame, recipe.fit);
    if (cell.captionFrame)
        page.drawCaption(captionText(input, recipe.caption), *cell.captionFrame, recipe);
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
