#include "tessel/RecipeLimits.hpp"

#include <cmath>
#include <sstream>

#include "tessel/Layout.hpp"

namespace tessel {
namespace {

std::string numberText(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

std::string fromTo(std::int64_t low, std::int64_t high) {
    return "from " + std::to_string(low) + " to " + std::to_string(high);
}

}  // namespace

std::optional<RecipeProblem> recipeProblem(const SheetRecipe& recipe) {
    using namespace RecipeLimits;
    const std::string gridRange = fromTo(1, largestGrid);
    for (const auto& [key, value] : {std::pair{"columns", recipe.columns}, {"rows", recipe.rows}}) {
        if (value < 1)
            return RecipeProblem{key, gridRange, std::to_string(value),
                                 "Rows and columns must be at least 1."};
        if (value > largestGrid)
            return RecipeProblem{
                key, gridRange, std::to_string(value),
                "Rows and columns must be at most " + std::to_string(largestGrid) + "."};
    }
    const std::string lengthRange = fromTo(0, largestLength);
    for (const auto& [key, value] :
         {std::pair{"margin", recipe.margin}, {"spacing", recipe.spacing}}) {
        if (value < 0)
            return RecipeProblem{key, lengthRange, std::to_string(value),
                                 "Margins and spacing cannot be negative."};
        if (value > largestLength)
            return RecipeProblem{
                key, lengthRange, std::to_string(value),
                "Margins and spacing must be at most " + std::to_string(largestLength) + " px."};
    }
    // Written as a negation so that a size that is not a number fails too.
    if (!(recipe.captionFontSize >= smallestCaptionSize &&
          recipe.captionFontSize <= largestCaptionSize))
        return RecipeProblem{"captionFontSize", "from 8 to 72", numberText(recipe.captionFontSize),
                             "Caption size must be between 8 and 72 pt."};
    // The title and the footer are set at the caption's size, so that is checked first.
    if (const std::optional<std::string> message = TesselRenderer::pageTextMarginProblem(recipe))
        return RecipeProblem{"margin",
                             "at least " +
                                 numberText(std::ceil(TesselRenderer::marginForPageText(recipe))) +
                                 " for the title and page numbers asked for",
                             std::to_string(recipe.margin), *message};
    if (recipe.suffix.find('/') != std::string::npos)
        return RecipeProblem{"suffix", "without a slash", recipe.suffix,
                             "The filename suffix cannot contain a slash."};
    if (recipe.paper == SheetPaper::custom) {
        const std::string sideRange = fromTo(1, largestLength);
        for (const auto& [key, value] :
             {std::pair{"customWidth", recipe.customWidth}, {"customHeight", recipe.customHeight}})
            if (value < 1 || value > largestLength)
                return RecipeProblem{key, sideRange, std::to_string(value),
                                     "A custom page must be from 1 to " +
                                         std::to_string(largestLength) + " pixels each way."};
    }
    return std::nullopt;
}

}  // namespace tessel
