// Saved layouts: loaded once at construction, rewritten whole after every change.

#include "tessel/Files.hpp"

#include "model/AppModel.hpp"

namespace tessel::app {

void AppModel::saveCurrentLayout(const QString& named) {
    const QString name = named.trimmed();
    if (name.isEmpty()) return;
    std::vector<SavedLayout> layouts = savedLayouts_;
    layouts.push_back({newUUIDString(), name.toStdString(), recipe_});
    setSavedLayouts(std::move(layouts));
    persistLayouts();
}

void AppModel::deleteLayout(const SavedLayout& layout) {
    std::vector<SavedLayout> layouts = savedLayouts_;
    std::erase_if(layouts, [&](const SavedLayout& saved) { return saved.id == layout.id; });
    setSavedLayouts(std::move(layouts));
    persistLayouts();
}

void AppModel::applyLayout(const SavedLayout& layout) {
    setRecipe(layout.recipe);
    setSelectedPreset(std::nullopt);
    recipeChanged();
}

void AppModel::persistLayouts() {
    // A failure is not reported: the list in memory stays the truth while the application runs.
    saveSavedLayouts(layoutsFile_, savedLayouts_);
}

}  // namespace tessel::app
