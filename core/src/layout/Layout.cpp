#include "tessel/Layout.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "tessel/TesselError.hpp"

#include "base/Fatal.hpp"

namespace tessel::TesselRenderer {
namespace {

// Fixed constants of the layout.
constexpr double minimumUsableSide = 40;     // usable width and height must exceed this
constexpr double minimumPictureHeight = 20;  // picture height must exceed this
constexpr double captionBandFactor = 1.65;   // band height per unit of caption font size
constexpr double minimumCaptionBand = 24;

std::string pixels(double amount) {
    return std::to_string(std::llround(std::max(amount, 0.0))) + " pixels";
}

// The cause when margins and spacing leave `usable` of a page side of `side` pixels.
TesselError noRoom(const char* direction, double side, double usable) {
    return TesselError::invalidLayout().withCause(
        "Margins and spacing take " + std::to_string(std::llround(side - usable)) + " of the " +
        pixels(side) + " " + direction + " the page, which leaves too little room for the " +
        "pictures.");
}

double captionBand(double fontSize) {
    return std::max(fontSize * captionBandFactor, minimumCaptionBand);
}

SheetRect scaled(const SheetRect& rect, double scale) {
    return {rect.x * scale, rect.y * scale, rect.width * scale, rect.height * scale};
}

}  // namespace

std::vector<SheetCell> cells(std::int64_t itemCount, const SheetRecipe& recipe) {
    if (itemCount < 1) throw TesselError::noImages();

    // Worked out in the recipe's numbers, then scaled: the same sheet at any resolution.
    const double scale = recipe.rasterScale();
    const SheetSize raster = recipe.pageSize();
    const SheetSize page{raster.width / scale, raster.height / scale};
    const std::int64_t columnCount = std::max<std::int64_t>(1, recipe.columns);
    const std::int64_t rowCount = std::max<std::int64_t>(1, recipe.rows);
    std::int64_t perPage = 0;
    if (__builtin_mul_overflow(columnCount, rowCount, &perPage)) detail::fatal("grid overflow");

    const auto nc = static_cast<double>(columnCount);
    const auto nr = static_cast<double>(rowCount);
    const auto m = static_cast<double>(std::max<std::int64_t>(0, recipe.margin));
    const auto s = static_cast<double>(std::max<std::int64_t>(0, recipe.spacing));

    const double usableWidth = page.width - 2 * m - s * (nc - 1);
    const double usableHeight = page.height - 2 * m - s * (nr - 1);
    if (!(usableWidth > minimumUsableSide)) throw noRoom("across", page.width, usableWidth);
    if (!(usableHeight > minimumUsableSide)) throw noRoom("down", page.height, usableHeight);

    const double h = usableHeight / nr;
    const double band =
        recipe.caption == SheetCaption::none ? 0 : captionBand(recipe.captionFontSize);
    const double pictureHeight = h - band;
    if (!(pictureHeight > minimumPictureHeight))
        throw TesselError::invalidLayout().withCause(
            "Each row is " + pixels(h) + " high and its caption takes " + pixels(band) +
            ", which leaves too little room for a picture.");
    const double w = usableWidth / nc;

    std::vector<SheetCell> result;
    result.reserve(static_cast<std::size_t>(itemCount));
    for (std::int64_t i = 0; i < itemCount; ++i) {
        const std::int64_t k = i % perPage;
        const std::int64_t rowIndex = k / columnCount;
        const std::int64_t columnIndex = k % columnCount;
        const auto row = static_cast<double>(rowIndex);
        const auto column = static_cast<double>(columnIndex);
        const double x = m + column * (w + s);
        const double y = (page.height - m) - row * (h + s) - h;

        SheetCell cell;
        cell.page = i / perPage;
        cell.frame = scaled({x, y, w, h}, scale);
        if (band > 0) cell.captionFrame = scaled({x, y, w, band}, scale);
        cell.imageFrame = scaled({x, y + band, w, pictureHeight}, scale);
        result.push_back(cell);
    }
    return result;
}

double marginForPageText(const SheetRecipe& recipe) {
    if (recipe.trimmedTitle().empty() && !recipe.pageNumbers) return 0;
    const double band = captionBand(recipe.captionFontSize);
    return std::isfinite(band) ? band : minimumCaptionBand;
}

std::optional<std::string> pageTextMarginProblem(const SheetRecipe& recipe) {
    const double needed = marginForPageText(recipe);
    if (needed == 0 || static_cast<double>(recipe.margin) >= needed) return std::nullopt;
    const bool title = !recipe.trimmedTitle().empty();
    const std::string what = title && recipe.pageNumbers ? "the title and page numbers"
                             : title                     ? "the title"
                                                         : "page numbers";
    return "The margin must be at least " +
           std::to_string(static_cast<long long>(std::ceil(needed))) + " px for " + what + ".";
}

SheetPageTextFrames pageTextFrames(const SheetRecipe& recipe) {
    const double scale = recipe.rasterScale();
    const SheetSize raster = recipe.pageSize();
    const double height = raster.height / scale;
    const auto m = static_cast<double>(std::max<std::int64_t>(0, recipe.margin));
    const double band = std::min(marginForPageText(recipe), m);
    // Centred in its margin; the text's baseline then sits as it does in a caption band.
    const double inset = (m - band) / 2;
    const double width = std::max(0.0, raster.width / scale - 2 * m);
    SheetPageTextFrames frames;
    if (!recipe.trimmedTitle().empty())
        frames.title = scaled({m, height - m + inset, width, band}, scale);
    if (recipe.pageNumbers) frames.footer = scaled({m, inset, width, band}, scale);
    return frames;
}

}  // namespace tessel::TesselRenderer
