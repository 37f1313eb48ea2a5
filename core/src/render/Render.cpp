#include "tessel/Render.hpp"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <tuple>
#include <vector>

#include "tessel/TesselError.hpp"

#include "draw/PageDrawing.hpp"
#include "encode/Encode.hpp"
#include "render/RenderDriver.hpp"
#include "util/Fatal.hpp"

namespace tessel {
namespace detail {
namespace {

/// One render shared by its workers.
///
/// Workers take cells in sheet order and decode their pictures at the same time; drawing then
/// passes from cell to cell like a baton (the "turn"), so every page is drawn in the same order
/// whatever the number of workers, and the first failure in sheet order is the one reported.
/// The worker that draws the last cell of a page encodes that page and drops its bitmap, while
/// the others go on with the next page.
class RenderJob {
public:
    RenderJob(const std::vector<SheetInput>& inputs, const std::vector<SheetCell>& cells,
              const SheetRecipe& recipe, std::size_t pageCount)
        : inputs_(inputs),
          cells_(cells),
          recipe_(recipe),
          encoded_(pageCount),
          pageEncoded_(pageCount, false) {}

    /// The body of one worker thread.
    void work() noexcept {
        try {
            drawCells();
        } catch (...) {
            const std::lock_guard lock(mutex_);
            if (!unexpected_) unexpected_ = std::current_exception();
            stopLocked();
        }
        const std::lock_guard lock(mutex_);
        --workersRunning_;
        pagesChanged_.notify_all();
    }

    void setWorkers(std::size_t count) { workersRunning_ = count; }

    /// Lets no worker start anything more.
    void stop() {
        const std::lock_guard lock(mutex_);
        stopLocked();
    }

    /// Waits until more pages are encoded in a row from the first than `reported`, or until
    /// every worker has stopped. Returns that count and whether the workers are all done.
    std::pair<std::size_t, bool> waitForPages(std::size_t reported) {
        std::unique_lock lock(mutex_);
        pagesChanged_.wait(
            lock, [&] { return workersRunning_ == 0 || encodedInARowLocked() > reported; });
        return {encodedInARowLocked(), workersRunning_ == 0};
    }

    /// After every worker has stopped: the encoded pages, or the error that ends the render.
    std::vector<std::vector<std::uint8_t>> takePages() {
        if (drawError_) throw *drawError_;
        if (unexpected_) std::rethrow_exception(unexpected_);
        if (encodeFailed_) throw TesselError::cannotEncode();
        if (encodedInARowLocked() != encoded_.size()) fatal("render ended with pages missing");
        return std::move(encoded_);
    }

private:
    void drawCells() {
        for (;;) {
            const std::size_t index = nextCell_.fetch_add(1);
            if (index >= cells_.size() || stopped()) return;

            std::optional<Bitmap> picture;
            std::optional<TesselError> readError;
            try {
                picture = decodeForCell(inputs_[index], cells_[index]);
            } catch (const TesselError& error) {
                readError = error;
            }
            if (!waitForTurn(index)) return;

            // Holding the turn: no other worker touches the open page until it is passed on.
            std::optional<Bitmap> finished;
            try {
                if (!openPage_) openPage_ = makePage(recipe_);
                if (readError) throw *readError;
                drawCell(*openPage_, inputs_[index], cells_[index], *picture, recipe_);
                picture.reset();
                if (lastOfPage(index)) {
                    finished = openPage_->finish();
                    openPage_.reset();
                }
            } catch (const TesselError& error) {
                const std::lock_guard lock(mutex_);
                if (!drawError_) drawError_ = error;
                stopLocked();
                return;
            }
            passTurn();
            if (finished) encodePage(static_cast<std::size_t>(cells_[index].page), *finished);
        }
    }

    bool lastOfPage(std::size_t index) const {
        return index + 1 == cells_.size() || cells_[index + 1].page != cells_[index].page;
    }

    bool stopped() {
        const std::lock_guard lock(mutex_);
        return stopped_;
    }

    /// Waits until cell `index` may be drawn; false when the render stopped meanwhile.
    bool waitForTurn(std::size_t index) {
        std::unique_lock lock(mutex_);
        turnChanged_.wait(lock, [&] { return turn_ == index || stopped_; });
        return !stopped_;
    }

    void passTurn() {
        {
            const std::lock_guard lock(mutex_);
            ++turn_;
        }
        turnChanged_.notify_all();
    }

    void encodePage(std::size_t page, const Bitmap& bitmap) {
        {
            // Once a page has failed the render can only end in an error; the remaining
            // pages are still drawn because an unreadable file outranks that error.
            const std::lock_guard lock(mutex_);
            if (encodeFailed_) return;
        }
        const SheetOutputFormat format = recipe_.output == SheetOutputFormat::jpeg
                                             ? SheetOutputFormat::jpeg
                                             : SheetOutputFormat::png;
        auto bytes = encode(bitmap, format, recipe_.jpegQuality);
        const std::lock_guard lock(mutex_);
        if (!bytes) {
            encodeFailed_ = true;
            return;
        }
        encoded_[page] = std::move(*bytes);
        pageEncoded_[page] = true;
        pagesChanged_.notify_all();
    }

    std::size_t encodedInARowLocked() const {
        std::size_t count = 0;
        while (count < pageEncoded_.size() && pageEncoded_[count]) ++count;
        return count;
    }

    void stopLocked() {
        stopped_ = true;
        turnChanged_.notify_all();
        pagesChanged_.notify_all();
    }

    const std::vector<SheetInput>& inputs_;
    const std::vector<SheetCell>& cells_;
    const SheetRecipe& recipe_;

    std::atomic<std::size_t> nextCell_{0};
    std::unique_ptr<PageCanvas> openPage_;  // only the turn holder touches it

    std::mutex mutex_;  // guards everything below
    std::condition_variable turnChanged_;
    std::condition_variable pagesChanged_;
    std::size_t turn_ = 0;
    std::size_t workersRunning_ = 0;
    bool stopped_ = false;
    bool encodeFailed_ = false;
    std::optional<TesselError> drawError_;
    std::exception_ptr unexpected_;
    std::vector<std::vector<std::uint8_t>> encoded_;
    std::vector<bool> pageEncoded_;
};

}  // namespace

int defaultRenderWorkers() {
    constexpr unsigned mostWorkers = 8;
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, mostWorkers));
}

SheetRenderResult renderWithWorkers(const std::vector<SheetInput>& inputs,
                                    const SheetRecipe& recipe, const RenderProgress& progress,
                                    int workers) {
    if (inputs.empty()) throw TesselError::noImages();
    const auto cells = TesselRenderer::cells(static_cast<std::int64_t>(inputs.size()), recipe);
    const auto pageCount = static_cast<std::size_t>(cells.back().page + 1);

    RenderJob job(inputs, cells, recipe, pageCount);
    const auto threadCount = std::min(static_cast<std::size_t>(std::max(workers, 1)), cells.size());
    job.setWorkers(threadCount);
    std::exception_ptr reporting;
    {
        std::vector<std::jthread> threads;
        try {
            for (std::size_t i = 0; i < threadCount; ++i)
                threads.emplace_back([&job] { job.work(); });
        } catch (...) {
            job.stop();
            throw;
        }
        // Progress is reported here, on the calling thread, while the workers run.
        std::size_t reported = 0;
        for (bool done = false; !done;) {
            std::size_t encoded = 0;
            std::tie(encoded, done) = job.waitForPages(reported);
            try {
                while (reported < encoded) {
                    ++reported;
                    if (progress)
                        progress(static_cast<std::int64_t>(reported),
                                 static_cast<std::int64_t>(pageCount));
                }
            } catch (...) {
                reporting = std::current_exception();
                job.stop();
                break;
            }
        }
    }
    if (reporting) std::rethrow_exception(reporting);

    SheetRenderResult result;
    result.pages = job.takePages();
    result.pdf = makePDFFromEncoded(result.pages, recipe.pdfPageSize());
    result.pageSize = recipe.pageSize();
    result.pdfPageSize = recipe.pdfPageSize();
    result.itemCount = static_cast<std::int64_t>(inputs.size());
    return result;
}

}  // namespace detail

SheetRenderResult TesselRenderer::render(const std::vector<SheetInput>& inputs,
                                         const SheetRecipe& recipe,
                                         const RenderProgress& progress) {
    return detail::renderWithWorkers(inputs, recipe, progress, detail::defaultRenderWorkers());
}

}  // namespace tessel
