#pragma once
/// `SheetRecipe`: the complete description of one sheet job, its derived sizes, the preset
/// recipes and its JSON form. A recipe is never validated or clamped when it is built,
/// changed or decoded; the layout alone clamps or rejects its geometry.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tessel/SheetTypes.hpp"

namespace tessel {

struct SheetRecipe {
    SheetRecipe(SheetPaper paper, SheetOrientation orientation, std::int64_t customWidth,
                std::int64_t customHeight, std::int64_t columns, std::int64_t rows,
                std::int64_t margin, std::int64_t spacing, SheetColor background, SheetFit fit,
                SheetCaption caption, std::optional<SheetCaptionAlignment> captionAlignment,
                double captionFontSize, SheetColor captionColor, SheetOutputFormat output,
                double jpegQuality, std::string suffix);

    SheetPaper paper;
    SheetOrientation orientation;
    std::int64_t customWidth;   ///< raster pixels, read only for `custom` paper
    std::int64_t customHeight;  ///< raster pixels, read only for `custom` paper
    std::int64_t columns;
    std::int64_t rows;
    std::int64_t margin;   ///< raster pixels on all four sides
    std::int64_t spacing;  ///< raster pixels between neighbouring cells
    SheetColor background;
    SheetFit fit;
    SheetCaption caption;
    std::optional<SheetCaptionAlignment> captionAlignment;  ///< absent means centred
    double captionFontSize;                                 ///< raster pixels
    SheetColor captionColor;
    SheetOutputFormat output;
    double jpegQuality;  ///< nominally 0...1
    std::string suffix;  ///< appended to the base name of exported files

    // Print settings: not constructor arguments, so a recipe made as before keeps the pages
    // it always had.

    /// How densely `a4` and `letter` pages are drawn; ignored by pixel canvases.
    SheetResolution resolution = SheetResolution::standard;
    /// One line at the top of every page, in the top margin; none when blank.
    std::string title;
    /// "Page N of M" and the date the sheet was made at the foot of every page.
    bool pageNumbers = false;

    /// max(1, columns) × max(1, rows); aborts the program when the product overflows.
    std::int64_t itemsPerPage() const;
    /// `captionAlignment`, or `center` when it is absent.
    SheetCaptionAlignment effectiveCaptionAlignment() const;
    /// Raster pixels per pixel of the layout's numbers (page, margin, spacing, caption size):
    /// 2 for `a4` and `letter` at `high` resolution, else 1.
    double rasterScale() const;
    /// The density of a paper sheet's raster (150 or 300); nothing for pixel canvases.
    std::optional<std::int64_t> pixelsPerInch() const;
    /// The title without white space at either end; empty when there is none.
    std::string trimmedTitle() const;
    /// The raster page in pixels, orientation and `rasterScale` applied.
    SheetSize pageSize() const;
    /// The PDF page in points, orientation applied. For `custom` paper it uses the raw
    /// custom sides (no 320-pixel floor), so it can differ in aspect from `pageSize`.
    SheetSize pdfPageSize() const;

    /// Field by field; NaN never equals anything; `suffix` under Unicode canonical
    /// equivalence.
    friend bool operator==(const SheetRecipe& a, const SheetRecipe& b);
};

/// A new recipe for the preset.
SheetRecipe recipe(SheetPreset preset);

/// Thrown when a recipe's JSON cannot be decoded; `what()` says which key and why.
class RecipeDecodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The recipe as one compact JSON object with twenty keys (nineteen when the caption
/// alignment is absent).
std::string encodeJSON(const SheetRecipe& recipe);

/// Decodes a recipe from JSON text. Sixteen keys are required; `captionAlignment` may be
/// missing or null (absent), and so may `resolution`, `title` and `pageNumbers` (standard, no
/// title, no page numbers), as recipes written before them are. Unknown keys are ignored,
/// nothing is clamped. Throws `RecipeDecodingError` on malformed JSON, a missing key, a wrong
/// type or an unknown raw value.
SheetRecipe decodeRecipeJSON(std::string_view json);

}  // namespace tessel
