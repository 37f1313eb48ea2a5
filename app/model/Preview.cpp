// Recipe changes and the live preview: a debounced background render whose result is applied
// only while it is still the latest and its recipe is still the current one.
//
// All of the preview's path runs through `refreshPreview`, `startPreviewRender` and
// `applyPreview`. Previews draw the pictures the model's cache holds, reduced in memory when
// the cells became smaller, and a newer preview stops the render of an older one.

#include <algorithm>

#include "tessel/Render.hpp"

#include "model/AppModel.hpp"
#include "model/Background.hpp"

namespace tessel::app {

void AppModel::recipeChanged() {
    setSelectedPreset(std::nullopt);
    setPreviewPage(std::min(previewPage_, pageCount() - 1));
    refreshPreview();
}

void AppModel::editRecipe(const std::function<void(SheetRecipe&)>& edit) {
    SheetRecipe edited = recipe_;
    edit(edited);
    setRecipe(edited);
    recipeChanged();
}

void AppModel::applyPreset(SheetPreset preset) {
    setRecipe(tessel::recipe(preset));
    setSelectedPreset(preset);
    recipeChanged();
}

void AppModel::refreshPreview() {
    cancelPreview();
    if (items_.empty() || validationMessage()) {
        setPreviewResult(std::nullopt);
        setIsRendering(false);
        return;
    }
    scheduledPreview_ = PreviewJob{inputs(), recipe_};
    setIsRendering(true);
    setPreviewTask(previewTask_ + 1);
    previewCancelled_ = false;
    // A restarted wait is the cancelled one: a burst of edits renders once, after the last.
    previewTimer_.start();
}

void AppModel::cancelPreview() {
    previewTimer_.stop();
    previewCancelled_ = true;
    if (runningPreview_) runningPreview_->cancel();
    runningPreview_.reset();
}

void AppModel::startPreviewRender() {
    if (previewCancelled_ || !scheduledPreview_) return;
    PreviewJob job = std::move(*scheduledPreview_);
    scheduledPreview_.reset();
    emit previewRenderStarted();
    runningPreview_ = std::make_shared<RenderCancellation>();
    // A cancelled render ends at its next picture or page; its result is dropped either way.
    runInBackground(
        [task = previewTask_, job = std::move(job), pictures = pictures_,
         cancellation = runningPreview_] {
            return std::make_tuple(task, job.recipe,
                                   capture<SheetRenderResult>(
                                       [&] {
                                           return TesselRenderer::render(
                                               job.inputs, job.recipe,
                                               {.pictures = pictures.get(),
                                                .reuse = CachedPictures::nearest,
                                                .cancellation = cancellation.get()});
                                       },
                                       TesselError::cannotCreateContext()));
        },
        [](AppModel& model, auto finished) {
            auto& [task, snapshot, outcome] = finished;
            model.applyPreview(task, snapshot, std::move(outcome));
        });
}

void AppModel::applyPreview(quint64 task, const SheetRecipe& snapshot,
                            Outcome<SheetRenderResult> outcome) {
    if (task != previewTask_ || previewCancelled_) return;
    runningPreview_.reset();
    // A recipe edited without `recipeChanged()` yet: the next refresh settles the flags.
    if (!(recipe_ == snapshot)) return;
    if (outcome.value) {
        const auto pages = std::ssize(outcome.value->pages);
        setPreviewResult(std::move(outcome.value));
        if (previewPage_ >= pages) setPreviewPage(std::max<qint64>(pages - 1, 0));
    } else {
        setErrorMessage(outcome.error);  // the previous preview stays on screen
    }
    setIsRendering(false);
}

void AppModel::previousPage() { setPreviewPage(std::max<qint64>(previewPage_ - 1, 0)); }

void AppModel::nextPage() { setPreviewPage(std::min(previewPage_ + 1, pageCount() - 1)); }

}  // namespace tessel::app
