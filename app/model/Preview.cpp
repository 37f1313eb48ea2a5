// Recipe changes and the live preview.
//
// The preview draws the page on screen first and shows it as soon as it is drawn; its two
// neighbours follow in the background, and any other page is drawn when it is turned to. So
// an edit costs the page the user sees, however many images the sheet holds. An edit or a
// change of the list stops the pages being drawn and, after a wait of 280 ms for further
// edits, starts a new sheet (`startPreviewRender`). Pages are drawn one at a time, through
// `drawNextPage` and `applyPage`; a result is applied only while its page is still the one
// being drawn and its recipe is still the current one.

#include <algorithm>
#include <cstdlib>

#include "tessel/Render.hpp"

#include "model/AppModel.hpp"
#include "model/Background.hpp"

namespace tessel::app {
namespace {

// Drawn pages kept either side of the one on screen: the neighbours drawn ahead and one more,
// for turning back and forth. Farther pages are dropped, so memory does not grow with pages.
constexpr qint64 pagesKeptAround = 2;

void dropFarPages(SheetPreview& preview, qint64 shown) {
    std::erase_if(preview.pages,
                  [&](const auto& page) { return std::abs(page.first - shown) > pagesKeptAround; });
}

}  // namespace

void AppModel::recipeChanged() {
    setSelectedPreset(std::nullopt);
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
    // The page count follows the layout at once: no "Page 3 of 2" while the sheet redraws.
    setPreviewPage(std::min(previewPage_, pageCount() - 1));
    if (items_.empty() || validationMessage()) {
        setPreviewResult(std::nullopt);
        setIsRendering(false);
        scheduleThumbnails();
        return;
    }
    setPreviewTask(previewTask_ + 1);
    scheduledPreview_ =
        PreviewSheet{previewTask_, inputs(), recipe_, 0, std::chrono::system_clock::now()};
    setIsRendering(true);
    // A restarted wait is the cancelled one: a burst of edits draws once, after the last.
    previewTimer_.start();
}

void AppModel::cancelPreview() {
    previewTimer_.stop();
    scheduledPreview_.reset();
    sheet_.reset();
    failedPages_.clear();
    // A page being drawn stops at its next picture; its result is dropped either way.
    if (pageRender_) pageRender_->cancellation->cancel();
    pageRender_.reset();
}

void AppModel::startPreviewRender() {
    if (!scheduledPreview_) return;
    PreviewSheet sheet = std::move(*scheduledPreview_);
    scheduledPreview_.reset();
    try {
        sheet.pageCount =
            TesselRenderer::pageCount(static_cast<std::int64_t>(sheet.inputs.size()), sheet.recipe);
    } catch (const TesselError& error) {
        // A recipe the layout refuses: the earlier preview stays on screen.
        setErrorMessage(errorText(error));
        setIsRendering(false);
        scheduleThumbnails();
        return;
    }
    sheet_ = std::make_shared<const PreviewSheet>(std::move(sheet));
    emit previewRenderStarted();
    drawNextPage();
}

bool AppModel::isDrawn(qint64 page) const {
    return previewResult_ && sheet_ && previewResult_->sheet == sheet_ &&
           previewResult_->pages.contains(page);
}

std::optional<qint64> AppModel::nextPageToDraw() const {
    if (!sheet_) return std::nullopt;
    // The page on screen, then the one after it and the one before it.
    for (const qint64 page : {previewPage_, previewPage_ + 1, previewPage_ - 1})
        if (page >= 0 && page < sheet_->pageCount && !isDrawn(page) &&
            std::ranges::find(failedPages_, page) == failedPages_.end())
            return page;
    return std::nullopt;
}

bool AppModel::isPageAboutToBeDrawn(qint64 page) const {
    if (std::abs(page - previewPage_) > 1) return false;
    if (scheduledPreview_) return true;
    return sheet_ && page >= 0 && page < sheet_->pageCount && !isDrawn(page) &&
           std::ranges::find(failedPages_, page) == failedPages_.end();
}

void AppModel::drawNextPage() {
    const std::optional<qint64> page = nextPageToDraw();
    const bool wanted =
        pageRender_ && page && pageRender_->sheet == sheet_ && pageRender_->page == *page;
    if (!wanted) {
        // One page at a time: a page nobody is about to see gives way.
        if (pageRender_) pageRender_->cancellation->cancel();
        pageRender_.reset();
        if (page) {
            // The page on screen has the processors to itself.
            if (*page == previewPage_) stopThumbnails();
            pageRender_ = PageRender{sheet_, *page, std::make_shared<RenderCancellation>()};
            runInBackground(
                [render = *pageRender_, pictures = pictures_] {
                    auto outcome = capture<std::vector<std::uint8_t>>(
                        [&] {
                            return TesselRenderer::renderPage(
                                render.sheet->inputs, render.sheet->recipe, render.page,
                                {.pictures = pictures.get(),
                                 .reuse = CachedPictures::nearest,
                                 .cancellation = render.cancellation.get(),
                                 .compression = PageCompression::none,
                                 .madeAt = render.sheet->madeAt});
                        },
                        TesselError::cannotCreateContext());
                    return std::make_pair(render, std::move(outcome));
                },
                [](AppModel& model, auto finished) {
                    model.applyPage(finished.first, std::move(finished.second));
                });
        }
    }
    setIsRendering(previewTimer_.isActive() || (pageRender_ && pageRender_->page == previewPage_));
    scheduleThumbnails();
}

void AppModel::applyPage(const PageRender& render, Outcome<std::vector<std::uint8_t>> outcome) {
    // Only the page being drawn now: one that was stopped is not wanted any more.
    if (!pageRender_ || pageRender_->cancellation != render.cancellation) return;
    pageRender_.reset();
    const PreviewSheet& sheet = *render.sheet;
    // A recipe edited without `recipeChanged()` yet: the next refresh settles the flags.
    if (!(recipe_ == sheet.recipe)) return;

    if (outcome.value) {
        if (previewResult_ && previewResult_->sheet == render.sheet) {
            // One more page of the preview on screen.
            previewResult_->pages[render.page] = std::move(*outcome.value);
            dropFarPages(*previewResult_, previewPage_);
            emit previewResultChanged();
        } else {
            // The first page of a new sheet replaces the previous preview; an identical one
            // changes nothing on screen.
            SheetPreview preview{{},
                                 sheet.pageCount,
                                 sheet.recipe.pageSize(),
                                 sheet.recipe.pdfPageSize(),
                                 static_cast<qint64>(sheet.inputs.size()),
                                 render.sheet};
            preview.pages.emplace(render.page, std::move(*outcome.value));
            setPreviewResult(std::move(preview));
        }
    } else if (!outcome.cancelled) {
        failedPages_.push_back(render.page);
        // A page ahead of the user fails quietly; it says why when it is turned to.
        if (render.page == previewPage_) setErrorMessage(outcome.error);
    }
    drawNextPage();
}

void AppModel::showPage(qint64 page) {
    if (page == previewPage_) return;
    setPreviewPage(page);
    // A page turned to is drawn again even if it failed ahead of time, and then says why.
    std::erase(failedPages_, page);
    if (previewResult_) {
        const auto kept = previewResult_->pages.size();
        dropFarPages(*previewResult_, page);
        if (previewResult_->pages.size() != kept) emit previewResultChanged();
    }
    if (sheet_ && !isDrawn(page)) setIsRendering(true);
    // Turns within one turn of the event loop draw only the last page turned to.
    drawTimer_.start();
}

void AppModel::previousPage() { showPage(std::max<qint64>(previewPage_ - 1, 0)); }

void AppModel::nextPage() { showPage(std::min(previewPage_ + 1, pageCount() - 1)); }

}  // namespace tessel::app
