#include "render/RenderJob.hpp"

#include <system_error>

#include "base/Fatal.hpp"
#include "draw/PageDrawing.hpp"
#include "formats/Encode.hpp"
#include "render/CellPictures.hpp"

namespace tessel::detail {

RenderJob::RenderJob(const std::vector<SheetInput>& inputs, const std::vector<SheetCell>& cells,
                     const SheetRecipe& recipe, std::size_t pageCount, std::size_t workers,
                     const RenderOptions& options, PageSpool* spool)
    : inputs_(inputs),
      cells_(cells),
      recipe_(recipe),
      parkingLimit_(workers),
      cache_(options.pictures),
      reuse_(options.reuse),
      cancellation_(options.cancellation),
      spool_(spool),
      encoded_(pageCount),
      pageEncoded_(pageCount, false) {
    if (inputs.size() < cells.size()) fatal("fewer inputs than cells");
}

void RenderJob::work(ProgressCount& progress) noexcept {
    try {
        takeCells(progress);
    } catch (...) {
        const std::lock_guard lock(mutex_);
        if (!unexpected_) unexpected_ = std::current_exception();
        stopLocked();
    }
}

void RenderJob::stop() noexcept {
    const std::lock_guard lock(mutex_);
    stopLocked();
}

std::vector<std::vector<std::uint8_t>> RenderJob::takePages() {
    const std::lock_guard lock(mutex_);
    if (cancelled_) throw RenderCancelled();
    if (drawError_) throw *drawError_;
    if (unexpected_) std::rethrow_exception(unexpected_);
    if (encodeFailed_) throw TesselError::cannotEncode();
    if (encodedInARowLocked() != encoded_.size()) fatal("render ended with pages missing");
    return std::move(encoded_);
}

void RenderJob::takeCells(ProgressCount& progress) {
    for (;;) {
        const std::size_t index = nextCell_.fetch_add(1);
        if (index >= cells_.size()) return;
        {
            const std::lock_guard lock(mutex_);
            if (stopped_) return;
        }
        if (cancelled()) return;
        Decoded decoded = decode(index);

        std::unique_lock lock(mutex_);
        drawingChanged_.wait(lock, [&] {
            return stopped_ || (!drawing_ && nextToDraw_ == index) ||
                   parked_.size() < parkingLimit_;
        });
        if (stopped_) return;
        if (drawing_ || nextToDraw_ != index) {
            parked_.emplace(index, std::move(decoded));
            continue;
        }
        drawing_ = true;
        lock.unlock();

        std::vector<FinishedPage> finished;
        if (!drawFrom(index, std::move(decoded), finished)) return;
        for (const auto& [page, bitmap] : finished) {
            if (cancelled()) return;
            encodePage(page, bitmap, progress);
        }
    }
}

RenderJob::Decoded RenderJob::decode(std::size_t index) const {
    try {
        return {pictureForCell(inputs_[index], cells_[index], cache_, reuse_), std::nullopt};
    } catch (const TesselError& error) {
        return {nullptr, error};
    }
}

bool RenderJob::drawFrom(std::size_t index, Decoded decoded, std::vector<FinishedPage>& finished) {
    for (;;) {
        try {
            drawOne(index, std::move(decoded), finished);
        } catch (const TesselError& error) {
            const std::lock_guard lock(mutex_);
            if (!drawError_) drawError_ = error;
            stopLocked();
            return false;
        }
        const bool stopNow = cancelled();
        const std::lock_guard lock(mutex_);
        nextToDraw_ = index + 1;
        const auto next = parked_.find(nextToDraw_);
        if (stopNow || stopped_ || next == parked_.end()) {
            drawing_ = false;
            drawingChanged_.notify_all();
            return !stopped_;
        }
        index = next->first;
        decoded = std::move(next->second);
        parked_.erase(next);
        // A parking place is free again.
        drawingChanged_.notify_all();
    }
}

void RenderJob::drawOne(std::size_t index, Decoded decoded, std::vector<FinishedPage>& finished) {
    // The page is made before its first picture is looked at, as drawing it alone would.
    if (!openPage_) openPage_ = makePage(recipe_);
    if (decoded.error) throw *decoded.error;
    drawCell(*openPage_, inputs_[index], cells_[index], *decoded.picture, recipe_);
    const bool lastOfPage =
        index + 1 == cells_.size() || cells_[index + 1].page != cells_[index].page;
    if (lastOfPage) {
        finished.emplace_back(static_cast<std::size_t>(cells_[index].page), openPage_->finish());
        openPage_.reset();
    }
}

void RenderJob::encodePage(std::size_t page, const Bitmap& bitmap, ProgressCount& progress) {
    {
        // After one failure the render can only end in an error, but later pages are still
        // drawn: an unreadable file further on outranks it.
        const std::lock_guard lock(mutex_);
        if (encodeFailed_) return;
    }
    const SheetOutputFormat format = recipe_.output == SheetOutputFormat::jpeg
                                         ? SheetOutputFormat::jpeg
                                         : SheetOutputFormat::png;
    auto bytes = encode(bitmap, format, recipe_.jpegQuality);
    bool spooled = false;
    if (bytes && spool_) {
        try {
            spool_->put(page, *bytes);
            spooled = true;
        } catch (const std::system_error&) {
            bytes.reset();
        }
    }
    const std::lock_guard lock(mutex_);
    if (!bytes) {
        encodeFailed_ = true;
        return;
    }
    if (!spooled) encoded_[page] = std::move(*bytes);
    pageEncoded_[page] = true;
    progress.reach(static_cast<std::int64_t>(encodedInARowLocked()));
}

std::size_t RenderJob::encodedInARowLocked() const {
    std::size_t count = 0;
    while (count < pageEncoded_.size() && pageEncoded_[count]) ++count;
    return count;
}

bool RenderJob::cancelled() {
    if (!cancellation_ || !cancellation_->isCancelled()) return false;
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    stopLocked();
    return true;
}

void RenderJob::stopLocked() {
    stopped_ = true;
    drawingChanged_.notify_all();
}

}  // namespace tessel::detail
