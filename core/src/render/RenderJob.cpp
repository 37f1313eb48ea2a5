#include "render/RenderJob.hpp"

#include <algorithm>
#include <cmath>
#include <system_error>

#include "base/Fatal.hpp"
#include "base/SystemCause.hpp"
#include "decode/ColorProfile.hpp"
#include "draw/PageDrawing.hpp"
#include "formats/Encode.hpp"
#include "render/CellPictures.hpp"

namespace tessel::detail {

namespace {

// Pictures parked ahead of their turn hold at most this many bytes, beyond one per worker:
// a contact sheet's page of pictures per worker takes about 45 MB.
constexpr std::int64_t kParkingBudget = std::int64_t{96} << 20;

/// The cells of the fullest page: the first one, as pages fill in order.
std::size_t cellsPerPage(const std::vector<SheetCell>& cells) {
    std::size_t count = 0;
    while (count < cells.size() && cells[count].page == cells.front().page) ++count;
    return std::max<std::size_t>(count, 1);
}

/// The first row from the top of the page that drawing `cell` can touch.
double firstRowReached(const SheetCell& cell, double pageHeight) {
    double top = pageHeight - (cell.frame.y + cell.frame.height);
    top = std::min(top, pageHeight - (cell.imageFrame.y + cell.imageFrame.height));
    if (cell.captionFrame)
        top = std::min(top, pageHeight - (cell.captionFrame->y + cell.captionFrame->height));
    return top;
}

/// For each cell, the rows of its page that are final once it is drawn: those above every
/// later cell of the page (pictures and captions are clipped to their frames), less one row
/// for the edge a frame shares with the row above it.
std::vector<std::int64_t> finalRowsAfterEachCell(const std::vector<SheetCell>& cells,
                                                 double pageHeight) {
    std::vector<std::int64_t> rows(cells.size(), 0);
    double below = pageHeight;
    for (std::size_t index = cells.size(); index-- > 0;) {
        const bool lastOfPage =
            index + 1 == cells.size() || cells[index + 1].page != cells[index].page;
        if (lastOfPage) below = pageHeight;
        const double limit = std::floor(below) - 1;
        rows[index] = limit > 0 && std::isfinite(limit) ? static_cast<std::int64_t>(limit) : 0;
        below = std::min(below, firstRowReached(cells[index], pageHeight));
    }
    return rows;
}

}  // namespace

RenderJob::RenderJob(const std::vector<SheetInput>& inputs, const std::vector<SheetCell>& cells,
                     const SheetRecipe& recipe, std::size_t pageCount, std::size_t workers,
                     const PageNumber& firstPage, const RenderOptions& options, PageSpool* spool)
    : inputs_(inputs),
      cells_(cells),
      recipe_(recipe),
      encodeWhileDrawing_(recipe.output != SheetOutputFormat::jpeg &&
                          clampedComponent(recipe.background.alpha) >= 1),
      finalRows_(finalRowsAfterEachCell(cells, std::trunc(recipe.pageSize().height))),
      // A page's worth of pictures per worker lets a worker whose page is being drawn move on
      // to the next page instead of waiting.
      workers_(workers),
      parkingLimit_(workers * cellsPerPage(cells)),
      cache_(options.pictures),
      reuse_(options.reuse),
      cancellation_(options.cancellation),
      compressed_(options.compression == PageCompression::compact),
      firstPage_(firstPage),
      tags_{recipe.pixelsPerInch().value_or(0), srgbProfile()},
      spool_(spool),
      pages_(pageCount),
      failedCell_(cells.size()),
      encoded_(pageCount),
      pageEncoded_(pageCount, false) {
    if (inputs.size() < cells.size()) fatal("fewer inputs than cells");
    for (std::size_t index = cells.size(); index-- > 0;) {
        const auto page = static_cast<std::size_t>(cells[index].page);
        if (page >= pageCount) fatal("a cell beyond the last page");
        pages_[page].nextToDraw = index;
    }
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
    // A picture whose decoding the cancellation stopped fails as an unreadable one: the render
    // that did not end was cancelled all the same.
    const bool complete = !drawError_ && !unexpected_ && !encodeFailed_;
    if (cancelled_ || (!complete && cancellation_ && cancellation_->isCancelled()))
        throw RenderCancelled();
    if (drawError_) throw *drawError_;
    if (unexpected_) std::rethrow_exception(unexpected_);
    if (encodeFailed_) throw TesselError::cannotEncode().withCause(encodeCause_);
    if (encodedInARowLocked() != encoded_.size()) fatal("render ended with pages missing");
    return std::move(encoded_);
}

void RenderJob::takeCells(ProgressCount& progress) {
    for (;;) {
        const std::size_t index = nextCell_.fetch_add(1);
        if (index >= cells_.size()) return;
        {
            // Cells are taken in order: once this one needs no work, no later one does.
            const std::lock_guard lock(mutex_);
            if (abandonedLocked(index)) return;
        }
        if (cancelled()) return;
        Decoded decoded = decode(index);

        PageState& page = pages_[static_cast<std::size_t>(cells_[index].page)];
        std::unique_lock lock(mutex_);
        const auto myTurn = [&] { return !page.drawing && page.nextToDraw == index; };
        drawingChanged_.wait(lock,
                             [&] { return abandonedLocked(index) || myTurn() || mayParkLocked(); });
        if (abandonedLocked(index)) return;
        if (!myTurn()) {
            if (decoded.picture) parkedBytes_ += std::ssize(decoded.picture->pixels);
            parked_.emplace(index, std::move(decoded));
            continue;
        }
        page.drawing = true;
        lock.unlock();

        const std::optional<std::size_t> finished = drawFrom(index, std::move(decoded));
        if (finished && !cancelled()) encodePage(*finished, progress);
    }
}

RenderJob::Decoded RenderJob::decode(std::size_t index) const {
    try {
        return {pictureForCell(inputs_[index], cells_[index], cache_, reuse_, recipe_.fit,
                               cancellation_),
                std::nullopt};
    } catch (const TesselError& error) {
        return {nullptr, error};
    }
}

std::optional<std::size_t> RenderJob::drawFrom(std::size_t index, Decoded decoded) {
    const auto pageIndex = static_cast<std::size_t>(cells_[index].page);
    PageState& page = pages_[pageIndex];
    for (;;) {
        bool lastOfPage = false;
        try {
            lastOfPage = drawOne(index, std::move(decoded));
        } catch (const TesselError& error) {
            const std::lock_guard lock(mutex_);
            failLocked(index, error);
            page.drawing = false;
            drawingChanged_.notify_all();
            return std::nullopt;
        }
        const bool stopNow = cancelled();
        const std::lock_guard lock(mutex_);
        page.nextToDraw = index + 1;
        if (lastOfPage) {
            page.drawing = false;
            drawingChanged_.notify_all();
            if (abandonedLocked(index)) return std::nullopt;
            return pageIndex;
        }
        const auto next = parked_.find(index + 1);
        if (stopNow || abandonedLocked(index + 1) || next == parked_.end()) {
            page.drawing = false;
            drawingChanged_.notify_all();
            return std::nullopt;
        }
        index = next->first;
        decoded = std::move(next->second);
        parked_.erase(next);
        if (decoded.picture) parkedBytes_ -= std::ssize(decoded.picture->pixels);
        // A parking place is free again.
        drawingChanged_.notify_all();
    }
}

bool RenderJob::drawOne(std::size_t index, Decoded decoded) {
    PageState& page = pages_[static_cast<std::size_t>(cells_[index].page)];
    // The page is made before its first picture is looked at, as drawing it alone would. Its
    // title and footer come first: rows near the top are encoded once the first row of cells
    // is drawn.
    if (!page.canvas) {
        page.canvas = makePage(recipe_);
        const auto pageIndex = cells_[index].page;
        drawPageText(*page.canvas, recipe_,
                     {firstPage_.index + pageIndex, firstPage_.count, firstPage_.madeAt});
        if (encodeWhileDrawing_) {
            const Bitmap& pixels = page.canvas->pixels();
            page.writer = OpaquePageWriter::start(pixels.width, pixels.height, compressed_, tags_);
        }
    }
    if (decoded.error) throw *decoded.error;
    drawCell(*page.canvas, inputs_[index], cells_[index], *decoded.picture, recipe_);
    const bool lastOfPage =
        index + 1 == cells_.size() || cells_[index + 1].page != cells_[index].page;
    if (!lastOfPage) {
        // Encoding the rows no later picture can reach overlaps it with the decoding of
        // those pictures on the other workers.
        if (page.writer) page.writer->writeRows(page.canvas->pixels(), finalRows_[index]);
        return false;
    }
    page.finished = page.canvas->finish();
    page.canvas.reset();
    return true;
}

void RenderJob::encodePage(std::size_t page, ProgressCount& progress) {
    // The page's drawer is done with it: it is this thread's alone.
    const Bitmap bitmap = std::move(*pages_[page].finished);
    pages_[page].finished.reset();
    const std::unique_ptr<OpaquePageWriter> writer = std::move(pages_[page].writer);
    {
        // After one failure the render can only end in an error, but later pages are still
        // drawn: an unreadable file further on outranks it.
        const std::lock_guard lock(mutex_);
        if (encodeFailed_) return;
    }
    const SheetOutputFormat format = recipe_.output == SheetOutputFormat::jpeg
                                         ? SheetOutputFormat::jpeg
                                         : SheetOutputFormat::png;
    // A page that turned out not opaque after all is encoded whole.
    std::optional<std::vector<std::uint8_t>> bytes;
    if (writer) bytes = writer->finish(bitmap);
    if (!bytes) bytes = encode(bitmap, format, recipe_.jpegQuality, compressed_, tags_);
    bool spooled = false;
    if (bytes && spool_) {
        try {
            spool_->put(page, *bytes);
            spooled = true;
        } catch (const std::system_error& error) {
            bytes.reset();
            const std::lock_guard lock(mutex_);
            encodeCause_ = systemCause(error.code());
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

void RenderJob::failLocked(std::size_t index, const TesselError& error) {
    if (index < failedCell_) {
        failedCell_ = index;
        drawError_ = error;
    }
    drawingChanged_.notify_all();
}

bool RenderJob::mayParkLocked() const {
    return parked_.size() < workers_ ||
           (parked_.size() < parkingLimit_ && parkedBytes_ < kParkingBudget);
}

bool RenderJob::abandonedLocked(std::size_t index) const {
    // Cells before a failure still run: one of them may fail too, and it would outrank it.
    return stopped_ || index > failedCell_;
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
