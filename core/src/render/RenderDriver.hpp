#pragma once
// The render driver with an explicit number of worker threads.

#include <cstdint>
#include <functional>
#include <vector>

#include "tessel/Render.hpp"

#include "base/PageSpool.hpp"

namespace tessel::detail {

/// The encoded pages of `renderWithWorkers`, in memory, or put into `spool` (made for the
/// page count that `spoolFor` is given) with empty entries in their place.
std::vector<std::vector<std::uint8_t>> renderPages(
    const std::vector<SheetInput>& inputs, const SheetRecipe& recipe, const RenderOptions& options,
    int workers, const std::function<PageSpool*(std::size_t pageCount)>& spoolFor = {});

/// `TesselRenderer::renderPage` on `workers` threads.
std::vector<std::uint8_t> renderOnePage(const std::vector<SheetInput>& inputs,
                                        const SheetRecipe& recipe, std::int64_t page,
                                        const RenderOptions& options, int workers);

/// `TesselRenderer::render` on `workers` threads (raised to 1; `render` uses
/// `WorkerPool::defaultThreads`). Pictures are decoded on every
/// worker at once and drawn in sheet order, pages are encoded as soon as they are complete and
/// their bitmaps dropped; the result does not depend on the number of workers.
SheetRenderResult renderWithWorkers(const std::vector<SheetInput>& inputs,
                                    const SheetRecipe& recipe, const RenderOptions& options,
                                    int workers);

}  // namespace tessel::detail
