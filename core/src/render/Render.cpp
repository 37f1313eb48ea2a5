#include "tessel/Render.hpp"

#include <algorithm>
#include <exception>
#include <thread>
#include <tuple>
#include <vector>

#include "tessel/TesselError.hpp"

#include "formats/Encode.hpp"
#include "render/RenderDriver.hpp"
#include "render/RenderJob.hpp"

namespace tessel {
namespace detail {

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

    const auto threadCount = std::min(static_cast<std::size_t>(std::max(workers, 1)), cells.size());
    RenderJob job(inputs, cells, recipe, pageCount, threadCount);
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
    return detail::renderWithWorkers(inputs, recipe, progress, detail::defaultRenderWorkers());
}

}  // namespace tessel
