#include "model/RecipeCheck.hpp"

#include <algorithm>

#include "tessel/Layout.hpp"

namespace tessel::app {

std::optional<QString> validationMessage(const SheetRecipe& recipe, std::int64_t itemCount) {
    if (recipe.columns < 1 || recipe.rows < 1)
        return QStringLiteral("Rows and columns must be at least 1.");
    if (recipe.margin < 0 || recipe.spacing < 0)
        return QStringLiteral("Margins and spacing cannot be negative.");
    // Written as negations so that a size that is not a number fails too.
    if (!(recipe.captionFontSize >= 8) || !(recipe.captionFontSize <= 72))
        return QStringLiteral("Caption size must be between 8 and 72 pt.");
    // The title and footer are set at the caption size, so that size is checked first.
    if (const auto problem = TesselRenderer::pageTextMarginProblem(recipe))
        return QString::fromStdString(*problem);
    if (recipe.suffix.find('/') != std::string::npos)
        return QStringLiteral("The filename suffix cannot contain a slash.");
    try {
        if (TesselRenderer::cells(std::max<std::int64_t>(itemCount, 1), recipe).empty())
            return QStringLiteral("The layout leaves no room for images.");
    } catch (...) {
        // Deliberately lenient: the preview's render reports a layout the core refuses.
    }
    return std::nullopt;
}

}  // namespace tessel::app
