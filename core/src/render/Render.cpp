#include "tessel/Render.hpp"

#include <algorithm>
#include <memory>
#include <system_error>
#include <vector>

#include "tessel/TesselError.hpp"

#include "base/Fatal.hpp"
#include "base/SystemCause.hpp"
#include "base/WorkerPool.hpp"
#include "decode/ColorProfile.hpp"
#include "formats/Encode.hpp"
#include "render/RenderDriver.hpp"
#include "render/RenderJob.hpp"

namespace tessel {
namespace detail {

namespace {

std::chrono::system_clock::time_point madeAt(const RenderOptions& options) {
    return options.madeAt.value_or(std::chrono::system_clock::now());
}

/// Draws and encodes the pages of `cells`, which are numbered from 0 and hold `inputs` in order;
/// the first of them is `firstPage` of the sheet.
std::vector<std::vector<std::uint8_t>> renderCells(const std::vector<SheetInput>& inputs,
                                                   const std::vector<SheetCell>& cells,
                                                   const SheetRecipe& recipe,
                                                   const RenderOptions& options, int workers,
                                                   PageSpool* spool, const PageNumber& firstPage) {
    const auto pageCount = static_cast<std::size_t>(cells.back().page + 1);
    const auto threadCount = std::min(static_cast<std::size_t>(std::max(workers, 1)), cells.size());
    RenderJob job(inputs, cells, recipe, pageCount, threadCount, firstPage, options, spool);
    WorkerPool::run(job, threadCount, static_cast<std::int64_t>(pageCount), options.progress);
    return job.takePages();
}

}  // namespace

std::vector<std::vector<std::uint8_t>> renderPages(
    const std::vector<SheetInput>& inputs, const SheetRecipe& recipe, const RenderOptions& options,
    int workers, const std::function<PageSpool*(std::size_t pageCount)>& spoolFor) {
    if (inputs.empty()) throw TesselError::noImages();
    const auto cells = TesselRenderer::cells(static_cast<std::int64_t>(inputs.size()), recipe);
    const std::int64_t pageCount = cells.back().page + 1;
    PageSpool* spool = spoolFor ? spoolFor(static_cast<std::size_t>(pageCount)) : nullptr;
    return renderCells(inputs, cells, recipe, options, workers, spool,
                       {0, pageCount, madeAt(options)});
}

std::vector<std::uint8_t> renderOnePage(const std::vector<SheetInput>& inputs,
                                        const SheetRecipe& recipe, std::int64_t page,
                                        const RenderOptions& options, int workers) {
    if (inputs.empty()) throw TesselError::noImages();
    const auto cells = TesselRenderer::cells(static_cast<std::int64_t>(inputs.size()), recipe);
    // The page alone, as a sheet of one page: a page is drawn from its own cells only.
    std::vector<SheetInput> pageInputs;
    std::vector<SheetCell> pageCells;
    for (std::size_t index = 0; index < cells.size(); ++index) {
        if (cells[index].page != page) continue;
        pageInputs.push_back(inputs[index]);
        pageCells.push_back(cells[index]);
        pageCells.back().page = 0;
    }
    if (pageCells.empty()) fatal("a page beyond the sheet");
    // Numbered in the whole sheet, as `render` numbers it.
    return std::move(renderCells(pageInputs, pageCells, recipe, options, workers, nullptr,
                                 {page, cells.back().page + 1, madeAt(options)})
                         .front());
}

SheetRenderResult renderWithWorkers(const std::vector<SheetInput>& inputs,
                                    const SheetRecipe& recipe, const RenderOptions& options,
                                    int workers) {
    RenderOptions made = options;
    made.madeAt = madeAt(options);
    SheetRenderResult result;
    result.pages = renderPages(inputs, recipe, made, workers);
    if (options.cancellation && options.cancellation->isCancelled()) throw RenderCancelled();
    result.pdf = makePDF(result.pages, recipe.pdfPageSize(),
                         sheetDocumentInfo(recipe.trimmedTitle(), std::nullopt, srgbProfile()));
    result.pageSize = recipe.pageSize();
    result.pdfPageSize = recipe.pdfPageSize();
    result.itemCount = static_cast<std::int64_t>(inputs.size());
    result.madeAt = *made.madeAt;
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

std::int64_t TesselRenderer::pageCount(std::int64_t itemCount, const SheetRecipe& recipe) {
    return cells(itemCount, recipe).back().page + 1;
}

std::vector<std::uint8_t> TesselRenderer::renderPage(const std::vector<SheetInput>& inputs,
                                                     const SheetRecipe& recipe, std::int64_t page,
                                                     const RenderOptions& options) {
    return detail::renderOnePage(inputs, recipe, page, options,
                                 static_cast<int>(detail::WorkerPool::defaultThreads()));
}

std::vector<std::uint8_t> TesselRenderer::makePDF(
    const std::vector<std::vector<std::uint8_t>>& pages, SheetSize pdfPageSize,
    const std::string& title) {
    return detail::makePDF(
        pages, pdfPageSize,
        detail::sheetDocumentInfo(title, std::chrono::system_clock::now(), detail::srgbProfile()));
}

SpooledSheet TesselRenderer::renderSpooled(const std::vector<SheetInput>& inputs,
                                           const SheetRecipe& recipe,
                                           const std::filesystem::path& spoolFolder,
                                           const RenderOptions& options) {
    RenderOptions made = options;
    made.madeAt = options.madeAt.value_or(std::chrono::system_clock::now());
    std::unique_ptr<detail::PageSpool> spool;
    detail::renderPages(
        inputs, recipe, made, static_cast<int>(detail::WorkerPool::defaultThreads()),
        [&](std::size_t pageCount) {
            try {
                spool = std::make_unique<detail::PageSpool>(spoolFolder, pageCount);
            } catch (const std::system_error& error) {
                throw TesselError::cannotEncode().withCause(detail::systemCause(error.code()));
            }
            return spool.get();
        });
    return {std::move(spool), recipe.pageSize(), recipe.pdfPageSize(),
            static_cast<std::int64_t>(inputs.size()), *made.madeAt};
}

SpooledSheet::SpooledSheet(std::unique_ptr<detail::PageSpool> spool, SheetSize pageSize,
                           SheetSize pdfPageSize, std::int64_t itemCount,
                           std::chrono::system_clock::time_point madeAt)
    : spool_(std::move(spool)),
      pageSize_(pageSize),
      pdfPageSize_(pdfPageSize),
      itemCount_(itemCount),
      madeAt_(madeAt) {}
SpooledSheet::SpooledSheet(SpooledSheet&&) noexcept = default;
SpooledSheet& SpooledSheet::operator=(SpooledSheet&&) noexcept = default;
SpooledSheet::~SpooledSheet() = default;

std::int64_t SpooledSheet::pageCount() const {
    return static_cast<std::int64_t>(spool_->pageCount());
}

}  // namespace tessel
