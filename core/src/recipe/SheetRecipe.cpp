#include "tessel/SheetRecipe.hpp"

#include <algorithm>
#include <utility>

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include "base/Fatal.hpp"

namespace tessel {

SheetRecipe::SheetRecipe(SheetPaper paper_, SheetOrientation orientation_,
                         std::int64_t customWidth_, std::int64_t customHeight_,
                         std::int64_t columns_, std::int64_t rows_, std::int64_t margin_,
                         std::int64_t spacing_, SheetColor background_, SheetFit fit_,
                         SheetCaption caption_,
                         std::optional<SheetCaptionAlignment> captionAlignment_,
                         double captionFontSize_, SheetColor captionColor_,
                         SheetOutputFormat output_, double jpegQuality_, std::string suffix_)
    : paper(paper_),
      orientation(orientation_),
      customWidth(customWidth_),
      customHeight(customHeight_),
      columns(columns_),
      rows(rows_),
      margin(margin_),
      spacing(spacing_),
      background(background_),
      fit(fit_),
      caption(caption_),
      captionAlignment(captionAlignment_),
      captionFontSize(captionFontSize_),
      captionColor(captionColor_),
      output(output_),
      jpegQuality(jpegQuality_),
      suffix(std::move(suffix_)) {}

std::int64_t SheetRecipe::itemsPerPage() const {
    std::int64_t product = 0;
    if (__builtin_mul_overflow(std::max<std::int64_t>(1, columns), std::max<std::int64_t>(1, rows),
                               &product))
        detail::fatal("items per page overflow");
    return product;
}

SheetCaptionAlignment SheetRecipe::effectiveCaptionAlignment() const {
    return captionAlignment.value_or(SheetCaptionAlignment::center);
}

namespace {

SheetSize oriented(SheetSize size, SheetOrientation orientation) {
    // Landscape swaps the sides whichever is longer, so a wide custom page turns tall.
    if (orientation == SheetOrientation::landscape) return {size.height, size.width};
    return size;
}

}  // namespace

namespace {

constexpr std::int64_t standardPixelsPerInch = 150;

bool isPaper(SheetPaper paper) { return paper == SheetPaper::a4 || paper == SheetPaper::letter; }

}  // namespace

double SheetRecipe::rasterScale() const {
    return isPaper(paper) && resolution == SheetResolution::high ? 2 : 1;
}

std::optional<std::int64_t> SheetRecipe::pixelsPerInch() const {
    if (!isPaper(paper)) return std::nullopt;
    return static_cast<std::int64_t>(standardPixelsPerInch * rasterScale());
}

std::string SheetRecipe::trimmedTitle() const {
    constexpr const char* blanks = " \t\n\v\f\r";
    const auto first = title.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    return title.substr(first, title.find_last_not_of(blanks) - first + 1);
}

SheetSize SheetRecipe::pageSize() const {
    SheetSize size;
    switch (paper) {
        case SheetPaper::a4: size = {1240, 1754}; break;
        case SheetPaper::letter: size = {1275, 1650}; break;
        case SheetPaper::square: size = {1600, 1600}; break;
        case SheetPaper::hd: size = {1080, 1920}; break;
        case SheetPaper::custom:
            size = {static_cast<double>(std::max<std::int64_t>(320, customWidth)),
                    static_cast<double>(std::max<std::int64_t>(320, customHeight))};
            break;
    }
    const double scale = rasterScale();
    return oriented({size.width * scale, size.height * scale}, orientation);
}

SheetSize SheetRecipe::pdfPageSize() const {
    SheetSize size;
    switch (paper) {
        case SheetPaper::a4: size = {595.28, 841.89}; break;
        case SheetPaper::letter: size = {612, 792}; break;
        case SheetPaper::square: size = {720, 720}; break;
        case SheetPaper::hd: size = {405, 720}; break;
        case SheetPaper::custom: {
            // The raw sides, without the raster's 320-pixel floor: only the divisor is raised.
            const auto w = static_cast<double>(customWidth);
            const auto h = static_cast<double>(customHeight);
            if (customHeight >= customWidth)
                size = {w * 792 / static_cast<double>(std::max<std::int64_t>(customHeight, 1)),
                        792};
            else
                size = {792, h * 792 / static_cast<double>(std::max<std::int64_t>(customWidth, 1))};
            break;
        }
    }
    return oriented(size, orientation);
}

namespace {

bool canonicallyEqual(const std::string& a, const std::string& b) {
    if (a == b) return true;
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status)) return false;
    const icu::UnicodeString left = nfd->normalize(icu::UnicodeString::fromUTF8(a), status);
    const icu::UnicodeString right = nfd->normalize(icu::UnicodeString::fromUTF8(b), status);
    return U_SUCCESS(status) && left == right;
}

}  // namespace

bool operator==(const SheetRecipe& a, const SheetRecipe& b) {
    return a.paper == b.paper && a.orientation == b.orientation && a.customWidth == b.customWidth &&
           a.customHeight == b.customHeight && a.columns == b.columns && a.rows == b.rows &&
           a.margin == b.margin && a.spacing == b.spacing && a.background == b.background &&
           a.fit == b.fit && a.caption == b.caption && a.captionAlignment == b.captionAlignment &&
           a.captionFontSize == b.captionFontSize && a.captionColor == b.captionColor &&
           a.output == b.output && a.jpegQuality == b.jpegQuality &&
           canonicallyEqual(a.suffix, b.suffix) && a.resolution == b.resolution &&
           canonicallyEqual(a.title, b.title) && a.pageNumbers == b.pageNumbers;
}

SheetRecipe recipe(SheetPreset preset) {
    struct Row {
        SheetPaper paper;
        SheetOrientation orientation;
        std::int64_t columns, rows, margin, spacing;
        SheetCaption caption;
        double captionFontSize;
    };
    auto row = [&]() -> Row {
        switch (preset) {
            case SheetPreset::contact:
                return {SheetPaper::a4,
                        SheetOrientation::portrait,
                        3,
                        4,
                        72,
                        28,
                        SheetCaption::filename,
                        18};
            case SheetPreset::portfolio:
                return {SheetPaper::a4,
                        SheetOrientation::portrait,
                        2,
                        3,
                        90,
                        38,
                        SheetCaption::filenameAndDate,
                        20};
            case SheetPreset::proof:
                return {SheetPaper::a4,
                        SheetOrientation::landscape,
                        5,
                        4,
                        55,
                        18,
                        SheetCaption::filename,
                        14};
            case SheetPreset::square:
                return {SheetPaper::square,
                        SheetOrientation::portrait,
                        3,
                        3,
                        64,
                        24,
                        SheetCaption::none,
                        18};
        }
        detail::fatal("unknown preset");
    }();
    return {row.paper,
            row.orientation,
            2480,
            3508,
            row.columns,
            row.rows,
            row.margin,
            row.spacing,
            SheetColor::white(),
            SheetFit::fit,
            row.caption,
            SheetCaptionAlignment::center,
            row.captionFontSize,
            SheetColor::black(),
            SheetOutputFormat::pdf,
            0.9,
            "-sheet"};
}

}  // namespace tessel
