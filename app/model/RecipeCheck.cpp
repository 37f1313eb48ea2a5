#include "model/RecipeCheck.hpp"

#include <algorithm>

#include "tessel/Layout.hpp"
#include "tessel/RecipeLimits.hpp"

namespace tessel::app {

std::optional<QString> validationMessage(const SheetRecipe& recipe, std::int64_t itemCount) {
    if (const std::optional<RecipeProblem> problem = recipeProblem(recipe))
        return QString::fromStdString(problem->message);
    try {
        if (TesselRenderer::cells(std::max<std::int64_t>(itemCount, 1), recipe).empty())
            return QStringLiteral("The layout leaves no room for images.");
    } catch (...) {
        // Deliberately lenient: the preview's render reports a layout the core refuses.
    }
    return std::nullopt;
}

}  // namespace tessel::app
