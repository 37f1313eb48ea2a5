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
#include "render/PictureStore.hpp"

namespace tessel::detail {

/// One render shared by its worker threads.
///
/// Workers take cells in sheet order and decode their pictures at the same time. Pictures
/// are drawn strictly in sheet order by one worker at a time (the drawer); a picture that is
/// ready before its turn is parked, up to one per worker, and its worker goes on decoding.
/// The drawer draws every parked picture that follows in order, so pages come out the same
/// whatever the number of workers and the first failure in sheet order is the one reported.
/// A finished page is encoded by the worker that drew it and its bitmap dropped at once; the
/// pages encoded in a row from the first are the job's progress. Pictures come through the
/// options' cache when there is one; the options' cancellation is looked at before every
/// picture and page.
class RenderJob final : public PoolJob {
public:
    /// With a `spool`, encoded pages go there instead of into `takePages`'s result.
    RenderJob(const std::vector<SheetInput>& inputs, const std::vector<SheetCell>& cells,
              const SheetRecipe& recipe, std::size_t pageCount, std::size_t workers,
              const RenderOptions& options = {}, PageSpool* spool = nullptr);
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
    using FinishedPage = std::pair<std::size_t, Bitmap>;

    void takeCells(ProgressCount& progress);
    Decoded decode(std::size_t index) const;
    /// Draws cell `index` and the parked cells after it; false when the render stopped.
    bool drawFrom(std::size_t index, Decoded decoded, std::vector<FinishedPage>& finished);
    void drawOne(std::size_t index, Decoded decoded, std::vector<FinishedPage>& finished);
    void encodePage(std::size_t page, const Bitmap& bitmap, ProgressCount& progress);
    std::size_t encodedInARowLocked() const;
    void stopLocked();
    /// True, and the job stopped, once the render is cancelled.
    bool cancelled();

    const std::vector<SheetInput>& inputs_;
    const std::vector<SheetCell>& cells_;
    const SheetRecipe& recipe_;
    const std::size_t parkingLimit_;
    PictureCache* const cache_;
    const CachedPictures reuse_;
    const RenderCancellation* const cancellation_;
    PageSpool* const spool_;

    std::atomic<std::size_t> nextCell_{0};
    std::unique_ptr<PageCanvas> openPage_;  // only the drawer touches it

    std::mutex mutex_;  // guards everything below
    std::condition_variable drawingChanged_;
    std::size_t nextToDraw_ = 0;
    bool drawing_ = false;
    std::map<std::size_t, Decoded> parked_;
    bool stopped_ = false;
    bool cancelled_ = false;
    bool encodeFailed_ = false;
    std::optional<TesselError> drawError_;
    std::exception_ptr unexpected_;
    std::vector<std::vector<std::uint8_t>> encoded_;
    std::vector<bool> pageEncoded_;
};

}  // namespace tessel::detail
