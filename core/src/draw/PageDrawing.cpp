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

TextStyle captionStyle(const SheetRecipe& recipe) {
    return {recipe.captionFontSize * recipe.rasterScale(), recipe.captionColor,
            recipe.effectiveCaptionAlignment()};
}

void drawPageText(PageCanvas& canvas, const SheetRecipe& recipe, const PageNumber& page) {
    const SheetPageTextFrames frames = TesselRenderer::pageTextFrames(recipe);
    TextStyle style = captionStyle(recipe);
    if (frames.title) {
        // One line: breaks and tabs in a title typed elsewhere are spaces.
        std::string title = recipe.trimmedTitle();
        for (char& c : title)
            if (c == '\n' || c == '\r' || c == '\t' || c == '\v' || c == '\f') c = ' ';
        style.alignment = SheetCaptionAlignment::center;
        canvas.drawText(title, *frames.title, style);
    }
    if (frames.footer) {
        // Each half of the band holds one of the two, so they never run into each other.
        SheetRect half = *frames.footer;
        half.width /= 2;
        style.alignment = SheetCaptionAlignment::left;
        canvas.drawText(formatCaptionDate(page.madeAt), half, style);
        half.x += half.width;
        style.alignment = SheetCaptionAlignment::right;
        canvas.drawText(
            "Page " + std::to_string(page.index + 1) + " of " + std::to_string(page.count), half,
            style);
    }
}

void drawCell(PageCanvas& page, const SheetInput& input, const SheetCell& cell,
              const Bitmap& picture, const SheetRecipe& recipe) {
    page.drawImage(picture, cell.imageFrame, recipe.fit);
    if (cell.captionFrame)
        page.drawText(captionText(input, recipe.caption), *cell.captionFrame, captionStyle(recipe));
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
