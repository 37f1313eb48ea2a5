#pragma once
// The shared state of one render while its workers decode, draw and encode pages.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tessel/Inspection.hpp"
#include "tessel/Layout.hpp"
#include "tessel/Render.hpp"
#include "tessel/SheetRecipe.hpp"
#include "tessel/TesselError.hpp"

#include "base/Bitmap.hpp"
#include "base/PageSpool.hpp"
#include "base/WorkerPool.hpp"
#include "draw/PageCanvas.hpp"
#include "draw/PageDrawing.hpp"
#include "formats/Encode.hpp"
#include "render/PictureStore.hpp"

namespace tessel::detail {

/// One render shared by its worker threads.
///
/// Workers take cells in sheet order and decode their pictures at the same time. Each page's
/// pictures are drawn strictly in sheet order by one worker at a time (that page's drawer),
/// while different pages are drawn by different workers at once. A picture that is ready
/// before its turn is parked, up to a page's worth per worker within a memory budget (at
/// least one per worker), and its worker goes on with the
/// next cell, so a worker that finds its page busy moves on to the next page. A page's drawer
/// draws every parked picture that follows in order, so pages come out the same whatever the
/// number of workers, and the first failure in sheet order is the one reported. A finished
/// page is encoded by the worker that drew it and its bitmap dropped at once; the pages
/// encoded in a row from the first are the job's progress. Pictures come through the
/// options' cache when there is one; the options' cancellation is looked at before every
/// picture and page.
class RenderJob final : public PoolJob {
public:
    /// With a `spool`, encoded pages go there instead of into `takePages`'s result. The job's
    /// first page is `firstPage` of its sheet (a page drawn on its own is one of many), which
    /// its footer says.
    RenderJob(const std::vector<SheetInput>& inputs, const std::vector<SheetCell>& cells,
              const SheetRecipe& recipe, std::size_t pageCount, std::size_t workers,
              const PageNumber& firstPage, const RenderOptions& options = {},
              PageSpool* spool = nullptr);
    RenderJob(const RenderJob&) = delete;
    RenderJob& operator=(const RenderJob&) = delete;

    /// The body of one of the `workers` threads.
    void work(ProgressCount& progress) noexcept override;

    /// Lets no worker start anything more.
    void stop() noexcept override;

    /// Once every worker has ended: the encoded pages (empty ones when spooled), or the error
    /// that ends the render (`cannotRead` or `cannotCreateContext` of the first failing cell,
    /// then `cannotEncode`), or `RenderCancelled` when the cancellation stopped it.
    std::vector<std::vector<std::uint8_t>> takePages();

private:
    /// A cell's decoded picture, or why there is none.
    struct Decoded {
        SharedPicture picture;
        std::optional<TesselError> error;
    };
    /// Where the drawing of one page stands.
    struct PageState {
        // Only the page's drawer touches the canvas and the writer.
        std::unique_ptr<PageCanvas> canvas;
        std::unique_ptr<OpaquePageWriter> writer;  // for pages encoded while drawn
        std::optional<Bitmap> finished;            // drawn, not yet encoded
        std::size_t nextToDraw = 0;                // a cell index
        bool drawing = false;
    };

    void takeCells(ProgressCount& progress);
    Decoded decode(std::size_t index) const;
    /// Draws cell `index` and the parked cells of its page after it. The page's index comes
    /// back once its last cell is drawn (the page is then the caller's to encode); nothing
    /// comes back when the render failed or stopped.
    std::optional<std::size_t> drawFrom(std::size_t index, Decoded decoded);
    /// Draws one cell; true when it was the page's last.
    bool drawOne(std::size_t index, Decoded decoded);
    void encodePage(std::size_t page, ProgressCount& progress);
    std::size_t encodedInARowLocked() const;
    /// Keeps the failure of the earliest cell in sheet order; later cells are not started.
    void failLocked(std::size_t index, const TesselError& error);
    /// True when one more picture may be parked.
    bool mayParkLocked() const;
    /// True when cell `index` needs no work any more.
    bool abandonedLocked(std::size_t index) const;
    void stopLocked();
    /// True, and the job stopped, once the render is cancelled.
    bool cancelled();

    const std::vector<SheetInput>& inputs_;
    const std::vector<SheetCell>& cells_;
    const SheetRecipe& recipe_;
    // Opaque PNG pages are encoded while drawn; after cell i, rows up to finalRows_[i] are.
    const bool encodeWhileDrawing_;
    std::vector<std::int64_t> finalRows_;
    const std::size_t workers_;
    const std::size_t parkingLimit_;  // pictures
    PictureCache* const cache_;
    const CachedPictures reuse_;
    const RenderCancellation* const cancellation_;
    const bool compressed_;
    const PageNumber firstPage_;
    const PageTags tags_;
    PageSpool* const spool_;

    std::atomic<std::size_t> nextCell_{0};

    std::mutex mutex_;  // guards everything below, and hands each page's canvas over
    std::condition_variable drawingChanged_;
    std::vector<PageState> pages_;
    std::map<std::size_t, Decoded> parked_;
    std::int64_t parkedBytes_ = 0;
    bool stopped_ = false;
    bool cancelled_ = false;
    bool encodeFailed_ = false;
    std::string encodeCause_;  // why a page could not be kept, when the system said
    std::size_t failedCell_;   // the earliest failing cell, or the number of cells
    std::optional<TesselError> drawError_;
    std::exception_ptr unexpected_;
    std::vector<std::vector<std::uint8_t>> encoded_;
    std::vector<bool> pageEncoded_;
};

}  // namespace tessel::detail
