#include "tessel/Render.hpp"

#include <algorithm>
#include <vector>

#include "tessel/TesselError.hpp"

#include "base/WorkerPool.hpp"
#include "formats/Encode.hpp"
#include "render/RenderDriver.hpp"
#include "render/RenderJob.hpp"

namespace tessel {
namespace detail {

SheetRenderResult renderWithWorkers(const std::vector<SheetInput>& inputs,
                                    const SheetRecipe& recipe, const RenderOptions& options,
                                    int workers) {
    if (inputs.empty()) throw TesselError::noImages();
    const auto cells = TesselRenderer::cells(static_cast<std::int64_t>(inputs.size()), recipe);
    const auto pageCount = static_cast<std::size_t>(cells.back().page + 1);

    const auto threadCount = std::min(static_cast<std::size_t>(std::max(workers, 1)), cells.size());
    RenderJob job(inputs, cells, recipe, pageCount, threadCount, options);
    WorkerPool::run(job, threadCount, static_cast<std::int64_t>(pageCount), options.progress);

    SheetRenderResult result;
    result.pages = job.takePages();
    if (options.cancellation && options.cancellation->isCancelled()) throw RenderCancelled();
    result.pdf = makePDF(result.pages, recipe.pdfPageSize());
    result.pageSize = recipe.pageSize();
    result.pdfPageSize = recipe.pdfPageSize();
    result.itemCount = static_cast<std::int64_t>(inputs.size());
    return result;
}

}  // namespace detail

SheetRenderResult TesselRenderer::render(const std::vector<SheetInput>& inputs,
                                         const SheetRecipe& recipe,
                                         const RenderProgress& progress) {
    return render(inputs, recipe, RenderOptions{.progress = progress});
}

SheetRenderResult TesselRenderer::render(const std::vector<SheetInput>& inputs,
                                         const SheetRecipe& recipe, const RenderOptions& options) {
    return detail::renderWithWorkers(inputs, recipe, options,
                                     static_cast<int>(detail::WorkerPool::defaultThreads()));
}

}  // namespace tessel
